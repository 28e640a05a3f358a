#include "host/ActualParameter.h"

CTovaActualParameter::CTovaActualParameter(const TOVString& name,
                                           const TOVSmrPtr<ITovaValue>& value)
    : _name(name), _value(value) {}

TOVString CTovaActualParameter::getName() const { return _name; }

TOVSmrPtr<ITovaValue> CTovaActualParameter::getValue() const { return _value; }
