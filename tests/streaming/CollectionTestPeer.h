#pragma once

#include "host/CriticalSection.h"
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
};

}  // namespace kest
