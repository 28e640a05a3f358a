#pragma once

#include "framework/ReferenceType.h"
#include "host/CimType.h"
#include "host/InstanceName.h"
#include "host/List.h"
#include "host/Object.h"
#include "host/SmartPointer.h"
#include "host/String.h"
#include "host/Types.h"
#include "host/Value.h"

namespace kest::pf {

// Reference: a reference value the framework hands to the host. It holds
// either an instance name or a whole object, as its ReferenceType's kind
// says, or nothing (an empty reference: getType() is null).
//
// Reading it:
//   getType(): the ReferenceType, or null when empty.
//   toString(): "" when the reference holds no value (empty, or a type of
//     neither kind); else the held name's toString(), or the held object's
//     instance name's.
//   getAsString(): "" when empty; else the text of the value of the first key
//     property (getKeyPropertyAt(0)) of the held name, or of the held
//     object's instance name. A name without keys raises the host's
//     null-pointer error; a type of neither kind raises the access error.
//   getReference(): the held name (shared), or the held object's instance
//     name; null for a type of neither kind.
//   getObject(): the held object (shared); null for an instance-name
//     reference and for a type of neither kind.
//   getReference() and getObject() of an empty reference raise the host's
//     null-pointer error (there is no type to ask).
//   getAsInt, getAsUInt, getAsUInt64, getAsDouble, getAsBool, getArray:
//     always the access error, whatever the reference holds.
// The access error is an Exception with code 17667 whose message is the
// access-value message followed directly by the accessor's suffix; where is
// "kest::pf::Reference::<accessor>()":
//   getArray      --non-array value as array
//   getAsBool     --non-bool value as bool
//   getAsDouble   --non-real64 value as real64
//   getAsUInt64   --non-uint64 value as uint64
//   getAsUInt     --non-uint32 value as uint32
//   getAsInt      --non-sint32 value as sint32
//   getReference  --non-reference value as reference
//   getObject     --non-object value as object
// The constructors and getAsString() raise it with where
// "kest::pf::Reference::Reference" and the plain message.
//
// Ownership: the name or object given to the name and object constructors
// is shared with the caller; the constructors from an ITovaValue and from
// another Reference make a deep copy (CTovaInstanceName, CTovaClientObject
// with deep values) that shares nothing with the source.
// Threads: immutable once built; const calls may run concurrently.
class Reference : public ITovaValue {
 public:
  // An instance-name reference to name's class holding name; empty when name
  // is null.
  explicit Reference(const TOVSmrPtr<ITovaInstanceName>& name);
  // An object reference to the class of object's instance name holding
  // object; empty when object is null. A non-null object must have an
  // instance name (else the host's null-pointer error).
  explicit Reference(const TOVSmrPtr<ITovaObject>& object);
  // A copy of a reference or embedded-object value: a value of reference
  // type that holds a name gives an instance-name reference to a copy of the
  // name; an embedded-object value that holds an object gives an object
  // reference to a deep copy of the object. The type's name is kept. A value
  // without a type, or one that holds nothing, gives an empty reference. Any
  // other value (atomic or array) raises the access error (where
  // "kest::pf::Reference::Reference", plain message).
  explicit Reference(const ITovaValue& value);
  // A copy of other of the same kind, with its name or object deep-copied;
  // the copy's type is a plain ReferenceType with other's name and kind. An
  // empty other gives an empty copy.
  Reference(const Reference& other);
  Reference& operator=(const Reference&) = delete;
  ~Reference() override;

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

 protected:
  // A reference of the given type that holds no value, for provider
  // subclasses that must present a reference before its target is known, or
  // that bring their own ReferenceType. The type is shared, not copied; a
  // null type gives an empty reference.
  //   - An instance-name or object type: a null name or object is held.
  //     getReference() of an instance-name reference and getObject() of an
  //     object reference return null; every other read that follows the held
  //     pointer (toString, getAsString, getReference of an object reference)
  //     raises the host's null-pointer error. Copies hold the same.
  //   - A type of neither kind: nothing is held (see the reads above).
  //   - A type whose isReference() is false (a subclass may say so): nothing
  //     is held; toString() gives "", getReference(), getObject(),
  //     getAsString() and copying raise the access error.
  explicit Reference(const TOVSmrPtr<ReferenceType>& type);

 private:
  // The held value; _type's kind tells which member is live. Each points to
  // a smart pointer on the heap, owned by this Reference. For an empty
  // reference or a type of neither kind no member is live.
  union _TovaValue {
    TOVSmrPtr<ITovaObject>* _objectValue;
    TOVSmrPtr<ITovaInstanceName>* _instanceNameValue;
  };

  // _type as a ReferenceType; every constructor keeps _type null or a
  // ReferenceType. Only for a non-null _type.
  const ReferenceType& referenceType() const;
  // Which union member is live: ReferenceType::InstanceNameRef,
  // ReferenceType::ObjectRef, or 0 when none is (empty reference, a type
  // that is not a reference, a type of neither kind).
  int heldKind() const;

  _TovaValue _value;
  TOVSmrPtr<ITovaType> _type;
};

}  // namespace kest::pf
