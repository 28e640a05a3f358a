#include "host/Time.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <limits>
#include <thread>

TEST(CI_RelTimeTest, DefaultIsZero) {
  const CI_RelTime zero;
  EXPECT_EQ(zero.seconds(), 0);
  EXPECT_EQ(zero.nanoseconds(), 0);
}

TEST(CI_RelTimeTest, KeepsSecondsAndNanoseconds) {
  const CI_RelTime t(2147483647, 999999999);
  EXPECT_EQ(t.seconds(), 2147483647);
  EXPECT_EQ(t.nanoseconds(), 999999999);
}

TEST(CI_RelTimeTest, CarriesWholeSecondsOutOfNanoseconds) {
  const CI_RelTime t(1, 2500000000L);
  EXPECT_EQ(t.seconds(), 3);
  EXPECT_EQ(t.nanoseconds(), 500000000);
}

TEST(CI_RelTimeTest, NegativeNanosecondsBorrowFromSeconds) {
  const CI_RelTime t(0, -1500000000L);
  EXPECT_EQ(t.seconds(), -2);
  EXPECT_EQ(t.nanoseconds(), 500000000);
}

TEST(CI_RelTimeTest, CarryIntoTheLargestSecondsSaturates) {
  const long kMax = std::numeric_limits<long>::max();
  const CI_RelTime t(kMax, 1500000000L);
  EXPECT_EQ(t.seconds(), kMax);
  EXPECT_EQ(t.nanoseconds(), 999999999);
}

TEST(CI_RelTimeTest, EqualityComparesBothFields) {
  EXPECT_TRUE(CI_RelTime(5, 7) == CI_RelTime(5, 7));
  EXPECT_FALSE(CI_RelTime(5, 7) == CI_RelTime(5, 8));
  EXPECT_FALSE(CI_RelTime(5, 7) == CI_RelTime(6, 7));
  EXPECT_TRUE(CI_RelTime(1, 0) == CI_RelTime(0, 1000000000L));
}

class CI_AbsTimeTest : public ::testing::Test {
 protected:
  void TearDown() override { CI_AbsTime::resetClock(); }
};

TEST_F(CI_AbsTimeTest, ReadsTheWallClockSinceTheUnixEpoch) {
  const auto before = std::chrono::duration_cast<std::chrono::seconds>(
                          std::chrono::system_clock::now().time_since_epoch())
                          .count();
  const CI_AbsTime now;
  const auto after = std::chrono::duration_cast<std::chrono::seconds>(
                         std::chrono::system_clock::now().time_since_epoch())
                         .count();
  EXPECT_GE(now.seconds(), before);
  EXPECT_LE(now.seconds(), after);
  EXPECT_GE(now.nanoseconds(), 0);
  EXPECT_LE(now.nanoseconds(), 999999999);
}

TEST_F(CI_AbsTimeTest, SecondsAreSixtyFourBits) {
  static_assert(sizeof(CI_AbsTime().seconds()) == 8);
  const CI_AbsTime far(std::int64_t{1} << 40, 0);
  EXPECT_EQ(far.seconds(), std::int64_t{1} << 40);
}

TEST_F(CI_AbsTimeTest, PinnedClockIsWhatEveryReadReturns) {
  CI_AbsTime::setClockForTesting([](std::int64_t& seconds, long& nanoseconds) {
    seconds = 4294966;
    nanoseconds = 123;
  });
  const CI_AbsTime first;
  const CI_AbsTime second;
  EXPECT_EQ(first.seconds(), 4294966);
  EXPECT_EQ(first.nanoseconds(), 123);
  EXPECT_TRUE(first == second);
}

TEST_F(CI_AbsTimeTest, PinnedClockCanBeMovedToSecondZero) {
  CI_AbsTime::setClockForTesting([](std::int64_t& seconds, long&) { seconds = 4294966; });
  EXPECT_EQ(CI_AbsTime().seconds(), 4294966);
  CI_AbsTime::setClockForTesting([](std::int64_t& seconds, long& nanoseconds) {
    seconds = 0;
    nanoseconds = 0;
  });
  const CI_AbsTime zero;
  EXPECT_EQ(zero.seconds(), 0);
  EXPECT_EQ(zero.nanoseconds(), 0);
}

TEST_F(CI_AbsTimeTest, PinnedClockIsSeenByOtherThreads) {
  CI_AbsTime::setClockForTesting([](std::int64_t& seconds, long&) { seconds = 4294966; });
  std::int64_t seen = -1;
  std::thread reader([&] { seen = CI_AbsTime().seconds(); });
  reader.join();
  EXPECT_EQ(seen, 4294966);
}

TEST_F(CI_AbsTimeTest, PinnedNanosecondsAreNormalised) {
  CI_AbsTime::setClockForTesting([](std::int64_t& seconds, long& nanoseconds) {
    seconds = 10;
    nanoseconds = 1000000001L;
  });
  const CI_AbsTime t;
  EXPECT_EQ(t.seconds(), 11);
  EXPECT_EQ(t.nanoseconds(), 1);
}

TEST_F(CI_AbsTimeTest, ResetClockReturnsToTheWallClock) {
  CI_AbsTime::setClockForTesting([](std::int64_t& seconds, long&) { seconds = 0; });
  EXPECT_EQ(CI_AbsTime().seconds(), 0);
  CI_AbsTime::resetClock();
  const auto wall = std::chrono::duration_cast<std::chrono::seconds>(
                        std::chrono::system_clock::now().time_since_epoch())
                        .count();
  const CI_AbsTime now;
  EXPECT_GE(now.seconds(), wall);
  EXPECT_LE(now.seconds(), wall + 5);
}

TEST_F(CI_AbsTimeTest, EmptyClockFunctionResetsTheClock) {
  CI_AbsTime::setClockForTesting([](std::int64_t& seconds, long&) { seconds = 0; });
  CI_AbsTime::setClockForTesting(CI_AbsTime::Clock());
  EXPECT_GT(CI_AbsTime().seconds(), 1000000000);
}

TEST_F(CI_AbsTimeTest, PinningWhileOtherThreadsReadIsSafe) {
  constexpr std::int64_t kPinned = 4294966;
  std::atomic<bool> stop{false};
  std::atomic<int> unexpected{0};
  std::atomic<long> reads{0};
  const auto reader = [&] {
    while (!stop.load()) {
      const CI_AbsTime t;
      // Either the pinned second, second 0, or the real clock (after 2001).
      if (t.seconds() != kPinned && t.seconds() != 0 && t.seconds() < 1000000000) {
        unexpected.fetch_add(1);
      }
      reads.fetch_add(1);
    }
  };
  std::thread a(reader);
  std::thread b(reader);
  // Let the readers get going so the pinning below overlaps their reads.
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  while (reads.load() < 100 && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::yield();
  }
  for (int i = 0; i < 300; ++i) {
    CI_AbsTime::setClockForTesting([](std::int64_t& seconds, long&) { seconds = kPinned; });
    CI_AbsTime::setClockForTesting([](std::int64_t& seconds, long&) { seconds = 0; });
    CI_AbsTime::resetClock();
  }
  stop.store(true);
  a.join();
  b.join();
  EXPECT_EQ(unexpected.load(), 0);
}
