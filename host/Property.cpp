#include "host/Property.h"

CTovaProperty::CTovaProperty(const TOVString& name, const TOVSmrPtr<ITovaValue>& value,
                             bool propagated)
    : _name(name), _value(value), _propagated(propagated) {}

CTovaProperty::CTovaProperty(const TOVString& name, const TOVSmrPtr<ITovaType>& declaredType,
                             const TOVSmrPtr<ITovaValue>& value, bool propagated)
    : _name(name), _declaredType(declaredType), _value(value), _propagated(propagated) {}

TOVString CTovaProperty::getName() const { return _name; }

TOVSmrPtr<ITovaType> CTovaProperty::getType() const {
  if (_declaredType) return _declaredType;
  if (_value) return _value->getType();
  return TOVSmrPtr<ITovaType>();
}

TOVSmrPtr<ITovaValue> CTovaProperty::getValue() const { return _value; }

bool CTovaProperty::isPropagated() const { return _propagated; }
