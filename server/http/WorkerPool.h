#pragma once

#include <boost/asio/thread_pool.hpp>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>

namespace kest::server::http {

// WorkerPool: the threads that run requests (parsing, provider calls and
// writing the response), apart from the threads that serve connections, so
// that a slow provider never holds up reading and writing of others.
//
// Threads: post() from any thread. stop() once, from the controlling
// thread; the destructor waits for jobs still running (stop() first when
// that must be bounded).
class WorkerPool {
 public:
  explicit WorkerPool(std::size_t threads);
  ~WorkerPool();
  WorkerPool(const WorkerPool&) = delete;
  WorkerPool& operator=(const WorkerPool&) = delete;

  // Runs job on one of the threads. A job posted after stop() is dropped.
  // Jobs must not throw.
  void post(std::function<void()> job);

  // Drops the jobs not yet started and waits until deadline for the running
  // ones; true when none runs any more (the threads are then joined), false
  // when some job is still running (the threads are left to the destructor).
  bool stop(std::chrono::steady_clock::time_point deadline);

  // Jobs posted and not yet finished.
  std::size_t pending() const;

 private:
  boost::asio::thread_pool _pool;
  mutable std::mutex _mutex;
  std::condition_variable _finished;
  std::size_t _pending = 0;  // guarded by _mutex
  std::size_t _running = 0;  // guarded by _mutex
  bool _stopped = false;     // guarded by _mutex
};

}  // namespace kest::server::http
