#include "framework/SynchronizedProvider.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <future>
#include <iterator>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "framework/Class.h"
#include "framework/InstanceManager.h"
#include "host/Exception.h"
#include "host/Indication.h"
#include "host/Log.h"
#include "host/RecordingProviderContext.h"
#include "streaming/VectorCollector.h"
#include "support/ObjectModelBuilders.h"
#include "support/TestInstances.h"
#include "support/TestProvider.h"
#include "tests/support/Thrown.h"

using kest::RecordingProviderContext;
using kest::VectorCollector;
using kest::pf::SynchronizedProvider;
using kest::testing::ClassTree;
using kest::testing::make;
using kest::testing::makeName;
using kest::testing::names;
using kest::testing::SynchronizedTestProvider;
using kest::testing::TestInstance;
using kest::testing::Thrown;
using kest::testing::thrownAs;

namespace {

constexpr const char* kDisk = "KEST_Disk";

// Bounds the waits for other threads; a passing test never reaches it.
constexpr std::chrono::milliseconds kLimit{30000};

TOVSmrPtr<ITovaInstanceName> diskName(int id) { return makeName(kDisk, "Id", make(id)); }

// A disk that reports changes of its own properties.
class ChangingDisk : public TestInstance {
 public:
  ChangingDisk(kest::pf::InstanceManager& manager, int id)
      : TestInstance(manager, kDisk, diskName(id)) {}
  void changed(std::initializer_list<const char*> items) {
    _fireIndications(ITovaIndication::IndicationChange, names(items), TOVSmrPtr<ITovaObject>());
  }
};

// Records what it is notified of; an optional action runs inside notify().
class RecordingSubscriber : public ITovaSubscriber {
 public:
  void notify(const TOVSmrPtr<ITovaIndication>& indication) override {
    {
      const std::lock_guard<std::mutex> lock(_mutex);
      _received.push_back(indication);
    }
    if (onNotify) onNotify();
  }
  std::vector<TOVSmrPtr<ITovaIndication>> received() const {
    const std::lock_guard<std::mutex> lock(_mutex);
    return _received;
  }
  std::function<void()> onNotify;

 private:
  mutable std::mutex _mutex;
  std::vector<TOVSmrPtr<ITovaIndication>> _received;
};

// A context whose deliveries fail.
class FailingContext : public kest::IProviderContext {
 public:
  void deliverIndication(const TOVString&, const TOVSmrPtr<ITovaObject>&) override {
    throw TovaBaseException("Test", "deliverIndication", "", "delivery refused", 3);
  }
  void deliverLegacyIndication(const TOVSmrPtr<ITovaIndication>&) override {
    ++attempts;
    throw TovaBaseException("Test", "deliverLegacyIndication", "", "delivery refused", 3);
  }
  std::atomic<int> attempts{0};
};

// Where two requests wait for each other: each arrives and then waits until
// both have arrived (so both can only get through if they run together).
class Meeting {
 public:
  // Returns whether the other request arrived within the limit.
  bool arriveAndWait() {
    std::unique_lock<std::mutex> lock(_mutex);
    ++_arrived;
    _changed.notify_all();
    return _changed.wait_for(lock, kLimit, [&] { return _arrived >= 2; });
  }

 private:
  std::mutex _mutex;
  std::condition_variable _changed;
  int _arrived = 0;
};

// Meets the other request at its first add.
class MeetingCollector : public kest::ICollector<TOVSmrPtr<ITovaObject>> {
 public:
  explicit MeetingCollector(Meeting& meeting) : _meeting(meeting) {}
  void add(const TOVSmrPtr<ITovaObject>& /*item*/) override {
    if (_arrived) return;
    _arrived = true;
    _met = _meeting.arriveAndWait();
  }
  bool met() const { return _met; }

 private:
  Meeting& _meeting;
  bool _arrived = false;
  bool _met = false;
};

class SynchronizedProviderTest : public ::testing::Test {
 protected:
  SynchronizedProviderTest() : _context(new RecordingProviderContext()) {
    _provider.getInstanceManager().registerClass(_classes.make(kDisk));
  }

  kest::pf::InstanceManager& cache() { return _provider.getInstanceManager(); }

  TOVSmrPtr<ChangingDisk> cachedDisk(int id) {
    const TOVSmrPtr<ChangingDisk> disk(new ChangingDisk(cache(), id));
    cache().registerInstance(disk);
    return disk;
  }

  void withIndications() {
    _provider.setProviderContext(_context);
    _provider.enableIndications();
  }

  ClassTree _classes;
  SynchronizedTestProvider _provider;
  TOVSmrPtr<RecordingProviderContext> _context;
};

TEST_F(SynchronizedProviderTest, RequestWaitsWhileAnUpdateHoldsTheLock) {
  cachedDisk(1);
  std::atomic<bool> answered{false};
  std::jthread request;
  {
    const SynchronizedProvider::UpdateGuard update(_provider);
    request = std::jthread([&] {
      VectorCollector<TOVSmrPtr<ITovaObject>> results;
      _provider.enumerateInstances(results, "root/test", kDisk, nullptr, nullptr);
      answered = true;
    });
    ASSERT_TRUE(_provider.providerLock().awaitWaiting(0, 1, kLimit));
    EXPECT_FALSE(answered);
  }
  request.join();
  EXPECT_TRUE(answered);
}

TEST_F(SynchronizedProviderTest, NewRequestWaitsBehindAWaitingUpdate) {
  cachedDisk(1);
  std::mutex orderMutex;
  std::vector<std::string> order;
  const auto note = [&](const char* event) {
    const std::lock_guard<std::mutex> guard(orderMutex);
    order.emplace_back(event);
  };
  std::jthread update;
  std::jthread request;
  {
    const SynchronizedProvider::RequestGuard running(_provider);
    update = std::jthread([&] {
      const SynchronizedProvider::UpdateGuard guard(_provider);
      note("update");
    });
    ASSERT_TRUE(_provider.providerLock().awaitWaiting(1, 0, kLimit));
    request = std::jthread([&] {
      VectorCollector<TOVSmrPtr<ITovaObject>> results;
      _provider.enumerateInstances(results, "root/test", kDisk, nullptr, nullptr);
      note("request");
    });
    ASSERT_TRUE(_provider.providerLock().awaitWaiting(1, 1, kLimit));
    // This thread is inside a request: a nested request passes the waiting
    // update instead of deadlocking behind it.
    EXPECT_FALSE(_provider.getInstance("root/test", diskName(1), nullptr).isNull());
  }
  update.join();
  request.join();
  EXPECT_EQ(order, (std::vector<std::string>{"update", "request"}));
}

TEST_F(SynchronizedProviderTest, RequestsRunTogether) {
  cachedDisk(1);
  Meeting meeting;
  MeetingCollector first(meeting);
  MeetingCollector second(meeting);
  std::thread other(
      [&] { _provider.enumerateInstances(second, "root/test", kDisk, nullptr, nullptr); });
  _provider.enumerateInstances(first, "root/test", kDisk, nullptr, nullptr);
  other.join();
  EXPECT_TRUE(first.met());
  EXPECT_TRUE(second.met());
}

TEST_F(SynchronizedProviderTest, ProviderCodeHoldingARequestGuardCannotStartAnUpdate) {
  const SynchronizedProvider::RequestGuard reading(_provider);
  const Thrown thrown = thrownAs<TovaBaseException>(
      [&] { const SynchronizedProvider::UpdateGuard update(_provider); });
  EXPECT_TRUE(thrown.caught);
  EXPECT_EQ(thrown.where, "kest::pf::ProviderLock::Exclusive");
}

TEST_F(SynchronizedProviderTest, ProviderContextIsNullUntilOneIsSet) {
  EXPECT_TRUE(_provider.getProviderContext().isNull());
  _provider.setProviderContext(_context);
  EXPECT_FALSE(_provider.getProviderContext().isNull());
  _provider.setProviderContext(nullptr);
  EXPECT_TRUE(_provider.getProviderContext().isNull());
}

TEST_F(SynchronizedProviderTest, RegistrationWithIndicationsButNoContextFailsAsInProvider) {
  _provider.enableIndications();
  const TOVSmrPtr<ChangingDisk> disk(new ChangingDisk(cache(), 1));
  const Thrown thrown = thrownAs<TovaBaseException>([&] { cache().registerInstance(disk); });
  EXPECT_EQ(thrown.type, "NullPointer");
}

TEST_F(SynchronizedProviderTest, IndicationOutsideAnUpdateIsDeliveredAtOnce) {
  withIndications();
  cachedDisk(1);
  ASSERT_EQ(_context->legacyIndications().size(), 1u);
  EXPECT_EQ(_context->legacyIndications()[0]->getIndicationType(),
            ITovaIndication::IndicationCreation);
}

TEST_F(SynchronizedProviderTest, IndicationsRaisedInAnUpdateArriveInOrderAfterItEnds) {
  withIndications();
  _provider.activateSubscription(nullptr, nullptr, nullptr);
  {
    const SynchronizedProvider::UpdateGuard update(_provider);
    const TOVSmrPtr<ChangingDisk> disk = cachedDisk(1);
    cache().deregisterInstance(disk);
    EXPECT_EQ(_context->callCount(), 0u);
  }
  const std::vector<RecordingProviderContext::Call> calls = _context->calls();
  ASSERT_EQ(calls.size(), 4u);
  EXPECT_EQ(calls[0].kind, RecordingProviderContext::CallKind::Indication);
  EXPECT_EQ(calls[0].indication->getClassName(), "CIM_InstCreation");
  EXPECT_EQ(calls[1].legacyIndication->getIndicationType(), ITovaIndication::IndicationCreation);
  EXPECT_EQ(calls[2].indication->getClassName(), "CIM_InstDeletion");
  EXPECT_EQ(calls[3].legacyIndication->getIndicationType(), ITovaIndication::IndicationDestruction);
}

TEST_F(SynchronizedProviderTest, NestedUpdateDeliversOnlyWhenTheOutermostEnds) {
  withIndications();
  {
    const SynchronizedProvider::UpdateGuard outer(_provider);
    {
      const SynchronizedProvider::UpdateGuard inner(_provider);
      cachedDisk(1);
    }
    EXPECT_EQ(_context->callCount(), 0u);
  }
  EXPECT_EQ(_context->callCount(), 1u);
}

TEST_F(SynchronizedProviderTest, ChangeNotificationReachesTheObserverAfterTheLockIsReleased) {
  withIndications();
  const TOVSmrPtr<ChangingDisk> disk = cachedDisk(1);
  const TOVSmrPtr<RecordingSubscriber> observer(new RecordingSubscriber());
  // A request on another thread can only be answered while nobody holds the
  // lock exclusively.
  std::future<void> otherRequest;
  observer->onNotify = [&] {
    otherRequest = std::async(std::launch::async, [&] {
      VectorCollector<TOVSmrPtr<ITovaObject>> results;
      _provider.enumerateInstances(results, "root/test", kDisk, nullptr, nullptr);
    });
    EXPECT_EQ(otherRequest.wait_for(std::chrono::seconds(10)), std::future_status::ready);
  };
  EXPECT_TRUE(_provider
                  .registerObserver(diskName(1), observer, ITovaIndication::IndicationChange,
                                    nullptr, nullptr)
                  ->getAsBool());
  {
    const SynchronizedProvider::UpdateGuard update(_provider);
    disk->changed({"Size"});
    EXPECT_TRUE(observer->received().empty());
  }
  const std::vector<TOVSmrPtr<ITovaIndication>> received = observer->received();
  ASSERT_EQ(received.size(), 1u);
  EXPECT_EQ(received[0]->getIndicationType(), ITovaIndication::IndicationChange);
  EXPECT_EQ(received[0]->getChangedProperties()->at(0), "Size");
  otherRequest.wait();
  // The subscriber keeps the indications, which hold the object that holds
  // the registration: end the registration as a host does.
  _provider.deregisterObserver(diskName(1), observer, ITovaIndication::IndicationChange, nullptr,
                               nullptr);
}

TEST_F(SynchronizedProviderTest, ObserverMayCallTheProviderFromItsNotification) {
  withIndications();
  const TOVSmrPtr<ChangingDisk> disk = cachedDisk(1);
  const TOVSmrPtr<RecordingSubscriber> observer(new RecordingSubscriber());
  TOVSmrPtr<ITovaObject> seen;
  observer->onNotify = [&] { seen = _provider.getInstance("root/test", diskName(1), nullptr); };
  _provider.registerObserver(diskName(1), observer, ITovaIndication::IndicationChange, nullptr,
                             nullptr);
  disk->changed({"Size"});
  EXPECT_EQ(seen.get(), disk.get());
  // The subscriber keeps the indications, which hold the object that holds
  // the registration: end the registration as a host does.
  _provider.deregisterObserver(diskName(1), observer, ITovaIndication::IndicationChange, nullptr,
                               nullptr);
}

TEST_F(SynchronizedProviderTest, SubscriberRegisteredTwiceIsRemovedByTwoDeregistrations) {
  withIndications();
  const TOVSmrPtr<ChangingDisk> disk = cachedDisk(1);
  const TOVSmrPtr<RecordingSubscriber> observer(new RecordingSubscriber());
  for (int i = 0; i < 2; ++i) {
    _provider.registerObserver(diskName(1), observer, ITovaIndication::IndicationChange, nullptr,
                               nullptr);
  }
  ASSERT_EQ(disk->observers().entries(), 1u);
  EXPECT_TRUE(_provider
                  .deregisterObserver(diskName(1), observer, ITovaIndication::IndicationChange,
                                      nullptr, nullptr)
                  ->getAsBool());
  EXPECT_EQ(disk->observers().entries(), 1u);
  EXPECT_TRUE(_provider
                  .deregisterObserver(diskName(1), observer, ITovaIndication::IndicationChange,
                                      nullptr, nullptr)
                  ->getAsBool());
  EXPECT_EQ(disk->observers().entries(), 0u);
  disk->changed({"Size"});
  EXPECT_TRUE(observer->received().empty());
  EXPECT_FALSE(_provider
                   .deregisterObserver(diskName(1), observer, ITovaIndication::IndicationChange,
                                       nullptr, nullptr)
                   ->getAsBool());
}

TEST_F(SynchronizedProviderTest, OneSubscriberOnTwoObjectsSharesOneStandIn) {
  withIndications();
  const TOVSmrPtr<ChangingDisk> first = cachedDisk(1);
  const TOVSmrPtr<ChangingDisk> second = cachedDisk(2);
  const TOVSmrPtr<RecordingSubscriber> observer(new RecordingSubscriber());
  _provider.registerObserver(diskName(1), observer, ITovaIndication::IndicationChange, nullptr,
                             nullptr);
  _provider.registerObserver(diskName(2), observer, ITovaIndication::IndicationChange, nullptr,
                             nullptr);
  EXPECT_EQ(first->observers().at(0)->getSubscriber().get(),
            second->observers().at(0)->getSubscriber().get());
  _provider.deregisterObserver(diskName(1), observer, ITovaIndication::IndicationChange, nullptr,
                               nullptr);
  second->changed({"Size"});
  EXPECT_EQ(observer->received().size(), 1u);
  // The subscriber keeps the indications, which hold the object that holds
  // the registration: end the registration as a host does.
  _provider.deregisterObserver(diskName(2), observer, ITovaIndication::IndicationChange, nullptr,
                               nullptr);
}

TEST_F(SynchronizedProviderTest, ObserverOfAnUncachedObjectIsRefusedAndNotKept) {
  withIndications();
  const TOVSmrPtr<RecordingSubscriber> observer(new RecordingSubscriber());
  const TOVScopedLogCapture capture;
  EXPECT_FALSE(_provider
                   .registerObserver(diskName(9), observer, ITovaIndication::IndicationChange,
                                     nullptr, nullptr)
                   ->getAsBool());
  EXPECT_EQ(capture.sink().count("A NULL instance name was passed into registerObserver."), 1u);
  // The stand-in was dropped, so the subscriber is held by this test only.
  EXPECT_EQ(observer.useCount(), 1);
}

TEST_F(SynchronizedProviderTest, CreationObserverIsAcceptedWithoutBeingStored) {
  const TOVSmrPtr<ChangingDisk> disk = cachedDisk(1);
  const TOVSmrPtr<RecordingSubscriber> observer(new RecordingSubscriber());
  EXPECT_TRUE(_provider
                  .registerObserver(diskName(1), observer, ITovaIndication::IndicationCreation,
                                    nullptr, nullptr)
                  ->getAsBool());
  EXPECT_EQ(disk->observers().entries(), 0u);
  EXPECT_EQ(observer.useCount(), 1);
}

TEST_F(SynchronizedProviderTest, FailedDeferredDeliveryIsLoggedAndTheNextOneGoesOn) {
  const TOVSmrPtr<FailingContext> failing(new FailingContext());
  _provider.setProviderContext(failing);
  _provider.enableIndications();
  const TOVScopedLogCapture capture;
  {
    const SynchronizedProvider::UpdateGuard update(_provider);
    cachedDisk(1);
    cachedDisk(2);
  }
  EXPECT_EQ(failing->attempts.load(), 2);
  EXPECT_EQ(capture.sink().count("Deferred indication delivery failed: delivery refused"), 2u);
  const std::vector<TOVLogRecord> records = capture.records();
  ASSERT_FALSE(records.empty());
  EXPECT_EQ(records[0].source, "kest::pf::SynchronizedProvider");
  EXPECT_EQ(records[0].severity, 1);
  EXPECT_EQ(records[0].verbosity, 2);
  EXPECT_EQ(records[0].category, TOVLog::CIMOMLOG);
}

TEST_F(SynchronizedProviderTest, FailedDeliveryOutsideAnUpdateReachesTheCaller) {
  const TOVSmrPtr<FailingContext> failing(new FailingContext());
  _provider.setProviderContext(failing);
  _provider.enableIndications();
  const Thrown thrown = thrownAs<TovaBaseException>([&] { cachedDisk(1); });
  EXPECT_EQ(thrown.message, "delivery refused");
}

TEST_F(SynchronizedProviderTest, RequestsAreAnsweredFromTheCacheAsByProvider) {
  const TOVSmrPtr<ChangingDisk> disk = cachedDisk(1);
  EXPECT_EQ(_provider.getInstance("root/test", diskName(1), nullptr).get(), disk.get());
  EXPECT_EQ(_provider.enumerateInstances("root/test", kDisk, nullptr)->entries(), 1u);
  VectorCollector<TOVSmrPtr<ITovaInstanceName>> names;
  _provider.enumerateInstanceNames(names, "root/test", kDisk, nullptr);
  ASSERT_EQ(std::distance(names.begin(), names.end()), 1);
  EXPECT_EQ(names.begin()->get(), disk->getInstanceName().get());
}

TEST_F(SynchronizedProviderTest, SubscriptionsAndTheIndicationSwitchChangeAsInProvider) {
  _provider.activateSubscription(nullptr, nullptr, nullptr);
  _provider.activateSubscription(nullptr, nullptr, nullptr);
  _provider.deactivateSubscription(nullptr, nullptr, nullptr);
  EXPECT_EQ(_provider.subscriptionCount(), 1);
  _provider.enableIndications();
  EXPECT_TRUE(_provider.getIndicationsEnabled());
  _provider.disableIndications();
  EXPECT_FALSE(_provider.getIndicationsEnabled());
}

TEST_F(SynchronizedProviderTest, TheForwardingContextHandsOutTheHostsServerDescription) {
  kest::ServerDescription description;
  description.productName = "a server";
  _provider.setProviderContext(_context);
  EXPECT_EQ(_provider.getProviderContext()->getServerDescription(), nullptr);
  _context->setServerDescription(&description);
  EXPECT_EQ(_provider.getProviderContext()->getServerDescription(), &description);
}

}  // namespace
