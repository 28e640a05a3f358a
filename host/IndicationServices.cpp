#include "host/IndicationServices.h"

#include <chrono>
#include <cstdio>
#include <ctime>

#include "host/CimType.h"
#include "host/InstanceName.h"
#include "host/Provider.h"
#include "host/ProviderContext.h"
#include "host/Value.h"

// ---------------------------------------------------------------------------
// CTovaIndicationFilterProcessor

CTovaIndicationFilterProcessor::CTovaIndicationFilterProcessor() : _counts{} {}

// Slot 0 is IndicationInvalid; the event bit 1 << k lives in slot k + 1. Any
// other value (no bit, or several bits) is kept in slot 0 with the invalid
// type, so a caller that passes a mask instead of a single type still gets a
// consistent count back from getCount with the same value.
int CTovaIndicationFilterProcessor::slotOf(ITovaIndication::IndicationType type) {
  const auto value = static_cast<unsigned int>(type);
  for (int bit = 0; bit < kTypes - 1; ++bit) {
    if (value == (1u << bit)) return bit + 1;
  }
  return 0;
}

void CTovaIndicationFilterProcessor::subscribe(
    ITovaIndication::IndicationType type, const TOVSmrPtr<ITovaSubscriptionFilter>& filter,
    const TOVSmrPtr<ITovaSubscriptionFilter>& secondFilter, unsigned int* count) {
  const int slot = slotOf(type);
  ++_counts[slot];
  if (filter) _filters[slot] = filter;
  if (secondFilter) _secondFilters[slot] = secondFilter;
  if (count != nullptr) *count = _counts[slot];
}

void CTovaIndicationFilterProcessor::unsubscribe(ITovaIndication::IndicationType type,
                                                 const TOVSmrPtr<ITovaSubscriptionFilter>&,
                                                 const TOVSmrPtr<ITovaSubscriptionFilter>&,
                                                 unsigned int* count) {
  const int slot = slotOf(type);
  if (_counts[slot] > 0) --_counts[slot];
  if (_counts[slot] == 0) {
    _filters[slot].reset();
    _secondFilters[slot].reset();
  }
  if (count != nullptr) *count = _counts[slot];
}

bool CTovaIndicationFilterProcessor::willTriggerNotification() const {
  for (unsigned int count : _counts) {
    if (count > 0) return true;
  }
  return false;
}

bool CTovaIndicationFilterProcessor::notificationNeeded(
    ITovaIndication::IndicationType type, const TOVValSlist<TOVString>& changedItems) const {
  const int slot = slotOf(type);
  if (_counts[slot] == 0) return false;
  if (_filters[slot] && !_filters[slot]->accepts(changedItems)) return false;
  if (_secondFilters[slot] && !_secondFilters[slot]->accepts(changedItems)) return false;
  return true;
}

unsigned int CTovaIndicationFilterProcessor::getCount(ITovaIndication::IndicationType type) const {
  return _counts[slotOf(type)];
}

// ---------------------------------------------------------------------------
// CNotificationSubscription

CNotificationSubscription::CNotificationSubscription(const TOVSmrPtr<ITovaSubscriber>& subscriber,
                                                     unsigned int typeMask)
    : _subscriber(subscriber), _typeMask(typeMask) {}

TOVSmrPtr<ITovaSubscriber> CNotificationSubscription::getSubscriber() const { return _subscriber; }

unsigned int CNotificationSubscription::getTypeMask() const { return _typeMask; }

CTovaIndicationFilterProcessor& CNotificationSubscription::getIndicationFilterProcessor() {
  return _indicationFilterProcessor;
}

const CTovaIndicationFilterProcessor& CNotificationSubscription::getIndicationFilterProcessor()
    const {
  return _indicationFilterProcessor;
}

// ---------------------------------------------------------------------------
// kest::SMISIndicationFactory

namespace kest {

const TOVString SMISIndicationFactory::CIM_INST_CREATION("CIM_InstCreation");
const TOVString SMISIndicationFactory::CIM_INST_DELETION("CIM_InstDeletion");
const TOVString SMISIndicationFactory::CIM_INST_MODIFICATION("CIM_InstModification");

namespace {

// The current time, UTC, as CIM datetime text: "yyyymmddhhmmss.mmmmmm+000".
TOVString currentCimDateTime() {
  using namespace std::chrono;
  const auto now = system_clock::now();
  const auto sinceEpoch = now.time_since_epoch();
  const auto wholeSeconds = duration_cast<seconds>(sinceEpoch);
  long long micros = duration_cast<microseconds>(sinceEpoch - wholeSeconds).count();
  std::time_t seconds = static_cast<std::time_t>(wholeSeconds.count());
  if (micros < 0) {  // a clock before the epoch: borrow one second
    micros += 1000000;
    --seconds;
  }
  std::tm utc{};
  gmtime_r(&seconds, &utc);
  char text[64];
  const int length =
      std::snprintf(text, sizeof text, "%04d%02d%02d%02d%02d%02d.%06lld+000", utc.tm_year + 1900,
                    utc.tm_mon + 1, utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec, micros);
  return TOVString(text, static_cast<std::size_t>(length));
}

// The properties every lifecycle indication carries, in their fixed order.
TOVSmrPtr<CTovaObject> buildLifecycleIndication(const TOVString& indicationClass,
                                                const TOVString& id,
                                                const TOVSmrPtr<ITovaObject>& object) {
  // Dereferenced first, so that a null object fails before anything is built.
  const TOVSmrPtr<ITovaInstanceName> sourceName = object->getInstanceName();
  const TOVString modelPath = sourceName ? sourceName->toFullPathString() : TOVString("");

  TOVSmrPtr<CTovaObject> indication(new CTovaObject(indicationClass));
  indication->setProperty("IndicationIdentifier", TOVSmrPtr<ITovaValue>(new CTovaValue(id)));
  indication->setProperty("IndicationTime", CTovaValue::dateTime(currentCimDateTime()));
  indication->setProperty("SourceInstance", TOVSmrPtr<ITovaValue>(new CTovaValue(object)));
  indication->setProperty("SourceInstanceModelPath",
                          TOVSmrPtr<ITovaValue>(new CTovaValue(modelPath)));
  return indication;
}

}  // namespace

TOVSmrPtr<CTovaObject> SMISIndicationFactory::createInstCreation(
    const TOVString& id, const TOVSmrPtr<ITovaObject>& object) {
  return buildLifecycleIndication(CIM_INST_CREATION, id, object);
}

TOVSmrPtr<CTovaObject> SMISIndicationFactory::createInstDeletion(
    const TOVString& id, const TOVSmrPtr<ITovaObject>& object) {
  return buildLifecycleIndication(CIM_INST_DELETION, id, object);
}

TOVSmrPtr<CTovaObject> SMISIndicationFactory::createInstModification(
    const TOVString& id, const TOVSmrPtr<ITovaObject>& object,
    const TOVSmrPtr<ITovaObject>& previous) {
  TOVSmrPtr<CTovaObject> indication = buildLifecycleIndication(CIM_INST_MODIFICATION, id, object);
  TOVSmrPtr<ITovaValue> previousValue =
      previous ? TOVSmrPtr<ITovaValue>(new CTovaValue(previous))
               : CTovaValue::nullOf(CTovaType::object(object->getClassName()));
  indication->setProperty("PreviousInstance", previousValue);
  return indication;
}

}  // namespace kest

// ---------------------------------------------------------------------------
// SubscriberProxy

SubscriberProxy::SubscriberProxy(kest::IProvider* provider) : _provider(provider) {}

void SubscriberProxy::notify(const TOVSmrPtr<ITovaIndication>& indication) {
  if (_provider == nullptr) return;
  const TOVSmrPtr<kest::IProviderContext> context = _provider->getProviderContext();
  if (!context) return;
  context->deliverLegacyIndication(indication);
}

// ---------------------------------------------------------------------------
// CTovaDebugTools

TOVString CTovaDebugTools::indicationToString(const TOVSmrPtr<ITovaIndication>& indication) {
  if (!indication) return TOVString("Indication (none)");

  TOVString text("Indication type=");
  text += TOVString::fromInt(static_cast<long long>(indication->getIndicationType()));

  text += " object=";
  const TOVSmrPtr<ITovaObject> object = indication->getObject();
  const TOVSmrPtr<ITovaInstanceName> name = object ? object->getInstanceName() : nullptr;
  if (name) {
    text += name->toString();
  } else {
    text += "(none)";
  }

  text += " changed=[";
  const TOVSmrPtr<TOVValSlist<TOVString>> changed = indication->getChangedProperties();
  if (changed) {
    bool first = true;
    for (const TOVString& item : *changed) {
      if (!first) text += ',';
      text += item;
      first = false;
    }
  }
  text += ']';
  return text;
}
