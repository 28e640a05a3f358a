#pragma once

#include <memory>

#include "host/Object.h"
#include "host/SmartPointer.h"
#include "server/repository/Diagnostic.h"

namespace kest::repository {

// An instance declared in MOF, as compiled: an object of the host's object
// model holding every property of its class (the given value, else the
// class's default, else NULL; each with the property's declared type), in
// the class's property order. Its instance name has the class name as the
// class spells it, the key properties in class order and a namespace path
// naming the namespace it was compiled into (no host).
//
// Immutable once compiled and shared by any number of reader threads
// (InstancePointer); nothing may change the object or its name.
struct CompiledInstance {
  TOVSmrPtr<ITovaObject> object;
  SourceLocation location;

  TOVSmrPtr<ITovaInstanceName> name() const { return object->getInstanceName(); }
  const TOVString& className() const { return object->getClassName(); }
};

using InstancePointer = std::shared_ptr<const CompiledInstance>;

}  // namespace kest::repository
