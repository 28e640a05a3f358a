#pragma once

// A framework Instance for tests: class name, instance name and a property
// list set from the test, read back through the ITovaObject accessors. It also
// counts the cache's calls of destroy() and prune() (keeping their arguments)
// and lets a test give it a method implementation.

#include <functional>
#include <utility>
#include <vector>

#include "framework/Instance.h"
#include "framework/InstanceManager.h"
#include "host/InstanceName.h"
#include "host/List.h"
#include "host/Property.h"
#include "host/SmartPointer.h"
#include "host/String.h"
#include "host/Value.h"

namespace kest::testing {

class TestInstance : public kest::pf::Instance {
 public:
  TestInstance(kest::pf::InstanceManager& manager, const TOVString& className,
               const TOVSmrPtr<ITovaInstanceName>& name = {})
      : Instance(manager) {
    _className = className;
    setInstanceName(name);
  }

  void setClassName(const TOVString& className) { _className = className; }

  // Replaces the property with the same name (ASCII case-insensitive) in its
  // place, or appends it.
  void setProperty(const TOVSmrPtr<ITovaProperty>& property) {
    for (TOVSmrPtr<ITovaProperty>& held : _properties) {
      if (held->getName().compareTo(property->getName(), 0) == 0) {
        held = property;
        return;
      }
    }
    _properties.append(property);
  }
  void setProperty(const TOVString& name, const TOVSmrPtr<ITovaValue>& value) {
    setProperty(TOVSmrPtr<ITovaProperty>(new CTovaProperty(name, value, false)));
  }

  unsigned long getNumberOfProperties(bool /*all*/) const override {
    return static_cast<unsigned long>(_properties.entries());
  }
  TOVSmrPtr<ITovaProperty> getPropertyAt(unsigned long index, bool /*all*/) const override {
    if (index >= _properties.entries()) return TOVSmrPtr<ITovaProperty>();
    return _properties.at(index);
  }
  TOVSmrPtr<ITovaProperty> getPropertyByName(const TOVString& name, bool /*all*/) const override {
    for (const TOVSmrPtr<ITovaProperty>& held : _properties) {
      if (held->getName().compareTo(name, 0) == 0) return held;
    }
    return TOVSmrPtr<ITovaProperty>();
  }

  // What executeMethod runs; without one, the base answer (null).
  using MethodBehaviour = std::function<TOVSmrPtr<ITovaValue>(
      const TOVString& method, ParameterList in, ParameterList& out,
      TOVSmrPtr<ITovaTransaction>& transaction)>;
  void setMethodBehaviour(MethodBehaviour behaviour) { _methodBehaviour = std::move(behaviour); }

  TOVSmrPtr<ITovaValue> executeMethod(const TOVString& method, ParameterList in, ParameterList& out,
                                      TOVSmrPtr<ITovaTransaction>& transaction) override {
    ++_methodCalls;
    if (!_methodBehaviour) return Instance::executeMethod(method, in, out, transaction);
    return _methodBehaviour(method, in, out, transaction);
  }
  using Instance::executeMethod;

  void destroy() override { ++_destroyCalls; }
  void destroy(const TOVString& reason) override { _destroyReasons.push_back(reason); }
  void prune(long timeStamp) override { _pruneStamps.push_back(timeStamp); }

  int methodCalls() const { return _methodCalls; }
  int destroyCalls() const { return _destroyCalls; }
  // The reason of each destroy(reason) call, in call order.
  const std::vector<TOVString>& destroyReasons() const { return _destroyReasons; }
  // The stamp of each prune() call, in call order.
  const std::vector<long>& pruneStamps() const { return _pruneStamps; }
  // The observers registered on this object (one entry per subscriber).
  const TOVValSlist<TOVSmrPtr<CNotificationSubscription>>& observers() const {
    return _notificationSubscriptions;
  }

 private:
  TOVValSlist<TOVSmrPtr<ITovaProperty>> _properties;
  MethodBehaviour _methodBehaviour;
  int _methodCalls = 0;
  int _destroyCalls = 0;
  std::vector<TOVString> _destroyReasons;
  std::vector<long> _pruneStamps;
};

// A reference value holding name.
inline TOVSmrPtr<ITovaValue> refTo(const TOVSmrPtr<ITovaInstanceName>& name) {
  return TOVSmrPtr<ITovaValue>(new CTovaValue(name));
}

}  // namespace kest::testing
