#pragma once

#include <mutex>

// TOVCriticalSection: the host's re-entrant lock. The owning thread may lock
// it again; it is released when unlock() has been called as often as lock()
// (and successful tryLock()). unlock() must be called by the owning thread.
// Destroying a locked section is undefined. Not copyable or movable.
// Satisfies BasicLockable (lock/unlock), so std::lock_guard works too.
class TOVCriticalSection {
 public:
  TOVCriticalSection();
  ~TOVCriticalSection();
  TOVCriticalSection(const TOVCriticalSection&) = delete;
  TOVCriticalSection& operator=(const TOVCriticalSection&) = delete;

  // Blocks until this thread owns the section.
  void lock();
  void unlock();
  // Takes the section when that needs no waiting (always when this thread
  // already owns it); returns whether it did.
  bool tryLock();

 private:
  std::recursive_mutex _mutex;
};

// TOVCriticalSectionGuard: holds a section for its own lifetime: locks in the
// constructor, unlocks in the destructor. The section must outlive the guard.
// Not copyable or movable.
class TOVCriticalSectionGuard {
 public:
  explicit TOVCriticalSectionGuard(TOVCriticalSection& section);
  ~TOVCriticalSectionGuard();
  TOVCriticalSectionGuard(const TOVCriticalSectionGuard&) = delete;
  TOVCriticalSectionGuard& operator=(const TOVCriticalSectionGuard&) = delete;

 private:
  TOVCriticalSection& _section;
};
