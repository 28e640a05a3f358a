#pragma once

#include <variant>

#include "host/CimType.h"
#include "host/List.h"
#include "host/SmartPointer.h"
#include "host/String.h"
#include "host/Types.h"

class ITovaInstanceName;
class ITovaObject;

// ITovaValue: a CIM value of any type, read through typed accessors.
//
// Conversions throw TovaBaseException (where "CTovaValue::getAsX()", message
// naming the wanted and the actual type, code 0) when the value does not hold
// the wanted type; see CTovaValue for what each accepts.
// getObject(): the embedded object (null for a reference value).
// getReference(): the referenced name; for an embedded object, the object's
//   instance name.
// getArray(): the elements of an array value.
// toString(): the value's text (strings without quotes, numbers in canonical
//   decimal, booleans true/false, references and objects by the name's
//   toString(), CIM NULL as the empty text).
// Values are immutable once built and may be shared between threads.
class ITovaValue {
 public:
  virtual ~ITovaValue();
  virtual TOVSmrPtr<ITovaType> getType() const = 0;
  virtual TOVString getAsString() const = 0;
  virtual TOVsint32 getAsInt() const = 0;
  virtual TOVuint64 getAsUInt64() const = 0;
  virtual TOVuint32 getAsUInt() const = 0;
  virtual TOVreal64 getAsDouble() const = 0;
  virtual bool getAsBool() const = 0;
  virtual TOVSmrPtr<ITovaObject> getObject() const = 0;
  virtual TOVSmrPtr<ITovaInstanceName> getReference() const = 0;
  virtual TOVSmrPtr<TOVValSlist<TOVSmrPtr<ITovaValue>>> getArray() const = 0;
  virtual TOVString toString() const = 0;
  // True for a CIM NULL (a typed value that holds nothing).
  virtual bool isNullValue() const;
};

// CTovaValue: the host's concrete value.
//
// Conversion rules:
//   getAsBool: boolean; a string "true"/"false" in any case.
//   getAsInt: any integer in sint32 range; a string holding a complete
//     decimal integer in range.
//   getAsUInt: any integer in 0..4294967295; strings as above.
//   getAsUInt64: any integer >= 0; strings as above.
//   getAsDouble: reals and integers; decimal strings.
//   getAsString: string, char16 and datetime text; integers, reals and
//     booleans in canonical text; a reference gives the name's toString();
//     CIM NULL gives the no-buffer TOVString; objects and arrays throw.
//   getObject: object -> the object; reference -> null; others throw.
//   getReference: reference -> the name (possibly null); object -> the
//     object's instance name; others throw.
//   getArray: arrays only.
// Everything else throws (including every getAs... of a CIM NULL except
// getAsString). getObject, getReference and getArray of a CIM NULL of the
// matching kind return null.
// toString() of an array is its elements' toString() texts, joined by ","
// in braces: "{1,2,3}".
class CTovaValue : public ITovaValue {
 public:
  explicit CTovaValue(bool value);
  explicit CTovaValue(TOVuint8 value);
  explicit CTovaValue(TOVsint8 value);
  explicit CTovaValue(TOVuint16 value);
  explicit CTovaValue(TOVsint16 value);
  explicit CTovaValue(TOVuint32 value);
  explicit CTovaValue(TOVsint32 value);
  explicit CTovaValue(unsigned long value);       // uint64
  explicit CTovaValue(long value);                // sint64
  explicit CTovaValue(unsigned long long value);  // uint64
  explicit CTovaValue(long long value);           // sint64
  explicit CTovaValue(TOVreal32 value);
  explicit CTovaValue(TOVreal64 value);
  explicit CTovaValue(const TOVString& value);  // string
  explicit CTovaValue(const char* value);       // string
  // A reference to name's class holding name (shared, not copied). A null
  // name gives a CIM NULL reference with an empty class name.
  explicit CTovaValue(const TOVSmrPtr<ITovaInstanceName>& name);
  // An embedded object of object's class holding object (shared). A null
  // object gives a CIM NULL object with an empty class name.
  explicit CTovaValue(const TOVSmrPtr<ITovaObject>& object);
  // An array of the given array type; elements must be of its element type.
  // Null elements give a CIM NULL array. Throws TovaBaseException when
  // arrayType is null or not an array type.
  CTovaValue(const TOVSmrPtr<ITovaType>& arrayType,
             const TOVSmrPtr<TOVValSlist<TOVSmrPtr<ITovaValue>>>& elements);

  static TOVSmrPtr<ITovaValue> char16(TOVchar16 value);
  // A datetime in CIM text form (25 characters, for example
  // "20261121123000.000000+000"); the text is not validated.
  static TOVSmrPtr<ITovaValue> dateTime(const TOVString& text);
  // A CIM NULL of the given type.
  static TOVSmrPtr<ITovaValue> nullOf(const TOVSmrPtr<ITovaType>& type);

  // A copy of source that shares nothing with it: embedded objects are
  // copied with CTovaClientObject (deep), referenced names with
  // CTovaInstanceName's copy constructor, arrays element by element. Source
  // may be any ITovaValue implementation; types, being immutable, are shared.
  static TOVSmrPtr<ITovaValue> deepCopy(const ITovaValue& source);

  ~CTovaValue() override;

  TOVSmrPtr<ITovaType> getType() const override;
  TOVString getAsString() const override;
  TOVsint32 getAsInt() const override;
  TOVuint64 getAsUInt64() const override;
  TOVuint32 getAsUInt() const override;
  TOVreal64 getAsDouble() const override;
  bool getAsBool() const override;
  TOVSmrPtr<ITovaObject> getObject() const override;
  TOVSmrPtr<ITovaInstanceName> getReference() const override;
  TOVSmrPtr<TOVValSlist<TOVSmrPtr<ITovaValue>>> getArray() const override;
  TOVString toString() const override;
  bool isNullValue() const override;

 private:
  using Elements = TOVSmrPtr<TOVValSlist<TOVSmrPtr<ITovaValue>>>;
  // What the value holds; std::monostate is the CIM NULL. Unsigned integers
  // are held widened to 64 bits, signed ones likewise; the type keeps the
  // width. String and datetime text are both TOVString.
  using Payload =
      std::variant<std::monostate, bool, TOVuint64, TOVsint64, TOVreal32, TOVreal64, TOVchar16,
                   TOVString, TOVSmrPtr<ITovaInstanceName>, TOVSmrPtr<ITovaObject>, Elements>;

  CTovaValue(const TOVSmrPtr<ITovaType>& type, CimTypeCode code, bool isArray, Payload payload);

  [[noreturn]] void throwConversion(const char* where, const char* wanted,
                                    const char* detail = nullptr) const;

  TOVSmrPtr<ITovaType> _type;
  CimTypeCode _code;
  bool _isArray;
  Payload _payload;
};
