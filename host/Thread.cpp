#include "host/Thread.h"

#include <pthread.h>

#include <cstddef>
#include <cstring>
#include <exception>
#include <system_error>
#include <utility>

#include "host/Exception.h"
#include "host/Log.h"

namespace {

// The OS keeps 15 bytes of a thread's name plus the terminating NUL.
constexpr std::size_t kOsNameBytes = 15;

void setOsThreadName(const TOVString& name) {
  char osName[kOsNameBytes + 1];
  const std::size_t n = name.length() < kOsNameBytes ? name.length() : kOsNameBytes;
  std::memcpy(osName, name.c_str(), n);
  osName[n] = '\0';
  // Naming is cosmetic: a failure is not worth reporting.
  (void)pthread_setname_np(pthread_self(), osName);
}

}  // namespace

TOVThread::TOVThread(const TOVString& name, bool autoDelete)
    : _name(name), _autoDelete(autoDelete) {}

TOVThread::~TOVThread() {
  if (_running.load(std::memory_order_acquire)) {
    try {
      TOVLog::log(_name, "Thread object destroyed while running", TOVLog::SEVERITY_ERROR, 0, 0,
                  TOVLog::CIMOMLOG);
    } catch (...) {
      // Terminating anyway.
    }
    std::terminate();
  }
  if (_thread.joinable()) _thread.join();
}

void TOVThread::start() {
  std::lock_guard<std::mutex> lock(_mutex);
  if (_started) {
    throw TovaBaseException("ThreadState", "TOVThread::start", _name, "thread already started", 0);
  }
  _running.store(true, std::memory_order_release);
  try {
    _thread = std::thread(&TOVThread::run, this);
  } catch (const std::system_error& e) {
    _running.store(false, std::memory_order_release);
    throw TovaBaseException("ThreadCreation", "TOVThread::start", _name,
                            TOVString("cannot create thread: ") + e.what(), e.code().value());
  }
  _started = true;
  _threadId = _thread.get_id();
  // The new thread waits for _mutex before it runs, so an auto-delete thread
  // cannot delete this object before start() has finished with it.
  if (_autoDelete) _thread.detach();
}

void TOVThread::join() {
  {
    std::lock_guard<std::mutex> lock(_mutex);
    if (_autoDelete && _started) {
      throw TovaBaseException("ThreadState", "TOVThread::join", _name,
                              "an auto-delete thread cannot be joined", 0);
    }
    if (_started && _threadId == std::this_thread::get_id()) {
      throw TovaBaseException("ThreadState", "TOVThread::join", _name,
                              "a thread cannot join itself", 0);
    }
  }
  // Joiners queue here, so that a second join() returns only once the thread
  // has ended, not while the first is still waiting for it.
  std::lock_guard<std::mutex> joinLock(_joinMutex);
  std::thread joining;
  {
    std::lock_guard<std::mutex> lock(_mutex);
    if (!_thread.joinable()) return;
    joining = std::move(_thread);
  }
  // Joined outside _mutex: the thread takes it once as it begins.
  joining.join();
}

void TOVThread::run() {
  { std::lock_guard<std::mutex> lock(_mutex); }  // start() has returned
  setOsThreadName(_name);
  try {
    execute();
  } catch (...) {
    try {
      TOVLog::log(_name, "Unhandled exception in thread", TOVLog::SEVERITY_ERROR, 0, 0,
                  TOVLog::CIMOMLOG);
    } catch (...) {
      // The sink failed too; the thread ends regardless.
    }
  }
  _running.store(false, std::memory_order_release);
  if (_autoDelete) delete this;
}
