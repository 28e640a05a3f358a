#include "host/ActualParameter.h"

#include <gtest/gtest.h>

namespace {

TEST(CTovaActualParameterTest, ReportsNameAndSharedValue) {
  const TOVSmrPtr<ITovaValue> value(new CTovaValue(TOVuint32{42}));
  const TOVParameter parameter(new CTovaActualParameter("Timeout", value));
  EXPECT_EQ(parameter->getName(), "Timeout");
  EXPECT_TRUE(parameter->getValue() == value);
  EXPECT_EQ(parameter->getValue()->getAsUInt(), 42u);
}

TEST(CTovaActualParameterTest, AcceptsAMissingValue) {
  const CTovaActualParameter parameter("Force", TOVSmrPtr<ITovaValue>());
  EXPECT_EQ(parameter.getName(), "Force");
  EXPECT_TRUE(parameter.getValue().isNull());
}

}  // namespace
