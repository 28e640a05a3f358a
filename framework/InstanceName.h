#pragma once

#include "host/InstanceName.h"
#include "host/NameSpacePath.h"
#include "host/Property.h"
#include "host/SmartPointer.h"
#include "host/String.h"

namespace kest::pf {

// InstanceName: the framework's instance name: class name (case kept),
// optional namespace path and key properties, plus a lookup key used to
// find the instance among the framework's own names.
//
// The key starts as the class name followed by "." (case kept). A provider
// subclass completes it by calling _buildString() once all keys are set:
// that appends each key, sorted by name, as name="value", (every key,
// including the last, ends with ","; values are not escaped) and lower-cases
// the whole key:
//   cim_foo.creationclassname="cim_foo",name="a",
// Two InstanceNames compare equal when their keys are equal ignoring ASCII
// case, so names whose key was never completed compare by class name only.
//
// The text forms (toString, toKeyString, toFullPathString) and isClass() are
// the host's: toString() is the host's canonical text, not the key.
//
// Ownership: the key-property list is shared with the caller, not copied;
// later changes to it are seen by the name. The list must not be null for the
// key-property accessors and the text forms (a null list raises the host's
// null-pointer error there); _buildString() skips a null list.
// Threads: const calls may run concurrently; _buildString() and
// setNameSpacePath() need the caller's exclusion.
class InstanceName : public ITovaInstanceName {
 public:
  InstanceName(const TOVString& className, const TOVPropertyList& keyProperties,
               const TOVSmrPtr<ITovaNameSpacePath>& nameSpacePath);
  ~InstanceName() override;

  TOVString getClassname() const override;
  TOVSmrPtr<ITovaNameSpacePath> getNameSpacePath() const override;
  unsigned long getNumberOfKeyProperties() const override;
  // Null for index >= getNumberOfKeyProperties().
  TOVSmrPtr<ITovaProperty> getKeyPropertyAt(unsigned long index) const override;
  TOVPropertyList getKeyProperties() const override;
  void setNameSpacePath(const TOVSmrPtr<ITovaNameSpacePath>& nameSpacePath) override;

  // True when the keys are equal ignoring ASCII case.
  bool operator==(const InstanceName& other) const;
  // Always false: an InstanceName equals only another InstanceName, and only
  // when the static type of both sides says so.
  //
  // Both operators hide the host's. C++20 also tries operator== with its
  // operands reversed and derives != from it, so whenever one side is an
  // InstanceName by static type and the other an ITovaInstanceName, in
  // either order and with == or !=, this operator decides: unequal. Two
  // InstanceNames compare by key with == and != alike. Only with
  // ITovaInstanceName references on both sides does the host's
  // canonical-text equality apply.
  bool operator==(const ITovaInstanceName& other) const;

 protected:
  // Completes the key from the key properties (see above). Appends to the
  // current key, so call it once. Does nothing when the list is null. A null
  // property or a property without a value raises the host's null-pointer
  // error.
  void _buildString();

 private:
  TOVString _className;
  TOVSmrPtr<ITovaNameSpacePath> _nameSpacePath;
  TOVPropertyList _keyProperties;

 protected:
  TOVString _key;
};

}  // namespace kest::pf
