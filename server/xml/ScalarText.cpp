#include "server/xml/ScalarText.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <type_traits>
#include <utility>

#include "host/Ascii.h"
#include "host/DateTime.h"
#include "host/Utf8.h"
#include "server/xml/Text.h"

namespace kest::server {

namespace xml {

// "instance" is the embedded instance's name for object.
std::optional<CimTypeCode> typeCodeOf(std::string_view name) {
  if (name == "instance") return CimTypeCode::Object;
  return CTovaType::codeNamed(name);
}

TOVSmrPtr<ITovaValue> make(ITovaValue* value) { return TOVSmrPtr<ITovaValue>(value); }

}  // namespace xml

namespace {

using xml::make;
using xml::trimmed;

template <typename T>
bool parseInteger(std::string_view text, T& out) {
  text = trimmed(text);
  if (!text.empty() && text.front() == '+') text.remove_prefix(1);
  int base = 10;
  if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
    if constexpr (std::is_signed_v<T>) return false;
    text.remove_prefix(2);
    base = 16;
  }
  if (text.empty()) return false;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), out, base);
  return result.ec == std::errc() && result.ptr == text.data() + text.size();
}

bool parseReal(std::string_view text, double& out) {
  text = trimmed(text);
  if (text == "NaN") {
    out = std::numeric_limits<double>::quiet_NaN();
    return true;
  }
  if (text == "INF" || text == "+INF") {
    out = std::numeric_limits<double>::infinity();
    return true;
  }
  if (text == "-INF") {
    out = -std::numeric_limits<double>::infinity();
    return true;
  }
  if (!text.empty() && text.front() == '+') text.remove_prefix(1);
  if (text.empty()) return false;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), out);
  return result.ec == std::errc() && result.ptr == text.data() + text.size();
}

// The one character of a char16 value, or -1.
long singleChar16(std::string_view text) {
  const std::size_t length = utf8SequenceLength(text, 0);
  if (length == 0 || length == 4 || length != text.size()) return -1;  // 4: beyond U+FFFF
  return static_cast<long>(decodeUtf8(text, 0, length));
}

}  // namespace

TOVSmrPtr<ITovaValue> scalarFromText(std::string_view text, CimTypeCode code) {
  switch (code) {
    case CimTypeCode::Boolean: {
      const std::string_view t = trimmed(text);
      if (kest::ascii::equalsIgnoreCase(t, "true")) return make(new CTovaValue(true));
      if (kest::ascii::equalsIgnoreCase(t, "false")) return make(new CTovaValue(false));
      return TOVSmrPtr<ITovaValue>();
    }
#define KEST_INTEGER_CASE(CODE, TYPE)                                \
  case CimTypeCode::CODE: {                                          \
    TYPE number{};                                                   \
    if (!parseInteger(text, number)) return TOVSmrPtr<ITovaValue>(); \
    return make(new CTovaValue(number));                             \
  }
      KEST_INTEGER_CASE(UInt8, TOVuint8)
      KEST_INTEGER_CASE(SInt8, TOVsint8)
      KEST_INTEGER_CASE(UInt16, TOVuint16)
      KEST_INTEGER_CASE(SInt16, TOVsint16)
      KEST_INTEGER_CASE(UInt32, TOVuint32)
      KEST_INTEGER_CASE(SInt32, TOVsint32)
#undef KEST_INTEGER_CASE
    case CimTypeCode::UInt64: {
      unsigned long long number = 0;
      if (!parseInteger(text, number)) return TOVSmrPtr<ITovaValue>();
      return make(new CTovaValue(number));
    }
    case CimTypeCode::SInt64: {
      long long number = 0;
      if (!parseInteger(text, number)) return TOVSmrPtr<ITovaValue>();
      return make(new CTovaValue(number));
    }
    case CimTypeCode::Real32: {
      double number = 0;
      if (!parseReal(text, number)) return TOVSmrPtr<ITovaValue>();
      if (std::isfinite(number) && std::fabs(number) > std::numeric_limits<float>::max()) {
        return TOVSmrPtr<ITovaValue>();
      }
      return make(new CTovaValue(static_cast<TOVreal32>(number)));
    }
    case CimTypeCode::Real64: {
      double number = 0;
      if (!parseReal(text, number)) return TOVSmrPtr<ITovaValue>();
      return make(new CTovaValue(number));
    }
    case CimTypeCode::Char16: {
      const long c = singleChar16(text);
      if (c < 0) return TOVSmrPtr<ITovaValue>();
      return CTovaValue::char16(static_cast<TOVchar16>(c));
    }
    case CimTypeCode::DateTime:
      if (!kest::isValidDateTime(text)) return TOVSmrPtr<ITovaValue>();
      return CTovaValue::dateTime(TOVString(text));
    case CimTypeCode::String:
      return make(new CTovaValue(TOVString(text)));
    case CimTypeCode::Reference:
    case CimTypeCode::Object:
      break;
  }
  return TOVSmrPtr<ITovaValue>();
}

namespace xml {

// A key value typed only by its VALUETYPE: numbers as sint64 (negative),
// uint64 or real64; null when the text is no such value.
TOVSmrPtr<ITovaValue> numericFromText(std::string_view text) {
  const std::string_view t = trimmed(text);
  if (t.find_first_of(".eE") != std::string_view::npos && t.find_first_of("xX") == t.npos) {
    return scalarFromText(t, CimTypeCode::Real64);
  }
  if (!t.empty() && t.front() == '-') return scalarFromText(t, CimTypeCode::SInt64);
  return scalarFromText(t, CimTypeCode::UInt64);
}

}  // namespace xml

}  // namespace kest::server
