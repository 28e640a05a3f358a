#include "host/Object.h"

#include "host/ActualParameter.h"
#include "host/Exception.h"

// ---------------------------------------------------------------------------
// ITovaObject defaults

TOVSmrPtr<TOVValSlist<TOVString>> ITovaObject::getBaseClasses() const {
  return TOVSmrPtr<TOVValSlist<TOVString>>(new TOVValSlist<TOVString>());
}

TOVSmrPtr<ITovaValue> ITovaObject::executeMethod(const TOVString&, const ParameterList&,
                                                 ParameterList&) {
  throw TovaBaseException("", "ITovaObject::executeMethod", "",
                          "method calls are not supported by this object", 7);
}

bool ITovaObject::registerObserver(TOVSmrPtr<ITovaSubscriber>, ITovaIndication::IndicationType,
                                   TOVSmrPtr<ITovaSubscriptionFilter>) {
  return false;
}

bool ITovaObject::deregisterObserver(TOVSmrPtr<ITovaSubscriber>, ITovaIndication::IndicationType,
                                     TOVSmrPtr<ITovaSubscriptionFilter>) {
  return false;
}

TOVString ITovaObject::getLocalNameSpace(const TOVSmrPtr<ITovaObject>& object) {
  if (!object) return TOVString("");
  const TOVSmrPtr<ITovaInstanceName> name = object->getInstanceName();
  if (!name) return TOVString("");
  const TOVSmrPtr<ITovaNameSpacePath> path = name->getNameSpacePath();
  if (!path) return TOVString("");
  return path->getNameSpace();
}

// ---------------------------------------------------------------------------
// CTovaObject

namespace {

bool sameName(const TOVSmrPtr<ITovaProperty>& property, const TOVString& name) {
  return property && property->getName().compareTo(name, 0) == 0;
}

}  // namespace

CTovaObject::CTovaObject(const TOVString& className) : _className(className) {}

const TOVString& CTovaObject::getClassName() const { return _className; }

TOVSmrPtr<ITovaInstanceName> CTovaObject::getInstanceName() const { return _instanceName; }

// Every property of a CTovaObject is its own (the host keeps no class
// definitions to inherit from), so `all` selects the same properties either
// way.
unsigned long CTovaObject::getNumberOfProperties(bool) const { return _properties.entries(); }

TOVSmrPtr<ITovaProperty> CTovaObject::getPropertyAt(unsigned long index, bool) const {
  if (index >= _properties.entries()) return TOVSmrPtr<ITovaProperty>();
  return _properties.at(index);
}

TOVSmrPtr<ITovaProperty> CTovaObject::getPropertyByName(const TOVString& name, bool) const {
  for (const auto& property : _properties) {
    if (sameName(property, name)) return property;
  }
  return TOVSmrPtr<ITovaProperty>();
}

void CTovaObject::setInstanceName(const TOVSmrPtr<ITovaInstanceName>& name) {
  _instanceName = name;
}

void CTovaObject::setProperty(const TOVSmrPtr<ITovaProperty>& property) {
  if (!property) throw TOVNullPointerException();
  const TOVString name = property->getName();
  for (auto& existing : _properties) {
    if (sameName(existing, name)) {
      existing = property;
      return;
    }
  }
  _properties.append(property);
}

void CTovaObject::setProperty(const TOVString& name, const TOVSmrPtr<ITovaValue>& value) {
  setProperty(TOVSmrPtr<ITovaProperty>(new CTovaProperty(name, value, false)));
}

bool CTovaObject::removeProperty(const TOVString& name) {
  for (std::size_t i = 0; i < _properties.entries(); ++i) {
    if (sameName(_properties.at(i), name)) {
      _properties.removeAt(i);
      return true;
    }
  }
  return false;
}

TOVSmrPtr<ITovaObject> CTovaObject::iPtr(const TOVSmrPtr<CTovaObject>& object) { return object; }

// ---------------------------------------------------------------------------
// CTovaClientObject

CTovaClientObject::CTovaClientObject(const ITovaObject& source, bool deep)
    : CTovaObject(source.getClassName()) {
  const TOVSmrPtr<ITovaInstanceName> name = source.getInstanceName();
  if (name) setInstanceName(TOVSmrPtr<ITovaInstanceName>(new CTovaInstanceName(*name)));
  const unsigned long count = source.getNumberOfProperties(true);
  for (unsigned long i = 0; i < count; ++i) {
    const TOVSmrPtr<ITovaProperty> property = source.getPropertyAt(i, true);
    if (!property) continue;
    TOVSmrPtr<ITovaValue> value = property->getValue();
    if (deep && value) value = CTovaValue::deepCopy(*value);
    setProperty(TOVSmrPtr<ITovaProperty>(new CTovaProperty(property->getName(), property->getType(),
                                                           value, property->isPropagated())));
  }
}
