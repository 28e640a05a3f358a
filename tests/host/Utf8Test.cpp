#include "host/Utf8.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

using kest::appendUtf8;
using kest::decodeUtf8;
using kest::firstInvalidUtf8;
using kest::isValidUtf8;
using kest::utf8SequenceLength;

namespace {

constexpr std::size_t npos = std::string_view::npos;

struct ValidityCase {
  const char* label;
  std::string text;
  std::size_t firstInvalid;  // npos when the text is valid
};

}  // namespace

TEST(Utf8Test, WellFormedTextIsValidAndMalformedTextIsRefusedAtItsFirstBadByte) {
  const std::vector<ValidityCase> cases = {
      {"empty", "", npos},
      {"ASCII", "CIM_System", npos},
      {"two bytes", "\xC3\xA4", npos},
      {"three bytes", "\xE2\x82\xAC", npos},
      {"four bytes", "\xF0\x9F\x98\x80", npos},
      {"last code point", "\xF4\x8F\xBF\xBF", npos},
      {"U+FFFF is well-formed", "\xEF\xBF\xBF", npos},
      {"just below the surrogates", "\xED\x9F\xBF", npos},
      {"stray continuation byte", "ab\x80", 2},
      {"overlong two bytes", "\xC0\xAF", 0},
      {"overlong C1", "\xC1\xBF", 0},
      {"overlong three bytes", "x\xE0\x9F\xBF", 1},
      {"overlong four bytes", "\xF0\x8F\xBF\xBF", 0},
      {"surrogate", "\xED\xA0\x80", 0},
      {"beyond U+10FFFF", "\xF4\x90\x80\x80", 0},
      {"F5 lead byte", "\xF5\x80\x80\x80", 0},
      {"FF byte", "ok\xFF", 2},
      {"truncated at the end", "abc\xE2\x82", 3},
      {"missing continuation",
       "\xC3"
       "a",
       0},
      {"bad byte after a good sequence", "\xC3\xA4\xC3", 2},
  };
  for (const ValidityCase& c : cases) {
    SCOPED_TRACE(c.label);
    EXPECT_EQ(firstInvalidUtf8(c.text), c.firstInvalid);
    EXPECT_EQ(isValidUtf8(c.text), c.firstInvalid == npos);
  }
}

TEST(Utf8Test, SequenceLengthIsZeroPastTheEndAndForBadSequences) {
  EXPECT_EQ(utf8SequenceLength("a\xC3\xA4\xE2\x82\xAC", 0), 1u);
  EXPECT_EQ(utf8SequenceLength("a\xC3\xA4\xE2\x82\xAC", 1), 2u);
  EXPECT_EQ(utf8SequenceLength("a\xC3\xA4\xE2\x82\xAC", 3), 3u);
  EXPECT_EQ(utf8SequenceLength("a\xC3\xA4\xE2\x82\xAC", 2), 0u);  // a continuation byte
  EXPECT_EQ(utf8SequenceLength("a", 1), 0u);
}

TEST(Utf8Test, AppendAndDecodeRoundTripEveryEncodingLength) {
  struct Case {
    char32_t codePoint;
    std::string bytes;
  };
  const std::vector<Case> cases = {
      {U'A', "A"},
      {0x7F, "\x7F"},
      {0x80, "\xC2\x80"},
      {0xE4, "\xC3\xA4"},
      {0x7FF, "\xDF\xBF"},
      {0x800, "\xE0\xA0\x80"},
      {0x20AC, "\xE2\x82\xAC"},
      {0xFFFD, "\xEF\xBF\xBD"},
      {0x10000, "\xF0\x90\x80\x80"},
      {0x10FFFF, "\xF4\x8F\xBF\xBF"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(static_cast<unsigned>(c.codePoint));
    std::string text = "x";
    appendUtf8(text, c.codePoint);
    EXPECT_EQ(text, "x" + c.bytes);
    const std::size_t length = utf8SequenceLength(text, 1);
    EXPECT_EQ(length, c.bytes.size());
    EXPECT_EQ(decodeUtf8(text, 1, length), c.codePoint);
  }
}

TEST(Utf8Test, LoneSurrogateIsEncodedButNotValid) {
  std::string text;
  appendUtf8(text, 0xD800);
  EXPECT_EQ(text, "\xED\xA0\x80");
  EXPECT_FALSE(isValidUtf8(text));
}
