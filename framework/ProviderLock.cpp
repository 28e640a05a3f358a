#include "framework/ProviderLock.h"

#include <algorithm>
#include <vector>

#include "host/Exception.h"

namespace kest::pf {

namespace {

// What the calling thread holds of one lock.
struct Hold {
  const ProviderLock* lock;
  bool exclusive;
  unsigned depth;
};

// The calling thread's holds, one entry per lock it holds. Entries leave
// with the outermost guard, so a destroyed lock never has one.
thread_local std::vector<Hold> t_holds;

Hold* holdOf(const ProviderLock* lock) {
  const auto it = std::find_if(t_holds.begin(), t_holds.end(),
                               [lock](const Hold& h) { return h.lock == lock; });
  return it == t_holds.end() ? nullptr : &*it;
}

}  // namespace

ProviderLock::ProviderLock() = default;
ProviderLock::~ProviderLock() = default;

bool ProviderLock::isHeldByCurrentThread() const { return holdOf(this) != nullptr; }

bool ProviderLock::isHeldExclusivelyByCurrentThread() const {
  const Hold* hold = holdOf(this);
  return hold != nullptr && hold->exclusive;
}

bool ProviderLock::enter(bool exclusive) {
  Hold* hold = holdOf(this);
  if (hold == nullptr) {
    t_holds.push_back(Hold{this, exclusive, 1});
    return true;
  }
  if (exclusive && !hold->exclusive) {
    throw TovaBaseException("Provider", "kest::pf::ProviderLock::Exclusive", "",
                            "cannot take the provider lock exclusively while this thread holds "
                            "it shared",
                            0);
  }
  ++hold->depth;
  return false;
}

bool ProviderLock::leave(bool& exclusive) {
  Hold* hold = holdOf(this);
  exclusive = hold->exclusive;
  if (--hold->depth > 0) return false;
  t_holds.erase(t_holds.begin() + (hold - t_holds.data()));
  return true;
}

void ProviderLock::lockShared() {
  std::unique_lock<std::mutex> guard(_mutex);
  if (!_writer && _waitingWriters == 0) {
    ++_readers;
    return;
  }
  // The writer that releases next counts this thread in (_readers) as it
  // admits it.
  ++_waitingReaders;
  _waitersChanged.notify_all();
  const std::uint64_t admission = _readerAdmissions;
  _readersAdmitted.wait(guard, [&] { return _readerAdmissions != admission; });
}

void ProviderLock::unlockShared() {
  const std::lock_guard<std::mutex> guard(_mutex);
  if (--_readers == 0 && _waitingWriters > 0) _writerMayEnter.notify_one();
}

void ProviderLock::lockExclusive() {
  std::unique_lock<std::mutex> guard(_mutex);
  ++_waitingWriters;
  _waitersChanged.notify_all();
  _writerMayEnter.wait(guard, [&] { return !_writer && _readers == 0; });
  --_waitingWriters;
  _writer = true;
}

void ProviderLock::unlockExclusive() {
  const std::lock_guard<std::mutex> guard(_mutex);
  _writer = false;
  if (_waitingReaders > 0) {
    // Readers that waited behind this writer go before the next one.
    _readers += _waitingReaders;
    _waitingReaders = 0;
    ++_readerAdmissions;
    _readersAdmitted.notify_all();
  } else if (_waitingWriters > 0) {
    _writerMayEnter.notify_one();
  }
}

unsigned ProviderLock::waitingWriters() const {
  const std::lock_guard<std::mutex> guard(_mutex);
  return _waitingWriters;
}

unsigned ProviderLock::waitingReaders() const {
  const std::lock_guard<std::mutex> guard(_mutex);
  return _waitingReaders;
}

bool ProviderLock::awaitWaiting(unsigned writers, unsigned readers,
                                std::chrono::milliseconds timeout) const {
  std::unique_lock<std::mutex> guard(_mutex);
  return _waitersChanged.wait_for(
      guard, timeout, [&] { return _waitingWriters >= writers && _waitingReaders >= readers; });
}

ProviderLock::Shared::Shared(ProviderLock& lock) : _lock(lock) {
  if (!_lock.enter(false)) return;
  try {
    _lock.lockShared();
  } catch (...) {
    bool exclusive = false;
    _lock.leave(exclusive);
    throw;
  }
}

ProviderLock::Shared::~Shared() {
  bool exclusive = false;
  if (!_lock.leave(exclusive)) return;
  if (exclusive) {
    _lock.unlockExclusive();
  } else {
    _lock.unlockShared();
  }
}

ProviderLock::Exclusive::Exclusive(ProviderLock& lock) : _lock(lock), _outermost(false) {
  _outermost = _lock.enter(true);
  if (!_outermost) return;
  try {
    _lock.lockExclusive();
  } catch (...) {
    bool exclusive = false;
    _lock.leave(exclusive);
    throw;
  }
}

ProviderLock::Exclusive::~Exclusive() {
  bool exclusive = false;
  if (_lock.leave(exclusive)) _lock.unlockExclusive();
}

}  // namespace kest::pf
