#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// ASCII case folding for names (CIM class, property, namespace and parameter
// names, keywords, HTTP header names). Only 'A'..'Z' and 'a'..'z' change case;
// every other byte, including the bytes of multi-byte UTF-8 sequences, is
// left as it is, whatever the process locale. Pure functions, safe on any
// thread; nothing here throws except folded() (std::bad_alloc).
namespace kest::ascii {

constexpr char toLower(char c) noexcept {
  return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
}

constexpr char toUpper(char c) noexcept {
  return (c >= 'a' && c <= 'z') ? static_cast<char>(c - 'a' + 'A') : c;
}

// text in lower case, as a key for maps of names.
std::string folded(std::string_view text);

// True when a and b differ at most in the case of letters.
bool equalsIgnoreCase(std::string_view a, std::string_view b) noexcept;

// <0, 0 or >0 as a orders before, equal to or after b once both are in lower
// case; bytes compare as unsigned and a proper prefix orders first.
int compareIgnoreCase(std::string_view a, std::string_view b) noexcept;

// Function objects for maps keyed by names in any case, e.g.
//   std::map<std::string, T, kest::ascii::LessIgnoreCase>
//   std::unordered_map<std::string, T, kest::ascii::HashIgnoreCase,
//                      kest::ascii::EqualIgnoreCase>
// All are transparent: lookups take any std::string_view.
struct LessIgnoreCase {
  using is_transparent = void;
  bool operator()(std::string_view a, std::string_view b) const noexcept {
    return compareIgnoreCase(a, b) < 0;
  }
};

struct EqualIgnoreCase {
  using is_transparent = void;
  bool operator()(std::string_view a, std::string_view b) const noexcept {
    return equalsIgnoreCase(a, b);
  }
};

// Names equal ignoring case hash alike.
struct HashIgnoreCase {
  using is_transparent = void;
  std::size_t operator()(std::string_view text) const noexcept;
};

}  // namespace kest::ascii
