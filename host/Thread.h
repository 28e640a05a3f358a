#pragma once

#include <atomic>
#include <mutex>
#include <thread>

#include "host/String.h"

// TOVThread: a thread of the host. Derive from it and override execute(),
// the thread's body; start() runs execute() on a new OS thread.
//
// The name is kept in full (getName()); the OS thread is named with its first
// 15 bytes, the most the OS keeps, so debuggers and ps show it.
//
// An exception that escapes execute() ends the thread, not the process: it is
// logged through TOVLog (source the thread's name, message "Unhandled
// exception in thread", severity 1, category CIMOMLOG) and swallowed, and so
// is anything the log sink throws while reporting it.
//
// Lifetime:
//   autoDelete false: the creator owns the object and joins the thread, by
//     join() or by destroying the object. A derived class whose execute()
//     uses its own members must make sure the body has returned before its
//     own destructor runs (join() in the derived destructor). Destroying the
//     object while execute() still runs is a fatal misuse: it is logged
//     ("Thread object destroyed while running", severity 1) and the process
//     is terminated.
//   autoDelete true: the object must come from new; after start() the thread
//     owns it and deletes it when execute() has returned. The creator must
//     not touch it after start() (nor call join()). An auto-delete thread
//     that is never started is deleted by its creator as usual.
//
// Threads: getName(), isRunning() and isAutoDelete() may be called from any
// thread; start() and join() from any thread, except that the thread cannot
// join itself (join() then throws). Not copyable or movable.
class TOVThread {
 public:
  TOVThread(const TOVString& name, bool autoDelete);
  virtual ~TOVThread();
  TOVThread(const TOVThread&) = delete;
  TOVThread& operator=(const TOVThread&) = delete;

  // Starts the thread. Throws TovaBaseException when the thread was started
  // before (even if it has ended since) and when the OS cannot create it (the
  // thread may then be started again).
  void start();
  // Waits until execute() has returned. Does nothing when the thread was
  // never started or has been joined already. Throws TovaBaseException when
  // called on the thread itself or on an auto-delete thread.
  void join();

  TOVString getName() const { return _name; }
  // True from start() until execute() has returned (or thrown).
  bool isRunning() const noexcept { return _running.load(std::memory_order_acquire); }
  bool isAutoDelete() const noexcept { return _autoDelete; }

 protected:
  // The thread's body.
  virtual void execute() = 0;

 private:
  void run();

  const TOVString _name;
  const bool _autoDelete;
  std::mutex _joinMutex;  // held for the whole of join()
  std::mutex _mutex;      // guards _started, _thread and _threadId
  bool _started = false;
  std::thread _thread;
  std::thread::id _threadId;
  std::atomic<bool> _running{false};
};
