#include "host/Fatal.h"

const CI_String CI_String::none;

CI_String::CI_String(const char* text) : _text(text) {}

CI_String::CI_String(const TOVString& text) : _text(text) {}

CI_Exception::CI_Exception(const CI_String& text) : _text(text) {}

CI_Exception::~CI_Exception() = default;

const char* CI_Exception::what() const noexcept { return _text.c_str(); }

CI_ExFatal::CI_ExFatal(const CI_String& text, int code, const char* file, int line,
                       const CI_String& a1, const CI_String& a2, const CI_String& a3,
                       const CI_String& a4, const CI_String& a5)
    : CI_Exception(text), _code(code), _file(file), _line(line), _arguments{a1, a2, a3, a4, a5} {}

CI_ExFatal::~CI_ExFatal() = default;

void CI_ExFatal::throwThis() const { throw CI_ExFatal(*this); }

TOVString CI_ExFatal::getArgument(int i) const {
  if (i < 1 || i > kArguments) return TOVString();
  return _arguments[i - 1].toTOVString();
}
