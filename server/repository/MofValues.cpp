#include "server/repository/MofValues.h"

#include <cmath>
#include <limits>

#include "host/DateTime.h"
#include "host/List.h"
#include "host/Property.h"
#include "server/repository/ObjectPath.h"

namespace kest::repository {

namespace {

using Elements = TOVSmrPtr<TOVValSlist<TOVSmrPtr<ITovaValue>>>;

const char* kindName(ValueSyntax::Kind kind) {
  switch (kind) {
    case ValueSyntax::Kind::Null:
      return "NULL";
    case ValueSyntax::Kind::Boolean:
      return "a boolean";
    case ValueSyntax::Kind::Integer:
      return "an integer";
    case ValueSyntax::Kind::Real:
      return "a real number";
    case ValueSyntax::Kind::String:
      return "a string";
    case ValueSyntax::Kind::Char:
      return "a character";
    case ValueSyntax::Kind::Alias:
      return "an alias";
    case ValueSyntax::Kind::Array:
      return "an array";
    case ValueSyntax::Kind::Instance:
      return "an embedded instance";
  }
  return "";
}

std::string elementTypeName(const DataType& type) {
  DataType element = type;
  element.isArray = false;
  element.arraySize = 0;
  return element.toMof().toStdString();
}

ValueResult failure(std::string error) {
  return ValueResult{TOVSmrPtr<ITovaValue>(), std::move(error)};
}

template <typename T>
ValueResult success(T value) {
  return ValueResult{TOVSmrPtr<ITovaValue>(new CTovaValue(value)), std::string()};
}

// The largest magnitude of a positive and of a negative value of an integer
// type (0 for the negative side of unsigned types).
struct IntegerRange {
  std::uint64_t positive;
  std::uint64_t negative;
};

IntegerRange rangeOf(CimTypeCode code) {
  switch (code) {
    case CimTypeCode::UInt8:
      return {0xFF, 0};
    case CimTypeCode::SInt8:
      return {0x7F, 0x80};
    case CimTypeCode::UInt16:
      return {0xFFFF, 0};
    case CimTypeCode::SInt16:
      return {0x7FFF, 0x8000};
    case CimTypeCode::UInt32:
      return {0xFFFFFFFFu, 0};
    case CimTypeCode::SInt32:
      return {0x7FFFFFFF, 0x80000000u};
    case CimTypeCode::UInt64:
      return {std::numeric_limits<std::uint64_t>::max(), 0};
    default:
      return {0x7FFFFFFFFFFFFFFFull, 0x8000000000000000ull};
  }
}

ValueResult convertInteger(const ValueSyntax& literal, CimTypeCode code) {
  const IntegerRange range = rangeOf(code);
  if (literal.magnitude > (literal.negative ? range.negative : range.positive)) {
    return failure(literal.text + " is out of range for " + CTovaType::codeName(code));
  }
  const auto magnitude = literal.magnitude;
  // Two's complement negation in unsigned arithmetic, so that the most
  // negative sint64 needs no signed overflow.
  const auto signedValue = static_cast<std::int64_t>(literal.negative ? ~magnitude + 1 : magnitude);
  switch (code) {
    case CimTypeCode::UInt8:
      return success(static_cast<TOVuint8>(magnitude));
    case CimTypeCode::SInt8:
      return success(static_cast<TOVsint8>(signedValue));
    case CimTypeCode::UInt16:
      return success(static_cast<TOVuint16>(magnitude));
    case CimTypeCode::SInt16:
      return success(static_cast<TOVsint16>(signedValue));
    case CimTypeCode::UInt32:
      return success(static_cast<TOVuint32>(magnitude));
    case CimTypeCode::SInt32:
      return success(static_cast<TOVsint32>(signedValue));
    case CimTypeCode::UInt64:
      return success(static_cast<unsigned long long>(magnitude));
    default:
      return success(static_cast<long long>(signedValue));
  }
}

ValueResult convertReal(const ValueSyntax& literal, CimTypeCode code) {
  double number = literal.real;
  if (literal.kind == ValueSyntax::Kind::Integer) {
    number = static_cast<double>(literal.magnitude);
    if (literal.negative) number = -number;
  }
  if (code == CimTypeCode::Real64) return success(number);
  if (std::fabs(number) > std::numeric_limits<float>::max()) {
    return failure(literal.text + " is out of range for real32");
  }
  return success(static_cast<TOVreal32>(number));
}

bool isNumeric(ValueSyntax::Kind kind) {
  return kind == ValueSyntax::Kind::Integer || kind == ValueSyntax::Kind::Real;
}

bool isInteger(CimTypeCode code) {
  return code >= CimTypeCode::UInt8 && code <= CimTypeCode::SInt64;
}

// A non-NULL, non-array literal to a value of the element type of type.
ValueResult convertScalar(const ValueSyntax& literal, const DataType& type) {
  const CimTypeCode code = type.code;
  const auto mismatch = [&]() {
    return failure("expected a " + elementTypeName(type) + " value, found " +
                   kindName(literal.kind));
  };
  if (literal.kind == ValueSyntax::Kind::Alias) return failure("aliases are not supported");
  if (code == CimTypeCode::Boolean) {
    return literal.kind == ValueSyntax::Kind::Boolean ? success(literal.boolean) : mismatch();
  }
  if (isInteger(code))
    return literal.kind == ValueSyntax::Kind::Integer ? convertInteger(literal, code) : mismatch();
  if (code == CimTypeCode::Real32 || code == CimTypeCode::Real64) {
    return isNumeric(literal.kind) ? convertReal(literal, code) : mismatch();
  }
  if (code == CimTypeCode::Char16) {
    if (literal.kind == ValueSyntax::Kind::Char) {
      return ValueResult{CTovaValue::char16(literal.character), std::string()};
    }
    if (literal.kind != ValueSyntax::Kind::Integer) return mismatch();
    if (literal.negative || literal.magnitude > 0xFFFF)
      return failure(literal.text + " is out of range for char16");
    return ValueResult{CTovaValue::char16(static_cast<TOVchar16>(literal.magnitude)),
                       std::string()};
  }
  if (code == CimTypeCode::Object)
    return failure("an embedded object cannot be given a value in MOF");
  if (literal.kind != ValueSyntax::Kind::String) return mismatch();
  if (code == CimTypeCode::DateTime) {
    if (!kest::isValidDateTime(literal.text))
      return failure("'" + literal.text + "' is not a valid datetime");
    return ValueResult{CTovaValue::dateTime(literal.text), std::string()};
  }
  if (code == CimTypeCode::Reference) {
    TOVSmrPtr<ITovaInstanceName> name = parseObjectPath(literal.text);
    if (!name) return failure("'" + literal.text + "' is not a valid object path");
    return success(name);
  }
  return success(TOVString(literal.text));
}

}  // namespace

ValueResult convertValue(const ValueSyntax& literal, const DataType& type, bool wrapScalar) {
  if (literal.kind == ValueSyntax::Kind::Null) {
    return ValueResult{CTovaValue::nullOf(type.hostType()), std::string()};
  }
  if (!type.isArray) {
    if (literal.kind == ValueSyntax::Kind::Array) {
      return failure("expected a " + elementTypeName(type) + " value, found an array");
    }
    return convertScalar(literal, type);
  }
  if (literal.kind != ValueSyntax::Kind::Array && !wrapScalar) {
    return failure("expected an array of " + elementTypeName(type) + ", found " +
                   kindName(literal.kind));
  }
  const std::vector<ValueSyntax> single = literal.kind == ValueSyntax::Kind::Array
                                              ? std::vector<ValueSyntax>()
                                              : std::vector<ValueSyntax>{literal};
  const std::vector<ValueSyntax>& items =
      literal.kind == ValueSyntax::Kind::Array ? literal.elements : single;
  if (type.arraySize != 0 && items.size() > type.arraySize) {
    return failure(std::to_string(items.size()) + " elements given for an array of at most " +
                   std::to_string(type.arraySize));
  }
  Elements elements(new TOVValSlist<TOVSmrPtr<ITovaValue>>());
  elements->reserve(items.size());
  for (const ValueSyntax& item : items) {
    if (item.kind == ValueSyntax::Kind::Null) return failure("array elements cannot be NULL");
    ValueResult element = convertScalar(item, type);
    if (!element.value) return element;
    elements->append(element.value);
  }
  return ValueResult{TOVSmrPtr<ITovaValue>(new CTovaValue(type.hostType(), elements)),
                     std::string()};
}

bool sameValue(const TOVSmrPtr<ITovaValue>& a, const TOVSmrPtr<ITovaValue>& b) {
  if (a.get() == b.get()) return true;
  const bool aNull = !a || a->isNullValue();
  const bool bNull = !b || b->isNullValue();
  if (aNull || bNull) return aNull == bNull;
  const TOVSmrPtr<ITovaType> aType = a->getType();
  const TOVSmrPtr<ITovaType> bType = b->getType();
  return CTovaType::codeOf(*aType) == CTovaType::codeOf(*bType) &&
         aType->isArray() == bType->isArray() && a->toString() == b->toString();
}

}  // namespace kest::repository
