#include "server/xml/ScalarText.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <type_traits>
#include <utility>

#include "server/xml/Text.h"

namespace kest::server {

namespace xml {

std::optional<CimTypeCode> typeCodeOf(std::string_view name) {
  static const std::pair<const char*, CimTypeCode> kTypes[] = {
      {"boolean", CimTypeCode::Boolean},     {"string", CimTypeCode::String},
      {"char16", CimTypeCode::Char16},       {"uint8", CimTypeCode::UInt8},
      {"sint8", CimTypeCode::SInt8},         {"uint16", CimTypeCode::UInt16},
      {"sint16", CimTypeCode::SInt16},       {"uint32", CimTypeCode::UInt32},
      {"sint32", CimTypeCode::SInt32},       {"uint64", CimTypeCode::UInt64},
      {"sint64", CimTypeCode::SInt64},       {"datetime", CimTypeCode::DateTime},
      {"real32", CimTypeCode::Real32},       {"real64", CimTypeCode::Real64},
      {"reference", CimTypeCode::Reference}, {"object", CimTypeCode::Object},
      {"instance", CimTypeCode::Object},
  };
  for (const auto& [text, code] : kTypes) {
    if (name == text) return code;
  }
  return std::nullopt;
}

TOVSmrPtr<ITovaValue> make(ITovaValue* value) { return TOVSmrPtr<ITovaValue>(value); }

}  // namespace xml

namespace {

using xml::equalsIgnoringCase;
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
  if (text.empty()) return -1;
  const auto* s = reinterpret_cast<const unsigned char*>(text.data());
  std::uint32_t code = 0;
  std::size_t length = 1;
  if (s[0] < 0x80) {
    code = s[0];
  } else if ((s[0] & 0xE0) == 0xC0) {
    length = 2;
  } else if ((s[0] & 0xF0) == 0xE0) {
    length = 3;
  } else {
    return -1;  // beyond U+FFFF
  }
  if (text.size() != length) return -1;
  if (length == 2) code = ((s[0] & 0x1Fu) << 6) | (s[1] & 0x3Fu);
  if (length == 3) code = ((s[0] & 0x0Fu) << 12) | ((s[1] & 0x3Fu) << 6) | (s[2] & 0x3Fu);
  return static_cast<long>(code);
}

bool isDateTime(std::string_view text) {
  if (text.size() != 25) return false;
  for (std::size_t i = 0; i < 25; ++i) {
    const char c = text[i];
    if (i == 14) {
      if (c != '.') return false;
    } else if (i == 21) {
      if (c != '+' && c != '-' && c != ':') return false;
    } else if (!((c >= '0' && c <= '9') || c == '*')) {
      return false;
    }
  }
  return true;
}

}  // namespace

TOVSmrPtr<ITovaValue> scalarFromText(std::string_view text, CimTypeCode code) {
  switch (code) {
    case CimTypeCode::Boolean: {
      const std::string_view t = trimmed(text);
      if (equalsIgnoringCase(t, "true")) return make(new CTovaValue(true));
      if (equalsIgnoringCase(t, "false")) return make(new CTovaValue(false));
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
      if (!isDateTime(text)) return TOVSmrPtr<ITovaValue>();
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
