#include "host/Semaphore.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "tests/support/WaitUntil.h"

using kest::testing::waitUntil;

namespace {

using Clock = std::chrono::steady_clock;

long long elapsedMs(Clock::time_point since) {
  return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - since).count();
}

}  // namespace

TEST(TOVSemaphoreTest, TimedWaitReturnsFalseAfterTheTimeoutWhenNoUnitIsReleased) {
  TOVSemaphore semaphore(0);
  const auto start = Clock::now();
  // Short: the test checks that the wait lasts its time-out, not how long.
  EXPECT_FALSE(semaphore.wait(2));
  EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(2));
}

TEST(TOVSemaphoreTest, WaitZeroWithoutUnitsReturnsFalseAtOnce) {
  TOVSemaphore semaphore(0);
  const auto start = Clock::now();
  for (int i = 0; i < 1000; ++i) ASSERT_FALSE(semaphore.wait(0));
  // Only a hang guard: a thousand non-blocking calls take microseconds.
  EXPECT_LT(elapsedMs(start), 5000);
}

TEST(TOVSemaphoreTest, WaitZeroTakesAUnitThatIsThere) {
  TOVSemaphore semaphore(1);
  EXPECT_TRUE(semaphore.wait(0));
  EXPECT_FALSE(semaphore.wait(0));
}

TEST(TOVSemaphoreTest, InitialCountGivesThatManyUnits) {
  TOVSemaphore semaphore(2);
  EXPECT_TRUE(semaphore.wait(0));
  EXPECT_TRUE(semaphore.wait(0));
  EXPECT_FALSE(semaphore.wait(0));
}

TEST(TOVSemaphoreTest, ReleaseThenWaitTakesTheUnit) {
  TOVSemaphore semaphore(0);
  semaphore.release();
  EXPECT_TRUE(semaphore.wait(1000));
  EXPECT_FALSE(semaphore.wait(0));
}

TEST(TOVSemaphoreTest, ReleaseThenUntimedWaitReturns) {
  TOVSemaphore semaphore(0);
  semaphore.release();
  semaphore.wait();
  EXPECT_FALSE(semaphore.wait(0));
}

TEST(TOVSemaphoreTest, ReleaseOfThreeGivesExactlyThreeUnits) {
  TOVSemaphore semaphore(0);
  semaphore.release(3);
  EXPECT_TRUE(semaphore.wait(0));
  EXPECT_TRUE(semaphore.wait(0));
  EXPECT_TRUE(semaphore.wait(0));
  EXPECT_FALSE(semaphore.wait(0));
}

TEST(TOVSemaphoreTest, ReleaseOfZeroGivesNoUnit) {
  TOVSemaphore semaphore(0);
  semaphore.release(0);
  EXPECT_FALSE(semaphore.wait(0));
}

TEST(TOVSemaphoreTest, WaitingThreadIsWokenByReleaseFromAnotherThread) {
  TOVSemaphore semaphore(0);
  std::atomic<bool> finished{false};
  bool taken = false;
  std::thread waiter([&] {
    taken = semaphore.wait(60000);
    finished.store(true);
  });
  ASSERT_TRUE(waitUntil([&] { return semaphore.waitersForTesting() == 1 || finished.load(); }));
  EXPECT_FALSE(finished.load());
  semaphore.release();
  waiter.join();
  EXPECT_TRUE(taken);
  EXPECT_FALSE(semaphore.wait(0));
}

TEST(TOVSemaphoreTest, UntimedWaitIsWokenByReleaseFromAnotherThread) {
  TOVSemaphore semaphore(0);
  std::atomic<bool> finished{false};
  std::thread waiter([&] {
    semaphore.wait();
    finished.store(true);
  });
  ASSERT_TRUE(waitUntil([&] { return semaphore.waitersForTesting() == 1 || finished.load(); }));
  EXPECT_FALSE(finished.load());
  semaphore.release();
  waiter.join();
  EXPECT_TRUE(finished.load());
}

TEST(TOVSemaphoreTest, CountsTheThreadsBlockedInAWait) {
  TOVSemaphore semaphore(0);
  EXPECT_EQ(semaphore.waitersForTesting(), 0u);
  std::thread timed([&] { EXPECT_TRUE(semaphore.wait(60000)); });
  std::thread untimed([&] { semaphore.wait(); });
  ASSERT_TRUE(waitUntil([&] { return semaphore.waitersForTesting() == 2; }));
  semaphore.release(2);
  timed.join();
  untimed.join();
  EXPECT_EQ(semaphore.waitersForTesting(), 0u);
  EXPECT_FALSE(semaphore.wait(2));
  EXPECT_EQ(semaphore.waitersForTesting(), 0u);
}

TEST(TOVSemaphoreTest, ReleaseOfManyWakesThatManyWaiters) {
  TOVSemaphore semaphore(0);
  TOVSemaphore done(0);
  constexpr int kWaiters = 3;
  std::vector<std::thread> waiters;
  for (int i = 0; i < kWaiters; ++i) {
    waiters.emplace_back([&] {
      semaphore.wait();
      done.release();
    });
  }
  semaphore.release(kWaiters);
  for (int i = 0; i < kWaiters; ++i) EXPECT_TRUE(done.wait(5000)) << "waiter " << i;
  for (auto& t : waiters) t.join();
  EXPECT_FALSE(semaphore.wait(0));
}

TEST(TOVSemaphoreTest, EveryReleasedUnitIsTakenExactlyOnceUnderContention) {
  TOVSemaphore semaphore(0);
  constexpr int kConsumers = 4;
  constexpr int kUnitsEach = 500;
  std::atomic<int> taken{0};
  std::vector<std::thread> consumers;
  for (int i = 0; i < kConsumers; ++i) {
    consumers.emplace_back([&] {
      for (int n = 0; n < kUnitsEach; ++n) {
        if (semaphore.wait(5000)) taken.fetch_add(1);
      }
    });
  }
  for (int n = 0; n < kConsumers * kUnitsEach; ++n) semaphore.release();
  for (auto& t : consumers) t.join();
  EXPECT_EQ(taken.load(), kConsumers * kUnitsEach);
  EXPECT_FALSE(semaphore.wait(0));
}
