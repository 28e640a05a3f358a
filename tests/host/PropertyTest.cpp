#include "host/Property.h"

#include <gtest/gtest.h>

namespace {

TEST(CTovaPropertyTest, ReportsNameAndValue) {
  const TOVSmrPtr<ITovaValue> value(new CTovaValue("on"));
  const CTovaProperty property("PowerState", value, false);
  EXPECT_EQ(property.getName(), "PowerState");
  EXPECT_TRUE(property.getValue() == value);
}

TEST(CTovaPropertyTest, ReportsThePropagatedFlagAsGiven) {
  const TOVSmrPtr<ITovaValue> value(new CTovaValue(TOVuint8{1}));
  for (bool flag : {false, true}) {
    SCOPED_TRACE(flag);
    EXPECT_EQ(CTovaProperty("P", value, flag).isPropagated(), flag);
    EXPECT_EQ(CTovaProperty("P", CTovaType::uint8, value, flag).isPropagated(), flag);
  }
}

TEST(CTovaPropertyTest, TypeIsTheValueTypeWhenNoneIsDeclared) {
  const CTovaProperty property("P", TOVSmrPtr<ITovaValue>(new CTovaValue(1.5)), false);
  EXPECT_TRUE(property.getType() == CTovaType::real64);
}

TEST(CTovaPropertyTest, DeclaredTypeWinsOverTheValueType) {
  const CTovaProperty property("P", CTovaType::uint64,
                               TOVSmrPtr<ITovaValue>(new CTovaValue(TOVuint8{1})), false);
  EXPECT_TRUE(property.getType() == CTovaType::uint64);
}

TEST(CTovaPropertyTest, DeclaredTypeIsKeptForAMissingValue) {
  const CTovaProperty property("P", CTovaType::string, TOVSmrPtr<ITovaValue>(), false);
  EXPECT_TRUE(property.getType() == CTovaType::string);
  EXPECT_TRUE(property.getValue().isNull());
}

TEST(CTovaPropertyTest, TypeIsNullWithoutValueOrDeclaredType) {
  EXPECT_TRUE(CTovaProperty("P", TOVSmrPtr<ITovaValue>(), false).getType().isNull());
  EXPECT_TRUE(
      CTovaProperty("P", TOVSmrPtr<ITovaType>(), TOVSmrPtr<ITovaValue>(), true).getType().isNull());
}

}  // namespace
