#include "interop/FixedInstance.h"

#include <utility>

#include "host/Ascii.h"
#include "host/InstanceName.h"
#include "host/List.h"

namespace kest::interop {

namespace {

bool sameName(const TOVString& a, const TOVString& b) {
  return kest::ascii::equalsIgnoreCase(a.view(), b.view());
}

}  // namespace

FixedInstance::FixedInstance(kest::pf::InstanceManager& manager, const TOVString& className,
                             std::vector<TOVSmrPtr<ITovaProperty>> properties,
                             const std::vector<TOVString>& keyNames)
    : Instance(manager), _properties(std::move(properties)) {
  _className = className;
  TOVPropertyList keys(new TOVValSlist<TOVSmrPtr<ITovaProperty>>());
  for (const TOVString& keyName : keyNames) {
    if (TOVSmrPtr<ITovaProperty> key = getPropertyByName(keyName, true)) keys->append(key);
  }
  setInstanceName(TOVSmrPtr<ITovaInstanceName>(
      new CTovaInstanceName(className, keys, TOVSmrPtr<ITovaNameSpacePath>())));
}

unsigned long FixedInstance::getNumberOfProperties(bool /*all*/) const {
  return static_cast<unsigned long>(_properties.size());
}

TOVSmrPtr<ITovaProperty> FixedInstance::getPropertyAt(unsigned long index, bool /*all*/) const {
  if (index >= _properties.size()) return TOVSmrPtr<ITovaProperty>();
  return _properties[index];
}

TOVSmrPtr<ITovaProperty> FixedInstance::getPropertyByName(const TOVString& name,
                                                          bool /*all*/) const {
  for (const TOVSmrPtr<ITovaProperty>& property : _properties) {
    if (sameName(property->getName(), name)) return property;
  }
  return TOVSmrPtr<ITovaProperty>();
}

}  // namespace kest::interop
