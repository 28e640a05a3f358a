#include "framework/ProviderLock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <latch>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "host/Exception.h"
#include "tests/support/Thrown.h"

using kest::pf::ProviderLock;
using kest::testing::Thrown;
using kest::testing::thrownAs;

namespace {

// Bounds the waits for blocked threads; a passing test never reaches it.
constexpr std::chrono::milliseconds kLimit{30000};

// What the threads of a test did, in the order they did it.
class Events {
 public:
  void add(const std::string& event) {
    const std::lock_guard<std::mutex> guard(_mutex);
    _events.push_back(event);
  }
  std::vector<std::string> list() const {
    const std::lock_guard<std::mutex> guard(_mutex);
    return _events;
  }

 private:
  mutable std::mutex _mutex;
  std::vector<std::string> _events;
};

TEST(ProviderLockTest, SharedGuardsOfTwoThreadsHoldTheLockTogether) {
  ProviderLock lock;
  const ProviderLock::Shared first(lock);
  std::atomic<bool> entered{false};
  std::jthread other([&] {
    const ProviderLock::Shared second(lock);
    entered = true;
  });
  other.join();
  EXPECT_TRUE(entered);
}

TEST(ProviderLockTest, ExclusiveGuardWaitsUntilTheLastSharedHolderLeaves) {
  ProviderLock lock;
  std::atomic<bool> entered{false};
  std::jthread writer;
  {
    const ProviderLock::Shared reader(lock);
    writer = std::jthread([&] {
      const ProviderLock::Exclusive exclusive(lock);
      entered = true;
    });
    ASSERT_TRUE(lock.awaitWaiting(1, 0, kLimit));
    EXPECT_FALSE(entered);
  }
  writer.join();
  EXPECT_TRUE(entered);
}

TEST(ProviderLockTest, SharedGuardWaitsWhileAnotherThreadHoldsTheLockExclusively) {
  ProviderLock lock;
  std::atomic<bool> entered{false};
  std::jthread reader;
  {
    const ProviderLock::Exclusive exclusive(lock);
    reader = std::jthread([&] {
      const ProviderLock::Shared shared(lock);
      entered = true;
    });
    ASSERT_TRUE(lock.awaitWaiting(0, 1, kLimit));
    EXPECT_FALSE(entered);
  }
  reader.join();
  EXPECT_TRUE(entered);
}

TEST(ProviderLockTest, NestedSharedGuardPassesThroughWhileAWriterWaits) {
  ProviderLock lock;
  std::atomic<bool> writerEntered{false};
  std::jthread writer;
  {
    const ProviderLock::Shared outer(lock);
    writer = std::jthread([&] {
      const ProviderLock::Exclusive exclusive(lock);
      writerEntered = true;
    });
    ASSERT_TRUE(lock.awaitWaiting(1, 0, kLimit));
    // Waiting behind the writer, which waits for the outer guard, would be a
    // deadlock. The nested guard takes nothing.
    const ProviderLock::Shared inner(lock);
    EXPECT_TRUE(lock.isHeldByCurrentThread());
    EXPECT_EQ(lock.waitingWriters(), 1u);
    EXPECT_FALSE(writerEntered);
  }
  writer.join();
  EXPECT_TRUE(writerEntered);
}

TEST(ProviderLockTest, ExclusiveHolderPassesThroughFurtherGuardsOfEitherMode) {
  ProviderLock lock;
  const ProviderLock::Exclusive outer(lock);
  EXPECT_TRUE(outer.isOutermost());
  {
    const ProviderLock::Shared shared(lock);
    const ProviderLock::Exclusive inner(lock);
    EXPECT_FALSE(inner.isOutermost());
    EXPECT_TRUE(lock.isHeldExclusivelyByCurrentThread());
  }
  EXPECT_TRUE(lock.isHeldExclusivelyByCurrentThread());
}

TEST(ProviderLockTest, LockIsReleasedWhenTheOutermostGuardEnds) {
  ProviderLock lock;
  std::atomic<bool> entered{false};
  std::jthread other;
  {
    const ProviderLock::Exclusive outer(lock);
    { const ProviderLock::Exclusive inner(lock); }
    other = std::jthread([&] {
      const ProviderLock::Shared shared(lock);
      entered = true;
    });
    ASSERT_TRUE(lock.awaitWaiting(0, 1, kLimit));
    EXPECT_FALSE(entered) << "the inner guard must not release the lock";
  }
  other.join();
  EXPECT_TRUE(entered);
  EXPECT_FALSE(lock.isHeldByCurrentThread());
}

TEST(ProviderLockTest, SharedHolderCannotTakeTheLockExclusively) {
  ProviderLock lock;
  const ProviderLock::Shared shared(lock);
  const Thrown thrown =
      thrownAs<TovaBaseException>([&] { const ProviderLock::Exclusive exclusive(lock); });
  ASSERT_TRUE(thrown.caught);
  EXPECT_EQ(thrown.type, "Provider");
  EXPECT_EQ(thrown.where, "kest::pf::ProviderLock::Exclusive");
  EXPECT_EQ(thrown.who, "");
  EXPECT_EQ(thrown.message,
            "cannot take the provider lock exclusively while this thread holds it shared");
  EXPECT_EQ(thrown.code, 0);
  EXPECT_TRUE(lock.isHeldByCurrentThread());
  EXPECT_FALSE(lock.isHeldExclusivelyByCurrentThread());
}

TEST(ProviderLockTest, FailedExclusiveRequestLeavesTheSharedHoldReleasable) {
  ProviderLock lock;
  {
    const ProviderLock::Shared shared(lock);
    EXPECT_ANY_THROW(const ProviderLock::Exclusive exclusive(lock));
  }
  std::atomic<bool> entered{false};
  std::jthread writer([&] {
    const ProviderLock::Exclusive exclusive(lock);
    entered = true;
  });
  writer.join();
  EXPECT_TRUE(entered);
}

TEST(ProviderLockTest, HoldsAreTrackedPerThread) {
  ProviderLock lock;
  const ProviderLock::Shared shared(lock);
  bool heldThere = true;
  std::jthread other([&] { heldThere = lock.isHeldByCurrentThread(); });
  other.join();
  EXPECT_TRUE(lock.isHeldByCurrentThread());
  EXPECT_FALSE(heldThere);
}

TEST(ProviderLockTest, HoldingOneLockDoesNotPassThroughAnother) {
  ProviderLock first;
  ProviderLock second;
  const ProviderLock::Exclusive held(first);
  EXPECT_FALSE(second.isHeldByCurrentThread());
  const ProviderLock::Exclusive other(second);
  EXPECT_TRUE(other.isOutermost());
}

TEST(ProviderLockTest, NewReaderWaitsBehindAWaitingWriter) {
  ProviderLock lock;
  Events events;
  std::atomic<bool> readerWaitedThroughTheWrite{false};
  std::jthread writer;
  std::jthread reader;
  {
    const ProviderLock::Shared first(lock);
    writer = std::jthread([&] {
      const ProviderLock::Exclusive exclusive(lock);
      events.add("writer in");
      readerWaitedThroughTheWrite = lock.waitingReaders() == 1;
      events.add("writer out");
    });
    ASSERT_TRUE(lock.awaitWaiting(1, 0, kLimit));
    reader = std::jthread([&] {
      const ProviderLock::Shared second(lock);
      events.add("reader in");
    });
    ASSERT_TRUE(lock.awaitWaiting(1, 1, kLimit)) << "the new reader went past the writer";
    EXPECT_TRUE(events.list().empty());
  }
  writer.join();
  reader.join();
  EXPECT_EQ(events.list(), (std::vector<std::string>{"writer in", "writer out", "reader in"}));
  EXPECT_TRUE(readerWaitedThroughTheWrite);
  EXPECT_EQ(lock.waitingReaders(), 0u);
  EXPECT_EQ(lock.waitingWriters(), 0u);
}

TEST(ProviderLockTest, ReadersWaitingBehindAWriterGoBeforeTheNextWriter) {
  ProviderLock lock;
  Events events;
  const auto write = [&] {
    const ProviderLock::Exclusive exclusive(lock);
    events.add("writer in");
    events.add("writer out");
  };
  std::jthread firstWriter;
  std::jthread reader;
  std::jthread secondWriter;
  {
    const ProviderLock::Shared held(lock);
    firstWriter = std::jthread(write);
    ASSERT_TRUE(lock.awaitWaiting(1, 0, kLimit));
    reader = std::jthread([&] {
      const ProviderLock::Shared shared(lock);
      events.add("reader in");
      events.add("reader out");
    });
    ASSERT_TRUE(lock.awaitWaiting(1, 1, kLimit));
    secondWriter = std::jthread(write);
    ASSERT_TRUE(lock.awaitWaiting(2, 1, kLimit));
  }
  firstWriter.join();
  reader.join();
  secondWriter.join();
  EXPECT_EQ(events.list(), (std::vector<std::string>{"writer in", "writer out", "reader in",
                                                     "reader out", "writer in", "writer out"}));
}

TEST(ProviderLockTest, AwaitingWaitersGivesUpWhenNobodyWaits) {
  ProviderLock lock;
  const ProviderLock::Shared held(lock);
  EXPECT_FALSE(lock.awaitWaiting(1, 0, std::chrono::milliseconds(0)));
  EXPECT_FALSE(lock.awaitWaiting(0, 1, std::chrono::milliseconds(0)));
  EXPECT_TRUE(lock.awaitWaiting(0, 0, std::chrono::milliseconds(0)));
}

TEST(ProviderLockTest, NoReaderThatStartsWhileAWriterWaitsGetsInBeforeIt) {
  constexpr int kReaders = 16;
  constexpr int kWrites = 100;
  // Keeps a starved writer from hanging the test.
  constexpr int kMostReadsPerThread = 100000;
  ProviderLock lock;
  std::atomic<int> writes{0};
  std::atomic<bool> writerDone{false};
  std::atomic<int> readersInside{0};
  std::atomic<int> overtakes{0};
  std::atomic<int> sharedWithWriter{0};
  std::latch started(kReaders + 1);
  std::vector<std::jthread> readers;
  for (int r = 0; r < kReaders; ++r) {
    readers.emplace_back([&] {
      started.arrive_and_wait();
      for (int i = 0; i < kMostReadsPerThread && !writerDone; ++i) {
        const int writesBefore = writes.load();
        // A writer waiting now waits for its write number writesBefore + 1
        // (or a later one); this acquisition starts after it began waiting.
        const bool writerWaits = lock.waitingWriters() > 0;
        const ProviderLock::Shared shared(lock);
        ++readersInside;
        if (writerWaits && writes.load() == writesBefore) ++overtakes;
        --readersInside;
      }
    });
  }
  started.arrive_and_wait();
  for (int w = 0; w < kWrites; ++w) {
    const ProviderLock::Exclusive exclusive(lock);
    if (readersInside.load() != 0) ++sharedWithWriter;
    ++writes;
  }
  writerDone = true;
  for (std::jthread& reader : readers) reader.join();
  EXPECT_EQ(writes.load(), kWrites);
  EXPECT_EQ(overtakes.load(), 0);
  EXPECT_EQ(sharedWithWriter.load(), 0);
}

}  // namespace
