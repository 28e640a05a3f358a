#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

namespace kest::server::http {

// What a connection is doing, as far as the connection limit cares.
enum class ConnectionState {
  Idle,           // waiting for the first byte of a request
  ReadingHeader,  // a request has begun, its header is not complete
  Busy,           // reading a body, being served, or writing a response
};

// The registry's handle on a connection. Each call only asks the
// connection to act; the connection does so later on its own thread.
class ConnectionControl {
 public:
  virtual ~ConnectionControl();
  // Close now: room is needed for a new connection.
  virtual void evict() = 0;
  // The server is stopping: close when no request is in flight, otherwise
  // after its response.
  virtual void drain() = 0;
  // The server's grace period is over: answer a request still waiting for
  // its result with a failure and close. A second call closes at once,
  // cutting short whatever is still being written.
  virtual void abandon() = 0;
};

// ConnectionRegistry: the connections open at once, what each is doing and
// since when, and the two limits on them.
//
//   activeLimit counts only connections that are doing something (from the
//     first byte of a request to the end of its response). When a request
//     begins and the limit is reached, the connection that has been reading
//     its header the longest is closed to make room; when every active
//     connection is past its header, the new request is refused.
//   openLimit (at least activeLimit) bounds the connections open at once,
//     idle ones included. A new connection beyond it takes the place of the
//     connection idle the longest (or failing that of the slowest header);
//     when every connection is active it is refused.
// Time is passed in by the callers (a steady clock's now()).
//
// Threads: every member may be called from any thread; one internal mutex,
// never held while calling a connection (calls to ConnectionControl happen
// after it is released).
class ConnectionRegistry {
 public:
  using Clock = std::chrono::steady_clock;
  using Id = std::uint64_t;

  ConnectionRegistry(std::size_t activeLimit, std::size_t openLimit);

  // Registers a new connection (Idle) and returns its id, evicting another
  // connection when openLimit is reached; 0 when it must be refused.
  Id admit(std::weak_ptr<ConnectionControl> connection, Clock::time_point now);
  // The connection has received the first byte of a request (Idle to
  // ReadingHeader), evicting a slow one when activeLimit is reached; false
  // when the request must be refused (the state stays Idle).
  bool beginRequest(Id id, Clock::time_point now);
  // ReadingHeader to Busy: the header is complete.
  void headerComplete(Id id, Clock::time_point now);
  // Back to Idle: the response has been written.
  void endRequest(Id id, Clock::time_point now);
  // Forgets a connection that has closed.
  void remove(Id id);

  // Connections registered and not yet removed (evicted ones included until
  // they close), and those of them that are active.
  std::size_t size() const;
  std::size_t active() const;
  std::size_t activeLimit() const { return _activeLimit; }

  // Calls drain() (or abandon()) on every connection registered.
  void drainAll();
  void abandonAll();
  // Waits until no connection is registered or until deadline; true when
  // none is.
  bool awaitEmpty(Clock::time_point deadline);

 private:
  struct Entry {
    std::weak_ptr<ConnectionControl> connection;
    ConnectionState state = ConnectionState::Idle;
    Clock::time_point since;
    bool evicted = false;
  };

  // Marks and returns the connection to close for room: among those in one
  // of the states allowed, the one in its state the longest (Idle before
  // ReadingHeader); nullptr when there is none. The caller holds _mutex.
  Entry* chooseVictim(bool idleAllowed, Id except);
  void setState(Entry& entry, ConnectionState state, Clock::time_point now);
  std::vector<std::shared_ptr<ConnectionControl>> everyConnection() const;

  const std::size_t _activeLimit;
  const std::size_t _openLimit;
  mutable std::mutex _mutex;
  std::condition_variable _emptied;
  std::unordered_map<Id, Entry> _entries;  // guarded by _mutex
  std::size_t _open = 0;                   // entries not evicted; guarded by _mutex
  std::size_t _active = 0;                 // entries not evicted and not Idle; guarded by _mutex
  Id _nextId = 1;                          // guarded by _mutex
};

}  // namespace kest::server::http
