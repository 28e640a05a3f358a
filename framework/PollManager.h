#pragma once

#include <atomic>

#include "host/Semaphore.h"
#include "host/SmartPointer.h"
#include "host/String.h"
#include "host/Thread.h"
#include "host/Types.h"

namespace kest::pf {

class InstanceFactory;

// PollManager: the thread that keeps a provider's cache fresh. Each cycle it
// logs "Polling ..." (progress, source the factory's provider name), calls
// the factory's poll() and hands the context it returns to update(); then it
// waits up to the poll interval, or until stopPolling(), and goes round again.
//
// A cycle that throws is logged ("Poll failed - Exception occured.", error)
// and polling carries on. Only when that failure report itself throws does
// the thread give up: it logs "Poll failed - Exception while polling.
// Pollmanager stopped." and returns. Nothing escapes execute().
//
// The semaphore starts with one unit, so the first two cycles run back to
// back; later cycles are an interval apart. An interval of 0 polls
// continuously.
//
// Threads: stopPolling() may be called from any thread, including from
// update() on the poll thread itself. The owner calls stopPolling() and then
// join() before destroying the poll manager; the destructor neither stops nor
// waits for the thread. The factory must outlive the poll manager.
class PollManager : public TOVThread {
 public:
  // The thread is named "kest::pf::PollManager - " followed by the factory's
  // provider name; name is accepted for compatibility and not used. timeout
  // is the poll interval in milliseconds.
  PollManager(InstanceFactory& factory, const TOVString& name, unsigned int timeout);
  ~PollManager() override;

  // The thread body: polls until stopPolling(). Public so that a provider or
  // a test may also run cycles on its own thread.
  void execute() override;

  // Ends polling: the thread leaves its wait at once and returns after the
  // cycle in progress, if any. execute() clears the request when it begins,
  // so a call that comes before the thread has started polling is lost.
  void stopPolling();

 private:
  // Logically a plain boolean. It is an atomic, read and written with
  // relaxed ordering, only so that setting it from another thread while the
  // poll thread reads it is not a data race and ThreadSanitizer stays quiet;
  // the semaphore orders everything else that matters.
  std::atomic<bool> _stopPolling;
  // Non-const: poll() and update() change the factory.
  InstanceFactory& _factory;
  TOVSmrPtr<TOVSemaphore> _pollSemaphore;
  TOVuint32 _timeout;  // milliseconds
};

}  // namespace kest::pf
