#include "server/repository/MofLexer.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "server/repository/MofSyntax.h"

using kest::repository::decodeMofSource;
using kest::repository::MofLexer;
using kest::repository::MofSyntaxError;
using kest::repository::Token;

namespace {

std::vector<Token> tokensOf(const std::string& text) {
  MofLexer lexer("a.mof", text);
  std::vector<Token> tokens;
  while (lexer.peek().kind != Token::Kind::End) tokens.push_back(lexer.next());
  return tokens;
}

// "line:column: message" of the error that reading every token of text
// raises; empty when there is none.
std::string lexErrorOf(const std::string& text) {
  try {
    tokensOf(text);
  } catch (const MofSyntaxError& error) {
    return error.location().toString() + ": " + error.what();
  }
  return "";
}

TEST(MofLexerTest, ReadsIdentifiersPunctuationAndAliasesWithPositions) {
  const std::vector<Token> tokens = tokensOf("class CIM_Foo : Base_1 {\n  $Alias;\n}");
  ASSERT_EQ(tokens.size(), 8u);
  EXPECT_TRUE(tokens[0].isKeyword("class"));
  EXPECT_EQ(tokens[1].text, "CIM_Foo");
  EXPECT_EQ(tokens[1].column, 7u);
  EXPECT_TRUE(tokens[2].is(':'));
  EXPECT_EQ(tokens[3].text, "Base_1");
  EXPECT_TRUE(tokens[4].is('{'));
  EXPECT_EQ(tokens[5].kind, Token::Kind::Alias);
  EXPECT_EQ(tokens[5].text, "Alias");
  EXPECT_EQ(tokens[5].line, 2u);
  EXPECT_EQ(tokens[5].column, 3u);
  EXPECT_TRUE(tokens[6].is(';'));
  EXPECT_EQ(tokens[7].line, 3u);
}

TEST(MofLexerTest, KeywordsMatchIgnoringCase) {
  const std::vector<Token> tokens = tokensOf("CLASS Class class REF");
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(tokens[i].isKeyword("class"));
  EXPECT_TRUE(tokens[3].isKeyword("ref"));
  EXPECT_FALSE(tokens[3].isKeyword("class"));
}

TEST(MofLexerTest, SkipsBothCommentForms) {
  const std::vector<Token> tokens = tokensOf("a // line comment\n/* block\n comment */ b /**/c");
  ASSERT_EQ(tokens.size(), 3u);
  EXPECT_EQ(tokens[1].text, "b");
  EXPECT_EQ(tokens[1].line, 3u);
  EXPECT_EQ(tokens[2].text, "c");
}

TEST(MofLexerTest, ColumnsCountCharactersNotBytes) {
  const std::vector<Token> tokens = tokensOf("\"\xC3\xA9\xE2\x82\xAC\" x");
  ASSERT_EQ(tokens.size(), 2u);
  EXPECT_EQ(tokens[0].text, "\xC3\xA9\xE2\x82\xAC");
  EXPECT_EQ(tokens[1].column, 6u);
}

struct IntegerCase {
  const char* text;
  bool negative;
  std::uint64_t magnitude;
};

TEST(MofLexerTest, ReadsEveryIntegerForm) {
  const std::vector<IntegerCase> cases = {
      {"0", false, 0},
      {"42", false, 42},
      {"-42", true, 42},
      {"+7", false, 7},
      {"0x1F", false, 31},
      {"0XfF", false, 255},
      {"-0x10", true, 16},
      {"017", false, 15},
      {"101b", false, 5},
      {"-11B", true, 3},
      {"18446744073709551615", false, 18446744073709551615ull},
  };
  for (const IntegerCase& c : cases) {
    SCOPED_TRACE(c.text);
    const std::vector<Token> tokens = tokensOf(c.text);
    ASSERT_EQ(tokens.size(), 1u);
    EXPECT_EQ(tokens[0].kind, Token::Kind::Integer);
    EXPECT_EQ(tokens[0].negative, c.negative);
    EXPECT_EQ(tokens[0].magnitude, c.magnitude);
    EXPECT_EQ(tokens[0].text, c.text);
  }
}

TEST(MofLexerTest, ReadsReals) {
  const std::vector<std::pair<const char*, double>> cases = {{"1.5", 1.5},     {"-0.25", -0.25},
                                                             {".5", 0.5},      {"+2.0e3", 2000.0},
                                                             {"1.0E-2", 0.01}, {"3e2", 300.0}};
  for (const auto& [text, value] : cases) {
    SCOPED_TRACE(text);
    const std::vector<Token> tokens = tokensOf(text);
    ASSERT_EQ(tokens.size(), 1u);
    EXPECT_EQ(tokens[0].kind, Token::Kind::Real);
    EXPECT_DOUBLE_EQ(tokens[0].real, value);
  }
}

TEST(MofLexerTest, DecodesEveryStringEscape) {
  const std::vector<Token> tokens = tokensOf(R"("\b\t\n\f\r\"\'\\" "\x41\X42\x263A\x7" "plain")");
  ASSERT_EQ(tokens.size(), 3u);
  EXPECT_EQ(tokens[0].text, "\b\t\n\f\r\"'\\");
  EXPECT_EQ(tokens[1].text, "AB\xE2\x98\xBA\x07");
  EXPECT_EQ(tokens[2].text, "plain");
}

TEST(MofLexerTest, ReadsCharacterLiterals) {
  const std::vector<Token> tokens = tokensOf(R"('a' '\n' '\x263A' '\'' '"')");
  ASSERT_EQ(tokens.size(), 5u);
  EXPECT_EQ(tokens[0].character, u'a');
  EXPECT_EQ(tokens[1].character, u'\n');
  EXPECT_EQ(tokens[2].character, u'\x263A');
  EXPECT_EQ(tokens[3].character, u'\'');
  EXPECT_EQ(tokens[4].character, u'"');
}

struct ErrorCase {
  const char* text;
  const char* error;
};

TEST(MofLexerTest, MalformedTextIsReportedWhereItStarts) {
  const std::vector<ErrorCase> cases = {
      {"a \"open\nb", "a.mof:1:3: unterminated string"},
      {"\"open", "a.mof:1:1: unterminated string"},
      {"x /* never closed", "a.mof:1:3: unterminated comment"},
      {"  \"a\\qb\"", "a.mof:1:5: invalid escape sequence '\\q'"},
      {"\"\\xZ\"", "a.mof:1:2: expected hexadecimal digits after '\\x'"},
      {"\"\\xD800\"", "a.mof:1:2: escape '\\xD800' is not a character"},
      {"\"a\\x0\"", "a.mof:1:3: a string cannot hold the character U+0000"},
      {"''", "a.mof:1:1: empty character literal"},
      {"'ab'", "a.mof:1:1: unterminated character literal"},
      {"'a", "a.mof:1:1: unterminated character literal"},
      {"'\xF0\x9F\x98\x80'", "a.mof:1:1: character U+1F600 does not fit in a char16"},
      {"12abc", "a.mof:1:1: invalid number '12abc'"},
      {"0x", "a.mof:1:1: invalid number '0x'"},
      {"1.", "a.mof:1:1: invalid number '1.'"},
      {"089", "a.mof:1:1: invalid number '089'"},
      {"1.5.2", "a.mof:1:1: invalid number '1.5.2'"},
      {"18446744073709551616", "a.mof:1:1: integer '18446744073709551616' is too large"},
      {"1.0e999", "a.mof:1:1: real number '1.0e999' is out of range"},
      {"a\n  @", "a.mof:2:3: unexpected character '@'"},
      {"a -b", "a.mof:1:3: unexpected character '-'"},
      {"$ x", "a.mof:1:1: expected an alias name after '$'"},
      {"ok\n\x01", "a.mof:2:1: unexpected character U+0001"},
      {"ok\nx \xC3(", "a.mof:2:3: invalid UTF-8 byte sequence"},
      {"\xED\xA0\x80", "a.mof:1:1: invalid UTF-8 byte sequence"},
  };
  for (const ErrorCase& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(lexErrorOf(c.text), c.error);
  }
}

TEST(MofLexerTest, DecodeDropsTheUtf8ByteOrderMark) {
  std::string text;
  std::string error;
  ASSERT_TRUE(
      decodeMofSource("\xEF\xBB\xBF"
                      "class",
                      text, error));
  EXPECT_EQ(text, "class");
}

TEST(MofLexerTest, DecodeConvertsUtf16InBothByteOrders) {
  std::string text;
  std::string error;
  ASSERT_TRUE(decodeMofSource(std::string("\xFF\xFE"
                                          "a\0\xE9\0=\xD8\x00\xDE",
                                          10),
                              text, error));
  EXPECT_EQ(text, "a\xC3\xA9\xF0\x9F\x98\x80");
  ASSERT_TRUE(decodeMofSource(std::string("\xFE\xFF\0a\0b", 6), text, error));
  EXPECT_EQ(text, "ab");
}

TEST(MofLexerTest, DecodeRefusesMalformedUtf16) {
  std::string text;
  std::string error;
  EXPECT_FALSE(decodeMofSource(std::string("\xFF\xFE"
                                           "a",
                                           3),
                               text, error));
  EXPECT_EQ(error, "UTF-16 text has an odd number of bytes");
  EXPECT_FALSE(decodeMofSource(std::string("\xFF\xFE\x00\xDC", 4), text, error));
  EXPECT_EQ(error, "UTF-16 text holds an unpaired surrogate");
  EXPECT_FALSE(decodeMofSource(std::string("\xFF\xFE\x3D\xD8"
                                           "a\0",
                                           6),
                               text, error));
  EXPECT_EQ(error, "UTF-16 text holds an unpaired surrogate");
}

}  // namespace
