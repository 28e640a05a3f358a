#include "host/Event.h"

#include <chrono>
#include <cstdint>

namespace {

// Durations this long or longer mean "until set()".
constexpr std::int64_t kForeverSeconds = 2147483647;

struct Probe {
  std::mutex mutex;
  CI_RelTime last;
};

Probe& probe() {
  static Probe* const instance = new Probe;
  return *instance;
}

}  // namespace

CI_AutoEvent::CI_AutoEvent() = default;

CI_AutoEvent::~CI_AutoEvent() = default;

void CI_AutoEvent::set() {
  // Notify while holding the lock: a released waiter may destroy the event as
  // soon as it returns.
  std::lock_guard<std::mutex> lock(_mutex);
  if (_waiters > _releases) {
    ++_releases;
    _released.notify_one();
  } else {
    _signalled = true;
  }
}

void CI_AutoEvent::wait() {
  std::unique_lock<std::mutex> lock(_mutex);
  if (_signalled) {
    _signalled = false;
    return;
  }
  waitForRelease(lock, false, std::chrono::steady_clock::time_point());
}

int CI_AutoEvent::timedWait(const CI_RelTime& timeout) {
  {
    Probe& p = probe();
    std::lock_guard<std::mutex> lock(p.mutex);
    p.last = timeout;
  }

  using std::chrono::steady_clock;
  std::unique_lock<std::mutex> lock(_mutex);
  if (_signalled) {
    _signalled = false;
    return 0;
  }
  if (timeout.seconds() < 0 || (timeout.seconds() == 0 && timeout.nanoseconds() == 0)) {
    ++_timeouts;
    return 1;
  }

  const steady_clock::time_point now = steady_clock::now();
  const std::int64_t headroom =
      std::chrono::duration_cast<std::chrono::seconds>(steady_clock::time_point::max() - now)
          .count();
  if (timeout.seconds() >= kForeverSeconds || timeout.seconds() >= headroom) {
    waitForRelease(lock, false, steady_clock::time_point());
    return 0;
  }
  // seconds < headroom and nanoseconds < 1 s: the sum stays in range.
  const steady_clock::time_point deadline =
      now + std::chrono::duration_cast<steady_clock::duration>(
                std::chrono::seconds(timeout.seconds()) +
                std::chrono::nanoseconds(timeout.nanoseconds()));
  if (waitForRelease(lock, true, deadline)) return 0;
  ++_timeouts;
  return 1;
}

bool CI_AutoEvent::waitForRelease(std::unique_lock<std::mutex>& lock, bool hasDeadline,
                                  const std::chrono::steady_clock::time_point& deadline) {
  ++_waiters;
  const auto granted = [this] { return _releases > 0; };
  if (hasDeadline) {
    if (!_released.wait_until(lock, deadline, granted)) {
      --_waiters;
      return false;
    }
  } else {
    _released.wait(lock, granted);
  }
  --_releases;
  --_waiters;
  return true;
}

CI_RelTime CI_AutoEvent::lastTimedWaitForTesting() {
  Probe& p = probe();
  std::lock_guard<std::mutex> lock(p.mutex);
  return p.last;
}

unsigned long CI_AutoEvent::waitersForTesting() {
  std::lock_guard<std::mutex> lock(_mutex);
  return _waiters;
}

unsigned long CI_AutoEvent::timeoutsForTesting() {
  std::lock_guard<std::mutex> lock(_mutex);
  return _timeouts;
}
