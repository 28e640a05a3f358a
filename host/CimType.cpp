#include "host/CimType.h"

namespace {

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
  switch (code) {
    case CimTypeCode::Boolean:
      return "boolean";
    case CimTypeCode::UInt8:
      return "uint8";
    case CimTypeCode::SInt8:
      return "sint8";
    case CimTypeCode::UInt16:
      return "uint16";
    case CimTypeCode::SInt16:
      return "sint16";
    case CimTypeCode::UInt32:
      return "uint32";
    case CimTypeCode::SInt32:
      return "sint32";
    case CimTypeCode::UInt64:
      return "uint64";
    case CimTypeCode::SInt64:
      return "sint64";
    case CimTypeCode::Real32:
      return "real32";
    case CimTypeCode::Real64:
      return "real64";
    case CimTypeCode::Char16:
      return "char16";
    case CimTypeCode::String:
      return "string";
    case CimTypeCode::DateTime:
      return "datetime";
    case CimTypeCode::Reference:
      return "reference";
    case CimTypeCode::Object:
      return "object";
  }
  return "";
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
  const TOVString name = type.getName();
  for (int i = 0; i <= static_cast<int>(CimTypeCode::DateTime); ++i) {
    const auto code = static_cast<CimTypeCode>(i);
    if (name == codeName(code)) return code;
  }
  return CimTypeCode::String;
}
