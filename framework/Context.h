#pragma once

#include <ctime>

#include "host/String.h"

namespace kest::pf {

// Context: stamps a unit of work (typically one refresh cycle) with a
// millisecond time. Provider code passes getCurrentTimeStamp() to the cache's
// stamp-taking operations (Instance::setUpdateStamp, InstanceManager::purge)
// so that what one cycle did not touch can be purged; the framework itself
// only compares stamps for equality.
//
// The stamp is the present time's seconds, truncated to 32 signed bits and
// reduced modulo 4294966, times 1000, plus the clock's nanoseconds divided by
// 1000. It repeats about every 49.7 days and is meant for equality only.
//
// Threads: a context is not shared while it is re-stamped; copies are cheap
// and are the normal way to hand a stamp to another thread.
class Context {
 public:
  // Stamps the context with the present time.
  Context();
  // Copy the stamp and nothing else.
  Context(const Context& other);
  Context& operator=(const Context& other);
  virtual ~Context();

  // "kest::pf::Context".
  virtual TOVString GetClassName() const;

  time_t getCurrentTimeStamp() const { return _currentTimeStamp; }
  // Re-stamps the context with the present time (the host clock, CI_AbsTime).
  void setCurrentTimeStamp();

 private:
  time_t _currentTimeStamp;
};

}  // namespace kest::pf
