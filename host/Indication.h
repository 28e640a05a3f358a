#pragma once

#include "host/List.h"
#include "host/SmartPointer.h"
#include "host/String.h"

class ITovaObject;

// ITovaIndication: a native (host) indication: the object it is about, the
// kind of event, and the names of the changed properties (null when the
// event has none).
class ITovaIndication {
 public:
  enum IndicationType {
    IndicationInvalid = 0,
    IndicationChange = 1,
    IndicationAddition = 2,
    IndicationRemoval = 4,
    IndicationCreation = 8,
    IndicationDestruction = 16,
    IndicationEnterRelationship = 32,
    IndicationLeaveRelationship = 64,
    IndicationEnterAssociation = 128,
    IndicationLeaveAssociation = 256,
  };

  virtual ~ITovaIndication();
  virtual TOVSmrPtr<ITovaObject> getObject() const = 0;
  virtual IndicationType getIndicationType() const = 0;
  virtual TOVSmrPtr<TOVValSlist<TOVString>> getChangedProperties() const = 0;
  virtual int getIntent() const = 0;
};

// ITovaSubscriber: receives native indications. notify() may be called on any
// thread that raises an indication.
class ITovaSubscriber {
 public:
  virtual ~ITovaSubscriber();
  virtual void notify(const TOVSmrPtr<ITovaIndication>& indication) = 0;
};

// ITovaSubscriptionFilter: decides whether a change is of interest.
class ITovaSubscriptionFilter {
 public:
  virtual ~ITovaSubscriptionFilter();
  // True when a change of the named properties should be reported.
  virtual bool accepts(const TOVValSlist<TOVString>& changedItems) const = 0;
};

// A filter that accepts a change when any changed item names one of its
// properties (ASCII case-insensitive).
class CTovaPropertyListFilter : public ITovaSubscriptionFilter {
 public:
  explicit CTovaPropertyListFilter(const TOVValSlist<TOVString>& properties);
  bool accepts(const TOVValSlist<TOVString>& changedItems) const override;

 private:
  TOVValSlist<TOVString> _properties;
};

// CTovaIndication: the host's native indication. context, the second list and
// the flag are carried for the host's delivery machinery and not interpreted
// here.
class CTovaIndication : public ITovaIndication {
 public:
  CTovaIndication(const TOVSmrPtr<ITovaObject>& object, IndicationType type,
                  const TOVSmrPtr<TOVValSlist<TOVString>>& changedProperties, void* context,
                  int intent, const TOVSmrPtr<TOVValSlist<TOVString>>& secondList, bool flag);

  TOVSmrPtr<ITovaObject> getObject() const override;
  IndicationType getIndicationType() const override;
  TOVSmrPtr<TOVValSlist<TOVString>> getChangedProperties() const override;
  int getIntent() const override;
  void* getContext() const { return _context; }
  TOVSmrPtr<TOVValSlist<TOVString>> getSecondList() const { return _secondList; }
  bool getFlag() const { return _flag; }

 private:
  TOVSmrPtr<ITovaObject> _object;
  IndicationType _type;
  TOVSmrPtr<TOVValSlist<TOVString>> _changed;
  void* _context;
  int _intent;
  TOVSmrPtr<TOVValSlist<TOVString>> _secondList;
  bool _flag;
};
