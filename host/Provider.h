#pragma once

#include <iosfwd>

#include "host/ActualParameter.h"
#include "host/Collector.h"
#include "host/Http.h"
#include "host/Indication.h"
#include "host/InstanceName.h"
#include "host/List.h"
#include "host/Object.h"
#include "host/ProviderContext.h"
#include "host/Repository.h"
#include "host/SmartPointer.h"
#include "host/String.h"
#include "host/Value.h"

namespace kest {

// IProvider: the host's provider interface. The host loads a provider, hands
// it its repository, work area and context, and then calls the request
// operations from its request threads, possibly concurrently. Whatever a
// request throws reaches the host, which turns it into the CIM status its
// client sees.
//
// The virtual operations are declared in the host's slot order; a provider
// class keeps that order. Every operation is pure except the
// processHTTPRequest form with a response (which does nothing) and the
// destructor.
//
// propertyList arguments are the requested property lists (null: all).
class IProvider {
 public:
  using PropertyList = TOVSmrPtr<TOVValSlist<TOVString>>;
  using ParameterList = TOVSmrPtr<TOVValSlist<TOVSmrPtr<ITovaActualParameter>>>;
  using ObjectList = TOVSmrPtr<TOVValSlist<TOVSmrPtr<ITovaObject>>>;
  using ValueList = TOVSmrPtr<TOVValSlist<TOVSmrPtr<ITovaValue>>>;
  using ClassList = TOVSmrPtr<TOVValSlist<TOVSmrPtr<ITovaClass>>>;

  virtual void setProperty(const TOVString& nameSpace,
                           const TOVSmrPtr<ITovaInstanceName>& instanceName,
                           const TOVString& propertyName, const TOVSmrPtr<ITovaValue>& value,
                           const TOVSmrPtr<ITovaTransaction>& tovaTransaction) = 0;
  virtual void enumerateInstanceNames(ICollector<TOVSmrPtr<ITovaInstanceName>>& results,
                                      const TOVString& nameSpace, const TOVString& className,
                                      const TOVSmrPtr<ITovaTransaction>& tovaTransaction) = 0;
  virtual void referenceNames(ICollector<TOVSmrPtr<ITovaInstanceName>>& results,
                              const TOVString& nameSpace,
                              const TOVSmrPtr<ITovaInstanceName>& instanceName,
                              const TOVSmrPtr<ITovaTransaction>& tovaTransaction,
                              const TOVString& resultClassName, const TOVString& role) = 0;
  virtual void associatorNames(ICollector<TOVSmrPtr<ITovaInstanceName>>& results,
                               const TOVString& nameSpace,
                               const TOVSmrPtr<ITovaInstanceName>& instanceName,
                               const TOVSmrPtr<ITovaTransaction>& tovaTransaction,
                               const TOVString& assocClassName, const TOVString& resultClassName,
                               const TOVString& role, const TOVString& resultRole) = 0;
  virtual void enumerateClassNames(ICollector<TOVString>& results, const TOVString& nameSpace) = 0;
  virtual void enumerateClasses(ICollector<TOVSmrPtr<ITovaClass>>& results,
                                const TOVString& nameSpace) = 0;
  virtual TOVSmrPtr<ITovaClass> getClass(const TOVString& nameSpace,
                                         const TOVString& className) = 0;
  virtual void startTransaction(const TOVSmrPtr<ITovaTransaction>& tovaTransaction) = 0;
  virtual void endTransaction(const TOVSmrPtr<ITovaTransaction>& tovaTransaction) = 0;
  virtual TOVSmrPtr<ITovaObject> getInstance(TOVString nameSpace,
                                             TOVSmrPtr<ITovaInstanceName> instanceName,
                                             TOVSmrPtr<ITovaTransaction> tovaTransaction) = 0;
  virtual void getInstance(TOVSmrPtr<ITovaObject>& results, const TOVString& nameSpace,
                           TOVSmrPtr<ITovaInstanceName> instanceName,
                           TOVSmrPtr<ITovaTransaction> tovaTransaction,
                           const PropertyList& propertyList) = 0;
  virtual ObjectList enumerateInstances(TOVString nameSpace, TOVString className,
                                        TOVSmrPtr<ITovaTransaction> tovaTransaction) = 0;
  virtual void enumerateInstances(ICollector<TOVSmrPtr<ITovaObject>>& results,
                                  const TOVString& nameSpace, const TOVString& className,
                                  const TOVSmrPtr<ITovaTransaction>& tovaTransaction,
                                  const PropertyList& propertyList) = 0;
  virtual void references(ICollector<TOVSmrPtr<ITovaObject>>& results, const TOVString& nameSpace,
                          const TOVSmrPtr<ITovaInstanceName>& instanceName,
                          const TOVSmrPtr<ITovaTransaction>& tovaTransaction,
                          const TOVString& resultClassName, const TOVString& role,
                          const PropertyList& propertyList) = 0;
  virtual ObjectList references(TOVString nameSpace, TOVSmrPtr<ITovaInstanceName> instanceName,
                                TOVSmrPtr<ITovaTransaction> tovaTransaction,
                                TOVString resultClassName, TOVString role) = 0;
  virtual ValueList associators(TOVString nameSpace, TOVSmrPtr<ITovaInstanceName> instanceName,
                                TOVSmrPtr<ITovaTransaction> tovaTransaction,
                                TOVString assocClassName, TOVString resultClassName, TOVString role,
                                TOVString resultRole) = 0;
  virtual void associators(ICollector<TOVSmrPtr<ITovaValue>>& results, const TOVString& nameSpace,
                           const TOVSmrPtr<ITovaInstanceName>& instanceName,
                           const TOVSmrPtr<ITovaTransaction>& tovaTransaction,
                           const TOVString& assocClassName, const TOVString& resultClassName,
                           const TOVString& role, const TOVString& resultRole,
                           const PropertyList& propertyList) = 0;
  virtual TOVSmrPtr<ITovaInstanceName> createInstance(
      TOVString nameSpace, TOVSmrPtr<ITovaObject> instance,
      TOVSmrPtr<ITovaTransaction> tovaTransaction) = 0;
  virtual void deleteInstance(const TOVString& nameSpace,
                              const TOVSmrPtr<ITovaInstanceName>& instanceName,
                              const TOVSmrPtr<ITovaTransaction>& tovaTransaction) = 0;
  virtual void modifyInstance(const TOVString& nameSpace, const TOVSmrPtr<ITovaObject>& instance,
                              const PropertyList& propertyList,
                              const TOVSmrPtr<ITovaTransaction>& tovaTransaction) = 0;
  virtual TOVSmrPtr<ITovaValue> executeMethod(TOVString nameSpace,
                                              TOVSmrPtr<ITovaInstanceName> instanceName,
                                              TOVString methodName, ParameterList inParameterList,
                                              ParameterList outParameterList,
                                              TOVSmrPtr<ITovaTransaction> tovaTransaction) = 0;
  virtual TOVSmrPtr<ITovaValue> registerObserver(TOVSmrPtr<ITovaInstanceName> instanceName,
                                                 TOVSmrPtr<ITovaSubscriber> subscriber,
                                                 ITovaIndication::IndicationType indicationType,
                                                 TOVSmrPtr<ITovaSubscriptionFilter> filter,
                                                 TOVSmrPtr<ITovaTransaction> transaction) = 0;
  virtual TOVSmrPtr<ITovaValue> deregisterObserver(TOVSmrPtr<ITovaInstanceName> instanceName,
                                                   TOVSmrPtr<ITovaSubscriber> subscriber,
                                                   ITovaIndication::IndicationType indicationType,
                                                   TOVSmrPtr<ITovaSubscriptionFilter> filter,
                                                   TOVSmrPtr<ITovaTransaction> transaction) = 0;
  virtual void processHTTPRequest(TOVGenericHTTPIStream& istr, TOVGenericHTTPOStream& ostr,
                                  TOVHTTPRequest& request, bool& persistConnection,
                                  TOVSmrPtr<ITovaTransaction> tovaTransaction) = 0;
  // Does nothing here.
  virtual void processHTTPRequest(TOVGenericHTTPIStream& istr, TOVGenericHTTPOStream& ostr,
                                  TOVHTTPRequest& request, TOVHTTPResponse& response,
                                  bool& persistConnection,
                                  TOVSmrPtr<ITovaTransaction> tovaTransaction);
  virtual void startup() = 0;
  virtual void postStartup() = 0;
  virtual void postStartupIsComplete() = 0;
  virtual void shutdown() = 0;
  virtual TOVString getVersion() = 0;
  virtual void initialize(TOVSmrPtr<ITovaRepository> tovaRepository) = 0;
  virtual void setWorkArea(const TOVString& workAreaPath) = 0;
  virtual TOVString getProviderName() const = 0;
  virtual void debugDump(unsigned int level, std::ostream& out) = 0;
  virtual TOVSmrPtr<ITovaSubscriber> getStaticSubscriber() = 0;
  virtual void setStaticSubscriber(TOVSmrPtr<ITovaSubscriber> subscriber) = 0;
  // Subscription hooks return 0 for success (granted), a CIM status otherwise.
  virtual int authorizeSubscription(const TOVSmrPtr<ITovaInstanceName>& filterName,
                                    const ClassList& classes,
                                    const TOVSmrPtr<IQueryStatement>& query) = 0;
  virtual int activateSubscription(const TOVSmrPtr<ITovaInstanceName>& filterName,
                                   const ClassList& classes,
                                   const TOVSmrPtr<IQueryStatement>& query) = 0;
  virtual int deactivateSubscription(const TOVSmrPtr<ITovaInstanceName>& filterName,
                                     const ClassList& classes,
                                     const TOVSmrPtr<IQueryStatement>& query) = 0;
  virtual int enableIndications() = 0;
  virtual int disableIndications() = 0;
  virtual void setProviderContext(const TOVSmrPtr<IProviderContext>& providerContext) = 0;
  virtual TOVSmrPtr<IProviderContext> getProviderContext() const = 0;
  virtual ~IProvider();
};

}  // namespace kest
