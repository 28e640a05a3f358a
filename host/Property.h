#pragma once

#include "host/CimType.h"
#include "host/List.h"
#include "host/SmartPointer.h"
#include "host/String.h"
#include "host/Value.h"

// ITovaProperty: a named value of an object or a key of an instance name.
// getType() is the declared type when one was given, else the value's type
// (null when both are missing). isPropagated() reports the flag given at
// construction; the host does not interpret it.
class ITovaProperty {
 public:
  virtual ~ITovaProperty();
  virtual TOVString getName() const = 0;
  virtual TOVSmrPtr<ITovaType> getType() const = 0;
  virtual TOVSmrPtr<ITovaValue> getValue() const = 0;
  virtual bool isPropagated() const = 0;
};

// The key-property list of an instance name.
using TOVPropertyList = TOVSmrPtr<TOVValSlist<TOVSmrPtr<ITovaProperty>>>;

class CTovaProperty : public ITovaProperty {
 public:
  CTovaProperty(const TOVString& name, const TOVSmrPtr<ITovaValue>& value, bool propagated);
  CTovaProperty(const TOVString& name, const TOVSmrPtr<ITovaType>& declaredType,
                const TOVSmrPtr<ITovaValue>& value, bool propagated);

  TOVString getName() const override;
  TOVSmrPtr<ITovaType> getType() const override;
  TOVSmrPtr<ITovaValue> getValue() const override;
  bool isPropagated() const override;

 private:
  TOVString _name;
  TOVSmrPtr<ITovaType> _declaredType;
  TOVSmrPtr<ITovaValue> _value;
  bool _propagated;
};
