#pragma once

#include "host/CriticalSection.h"
#include "host/Time.h"
#include "streaming/MultiResponseCollection.h"

namespace kest {

// Reaches into a collection for states that its public interface cannot
// produce, so that the tests can check how it handles them.
struct MultiResponseCollectionTestPeer {
  template <typename T>
  static void setWriterCount(MultiResponseCollection<T>& collection, int count) {
    TOVCriticalSectionGuard guard(collection.cs);
    collection.registeredWriterCount = count;
  }

  template <typename T>
  static int writerCount(MultiResponseCollection<T>& collection) {
    TOVCriticalSectionGuard guard(collection.cs);
    return collection.registeredWriterCount;
  }

  // Replaces the transaction time-out read at construction, so that a test
  // can have the consumer's waits time out without waiting for seconds. Call
  // it before the consumer waits.
  template <typename T>
  static void setWaitTimeout(MultiResponseCollection<T>& collection, const CI_RelTime& timeout) {
    collection._waitTimeout = timeout;
  }

  // The consumer's waits that have timed out so far.
  template <typename T>
  static unsigned long consumerTimeouts(MultiResponseCollection<T>& collection) {
    return collection._event.timeoutsForTesting();
  }

  // The producers blocked in add() for a free slot of a bounded collection.
  template <typename T>
  static unsigned long producersWaitingForASlot(MultiResponseCollection<T>& collection) {
    return collection._slots.waitersForTesting();
  }
};

}  // namespace kest
