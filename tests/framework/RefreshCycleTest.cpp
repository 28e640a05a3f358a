// A whole refresh cycle with real threads: a poll manager keeps a provider's
// cache in line with a managed system that changes underneath it, while
// another thread serves requests from the cache. The provider serialises the
// two with a mutex of its own; the framework takes none.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "framework/Class.h"
#include "framework/Context.h"
#include "framework/Instance.h"
#include "framework/InstanceFactory.h"
#include "framework/InstanceManager.h"
#include "framework/PollManager.h"
#include "host/Indication.h"
#include "host/InstanceName.h"
#include "host/Log.h"
#include "host/Object.h"
#include "host/Provider.h"
#include "host/RecordingProviderContext.h"
#include "host/Repository.h"
#include "host/SmartPointer.h"
#include "host/String.h"
#include "host/Time.h"
#include "streaming/VectorCollector.h"
#include "support/ClassTableRepository.h"
#include "support/ObjectModelBuilders.h"
#include "support/TestInstances.h"
#include "support/TestProvider.h"
#include "tests/support/WaitUntil.h"

using kest::RecordingProviderContext;
using kest::VectorCollector;
using kest::pf::Class;
using kest::pf::Context;
using kest::pf::Instance;
using kest::pf::InstanceFactory;
using kest::pf::PollManager;
using kest::testing::ClassTree;
using kest::testing::Key;
using kest::testing::make;
using kest::testing::makeName;
using kest::testing::makePath;
using kest::testing::refTo;
using kest::testing::TestInstance;
using kest::testing::TestProvider;
using kest::testing::waitUntil;

namespace {

constexpr const char* kPool = "KEST_StoragePool";
constexpr const char* kDisk = "KEST_DiskDrive";
constexpr const char* kMember = "KEST_PoolMember";

TOVSmrPtr<ITovaInstanceName> objectName(const char* className, const std::string& id) {
  return makeName(className, {Key{"SystemName", make("array1")}, Key{"DeviceID", make(id.c_str())}},
                  makePath("array1", "root/kest"));
}

TOVSmrPtr<ITovaInstanceName> memberName(const std::string& diskId) {
  return makeName(kMember,
                  {Key{"GroupComponent", refTo(objectName(kPool, "pool0"))},
                   Key{"PartComponent", refTo(objectName(kDisk, diskId))}},
                  makePath("array1", "root/kest"));
}

// An association that takes itself out of the cache when the disk it joins
// goes away.
class PoolMember : public TestInstance {
 public:
  using TestInstance::TestInstance;

  void destroy(const TOVString& reason) override {
    TestInstance::destroy(reason);
    getInstanceManager().deregisterInstance(getSmartThis());
  }
};

// The managed system: the disks that are there right now.
class ManagedSystem {
 public:
  explicit ManagedSystem(std::set<std::string> disks) : _disks(std::move(disks)) {}
  std::set<std::string> disks() const {
    const std::lock_guard<std::mutex> lock(_mutex);
    return _disks;
  }
  void remove(const std::string& id) {
    const std::lock_guard<std::mutex> lock(_mutex);
    _disks.erase(id);
  }
  void add(const std::string& id) {
    const std::lock_guard<std::mutex> lock(_mutex);
    _disks.insert(id);
  }

 private:
  mutable std::mutex _mutex;
  std::set<std::string> _disks;
};

// What one poll found, stamped with the time of the poll.
class Snapshot : public Context {
 public:
  explicit Snapshot(std::set<std::string> disks) : disks(std::move(disks)) {}
  const std::set<std::string> disks;
};

// Declares one pool, its disks and the memberships joining them.
class PoolProvider : public TestProvider {
 public:
  void startup() override {
    TestProvider::startup();
    getInstanceManager().registerClass(_classes.make(kPool));
    getInstanceManager().registerClass(_classes.make(kDisk));
    getInstanceManager().registerClass(_classes.make(kMember, true));
    getInstanceManager().addAssociation(kDisk, kMember);
    const TOVSmrPtr<TestInstance> pool(
        new TestInstance(getInstanceManager(), kPool, objectName(kPool, "pool0")));
    getInstanceManager().registerInstance(pool);
  }

  // Held by the poll thread while it updates the cache and by every request.
  std::mutex& lock() { return _lock; }

 private:
  ClassTree _classes;
  std::mutex _lock;
};

// Brings the provider's cache in line with the managed system.
class DiskFactory : public InstanceFactory {
 public:
  DiskFactory(PoolProvider& provider, const ManagedSystem& system)
      : InstanceFactory("Array"), _provider(provider), _system(system) {}

  TOVSmrPtr<Context> poll() override { return TOVSmrPtr<Context>(new Snapshot(_system.disks())); }

  void update(TOVSmrPtr<Context>& context) override {
    const Snapshot& snapshot = dynamic_cast<const Snapshot&>(*context);
    const long stamp = static_cast<long>(snapshot.getCurrentTimeStamp());
    kest::pf::InstanceManager& cache = _provider.getInstanceManager();
    {
      const std::lock_guard<std::mutex> lock(_provider.lock());
      for (const std::string& id : snapshot.disks) {
        const TOVSmrPtr<Instance> cached =
            cache.getInstance(objectName(kDisk, id)).dynamicCast<Instance>();
        if (!cached.isNull()) {
          cached->setUpdateStamp(stamp);
          continue;
        }
        const TOVSmrPtr<TestInstance> disk(new TestInstance(cache, kDisk, objectName(kDisk, id)));
        disk->setProperty("DeviceID", make(id.c_str()));
        disk->setUpdateStamp(stamp);
        cache.registerInstance(disk);
        const TOVSmrPtr<PoolMember> member(new PoolMember(cache, kMember, memberName(id)));
        member->setProperty("GroupComponent", refTo(objectName(kPool, "pool0")));
        member->setProperty("PartComponent", refTo(disk->getInstanceName()));
        cache.registerInstance(member);
      }
      cache.purge(kDisk, stamp);
    }
    ++_cycles;
  }

  int cycles() const { return _cycles.load(); }

 private:
  PoolProvider& _provider;
  const ManagedSystem& _system;
  std::atomic<int> _cycles{0};
};

class RefreshCycleTest : public ::testing::Test {
 protected:
  RefreshCycleTest()
      : _host(_provider),
        _context(new RecordingProviderContext()),
        _system({"disk0", "disk1", "disk2", "disk3", "disk4"}),
        _factory(_provider, _system) {}

  void SetUp() override {
    // Every reading of the host clock is a new second, so no two cycles
    // share a stamp however fast they follow each other.
    CI_AbsTime::setClockForTesting([this](std::int64_t& seconds, long& nanoseconds) {
      seconds = 1700000000 + _ticks.fetch_add(1);
      nanoseconds = 0;
    });
    _host.initialize(
        TOVSmrPtr<ITovaRepository>(new kest::testing::ClassTableRepository("root/kest")));
    _host.setProviderContext(_context);
    _host.startup();
    _host.postStartup();
    _host.postStartupIsComplete();
    ASSERT_EQ(_host.enableIndications(), 0);
  }

  void TearDown() override {
    _host.shutdown();
    CI_AbsTime::resetClock();
  }

  // The disk ids the cache serves; call with the provider's lock held.
  std::set<std::string> cachedDisks() {
    VectorCollector<TOVSmrPtr<ITovaObject>> results;
    _host.enumerateInstances(results, "root/kest", kDisk, nullptr, nullptr);
    std::set<std::string> ids;
    for (const TOVSmrPtr<ITovaObject>& disk : results) {
      ids.insert(disk->getPropertyByName("DeviceID", true)->getValue()->getAsString().c_str());
    }
    return ids;
  }
  std::size_t cachedMembers() {
    VectorCollector<TOVSmrPtr<ITovaObject>> results;
    _host.enumerateInstances(results, "root/kest", kMember, nullptr, nullptr);
    return results.rep.size();
  }

  // Waits for two whole cycles that began after now.
  void waitForFreshCycles() {
    const int seen = _factory.cycles();
    ASSERT_TRUE(waitUntil([&] { return _factory.cycles() >= seen + 2; }));
  }

  std::atomic<std::int64_t> _ticks{0};
  PoolProvider _provider;
  kest::IProvider& _host;
  TOVSmrPtr<RecordingProviderContext> _context;
  ManagedSystem _system;
  DiskFactory _factory;
};

}  // namespace

TEST_F(RefreshCycleTest, DisksThatDisappearLeaveTheCacheWithTheirMembershipsWhileRequestsGoOn) {
  TOVScopedLogCapture capture;
  PollManager pollManager(_factory, "ArrayPoller", 10);

  // A client asking for the disks and for disk0 all along; every answer must
  // show a consistent cache: one membership per disk.
  std::atomic<bool> stopRequests{false};
  std::atomic<int> requests{0};
  std::atomic<int> inconsistent{0};
  std::thread client([&] {
    while (!stopRequests.load()) {
      {
        const std::lock_guard<std::mutex> lock(_provider.lock());
        const std::set<std::string> disks = cachedDisks();
        if (disks.size() != cachedMembers()) ++inconsistent;
        const TOVSmrPtr<ITovaObject> disk0 =
            _host.getInstance("root/kest", objectName(kDisk, "disk0"), nullptr);
        if (!disks.empty() && disk0.isNull()) ++inconsistent;
      }
      ++requests;
      std::this_thread::yield();
    }
  });

  pollManager.start();
  waitForFreshCycles();
  {
    const std::lock_guard<std::mutex> lock(_provider.lock());
    EXPECT_EQ(cachedDisks(), (std::set<std::string>{"disk0", "disk1", "disk2", "disk3", "disk4"}));
    EXPECT_EQ(cachedMembers(), 5u);
  }
  const std::size_t indicationsBefore = _context->callCount();

  _system.remove("disk1");
  _system.remove("disk3");
  _system.add("disk5");
  waitForFreshCycles();

  {
    const std::lock_guard<std::mutex> lock(_provider.lock());
    EXPECT_EQ(cachedDisks(), (std::set<std::string>{"disk0", "disk2", "disk4", "disk5"}));
    EXPECT_EQ(cachedMembers(), 4u);
    EXPECT_TRUE(_host.getInstance("root/kest", objectName(kDisk, "disk1"), nullptr).isNull());
    EXPECT_TRUE(_host.getInstance("root/kest", memberName("disk3"), nullptr).isNull());
  }
  ASSERT_TRUE(waitUntil([&] { return requests.load() >= 10; }));
  pollManager.stopPolling();
  pollManager.join();
  stopRequests = true;
  client.join();

  EXPECT_EQ(inconsistent.load(), 0);
  // Native indications only (no subscriptions): five disks and their
  // memberships at first; then disk5 and its membership arrive, and disk1 and
  // disk3 leave, each after its membership.
  const std::vector<TOVSmrPtr<ITovaIndication>> legacy = _context->legacyIndications();
  EXPECT_TRUE(_context->indications().empty());
  ASSERT_EQ(indicationsBefore, 10u);
  ASSERT_EQ(legacy.size(), 16u);
  for (std::size_t i = 0; i < indicationsBefore; ++i) {
    EXPECT_EQ(legacy[i]->getIndicationType(), ITovaIndication::IndicationCreation);
  }
  std::vector<std::string> created, destroyed;
  for (std::size_t i = indicationsBefore; i < legacy.size(); ++i) {
    const TOVSmrPtr<ITovaObject> object = legacy[i]->getObject();
    std::string label = object->getClassName().c_str();
    if (object->getClassName() == kDisk) {
      label += ":";
      label += object->getPropertyByName("DeviceID", true)->getValue()->getAsString().c_str();
    }
    if (legacy[i]->getIndicationType() == ITovaIndication::IndicationCreation) {
      created.push_back(label);
    } else {
      EXPECT_EQ(static_cast<int>(legacy[i]->getIndicationType()), 16);
      destroyed.push_back(label);
    }
  }
  EXPECT_EQ(created, (std::vector<std::string>{"KEST_DiskDrive:disk5", "KEST_PoolMember"}));
  ASSERT_EQ(destroyed.size(), 4u);
  EXPECT_EQ(destroyed[0], "KEST_PoolMember");
  EXPECT_EQ(destroyed[2], "KEST_PoolMember");
  EXPECT_EQ((std::set<std::string>{destroyed[1], destroyed[3]}),
            (std::set<std::string>{"KEST_DiskDrive:disk1", "KEST_DiskDrive:disk3"}));

  // Nothing went wrong on the poll thread.
  for (const TOVLogRecord& record : capture.records()) {
    EXPECT_EQ(record.source, "Array");
    EXPECT_EQ(record.message, "Polling ...");
    EXPECT_EQ(record.severity, 4);
    EXPECT_EQ(record.verbosity, 2);
    EXPECT_EQ(record.flags, 0);
    EXPECT_EQ(record.category, TOVLog::CIMOMLOG);
  }
  EXPECT_GE(capture.records().size(), 4u);
}
