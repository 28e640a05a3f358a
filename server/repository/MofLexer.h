#pragma once

// The MOF tokenizer. Internal to the repository library.

#include <cstdint>
#include <deque>
#include <string>
#include <string_view>

#include "server/repository/Diagnostic.h"

namespace kest::repository {

struct Token {
  enum class Kind { End, Identifier, String, Char, Integer, Real, Alias, Punctuation };
  Kind kind = Kind::End;
  // Identifier and alias names, unescaped string text, the literal text of
  // numbers, the character of punctuation.
  std::string text;
  bool negative = false;
  std::uint64_t magnitude = 0;
  double real = 0;
  char16_t character = 0;
  unsigned line = 0;
  unsigned column = 0;

  bool is(char punctuation) const {
    return kind == Kind::Punctuation && text.size() == 1 && text[0] == punctuation;
  }
  // An identifier equal to keyword ignoring ASCII case.
  bool isKeyword(std::string_view keyword) const;
};

// Turns the bytes of a MOF file into UTF-8 text: a UTF-8 byte order mark is
// dropped, UTF-16 text (with its byte order mark) is converted. Returns false
// with a message when UTF-16 text is malformed.
bool decodeMofSource(std::string_view bytes, std::string& text, std::string& error);

// MofLexer: reads tokens from UTF-8 MOF text, skipping white space and both
// comment forms. Throws MofSyntaxError (at the offending character) for
// malformed text: invalid UTF-8, unterminated strings, characters or
// comments, bad escapes and numbers, characters that start no token.
class MofLexer {
 public:
  MofLexer(std::string fileName, std::string text);

  // The token ahead of the next one by ahead (0: the next token).
  const Token& peek(std::size_t ahead = 0);
  Token next();

  const std::string& fileName() const { return _fileName; }
  SourceLocation locationOf(const Token& token) const {
    return SourceLocation{_fileName, token.line, token.column};
  }

 private:
  Token read();
  void skipSpaceAndComments();
  void advance();
  char current() const { return _position < _text.size() ? _text[_position] : '\0'; }
  char lookahead(std::size_t offset) const {
    return _position + offset < _text.size() ? _text[_position + offset] : '\0';
  }
  bool atEnd() const { return _position >= _text.size(); }
  [[noreturn]] void fail(unsigned line, unsigned column, const std::string& message) const;

  Token readNumber();
  Token readString();
  Token readChar();
  Token readIdentifier();
  // One character of a string or character literal, escapes decoded, as a
  // code point; quote is the literal's delimiter.
  char32_t readLiteralCharacter(char quote);
  void checkUtf8() const;

  std::string _fileName;
  std::string _text;
  std::size_t _position = 0;
  unsigned _line = 1;
  unsigned _column = 1;
  std::deque<Token> _ahead;
};

}  // namespace kest::repository
