#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>

// TOVString: the host's string. Every name in the system (class, property,
// key, role, message) is one.
//
// Storage is a reference-counted buffer shared by copies (the count is atomic,
// so copies may be made and dropped on any thread); a string is copied on its
// first modification while shared (copy on write). Three states exist:
//   - no buffer (TOVString()): isNull() and isNullBuffer() are true;
//   - an empty buffer (TOVString("")): isNull() is true, isNullBuffer() false;
//   - text.
// Every comparison and the hash treat "no buffer" and "empty" alike; only
// isNullBuffer() tells them apart. c_str() never returns null.
//
// Case folding (toUpper, toLower, compareTo with flag 0) is ASCII only and
// independent of the process locale: bytes >= 0x80 are never changed.
//
// Threads: a TOVString object is not synchronised; distinct objects that share
// a buffer may be used on different threads at once.
class TOVString {
 public:
  TOVString() noexcept = default;
  TOVString(const char* text);  // NOLINT: implicit by design, like the host's
  TOVString(const char* text, std::size_t length);
  TOVString(std::string_view text);    // NOLINT
  TOVString(const std::string& text);  // NOLINT
  TOVString(const TOVString& other) noexcept;
  TOVString(TOVString&& other) noexcept;
  TOVString& operator=(const TOVString& other) noexcept;
  TOVString& operator=(TOVString&& other) noexcept;
  TOVString& operator=(const char* text);
  ~TOVString();

  // Decimal text of value: no leading zeros, '-' for negative values.
  static TOVString fromInt(long long value);
  static TOVString fromUInt(unsigned long long value);

  // True for no buffer and for the empty text.
  bool isNull() const noexcept { return length() == 0; }
  // True only when there is no buffer at all (the default-constructed string).
  bool isNullBuffer() const noexcept { return _rep == nullptr; }
  std::size_t length() const noexcept { return _rep ? _rep->length : 0; }
  const char* c_str() const noexcept { return _rep ? _rep->text : ""; }
  const char* data() const noexcept { return c_str(); }
  std::string_view view() const noexcept { return {c_str(), length()}; }
  std::string toStdString() const { return std::string(view()); }
  char operator[](std::size_t index) const noexcept { return c_str()[index]; }

  // <0, 0 or >0 as this string orders before, equal to or after other.
  // flag 0: ASCII case-insensitive; any other value: exact bytes. Bytes are
  // compared as unsigned; a proper prefix orders first.
  int compareTo(const TOVString& other, int flag) const noexcept;

  // Exact, case-sensitive comparisons.
  friend bool operator==(const TOVString& a, const TOVString& b) noexcept;
  friend bool operator==(const TOVString& a, const char* b) noexcept;
  friend bool operator<(const TOVString& a, const TOVString& b) noexcept;

  // Fold to ASCII upper or lower case in place; return *this.
  TOVString& toUpper();
  TOVString& toLower();

  TOVString& operator+=(const TOVString& other);
  TOVString& operator+=(const char* text);
  TOVString& operator+=(char c);
  TOVString& append(const char* text, std::size_t length);

  friend TOVString operator+(const TOVString& a, const TOVString& b);
  friend TOVString operator+(const TOVString& a, const char* b);
  friend TOVString operator+(const char* a, const TOVString& b);

 private:
  struct Rep {
    std::atomic<std::uint32_t> refs;
    std::uint32_t length;
    std::uint32_t capacity;
    char text[1];
  };

  static Rep* allocate(std::size_t capacity);
  static void release(Rep* rep) noexcept;
  // Makes the buffer private to this string with room for at least capacity
  // bytes of text, keeping the text.
  void reserveUnshared(std::size_t capacity);

  Rep* _rep = nullptr;
};

inline bool operator!=(const TOVString& a, const TOVString& b) noexcept { return !(a == b); }

std::ostream& operator<<(std::ostream& out, const TOVString& s);

// FNV-1a, 32 bits, over the bytes of key (no buffer hashes like the empty
// text). Case-sensitive: callers fold case first where names are keys.
unsigned int hashKeyTOVString(const TOVString& key) noexcept;
