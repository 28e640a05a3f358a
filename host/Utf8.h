#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// Well-formed UTF-8: the shortest encoding of a code point up to U+10FFFF
// that is not a surrogate (U+D800..U+DFFF). Overlong forms, surrogates, code
// points beyond U+10FFFF, stray continuation bytes and truncated sequences
// are invalid. Pure functions, safe on any thread.
namespace kest {

// The length (1 to 4) of the well-formed sequence that starts at text[at], or
// 0 when none does (also when at is past the end).
std::size_t utf8SequenceLength(std::string_view text, std::size_t at) noexcept;

// The offset of the first byte that does not start a well-formed sequence;
// std::string_view::npos when the whole of text is well-formed.
std::size_t firstInvalidUtf8(std::string_view text) noexcept;

// True when the whole of text is well-formed UTF-8 (the empty text is).
bool isValidUtf8(std::string_view text) noexcept;

// The code point of the sequence of length bytes at text[at]; length must be
// what utf8SequenceLength(text, at) returned and not 0.
char32_t decodeUtf8(std::string_view text, std::size_t at, std::size_t length) noexcept;

// Appends the UTF-8 form of codePoint (at most U+10FFFF) to text. A surrogate
// code point is encoded like any other, so that a lone UTF-16 unit survives a
// round trip; such output is not well-formed.
void appendUtf8(std::string& text, char32_t codePoint);

}  // namespace kest
