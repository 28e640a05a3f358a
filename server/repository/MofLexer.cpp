#include "server/repository/MofLexer.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <system_error>

#include "host/Ascii.h"
#include "host/Utf8.h"
#include "server/repository/MofSyntax.h"

namespace kest::repository {

namespace {

bool isIdentifierStart(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || byte >= 0x80;
}

bool isDigit(char c) { return c >= '0' && c <= '9'; }

bool isIdentifierPart(char c) { return isIdentifierStart(c) || isDigit(c); }

int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// How a character appears in a message: 'c' when printable ASCII, U+XXXX
// otherwise.
std::string describeCharacter(char32_t c) {
  if (c >= 0x20 && c < 0x7F) return std::string("'") + static_cast<char>(c) + "'";
  char buffer[16];
  std::snprintf(buffer, sizeof buffer, "U+%04X", static_cast<unsigned>(c));
  return buffer;
}

bool decodeUtf16(std::string_view bytes, bool bigEndian, std::string& text, std::string& error) {
  if (bytes.size() % 2 != 0) {
    error = "UTF-16 text has an odd number of bytes";
    return false;
  }
  const auto unitAt = [&](std::size_t i) -> char32_t {
    const auto first = static_cast<unsigned char>(bytes[i]);
    const auto second = static_cast<unsigned char>(bytes[i + 1]);
    return bigEndian ? (first << 8) | second : (second << 8) | first;
  };
  text.clear();
  for (std::size_t i = 0; i < bytes.size(); i += 2) {
    char32_t unit = unitAt(i);
    if (unit >= 0xDC00 && unit <= 0xDFFF) {
      error = "UTF-16 text holds an unpaired surrogate";
      return false;
    }
    if (unit >= 0xD800 && unit <= 0xDBFF) {
      const char32_t low = i + 3 < bytes.size() ? unitAt(i + 2) : 0;
      if (low < 0xDC00 || low > 0xDFFF) {
        error = "UTF-16 text holds an unpaired surrogate";
        return false;
      }
      unit = 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00);
      i += 2;
    }
    appendUtf8(text, unit);
  }
  return true;
}

}  // namespace

bool Token::isKeyword(std::string_view keyword) const {
  return kind == Kind::Identifier && kest::ascii::equalsIgnoreCase(text, keyword);
}

bool decodeMofSource(std::string_view bytes, std::string& text, std::string& error) {
  if (bytes.starts_with("\xEF\xBB\xBF")) {
    text.assign(bytes.substr(3));
    return true;
  }
  if (bytes.starts_with("\xFF\xFE")) return decodeUtf16(bytes.substr(2), false, text, error);
  if (bytes.starts_with("\xFE\xFF")) return decodeUtf16(bytes.substr(2), true, text, error);
  text.assign(bytes);
  return true;
}

MofLexer::MofLexer(std::string fileName, std::string text)
    : _fileName(std::move(fileName)), _text(std::move(text)) {
  checkUtf8();
}

void MofLexer::checkUtf8() const {
  unsigned line = 1;
  unsigned column = 1;
  for (std::size_t i = 0; i < _text.size();) {
    const std::size_t length = utf8SequenceLength(_text, i);
    if (length == 0) fail(line, column, "invalid UTF-8 byte sequence");
    if (_text[i] == '\n') {
      ++line;
      column = 1;
    } else {
      ++column;
    }
    i += length;
  }
}

void MofLexer::fail(unsigned line, unsigned column, const std::string& message) const {
  throw MofSyntaxError(SourceLocation{_fileName, line, column}, message);
}

void MofLexer::advance() {
  if (atEnd()) return;
  const char c = _text[_position++];
  if (c == '\n') {
    ++_line;
    _column = 1;
  } else if ((static_cast<unsigned char>(c) & 0xC0) != 0x80) {
    ++_column;
  }
}

const Token& MofLexer::peek(std::size_t ahead) {
  while (_ahead.size() <= ahead) _ahead.push_back(read());
  return _ahead[ahead];
}

Token MofLexer::next() {
  peek();
  Token token = std::move(_ahead.front());
  _ahead.pop_front();
  return token;
}

void MofLexer::skipSpaceAndComments() {
  while (!atEnd()) {
    const char c = current();
    if (c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v') {
      advance();
    } else if (c == '/' && lookahead(1) == '/') {
      while (!atEnd() && current() != '\n') advance();
    } else if (c == '/' && lookahead(1) == '*') {
      const unsigned line = _line;
      const unsigned column = _column;
      advance();
      advance();
      while (!(current() == '*' && lookahead(1) == '/')) {
        if (atEnd()) fail(line, column, "unterminated comment");
        advance();
      }
      advance();
      advance();
    } else {
      return;
    }
  }
}

Token MofLexer::read() {
  skipSpaceAndComments();
  Token token;
  token.line = _line;
  token.column = _column;
  if (atEnd()) return token;
  const char c = current();
  const bool signedNumber =
      (c == '+' || c == '-') &&
      (isDigit(lookahead(1)) || (lookahead(1) == '.' && isDigit(lookahead(2))));
  if (isDigit(c) || signedNumber || (c == '.' && isDigit(lookahead(1)))) return readNumber();
  if (c == '"') return readString();
  if (c == '\'') return readChar();
  if (isIdentifierStart(c)) return readIdentifier();
  if (c == '$') {
    advance();
    if (!isIdentifierStart(current()))
      fail(token.line, token.column, "expected an alias name after '$'");
    Token alias = readIdentifier();
    alias.kind = Token::Kind::Alias;
    alias.line = token.line;
    alias.column = token.column;
    return alias;
  }
  static constexpr std::string_view kPunctuation = "{}()[];,:=#";
  if (kPunctuation.find(c) != std::string_view::npos) {
    token.kind = Token::Kind::Punctuation;
    token.text.assign(1, c);
    advance();
    return token;
  }
  const std::size_t length = utf8SequenceLength(_text, _position);
  fail(token.line, token.column,
       "unexpected character " + describeCharacter(decodeUtf8(_text, _position, length)));
}

Token MofLexer::readIdentifier() {
  Token token;
  token.kind = Token::Kind::Identifier;
  token.line = _line;
  token.column = _column;
  const std::size_t start = _position;
  while (isIdentifierPart(current())) advance();
  token.text = _text.substr(start, _position - start);
  return token;
}

// Integers: decimal, hexadecimal (0x), octal (leading 0) and binary (digits
// 0 and 1 followed by b or B), with an optional sign. Reals: digits, a point,
// at least one digit, an optional exponent.
Token MofLexer::readNumber() {
  Token token;
  token.line = _line;
  token.column = _column;
  const std::size_t start = _position;
  if (current() == '+' || current() == '-') {
    token.negative = current() == '-';
    advance();
  }
  const std::size_t bodyStart = _position;
  const auto invalid = [&]() {
    while (isIdentifierPart(current()) || current() == '.') advance();
    fail(token.line, token.column,
         "invalid number '" + _text.substr(start, _position - start) + "'");
  };
  const auto accumulate = [&](std::string_view digits, unsigned base) {
    std::uint64_t value = 0;
    const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), value, base);
    if (result.ec == std::errc::result_out_of_range) {
      fail(token.line, token.column,
           "integer '" + _text.substr(start, _position - start) + "' is too large");
    }
    return value;
  };
  token.kind = Token::Kind::Integer;
  if (current() == '0' && (lookahead(1) == 'x' || lookahead(1) == 'X')) {
    advance();
    advance();
    const std::size_t digitsStart = _position;
    while (hexValue(current()) >= 0) advance();
    if (_position == digitsStart || isIdentifierPart(current()) || current() == '.') invalid();
    token.magnitude =
        accumulate(std::string_view(_text).substr(digitsStart, _position - digitsStart), 16);
  } else {
    while (isDigit(current())) advance();
    const std::string_view digits =
        std::string_view(_text).substr(bodyStart, _position - bodyStart);
    if (current() == '.' || current() == 'e' || current() == 'E') {
      if (current() == '.') {
        advance();
        if (!isDigit(current())) invalid();
        while (isDigit(current())) advance();
      }
      if (current() == 'e' || current() == 'E') {
        if (digits.empty() && _text[bodyStart] != '.') invalid();
        advance();
        if (current() == '+' || current() == '-') advance();
        if (!isDigit(current())) invalid();
        while (isDigit(current())) advance();
      }
      if (isIdentifierPart(current()) || current() == '.') invalid();
      token.kind = Token::Kind::Real;
      const char* first = _text.data() + start + (_text[start] == '+' ? 1 : 0);
      const auto result = std::from_chars(first, _text.data() + _position, token.real);
      if (result.ec != std::errc() || !std::isfinite(token.real)) {
        fail(token.line, token.column,
             "real number '" + _text.substr(start, _position - start) + "' is out of range");
      }
    } else if ((current() == 'b' || current() == 'B') && !isIdentifierPart(lookahead(1)) &&
               digits.find_first_not_of("01") == std::string_view::npos) {
      advance();
      token.magnitude = accumulate(digits, 2);
    } else {
      if (isIdentifierPart(current())) invalid();
      if (digits.size() > 1 && digits[0] == '0') {
        if (digits.find_first_of("89") != std::string_view::npos) invalid();
        token.magnitude = accumulate(digits.substr(1), 8);
      } else {
        token.magnitude = accumulate(digits, 10);
      }
    }
  }
  token.text = _text.substr(start, _position - start);
  return token;
}

char32_t MofLexer::readLiteralCharacter(char quote) {
  const unsigned line = _line;
  const unsigned column = _column;
  if (current() != '\\') {
    const std::size_t length = utf8SequenceLength(_text, _position);
    const char32_t c = decodeUtf8(_text, _position, length);
    for (std::size_t i = 0; i < length; ++i) advance();
    return c;
  }
  advance();
  const char escape = current();
  advance();
  switch (escape) {
    case 'b':
      return '\b';
    case 't':
      return '\t';
    case 'n':
      return '\n';
    case 'f':
      return '\f';
    case 'r':
      return '\r';
    case '"':
    case '\'':
    case '\\':
      return static_cast<char32_t>(escape);
    case 'x':
    case 'X': {
      char32_t value = 0;
      int digits = 0;
      while (digits < 4 && hexValue(current()) >= 0) {
        value = value * 16 + static_cast<char32_t>(hexValue(current()));
        advance();
        ++digits;
      }
      const std::string text = _text.substr(_position - static_cast<std::size_t>(digits) - 2,
                                            static_cast<std::size_t>(digits) + 2);
      if (digits == 0)
        fail(line, column, std::string("expected hexadecimal digits after '\\") + escape + "'");
      if (value >= 0xD800 && value <= 0xDFFF)
        fail(line, column, "escape '" + text + "' is not a character");
      return value;
    }
    default:
      if (escape == '\0' || escape == '\n') {
        fail(line, column, quote == '"' ? "unterminated string" : "unterminated character literal");
      }
      fail(line, column, std::string("invalid escape sequence '\\") + escape + "'");
  }
}

Token MofLexer::readString() {
  Token token;
  token.kind = Token::Kind::String;
  token.line = _line;
  token.column = _column;
  advance();
  while (current() != '"') {
    if (atEnd() || current() == '\n' || current() == '\r')
      fail(token.line, token.column, "unterminated string");
    const unsigned line = _line;
    const unsigned column = _column;
    const char32_t c = readLiteralCharacter('"');
    if (c == 0) fail(line, column, "a string cannot hold the character U+0000");
    appendUtf8(token.text, c);
  }
  advance();
  return token;
}

Token MofLexer::readChar() {
  Token token;
  token.kind = Token::Kind::Char;
  token.line = _line;
  token.column = _column;
  advance();
  if (current() == '\'') fail(token.line, token.column, "empty character literal");
  if (atEnd() || current() == '\n' || current() == '\r') {
    fail(token.line, token.column, "unterminated character literal");
  }
  const char32_t c = readLiteralCharacter('\'');
  if (current() != '\'') fail(token.line, token.column, "unterminated character literal");
  advance();
  if (c == 0) fail(token.line, token.column, "a character cannot be U+0000");
  if (c > 0xFFFF)
    fail(token.line, token.column,
         "character " + describeCharacter(c) + " does not fit in a char16");
  token.character = static_cast<char16_t>(c);
  appendUtf8(token.text, c);
  return token;
}

}  // namespace kest::repository
