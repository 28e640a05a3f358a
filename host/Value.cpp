#include "host/Value.h"

#include <charconv>
#include <limits>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "host/Ascii.h"
#include "host/Exception.h"
#include "host/InstanceName.h"
#include "host/Object.h"
#include "host/Utf8.h"

namespace {

using Elements = TOVSmrPtr<TOVValSlist<TOVSmrPtr<ITovaValue>>>;

template <typename T>
TOVString numberText(T number) {
  char buffer[64];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, number);
  return TOVString(buffer, static_cast<std::size_t>(result.ptr - buffer));
}

// UTF-8 form of one UTF-16 code unit (a lone surrogate is encoded like any
// other code point, so that no value is lost).
TOVString char16Text(TOVchar16 c) {
  std::string text;
  kest::appendUtf8(text, static_cast<char32_t>(c));
  return TOVString(text);
}

// The first UTF-16 code unit of UTF-8 text (0 for empty text); the inverse
// of char16Text for the texts it produces.
TOVchar16 char16FromText(std::string_view text) {
  if (text.empty()) return 0;
  const auto byte = [&](std::size_t i) {
    return i < text.size() ? static_cast<unsigned>(static_cast<unsigned char>(text[i])) & 0x3F : 0u;
  };
  const auto lead = static_cast<unsigned>(static_cast<unsigned char>(text[0]));
  if (lead < 0x80) return static_cast<TOVchar16>(lead);
  if ((lead & 0xE0) == 0xC0) return static_cast<TOVchar16>(((lead & 0x1F) << 6) | byte(1));
  return static_cast<TOVchar16>(((lead & 0x0F) << 12) | (byte(1) << 6) | byte(2));
}

// Parses the whole of text as a number of type T; false when text is empty,
// not a number or out of T's range.
template <typename T>
bool parseWhole(const TOVString& text, T& out) {
  const char* begin = text.c_str();
  const char* end = begin + text.length();
  if (begin == end) return false;
  const auto result = std::from_chars(begin, end, out);
  return result.ec == std::errc() && result.ptr == end;
}

}  // namespace

// ---------------------------------------------------------------------------
// Construction

CTovaValue::CTovaValue(const TOVSmrPtr<ITovaType>& type, CimTypeCode code, bool isArray,
                       Payload payload)
    : _type(type), _code(code), _isArray(isArray), _payload(std::move(payload)) {}

CTovaValue::CTovaValue(bool value)
    : CTovaValue(CTovaType::scalar(CimTypeCode::Boolean), CimTypeCode::Boolean, false,
                 Payload(std::in_place_type<bool>, value)) {}

CTovaValue::CTovaValue(TOVuint8 value)
    : CTovaValue(CTovaType::scalar(CimTypeCode::UInt8), CimTypeCode::UInt8, false,
                 Payload(std::in_place_type<TOVuint64>, value)) {}

CTovaValue::CTovaValue(TOVsint8 value)
    : CTovaValue(CTovaType::scalar(CimTypeCode::SInt8), CimTypeCode::SInt8, false,
                 Payload(std::in_place_type<TOVsint64>, value)) {}

CTovaValue::CTovaValue(TOVuint16 value)
    : CTovaValue(CTovaType::scalar(CimTypeCode::UInt16), CimTypeCode::UInt16, false,
                 Payload(std::in_place_type<TOVuint64>, value)) {}

CTovaValue::CTovaValue(TOVsint16 value)
    : CTovaValue(CTovaType::scalar(CimTypeCode::SInt16), CimTypeCode::SInt16, false,
                 Payload(std::in_place_type<TOVsint64>, value)) {}

CTovaValue::CTovaValue(TOVuint32 value)
    : CTovaValue(CTovaType::scalar(CimTypeCode::UInt32), CimTypeCode::UInt32, false,
                 Payload(std::in_place_type<TOVuint64>, value)) {}

CTovaValue::CTovaValue(TOVsint32 value)
    : CTovaValue(CTovaType::scalar(CimTypeCode::SInt32), CimTypeCode::SInt32, false,
                 Payload(std::in_place_type<TOVsint64>, value)) {}

CTovaValue::CTovaValue(unsigned long value)
    : CTovaValue(CTovaType::scalar(CimTypeCode::UInt64), CimTypeCode::UInt64, false,
                 Payload(std::in_place_type<TOVuint64>, value)) {}

CTovaValue::CTovaValue(long value)
    : CTovaValue(CTovaType::scalar(CimTypeCode::SInt64), CimTypeCode::SInt64, false,
                 Payload(std::in_place_type<TOVsint64>, value)) {}

CTovaValue::CTovaValue(unsigned long long value)
    : CTovaValue(CTovaType::scalar(CimTypeCode::UInt64), CimTypeCode::UInt64, false,
                 Payload(std::in_place_type<TOVuint64>, value)) {}

CTovaValue::CTovaValue(long long value)
    : CTovaValue(CTovaType::scalar(CimTypeCode::SInt64), CimTypeCode::SInt64, false,
                 Payload(std::in_place_type<TOVsint64>, value)) {}

CTovaValue::CTovaValue(TOVreal32 value)
    : CTovaValue(CTovaType::scalar(CimTypeCode::Real32), CimTypeCode::Real32, false,
                 Payload(std::in_place_type<TOVreal32>, value)) {}

CTovaValue::CTovaValue(TOVreal64 value)
    : CTovaValue(CTovaType::scalar(CimTypeCode::Real64), CimTypeCode::Real64, false,
                 Payload(std::in_place_type<TOVreal64>, value)) {}

CTovaValue::CTovaValue(const TOVString& value)
    : CTovaValue(CTovaType::scalar(CimTypeCode::String), CimTypeCode::String, false,
                 Payload(std::in_place_type<TOVString>, value)) {}

CTovaValue::CTovaValue(const char* value)
    : CTovaValue(CTovaType::scalar(CimTypeCode::String), CimTypeCode::String, false,
                 Payload(std::in_place_type<TOVString>, value)) {}

CTovaValue::CTovaValue(const TOVSmrPtr<ITovaInstanceName>& name)
    : CTovaValue(
          CTovaType::reference(name ? name->getClassname() : TOVString()), CimTypeCode::Reference,
          false,
          name ? Payload(std::in_place_type<TOVSmrPtr<ITovaInstanceName>>, name) : Payload()) {}

CTovaValue::CTovaValue(const TOVSmrPtr<ITovaObject>& object)
    : CTovaValue(CTovaType::object(object ? object->getClassName() : TOVString()),
                 CimTypeCode::Object, false,
                 object ? Payload(std::in_place_type<TOVSmrPtr<ITovaObject>>, object) : Payload()) {
}

CTovaValue::CTovaValue(const TOVSmrPtr<ITovaType>& arrayType, const Elements& elements)
    : _type(arrayType), _code(CimTypeCode::String), _isArray(true) {
  if (!arrayType || !arrayType->isArray()) {
    throw TovaBaseException("", "CTovaValue::CTovaValue()", "",
                            "an array value needs an array type", 0);
  }
  _code = CTovaType::codeOf(*arrayType);
  if (elements) _payload.emplace<Elements>(elements);
}

TOVSmrPtr<ITovaValue> CTovaValue::char16(TOVchar16 value) {
  return TOVSmrPtr<ITovaValue>(new CTovaValue(CTovaType::scalar(CimTypeCode::Char16),
                                              CimTypeCode::Char16, false,
                                              Payload(std::in_place_type<TOVchar16>, value)));
}

TOVSmrPtr<ITovaValue> CTovaValue::dateTime(const TOVString& text) {
  return TOVSmrPtr<ITovaValue>(new CTovaValue(CTovaType::scalar(CimTypeCode::DateTime),
                                              CimTypeCode::DateTime, false,
                                              Payload(std::in_place_type<TOVString>, text)));
}

TOVSmrPtr<ITovaValue> CTovaValue::nullOf(const TOVSmrPtr<ITovaType>& type) {
  if (!type) {
    throw TovaBaseException("", "CTovaValue::nullOf()", "", "a NULL value needs a type", 0);
  }
  return TOVSmrPtr<ITovaValue>(
      new CTovaValue(type, CTovaType::codeOf(*type), type->isArray(), Payload()));
}

TOVSmrPtr<ITovaValue> CTovaValue::deepCopy(const ITovaValue& source) {
  if (const auto* own = dynamic_cast<const CTovaValue*>(&source)) {
    Payload payload;
    if (const auto* name = std::get_if<TOVSmrPtr<ITovaInstanceName>>(&own->_payload)) {
      payload.emplace<TOVSmrPtr<ITovaInstanceName>>(new CTovaInstanceName(**name));
    } else if (const auto* object = std::get_if<TOVSmrPtr<ITovaObject>>(&own->_payload)) {
      payload.emplace<TOVSmrPtr<ITovaObject>>(new CTovaClientObject(**object, true));
    } else if (const auto* elements = std::get_if<Elements>(&own->_payload)) {
      Elements copy(new TOVValSlist<TOVSmrPtr<ITovaValue>>());
      copy->reserve((*elements)->entries());
      for (const auto& element : **elements) {
        copy->append(element ? deepCopy(*element) : TOVSmrPtr<ITovaValue>());
      }
      payload.emplace<Elements>(std::move(copy));
    } else {
      payload = own->_payload;
    }
    return TOVSmrPtr<ITovaValue>(
        new CTovaValue(own->_type, own->_code, own->_isArray, std::move(payload)));
  }

  // Any other implementation is read through the interface.
  const TOVSmrPtr<ITovaType> type = source.getType();
  if (!type) return TOVSmrPtr<ITovaValue>(new CTovaValue(source.getAsString()));
  if (source.isNullValue()) return nullOf(type);
  if (type->isArray()) {
    const Elements elements = source.getArray();
    Elements copy;
    if (elements) {
      copy = Elements(new TOVValSlist<TOVSmrPtr<ITovaValue>>());
      for (const auto& element : *elements) {
        copy->append(element ? deepCopy(*element) : TOVSmrPtr<ITovaValue>());
      }
    }
    return TOVSmrPtr<ITovaValue>(new CTovaValue(type, copy));
  }
  const CimTypeCode code = CTovaType::codeOf(*type);
  switch (code) {
    case CimTypeCode::Boolean:
      return TOVSmrPtr<ITovaValue>(new CTovaValue(source.getAsBool()));
    case CimTypeCode::UInt8:
      return TOVSmrPtr<ITovaValue>(new CTovaValue(static_cast<TOVuint8>(source.getAsUInt64())));
    case CimTypeCode::UInt16:
      return TOVSmrPtr<ITovaValue>(new CTovaValue(static_cast<TOVuint16>(source.getAsUInt64())));
    case CimTypeCode::UInt32:
      return TOVSmrPtr<ITovaValue>(new CTovaValue(static_cast<TOVuint32>(source.getAsUInt64())));
    case CimTypeCode::UInt64:
      return TOVSmrPtr<ITovaValue>(new CTovaValue(static_cast<TOVuint64>(source.getAsUInt64())));
    case CimTypeCode::SInt8:
      return TOVSmrPtr<ITovaValue>(new CTovaValue(static_cast<TOVsint8>(source.getAsInt())));
    case CimTypeCode::SInt16:
      return TOVSmrPtr<ITovaValue>(new CTovaValue(static_cast<TOVsint16>(source.getAsInt())));
    case CimTypeCode::SInt32:
      return TOVSmrPtr<ITovaValue>(new CTovaValue(static_cast<TOVsint32>(source.getAsInt())));
    case CimTypeCode::SInt64: {
      // The interface reads signed values only up to 32 bits; the text has
      // the full range.
      long long number = 0;
      if (!parseWhole(source.getAsString(), number)) number = source.getAsInt();
      return TOVSmrPtr<ITovaValue>(new CTovaValue(number));
    }
    case CimTypeCode::Real32:
      return TOVSmrPtr<ITovaValue>(new CTovaValue(static_cast<TOVreal32>(source.getAsDouble())));
    case CimTypeCode::Real64:
      return TOVSmrPtr<ITovaValue>(new CTovaValue(source.getAsDouble()));
    case CimTypeCode::Char16:
      return char16(char16FromText(source.getAsString().view()));
    case CimTypeCode::DateTime:
      return dateTime(source.getAsString());
    case CimTypeCode::String:
      return TOVSmrPtr<ITovaValue>(new CTovaValue(source.getAsString()));
    case CimTypeCode::Reference: {
      const TOVSmrPtr<ITovaInstanceName> name = source.getReference();
      return TOVSmrPtr<ITovaValue>(
          new CTovaValue(name ? TOVSmrPtr<ITovaInstanceName>(new CTovaInstanceName(*name)) : name));
    }
    case CimTypeCode::Object: {
      const TOVSmrPtr<ITovaObject> object = source.getObject();
      return TOVSmrPtr<ITovaValue>(new CTovaValue(
          object ? TOVSmrPtr<ITovaObject>(new CTovaClientObject(*object, true)) : object));
    }
  }
  return TOVSmrPtr<ITovaValue>(new CTovaValue(source.getAsString()));
}

CTovaValue::~CTovaValue() = default;

// ---------------------------------------------------------------------------
// Reading

void CTovaValue::throwConversion(const char* where, const char* wanted, const char* detail) const {
  const char* typeName = CTovaType::codeName(_code);
  std::string message = "cannot read ";
  if (isNullValue()) {
    message += "a NULL ";
  } else {
    message += typeName[0] == 'o' ? "an " : "a ";
  }
  message += typeName;
  if (_isArray) message += "[]";
  message += " value as ";
  message += wanted;
  if (detail != nullptr) {
    message += ": ";
    message += detail;
  }
  throw TovaBaseException("", where, "", TOVString(message), 0);
}

TOVSmrPtr<ITovaType> CTovaValue::getType() const { return _type; }

bool CTovaValue::isNullValue() const { return std::holds_alternative<std::monostate>(_payload); }

TOVString CTovaValue::getAsString() const {
  struct Visitor {
    const CTovaValue& self;
    TOVString operator()(std::monostate) const { return TOVString(); }
    TOVString operator()(bool value) const { return TOVString(value ? "true" : "false"); }
    TOVString operator()(TOVuint64 value) const { return numberText(value); }
    TOVString operator()(TOVsint64 value) const { return numberText(value); }
    TOVString operator()(TOVreal32 value) const { return numberText(value); }
    TOVString operator()(TOVreal64 value) const { return numberText(value); }
    TOVString operator()(TOVchar16 value) const { return char16Text(value); }
    TOVString operator()(const TOVString& value) const { return value; }
    TOVString operator()(const TOVSmrPtr<ITovaInstanceName>& name) const {
      return name->toString();
    }
    TOVString operator()(const TOVSmrPtr<ITovaObject>&) const {
      self.throwConversion("CTovaValue::getAsString()", "string");
    }
    TOVString operator()(const Elements&) const {
      self.throwConversion("CTovaValue::getAsString()", "string");
    }
  };
  if (_isArray && !isNullValue()) throwConversion("CTovaValue::getAsString()", "string");
  return std::visit(Visitor{*this}, _payload);
}

TOVsint32 CTovaValue::getAsInt() const {
  static constexpr const char* kWhere = "CTovaValue::getAsInt()";
  static constexpr const char* kWanted = "sint32";
  constexpr TOVsint64 kMin = std::numeric_limits<TOVsint32>::min();
  constexpr TOVsint64 kMax = std::numeric_limits<TOVsint32>::max();
  if (!_isArray) {
    if (const auto* u = std::get_if<TOVuint64>(&_payload)) {
      if (*u <= static_cast<TOVuint64>(kMax)) return static_cast<TOVsint32>(*u);
      throwConversion(kWhere, kWanted, "out of range");
    }
    if (const auto* s = std::get_if<TOVsint64>(&_payload)) {
      if (*s >= kMin && *s <= kMax) return static_cast<TOVsint32>(*s);
      throwConversion(kWhere, kWanted, "out of range");
    }
    if (_code == CimTypeCode::String) {
      if (const auto* text = std::get_if<TOVString>(&_payload)) {
        TOVsint32 number = 0;
        if (parseWhole(*text, number)) return number;
        throwConversion(kWhere, kWanted, "not a decimal integer in range");
      }
    }
  }
  throwConversion(kWhere, kWanted);
}

TOVuint32 CTovaValue::getAsUInt() const {
  static constexpr const char* kWhere = "CTovaValue::getAsUInt()";
  static constexpr const char* kWanted = "uint32";
  constexpr TOVuint64 kMax = std::numeric_limits<TOVuint32>::max();
  if (!_isArray) {
    if (const auto* u = std::get_if<TOVuint64>(&_payload)) {
      if (*u <= kMax) return static_cast<TOVuint32>(*u);
      throwConversion(kWhere, kWanted, "out of range");
    }
    if (const auto* s = std::get_if<TOVsint64>(&_payload)) {
      if (*s >= 0 && static_cast<TOVuint64>(*s) <= kMax) return static_cast<TOVuint32>(*s);
      throwConversion(kWhere, kWanted, "out of range");
    }
    if (_code == CimTypeCode::String) {
      if (const auto* text = std::get_if<TOVString>(&_payload)) {
        TOVuint32 number = 0;
        if (parseWhole(*text, number)) return number;
        throwConversion(kWhere, kWanted, "not a decimal integer in range");
      }
    }
  }
  throwConversion(kWhere, kWanted);
}

TOVuint64 CTovaValue::getAsUInt64() const {
  static constexpr const char* kWhere = "CTovaValue::getAsUInt64()";
  static constexpr const char* kWanted = "uint64";
  if (!_isArray) {
    if (const auto* u = std::get_if<TOVuint64>(&_payload)) return *u;
    if (const auto* s = std::get_if<TOVsint64>(&_payload)) {
      if (*s >= 0) return static_cast<TOVuint64>(*s);
      throwConversion(kWhere, kWanted, "out of range");
    }
    if (_code == CimTypeCode::String) {
      if (const auto* text = std::get_if<TOVString>(&_payload)) {
        TOVuint64 number = 0;
        if (parseWhole(*text, number)) return number;
        throwConversion(kWhere, kWanted, "not a decimal integer in range");
      }
    }
  }
  throwConversion(kWhere, kWanted);
}

TOVreal64 CTovaValue::getAsDouble() const {
  static constexpr const char* kWhere = "CTovaValue::getAsDouble()";
  static constexpr const char* kWanted = "real64";
  if (!_isArray) {
    if (const auto* d = std::get_if<TOVreal64>(&_payload)) return *d;
    if (const auto* f = std::get_if<TOVreal32>(&_payload)) return *f;
    if (const auto* u = std::get_if<TOVuint64>(&_payload)) return static_cast<TOVreal64>(*u);
    if (const auto* s = std::get_if<TOVsint64>(&_payload)) return static_cast<TOVreal64>(*s);
    if (_code == CimTypeCode::String) {
      if (const auto* text = std::get_if<TOVString>(&_payload)) {
        TOVreal64 number = 0;
        if (parseWhole(*text, number)) return number;
        throwConversion(kWhere, kWanted, "not a decimal number");
      }
    }
  }
  throwConversion(kWhere, kWanted);
}

bool CTovaValue::getAsBool() const {
  static constexpr const char* kWhere = "CTovaValue::getAsBool()";
  static constexpr const char* kWanted = "boolean";
  if (!_isArray) {
    if (const auto* b = std::get_if<bool>(&_payload)) return *b;
    if (_code == CimTypeCode::String) {
      if (const auto* text = std::get_if<TOVString>(&_payload)) {
        if (kest::ascii::equalsIgnoreCase(text->view(), "true")) return true;
        if (kest::ascii::equalsIgnoreCase(text->view(), "false")) return false;
        throwConversion(kWhere, kWanted, "neither true nor false");
      }
    }
  }
  throwConversion(kWhere, kWanted);
}

TOVSmrPtr<ITovaObject> CTovaValue::getObject() const {
  if (!_isArray) {
    if (_code == CimTypeCode::Object) {
      const auto* object = std::get_if<TOVSmrPtr<ITovaObject>>(&_payload);
      return object ? *object : TOVSmrPtr<ITovaObject>();
    }
    if (_code == CimTypeCode::Reference) return TOVSmrPtr<ITovaObject>();
  }
  throwConversion("CTovaValue::getObject()", "object");
}

TOVSmrPtr<ITovaInstanceName> CTovaValue::getReference() const {
  if (!_isArray) {
    if (_code == CimTypeCode::Reference) {
      const auto* name = std::get_if<TOVSmrPtr<ITovaInstanceName>>(&_payload);
      return name ? *name : TOVSmrPtr<ITovaInstanceName>();
    }
    if (_code == CimTypeCode::Object) {
      const auto* object = std::get_if<TOVSmrPtr<ITovaObject>>(&_payload);
      return object ? (*object)->getInstanceName() : TOVSmrPtr<ITovaInstanceName>();
    }
  }
  throwConversion("CTovaValue::getReference()", "reference");
}

Elements CTovaValue::getArray() const {
  if (_isArray) {
    const auto* elements = std::get_if<Elements>(&_payload);
    return elements ? *elements : Elements();
  }
  throwConversion("CTovaValue::getArray()", "array");
}

TOVString CTovaValue::toString() const {
  if (const auto* object = std::get_if<TOVSmrPtr<ITovaObject>>(&_payload)) {
    const TOVSmrPtr<ITovaInstanceName> name = (*object)->getInstanceName();
    return name ? name->toString() : TOVString();
  }
  if (const auto* elements = std::get_if<Elements>(&_payload)) {
    std::string text = "{";
    bool first = true;
    for (const auto& element : **elements) {
      if (!first) text.push_back(',');
      first = false;
      if (element) text.append(element->toString().view());
    }
    text.push_back('}');
    return TOVString(text);
  }
  return getAsString();
}
