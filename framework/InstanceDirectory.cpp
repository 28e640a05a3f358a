#include "framework/InstanceDirectory.h"

#include <cstddef>

#include "framework/Instance.h"
#include "host/CimType.h"
#include "host/Property.h"
#include "host/Value.h"

namespace kest::pf {

namespace {

constexpr std::size_t kBuckets = 150;

// The name referenced by key property index of name; null when the key is
// missing or does not hold a reference.
TOVSmrPtr<ITovaInstanceName> referencedByKey(const ITovaInstanceName& name, unsigned long index) {
  const TOVSmrPtr<ITovaProperty> key = name.getKeyPropertyAt(index);
  if (!key) return TOVSmrPtr<ITovaInstanceName>();
  const TOVSmrPtr<ITovaValue> value = key->getValue();
  if (!value) return TOVSmrPtr<ITovaInstanceName>();
  const TOVSmrPtr<ITovaType> type = value->getType();
  if (!type || !type->isReference()) return TOVSmrPtr<ITovaInstanceName>();
  return value->getReference();
}

// Whether one of association's reference properties refers to target (by
// the host's name equality).
bool refersTo(const Instance& association, const ITovaInstanceName& target) {
  const unsigned long count = association.getNumberOfProperties(true);
  for (unsigned long i = 0; i < count; ++i) {
    const TOVSmrPtr<ITovaProperty> property = association.getPropertyAt(i, true);
    if (!property) continue;
    const TOVSmrPtr<ITovaType> type = property->getType();
    if (!type || !type->isReference()) continue;
    const TOVSmrPtr<ITovaValue> value = property->getValue();
    if (!value) continue;
    const TOVSmrPtr<ITovaInstanceName> reference = value->getReference();
    if (!reference) continue;
    if (static_cast<const ITovaInstanceName&>(*reference) == target) return true;
  }
  return false;
}

}  // namespace

InstanceDirectory::InstanceDirectory(bool isAssociation)
    : _hashDict(hashKeyTOVString, kBuckets),
      _objectList(nullptr),
      _associationList(nullptr),
      _containsAllInstances(false),
      _isAssociation(isAssociation) {}

InstanceDirectory::~InstanceDirectory() {
  delete _objectList;
  delete _associationList;
}

void InstanceDirectory::insert(const TOVSmrPtr<Instance>& instance) {
  if (!_isAssociation) {
    _hashDict.insert(instance->getInstanceName()->toString(), instance);
    return;
  }
  if (_objectList == nullptr) _objectList = new TOVValSlist<TOVSmrPtr<Instance>>();
  _objectList->append(instance);
}

bool InstanceDirectory::remove(const TOVSmrPtr<Instance>& instance) {
  if (!_isAssociation) return _hashDict.remove(instance->getInstanceName()->toString());
  if (_objectList == nullptr) return false;
  return _objectList->removeObject(instance);
}

TOVSmrPtr<Instance> InstanceDirectory::lookup(const TOVString& key) const {
  return _hashDict.lookup(key);
}

TOVSmrPtr<Instance> InstanceDirectory::lookup(const TOVSmrPtr<ITovaInstanceName>& instancename,
                                              Instance* pfInstancePtr) const {
  if (!_isAssociation) return _hashDict.lookup(instancename->toString());
  if (_objectList == nullptr) return TOVSmrPtr<Instance>();

  if (pfInstancePtr != nullptr) {
    for (const TOVSmrPtr<Instance>& entry : *_objectList) {
      if (entry.get() == pfInstancePtr) return entry;
    }
    return TOVSmrPtr<Instance>();
  }

  // An association is found by the two objects it joins: the names referenced
  // by the first two keys of instancename.
  const TOVSmrPtr<ITovaInstanceName> name0 = referencedByKey(*instancename, 0);
  if (!name0) return TOVSmrPtr<Instance>();
  const TOVSmrPtr<ITovaInstanceName> name1 = referencedByKey(*instancename, 1);
  if (!name1) return TOVSmrPtr<Instance>();

  for (const TOVSmrPtr<Instance>& entry : *_objectList) {
    if (refersTo(*entry, *name0) && refersTo(*entry, *name1)) return entry;
  }
  return TOVSmrPtr<Instance>();
}

InstanceDirectory::InstanceList InstanceDirectory::getAllInstances() const {
  InstanceList result(new TOVValSlist<TOVSmrPtr<Instance>>());
  if (!_isAssociation) {
    result->reserve(_hashDict.entries());
    for (const auto& entry : _hashDict) result->append(entry.value());
  } else if (_objectList != nullptr) {
    *result = *_objectList;
  }
  return result;
}

void InstanceDirectory::addAssociation(const TOVSmrPtr<InstanceDirectory>& associationDirectory) {
  if (_associationList == nullptr) {
    _associationList = new TOVValSlist<TOVSmrPtr<InstanceDirectory>>();
  }
  _associationList->append(associationDirectory);
}

}  // namespace kest::pf
