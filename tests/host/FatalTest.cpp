#include "host/Fatal.h"

#include <gtest/gtest.h>

#include <type_traits>

#include "host/Exception.h"

static_assert(std::is_base_of_v<std::exception, CI_Exception>);
static_assert(std::is_base_of_v<CI_Exception, CI_ExFatal>);
static_assert(!std::is_base_of_v<TovaBaseException, CI_Exception>);

TEST(CI_StringTest, NoneIsEmpty) {
  EXPECT_TRUE(CI_String::none.empty());
  EXPECT_EQ(CI_String::none.length(), 0u);
  EXPECT_STREQ(CI_String::none.c_str(), "");
}

TEST(CI_StringTest, ConvertsFromCharPointerAndFromAndToTOVString) {
  const CI_String fromChars = "abc";
  EXPECT_STREQ(fromChars.c_str(), "abc");
  EXPECT_FALSE(fromChars.empty());

  const CI_String fromString = TOVString("CIM_Foo");
  EXPECT_STREQ(fromString.c_str(), "CIM_Foo");

  const TOVString back = fromString;
  EXPECT_EQ(back, TOVString("CIM_Foo"));
  EXPECT_TRUE(fromChars == CI_String("abc"));
  EXPECT_FALSE(fromChars == CI_String("abd"));
}

TEST(CI_StringTest, NullCharPointerGivesTheEmptyText) {
  const char* nothing = nullptr;
  const CI_String s = nothing;
  EXPECT_TRUE(s.empty());
  EXPECT_STREQ(s.c_str(), "");
}

TEST(CI_ExceptionTest, WhatReturnsTheText) {
  const CI_Exception e("something broke");
  EXPECT_STREQ(e.what(), "something broke");
  EXPECT_EQ(e.getText(), TOVString("something broke"));
}

namespace {

CI_ExFatal makeFatal() {
  return CI_ExFatal("! \"getClass (not) implemented\"", 51458, "provider/Foo.cpp", 123, "CIM_Foo",
                    TOVString("root/cimv2"), CI_String::none, "four", "five");
}

}  // namespace

TEST(CI_ExFatalTest, GettersReturnTheConstructorValues) {
  const CI_ExFatal fatal = makeFatal();
  EXPECT_EQ(fatal.getText(), TOVString("! \"getClass (not) implemented\""));
  EXPECT_STREQ(fatal.what(), "! \"getClass (not) implemented\"");
  EXPECT_EQ(fatal.getCode(), 51458);
  EXPECT_STREQ(fatal.getFile(), "provider/Foo.cpp");
  EXPECT_EQ(fatal.getLine(), 123);
  EXPECT_EQ(fatal.getArgument(1), TOVString("CIM_Foo"));
  EXPECT_EQ(fatal.getArgument(2), TOVString("root/cimv2"));
  EXPECT_TRUE(fatal.getArgument(3).isNull());
  EXPECT_EQ(fatal.getArgument(4), TOVString("four"));
  EXPECT_EQ(fatal.getArgument(5), TOVString("five"));
}

TEST(CI_ExFatalTest, ArgumentsOutsideOneToFiveAreEmpty) {
  const CI_ExFatal fatal = makeFatal();
  EXPECT_TRUE(fatal.getArgument(0).isNull());
  EXPECT_TRUE(fatal.getArgument(6).isNull());
  EXPECT_TRUE(fatal.getArgument(-1).isNull());
}

TEST(CI_ExFatalTest, UnusedArgumentsDefaultToEmptyAndNullFileIsEmpty) {
  const CI_ExFatal fatal("condition", 7, nullptr, 0);
  EXPECT_STREQ(fatal.getFile(), "");
  for (int i = 1; i <= 5; ++i) EXPECT_TRUE(fatal.getArgument(i).isNull()) << i;
}

TEST(CI_ExFatalTest, ThrowThisThrowsACopyCatchableAsCI_ExFatal) {
  const CI_ExFatal original = makeFatal();
  try {
    original.throwThis();
  } catch (const CI_ExFatal& caught) {
    EXPECT_NE(&caught, &original);
    EXPECT_EQ(caught.getCode(), 51458);
    EXPECT_EQ(caught.getLine(), 123);
    EXPECT_STREQ(caught.getFile(), "provider/Foo.cpp");
    EXPECT_EQ(caught.getText(), original.getText());
    EXPECT_EQ(caught.getArgument(5), TOVString("five"));
    return;
  }
  FAIL() << "throwThis did not throw a CI_ExFatal";
}

TEST(CI_ExFatalTest, ThrowThisIsCatchableAsCI_Exception) {
  bool caught = false;
  try {
    makeFatal().throwThis();
  } catch (const CI_Exception& e) {
    caught = true;
    EXPECT_STREQ(e.what(), "! \"getClass (not) implemented\"");
  }
  EXPECT_TRUE(caught);
}

TEST(CI_ExFatalTest, ThrowThisIsNotCaughtAsTovaBaseException) {
  bool caughtAsHostError = false;
  bool caughtAsFatal = false;
  try {
    try {
      makeFatal().throwThis();
    } catch (const TovaBaseException&) {
      caughtAsHostError = true;
    }
  } catch (const CI_ExFatal&) {
    caughtAsFatal = true;
  }
  EXPECT_FALSE(caughtAsHostError);
  EXPECT_TRUE(caughtAsFatal);
}
