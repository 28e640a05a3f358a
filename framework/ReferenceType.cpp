#include "framework/ReferenceType.h"

#include <cstring>

#include "framework/Exception.h"
#include "framework/MessageTable.h"

namespace kest::pf {

namespace {

// A NUL-terminated copy of text, to be freed with delete[].
char* copyName(const char* text, std::size_t length) {
  char* copy = new char[length + 1];
  std::memcpy(copy, text, length);
  copy[length] = '\0';
  return copy;
}

char* copyName(const TOVString& text) { return copyName(text.c_str(), text.length()); }

}  // namespace

ReferenceType::ReferenceType(const TOVString& name, bool instanceNameRef, bool objectRef)
    : _name(copyName(name)), _attributes(0) {
  if (instanceNameRef) _attributes = InstanceNameRef;
  if (objectRef) _attributes = ObjectRef;
}

ReferenceType::ReferenceType(const ITovaType& type)
    : _name(copyName(type.getName())), _attributes(0) {
  if (!type.isReference()) {
    // The destructor does not run for a constructor that throws.
    delete[] _name;
    _name = nullptr;
    throw Exception("kest::pf::ReferenceType::ReferenceType",
                    MessageTable::E_PFPROVIDER_ERROR_ACCESS_VALUE, 17667);
  }
  _attributes = InstanceNameRef;
}

ReferenceType::ReferenceType(const ReferenceType& other)
    : ITovaType(other),
      _name(copyName(other._name, std::strlen(other._name))),
      _attributes(other._attributes) {}

ReferenceType::~ReferenceType() { delete[] _name; }

TOVString ReferenceType::getName() const { return TOVString(_name); }

bool ReferenceType::isAtomic() const { return false; }

bool ReferenceType::isReference() const { return true; }

bool ReferenceType::isArray() const { return false; }

bool ReferenceType::isClass() const { return false; }

bool ReferenceType::isObject() const { return false; }

bool ReferenceType::isInstanceNameRef() const { return _attributes == InstanceNameRef; }

bool ReferenceType::isObjectRef() const { return _attributes == ObjectRef; }

}  // namespace kest::pf
