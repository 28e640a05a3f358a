#pragma once

#include <optional>
#include <string_view>

#include "host/SmartPointer.h"
#include "host/String.h"

// ITovaType: the CIM type of a value or property.
//   isAtomic(): a scalar that is neither a reference nor an embedded object;
//   isReference(): a reference (REF) value; getName() is then the class the
//     reference points to;
//   isArray(): an array of any element type;
//   isObject(): an embedded object; getName() is then the object's class;
//   isClass(): a class definition (never, for values of this host);
//   isImported(): host-internal, always false.
// Otherwise getName() is the CIM type name ("uint32", "string", ...).
// Types are immutable and may be shared between threads.
class ITovaType {
 public:
  virtual ~ITovaType();
  virtual TOVString getName() const = 0;
  virtual bool isAtomic() const = 0;
  virtual bool isReference() const = 0;
  virtual bool isArray() const = 0;
  virtual bool isImported() const;
  virtual bool isClass() const = 0;
  virtual bool isObject() const = 0;
};

// The CIM intrinsic types, plus reference and embedded object.
enum class CimTypeCode {
  Boolean,
  UInt8,
  SInt8,
  UInt16,
  SInt16,
  UInt32,
  SInt32,
  UInt64,
  SInt64,
  Real32,
  Real64,
  Char16,
  String,
  DateTime,
  Reference,
  Object,
};

// CTovaType: the host's concrete type. The shared instances below cover every
// scalar type; reference(), object() and arrayOf() make the others.
class CTovaType : public ITovaType {
 public:
  // className is the referenced class for references and the embedded
  // object's class for objects, and is ignored otherwise.
  CTovaType(CimTypeCode code, bool isArray, const TOVString& className = TOVString());

  TOVString getName() const override;
  bool isAtomic() const override;
  bool isReference() const override;
  bool isArray() const override;
  bool isClass() const override;
  bool isObject() const override;

  CimTypeCode getCode() const { return _code; }
  // The same type without the array flag (itself for scalars).
  TOVSmrPtr<ITovaType> elementType() const;

  // The type code of any ITovaType: exact for a CTovaType; otherwise worked
  // out from the predicates and the CIM name (an unknown name counts as
  // string). For arrays, the element type's code.
  static CimTypeCode codeOf(const ITovaType& type);

  // Name of a type code as CIM writes it ("boolean", "uint8", ..., "datetime",
  // "reference", "object").
  static const char* codeName(CimTypeCode code);
  // The reverse of codeName(): the code whose name is exactly name
  // ("uint32", ..., "reference", "object"); nullopt for any other text.
  static std::optional<CimTypeCode> codeNamed(std::string_view name);
  // The same, with the name in any case ("UInt32"), as MOF writes types.
  static std::optional<CimTypeCode> codeNamedIgnoringCase(std::string_view name);

  static TOVSmrPtr<ITovaType> reference(const TOVString& className);
  static TOVSmrPtr<ITovaType> object(const TOVString& className);
  static TOVSmrPtr<ITovaType> arrayOf(CimTypeCode code, const TOVString& className = TOVString());
  // The shared scalar instance for code (Reference and Object give a type
  // with an empty class name).
  static TOVSmrPtr<ITovaType> scalar(CimTypeCode code);

  static const TOVSmrPtr<ITovaType> boolean;
  static const TOVSmrPtr<ITovaType> uint8;
  static const TOVSmrPtr<ITovaType> sint8;
  static const TOVSmrPtr<ITovaType> uint16;
  static const TOVSmrPtr<ITovaType> sint16;
  static const TOVSmrPtr<ITovaType> uint32;
  static const TOVSmrPtr<ITovaType> sint32;
  static const TOVSmrPtr<ITovaType> uint64;
  static const TOVSmrPtr<ITovaType> sint64;
  static const TOVSmrPtr<ITovaType> real32;
  static const TOVSmrPtr<ITovaType> real64;
  static const TOVSmrPtr<ITovaType> char16;
  static const TOVSmrPtr<ITovaType> string;
  static const TOVSmrPtr<ITovaType> datetime;

 private:
  CimTypeCode _code;
  bool _isArray;
  // What getName() returns: the CIM type name for intrinsic types, the class
  // name for references and embedded objects (kept so that reading it never
  // allocates).
  TOVString _name;
};
