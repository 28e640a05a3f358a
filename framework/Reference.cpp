#include "framework/Reference.h"

#include <memory>

#include "framework/Exception.h"
#include "framework/MessageTable.h"

namespace kest::pf {

namespace {

const char* const kConstructorWhere = "kest::pf::Reference::Reference";

// The access error: where names the accessor; suffix is appended to the
// message as is (no separator).
[[noreturn]] void throwAccess(const char* where, const char* suffix = "") {
  throw Exception(where, MessageTable::E_PFPROVIDER_ERROR_ACCESS_VALUE + suffix, 17667);
}

TOVSmrPtr<ITovaInstanceName> copyOf(const TOVSmrPtr<ITovaInstanceName>& name) {
  if (!name) return name;
  return TOVSmrPtr<ITovaInstanceName>(new CTovaInstanceName(*name));
}

TOVSmrPtr<ITovaObject> copyOf(const TOVSmrPtr<ITovaObject>& object) {
  if (!object) return object;
  return TOVSmrPtr<ITovaObject>(new CTovaClientObject(*object, true));
}

using NameHolder = std::unique_ptr<TOVSmrPtr<ITovaInstanceName>>;
using ObjectHolder = std::unique_ptr<TOVSmrPtr<ITovaObject>>;

}  // namespace

// Each constructor builds the held smart pointer in a holder first and moves
// it into the union only once _type is set, so that nothing leaks when a
// later step throws (the destructor does not run then).

Reference::Reference(const TOVSmrPtr<ITovaInstanceName>& name) : _value{}, _type() {
  if (!name) return;
  NameHolder held = std::make_unique<TOVSmrPtr<ITovaInstanceName>>(name);
  _type = TOVSmrPtr<ITovaType>(new ReferenceType(name->getClassname(), true, false));
  _value._instanceNameValue = held.release();
}

Reference::Reference(const TOVSmrPtr<ITovaObject>& object) : _value{}, _type() {
  if (!object) return;
  ObjectHolder held = std::make_unique<TOVSmrPtr<ITovaObject>>(object);
  _type = TOVSmrPtr<ITovaType>(
      new ReferenceType(object->getInstanceName()->getClassname(), false, true));
  _value._objectValue = held.release();
}

Reference::Reference(const ITovaValue& value) : _value{}, _type() {
  const TOVSmrPtr<ITovaType> type = value.getType();
  if (!type) return;
  const bool isRef = type->isReference();
  const bool isObj = !isRef && !type->isAtomic() && !type->isArray();
  if (!isRef && !isObj) throwAccess(kConstructorWhere);
  const TOVString typeName = type->getName();

  if (isRef) {
    const TOVSmrPtr<ITovaInstanceName> name = value.getReference();
    if (name) {
      NameHolder held = std::make_unique<TOVSmrPtr<ITovaInstanceName>>(copyOf(name));
      _type = TOVSmrPtr<ITovaType>(new ReferenceType(typeName, true, false));
      _value._instanceNameValue = held.release();
      return;
    }
  }
  if (isObj) {
    const TOVSmrPtr<ITovaObject> object = value.getObject();
    if (object) {
      ObjectHolder held = std::make_unique<TOVSmrPtr<ITovaObject>>(copyOf(object));
      _type = TOVSmrPtr<ITovaType>(new ReferenceType(typeName, false, true));
      _value._objectValue = held.release();
    }
  }
}

Reference::Reference(const Reference& other) : ITovaValue(other), _value{}, _type() {
  if (!other._type) return;
  if (!other._type->isReference()) throwAccess(kConstructorWhere);
  const ReferenceType& otherType = other.referenceType();

  NameHolder name;
  ObjectHolder object;
  switch (other.heldKind()) {
    case ReferenceType::InstanceNameRef:
      name =
          std::make_unique<TOVSmrPtr<ITovaInstanceName>>(copyOf(*other._value._instanceNameValue));
      break;
    case ReferenceType::ObjectRef:
      object = std::make_unique<TOVSmrPtr<ITovaObject>>(copyOf(*other._value._objectValue));
      break;
    default:
      break;
  }

  _type = TOVSmrPtr<ITovaType>(new ReferenceType(otherType));
  if (name) {
    _value._instanceNameValue = name.release();
  } else if (object) {
    _value._objectValue = object.release();
  }
}

Reference::Reference(const TOVSmrPtr<ReferenceType>& type) : _value{}, _type() {
  NameHolder name;
  ObjectHolder object;
  if (type && type->isReference()) {
    if (type->isInstanceNameRef()) {
      name = std::make_unique<TOVSmrPtr<ITovaInstanceName>>();
    } else if (type->isObjectRef()) {
      object = std::make_unique<TOVSmrPtr<ITovaObject>>();
    }
  }

  _type = type;
  if (name) {
    _value._instanceNameValue = name.release();
  } else if (object) {
    _value._objectValue = object.release();
  }
}

Reference::~Reference() {
  switch (heldKind()) {
    case ReferenceType::InstanceNameRef:
      delete _value._instanceNameValue;
      break;
    case ReferenceType::ObjectRef:
      delete _value._objectValue;
      break;
    default:
      break;
  }
}

const ReferenceType& Reference::referenceType() const {
  return static_cast<const ReferenceType&>(*_type);
}

int Reference::heldKind() const {
  if (!_type || !_type->isReference()) return 0;
  const ReferenceType& type = referenceType();
  if (type.isInstanceNameRef()) return ReferenceType::InstanceNameRef;
  if (type.isObjectRef()) return ReferenceType::ObjectRef;
  return 0;
}

TOVSmrPtr<ITovaType> Reference::getType() const { return _type; }

TOVString Reference::getAsString() const {
  if (!_type) return TOVString("");
  if (!_type->isReference()) throwAccess(kConstructorWhere);
  switch (heldKind()) {
    case ReferenceType::InstanceNameRef:
      return (*_value._instanceNameValue)->getKeyPropertyAt(0)->getValue()->getAsString();
    case ReferenceType::ObjectRef:
      return (*_value._objectValue)
          ->getInstanceName()
          ->getKeyPropertyAt(0)
          ->getValue()
          ->getAsString();
    default:
      throwAccess(kConstructorWhere);
  }
}

TOVsint32 Reference::getAsInt() const {
  throwAccess("kest::pf::Reference::getAsInt()", "--non-sint32 value as sint32");
}

TOVuint64 Reference::getAsUInt64() const {
  throwAccess("kest::pf::Reference::getAsUInt64()", "--non-uint64 value as uint64");
}

TOVuint32 Reference::getAsUInt() const {
  throwAccess("kest::pf::Reference::getAsUInt()", "--non-uint32 value as uint32");
}

TOVreal64 Reference::getAsDouble() const {
  throwAccess("kest::pf::Reference::getAsDouble()", "--non-real64 value as real64");
}

bool Reference::getAsBool() const {
  throwAccess("kest::pf::Reference::getAsBool()", "--non-bool value as bool");
}

TOVSmrPtr<ITovaObject> Reference::getObject() const {
  if (!_type->isReference()) {
    throwAccess("kest::pf::Reference::getObject()", "--non-object value as object");
  }
  if (heldKind() == ReferenceType::ObjectRef) return *_value._objectValue;
  return TOVSmrPtr<ITovaObject>();
}

TOVSmrPtr<ITovaInstanceName> Reference::getReference() const {
  if (!_type->isReference()) {
    throwAccess("kest::pf::Reference::getReference()", "--non-reference value as reference");
  }
  switch (heldKind()) {
    case ReferenceType::InstanceNameRef:
      return *_value._instanceNameValue;
    case ReferenceType::ObjectRef:
      return (*_value._objectValue)->getInstanceName();
    default:
      return TOVSmrPtr<ITovaInstanceName>();
  }
}

TOVSmrPtr<TOVValSlist<TOVSmrPtr<ITovaValue>>> Reference::getArray() const {
  throwAccess("kest::pf::Reference::getArray()", "--non-array value as array");
}

TOVString Reference::toString() const {
  switch (heldKind()) {
    case ReferenceType::InstanceNameRef:
      return (*_value._instanceNameValue)->toString();
    case ReferenceType::ObjectRef:
      return (*_value._objectValue)->getInstanceName()->toString();
    default:
      return TOVString("");
  }
}

}  // namespace kest::pf
