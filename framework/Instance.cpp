#include "framework/Instance.h"

#include "framework/InstanceManager.h"
#include "framework/Provider.h"
#include "host/Exception.h"
#include "host/Log.h"
#include "host/ProviderContext.h"

namespace kest::pf {

namespace {

// The subscription entry of subscriber (by identity), or null.
TOVSmrPtr<CNotificationSubscription> findSubscription(
    const TOVValSlist<TOVSmrPtr<CNotificationSubscription>>& subscriptions,
    const TOVSmrPtr<ITovaSubscriber>& subscriber) {
  for (const TOVSmrPtr<CNotificationSubscription>& entry : subscriptions) {
    if (entry->getSubscriber() == subscriber) return entry;
  }
  return TOVSmrPtr<CNotificationSubscription>();
}

const TOVString kIndicationLogSource("Indication");

void logIndication(const TOVString& message, int severity) {
  TOVLog::log(kIndicationLogSource, message, severity, 2, 0, TOVLog::CIMOMLOG);
}

}  // namespace

Instance::Instance(InstanceManager& instanceManager)
    : _notificationSubscriptions(),
      _objectUpdateStamp(0),
      _instanceName(),
      _className(),
      _instanceManager(instanceManager) {}

Instance::~Instance() = default;

const TOVString& Instance::getClassName() const { return _className; }

TOVSmrPtr<ITovaInstanceName> Instance::getInstanceName() const { return _instanceName; }

unsigned long Instance::getNumberOfProperties(bool /*all*/) const { return 0; }

TOVSmrPtr<ITovaProperty> Instance::getPropertyAt(unsigned long /*index*/, bool /*all*/) const {
  return TOVSmrPtr<ITovaProperty>();
}

TOVSmrPtr<ITovaProperty> Instance::getPropertyByName(const TOVString& /*name*/,
                                                     bool /*all*/) const {
  return TOVSmrPtr<ITovaProperty>();
}

bool Instance::registerObserver(TOVSmrPtr<ITovaSubscriber> subscriber,
                                ITovaIndication::IndicationType indicationType,
                                TOVSmrPtr<ITovaSubscriptionFilter> filter) {
  // Only modifications are observed per object; other kinds are raised by the
  // cache itself.
  if (indicationType != ITovaIndication::IndicationChange) return true;
  TOVSmrPtr<CNotificationSubscription> entry =
      findSubscription(_notificationSubscriptions, subscriber);
  if (!entry) {
    entry = TOVSmrPtr<CNotificationSubscription>(new CNotificationSubscription(subscriber, 1));
    _notificationSubscriptions.append(entry);
  }
  entry->getIndicationFilterProcessor().subscribe(ITovaIndication::IndicationChange, filter,
                                                  TOVSmrPtr<ITovaSubscriptionFilter>(), nullptr);
  return true;
}

bool Instance::deregisterObserver(TOVSmrPtr<ITovaSubscriber> subscriber,
                                  ITovaIndication::IndicationType indicationType,
                                  TOVSmrPtr<ITovaSubscriptionFilter> filter) {
  if (indicationType != ITovaIndication::IndicationChange) return true;
  const TOVSmrPtr<CNotificationSubscription> entry =
      findSubscription(_notificationSubscriptions, subscriber);
  if (!entry) return false;
  CTovaIndicationFilterProcessor& processor = entry->getIndicationFilterProcessor();
  processor.unsubscribe(ITovaIndication::IndicationChange, filter,
                        TOVSmrPtr<ITovaSubscriptionFilter>(), nullptr);
  if (!processor.willTriggerNotification()) _notificationSubscriptions.removeObject(entry);
  return true;
}

TOVSmrPtr<ITovaValue> Instance::executeMethod(const TOVString& /*method*/, ParameterList /*in*/,
                                              ParameterList& /*out*/,
                                              TOVSmrPtr<ITovaTransaction>& /*transaction*/) {
  return TOVSmrPtr<ITovaValue>();
}

void Instance::update(Context* /*context*/) {}

void Instance::updateInstance(Context* /*context*/) {}

Instance::ObjectList Instance::associators(const TOVString& /*assocClassName*/,
                                           const TOVString& /*resultClassName*/, bool& /*handled*/,
                                           Context* /*context*/) {
  return ObjectList(new TOVValSlist<TOVSmrPtr<ITovaObject>>());
}

void Instance::destroy() {}

void Instance::destroy(const TOVString& /*reason*/) {}

void Instance::associate(const TOVString& /*assocClassName*/,
                         TOVSmrPtr<Instance> /*associationInstance*/) {}

void Instance::disAssociate(const TOVString& /*assocClassName*/,
                            TOVSmrPtr<Instance> /*associationInstance*/) {}

void Instance::prune(long /*timeStamp*/) {}

InstanceManager& Instance::getInstanceManager() const { return _instanceManager; }

void Instance::setInstanceName(const TOVSmrPtr<ITovaInstanceName>& instanceName) {
  _instanceName = instanceName;
}

TOVSmrPtr<Instance> Instance::getSmartThis() {
  const TOVSmrPtr<ITovaInstanceName> name = getInstanceName();
  if (!name) return TOVSmrPtr<Instance>();
  return getInstanceManager().getPFInstance(name, this);
}

bool Instance::_fireIndications(ITovaIndication::IndicationType notificationType,
                                const TOVValSlist<TOVString>& changedItems,
                                const TOVSmrPtr<ITovaObject>& previousInstance) {
  if (changedItems.isEmpty()) return true;
  Provider* provider = getInstanceManager().getProvider();
  if (provider == nullptr) throw TOVNullPointerException();
  if (!provider->getIndicationsEnabled()) return true;

  try {
    const TOVSmrPtr<ITovaObject> object = getSmartThis();
    if (!object) return true;

    if (notificationType == ITovaIndication::IndicationChange &&
        provider->hasActiveSubscribers(kest::SMISIndicationFactory::CIM_INST_MODIFICATION,
                                       object)) {
      const TOVString id = provider->getNextIndicationIdentifier();
      const TOVSmrPtr<CTovaObject> smis =
          kest::SMISIndicationFactory::createInstModification(id, object, previousInstance);
      provider->getProviderContext()->deliverIndication(ITovaObject::getLocalNameSpace(object),
                                                        CTovaObject::iPtr(smis));
    }

    // Walked on a copy: a subscriber may register or deregister observers
    // while it is notified.
    const TOVValSlist<TOVSmrPtr<CNotificationSubscription>> subscriptions =
        _notificationSubscriptions;
    for (const TOVSmrPtr<CNotificationSubscription>& entry : subscriptions) {
      // A null entry is reported and then followed, which raises the host's
      // null-pointer error below.
      if (!entry) logIndication("iter.key() is NULL in kest::pf::Instance::_fireIndications", 1);
      if (!entry->getIndicationFilterProcessor().notificationNeeded(notificationType,
                                                                    changedItems)) {
        continue;
      }
      const TOVSmrPtr<TOVValSlist<TOVString>> changed(new TOVValSlist<TOVString>(changedItems));
      const TOVSmrPtr<ITovaIndication> indication(
          new CTovaIndication(object, notificationType, changed, nullptr, 1,
                              TOVSmrPtr<TOVValSlist<TOVString>>(), false));
      const TOVSmrPtr<ITovaSubscriber> subscriber = entry->getSubscriber();
      if (!subscriber) {
        logIndication(
            "subscription.getSubscriber() is NULL in kest::pf::Instance::_fireIndications", 1);
      }
      subscriber->notify(indication);
      logIndication("Send indication: " + CTovaDebugTools::indicationToString(indication), 4);
    }
  } catch (...) {
    logIndication("Unknown exception in kest::pf::Instance::_fireIndications", 1);
    throw;
  }
  return true;
}

bool Instance::operator==(const ITovaObject& rhs) const {
  // Held here: an override of getInstanceName may build a new name per call.
  const TOVSmrPtr<ITovaInstanceName> theirs = rhs.getInstanceName();
  const ITovaInstanceName& mine = *_instanceName;
  return mine == *theirs;
}

bool Instance::operator==(const Instance& rhs) const {
  return operator==(static_cast<const ITovaObject&>(rhs));
}

}  // namespace kest::pf
