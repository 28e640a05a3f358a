#pragma once

#include <cstddef>
#include <exception>

#include "host/String.h"

// CI_String: the text type of the host's error library. A thin wrapper around
// a TOVString (so copies share the buffer and never throw); converts
// implicitly from const char* and from and to TOVString. A null const char*
// gives the empty text. c_str() never returns null.
// Threads: like TOVString.
class CI_String {
 public:
  constexpr CI_String() noexcept = default;
  CI_String(const char* text);                  // NOLINT: implicit by design
  CI_String(const TOVString& text);             // NOLINT: implicit by design
  operator TOVString() const { return _text; }  // NOLINT

  const char* c_str() const noexcept { return _text.c_str(); }
  std::size_t length() const noexcept { return _text.length(); }
  bool empty() const noexcept { return _text.isNull(); }
  const TOVString& toTOVString() const noexcept { return _text; }

  friend bool operator==(const CI_String& a, const CI_String& b) noexcept {
    return a._text == b._text;
  }

  // The empty text; the default for unused arguments of CI_ExFatal.
  static const CI_String none;

 private:
  TOVString _text;
};

// CI_Exception: base of the error library's exceptions. Deliberately not a
// TovaBaseException: code that catches host errors does not swallow these.
// what() returns the text given at construction. Copying never throws.
class CI_Exception : public std::exception {
 public:
  explicit CI_Exception(const CI_String& text);
  CI_Exception(const CI_Exception&) noexcept = default;
  CI_Exception& operator=(const CI_Exception&) noexcept = default;
  ~CI_Exception() override;

  const char* what() const noexcept override;
  TOVString getText() const { return _text.toTOVString(); }

 private:
  CI_String _text;
};

// CI_ExFatal: a fatal assertion that the caller may still catch. Carries the
// failed condition's text (for example "! \"getClass (not) implemented\""),
// a numeric code identifying the place (for example 51458), the source file
// and line, and up to five argument texts describing the state.
//
// throwThis() throws a copy of *this (static type CI_ExFatal), so a handler
// for CI_ExFatal or CI_Exception catches it; a handler for TovaBaseException
// does not.
class CI_ExFatal : public CI_Exception {
 public:
  // file may be null (getFile() then gives the empty text).
  CI_ExFatal(const CI_String& text, int code, const char* file, int line,
             const CI_String& a1 = CI_String::none, const CI_String& a2 = CI_String::none,
             const CI_String& a3 = CI_String::none, const CI_String& a4 = CI_String::none,
             const CI_String& a5 = CI_String::none);
  CI_ExFatal(const CI_ExFatal&) noexcept = default;
  CI_ExFatal& operator=(const CI_ExFatal&) noexcept = default;
  ~CI_ExFatal() override;

  [[noreturn]] void throwThis() const;

  int getCode() const noexcept { return _code; }
  // Never null.
  const char* getFile() const noexcept { return _file.c_str(); }
  int getLine() const noexcept { return _line; }
  // Argument i, 1 to 5 (the empty text for an unused argument and for any
  // other i).
  TOVString getArgument(int i) const;

  static constexpr int kArguments = 5;

 private:
  int _code;
  TOVString _file;
  int _line;
  CI_String _arguments[kArguments];
};
