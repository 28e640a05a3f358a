#pragma once

#include <ctime>

#include "host/ActualParameter.h"
#include "host/Indication.h"
#include "host/IndicationServices.h"
#include "host/List.h"
#include "host/Object.h"
#include "host/Repository.h"
#include "host/SmartPointer.h"
#include "host/String.h"

namespace kest::pf {

class Context;
class InstanceManager;

// Instance: the base of every object a provider serves. The host reads it as
// an ITovaObject (class name, instance name, properties); provider writers
// derive one class per CIM class and override what they need. The base
// versions are the defaults: no properties, null method result, an empty
// associator list, no action.
//
// An instance must have its name (setInstanceName, or an override of
// getInstanceName) before it is registered. The base carries the refresh
// stamp (compared by purging) and the per-instance observer list.
// Instances are shared through TOVSmrPtr<Instance> between the cache, the host
// and running requests.
//
// Threads: not synchronised; observers and the stamp are changed on the
// caller's thread, serialised by the provider. A host reads the class name,
// the instance name and the properties of a cached object after the request
// that handed it out has returned, possibly while the provider refreshes:
// set the class name and the instance name before the object is registered
// and never change them afterwards, and make property reads safe against
// the provider's own updates (see SynchronizedProvider).
class Instance : public ITovaObject {
 public:
  using ParameterList = TOVSmrPtr<TOVValSlist<TOVSmrPtr<ITovaActualParameter>>>;
  using ObjectList = TOVSmrPtr<TOVValSlist<TOVSmrPtr<ITovaObject>>>;

  // instanceManager is the cache the object belongs to; it must outlive it.
  explicit Instance(InstanceManager& instanceManager);
  // Does not deregister the object.
  ~Instance() override;

  const TOVString& getClassName() const override;
  TOVSmrPtr<ITovaInstanceName> getInstanceName() const override;
  unsigned long getNumberOfProperties(bool all) const override;
  TOVSmrPtr<ITovaProperty> getPropertyAt(unsigned long index, bool all) const override;
  TOVSmrPtr<ITovaProperty> getPropertyByName(const TOVString& name, bool all) const override;
  using ITovaObject::executeMethod;
  // Observers of modifications. A type other than IndicationChange is
  // accepted (true) and not stored. A subscriber (by identity) has at most
  // one entry; registering it again raises its count instead. Deregistering
  // lowers the count and drops the entry when nothing is left; false for a
  // subscriber that never registered here.
  bool registerObserver(TOVSmrPtr<ITovaSubscriber> subscriber,
                        ITovaIndication::IndicationType indicationType,
                        TOVSmrPtr<ITovaSubscriptionFilter> filter) override;
  bool deregisterObserver(TOVSmrPtr<ITovaSubscriber> subscriber,
                          ITovaIndication::IndicationType indicationType,
                          TOVSmrPtr<ITovaSubscriptionFilter> filter) override;

  // The provider's method implementation; the base returns null.
  virtual TOVSmrPtr<ITovaValue> executeMethod(const TOVString& method, ParameterList in,
                                              ParameterList& out,
                                              TOVSmrPtr<ITovaTransaction>& transaction);
  // Hooks for provider code and the refresh side; the cache never calls them.
  virtual void update(Context* context);
  virtual void updateInstance(Context* context);
  // Association objects that link this instance; the base returns a new empty
  // list and leaves handled false. An override that sets handled takes over
  // the associator traversal for this instance.
  virtual ObjectList associators(const TOVString& assocClassName, const TOVString& resultClassName,
                                 bool& handled, Context* context);
  // Called after an ordinary object was purged and deregistered.
  virtual void destroy();
  // Called with an empty string when an association object is purged or an
  // end it refers to leaves the cache; the override removes the association.
  virtual void destroy(const TOVString& reason);
  virtual void associate(const TOVString& assocClassName, TOVSmrPtr<Instance> associationInstance);
  virtual void disAssociate(const TOVString& assocClassName,
                            TOVSmrPtr<Instance> associationInstance);
  // Called with the purge stamp just before the object is purged in prune mode.
  virtual void prune(long timeStamp);
  virtual InstanceManager& getInstanceManager() const;

  time_t getUpdateStamp() const { return _objectUpdateStamp; }
  void setUpdateStamp(long stamp) { _objectUpdateStamp = stamp; }
  void setInstanceName(const TOVSmrPtr<ITovaInstanceName>& instanceName);

  // The pointer under which the cache holds this object: looked up by name
  // (getInstanceName()) and, for association classes, by identity. Null
  // without a name or when not registered; for an ordinary class, another
  // object registered under the same name is returned instead.
  TOVSmrPtr<Instance> getSmartThis();

  // Names only: true when this object's name equals rhs's by the host's
  // ITovaInstanceName equality. This object must have a name.
  bool operator==(const ITovaObject& rhs) const;
  // The same for two Instances. Without it C++20 finds this operator twice
  // for them (as written and with its operands reversed), which clang
  // reports as ambiguous.
  bool operator==(const Instance& rhs) const;

 protected:
  // Raises a modification of this object. Nothing happens (true) when
  // changedItems is empty or the provider has indications switched off; the
  // host's null-pointer error when the cache has no provider. Otherwise, for
  // an object the cache holds (getSmartThis()): an IndicationChange with
  // active SMI-S subscribers is delivered as a CIM_InstModification about this
  // live object (previousInstance as the previous state), and every observer
  // whose filters accept notificationType and changedItems is notified with a
  // native indication carrying a copy of changedItems. Anything thrown after
  // the provider check is logged and rethrown unchanged. Returns true.
  bool _fireIndications(ITovaIndication::IndicationType notificationType,
                        const TOVValSlist<TOVString>& changedItems,
                        const TOVSmrPtr<ITovaObject>& previousInstance);

  // The observers of this object, one entry per subscriber, in order of
  // first registration.
  TOVValSlist<TOVSmrPtr<CNotificationSubscription>> _notificationSubscriptions;

 private:
  time_t _objectUpdateStamp;
  TOVSmrPtr<ITovaInstanceName> _instanceName;

 protected:
  // The class name a derived class fills (or it overrides getClassName).
  TOVString _className;

 private:
  InstanceManager& _instanceManager;
};

}  // namespace kest::pf
