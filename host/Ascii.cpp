#include "host/Ascii.h"

namespace kest::ascii {

std::string folded(std::string_view text) {
  std::string result(text);
  for (char& c : result) c = toLower(c);
  return result;
}

bool equalsIgnoreCase(std::string_view a, std::string_view b) noexcept {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (toLower(a[i]) != toLower(b[i])) return false;
  }
  return true;
}

int compareIgnoreCase(std::string_view a, std::string_view b) noexcept {
  const std::size_t common = a.size() < b.size() ? a.size() : b.size();
  for (std::size_t i = 0; i < common; ++i) {
    const auto ca = static_cast<unsigned char>(toLower(a[i]));
    const auto cb = static_cast<unsigned char>(toLower(b[i]));
    if (ca != cb) return ca < cb ? -1 : 1;
  }
  if (a.size() == b.size()) return 0;
  return a.size() < b.size() ? -1 : 1;
}

std::size_t HashIgnoreCase::operator()(std::string_view text) const noexcept {
  // FNV-1a over the lower-case bytes.
  std::size_t hash = static_cast<std::size_t>(14695981039346656037ull);
  for (char c : text) {
    hash ^= static_cast<unsigned char>(toLower(c));
    hash *= static_cast<std::size_t>(1099511628211ull);
  }
  return hash;
}

}  // namespace kest::ascii
