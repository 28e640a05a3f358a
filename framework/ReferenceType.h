#pragma once

#include "host/CimType.h"
#include "host/String.h"
#include "host/Types.h"

namespace kest::pf {

// ReferenceType: the type of a framework Reference. getName() is the class
// the reference points to. Its kind tells what the reference holds:
//   InstanceNameRef: an instance name;
//   ObjectRef: a whole object;
//   neither (0): nothing is known about the target.
// The kinds are exclusive values, not bits. Whatever the kind, the type is a
// reference type: isReference() is true and isAtomic(), isArray(), isClass()
// and isObject() are false (an object reference is still a reference, not an
// embedded object).
//
// Ownership: the name is held in a private NUL-terminated copy, freed by the
// destructor; copies never share it.
// Threads: immutable (there is no assignment), so a type may be shared, and
// read on any thread; a Reference relies on its type's kind never changing.
class ReferenceType : public ITovaType {
 public:
  static constexpr int InstanceNameRef = 1;
  static constexpr int ObjectRef = 2;

  // A reference to class name. The kind is InstanceNameRef when
  // instanceNameRef is set, ObjectRef when objectRef is set (objectRef wins
  // when both are), and neither otherwise.
  ReferenceType(const TOVString& name, bool instanceNameRef, bool objectRef);
  // An instance-name reference with type's name. Throws Exception (where
  // "kest::pf::ReferenceType::ReferenceType", the access-value message, code
  // 17667) when type is not a reference type.
  explicit ReferenceType(const ITovaType& type);
  ReferenceType(const ReferenceType& other);
  ReferenceType& operator=(const ReferenceType&) = delete;
  ~ReferenceType() override;

  TOVString getName() const override;
  bool isAtomic() const override;
  bool isReference() const override;
  bool isArray() const override;
  bool isClass() const override;
  bool isObject() const override;

  bool isInstanceNameRef() const;
  bool isObjectRef() const;

 private:
  char* _name;
  TOVuint32 _attributes;
};

}  // namespace kest::pf
