#pragma once

#include "host/SmartPointer.h"
#include "host/String.h"
#include "host/Value.h"

// ITovaActualParameter: one parameter of a method call: its name and value.
// The value pointer may be null.
class ITovaActualParameter {
 public:
  virtual ~ITovaActualParameter();
  virtual TOVString getName() const = 0;
  virtual TOVSmrPtr<ITovaValue> getValue() const = 0;
};

using TOVParameter = TOVSmrPtr<ITovaActualParameter>;

class CTovaActualParameter : public ITovaActualParameter {
 public:
  CTovaActualParameter(const TOVString& name, const TOVSmrPtr<ITovaValue>& value);
  TOVString getName() const override;
  TOVSmrPtr<ITovaValue> getValue() const override;

 private:
  TOVString _name;
  TOVSmrPtr<ITovaValue> _value;
};
