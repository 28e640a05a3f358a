#include "framework/ProviderLock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>

#include "host/Exception.h"
#include "tests/support/Thrown.h"
#include "tests/support/WaitUntil.h"

using kest::pf::ProviderLock;
using kest::testing::Thrown;
using kest::testing::thrownAs;
using kest::testing::waitUntil;

namespace {

// Gives a thread that should be blocked a fair chance to get through.
void pause() { std::this_thread::sleep_for(std::chrono::milliseconds(50)); }

TEST(ProviderLockTest, SharedGuardsOfTwoThreadsHoldTheLockTogether) {
  ProviderLock lock;
  const ProviderLock::Shared first(lock);
  std::atomic<bool> entered{false};
  std::thread other([&] {
    const ProviderLock::Shared second(lock);
    entered = true;
  });
  other.join();
  EXPECT_TRUE(entered);
}

TEST(ProviderLockTest, ExclusiveGuardWaitsUntilTheLastSharedHolderLeaves) {
  ProviderLock lock;
  std::atomic<bool> entered{false};
  std::thread writer;
  {
    const ProviderLock::Shared reader(lock);
    writer = std::thread([&] {
      const ProviderLock::Exclusive exclusive(lock);
      entered = true;
    });
    pause();
    EXPECT_FALSE(entered);
  }
  writer.join();
  EXPECT_TRUE(entered);
}

TEST(ProviderLockTest, SharedGuardWaitsWhileAnotherThreadHoldsTheLockExclusively) {
  ProviderLock lock;
  std::atomic<bool> entered{false};
  std::thread reader;
  {
    const ProviderLock::Exclusive exclusive(lock);
    reader = std::thread([&] {
      const ProviderLock::Shared shared(lock);
      entered = true;
    });
    pause();
    EXPECT_FALSE(entered);
  }
  reader.join();
  EXPECT_TRUE(entered);
}

TEST(ProviderLockTest, NestedSharedGuardPassesThroughWhileAWriterWaits) {
  ProviderLock lock;
  std::atomic<bool> writerStarted{false};
  std::atomic<bool> writerEntered{false};
  std::thread writer;
  {
    const ProviderLock::Shared outer(lock);
    writer = std::thread([&] {
      writerStarted = true;
      const ProviderLock::Exclusive exclusive(lock);
      writerEntered = true;
    });
    ASSERT_TRUE(waitUntil([&] { return writerStarted.load(); }));
    pause();
    // A plain shared mutex may make this wait behind the writer, which waits
    // for the outer guard: a deadlock. The nested guard takes nothing.
    const ProviderLock::Shared inner(lock);
    EXPECT_TRUE(lock.isHeldByCurrentThread());
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
  std::thread other;
  {
    const ProviderLock::Exclusive outer(lock);
    { const ProviderLock::Exclusive inner(lock); }
    other = std::thread([&] {
      const ProviderLock::Shared shared(lock);
      entered = true;
    });
    pause();
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
  std::thread writer([&] {
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
  std::thread other([&] { heldThere = lock.isHeldByCurrentThread(); });
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

}  // namespace
