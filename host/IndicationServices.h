#pragma once

#include "host/Indication.h"
#include "host/Object.h"
#include "host/SmartPointer.h"
#include "host/String.h"

namespace kest {
class IProvider;
}

// CTovaIndicationFilterProcessor: per indication type, a reference count of
// subscriptions and one filter slot.
//   subscribe: count[type] += 1; a non-null filter replaces the slot; count,
//     when not null, receives the new count.
//   unsubscribe: count[type] -= 1 (never below 0); count receives the new
//     value; at 0 the slot is cleared.
//   willTriggerNotification: some type has a count > 0.
//   notificationNeeded(type, changed): count[type] > 0 and (no filter, or the
//     filter accepts changed); a second filter, when one was given, must
//     accept too.
// Types that are not one of ITovaIndication::IndicationType's values are
// counted under IndicationInvalid.
// Threads: not synchronised.
class CTovaIndicationFilterProcessor {
 public:
  CTovaIndicationFilterProcessor();

  void subscribe(ITovaIndication::IndicationType type,
                 const TOVSmrPtr<ITovaSubscriptionFilter>& filter,
                 const TOVSmrPtr<ITovaSubscriptionFilter>& secondFilter, unsigned int* count);
  void unsubscribe(ITovaIndication::IndicationType type,
                   const TOVSmrPtr<ITovaSubscriptionFilter>& filter,
                   const TOVSmrPtr<ITovaSubscriptionFilter>& secondFilter, unsigned int* count);
  bool willTriggerNotification() const;
  bool notificationNeeded(ITovaIndication::IndicationType type,
                          const TOVValSlist<TOVString>& changedItems) const;
  unsigned int getCount(ITovaIndication::IndicationType type) const;

 private:
  static constexpr int kTypes = 10;  // IndicationInvalid and the nine event bits
  static int slotOf(ITovaIndication::IndicationType type);

  unsigned int _counts[kTypes];
  TOVSmrPtr<ITovaSubscriptionFilter> _filters[kTypes];
  TOVSmrPtr<ITovaSubscriptionFilter> _secondFilters[kTypes];
};

// CNotificationSubscription: one subscriber's registration on an object, with
// the filter processor that decides which changes it receives. typeMask is
// stored and reported, not used for filtering.
class CNotificationSubscription {
 public:
  CNotificationSubscription(const TOVSmrPtr<ITovaSubscriber>& subscriber, unsigned int typeMask);

  TOVSmrPtr<ITovaSubscriber> getSubscriber() const;
  unsigned int getTypeMask() const;
  CTovaIndicationFilterProcessor& getIndicationFilterProcessor();
  const CTovaIndicationFilterProcessor& getIndicationFilterProcessor() const;

 private:
  TOVSmrPtr<ITovaSubscriber> _subscriber;
  unsigned int _typeMask;
  CTovaIndicationFilterProcessor _indicationFilterProcessor;
};

namespace kest {

// SMISIndicationFactory: builds SMI-S lifecycle indication objects: a
// CTovaObject of the indication class, without an instance name, with the
// properties IndicationIdentifier (string: id), IndicationTime (datetime:
// now, UTC), SourceInstance (embedded object: object), SourceInstanceModelPath
// (string: object's instance name's toFullPathString(), empty when it has no
// name) and, for modifications, PreviousInstance (embedded object; a CIM NULL
// of type object when previous is null). object must not be null (the host's
// null-pointer error otherwise).
class SMISIndicationFactory {
 public:
  static const TOVString CIM_INST_CREATION;      // "CIM_InstCreation"
  static const TOVString CIM_INST_DELETION;      // "CIM_InstDeletion"
  static const TOVString CIM_INST_MODIFICATION;  // "CIM_InstModification"

  static TOVSmrPtr<CTovaObject> createInstCreation(const TOVString& id,
                                                   const TOVSmrPtr<ITovaObject>& object);
  static TOVSmrPtr<CTovaObject> createInstDeletion(const TOVString& id,
                                                   const TOVSmrPtr<ITovaObject>& object);
  static TOVSmrPtr<CTovaObject> createInstModification(const TOVString& id,
                                                       const TOVSmrPtr<ITovaObject>& object,
                                                       const TOVSmrPtr<ITovaObject>& previous);
};

}  // namespace kest

// SubscriberProxy: an ITovaSubscriber that forwards each indication to its
// provider's context (deliverLegacyIndication) when the provider has one, and
// drops it otherwise. The provider is not owned and must outlive the proxy.
class SubscriberProxy : public ITovaSubscriber {
 public:
  explicit SubscriberProxy(kest::IProvider* provider);
  void notify(const TOVSmrPtr<ITovaIndication>& indication) override;

 private:
  kest::IProvider* _provider;
};

// CTovaDebugTools: text forms for logs.
class CTovaDebugTools {
 public:
  // "Indication type=<n> object=<instance name toString, or (none)>
  // changed=[a,b]" (changed=[] when there is no list). A null indication
  // gives "Indication (none)".
  static TOVString indicationToString(const TOVSmrPtr<ITovaIndication>& indication);
};
