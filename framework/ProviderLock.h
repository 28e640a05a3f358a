#pragma once

#include <shared_mutex>

namespace kest::pf {

// ProviderLock: the lock that keeps a provider's refresh apart from the
// requests it serves. Requests hold it shared (many at once); code that
// changes the cache (the refresh on the poll thread, observer and
// subscription changes) holds it exclusively.
//
// Holds are taken through the two guards and are re-entrant per thread:
//   - a thread that already holds the lock, in either mode, passes through a
//     further Shared guard without waiting (so a request may call other
//     requests of the same provider, and code running under an Exclusive
//     guard, for example an indication callback, may call requests);
//   - a thread that holds it exclusively passes through a further Exclusive
//     guard;
//   - a thread that holds it only shared and asks for an Exclusive guard
//     would wait for itself: the guard's constructor throws
//     TovaBaseException (type "Provider", where
//     "kest::pf::ProviderLock::Exclusive", message "cannot take the provider
//     lock exclusively while this thread holds it shared", code 0) and
//     nothing is held.
// The lock is released when the outermost guard of the thread ends.
//
// Lock order: this is the provider's outermost lock. A thread that holds it
// may take other locks (collectors, the log, the host's structures); no
// thread may wait for it while holding a lock that a holder of this one may
// take.
//
// Threads: guards are used on the thread that made them; a guard must not
// outlive its lock, and the lock must not be destroyed while held. Not
// copyable or movable.
class ProviderLock {
 public:
  ProviderLock();
  ~ProviderLock();
  ProviderLock(const ProviderLock&) = delete;
  ProviderLock& operator=(const ProviderLock&) = delete;

  // Holds the lock shared (or passes through, see above) for its lifetime.
  class Shared {
   public:
    explicit Shared(ProviderLock& lock);
    ~Shared();
    Shared(const Shared&) = delete;
    Shared& operator=(const Shared&) = delete;

   private:
    ProviderLock& _lock;
  };

  // Holds the lock exclusively (or passes through) for its lifetime.
  class Exclusive {
   public:
    explicit Exclusive(ProviderLock& lock);
    ~Exclusive();
    Exclusive(const Exclusive&) = delete;
    Exclusive& operator=(const Exclusive&) = delete;

    // True for the guard that took the lock (the thread's outermost hold);
    // its end releases the lock.
    bool isOutermost() const { return _outermost; }

   private:
    ProviderLock& _lock;
    bool _outermost;
  };

  // Whether the calling thread holds the lock in any mode, or exclusively.
  bool isHeldByCurrentThread() const;
  bool isHeldExclusivelyByCurrentThread() const;

 private:
  // Registers one more hold of this thread; returns whether it is the first
  // (then the caller locks the mutex).
  bool enter(bool exclusive);
  // Drops one hold of this thread; returns whether it was the last (then the
  // caller unlocks the mutex, in the mode it returns in exclusive).
  bool leave(bool& exclusive);

  std::shared_mutex _mutex;
};

}  // namespace kest::pf
