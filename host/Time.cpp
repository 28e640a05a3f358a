#include "host/Time.h"

#include <atomic>
#include <ctime>
#include <limits>
#include <memory>
#include <mutex>
#include <utility>

namespace {

constexpr long kNanosPerSecond = 1000000000L;

// The installed test clock. Never destroyed, so that threads still reading
// the time while the process exits find it intact.
struct ClockState {
  std::mutex mutex;
  std::shared_ptr<const CI_AbsTime::Clock> clock;
  // Fast path: false while no test clock is installed.
  std::atomic<bool> pinned{false};
};

ClockState& clockState() {
  static ClockState* const state = new ClockState;
  return *state;
}

}  // namespace

CI_Time::CI_Time(std::int64_t seconds, long nanoseconds) noexcept {
  constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();
  constexpr std::int64_t kMin = std::numeric_limits<std::int64_t>::min();
  std::int64_t carry = nanoseconds / kNanosPerSecond;
  long rest = nanoseconds % kNanosPerSecond;
  if (rest < 0) {
    rest += kNanosPerSecond;
    carry -= 1;
  }
  if (carry > 0 && seconds > kMax - carry) {
    _seconds = kMax;  // saturated upwards: the largest value
    _nanoseconds = kNanosPerSecond - 1;
  } else if (carry < 0 && seconds < kMin - carry) {
    _seconds = kMin;  // saturated downwards: the smallest value
    _nanoseconds = 0;
  } else {
    _seconds = seconds + carry;
    _nanoseconds = rest;
  }
}

CI_RelTime::CI_RelTime(long seconds, long nanoseconds) noexcept : CI_Time(seconds, nanoseconds) {}

CI_AbsTime::CI_AbsTime(std::int64_t seconds, long nanoseconds) noexcept
    : CI_Time(seconds, nanoseconds) {}

namespace {

CI_AbsTime readClock() {
  ClockState& state = clockState();
  if (state.pinned.load(std::memory_order_acquire)) {
    std::shared_ptr<const CI_AbsTime::Clock> clock;
    {
      std::lock_guard<std::mutex> lock(state.mutex);
      clock = state.clock;
    }
    if (clock) {
      std::int64_t seconds = 0;
      long nanoseconds = 0;
      (*clock)(seconds, nanoseconds);
      return CI_AbsTime(seconds, nanoseconds);
    }
  }
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return CI_AbsTime(static_cast<std::int64_t>(now.tv_sec), static_cast<long>(now.tv_nsec));
}

}  // namespace

CI_AbsTime::CI_AbsTime() : CI_AbsTime(readClock()) {}

void CI_AbsTime::setClockForTesting(Clock clock) {
  ClockState& state = clockState();
  std::shared_ptr<const Clock> installed;
  if (clock) installed = std::make_shared<const Clock>(std::move(clock));
  std::lock_guard<std::mutex> lock(state.mutex);
  state.pinned.store(installed != nullptr, std::memory_order_release);
  state.clock = std::move(installed);
}

void CI_AbsTime::resetClock() { setClockForTesting(Clock()); }
