#include "host/CriticalSection.h"

TOVCriticalSection::TOVCriticalSection() = default;

TOVCriticalSection::~TOVCriticalSection() = default;

void TOVCriticalSection::lock() { _mutex.lock(); }

void TOVCriticalSection::unlock() { _mutex.unlock(); }

bool TOVCriticalSection::tryLock() { return _mutex.try_lock(); }

TOVCriticalSectionGuard::TOVCriticalSectionGuard(TOVCriticalSection& section) : _section(section) {
  _section.lock();
}

TOVCriticalSectionGuard::~TOVCriticalSectionGuard() { _section.unlock(); }
