#include "framework/Exception.h"

#include <gtest/gtest.h>

#include <vector>

#include "host/CimStatus.h"

using kest::pf::Exception;

TEST(ExceptionTest, ThreeArgumentFormHasProviderTypeAndEmptyWho) {
  const Exception e("setProperty", "intrinsic not supported", 7);
  EXPECT_EQ(e.getType(), "Provider");
  EXPECT_EQ(e.getWhere(), "setProperty");
  EXPECT_TRUE(e.getWho().isNull());
  EXPECT_EQ(e.getMessage(), "intrinsic not supported");
  EXPECT_EQ(e.getCode(), 7);
}

TEST(ExceptionTest, FourArgumentFormTakesWhoFirstThenWhere) {
  const Exception e("kest::pf::Provider", "setProperty", "intrinsic not supported", 7);
  EXPECT_EQ(e.getType(), "Provider");
  EXPECT_EQ(e.getWho(), "kest::pf::Provider");
  EXPECT_EQ(e.getWhere(), "setProperty");
  EXPECT_EQ(e.getMessage(), "intrinsic not supported");
  EXPECT_EQ(e.getCode(), 7);
}

TEST(ExceptionTest, CopyKeepsWhereMessageAndCodeButLosesWhoAndType) {
  const Exception four("who", "where", "message", 17664);
  const Exception copyOfFour(four);
  EXPECT_TRUE(copyOfFour.getWho().isNull());
  EXPECT_TRUE(copyOfFour.getType().isNull());
  EXPECT_EQ(copyOfFour.getWhere(), "where");
  EXPECT_EQ(copyOfFour.getMessage(), "message");
  EXPECT_EQ(copyOfFour.getCode(), 17664);

  const Exception three("where", "message", 17665);
  const Exception copyOfThree(three);
  EXPECT_TRUE(copyOfThree.getWho().isNull());
  EXPECT_TRUE(copyOfThree.getType().isNull());
  EXPECT_EQ(copyOfThree.getCode(), 17665);
}

TEST(ExceptionTest, CaughtByReferenceKeepsWhoAndType) {
  try {
    throw Exception("kest::pf::Provider", "setProperty", "intrinsic not supported", 7);
  } catch (const Exception& e) {
    EXPECT_EQ(e.getWho(), "kest::pf::Provider");
    EXPECT_EQ(e.getType(), "Provider");
  }
}

// Catching by value copies the exception; the copy is what this test looks at.
#pragma GCC diagnostic push
#ifndef __clang__  // clang has no such warning
#pragma GCC diagnostic ignored "-Wcatch-value"
#endif
TEST(ExceptionTest, CaughtByValueLosesWhoAndType) {
  try {
    throw Exception("kest::pf::Provider", "setProperty", "intrinsic not supported", 7);
  } catch (Exception e) {
    EXPECT_TRUE(e.getWho().isNull());
    EXPECT_TRUE(e.getType().isNull());
    EXPECT_EQ(e.getWhere(), "setProperty");
    EXPECT_EQ(e.getCode(), 7);
  }
}
#pragma GCC diagnostic pop

TEST(ExceptionTest, IsCaughtAsTheHostBaseException) {
  try {
    throw Exception("where", "message", 17666);
  } catch (const TovaBaseException& e) {
    EXPECT_EQ(e.getType(), "Provider");
    EXPECT_EQ(e.getCode(), 17666);
    EXPECT_STREQ(e.what(), "message");
  }
}

TEST(ExceptionTest, CodesMapToTheCimStatusAClientIsGiven) {
  struct Case {
    int code;
    int status;
  };
  const std::vector<Case> cases = {
      {7, CIM_ERR_NOT_SUPPORTED},
      {17664, CIM_ERR_INVALID_PARAMETER},
      {17665, CIM_ERR_INVALID_CLASS},
      {17666, CIM_ERR_NOT_FOUND},
      {17667, CIM_ERR_FAILED},  // the provider read a value wrongly: its own failure
      {0, CIM_ERR_FAILED},
      {4, CIM_ERR_FAILED},  // a framework code, not a CIM status
      {6, CIM_ERR_FAILED},
      {17668, CIM_ERR_FAILED},
      {-1, CIM_ERR_FAILED},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.code);
    EXPECT_EQ(Exception("where", "message", c.code).getCimStatus(), c.status);
    EXPECT_EQ(Exception("who", "where", "message", c.code).getCimStatus(), c.status);
  }
}

TEST(ExceptionTest, CimStatusSurvivesCopyAndCatchAsTheHostBase) {
  const Exception original("where", "message", 17666);
  const Exception copy(original);
  EXPECT_EQ(copy.getCimStatus(), CIM_ERR_NOT_FOUND);
  try {
    throw Exception("who", "where", "message", 17664);
  } catch (const TovaBaseException& e) {
    EXPECT_EQ(e.getCimStatus(), CIM_ERR_INVALID_PARAMETER);
  }
}
