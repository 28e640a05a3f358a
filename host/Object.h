#pragma once

#include "host/Indication.h"
#include "host/InstanceName.h"
#include "host/List.h"
#include "host/Property.h"
#include "host/SmartPointer.h"
#include "host/String.h"
#include "host/Value.h"

class ITovaActualParameter;

// ITovaObject: a CIM instance as the host reads it: class name, instance name
// and properties, by index or by name.
//
// The bool of getNumberOfProperties/getPropertyAt/getPropertyByName means
// "include inherited and key properties"; false gives the locally defined
// ones only. getPropertyByName matches names ASCII case-insensitively in every
// host object. getPropertyAt returns null past the last property.
//
// Defaults: getBaseClasses() is an empty list; the host form of executeMethod
// throws TovaBaseException with code 7 (not supported); registerObserver and
// deregisterObserver return false.
class ITovaObject {
 public:
  using ParameterList = TOVSmrPtr<TOVValSlist<TOVSmrPtr<ITovaActualParameter>>>;

  virtual ~ITovaObject();
  virtual const TOVString& getClassName() const = 0;
  virtual TOVSmrPtr<TOVValSlist<TOVString>> getBaseClasses() const;
  virtual TOVSmrPtr<ITovaInstanceName> getInstanceName() const = 0;
  virtual unsigned long getNumberOfProperties(bool all) const = 0;
  virtual TOVSmrPtr<ITovaProperty> getPropertyAt(unsigned long index, bool all) const = 0;
  virtual TOVSmrPtr<ITovaProperty> getPropertyByName(const TOVString& name, bool all) const = 0;
  virtual TOVSmrPtr<ITovaValue> executeMethod(const TOVString& methodName,
                                              const ParameterList& inParameters,
                                              ParameterList& outParameters);
  virtual bool registerObserver(TOVSmrPtr<ITovaSubscriber> subscriber,
                                ITovaIndication::IndicationType indicationType,
                                TOVSmrPtr<ITovaSubscriptionFilter> filter);
  virtual bool deregisterObserver(TOVSmrPtr<ITovaSubscriber> subscriber,
                                  ITovaIndication::IndicationType indicationType,
                                  TOVSmrPtr<ITovaSubscriptionFilter> filter);

  // The namespace of object's instance name's namespace path; the empty text
  // when the object, its name or its path is missing.
  static TOVString getLocalNameSpace(const TOVSmrPtr<ITovaObject>& object);
};

// CTovaObject: the host's mutable object (SMI-S indications are built as
// these). Properties keep the order in which they were first set.
// Threads: not synchronised; build it on one thread, then share it read-only.
class CTovaObject : public ITovaObject {
 public:
  explicit CTovaObject(const TOVString& className);

  const TOVString& getClassName() const override;
  TOVSmrPtr<ITovaInstanceName> getInstanceName() const override;
  unsigned long getNumberOfProperties(bool all) const override;
  TOVSmrPtr<ITovaProperty> getPropertyAt(unsigned long index, bool all) const override;
  TOVSmrPtr<ITovaProperty> getPropertyByName(const TOVString& name, bool all) const override;

  void setInstanceName(const TOVSmrPtr<ITovaInstanceName>& name);
  // Replaces the property with the same name (ASCII case-insensitive) in its
  // place, or appends it.
  void setProperty(const TOVSmrPtr<ITovaProperty>& property);
  void setProperty(const TOVString& name, const TOVSmrPtr<ITovaValue>& value);
  // Removes the named property; returns whether it existed.
  bool removeProperty(const TOVString& name);

  // The object's ITovaObject interface, sharing the count.
  static TOVSmrPtr<ITovaObject> iPtr(const TOVSmrPtr<CTovaObject>& object);

 private:
  TOVString _className;
  TOVSmrPtr<ITovaInstanceName> _instanceName;
  TOVValSlist<TOVSmrPtr<ITovaProperty>> _properties;
};

// CTovaClientObject: a detached copy of any object, read through the source's
// virtual accessors: class name, instance name (deep copy) and every property
// (getPropertyAt(i, true)). With deep true the values are copied too
// (embedded objects recursively, referenced names deep-copied), so the copy
// shares nothing with the source; with deep false values are shared.
class CTovaClientObject : public CTovaObject {
 public:
  CTovaClientObject(const ITovaObject& source, bool deep);
};
