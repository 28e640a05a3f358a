#include "framework/InstanceName.h"

#include <cstddef>

#include "host/List.h"
#include "host/Value.h"

namespace kest::pf {

InstanceName::InstanceName(const TOVString& className, const TOVPropertyList& keyProperties,
                           const TOVSmrPtr<ITovaNameSpacePath>& nameSpacePath)
    : _className(className),
      _nameSpacePath(nameSpacePath),
      _keyProperties(keyProperties),
      _key(className + ".") {}

InstanceName::~InstanceName() = default;

TOVString InstanceName::getClassname() const { return _className; }

TOVSmrPtr<ITovaNameSpacePath> InstanceName::getNameSpacePath() const { return _nameSpacePath; }

unsigned long InstanceName::getNumberOfKeyProperties() const { return _keyProperties->entries(); }

TOVSmrPtr<ITovaProperty> InstanceName::getKeyPropertyAt(unsigned long index) const {
  if (index >= _keyProperties->entries()) return TOVSmrPtr<ITovaProperty>();
  return _keyProperties->at(index);
}

TOVPropertyList InstanceName::getKeyProperties() const { return _keyProperties; }

void InstanceName::setNameSpacePath(const TOVSmrPtr<ITovaNameSpacePath>& nameSpacePath) {
  _nameSpacePath = nameSpacePath;
}

bool InstanceName::operator==(const InstanceName& other) const {
  return _key.compareTo(other._key, 0) == 0;
}

bool InstanceName::operator==(const ITovaInstanceName& /*other*/) const { return false; }

void InstanceName::_buildString() {
  if (!_keyProperties) return;

  // Insertion by name: each property goes before the first sorted one whose
  // name is greater, so properties with equal names keep their given order.
  TOVValSlist<TOVSmrPtr<ITovaProperty>> sorted;
  sorted.reserve(_keyProperties->entries());
  for (const TOVSmrPtr<ITovaProperty>& property : *_keyProperties) {
    const TOVString name = property->getName();
    std::size_t position = 0;
    while (position < sorted.entries() && sorted.at(position)->getName().compareTo(name, 0) <= 0) {
      ++position;
    }
    sorted.insertAt(position, property);
  }

  for (const TOVSmrPtr<ITovaProperty>& property : sorted) {
    _key += property->getName();
    _key += "=\"";
    _key += property->getValue()->toString();
    _key += "\",";
  }
  _key.toLower();
}

}  // namespace kest::pf
