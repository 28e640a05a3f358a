#include "host/String.h"

#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <ostream>

#include "host/Ascii.h"

TOVString::Rep* TOVString::allocate(std::size_t capacity) {
  if (capacity > std::numeric_limits<std::uint32_t>::max() - sizeof(Rep)) {
    throw std::bad_alloc();
  }
  void* memory = std::malloc(sizeof(Rep) + capacity);
  if (memory == nullptr) throw std::bad_alloc();
  Rep* rep = static_cast<Rep*>(memory);
  new (&rep->refs) std::atomic<std::uint32_t>(1);
  rep->length = 0;
  rep->capacity = static_cast<std::uint32_t>(capacity);
  rep->text[0] = '\0';
  return rep;
}

void TOVString::release(Rep* rep) noexcept {
  if (rep != nullptr && rep->refs.fetch_sub(1, std::memory_order_acq_rel) == 1) {
    rep->refs.~atomic();
    std::free(rep);
  }
}

TOVString::TOVString(const char* text) {
  if (text != nullptr) *this = TOVString(text, std::strlen(text));
}

TOVString::TOVString(const char* text, std::size_t length) : _rep(allocate(length)) {
  if (length != 0) std::memcpy(_rep->text, text, length);
  _rep->text[length] = '\0';
  _rep->length = static_cast<std::uint32_t>(length);
}

TOVString::TOVString(std::string_view text) : TOVString(text.data(), text.size()) {}

TOVString::TOVString(const std::string& text) : TOVString(text.data(), text.size()) {}

TOVString::TOVString(const TOVString& other) noexcept : _rep(other._rep) {
  if (_rep != nullptr) _rep->refs.fetch_add(1, std::memory_order_relaxed);
}

TOVString::TOVString(TOVString&& other) noexcept : _rep(other._rep) { other._rep = nullptr; }

TOVString& TOVString::operator=(const TOVString& other) noexcept {
  if (other._rep != nullptr) other._rep->refs.fetch_add(1, std::memory_order_relaxed);
  release(_rep);
  _rep = other._rep;
  return *this;
}

TOVString& TOVString::operator=(TOVString&& other) noexcept {
  if (this != &other) {
    release(_rep);
    _rep = other._rep;
    other._rep = nullptr;
  }
  return *this;
}

TOVString& TOVString::operator=(const char* text) { return *this = TOVString(text); }

TOVString::~TOVString() { release(_rep); }

TOVString TOVString::fromInt(long long value) {
  char buffer[24];
  unsigned long long magnitude = value < 0 ? 0ULL - static_cast<unsigned long long>(value)
                                           : static_cast<unsigned long long>(value);
  char* end = buffer + sizeof buffer;
  char* p = end;
  do {
    *--p = static_cast<char>('0' + magnitude % 10);
    magnitude /= 10;
  } while (magnitude != 0);
  if (value < 0) *--p = '-';
  return TOVString(p, static_cast<std::size_t>(end - p));
}

TOVString TOVString::fromUInt(unsigned long long value) {
  char buffer[24];
  char* end = buffer + sizeof buffer;
  char* p = end;
  do {
    *--p = static_cast<char>('0' + value % 10);
    value /= 10;
  } while (value != 0);
  return TOVString(p, static_cast<std::size_t>(end - p));
}

int TOVString::compareTo(const TOVString& other, int flag) const noexcept {
  if (_rep == other._rep) return 0;
  if (flag == 0) return kest::ascii::compareIgnoreCase(view(), other.view());
  const auto* a = reinterpret_cast<const unsigned char*>(c_str());
  const auto* b = reinterpret_cast<const unsigned char*>(other.c_str());
  const std::size_t la = length();
  const std::size_t lb = other.length();
  const std::size_t n = la < lb ? la : lb;
  if (n != 0) {
    const int r = std::memcmp(a, b, n);
    if (r != 0) return r < 0 ? -1 : 1;
  }
  if (la == lb) return 0;
  return la < lb ? -1 : 1;
}

bool operator==(const TOVString& a, const TOVString& b) noexcept {
  if (a._rep == b._rep) return true;
  const std::size_t n = a.length();
  return n == b.length() && (n == 0 || std::memcmp(a.c_str(), b.c_str(), n) == 0);
}

bool operator==(const TOVString& a, const char* b) noexcept {
  const std::size_t n = b ? std::strlen(b) : 0;
  return n == a.length() && (n == 0 || std::memcmp(a.c_str(), b, n) == 0);
}

bool operator<(const TOVString& a, const TOVString& b) noexcept { return a.compareTo(b, 1) < 0; }

void TOVString::reserveUnshared(std::size_t capacity) {
  if (_rep != nullptr && _rep->refs.load(std::memory_order_acquire) == 1 &&
      _rep->capacity >= capacity) {
    return;
  }
  const std::size_t len = length();
  std::size_t grown = capacity;
  if (_rep != nullptr && capacity > _rep->capacity) {
    // Appending in a loop stays linear overall.
    const std::size_t doubled = static_cast<std::size_t>(_rep->capacity) * 2;
    if (doubled > grown) grown = doubled;
  }
  Rep* fresh = allocate(grown);
  if (len != 0) std::memcpy(fresh->text, _rep->text, len);
  fresh->text[len] = '\0';
  fresh->length = static_cast<std::uint32_t>(len);
  release(_rep);
  _rep = fresh;
}

TOVString& TOVString::toUpper() {
  if (_rep == nullptr) return *this;
  reserveUnshared(_rep->length);
  for (std::uint32_t i = 0; i < _rep->length; ++i) {
    _rep->text[i] = kest::ascii::toUpper(_rep->text[i]);
  }
  return *this;
}

TOVString& TOVString::toLower() {
  if (_rep == nullptr) return *this;
  reserveUnshared(_rep->length);
  for (std::uint32_t i = 0; i < _rep->length; ++i) {
    _rep->text[i] = kest::ascii::toLower(_rep->text[i]);
  }
  return *this;
}

TOVString& TOVString::append(const char* text, std::size_t count) {
  if (count == 0) {
    if (_rep == nullptr) _rep = allocate(0);  // appending "" gives an empty buffer
    return *this;
  }
  const std::size_t len = length();
  if (_rep != nullptr && text >= _rep->text && text < _rep->text + len) {
    // Appending part of this string to itself: the buffer may move.
    const TOVString keep(*this);
    const std::size_t offset = static_cast<std::size_t>(text - _rep->text);
    reserveUnshared(len + count);
    std::memcpy(_rep->text + len, keep.c_str() + offset, count);
  } else {
    reserveUnshared(len + count);
    std::memcpy(_rep->text + len, text, count);
  }
  _rep->length = static_cast<std::uint32_t>(len + count);
  _rep->text[_rep->length] = '\0';
  return *this;
}

TOVString& TOVString::operator+=(const TOVString& other) {
  return append(other.c_str(), other.length());
}

TOVString& TOVString::operator+=(const char* text) {
  return append(text ? text : "", text ? std::strlen(text) : 0);
}

TOVString& TOVString::operator+=(char c) { return append(&c, 1); }

TOVString operator+(const TOVString& a, const TOVString& b) {
  TOVString result;
  result._rep = TOVString::allocate(a.length() + b.length());
  result.append(a.c_str(), a.length());
  result.append(b.c_str(), b.length());
  return result;
}

TOVString operator+(const TOVString& a, const char* b) {
  const std::size_t lb = b ? std::strlen(b) : 0;
  TOVString result;
  result._rep = TOVString::allocate(a.length() + lb);
  result.append(a.c_str(), a.length());
  result.append(b ? b : "", lb);
  return result;
}

TOVString operator+(const char* a, const TOVString& b) {
  const std::size_t la = a ? std::strlen(a) : 0;
  TOVString result;
  result._rep = TOVString::allocate(la + b.length());
  result.append(a ? a : "", la);
  result.append(b.c_str(), b.length());
  return result;
}

std::ostream& operator<<(std::ostream& out, const TOVString& s) {
  return out.write(s.c_str(), static_cast<std::streamsize>(s.length()));
}

unsigned int hashKeyTOVString(const TOVString& key) noexcept {
  std::uint32_t hash = 2166136261u;
  const auto* p = reinterpret_cast<const unsigned char*>(key.c_str());
  for (std::size_t i = 0, n = key.length(); i < n; ++i) {
    hash ^= p[i];
    hash *= 16777619u;
  }
  return hash;
}
