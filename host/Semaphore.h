#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>

#include "host/Types.h"

// TOVSemaphore: a counting semaphore. wait() takes one unit, blocking while
// there is none; release(n) adds n units and wakes up to n waiters. Time-outs
// are in milliseconds, measured on the steady clock (changes of the wall
// clock do not shorten or lengthen them). Waiters are not served in any
// guaranteed order.
//
// Threads: every member may be called from any thread. Destroying a semaphore
// that a thread still waits on is undefined. Not copyable or movable. Nothing
// throws except std::system_error from the underlying mutex.
class TOVSemaphore {
 public:
  explicit TOVSemaphore(unsigned int initialCount = 0);
  ~TOVSemaphore();
  TOVSemaphore(const TOVSemaphore&) = delete;
  TOVSemaphore& operator=(const TOVSemaphore&) = delete;

  // Takes a unit, waiting as long as it takes.
  void wait();
  // Takes a unit, waiting at most milliseconds; returns true when a unit was
  // taken and false on time-out. wait(0) only takes a unit already there and
  // never blocks.
  bool wait(TOVuint32 milliseconds);
  // Adds n units (release(0) does nothing).
  void release(unsigned int n = 1);

  // The threads blocked in wait() now, so that a test can wait for a thread
  // to block instead of sleeping. A thread woken by release() counts until it
  // has taken its unit (or timed out).
  unsigned long waitersForTesting();

 private:
  std::mutex _mutex;
  std::condition_variable _available;
  std::uint64_t _count;
  unsigned long _waiters = 0;
};
