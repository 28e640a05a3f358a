#include "host/DateTime.h"

#include <cstddef>

namespace kest {

namespace {

constexpr std::size_t kLength = 25;
constexpr std::size_t kDot = 14;
constexpr std::size_t kSign = 21;

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// The two-character field at text[start] is in low..high, or holds a '*'.
bool fieldInRange(std::string_view text, std::size_t start, int low, int high) {
  const char tens = text[start];
  const char units = text[start + 1];
  if (tens == '*' || units == '*') return true;
  const int value = (tens - '0') * 10 + (units - '0');
  return value >= low && value <= high;
}

// A timestamp's second may be 60 (a leap second); an interval's may not.
bool timeOfDayInRange(std::string_view text, int lastSecond) {
  return fieldInRange(text, 8, 0, 23) && fieldInRange(text, 10, 0, 59) &&
         fieldInRange(text, 12, 0, lastSecond);
}

}  // namespace

bool isValidDateTime(std::string_view text) noexcept {
  if (text.size() != kLength || text[kDot] != '.') return false;
  for (std::size_t i = 0; i < kSign; ++i) {
    if (i != kDot && !isDigit(text[i]) && text[i] != '*') return false;
  }
  if (text[kSign] == ':') return text.substr(kSign + 1) == "000" && timeOfDayInRange(text, 59);
  if (text[kSign] != '+' && text[kSign] != '-') return false;
  for (std::size_t i = kSign + 1; i < kLength; ++i) {
    if (!isDigit(text[i])) return false;
  }
  return fieldInRange(text, 4, 1, 12) && fieldInRange(text, 6, 1, 31) && timeOfDayInRange(text, 60);
}

}  // namespace kest
