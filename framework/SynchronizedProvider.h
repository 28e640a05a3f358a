#pragma once

#include <map>
#include <memory>
#include <optional>

#include "framework/Provider.h"
#include "framework/ProviderLock.h"

namespace kest::pf {

// SynchronizedProvider: a Provider whose requests are serialised against the
// provider's own changes to its cache, for providers that refresh the cache
// from a poll thread (PollManager) while the host calls them. The framework's
// cache takes no locks; this class adds one ProviderLock and takes it
// around every operation that reads or changes the cache or the provider's
// indication state:
//   shared (requests may run together): enumerateInstances,
//     enumerateInstanceNames, getInstance, associators, associatorNames,
//     references, referenceNames (every form) and executeMethod;
//   exclusive: registerObserver, deregisterObserver, activateSubscription,
//     deactivateSubscription, enableIndications, disableIndications,
//     setProviderContext and initialize.
// Everything else is Provider's, unchanged. Provider code changes the cache
// only while it holds an UpdateGuard (typically around the whole of its
// factory's update()), and reads it outside requests under a RequestGuard.
//
// Indications outside the lock: while a thread holds the lock exclusively,
// every indication the framework raises on it (creations and deletions
// through the provider context, modifications to per-instance observers) is
// queued instead of delivered, and the thread delivers the queue, in order,
// right after its outermost UpdateGuard has released the lock. So a
// subscriber that calls back into the provider, or hands the indication to
// another thread that does, never waits for a lock held on its behalf; and
// when an indication arrives the cache already shows the change. Deliveries
// from different threads are serialised, in the order they were queued. A
// delivery that throws is logged (source "kest::pf::SynchronizedProvider",
// message "Deferred indication delivery failed: " + the error's message,
// severity 1) and the next one goes on. Outside an exclusive hold, deliveries
// go straight through, and their failures propagate as in Provider.
//
// To make this work, getProviderContext() returns a forwarding context
// (null while no context is set; it hands out the host's server description
// as it is), and observers registered for
// IndicationChange are stored on instances as forwarding subscribers, one
// per subscriber (kept while a registration may still be live, at most until
// the provider is destroyed); register and deregister the same subscriber
// object to pair them as usual.
//
// Fairness: an update waiting for the lock gets it once the requests already
// running have returned; requests that arrive meanwhile wait behind it (a
// thread already inside a request passes through, see ProviderLock). So a
// refresh is delayed by at most one request's duration however busy the
// provider is. A request must therefore not wait for another thread that
// calls this provider.
//
// Reads after a request returns: the lock covers the request call only. The
// host takes the objects a request hands back (a getInstance result, the
// objects put into a collector or list, the object a native indication
// carries) and reads them after the lock is released, while it writes its
// answer: getClassName (keeping the returned reference for the whole
// object), getInstanceName, getNumberOfProperties followed by getPropertyAt
// for each index, getPropertyByName, and the ITovaProperty and ITovaValue
// objects those return. These reads may run at the same time as the next
// UpdateGuard changing the same object, and the host keeps a purged object
// alive (through its reference) until it has finished with it. What holds
// for such reads:
//   - Instance itself keeps no property values (its property accessors
//     answer none) and synchronises nothing. Its class name and instance
//     name are plain members: they are safe to read unlocked only because
//     they do not change once the object is registered. Assigning _className
//     or calling setInstanceName on a registered object races with these
//     reads (and renaming also breaks the cache's lookup by name).
//   - The refresh stamp, the observer list and the associations are read and
//     changed by the framework only under the lock (raise _fireIndications
//     from provider code only under an UpdateGuard); the host does not read
//     them after a request.
//   - Property values are the derived class's own, and so is their safety:
//     the framework replaces nothing atomically. A derived class that changes
//     them while cached must make each accessor call safe against that
//     change, for example by keeping its values as one immutable snapshot
//     that the update swaps under a small lock of the object's own (or an
//     atomic shared pointer), each call reading one whole snapshot. Property
//     and value objects once returned must never change. Successive calls
//     may see different snapshots: a property count and the getPropertyAt
//     calls after it may straddle an update, so getPropertyAt answers null
//     for an index the current snapshot does not have (the host skips null
//     properties), and destroy() must leave reads working.
//
// Threads: every request may be called from any thread. The guards follow
// ProviderLock's rules (re-entrant; a shared holder cannot take the lock
// exclusively, which throws).
class SynchronizedProvider : public Provider {
 public:
  // Holds the provider's lock exclusively for provider code that changes the
  // cache; when the thread's outermost guard ends, the lock is released and
  // then the queued indications are delivered on this thread.
  class UpdateGuard {
   public:
    explicit UpdateGuard(SynchronizedProvider& provider);
    ~UpdateGuard();
    UpdateGuard(const UpdateGuard&) = delete;
    UpdateGuard& operator=(const UpdateGuard&) = delete;

   private:
    SynchronizedProvider& _provider;
    std::optional<ProviderLock::Exclusive> _hold;
  };

  // Holds the provider's lock shared for provider code that reads the cache
  // outside a request.
  class RequestGuard {
   public:
    explicit RequestGuard(SynchronizedProvider& provider);
    ~RequestGuard();
    RequestGuard(const RequestGuard&) = delete;
    RequestGuard& operator=(const RequestGuard&) = delete;

   private:
    ProviderLock::Shared _hold;
  };

  SynchronizedProvider();
  ~SynchronizedProvider() override;

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
  TOVSmrPtr<ITovaValue> executeMethod(TOVString nameSpace,
                                      TOVSmrPtr<ITovaInstanceName> instanceName,
                                      TOVString methodName, ParameterList inParameterList,
                                      ParameterList outParameterList,
                                      TOVSmrPtr<ITovaTransaction> tovaTransaction) override;

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
  int activateSubscription(const TOVSmrPtr<ITovaInstanceName>& filterName, const ClassList& classes,
                           const TOVSmrPtr<IQueryStatement>& query) override;
  int deactivateSubscription(const TOVSmrPtr<ITovaInstanceName>& filterName,
                             const ClassList& classes,
                             const TOVSmrPtr<IQueryStatement>& query) override;
  int enableIndications() override;
  int disableIndications() override;
  void initialize(TOVSmrPtr<ITovaRepository> tovaRepository) override;
  // Keeps providerContext behind the forwarding context.
  void setProviderContext(const TOVSmrPtr<IProviderContext>& providerContext) override;
  // The forwarding context, or null while no context is set.
  TOVSmrPtr<IProviderContext> getProviderContext() const override;

  // The provider's lock, for observation (who holds it, who waits for it);
  // holds are taken through UpdateGuard and RequestGuard.
  const ProviderLock& providerLock() const;

 private:
  class Dispatch;

  // A subscriber's forwarding stand-in and the number of its change
  // registrations that may still be live.
  struct Observer {
    TOVSmrPtr<ITovaSubscriber> forwarder;
    unsigned registrations;
  };

  // Shared with the forwarding context and subscribers, which may outlive
  // the provider inside objects the host still holds.
  std::shared_ptr<Dispatch> _dispatch;
  // Made once, forwards to the context set last (the base's
  // _providerContext stays null).
  TOVSmrPtr<IProviderContext> _forwardingContext;
  // Keyed by the subscriber the host registered. Guarded by the lock held
  // exclusively.
  std::map<const ITovaSubscriber*, Observer> _observers;
};

}  // namespace kest::pf
