#include "framework/PollManager.h"

#include "framework/Context.h"
#include "framework/InstanceFactory.h"
#include "host/Log.h"

namespace kest::pf {

PollManager::PollManager(InstanceFactory& factory, const TOVString& /*name*/, unsigned int timeout)
    : TOVThread(TOVString("kest::pf::PollManager - ") + factory.getProviderName(), false),
      _stopPolling(false),
      _factory(factory),
      _pollSemaphore(new TOVSemaphore(1)),
      _timeout(static_cast<TOVuint32>(timeout)) {}

PollManager::~PollManager() = default;

void PollManager::execute() {
  _stopPolling.store(false, std::memory_order_relaxed);
  try {
    for (;;) {
      try {
        TOVLog::log(_factory.getProviderName(), "Polling ...", TOVLog::SEVERITY_DEBUG, 2, 0,
                    TOVLog::CIMOMLOG);
        TOVSmrPtr<Context> context = _factory.poll();
        _factory.update(context);
        context.reset();
      } catch (...) {
        // A throwing sink here ends polling through the outer handler.
        TOVLog::log(_factory.getProviderName(), "Poll failed - Exception occured.",
                    TOVLog::SEVERITY_ERROR, 2, 0, TOVLog::CIMOMLOG);
      }
      // Woken early by stopPolling(); a time-out is the normal case.
      _pollSemaphore->wait(_timeout);
      if (_stopPolling.load(std::memory_order_relaxed)) break;
    }
  } catch (...) {
    try {
      TOVLog::log(_factory.getProviderName(),
                  "Poll failed - Exception while polling. Pollmanager stopped.",
                  TOVLog::SEVERITY_ERROR, 2, 0, TOVLog::CIMOMLOG);
    } catch (...) {
      // Nothing more can be reported.
    }
  }
  // Polling ended on its own rather than through stopPolling(): put a unit
  // back so that a later run starts with a cycle at once.
  if (!_stopPolling.load(std::memory_order_relaxed)) _pollSemaphore->release(1);
}

void PollManager::stopPolling() {
  _stopPolling.store(true, std::memory_order_relaxed);
  _pollSemaphore->release(1);
}

}  // namespace kest::pf
