#pragma once

#include <iosfwd>

#include "framework/InstanceManager.h"
#include "host/Atomic.h"
#include "host/Provider.h"

namespace kest::pf {

// Provider: the provider object the host loads and calls; it implements
// kest::IProvider once for every provider built on the framework. A
// management provider derives from it, supplies the abstract operations
// (transactions, start-up, shut-down, version, name, audit log), declares its
// classes with the instance manager it owns (getInstanceManager()), and gets
// every request answered from that cache:
//   served: instance names and instances (collector, list and name forms),
//     getInstance (a miss gives null, no error), method calls (routed to the
//     cached object's executeMethod; a miss is Exception code 17666 after one
//     log record);
//   refused with Exception code 7: setProperty, modifyInstance,
//     deleteInstance;
//   ignored: createInstance (returns null), HTTP requests,
//     postStartupIsComplete, debugDump;
//   fatal (CI_ExFatal, code 51458): getClass, enumerateClasses,
//     enumerateClassNames;
//   association requests: associators and references (collector and list
//     forms) from the instance manager's traversals, the collector form of
//     associators with the namespace and the repository (null until
//     initialize); associatorNames gives the name of each associator value (a
//     reference's name, an embedded object's instance name; null values are
//     skipped, any other value is fatal: CI_ExFatal "! \"Unknown item
//     type.\"", code 51458, names already added stay added); referenceNames
//     the name of each reference object.
// The list-returning and name-returning forms call the provider's own
// (virtual) collector forms, so a derived provider's overrides change them
// too. No request catches anything: what the cache, a collector or the
// provider's own code throws reaches the host unchanged. Transactions and
// property lists are accepted and ignored, and so are namespaces except by
// associators, which hands its namespace to the repository's subclass test.
//
// Indications: off until enableIndications(); SMI-S lifecycle indications
// additionally need active subscriptions (activateSubscription). Identifiers
// are "OMX:" + getProviderName() + "." + a counter starting at 1.
//
// Threads: requests may run concurrently; the frame keeps no per-request
// state, and the identifier counter is atomic. The cache is not synchronised
// (see InstanceManager), nor are the subscription count and the indication
// switch: the host serialises subscription calls.
class Provider : public kest::IProvider {
 public:
  Provider();
  ~Provider() override;
  Provider(const Provider&) = delete;
  Provider& operator=(const Provider&) = delete;

  // Refused: Exception(who "kest::pf::Provider", where "setProperty",
  // "intrinsic not supported", 7).
  void setProperty(const TOVString& nameSpace, const TOVSmrPtr<ITovaInstanceName>& instanceName,
                   const TOVString& propertyName, const TOVSmrPtr<ITovaValue>& value,
                   const TOVSmrPtr<ITovaTransaction>& tovaTransaction) override;
  void enumerateInstanceNames(ICollector<TOVSmrPtr<ITovaInstanceName>>& results,
                              const TOVString& nameSpace, const TOVString& className,
                              const TOVSmrPtr<ITovaTransaction>& tovaTransaction) override;
  void referenceNames(ICollector<TOVSmrPtr<ITovaInstanceName>>& results, const TOVString& nameSpace,
                      const TOVSmrPtr<ITovaInstanceName>& instanceName,
                      const TOVSmrPtr<ITovaTransaction>& tovaTransaction,
                      const TOVString& resultClassName, const TOVString& role) override;
  void associatorNames(ICollector<TOVSmrPtr<ITovaInstanceName>>& results,
                       const TOVString& nameSpace, const TOVSmrPtr<ITovaInstanceName>& instanceName,
                       const TOVSmrPtr<ITovaTransaction>& tovaTransaction,
                       const TOVString& assocClassName, const TOVString& resultClassName,
                       const TOVString& role, const TOVString& resultRole) override;
  void enumerateClassNames(ICollector<TOVString>& results, const TOVString& nameSpace) override;
  void enumerateClasses(ICollector<TOVSmrPtr<ITovaClass>>& results,
                        const TOVString& nameSpace) override;
  TOVSmrPtr<ITovaClass> getClass(const TOVString& nameSpace, const TOVString& className) override;
  TOVSmrPtr<ITovaObject> getInstance(TOVString nameSpace, TOVSmrPtr<ITovaInstanceName> instanceName,
                                     TOVSmrPtr<ITovaTransaction> tovaTransaction) override;
  void getInstance(TOVSmrPtr<ITovaObject>& results, const TOVString& nameSpace,
                   TOVSmrPtr<ITovaInstanceName> instanceName,
                   TOVSmrPtr<ITovaTransaction> tovaTransaction,
                   const PropertyList& propertyList) override;
  ObjectList enumerateInstances(TOVString nameSpace, TOVString className,
                                TOVSmrPtr<ITovaTransaction> tovaTransaction) override;
  void enumerateInstances(ICollector<TOVSmrPtr<ITovaObject>>& results, const TOVString& nameSpace,
                          const TOVString& className,
                          const TOVSmrPtr<ITovaTransaction>& tovaTransaction,
                          const PropertyList& propertyList) override;
  void references(ICollector<TOVSmrPtr<ITovaObject>>& results, const TOVString& nameSpace,
                  const TOVSmrPtr<ITovaInstanceName>& instanceName,
                  const TOVSmrPtr<ITovaTransaction>& tovaTransaction,
                  const TOVString& resultClassName, const TOVString& role,
                  const PropertyList& propertyList) override;
  ObjectList references(TOVString nameSpace, TOVSmrPtr<ITovaInstanceName> instanceName,
                        TOVSmrPtr<ITovaTransaction> tovaTransaction, TOVString resultClassName,
                        TOVString role) override;
  ValueList associators(TOVString nameSpace, TOVSmrPtr<ITovaInstanceName> instanceName,
                        TOVSmrPtr<ITovaTransaction> tovaTransaction, TOVString assocClassName,
                        TOVString resultClassName, TOVString role, TOVString resultRole) override;
  void associators(ICollector<TOVSmrPtr<ITovaValue>>& results, const TOVString& nameSpace,
                   const TOVSmrPtr<ITovaInstanceName>& instanceName,
                   const TOVSmrPtr<ITovaTransaction>& tovaTransaction,
                   const TOVString& assocClassName, const TOVString& resultClassName,
                   const TOVString& role, const TOVString& resultRole,
                   const PropertyList& propertyList) override;
  // Ignored: returns null and leaves the cache unchanged.
  TOVSmrPtr<ITovaInstanceName> createInstance(TOVString nameSpace, TOVSmrPtr<ITovaObject> instance,
                                              TOVSmrPtr<ITovaTransaction> tovaTransaction) override;
  // Refused: Exception(where "deleteInstance", "DeleteInstance intrinsic not
  // supported", 7).
  void deleteInstance(const TOVString& nameSpace, const TOVSmrPtr<ITovaInstanceName>& instanceName,
                      const TOVSmrPtr<ITovaTransaction>& tovaTransaction) override;
  // Refused: Exception(where "modifyInstance", "ModifyInstance intrinsic not
  // supported", 7).
  void modifyInstance(const TOVString& nameSpace, const TOVSmrPtr<ITovaObject>& instance,
                      const PropertyList& propertyList,
                      const TOVSmrPtr<ITovaTransaction>& tovaTransaction) override;
  TOVSmrPtr<ITovaValue> executeMethod(TOVString nameSpace,
                                      TOVSmrPtr<ITovaInstanceName> instanceName,
                                      TOVString methodName, ParameterList inParameterList,
                                      ParameterList outParameterList,
                                      TOVSmrPtr<ITovaTransaction> tovaTransaction) override;
  // Attach or detach subscriber on the cached object named instanceName; a
  // boolean value with the object's answer, or false (after a log record)
  // when no object is found.
  TOVSmrPtr<ITovaValue> registerObserver(TOVSmrPtr<ITovaInstanceName> instanceName,
                                         TOVSmrPtr<ITovaSubscriber> subscriber,
                                         ITovaIndication::IndicationType indicationType,
                                         TOVSmrPtr<ITovaSubscriptionFilter> filter,
                                         TOVSmrPtr<ITovaTransaction> transaction) override;
  TOVSmrPtr<ITovaValue> deregisterObserver(TOVSmrPtr<ITovaInstanceName> instanceName,
                                           TOVSmrPtr<ITovaSubscriber> subscriber,
                                           ITovaIndication::IndicationType indicationType,
                                           TOVSmrPtr<ITovaSubscriptionFilter> filter,
                                           TOVSmrPtr<ITovaTransaction> transaction) override;
  // Does nothing (a provider overrides it to serve raw HTTP).
  void processHTTPRequest(TOVGenericHTTPIStream& istr, TOVGenericHTTPOStream& ostr,
                          TOVHTTPRequest& request, bool& persistConnection,
                          TOVSmrPtr<ITovaTransaction> tovaTransaction) override;
  // Forwards to the form without a response, dropping the response.
  void processHTTPRequest(TOVGenericHTTPIStream& istr, TOVGenericHTTPOStream& ostr,
                          TOVHTTPRequest& request, TOVHTTPResponse& response,
                          bool& persistConnection,
                          TOVSmrPtr<ITovaTransaction> tovaTransaction) override;
  void postStartupIsComplete() override;
  void initialize(TOVSmrPtr<ITovaRepository> tovaRepository) override;
  void setWorkArea(const TOVString& workAreaPath) override;
  void debugDump(unsigned int level, std::ostream& out) override;
  // The subscriber proxy made at construction; setStaticSubscriber drops its
  // argument (a subclass may assign _subscriberInterface itself).
  TOVSmrPtr<ITovaSubscriber> getStaticSubscriber() override;
  void setStaticSubscriber(TOVSmrPtr<ITovaSubscriber> subscriber) override;
  // Subscription bookkeeping: every request is granted (0); activation counts
  // up, deactivation down (never below 0); both return 0.
  int authorizeSubscription(const TOVSmrPtr<ITovaInstanceName>& filterName,
                            const ClassList& classes,
                            const TOVSmrPtr<IQueryStatement>& query) override;
  int activateSubscription(const TOVSmrPtr<ITovaInstanceName>& filterName, const ClassList& classes,
                           const TOVSmrPtr<IQueryStatement>& query) override;
  int deactivateSubscription(const TOVSmrPtr<ITovaInstanceName>& filterName,
                             const ClassList& classes,
                             const TOVSmrPtr<IQueryStatement>& query) override;
  // Switch indications on or off; return 0.
  int enableIndications() override;
  int disableIndications() override;
  void setProviderContext(const TOVSmrPtr<IProviderContext>& providerContext) override;
  TOVSmrPtr<IProviderContext> getProviderContext() const override;

  // Called once after every successful executeMethod.
  virtual void logAuditInfo(TOVSmrPtr<ITovaValue> returnValue,
                            TOVSmrPtr<ITovaTransaction> tovaTransaction,
                            TOVSmrPtr<ITovaInstanceName> instanceName, TOVString methodName) = 0;
  virtual TOVSmrPtr<ITovaSubscriber> getStaticSubscriber() const;
  virtual InstanceManager& getInstanceManager() { return _instanceManager; }
  virtual const InstanceManager& getInstanceManager() const { return _instanceManager; }
  // True exactly when some subscription is active; the arguments are not
  // examined.
  virtual bool hasActiveSubscribers(const TOVString& indicationClass,
                                    const TOVSmrPtr<ITovaObject>& object) const;
  // "OMX:" + getProviderName() + "." + the next counter value (from 1).
  virtual TOVString getNextIndicationIdentifier();

  TOVSmrPtr<ITovaRepository> getTovaRepository() const { return _tovaRepository; }
  TOVString getWorkAreaPath() const { return _workAreaPath; }
  bool getIndicationsEnabled() const { return _indicationsEnabled; }

  // Configured in section "KEST" (keys "SMIProfileRegistrationVersion" and
  // "SMIServerProfileVersion"), read at every call; "1.0.0" and "1.1.0" when
  // the key or the configuration manager is missing.
  static TOVString getSMIProfileRegistrationVersion();
  static TOVString getSMIServerProfileVersion();

 protected:
  TOVSmrPtr<ITovaRepository> _tovaRepository;
  InstanceManager _instanceManager;
  TOVString _workAreaPath;
  TOVSmrPtr<ITovaSubscriber> _subscriberInterface;
  TOVSmrPtr<IProviderContext> _providerContext;
  bool _indicationsEnabled;
  int _subscriptionCount;
  TOVAtomicInt indicationIDCounter;

 private:
  // The cached object named instanceName, found through the provider's own
  // getInstance; when there is none, logs missingMessage and returns null.
  TOVSmrPtr<ITovaObject> observedObject(const TOVSmrPtr<ITovaInstanceName>& instanceName,
                                        const TOVSmrPtr<ITovaTransaction>& transaction,
                                        const char* missingMessage);
};

}  // namespace kest::pf
