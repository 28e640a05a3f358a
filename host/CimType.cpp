#include "host/CimType.h"

#include <array>

#include "host/Ascii.h"

namespace {

struct NamedCode {
  CimTypeCode code;
  const char* name;
};

// The one table of CIM type names, in the order of CimTypeCode.
constexpr std::array<NamedCode, 16> kNamedCodes = {{
    {CimTypeCode::Boolean, "boolean"},
    {CimTypeCode::UInt8, "uint8"},
    {CimTypeCode::SInt8, "sint8"},
    {CimTypeCode::UInt16, "uint16"},
    {CimTypeCode::SInt16, "sint16"},
    {CimTypeCode::UInt32, "uint32"},
    {CimTypeCode::SInt32, "sint32"},
    {CimTypeCode::UInt64, "uint64"},
    {CimTypeCode::SInt64, "sint64"},
    {CimTypeCode::Real32, "real32"},
    {CimTypeCode::Real64, "real64"},
    {CimTypeCode::Char16, "char16"},
    {CimTypeCode::String, "string"},
    {CimTypeCode::DateTime, "datetime"},
    {CimTypeCode::Reference, "reference"},
    {CimTypeCode::Object, "object"},
}};

bool isIntrinsic(CimTypeCode code) {
  return code != CimTypeCode::Reference && code != CimTypeCode::Object;
}

constexpr int kCodeCount = static_cast<int>(CimTypeCode::Object) + 1;

// The shared instances live in function-local statics, so that values built
// during the static initialisation of other translation units find them
// ready.
const TOVSmrPtr<ITovaType>& sharedType(CimTypeCode code, bool isArray) {
  struct Table {
    TOVSmrPtr<ITovaType> scalars[kCodeCount];
    TOVSmrPtr<ITovaType> arrays[kCodeCount];
    Table() {
      for (int i = 0; i < kCodeCount; ++i) {
        const auto code = static_cast<CimTypeCode>(i);
        scalars[i] = TOVSmrPtr<ITovaType>(new CTovaType(code, false));
        arrays[i] = TOVSmrPtr<ITovaType>(new CTovaType(code, true));
      }
    }
  };
  static const Table table;
  const int index = static_cast<int>(code);
  return isArray ? table.arrays[index] : table.scalars[index];
}

}  // namespace

CTovaType::CTovaType(CimTypeCode code, bool isArray, const TOVString& className)
    : _code(code),
      _isArray(isArray),
      _name(isIntrinsic(code) ? TOVString(codeName(code)) : className) {}

// An array's name is its element type's name; isArray() tells them apart.
TOVString CTovaType::getName() const { return _name; }

bool CTovaType::isAtomic() const { return !_isArray && isIntrinsic(_code); }
bool CTovaType::isReference() const { return !_isArray && _code == CimTypeCode::Reference; }
bool CTovaType::isArray() const { return _isArray; }
bool CTovaType::isClass() const { return false; }
bool CTovaType::isObject() const { return !_isArray && _code == CimTypeCode::Object; }

TOVSmrPtr<ITovaType> CTovaType::elementType() const {
  if (isIntrinsic(_code)) return sharedType(_code, false);
  return TOVSmrPtr<ITovaType>(new CTovaType(_code, false, _name));
}

const char* CTovaType::codeName(CimTypeCode code) {
  for (const NamedCode& named : kNamedCodes) {
    if (named.code == code) return named.name;
  }
  return "";
}

std::optional<CimTypeCode> CTovaType::codeNamed(std::string_view name) {
  for (const NamedCode& named : kNamedCodes) {
    if (name == named.name) return named.code;
  }
  return std::nullopt;
}

std::optional<CimTypeCode> CTovaType::codeNamedIgnoringCase(std::string_view name) {
  for (const NamedCode& named : kNamedCodes) {
    if (kest::ascii::equalsIgnoreCase(name, named.name)) return named.code;
  }
  return std::nullopt;
}

TOVSmrPtr<ITovaType> CTovaType::reference(const TOVString& className) {
  return TOVSmrPtr<ITovaType>(new CTovaType(CimTypeCode::Reference, false, className));
}

TOVSmrPtr<ITovaType> CTovaType::object(const TOVString& className) {
  return TOVSmrPtr<ITovaType>(new CTovaType(CimTypeCode::Object, false, className));
}

TOVSmrPtr<ITovaType> CTovaType::arrayOf(CimTypeCode code, const TOVString& className) {
  if (isIntrinsic(code)) return sharedType(code, true);
  return TOVSmrPtr<ITovaType>(new CTovaType(code, true, className));
}

TOVSmrPtr<ITovaType> CTovaType::scalar(CimTypeCode code) { return sharedType(code, false); }

const TOVSmrPtr<ITovaType> CTovaType::boolean = CTovaType::scalar(CimTypeCode::Boolean);
const TOVSmrPtr<ITovaType> CTovaType::uint8 = CTovaType::scalar(CimTypeCode::UInt8);
const TOVSmrPtr<ITovaType> CTovaType::sint8 = CTovaType::scalar(CimTypeCode::SInt8);
const TOVSmrPtr<ITovaType> CTovaType::uint16 = CTovaType::scalar(CimTypeCode::UInt16);
const TOVSmrPtr<ITovaType> CTovaType::sint16 = CTovaType::scalar(CimTypeCode::SInt16);
const TOVSmrPtr<ITovaType> CTovaType::uint32 = CTovaType::scalar(CimTypeCode::UInt32);
const TOVSmrPtr<ITovaType> CTovaType::sint32 = CTovaType::scalar(CimTypeCode::SInt32);
const TOVSmrPtr<ITovaType> CTovaType::uint64 = CTovaType::scalar(CimTypeCode::UInt64);
const TOVSmrPtr<ITovaType> CTovaType::sint64 = CTovaType::scalar(CimTypeCode::SInt64);
const TOVSmrPtr<ITovaType> CTovaType::real32 = CTovaType::scalar(CimTypeCode::Real32);
const TOVSmrPtr<ITovaType> CTovaType::real64 = CTovaType::scalar(CimTypeCode::Real64);
const TOVSmrPtr<ITovaType> CTovaType::char16 = CTovaType::scalar(CimTypeCode::Char16);
const TOVSmrPtr<ITovaType> CTovaType::string = CTovaType::scalar(CimTypeCode::String);
const TOVSmrPtr<ITovaType> CTovaType::datetime = CTovaType::scalar(CimTypeCode::DateTime);

CimTypeCode CTovaType::codeOf(const ITovaType& type) {
  if (const auto* own = dynamic_cast<const CTovaType*>(&type)) return own->getCode();
  if (type.isReference()) return CimTypeCode::Reference;
  if (type.isObject()) return CimTypeCode::Object;
  const std::optional<CimTypeCode> named = codeNamed(type.getName().view());
  if (named && isIntrinsic(*named)) return *named;
  return CimTypeCode::String;
}
