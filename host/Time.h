#pragma once

#include <cstdint>
#include <functional>

// CI_Time: a time value as whole seconds plus nanoseconds. Values are kept
// normalised: nanoseconds() is always in 0..999999999 and nanoseconds given
// outside that range are carried into the seconds (a negative value borrows,
// so -1 s 500000000 ns is -1.5 s written as seconds -2, nanoseconds 500000000).
// Seconds saturate at the limits of a 64-bit count rather than wrap.
// The base of CI_RelTime (a duration) and CI_AbsTime (an instant); it is not
// used on its own. Plain values: copy freely, no synchronisation needed.
class CI_Time {
 public:
  std::int64_t seconds() const noexcept { return _seconds; }
  long nanoseconds() const noexcept { return _nanoseconds; }

 protected:
  CI_Time() noexcept = default;
  CI_Time(std::int64_t seconds, long nanoseconds) noexcept;
  ~CI_Time() = default;
  CI_Time(const CI_Time&) noexcept = default;
  CI_Time& operator=(const CI_Time&) noexcept = default;

  bool sameAs(const CI_Time& other) const noexcept {
    return _seconds == other._seconds && _nanoseconds == other._nanoseconds;
  }

 private:
  std::int64_t _seconds = 0;
  long _nanoseconds = 0;
};

// CI_RelTime: a duration, for example a time-out. The default is zero.
class CI_RelTime : public CI_Time {
 public:
  CI_RelTime() noexcept = default;
  CI_RelTime(long seconds, long nanoseconds) noexcept;

  bool operator==(const CI_RelTime& other) const noexcept { return sameAs(other); }
};

// CI_AbsTime: an instant of wall-clock time: seconds and nanoseconds since
// the Unix epoch (1970-01-01 00:00:00 UTC), read from CLOCK_REALTIME.
//
// Tests can pin what the clock reads: setClockForTesting(clock) makes every
// later CI_AbsTime() call clock instead of reading the system clock, in every
// thread, until resetClock() (or setClockForTesting with an empty function).
// Both may be called while other threads read the time; a reader sees either
// the old or the new clock. The test clock may be called on any thread and
// concurrently, so it must be thread-safe itself.
class CI_AbsTime : public CI_Time {
 public:
  // Receives the seconds and nanoseconds to report (both start at 0).
  using Clock = std::function<void(std::int64_t& seconds, long& nanoseconds)>;

  // The present time. Throws only what a test clock throws.
  CI_AbsTime();
  // The given instant.
  CI_AbsTime(std::int64_t seconds, long nanoseconds) noexcept;

  bool operator==(const CI_AbsTime& other) const noexcept { return sameAs(other); }

  static void setClockForTesting(Clock clock);
  static void resetClock();
};
