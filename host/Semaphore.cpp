#include "host/Semaphore.h"

#include <chrono>

TOVSemaphore::TOVSemaphore(unsigned int initialCount) : _count(initialCount) {}

TOVSemaphore::~TOVSemaphore() = default;

void TOVSemaphore::wait() {
  std::unique_lock<std::mutex> lock(_mutex);
  if (_count == 0) {
    ++_waiters;
    _available.wait(lock, [this] { return _count > 0; });
    --_waiters;
  }
  --_count;
}

bool TOVSemaphore::wait(TOVuint32 milliseconds) {
  std::unique_lock<std::mutex> lock(_mutex);
  if (_count == 0) {
    if (milliseconds == 0) return false;
    // At most 2^32 - 1 ms (about 50 days): far inside the steady clock's range.
    const auto deadline =
        std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
    ++_waiters;
    const bool available = _available.wait_until(lock, deadline, [this] { return _count > 0; });
    --_waiters;
    if (!available) return false;
  }
  --_count;
  return true;
}

void TOVSemaphore::release(unsigned int n) {
  if (n == 0) return;
  // Notify while holding the lock: a woken waiter may destroy the semaphore
  // as soon as it returns.
  std::lock_guard<std::mutex> lock(_mutex);
  _count += n;
  if (n == 1) {
    _available.notify_one();
  } else {
    _available.notify_all();
  }
}

unsigned long TOVSemaphore::waitersForTesting() {
  std::lock_guard<std::mutex> lock(_mutex);
  return _waiters;
}
