#include "host/String.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <thread>
#include <vector>

TEST(TOVStringTest, DefaultStringHasNoBufferAndIsNull) {
  TOVString s;
  EXPECT_TRUE(s.isNull());
  EXPECT_TRUE(s.isNullBuffer());
  EXPECT_EQ(s.length(), 0u);
  EXPECT_STREQ(s.c_str(), "");
}

TEST(TOVStringTest, EmptyTextHasABufferButIsNull) {
  TOVString s("");
  EXPECT_TRUE(s.isNull());
  EXPECT_FALSE(s.isNullBuffer());
}

TEST(TOVStringTest, NullCharPointerGivesNoBuffer) {
  const char* nothing = nullptr;
  TOVString s(nothing);
  EXPECT_TRUE(s.isNullBuffer());
}

TEST(TOVStringTest, TextIsNotNull) {
  TOVString s("abc");
  EXPECT_FALSE(s.isNull());
  EXPECT_FALSE(s.isNullBuffer());
  EXPECT_EQ(s.length(), 3u);
  EXPECT_STREQ(s.c_str(), "abc");
}

TEST(TOVStringTest, NoBufferAndEmptyCompareEqualAndHashAlike) {
  TOVString none;
  TOVString empty("");
  EXPECT_TRUE(none == empty);
  EXPECT_EQ(none.compareTo(empty, 0), 0);
  EXPECT_EQ(none.compareTo(empty, 1), 0);
  EXPECT_EQ(hashKeyTOVString(none), hashKeyTOVString(empty));
}

struct CompareCase {
  const char* a;
  const char* b;
  int flag;
  int sign;
};

class TOVStringCompareTest : public ::testing::TestWithParam<CompareCase> {};

TEST_P(TOVStringCompareTest, CompareToGivesTheSignOfTheOrder) {
  const CompareCase& c = GetParam();
  const int r = TOVString(c.a).compareTo(TOVString(c.b), c.flag);
  EXPECT_EQ((r > 0) - (r < 0), c.sign) << c.a << " vs " << c.b << " flag " << c.flag;
}

INSTANTIATE_TEST_SUITE_P(
    Cases, TOVStringCompareTest,
    ::testing::Values(CompareCase{"CIM_Foo", "cim_foo", 0, 0},
                      CompareCase{"CIM_Foo", "cim_foo", 1, -1}, CompareCase{"abc", "ABD", 0, -1},
                      CompareCase{"abd", "ABC", 0, 1}, CompareCase{"ab", "abc", 0, -1},
                      CompareCase{"abc", "ab", 1, 1}, CompareCase{"", "a", 0, -1},
                      CompareCase{"same", "same", 5, 0},
                      // Bytes are unsigned: 0xE9 orders after 'z'.
                      CompareCase{"\xE9", "z", 1, 1},
                      // Folding is ASCII only: 0xC9 and 0xE9 differ in any mode.
                      CompareCase{"\xC9", "\xE9", 0, -1},
                      // '_' (0x5F) lies between the cases: folding to lower puts it first.
                      CompareCase{"_", "A", 0, -1}));

TEST(TOVStringTest, EqualityIsCaseSensitive) {
  EXPECT_FALSE(TOVString("Name") == TOVString("name"));
  EXPECT_TRUE(TOVString("Name") != TOVString("name"));
  EXPECT_TRUE(TOVString("Name") == "Name");
  EXPECT_FALSE(TOVString("Name") == "name");
}

TEST(TOVStringTest, LessThanIsExactByteOrder) {
  EXPECT_TRUE(TOVString("B") < TOVString("a"));
  EXPECT_FALSE(TOVString("a") < TOVString("B"));
  EXPECT_FALSE(TOVString("a") < TOVString("a"));
}

TEST(TOVStringTest, CopiesShareTheBufferUntilOneChanges) {
  TOVString original("Mixed");
  TOVString copy(original);
  EXPECT_EQ(copy.c_str(), original.c_str());
  copy.toUpper();
  EXPECT_STREQ(copy.c_str(), "MIXED");
  EXPECT_STREQ(original.c_str(), "Mixed");
  EXPECT_NE(copy.c_str(), original.c_str());
}

TEST(TOVStringTest, ToUpperAndToLowerFoldAsciiOnlyAndReturnThis) {
  TOVString s("aB_z\xE9");
  TOVString& same = s.toUpper();
  EXPECT_EQ(&same, &s);
  EXPECT_STREQ(s.c_str(), "AB_Z\xE9");
  EXPECT_STREQ(s.toLower().c_str(), "ab_z\xE9");
}

TEST(TOVStringTest, FoldingNoBufferKeepsNoBuffer) {
  TOVString s;
  s.toUpper();
  EXPECT_TRUE(s.isNullBuffer());
}

TEST(TOVStringTest, ConcatenationTreatsNoBufferAsEmpty) {
  TOVString none;
  EXPECT_STREQ((none + "x").c_str(), "x");
  EXPECT_STREQ(("x" + none).c_str(), "x");
  EXPECT_STREQ((TOVString("a") + TOVString("b")).c_str(), "ab");
  TOVString s;
  s += "Undeclared class";
  s += ' ';
  s += TOVString("CIM_Foo");
  EXPECT_STREQ(s.c_str(), "Undeclared class CIM_Foo");
}

TEST(TOVStringTest, AppendingToItselfKeepsTheText) {
  TOVString s("ab");
  s += s;
  EXPECT_STREQ(s.c_str(), "abab");
  s.append(s.c_str() + 1, 2);
  EXPECT_STREQ(s.c_str(), "ababba");
}

TEST(TOVStringTest, AppendingDoesNotChangeASharedCopy) {
  TOVString a("base");
  TOVString b(a);
  b += "-more";
  EXPECT_STREQ(a.c_str(), "base");
  EXPECT_STREQ(b.c_str(), "base-more");
}

struct IntCase {
  long long value;
  const char* text;
};

class TOVStringFromIntTest : public ::testing::TestWithParam<IntCase> {};

TEST_P(TOVStringFromIntTest, FromIntWritesPlainDecimal) {
  EXPECT_STREQ(TOVString::fromInt(GetParam().value).c_str(), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(Cases, TOVStringFromIntTest,
                         ::testing::Values(IntCase{0, "0"}, IntCase{7, "7"}, IntCase{1000, "1000"},
                                           IntCase{-1, "-1"}, IntCase{-2147483648LL, "-2147483648"},
                                           IntCase{9223372036854775807LL, "9223372036854775807"},
                                           IntCase{-9223372036854775807LL - 1,
                                                   "-9223372036854775808"}));

TEST(TOVStringTest, FromUIntWritesTheFullUnsignedRange) {
  EXPECT_STREQ(TOVString::fromUInt(18446744073709551615ULL).c_str(), "18446744073709551615");
}

TEST(TOVStringTest, HashIsFnv1aOverTheBytes) {
  // Reference values of 32-bit FNV-1a.
  EXPECT_EQ(hashKeyTOVString(TOVString("")), 2166136261u);
  EXPECT_EQ(hashKeyTOVString(TOVString("a")), 0xe40c292cu);
  EXPECT_EQ(hashKeyTOVString(TOVString("foobar")), 0xbf9cf968u);
  EXPECT_NE(hashKeyTOVString(TOVString("A")), hashKeyTOVString(TOVString("a")));
}

TEST(TOVStringTest, StreamsItsText) {
  std::ostringstream out;
  out << TOVString("kest") << TOVString();
  EXPECT_EQ(out.str(), "kest");
}

TEST(TOVStringTest, ConvertsFromAndToStdString) {
  const std::string text("with\0nul", 8);
  TOVString s(text);
  EXPECT_EQ(s.length(), 8u);
  EXPECT_EQ(s.toStdString(), text);
}

TEST(TOVStringTest, CopiesMayBeMadeAndDroppedOnManyThreads) {
  const TOVString shared("shared text");
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&shared] {
      for (int i = 0; i < 10000; ++i) {
        TOVString copy(shared);
        copy.toUpper();
        ASSERT_STREQ(copy.c_str(), "SHARED TEXT");
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_STREQ(shared.c_str(), "shared text");
}
