#include "framework/Provider.h"

#include "framework/Exception.h"
#include "framework/Instance.h"
#include "framework/MessageTable.h"
#include "host/Config.h"
#include "host/Fatal.h"
#include "host/IndicationServices.h"
#include "host/Log.h"
#include "streaming/VectorCollector.h"

namespace kest::pf {

namespace {

constexpr int kNotSupportedCode = 7;
constexpr int kObjectNotFoundCode = 17666;  // 0x4502
constexpr int kFatalCode = 51458;           // 0xC902

[[noreturn]] void raiseFatal(const char* text, int line) {
  CI_ExFatal(text, kFatalCode, __FILE__, line, CI_String::none, CI_String::none, CI_String::none,
             CI_String::none, CI_String::none)
      .throwThis();
}

TOVString configured(const char* key, const char* defaultValue) {
  TOVString value(defaultValue);
  KESTConfigManager* manager = KESTConfigManager::getInstance();
  if (manager != nullptr) manager->getString("KEST", key, value);
  return value;
}

TOVSmrPtr<ITovaValue> booleanValue(bool value) {
  return TOVSmrPtr<ITovaValue>(new CTovaValue(value));
}

// A new list of what collector received, in order.
template <typename T>
TOVSmrPtr<TOVValSlist<T>> listOf(const VectorCollector<T>& collector) {
  TOVSmrPtr<TOVValSlist<T>> list(new TOVValSlist<T>());
  for (const T& item : collector) list->append(item);
  return list;
}

}  // namespace

Provider::Provider()
    : _tovaRepository(),
      _instanceManager(),
      _workAreaPath(),
      _subscriberInterface(),
      _providerContext(),
      _indicationsEnabled(false),
      _subscriptionCount(0),
      indicationIDCounter(0) {
  _instanceManager.setProvider(this);
  _subscriberInterface = TOVSmrPtr<ITovaSubscriber>(new SubscriberProxy(this));
}

Provider::~Provider() = default;

// --- Served requests --------------------------------------------------------

void Provider::enumerateInstances(ICollector<TOVSmrPtr<ITovaObject>>& results, const TOVString&,
                                  const TOVString& className, const TOVSmrPtr<ITovaTransaction>&,
                                  const PropertyList&) {
  _instanceManager.enumerateInstances(results, className);
}

Provider::ObjectList Provider::enumerateInstances(TOVString nameSpace, TOVString className,
                                                  TOVSmrPtr<ITovaTransaction> tovaTransaction) {
  VectorCollector<TOVSmrPtr<ITovaObject>> collector;
  enumerateInstances(collector, nameSpace, className, tovaTransaction, PropertyList());
  return listOf(collector);
}

void Provider::enumerateInstanceNames(ICollector<TOVSmrPtr<ITovaInstanceName>>& results,
                                      const TOVString& nameSpace, const TOVString& className,
                                      const TOVSmrPtr<ITovaTransaction>& tovaTransaction) {
  VectorCollector<TOVSmrPtr<ITovaObject>> collector;
  enumerateInstances(collector, nameSpace, className, tovaTransaction, PropertyList());
  for (const TOVSmrPtr<ITovaObject>& object : collector) results.add(object->getInstanceName());
}

void Provider::getInstance(TOVSmrPtr<ITovaObject>& results, const TOVString&,
                           TOVSmrPtr<ITovaInstanceName> instanceName, TOVSmrPtr<ITovaTransaction>,
                           const PropertyList&) {
  results = _instanceManager.getInstance(instanceName);
}

TOVSmrPtr<ITovaObject> Provider::getInstance(TOVString nameSpace,
                                             TOVSmrPtr<ITovaInstanceName> instanceName,
                                             TOVSmrPtr<ITovaTransaction> tovaTransaction) {
  TOVSmrPtr<ITovaObject> result;
  getInstance(result, nameSpace, instanceName, tovaTransaction, PropertyList());
  return result;
}

TOVSmrPtr<ITovaValue> Provider::executeMethod(TOVString, TOVSmrPtr<ITovaInstanceName> instanceName,
                                              TOVString methodName, ParameterList inParameterList,
                                              ParameterList outParameterList,
                                              TOVSmrPtr<ITovaTransaction> tovaTransaction) {
  const TOVSmrPtr<Instance> pfInstance = _instanceManager.getPFInstance(instanceName, nullptr);
  if (!pfInstance) {
    const TOVString where("kest::pf::Provider::executeMethod()");
    const TOVString logmsg =
        "Exception: Object not found : " + methodName + " : " + instanceName->toString();
    TOVLog::log(where, logmsg, 1, 2, 0, TOVLog::CIMOMLOG);
    throw Exception(where, MessageTable::E_PFPROVIDER_ERROR_OBJECT_NOT_FOUND, kObjectNotFoundCode);
  }
  const TOVSmrPtr<ITovaValue> returnValue =
      pfInstance->executeMethod(methodName, inParameterList, outParameterList, tovaTransaction);
  logAuditInfo(returnValue, tovaTransaction, instanceName, methodName);
  return returnValue;
}

// --- Association requests ----------------------------------------------------

void Provider::associators(ICollector<TOVSmrPtr<ITovaValue>>& results, const TOVString& nameSpace,
                           const TOVSmrPtr<ITovaInstanceName>& instanceName,
                           const TOVSmrPtr<ITovaTransaction>&, const TOVString& assocClassName,
                           const TOVString& resultClassName, const TOVString& role,
                           const TOVString& resultRole, const PropertyList&) {
  _instanceManager.associators(results, nameSpace, instanceName, assocClassName, role, resultRole,
                               resultClassName, getTovaRepository());
}

Provider::ValueList Provider::associators(TOVString nameSpace,
                                          TOVSmrPtr<ITovaInstanceName> instanceName,
                                          TOVSmrPtr<ITovaTransaction> tovaTransaction,
                                          TOVString assocClassName, TOVString resultClassName,
                                          TOVString role, TOVString resultRole) {
  VectorCollector<TOVSmrPtr<ITovaValue>> collector;
  associators(collector, nameSpace, instanceName, tovaTransaction, assocClassName, resultClassName,
              role, resultRole, PropertyList());
  return listOf(collector);
}

void Provider::associatorNames(ICollector<TOVSmrPtr<ITovaInstanceName>>& results,
                               const TOVString& nameSpace,
                               const TOVSmrPtr<ITovaInstanceName>& instanceName,
                               const TOVSmrPtr<ITovaTransaction>& tovaTransaction,
                               const TOVString& assocClassName, const TOVString& resultClassName,
                               const TOVString& role, const TOVString& resultRole) {
  VectorCollector<TOVSmrPtr<ITovaValue>> collector;
  associators(collector, nameSpace, instanceName, tovaTransaction, assocClassName, resultClassName,
              role, resultRole, PropertyList());
  for (const TOVSmrPtr<ITovaValue>& value : collector) {
    if (!value) continue;
    const TOVSmrPtr<ITovaType> type = value->getType();
    if (type->isReference()) {
      results.add(value->getReference());
    } else if (!type->isAtomic() && !type->isArray()) {
      results.add(value->getObject()->getInstanceName());  // an embedded object
    } else {
      raiseFatal("! \"Unknown item type.\"", __LINE__);
    }
  }
}

void Provider::references(ICollector<TOVSmrPtr<ITovaObject>>& results, const TOVString&,
                          const TOVSmrPtr<ITovaInstanceName>& instanceName,
                          const TOVSmrPtr<ITovaTransaction>&, const TOVString& resultClassName,
                          const TOVString& role, const PropertyList&) {
  _instanceManager.references(results, instanceName, resultClassName, role);
}

Provider::ObjectList Provider::references(TOVString nameSpace,
                                          TOVSmrPtr<ITovaInstanceName> instanceName,
                                          TOVSmrPtr<ITovaTransaction> tovaTransaction,
                                          TOVString resultClassName, TOVString role) {
  VectorCollector<TOVSmrPtr<ITovaObject>> collector;
  references(collector, nameSpace, instanceName, tovaTransaction, resultClassName, role,
             PropertyList());
  return listOf(collector);
}

void Provider::referenceNames(ICollector<TOVSmrPtr<ITovaInstanceName>>& results,
                              const TOVString& nameSpace,
                              const TOVSmrPtr<ITovaInstanceName>& instanceName,
                              const TOVSmrPtr<ITovaTransaction>& tovaTransaction,
                              const TOVString& resultClassName, const TOVString& role) {
  VectorCollector<TOVSmrPtr<ITovaObject>> collector;
  references(collector, nameSpace, instanceName, tovaTransaction, resultClassName, role,
             PropertyList());
  for (const TOVSmrPtr<ITovaObject>& object : collector) results.add(object->getInstanceName());
}

// --- Refused, ignored and fatal requests ---------------------------------------

void Provider::setProperty(const TOVString&, const TOVSmrPtr<ITovaInstanceName>&, const TOVString&,
                           const TOVSmrPtr<ITovaValue>&, const TOVSmrPtr<ITovaTransaction>&) {
  throw Exception("kest::pf::Provider", "setProperty", "intrinsic not supported",
                  kNotSupportedCode);
}

void Provider::modifyInstance(const TOVString&, const TOVSmrPtr<ITovaObject>&, const PropertyList&,
                              const TOVSmrPtr<ITovaTransaction>&) {
  throw Exception("modifyInstance", "ModifyInstance intrinsic not supported", kNotSupportedCode);
}

void Provider::deleteInstance(const TOVString&, const TOVSmrPtr<ITovaInstanceName>&,
                              const TOVSmrPtr<ITovaTransaction>&) {
  throw Exception("deleteInstance", "DeleteInstance intrinsic not supported", kNotSupportedCode);
}

TOVSmrPtr<ITovaInstanceName> Provider::createInstance(TOVString, TOVSmrPtr<ITovaObject>,
                                                      TOVSmrPtr<ITovaTransaction>) {
  return TOVSmrPtr<ITovaInstanceName>();
}

void Provider::processHTTPRequest(TOVGenericHTTPIStream&, TOVGenericHTTPOStream&, TOVHTTPRequest&,
                                  bool&, TOVSmrPtr<ITovaTransaction>) {}

void Provider::processHTTPRequest(TOVGenericHTTPIStream& istr, TOVGenericHTTPOStream& ostr,
                                  TOVHTTPRequest& request, TOVHTTPResponse&,
                                  bool& persistConnection,
                                  TOVSmrPtr<ITovaTransaction> tovaTransaction) {
  processHTTPRequest(istr, ostr, request, persistConnection, tovaTransaction);
}

void Provider::postStartupIsComplete() {}

void Provider::debugDump(unsigned int, std::ostream&) {}

void Provider::enumerateClassNames(ICollector<TOVString>&, const TOVString&) {
  raiseFatal("! \"enumerateClassNames (not) implemented\"", __LINE__);
}

void Provider::enumerateClasses(ICollector<TOVSmrPtr<ITovaClass>>&, const TOVString&) {
  raiseFatal("! \"enumerateClasses (not) implemented\"", __LINE__);
}

TOVSmrPtr<ITovaClass> Provider::getClass(const TOVString&, const TOVString&) {
  raiseFatal("! \"getClass (not) implemented\"", __LINE__);
}

// --- Host hand-over -------------------------------------------------------------

void Provider::initialize(TOVSmrPtr<ITovaRepository> tovaRepository) {
  _tovaRepository = tovaRepository;
}

void Provider::setWorkArea(const TOVString& workAreaPath) { _workAreaPath = workAreaPath; }

void Provider::setProviderContext(const TOVSmrPtr<IProviderContext>& providerContext) {
  _providerContext = providerContext;
}

TOVSmrPtr<IProviderContext> Provider::getProviderContext() const { return _providerContext; }

// --- Subscriptions and indications ------------------------------------------------

TOVSmrPtr<ITovaValue> Provider::registerObserver(TOVSmrPtr<ITovaInstanceName> instanceName,
                                                 TOVSmrPtr<ITovaSubscriber> subscriber,
                                                 ITovaIndication::IndicationType indicationType,
                                                 TOVSmrPtr<ITovaSubscriptionFilter> filter,
                                                 TOVSmrPtr<ITovaTransaction> transaction) {
  const TOVSmrPtr<ITovaObject> object = observedObject(
      instanceName, transaction, "A NULL instance name was passed into registerObserver.");
  if (!object) return booleanValue(false);
  return booleanValue(object->registerObserver(subscriber, indicationType, filter));
}

TOVSmrPtr<ITovaValue> Provider::deregisterObserver(TOVSmrPtr<ITovaInstanceName> instanceName,
                                                   TOVSmrPtr<ITovaSubscriber> subscriber,
                                                   ITovaIndication::IndicationType indicationType,
                                                   TOVSmrPtr<ITovaSubscriptionFilter> filter,
                                                   TOVSmrPtr<ITovaTransaction> transaction) {
  const TOVSmrPtr<ITovaObject> object = observedObject(
      instanceName, transaction, "A NULL instance name was passed into deregisterObserver.");
  if (!object) return booleanValue(false);
  return booleanValue(object->deregisterObserver(subscriber, indicationType, filter));
}

TOVSmrPtr<ITovaObject> Provider::observedObject(const TOVSmrPtr<ITovaInstanceName>& instanceName,
                                                const TOVSmrPtr<ITovaTransaction>& transaction,
                                                const char* missingMessage) {
  TOVSmrPtr<ITovaObject> object;
  getInstance(object, "", instanceName, transaction, PropertyList());
  if (!object) TOVLog::log("kest::pf::Provider", missingMessage, 1, 2, 0, TOVLog::CIMOMLOG);
  return object;
}

TOVSmrPtr<ITovaSubscriber> Provider::getStaticSubscriber() { return _subscriberInterface; }

TOVSmrPtr<ITovaSubscriber> Provider::getStaticSubscriber() const { return _subscriberInterface; }

void Provider::setStaticSubscriber(TOVSmrPtr<ITovaSubscriber>) {}

int Provider::authorizeSubscription(const TOVSmrPtr<ITovaInstanceName>&, const ClassList&,
                                    const TOVSmrPtr<IQueryStatement>&) {
  return 0;
}

int Provider::activateSubscription(const TOVSmrPtr<ITovaInstanceName>&, const ClassList&,
                                   const TOVSmrPtr<IQueryStatement>&) {
  ++_subscriptionCount;
  return 0;
}

int Provider::deactivateSubscription(const TOVSmrPtr<ITovaInstanceName>&, const ClassList&,
                                     const TOVSmrPtr<IQueryStatement>&) {
  if (_subscriptionCount > 0) --_subscriptionCount;
  return 0;
}

int Provider::enableIndications() {
  _indicationsEnabled = true;
  return 0;
}

int Provider::disableIndications() {
  _indicationsEnabled = false;
  return 0;
}

bool Provider::hasActiveSubscribers(const TOVString&, const TOVSmrPtr<ITovaObject>&) const {
  return _subscriptionCount > 0;
}

TOVString Provider::getNextIndicationIdentifier() {
  const int n = indicationIDCounter.atomicInc();
  return "OMX:" + getProviderName() + "." + TOVString::fromInt(n);
}

// --- Profile versions ----------------------------------------------------------------

TOVString Provider::getSMIProfileRegistrationVersion() {
  return configured("SMIProfileRegistrationVersion", "1.0.0");
}

TOVString Provider::getSMIServerProfileVersion() {
  return configured("SMIServerProfileVersion", "1.1.0");
}

}  // namespace kest::pf
