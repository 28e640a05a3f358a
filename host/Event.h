#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

#include "host/Time.h"

// CI_AutoEvent: an auto-reset event. It starts unsignalled. set() releases
// one thread waiting in wait()/timedWait(); when no thread is waiting, the
// event stays signalled and the next wait consumes the signal and returns at
// once. Signals do not accumulate: setting an event that is already signalled
// (with nobody waiting) changes nothing. Each set() made while threads wait
// releases one more of them, up to the number waiting. Waiters are not
// released in any guaranteed order.
//
// timedWait() measures on the steady clock. A duration whose end lies beyond
// the steady clock's range, and any duration of 2147483647 s or more, waits
// until set() with no time-out; a zero or negative duration only consumes a
// signal already there.
//
// For tests, the process records the duration passed to the most recent
// timedWait() on any event (lastTimedWaitForTesting(), zero before the first),
// and each event tells how many threads are blocked in it and how many of its
// timed waits have timed out, so that a test can wait for a thread to block
// instead of sleeping.
//
// Threads: every member may be called from any thread. Destroying an event
// that a thread still waits on is undefined. Not copyable or movable.
class CI_AutoEvent {
 public:
  CI_AutoEvent();
  ~CI_AutoEvent();
  CI_AutoEvent(const CI_AutoEvent&) = delete;
  CI_AutoEvent& operator=(const CI_AutoEvent&) = delete;

  void set();
  // Waits until signalled.
  void wait();
  // Waits until signalled (returns 0) or until timeout has passed (returns 1).
  int timedWait(const CI_RelTime& timeout);

  // The timeout of the latest timedWait() call in the process.
  static CI_RelTime lastTimedWaitForTesting();
  // The threads blocked in wait() or timedWait() on this event now (a thread
  // released by set() counts until it has taken the release).
  unsigned long waitersForTesting();
  // The timedWait() calls on this event that have returned 1 (time-out).
  unsigned long timeoutsForTesting();

 private:
  // Waits for a release; with hasDeadline false, for ever. Returns whether a
  // release was taken. Called with _mutex held and the signal not set.
  bool waitForRelease(std::unique_lock<std::mutex>& lock, bool hasDeadline,
                      const std::chrono::steady_clock::time_point& deadline);

  std::mutex _mutex;
  std::condition_variable _released;
  bool _signalled = false;
  // Threads inside waitForRelease, and releases granted to them by set() but
  // not yet taken; always _releases <= _waiters.
  unsigned long _waiters = 0;
  unsigned long _releases = 0;
  unsigned long _timeouts = 0;
};
