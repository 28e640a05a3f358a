#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace kest::pf {

// ProviderLock: the lock that keeps a provider's refresh apart from the
// requests it serves. Requests hold it shared (many at once); code that
// changes the cache (the refresh on the poll thread, observer and
// subscription changes) holds it exclusively.
//
// Holds are taken through the two guards and are re-entrant per thread:
//   - a thread that already holds the lock, in either mode, passes through a
//     further Shared guard without waiting (so a request may call other
//     requests of the same provider, and code running under an Exclusive
//     guard, for example an indication callback, may call requests);
//   - a thread that holds it exclusively passes through a further Exclusive
//     guard;
//   - a thread that holds it only shared and asks for an Exclusive guard
//     would wait for itself: the guard's constructor throws
//     TovaBaseException (type "Provider", where
//     "kest::pf::ProviderLock::Exclusive", message "cannot take the provider
//     lock exclusively while this thread holds it shared", code 0) and
//     nothing is held.
// The lock is released when the outermost guard of the thread ends. A guard
// that passes through takes no lock at all and never waits.
//
// Fairness (writers first, readers not starved):
//   - once a thread waits for an exclusive hold, a thread that does not hold
//     the lock and asks for a shared hold waits until a writer has had its
//     turn; so a waiting writer gets the lock as soon as the holds taken
//     before it started waiting end (one request's duration), however many
//     new requests arrive. Re-entry by a thread that already holds the lock
//     is not held back (it would wait for itself through the writer).
//   - when a writer releases the lock, every thread then waiting for a
//     shared hold gets it, before any other writer; so readers wait for at
//     most one writer's hold plus the holds already running.
//   - writers among themselves are served in no particular order.
// Consequence: a thread that holds the lock shared must not wait for another
// thread that asks for a shared hold of its own (a writer waiting in between
// would block that thread, which blocks the holder, which blocks the writer).
//
// Locks taken: the guards' constructors and destructors, waitingWriters,
// waitingReaders and awaitWaiting take the lock's internal mutex, briefly and
// never while calling out; a guard that passes through, isHeldByCurrentThread
// and isHeldExclusivelyByCurrentThread take nothing (they read the calling
// thread's own record of its holds).
//
// Lock order: this is the provider's outermost lock. A thread that holds it
// may take other locks (collectors, the log, the host's structures); no
// thread may wait for it while holding a lock that a holder of this one may
// take.
//
// Threads: guards are used on the thread that made them; a guard must not
// outlive its lock, and the lock must not be destroyed while held or waited
// for. Not copyable or movable.
class ProviderLock {
 public:
  ProviderLock();
  ~ProviderLock();
  ProviderLock(const ProviderLock&) = delete;
  ProviderLock& operator=(const ProviderLock&) = delete;

  // Holds the lock shared (or passes through, see above) for its lifetime.
  class Shared {
   public:
    explicit Shared(ProviderLock& lock);
    ~Shared();
    Shared(const Shared&) = delete;
    Shared& operator=(const Shared&) = delete;

   private:
    ProviderLock& _lock;
  };

  // Holds the lock exclusively (or passes through) for its lifetime.
  class Exclusive {
   public:
    explicit Exclusive(ProviderLock& lock);
    ~Exclusive();
    Exclusive(const Exclusive&) = delete;
    Exclusive& operator=(const Exclusive&) = delete;

    // True for the guard that took the lock (the thread's outermost hold);
    // its end releases the lock.
    bool isOutermost() const { return _outermost; }

   private:
    ProviderLock& _lock;
    bool _outermost;
  };

  // Whether the calling thread holds the lock in any mode, or exclusively.
  bool isHeldByCurrentThread() const;
  bool isHeldExclusivelyByCurrentThread() const;

  // Observation, for diagnostics and tests: how many threads wait right now
  // for an exclusive hold, and for a shared one (threads passing through a
  // nested guard never wait). The answer may be out of date once returned.
  unsigned waitingWriters() const;
  unsigned waitingReaders() const;

  // Waits until at least writers threads wait for an exclusive hold and at
  // least readers threads for a shared one, or until timeout has passed;
  // returns whether they did. Every thread that starts waiting wakes it, so
  // tests can learn that a thread is blocked here without polling; the
  // timeout only bounds a broken test.
  bool awaitWaiting(unsigned writers, unsigned readers, std::chrono::milliseconds timeout) const;

 private:
  // Registers one more hold of this thread; returns whether it is the first
  // (then the caller takes the lock).
  bool enter(bool exclusive);
  // Drops one hold of this thread; returns whether it was the last (then the
  // caller releases the lock, in the mode it returns in exclusive).
  bool leave(bool& exclusive);

  void lockShared();
  void unlockShared();
  void lockExclusive();
  void unlockExclusive();

  // Guards everything below.
  mutable std::mutex _mutex;
  // Threads holding the lock shared (admitted readers included).
  unsigned _readers = 0;
  bool _writer = false;
  unsigned _waitingWriters = 0;
  unsigned _waitingReaders = 0;
  // Advances each time a writer releases the lock and admits the readers
  // waiting then; a waiting reader is in once it has moved.
  std::uint64_t _readerAdmissions = 0;
  std::condition_variable _readersAdmitted;
  std::condition_variable _writerMayEnter;
  // Notified whenever a thread starts waiting (see awaitWaiting).
  mutable std::condition_variable _waitersChanged;
};

}  // namespace kest::pf
