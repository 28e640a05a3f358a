#include "framework/SynchronizedProvider.h"

#include <functional>
#include <mutex>
#include <utility>
#include <vector>

#include "host/CriticalSection.h"
#include "host/Exception.h"
#include "host/Log.h"

namespace kest::pf {

// The lock, the queue of indications held back while a thread holds the lock
// exclusively, and the context they go to.
class SynchronizedProvider::Dispatch {
 public:
  ProviderLock lock;

  // Runs delivery now, or queues it when this thread holds the lock
  // exclusively.
  void deliverOrQueue(std::function<void()> delivery) {
    if (!lock.isHeldExclusivelyByCurrentThread()) {
      delivery();
      return;
    }
    const std::lock_guard<std::mutex> guard(_queueMutex);
    _queue.push_back(std::move(delivery));
  }

  // Delivers everything queued, in order. Called without the lock. Holding
  // _deliveryOrder across the deliveries keeps batches of different threads
  // apart; it is re-entrant so that a delivery may end an update of its own.
  void flush() {
    const TOVCriticalSectionGuard order(_deliveryOrder);
    for (;;) {
      std::vector<std::function<void()>> batch;
      {
        const std::lock_guard<std::mutex> guard(_queueMutex);
        if (_queue.empty()) return;
        batch.swap(_queue);
      }
      for (const std::function<void()>& delivery : batch) {
        try {
          delivery();
        } catch (const TovaBaseException& error) {
          logFailure(error.getMessage());
        } catch (const std::exception& error) {
          logFailure(error.what());
        } catch (...) {
          logFailure("unknown exception");
        }
      }
    }
  }

  TOVSmrPtr<IProviderContext> target() const {
    const std::lock_guard<std::mutex> guard(_targetMutex);
    return _target;
  }
  void setTarget(const TOVSmrPtr<IProviderContext>& target) {
    const std::lock_guard<std::mutex> guard(_targetMutex);
    _target = target;
  }

 private:
  // Runs in a guard's destructor: nothing may leave it.
  static void logFailure(const TOVString& message) noexcept {
    try {
      TOVLog::log("kest::pf::SynchronizedProvider",
                  TOVString("Deferred indication delivery failed: ") + message, 1, 2, 0,
                  TOVLog::CIMOMLOG);
    } catch (...) {
      // Nothing more can be reported.
    }
  }

  std::mutex _queueMutex;
  std::vector<std::function<void()>> _queue;  // guarded by _queueMutex
  TOVCriticalSection _deliveryOrder;
  mutable std::mutex _targetMutex;
  TOVSmrPtr<IProviderContext> _target;  // guarded by _targetMutex
};

namespace {

// The two forwarders are templates on the dispatch type only because that
// type is private to SynchronizedProvider.

// Forwards deliveries to the provider's context, held back under the lock.
template <typename D>
class ForwardingContext : public IProviderContext {
 public:
  explicit ForwardingContext(std::shared_ptr<D> dispatch) : _dispatch(std::move(dispatch)) {}

  void deliverIndication(const TOVString& nameSpace,
                         const TOVSmrPtr<ITovaObject>& indication) override {
    const TOVSmrPtr<IProviderContext> target = _dispatch->target();
    _dispatch->deliverOrQueue(
        [target, nameSpace, indication] { target->deliverIndication(nameSpace, indication); });
  }
  void deliverLegacyIndication(const TOVSmrPtr<ITovaIndication>& indication) override {
    const TOVSmrPtr<IProviderContext> target = _dispatch->target();
    _dispatch->deliverOrQueue(
        [target, indication] { target->deliverLegacyIndication(indication); });
  }
  // Not an indication: nothing to hold back.
  const kest::ServerDescription* getServerDescription() const override {
    const TOVSmrPtr<IProviderContext> target = _dispatch->target();
    return target ? target->getServerDescription() : nullptr;
  }

 private:
  std::shared_ptr<D> _dispatch;
};

// Stands in for one observer on the instances; forwards notifications, held
// back under the lock.
template <typename D>
class ForwardingSubscriber : public ITovaSubscriber {
 public:
  ForwardingSubscriber(std::shared_ptr<D> dispatch, TOVSmrPtr<ITovaSubscriber> target)
      : _dispatch(std::move(dispatch)), _target(std::move(target)) {}

  void notify(const TOVSmrPtr<ITovaIndication>& indication) override {
    const TOVSmrPtr<ITovaSubscriber> target = _target;
    _dispatch->deliverOrQueue([target, indication] { target->notify(indication); });
  }

 private:
  std::shared_ptr<D> _dispatch;
  TOVSmrPtr<ITovaSubscriber> _target;
};

bool isTrue(const TOVSmrPtr<ITovaValue>& value) { return value && value->getAsBool(); }

}  // namespace

SynchronizedProvider::UpdateGuard::UpdateGuard(SynchronizedProvider& provider)
    : _provider(provider) {
  _hold.emplace(_provider._dispatch->lock);
}

SynchronizedProvider::UpdateGuard::~UpdateGuard() {
  const bool outermost = _hold->isOutermost();
  _hold.reset();
  if (outermost) _provider._dispatch->flush();
}

SynchronizedProvider::RequestGuard::RequestGuard(SynchronizedProvider& provider)
    : _hold(provider._dispatch->lock) {}

SynchronizedProvider::RequestGuard::~RequestGuard() = default;

SynchronizedProvider::SynchronizedProvider()
    : _dispatch(std::make_shared<Dispatch>()),
      _forwardingContext(new ForwardingContext<Dispatch>(_dispatch)) {}

SynchronizedProvider::~SynchronizedProvider() = default;

// --- Requests: shared -------------------------------------------------------------

void SynchronizedProvider::enumerateInstanceNames(
    ICollector<TOVSmrPtr<ITovaInstanceName>>& results, const TOVString& nameSpace,
    const TOVString& className, const TOVSmrPtr<ITovaTransaction>& tovaTransaction) {
  const RequestGuard guard(*this);
  Provider::enumerateInstanceNames(results, nameSpace, className, tovaTransaction);
}

void SynchronizedProvider::referenceNames(ICollector<TOVSmrPtr<ITovaInstanceName>>& results,
                                          const TOVString& nameSpace,
                                          const TOVSmrPtr<ITovaInstanceName>& instanceName,
                                          const TOVSmrPtr<ITovaTransaction>& tovaTransaction,
                                          const TOVString& resultClassName, const TOVString& role) {
  const RequestGuard guard(*this);
  Provider::referenceNames(results, nameSpace, instanceName, tovaTransaction, resultClassName,
                           role);
}

void SynchronizedProvider::associatorNames(ICollector<TOVSmrPtr<ITovaInstanceName>>& results,
                                           const TOVString& nameSpace,
                                           const TOVSmrPtr<ITovaInstanceName>& instanceName,
                                           const TOVSmrPtr<ITovaTransaction>& tovaTransaction,
                                           const TOVString& assocClassName,
                                           const TOVString& resultClassName, const TOVString& role,
                                           const TOVString& resultRole) {
  const RequestGuard guard(*this);
  Provider::associatorNames(results, nameSpace, instanceName, tovaTransaction, assocClassName,
                            resultClassName, role, resultRole);
}

TOVSmrPtr<ITovaObject> SynchronizedProvider::getInstance(
    TOVString nameSpace, TOVSmrPtr<ITovaInstanceName> instanceName,
    TOVSmrPtr<ITovaTransaction> tovaTransaction) {
  const RequestGuard guard(*this);
  return Provider::getInstance(std::move(nameSpace), std::move(instanceName),
                               std::move(tovaTransaction));
}

void SynchronizedProvider::getInstance(TOVSmrPtr<ITovaObject>& results, const TOVString& nameSpace,
                                       TOVSmrPtr<ITovaInstanceName> instanceName,
                                       TOVSmrPtr<ITovaTransaction> tovaTransaction,
                                       const PropertyList& propertyList) {
  const RequestGuard guard(*this);
  Provider::getInstance(results, nameSpace, std::move(instanceName), std::move(tovaTransaction),
                        propertyList);
}

IProvider::ObjectList SynchronizedProvider::enumerateInstances(
    TOVString nameSpace, TOVString className, TOVSmrPtr<ITovaTransaction> tovaTransaction) {
  const RequestGuard guard(*this);
  return Provider::enumerateInstances(std::move(nameSpace), std::move(className),
                                      std::move(tovaTransaction));
}

void SynchronizedProvider::enumerateInstances(ICollector<TOVSmrPtr<ITovaObject>>& results,
                                              const TOVString& nameSpace,
                                              const TOVString& className,
                                              const TOVSmrPtr<ITovaTransaction>& tovaTransaction,
                                              const PropertyList& propertyList) {
  const RequestGuard guard(*this);
  Provider::enumerateInstances(results, nameSpace, className, tovaTransaction, propertyList);
}

void SynchronizedProvider::references(ICollector<TOVSmrPtr<ITovaObject>>& results,
                                      const TOVString& nameSpace,
                                      const TOVSmrPtr<ITovaInstanceName>& instanceName,
                                      const TOVSmrPtr<ITovaTransaction>& tovaTransaction,
                                      const TOVString& resultClassName, const TOVString& role,
                                      const PropertyList& propertyList) {
  const RequestGuard guard(*this);
  Provider::references(results, nameSpace, instanceName, tovaTransaction, resultClassName, role,
                       propertyList);
}

IProvider::ObjectList SynchronizedProvider::references(TOVString nameSpace,
                                                       TOVSmrPtr<ITovaInstanceName> instanceName,
                                                       TOVSmrPtr<ITovaTransaction> tovaTransaction,
                                                       TOVString resultClassName, TOVString role) {
  const RequestGuard guard(*this);
  return Provider::references(std::move(nameSpace), std::move(instanceName),
                              std::move(tovaTransaction), std::move(resultClassName),
                              std::move(role));
}

IProvider::ValueList SynchronizedProvider::associators(TOVString nameSpace,
                                                       TOVSmrPtr<ITovaInstanceName> instanceName,
                                                       TOVSmrPtr<ITovaTransaction> tovaTransaction,
                                                       TOVString assocClassName,
                                                       TOVString resultClassName, TOVString role,
                                                       TOVString resultRole) {
  const RequestGuard guard(*this);
  return Provider::associators(std::move(nameSpace), std::move(instanceName),
                               std::move(tovaTransaction), std::move(assocClassName),
                               std::move(resultClassName), std::move(role), std::move(resultRole));
}

void SynchronizedProvider::associators(ICollector<TOVSmrPtr<ITovaValue>>& results,
                                       const TOVString& nameSpace,
                                       const TOVSmrPtr<ITovaInstanceName>& instanceName,
                                       const TOVSmrPtr<ITovaTransaction>& tovaTransaction,
                                       const TOVString& assocClassName,
                                       const TOVString& resultClassName, const TOVString& role,
                                       const TOVString& resultRole,
                                       const PropertyList& propertyList) {
  const RequestGuard guard(*this);
  Provider::associators(results, nameSpace, instanceName, tovaTransaction, assocClassName,
                        resultClassName, role, resultRole, propertyList);
}

TOVSmrPtr<ITovaValue> SynchronizedProvider::executeMethod(
    TOVString nameSpace, TOVSmrPtr<ITovaInstanceName> instanceName, TOVString methodName,
    ParameterList inParameterList, ParameterList outParameterList,
    TOVSmrPtr<ITovaTransaction> tovaTransaction) {
  const RequestGuard guard(*this);
  return Provider::executeMethod(std::move(nameSpace), std::move(instanceName),
                                 std::move(methodName), std::move(inParameterList),
                                 std::move(outParameterList), std::move(tovaTransaction));
}

// --- Requests: exclusive ----------------------------------------------------------

TOVSmrPtr<ITovaValue> SynchronizedProvider::registerObserver(
    TOVSmrPtr<ITovaInstanceName> instanceName, TOVSmrPtr<ITovaSubscriber> subscriber,
    ITovaIndication::IndicationType indicationType, TOVSmrPtr<ITovaSubscriptionFilter> filter,
    TOVSmrPtr<ITovaTransaction> transaction) {
  const UpdateGuard guard(*this);
  // Only change observers are stored on the instance.
  if (indicationType != ITovaIndication::IndicationChange || !subscriber) {
    return Provider::registerObserver(std::move(instanceName), std::move(subscriber),
                                      indicationType, std::move(filter), std::move(transaction));
  }
  const auto [it, added] = _observers.try_emplace(subscriber.get(), Observer{{}, 0});
  if (added) {
    it->second.forwarder =
        TOVSmrPtr<ITovaSubscriber>(new ForwardingSubscriber<Dispatch>(_dispatch, subscriber));
  }
  TOVSmrPtr<ITovaValue> result;
  try {
    result = Provider::registerObserver(std::move(instanceName), it->second.forwarder,
                                        indicationType, std::move(filter), std::move(transaction));
  } catch (...) {
    if (it->second.registrations == 0) _observers.erase(it);
    throw;
  }
  if (isTrue(result)) {
    ++it->second.registrations;
  } else if (it->second.registrations == 0) {
    _observers.erase(it);
  }
  return result;
}

TOVSmrPtr<ITovaValue> SynchronizedProvider::deregisterObserver(
    TOVSmrPtr<ITovaInstanceName> instanceName, TOVSmrPtr<ITovaSubscriber> subscriber,
    ITovaIndication::IndicationType indicationType, TOVSmrPtr<ITovaSubscriptionFilter> filter,
    TOVSmrPtr<ITovaTransaction> transaction) {
  const UpdateGuard guard(*this);
  const auto it = indicationType == ITovaIndication::IndicationChange
                      ? _observers.find(subscriber.get())
                      : _observers.end();
  if (it == _observers.end()) {
    return Provider::deregisterObserver(std::move(instanceName), std::move(subscriber),
                                        indicationType, std::move(filter), std::move(transaction));
  }
  const TOVSmrPtr<ITovaValue> result =
      Provider::deregisterObserver(std::move(instanceName), it->second.forwarder, indicationType,
                                   std::move(filter), std::move(transaction));
  if (isTrue(result) && --it->second.registrations == 0) _observers.erase(it);
  return result;
}

int SynchronizedProvider::activateSubscription(const TOVSmrPtr<ITovaInstanceName>& filterName,
                                               const ClassList& classes,
                                               const TOVSmrPtr<IQueryStatement>& query) {
  const UpdateGuard guard(*this);
  return Provider::activateSubscription(filterName, classes, query);
}

int SynchronizedProvider::deactivateSubscription(const TOVSmrPtr<ITovaInstanceName>& filterName,
                                                 const ClassList& classes,
                                                 const TOVSmrPtr<IQueryStatement>& query) {
  const UpdateGuard guard(*this);
  return Provider::deactivateSubscription(filterName, classes, query);
}

int SynchronizedProvider::enableIndications() {
  const UpdateGuard guard(*this);
  return Provider::enableIndications();
}

int SynchronizedProvider::disableIndications() {
  const UpdateGuard guard(*this);
  return Provider::disableIndications();
}

void SynchronizedProvider::initialize(TOVSmrPtr<ITovaRepository> tovaRepository) {
  const UpdateGuard guard(*this);
  Provider::initialize(std::move(tovaRepository));
}

void SynchronizedProvider::setProviderContext(const TOVSmrPtr<IProviderContext>& providerContext) {
  const UpdateGuard guard(*this);
  _dispatch->setTarget(providerContext);
}

TOVSmrPtr<IProviderContext> SynchronizedProvider::getProviderContext() const {
  if (!_dispatch->target()) return TOVSmrPtr<IProviderContext>();
  return _forwardingContext;
}

const ProviderLock& SynchronizedProvider::providerLock() const { return _dispatch->lock; }

}  // namespace kest::pf
