#include "host/Utf8.h"

namespace kest {

std::size_t utf8SequenceLength(std::string_view text, std::size_t at) noexcept {
  const auto byte = [&](std::size_t k) -> unsigned {
    return at + k < text.size() ? static_cast<unsigned char>(text[at + k]) : 0u;
  };
  if (at >= text.size()) return 0;
  const unsigned lead = byte(0);
  if (lead < 0x80) return 1;
  const auto continuation = [&](std::size_t k) { return (byte(k) & 0xC0) == 0x80; };
  if (lead >= 0xC2 && lead <= 0xDF) return continuation(1) ? 2 : 0;
  if (lead >= 0xE0 && lead <= 0xEF) {
    if (!continuation(1) || !continuation(2)) return 0;
    if (lead == 0xE0 && byte(1) < 0xA0) return 0;   // overlong
    if (lead == 0xED && byte(1) >= 0xA0) return 0;  // surrogate
    return 3;
  }
  if (lead >= 0xF0 && lead <= 0xF4) {
    if (!continuation(1) || !continuation(2) || !continuation(3)) return 0;
    if (lead == 0xF0 && byte(1) < 0x90) return 0;   // overlong
    if (lead == 0xF4 && byte(1) >= 0x90) return 0;  // beyond U+10FFFF
    return 4;
  }
  return 0;
}

std::size_t firstInvalidUtf8(std::string_view text) noexcept {
  std::size_t i = 0;
  while (i < text.size()) {
    const std::size_t length = utf8SequenceLength(text, i);
    if (length == 0) return i;
    i += length;
  }
  return std::string_view::npos;
}

bool isValidUtf8(std::string_view text) noexcept {
  return firstInvalidUtf8(text) == std::string_view::npos;
}

char32_t decodeUtf8(std::string_view text, std::size_t at, std::size_t length) noexcept {
  const auto byte = [&](std::size_t k) {
    return static_cast<char32_t>(static_cast<unsigned char>(text[at + k]));
  };
  switch (length) {
    case 1:
      return byte(0);
    case 2:
      return ((byte(0) & 0x1F) << 6) | (byte(1) & 0x3F);
    case 3:
      return ((byte(0) & 0x0F) << 12) | ((byte(1) & 0x3F) << 6) | (byte(2) & 0x3F);
    default:
      return ((byte(0) & 0x07) << 18) | ((byte(1) & 0x3F) << 12) | ((byte(2) & 0x3F) << 6) |
             (byte(3) & 0x3F);
  }
}

void appendUtf8(std::string& text, char32_t c) {
  if (c < 0x80) {
    text.push_back(static_cast<char>(c));
  } else if (c < 0x800) {
    text.push_back(static_cast<char>(0xC0 | (c >> 6)));
    text.push_back(static_cast<char>(0x80 | (c & 0x3F)));
  } else if (c < 0x10000) {
    text.push_back(static_cast<char>(0xE0 | (c >> 12)));
    text.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
    text.push_back(static_cast<char>(0x80 | (c & 0x3F)));
  } else {
    text.push_back(static_cast<char>(0xF0 | (c >> 18)));
    text.push_back(static_cast<char>(0x80 | ((c >> 12) & 0x3F)));
    text.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
    text.push_back(static_cast<char>(0x80 | (c & 0x3F)));
  }
}

}  // namespace kest
