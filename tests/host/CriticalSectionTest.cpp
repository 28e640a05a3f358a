#include "host/CriticalSection.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <thread>
#include <type_traits>

static_assert(!std::is_copy_constructible_v<TOVCriticalSection>);
static_assert(!std::is_copy_assignable_v<TOVCriticalSection>);
static_assert(!std::is_copy_constructible_v<TOVCriticalSectionGuard>);
static_assert(!std::is_copy_assignable_v<TOVCriticalSectionGuard>);

namespace {

// Whether another thread can take the section right now (and gives it back).
bool otherThreadCanTake(TOVCriticalSection& section) {
  bool taken = false;
  std::thread other([&] {
    taken = section.tryLock();
    if (taken) section.unlock();
  });
  other.join();
  return taken;
}

}  // namespace

TEST(TOVCriticalSectionTest, SameThreadCanLockTwice) {
  TOVCriticalSection section;
  section.lock();
  section.lock();
  EXPECT_TRUE(section.tryLock());
  section.unlock();
  section.unlock();
  section.unlock();
  EXPECT_TRUE(otherThreadCanTake(section));
}

TEST(TOVCriticalSectionTest, TryLockFailsInAnotherThreadWhileHeld) {
  TOVCriticalSection section;
  section.lock();
  EXPECT_FALSE(otherThreadCanTake(section));
  section.unlock();
  EXPECT_TRUE(otherThreadCanTake(section));
}

TEST(TOVCriticalSectionTest, OtherThreadBlocksUntilEveryLockIsReleased) {
  TOVCriticalSection section;
  section.lock();
  section.lock();

  std::atomic<bool> acquired{false};
  std::promise<void> trying;
  std::thread other([&] {
    trying.set_value();
    section.lock();
    acquired.store(true);
    section.unlock();
  });

  section.unlock();
  // Still held once: the other thread must not get in, however long it tries.
  trying.get_future().wait();
  EXPECT_FALSE(acquired.load());
  EXPECT_FALSE(otherThreadCanTake(section));

  section.unlock();
  other.join();
  EXPECT_TRUE(acquired.load());
}

TEST(TOVCriticalSectionTest, ProtectsACounterIncrementedByManyThreads) {
  TOVCriticalSection section;
  long counter = 0;
  constexpr int kThreads = 4;
  constexpr int kIncrements = 10000;
  std::thread threads[kThreads];
  for (auto& t : threads) {
    t = std::thread([&] {
      for (int i = 0; i < kIncrements; ++i) {
        TOVCriticalSectionGuard guard(section);
        TOVCriticalSectionGuard nested(section);
        ++counter;
      }
    });
  }
  for (auto& t : threads) t.join();
  EXPECT_EQ(counter, static_cast<long>(kThreads) * kIncrements);
}

TEST(TOVCriticalSectionGuardTest, HoldsTheSectionUntilScopeExit) {
  TOVCriticalSection section;
  {
    TOVCriticalSectionGuard guard(section);
    EXPECT_FALSE(otherThreadCanTake(section));
  }
  EXPECT_TRUE(otherThreadCanTake(section));
}

TEST(TOVCriticalSectionGuardTest, NestedGuardsReleaseOnlyWhenTheOuterOneEnds) {
  TOVCriticalSection section;
  {
    TOVCriticalSectionGuard outer(section);
    { TOVCriticalSectionGuard inner(section); }
    EXPECT_FALSE(otherThreadCanTake(section));
  }
  EXPECT_TRUE(otherThreadCanTake(section));
}

TEST(TOVCriticalSectionGuardTest, UnlocksWhenAnExceptionLeavesTheScope) {
  TOVCriticalSection section;
  try {
    TOVCriticalSectionGuard guard(section);
    throw 1;
  } catch (int) {
  }
  EXPECT_TRUE(otherThreadCanTake(section));
}
