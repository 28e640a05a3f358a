#pragma once

#include <vector>

#include "framework/Instance.h"
#include "framework/InstanceManager.h"
#include "host/Property.h"
#include "host/SmartPointer.h"
#include "host/String.h"

namespace kest::interop {

// FixedInstance: a cached object whose class, properties and name are set
// once, at construction, and never change: the name is made of the
// properties named as keys, in the order given.
//
// Threads: after construction nothing changes, so any number of threads may
// read it at once.
class FixedInstance : public kest::pf::Instance {
 public:
  // Every key name must be among properties (ignoring case); a missing one
  // is left out of the name.
  FixedInstance(kest::pf::InstanceManager& manager, const TOVString& className,
                std::vector<TOVSmrPtr<ITovaProperty>> properties,
                const std::vector<TOVString>& keyNames);

  unsigned long getNumberOfProperties(bool all) const override;
  TOVSmrPtr<ITovaProperty> getPropertyAt(unsigned long index, bool all) const override;
  TOVSmrPtr<ITovaProperty> getPropertyByName(const TOVString& name, bool all) const override;

 private:
  const std::vector<TOVSmrPtr<ITovaProperty>> _properties;
};

}  // namespace kest::interop
