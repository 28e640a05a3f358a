#include "framework/Context.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>

#include "host/Time.h"

using kest::pf::Context;

namespace {

// Pins the host clock for one test.
class ContextTest : public ::testing::Test {
 protected:
  void pin(std::int64_t seconds, long nanoseconds) {
    pinnedSeconds = seconds;
    pinnedNanoseconds = nanoseconds;
    CI_AbsTime::setClockForTesting([this](std::int64_t& s, long& ns) {
      s = pinnedSeconds.load();
      ns = pinnedNanoseconds.load();
    });
  }
  void TearDown() override { CI_AbsTime::resetClock(); }

  std::atomic<std::int64_t> pinnedSeconds{0};
  std::atomic<long> pinnedNanoseconds{0};
};

}  // namespace

TEST_F(ContextTest, StampIsSecondsTimesAThousandPlusNanosecondsByAThousand) {
  pin(12, 345678901);
  EXPECT_EQ(Context().getCurrentTimeStamp(), 12 * 1000 + 345678);
}

TEST_F(ContextTest, StampAtSecond4294966EqualsStampAtSecondZero) {
  pin(4294966, 5000);
  const time_t wrapped = Context().getCurrentTimeStamp();
  pin(0, 5000);
  EXPECT_EQ(wrapped, Context().getCurrentTimeStamp());
  EXPECT_EQ(wrapped, 5);
}

TEST_F(ContextTest, StampJustBelowTheWrapIsLarge) {
  pin(4294965, 999999999);
  EXPECT_EQ(Context().getCurrentTimeStamp(), 4294965LL * 1000 + 999999);
}

TEST_F(ContextTest, SecondsAreTruncatedTo32SignedBitsBeforeTheReduction) {
  // 2^32 + 7 seconds truncate to 7.
  pin((std::int64_t{1} << 32) + 7, 0);
  EXPECT_EQ(Context().getCurrentTimeStamp(), 7000);
  // 2^31 seconds truncate to -2^31; the remainder keeps the sign.
  pin(std::int64_t{1} << 31, 0);
  const std::int32_t reduced = static_cast<std::int32_t>(-2147483647 - 1) % 4294966;
  EXPECT_EQ(Context().getCurrentTimeStamp(), static_cast<time_t>(reduced) * 1000);
  EXPECT_LT(Context().getCurrentTimeStamp(), 0);
}

TEST_F(ContextTest, TwoContextsWithinTheSameMicrosecondHaveEqualStamps) {
  pin(1000, 123456000);
  const Context first;
  pin(1000, 123456999);
  const Context second;
  EXPECT_EQ(first.getCurrentTimeStamp(), second.getCurrentTimeStamp());
}

TEST_F(ContextTest, CopyTakesTheSourceStampNotANewOne) {
  pin(50, 0);
  const Context source;
  pin(60, 0);
  const Context copy(source);
  EXPECT_EQ(copy.getCurrentTimeStamp(), 50000);
  Context assigned;
  EXPECT_EQ(assigned.getCurrentTimeStamp(), 60000);
  assigned = source;
  EXPECT_EQ(assigned.getCurrentTimeStamp(), 50000);
}

TEST_F(ContextTest, SetCurrentTimeStampRestamps) {
  pin(1, 0);
  Context context;
  pin(2, 0);
  context.setCurrentTimeStamp();
  EXPECT_EQ(context.getCurrentTimeStamp(), 2000);
}

TEST_F(ContextTest, ClassNameIsFixed) { EXPECT_EQ(Context().GetClassName(), "kest::pf::Context"); }

TEST_F(ContextTest, UnpinnedStampFollowsTheRealClock) {
  const CI_AbsTime now;
  const time_t stamp = Context().getCurrentTimeStamp();
  const std::int64_t expectedSecond = static_cast<std::int32_t>(now.seconds()) % 4294966;
  // The sub-second part adds up to 999999; allow the clock to tick over
  // between the two reads.
  EXPECT_GE(stamp, expectedSecond * 1000);
  EXPECT_LE(stamp, (expectedSecond + 2) * 1000 + 999999);
}
