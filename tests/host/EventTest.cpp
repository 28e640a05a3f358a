#include "host/Event.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <limits>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;

long long elapsedMs(Clock::time_point since) {
  return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - since).count();
}

// Polls until predicate holds or five seconds have passed.
template <typename Predicate>
bool eventually(Predicate predicate) {
  const auto deadline = Clock::now() + std::chrono::seconds(5);
  while (!predicate()) {
    if (Clock::now() >= deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

const CI_RelTime kFiftyMs(0, 50000000L);
const CI_RelTime kMinute(60, 0);

}  // namespace

TEST(CI_AutoEventTest, StartsUnsignalled) {
  CI_AutoEvent event;
  const auto start = Clock::now();
  EXPECT_EQ(event.timedWait(kFiftyMs), 1);
  EXPECT_GE(elapsedMs(start), 50);
}

TEST(CI_AutoEventTest, SetBeforeWaitIsConsumedByTheNextTimedWaitOnly) {
  CI_AutoEvent event;
  event.set();
  EXPECT_EQ(event.timedWait(kMinute), 0);
  const auto start = Clock::now();
  EXPECT_EQ(event.timedWait(kFiftyMs), 1);
  EXPECT_GE(elapsedMs(start), 50);
}

TEST(CI_AutoEventTest, SettingTwiceWithNobodyWaitingLeavesOneSignal) {
  CI_AutoEvent event;
  event.set();
  event.set();
  EXPECT_EQ(event.timedWait(kMinute), 0);
  EXPECT_EQ(event.timedWait(kFiftyMs), 1);
}

TEST(CI_AutoEventTest, SetBeforeUntimedWaitLetsItReturn) {
  CI_AutoEvent event;
  event.set();
  event.wait();
  EXPECT_EQ(event.timedWait(CI_RelTime(0, 0)), 1);
}

TEST(CI_AutoEventTest, ZeroOrNegativeTimeoutOnlyTakesASignalAlreadyThere) {
  CI_AutoEvent event;
  EXPECT_EQ(event.timedWait(CI_RelTime(0, 0)), 1);
  EXPECT_EQ(event.timedWait(CI_RelTime(-5, 0)), 1);
  event.set();
  EXPECT_EQ(event.timedWait(CI_RelTime(-5, 0)), 0);
}

TEST(CI_AutoEventTest, SetFromAnotherThreadWakesATimedWaiter) {
  CI_AutoEvent event;
  std::atomic<int> result{-1};
  std::thread waiter([&] { result.store(event.timedWait(kMinute)); });
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  EXPECT_EQ(result.load(), -1);
  event.set();
  waiter.join();
  EXPECT_EQ(result.load(), 0);
}

TEST(CI_AutoEventTest, SetFromAnotherThreadWakesAnUntimedWaiter) {
  CI_AutoEvent event;
  std::atomic<bool> woken{false};
  std::thread waiter([&] {
    event.wait();
    woken.store(true);
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  EXPECT_FALSE(woken.load());
  event.set();
  waiter.join();
  EXPECT_TRUE(woken.load());
}

TEST(CI_AutoEventTest, SetWakesExactlyOneOfTwoWaiters) {
  CI_AutoEvent event;
  std::atomic<int> returned{0};
  std::atomic<int> signalled{0};
  const auto wait = [&] {
    if (event.timedWait(kMinute) == 0) signalled.fetch_add(1);
    returned.fetch_add(1);
  };
  std::thread first(wait);
  std::thread second(wait);
  std::this_thread::sleep_for(std::chrono::milliseconds(50));

  event.set();
  ASSERT_TRUE(eventually([&] { return returned.load() == 1; }));
  // The other waiter must stay asleep: one set releases one thread.
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  EXPECT_EQ(returned.load(), 1);

  event.set();
  first.join();
  second.join();
  EXPECT_EQ(returned.load(), 2);
  EXPECT_EQ(signalled.load(), 2);
  // Both signals were consumed by the waiters.
  EXPECT_EQ(event.timedWait(CI_RelTime(0, 0)), 1);
}

TEST(CI_AutoEventTest, WaitOfTwoToTheThirtyOneSecondsWaitsUntilSet) {
  CI_AutoEvent event;
  std::atomic<int> result{-1};
  std::thread waiter([&] { result.store(event.timedWait(CI_RelTime(2147483647, 0))); });
  // An overflowing deadline would make the wait return 1 at once.
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  EXPECT_EQ(result.load(), -1);
  event.set();
  waiter.join();
  EXPECT_EQ(result.load(), 0);
}

TEST(CI_AutoEventTest, WaitBeyondTheClockRangeSaturatesInsteadOfTimingOut) {
  CI_AutoEvent event;
  std::atomic<int> result{-1};
  const CI_RelTime longest(std::numeric_limits<long>::max(), 999999999L);
  std::thread waiter([&] { result.store(event.timedWait(longest)); });
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  EXPECT_EQ(result.load(), -1);
  event.set();
  waiter.join();
  EXPECT_EQ(result.load(), 0);
}

TEST(CI_AutoEventTest, ProbeRecordsTheLastTimedWaitDuration) {
  CI_AutoEvent event;
  event.timedWait(CI_RelTime(0, 1000000L));
  EXPECT_TRUE(CI_AutoEvent::lastTimedWaitForTesting() == CI_RelTime(0, 1000000L));

  event.set();
  event.timedWait(CI_RelTime(3, 5));
  const CI_RelTime last = CI_AutoEvent::lastTimedWaitForTesting();
  EXPECT_EQ(last.seconds(), 3);
  EXPECT_EQ(last.nanoseconds(), 5);
}

TEST(CI_AutoEventTest, ProbeSeesTimedWaitsOfOtherThreadsAndOtherEvents) {
  CI_AutoEvent other;
  other.timedWait(CI_RelTime(0, 0));
  ASSERT_TRUE(CI_AutoEvent::lastTimedWaitForTesting() == CI_RelTime(0, 0));

  CI_AutoEvent consumerEvent;
  std::thread consumer([&] { consumerEvent.timedWait(CI_RelTime(2147483647, 0)); });
  ASSERT_TRUE(
      eventually([] { return CI_AutoEvent::lastTimedWaitForTesting().seconds() == 2147483647; }));
  EXPECT_EQ(CI_AutoEvent::lastTimedWaitForTesting().nanoseconds(), 0);
  consumerEvent.set();
  consumer.join();
}
