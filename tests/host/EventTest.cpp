#include "host/Event.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <limits>
#include <thread>

#include "tests/support/WaitUntil.h"

using kest::testing::waitUntil;

namespace {

using Clock = std::chrono::steady_clock;

// Timed waits that are meant to time out are kept this short; the tests
// check that they end after their time-out, never how soon.
const CI_RelTime kShort(0, 2000000L);
constexpr std::chrono::milliseconds kShortMs(2);
const CI_RelTime kMinute(60, 0);

// Waits until the event has n threads blocked in it, or until done says that
// a waiter has already returned (which the caller then reports).
template <typename Done>
void awaitBlockedWaiters(CI_AutoEvent& event, unsigned long n, Done done) {
  ASSERT_TRUE(waitUntil([&] { return event.waitersForTesting() == n || done(); }));
}

}  // namespace

TEST(CI_AutoEventTest, StartsUnsignalled) {
  CI_AutoEvent event;
  const auto start = Clock::now();
  EXPECT_EQ(event.timedWait(kShort), 1);
  EXPECT_GE(Clock::now() - start, kShortMs);
}

TEST(CI_AutoEventTest, SetBeforeWaitIsConsumedByTheNextTimedWaitOnly) {
  CI_AutoEvent event;
  event.set();
  EXPECT_EQ(event.timedWait(kMinute), 0);
  const auto start = Clock::now();
  EXPECT_EQ(event.timedWait(kShort), 1);
  EXPECT_GE(Clock::now() - start, kShortMs);
}

TEST(CI_AutoEventTest, SettingTwiceWithNobodyWaitingLeavesOneSignal) {
  CI_AutoEvent event;
  event.set();
  event.set();
  EXPECT_EQ(event.timedWait(kMinute), 0);
  EXPECT_EQ(event.timedWait(kShort), 1);
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
  awaitBlockedWaiters(event, 1, [&] { return result.load() != -1; });
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
  awaitBlockedWaiters(event, 1, [&] { return woken.load(); });
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
  awaitBlockedWaiters(event, 2, [&] { return returned.load() != 0; });
  ASSERT_EQ(returned.load(), 0);

  event.set();
  ASSERT_TRUE(waitUntil([&] { return returned.load() == 1; }));
  // The other waiter must stay asleep: one set releases one thread.
  EXPECT_EQ(event.waitersForTesting(), 1u);
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
  awaitBlockedWaiters(event, 1, [&] { return result.load() != -1; });
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
  awaitBlockedWaiters(event, 1, [&] { return result.load() != -1; });
  EXPECT_EQ(result.load(), -1);
  event.set();
  waiter.join();
  EXPECT_EQ(result.load(), 0);
}

TEST(CI_AutoEventTest, CountsTheTimedWaitsThatTimedOut) {
  CI_AutoEvent event;
  EXPECT_EQ(event.timeoutsForTesting(), 0u);
  EXPECT_EQ(event.timedWait(kShort), 1);
  EXPECT_EQ(event.timedWait(CI_RelTime(0, 0)), 1);
  event.set();
  EXPECT_EQ(event.timedWait(kMinute), 0);
  EXPECT_EQ(event.timeoutsForTesting(), 2u);
  EXPECT_EQ(event.waitersForTesting(), 0u);
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
      waitUntil([] { return CI_AutoEvent::lastTimedWaitForTesting().seconds() == 2147483647; }));
  EXPECT_EQ(CI_AutoEvent::lastTimedWaitForTesting().nanoseconds(), 0);
  consumerEvent.set();
  consumer.join();
}
