#include "framework/Helper.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "framework/Exception.h"
#include "support/ObjectModelBuilders.h"

using kest::pf::Exception;
using kest::pf::Helper;
using namespace kest::testing;

namespace {

using ParameterList = Helper::ParameterList;

TOVParameter parameter(const char* name, const TOVSmrPtr<ITovaValue>& value) {
  return TOVParameter(new CTovaActualParameter(name, value));
}

ParameterList listOf(std::vector<TOVParameter> parameters) {
  ParameterList list(new TOVValSlist<TOVParameter>());
  for (const auto& p : parameters) list->append(p);
  return list;
}

std::vector<std::string> namesOf(const ParameterList& list) {
  std::vector<std::string> result;
  for (const auto& p : *list) result.push_back(p->getName().toStdString());
  return result;
}

}  // namespace

TEST(HelperTest, GetParameterByNameIgnoresCase) {
  const TOVParameter timeout = parameter("TIMEOUT", make(30));
  const ParameterList list = listOf({parameter("Other", make(1)), timeout});
  EXPECT_TRUE(Helper::getParameterByName("Timeout", list) == timeout);
}

TEST(HelperTest, GetParameterByNameReturnsTheFirstOfTwoWithTheSameName) {
  const TOVParameter first = parameter("Name", make("first"));
  const ParameterList list = listOf({first, parameter("name", make("second"))});
  EXPECT_TRUE(Helper::getParameterByName("NAME", list) == first);
}

TEST(HelperTest, GetParameterByNameOfAMissingNameThrowsMissingParameter) {
  const ParameterList list = listOf({parameter("Other", make(1))});
  try {
    Helper::getParameterByName("Timeout", list);
    FAIL() << "no exception";
  } catch (const Exception& e) {
    EXPECT_EQ(e.getType(), "Provider");
    EXPECT_EQ(e.getWhere(), "PFProvider");
    EXPECT_TRUE(e.getWho().isNull());
    EXPECT_EQ(e.getMessage(), "Missing parameter Timeout");
    EXPECT_EQ(e.getCode(), 17664);
  }
}

TEST(HelperTest, GetParameterByNameOnANullListRaisesTheNullPointerError) {
  EXPECT_THROW(Helper::getParameterByName("x", ParameterList()), TOVNullPointerException);
}

TEST(HelperTest, OptionalFormsReadEachTypeAndReturnTrue) {
  const ParameterList list = listOf({
      parameter("Int", make(-5)),
      parameter("UInt", make(4000000000u)),
      parameter("Real", make(2.5)),
      parameter("Big", make(18446744073709551615ULL)),
      parameter("Flag", make(true)),
      parameter("Text", make("hello")),
  });
  int i = 0;
  unsigned int u = 0;
  double d = 0;
  unsigned long long big = 0;
  bool flag = false;
  TOVString text;
  EXPECT_TRUE(Helper::getOptionalParameterByName("int", list, i, 1));
  EXPECT_EQ(i, -5);
  EXPECT_TRUE(Helper::getOptionalParameterByName("uint", list, u, 1u));
  EXPECT_EQ(u, 4000000000u);
  EXPECT_TRUE(Helper::getOptionalParameterByName("real", list, d, 1.0));
  EXPECT_EQ(d, 2.5);
  EXPECT_TRUE(Helper::getOptionalParameterByName("big", list, big, 1ULL));
  EXPECT_EQ(big, 18446744073709551615ULL);
  EXPECT_TRUE(Helper::getOptionalParameterByName("flag", list, flag, false));
  EXPECT_TRUE(flag);
  EXPECT_TRUE(Helper::getOptionalParameterByName("text", list, text, TOVString("default")));
  EXPECT_EQ(text, "hello");
}

TEST(HelperTest, NarrowFormsKeepTheLowBitsOfTheUInt32Value) {
  const ParameterList list =
      listOf({parameter("Byte", make(300)), parameter("Short", make(70000))});
  unsigned char byte = 0;
  unsigned short shortValue = 0;
  EXPECT_TRUE(
      Helper::getOptionalParameterByName("Byte", list, byte, static_cast<unsigned char>(1)));
  EXPECT_EQ(byte, 44);
  EXPECT_TRUE(Helper::getOptionalParameterByName("Short", list, shortValue,
                                                 static_cast<unsigned short>(1)));
  EXPECT_EQ(shortValue, 70000 & 0xFFFF);
}

TEST(HelperTest, OptionalFormOfAnAbsentNameReturnsFalseAndTheDefault) {
  const ParameterList list = listOf({parameter("Other", make(1))});
  int i = 99;
  EXPECT_FALSE(Helper::getOptionalParameterByName("Missing", list, i, 7));
  EXPECT_EQ(i, 7);
  TOVString text("before");
  EXPECT_FALSE(Helper::getOptionalParameterByName("Missing", list, text, TOVString("default")));
  EXPECT_EQ(text, "default");
}

TEST(HelperTest, OptionalFormOfAValueThatCannotBeConvertedReturnsFalseAndTheDefault) {
  const ParameterList list = listOf(
      {parameter("Text", make("abc")), parameter("Neg", make(-1)), parameter("Real", make(1.5))});
  int i = 0;
  EXPECT_FALSE(Helper::getOptionalParameterByName("Text", list, i, 11));
  EXPECT_EQ(i, 11);
  unsigned int u = 0;
  EXPECT_FALSE(Helper::getOptionalParameterByName("Neg", list, u, 12u));
  EXPECT_EQ(u, 12u);
  unsigned char byte = 0;
  EXPECT_FALSE(
      Helper::getOptionalParameterByName("Neg", list, byte, static_cast<unsigned char>(13)));
  EXPECT_EQ(byte, 13);
  bool flag = true;
  EXPECT_FALSE(Helper::getOptionalParameterByName("Real", list, flag, false));
  EXPECT_FALSE(flag);
}

TEST(HelperTest, OptionalFormSwallowsANullValueAndANullList) {
  const ParameterList list = listOf({parameter("Empty", TOVSmrPtr<ITovaValue>())});
  double d = 0;
  EXPECT_FALSE(Helper::getOptionalParameterByName("Empty", list, d, 3.5));
  EXPECT_EQ(d, 3.5);
  int i = 0;
  EXPECT_FALSE(Helper::getOptionalParameterByName("Any", ParameterList(), i, 4));
  EXPECT_EQ(i, 4);
}

TEST(HelperTest, ValueFormReturnsTheParameterValueItself) {
  const TOVSmrPtr<ITovaValue> value = make(5);
  const ParameterList list = listOf({parameter("V", value)});
  TOVSmrPtr<ITovaValue> output;
  EXPECT_TRUE(Helper::getOptionalParameterByName("v", list, output));
  EXPECT_TRUE(output == value);
}

TEST(HelperTest, ValueFormLeavesTheOutputUntouchedWhenTheParameterIsAbsent) {
  const ParameterList list = listOf({parameter("V", make(5))});
  const TOVSmrPtr<ITovaValue> before = make(1);
  TOVSmrPtr<ITovaValue> output = before;
  EXPECT_FALSE(Helper::getOptionalParameterByName("Missing", list, output));
  EXPECT_TRUE(output == before);
}

TEST(HelperTest, ValueFormOfAParameterWithANullValueGivesNullAndTrue) {
  const ParameterList list = listOf({parameter("V", TOVSmrPtr<ITovaValue>())});
  TOVSmrPtr<ITovaValue> output = make(1);
  EXPECT_TRUE(Helper::getOptionalParameterByName("V", list, output));
  EXPECT_TRUE(output.isNull());
}

TEST(HelperTest, NullStringHandlerAcceptsTheEmptyString) {
  EXPECT_NO_THROW(Helper::NullStringParameterHandler("Name", TOVString("")));
  EXPECT_NO_THROW(Helper::NullStringParameterHandler("Name", TOVString("x")));
}

TEST(HelperTest, NullStringHandlerRejectsTheNullString) {
  try {
    Helper::NullStringParameterHandler("Name", TOVString());
    FAIL() << "no exception";
  } catch (const Exception& e) {
    EXPECT_EQ(e.getType(), "Provider");
    EXPECT_EQ(e.getWhere(), "kest::pf::Helper::NullStringParameterHandler()");
    EXPECT_TRUE(e.getWho().isNull());
    EXPECT_EQ(e.getMessage(), "Missing parameter Name");
    EXPECT_EQ(e.getCode(), 17664);
  }
}

TEST(HelperTest, NullStringHandlerRejectsTheCimNullOfAStringParameter) {
  const ParameterList list = listOf({parameter("Name", CTovaValue::nullOf(CTovaType::string))});
  TOVString text;
  ASSERT_TRUE(Helper::getOptionalParameterByName("Name", list, text, TOVString("default")));
  EXPECT_THROW(Helper::NullStringParameterHandler("Name", text), Exception);
}

TEST(HelperTest, UpdateParameterMovesTheReplacementToTheEnd) {
  ParameterList list = listOf(
      {parameter("First", make(1)), parameter("Second", make(2)), parameter("Third", make(3))});
  EXPECT_TRUE(Helper::updateParameter(parameter("New", make(4)), "first", list));
  EXPECT_EQ(namesOf(list), (std::vector<std::string>{"Second", "Third", "New"}));
}

TEST(HelperTest, UpdateParameterReplacesOnlyTheFirstOfTwoWithTheSameName) {
  const TOVParameter second = parameter("Out", make(2));
  ParameterList list = listOf({parameter("Out", make(1)), second});
  const TOVParameter replacement = parameter("Out", make(3));
  EXPECT_TRUE(Helper::updateParameter(replacement, "OUT", list));
  ASSERT_EQ(list->entries(), 2u);
  EXPECT_TRUE(list->at(0) == second);
  EXPECT_TRUE(list->at(1) == replacement);
}

TEST(HelperTest, UpdateParameterOfAMissingNameReturnsFalseAndAddsNothing) {
  ParameterList list = listOf({parameter("A", make(1))});
  EXPECT_FALSE(Helper::updateParameter(parameter("B", make(2)), "B", list));
  EXPECT_EQ(namesOf(list), (std::vector<std::string>{"A"}));
}
