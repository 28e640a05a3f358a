#include "host/DateTime.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using kest::isValidDateTime;

namespace {

struct DateTimeCase {
  const char* label;
  const char* text;
  bool valid;
};

void expectAll(const std::vector<DateTimeCase>& cases) {
  for (const DateTimeCase& c : cases) {
    SCOPED_TRACE(std::string(c.label) + ": " + c.text);
    EXPECT_EQ(isValidDateTime(c.text), c.valid);
  }
}

}  // namespace

TEST(DateTimeTest, TimestampsWithEveryFieldInRangeAreValid) {
  expectAll({
      {"UTC", "20261121123000.000000+000", true},
      {"west of UTC", "20261121123000.000000-720", true},
      {"lowest fields", "00000101000000.000000+000", true},
      {"highest fields", "99991231235959.999999+999", true},
  });
}

TEST(DateTimeTest, TimestampFieldsOutOfRangeAreRefused) {
  expectAll({
      {"month 00", "20260021123000.000000+000", false},
      {"month 13", "20261321123000.000000+000", false},
      {"month 99", "20269921123000.000000+000", false},
      {"day 00", "20261100123000.000000+000", false},
      {"day 32", "20261132123000.000000+000", false},
      {"hour 24", "20261121243000.000000+000", false},
      {"minute 60", "20261121126000.000000+000", false},
      {"leap second 60", "20261121123060.000000+000", true},
      {"second 61", "20261121123061.000000+000", false},
  });
}

TEST(DateTimeTest, IntervalsNeedZeroOffsetAndATimeOfDayInRange) {
  expectAll({
      {"interval", "12345678235959.999999:000", true},
      {"zero interval", "00000000000000.000000:000", true},
      {"day count is not a date", "00000099000000.000000:000", true},
      {"offset not 000", "20261121123000.000000:001", false},
      {"hour 24", "12345678240000.000000:000", false},
      {"minute 60", "12345678006000.000000:000", false},
      {"second 60", "12345678000060.000000:000", false},
  });
}

TEST(DateTimeTest, AsterisksStandForFieldsNotGiven) {
  expectAll({
      {"all fields", "**************.******+000", true},
      {"minutes and below", "2026112112****.******+000", true},
      {"month with an asterisk is not range-checked", "20261*21123000.000000+000", true},
      {"interval", "********1234**.******:000", true},
      {"asterisk in the UTC offset", "20261121123000.000000+0*0", false},
      {"asterisk in the interval's 000", "12345678000000.000000:0*0", false},
      {"asterisk as the sign", "20261121123000.000000*000", false},
  });
}

TEST(DateTimeTest, TextOfTheWrongShapeIsRefused) {
  expectAll({
      {"empty", "", false},
      {"short", "20261121123000.000000+00", false},
      {"long", "20261121123000.000000+0000", false},
      {"comma for the dot", "20261121123000,000000+000", false},
      {"letter in the seconds", "2026112112300a.000000+000", false},
      {"letter in the offset", "20261121123000.000000+00a", false},
      {"blank", "20261121 23000.000000+000", false},
  });
}
