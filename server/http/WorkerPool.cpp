#include "server/http/WorkerPool.h"

#include <boost/asio/post.hpp>
#include <utility>

namespace kest::server::http {

WorkerPool::WorkerPool(std::size_t threads) : _pool(threads == 0 ? 1 : threads) {}

WorkerPool::~WorkerPool() { _pool.join(); }

void WorkerPool::post(std::function<void()> job) {
  {
    std::lock_guard<std::mutex> lock(_mutex);
    if (_stopped) return;
    ++_pending;
  }
  boost::asio::post(_pool, [this, job = std::move(job)] {
    {
      std::lock_guard<std::mutex> lock(_mutex);
      if (_stopped) {
        --_pending;
        _finished.notify_all();
        return;
      }
      ++_running;
    }
    job();
    std::lock_guard<std::mutex> lock(_mutex);
    --_running;
    --_pending;
    _finished.notify_all();
  });
}

bool WorkerPool::stop(std::chrono::steady_clock::time_point deadline) {
  {
    std::unique_lock<std::mutex> lock(_mutex);
    _stopped = true;
    if (!_finished.wait_until(lock, deadline, [this] { return _running == 0; })) return false;
  }
  _pool.stop();
  _pool.join();
  return true;
}

std::size_t WorkerPool::pending() const {
  std::lock_guard<std::mutex> lock(_mutex);
  return _pending;
}

}  // namespace kest::server::http
