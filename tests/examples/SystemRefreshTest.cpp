// The system provider's refresh cycle over a fixture machine that changes
// between cycles: processes that exit, start, reuse an id or move to another
// parent, file systems that are unmounted and interfaces that go away, with
// the lifecycle indications and the change reports to observers they raise.

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "host/Indication.h"
#include "tests/examples/SystemProviderTesting.h"
#include "tests/support/WaitUntil.h"

using kest::VectorCollector;
using kest::testing::elementName;
using kest::testing::FixtureProcess;
using kest::testing::label;
using kest::testing::processName;
using kest::testing::sorted;
using kest::testing::systemName;
using kest::testing::waitUntil;

namespace {

constexpr int kCreated = ITovaIndication::IndicationCreation;
constexpr int kDeleted = ITovaIndication::IndicationDestruction;

std::string indicationText(int type, const std::string& what) {
  return std::to_string(type) + ":" + what;
}

// Keeps what it is notified of: "<type>:<label>:<changed names>".
class RecordingSubscriber : public ITovaSubscriber {
 public:
  void notify(const TOVSmrPtr<ITovaIndication>& indication) override {
    std::string text = std::to_string(indication->getIndicationType()) + ":" +
                       label(indication->getObject()->getInstanceName()) + ":";
    const TOVSmrPtr<TOVValSlist<TOVString>> changed = indication->getChangedProperties();
    if (changed) {
      bool first = true;
      for (const TOVString& name : *changed) {
        text += (first ? "" : ",") + name.toStdString();
        first = false;
      }
    }
    const std::lock_guard<std::mutex> lock(_mutex);
    _received.push_back(text);
  }
  std::vector<std::string> received() const {
    const std::lock_guard<std::mutex> lock(_mutex);
    return _received;
  }

 private:
  mutable std::mutex _mutex;
  std::vector<std::string> _received;  // guarded by _mutex
};

class SystemRefreshTest : public kest::testing::SystemProviderFixture {
 protected:
  SystemRefreshTest() {
    provider().enableIndications();
    _context->clear();
  }

  TOVSmrPtr<RecordingSubscriber> observe(const TOVSmrPtr<ITovaInstanceName>& name,
                                         TOVSmrPtr<ITovaSubscriptionFilter> filter = {}) {
    const TOVSmrPtr<RecordingSubscriber> subscriber(new RecordingSubscriber());
    const TOVSmrPtr<ITovaValue> registered = provider().registerObserver(
        name, subscriber, ITovaIndication::IndicationChange, std::move(filter), nullptr);
    EXPECT_TRUE(registered->getAsBool());
    return subscriber;
  }

  std::vector<std::string> sortedIndications() const { return sorted(legacyIndications()); }
};

TEST_F(SystemRefreshTest, ProcessThatExitsLeavesWithItsAssociationsAndADeletionIndication) {
  ASSERT_EQ(associatorNames(processName(100), kest::examples::kParentProcessClass),
            (std::vector<std::string>{"KEST_Process:1", "KEST_Process:200"}));
  _fixture.removeProcess(200);
  provider().refreshNow();

  EXPECT_FALSE(get(processName(200)));
  EXPECT_EQ(sorted(enumerateNames(kest::examples::kProcessClass)),
            (std::vector<std::string>{"KEST_Process:1", "KEST_Process:100", "KEST_Process:2"}));
  EXPECT_EQ(associatorNames(systemName(), kest::examples::kSystemProcessClass),
            (std::vector<std::string>{"KEST_Process:1", "KEST_Process:100", "KEST_Process:2"}));
  EXPECT_EQ(associatorNames(processName(100), kest::examples::kParentProcessClass),
            (std::vector<std::string>{"KEST_Process:1"}));
  EXPECT_EQ(sorted(enumerateNames(kest::examples::kParentProcessClass)),
            (std::vector<std::string>{"KEST_ParentProcess:1>100"}));
  EXPECT_EQ(sortedIndications(), (std::vector<std::string>{
                                     indicationText(kDeleted, "KEST_ParentProcess:100>200"),
                                     indicationText(kDeleted, "KEST_Process:200"),
                                     indicationText(kDeleted, "KEST_SystemProcess:testhost>200")}));
}

TEST_F(SystemRefreshTest, ProcessThatStartsIsLinkedToTheSystemAndItsParent) {
  _fixture.addProcess({300, "top", 'R', 200, 1, 1, 20, 0, 1, 900000, 1000, 10, "top"});
  provider().refreshNow();

  EXPECT_EQ(valueOf(processName(300), "Command"), "top");
  EXPECT_EQ(associatorNames(processName(300)),
            (std::vector<std::string>{"KEST_ComputerSystem:testhost", "KEST_Process:200"}));
  EXPECT_EQ(sortedIndications(), (std::vector<std::string>{
                                     indicationText(kCreated, "KEST_ParentProcess:200>300"),
                                     indicationText(kCreated, "KEST_Process:300"),
                                     indicationText(kCreated, "KEST_SystemProcess:testhost>300")}));
}

TEST_F(SystemRefreshTest, UnchangedMachineRaisesNoIndications) {
  const TOVSmrPtr<RecordingSubscriber> subscriber = observe(processName(100));
  provider().refreshNow();
  provider().refreshNow();
  EXPECT_TRUE(legacyIndications().empty());
  EXPECT_TRUE(subscriber->received().empty());
  EXPECT_EQ(enumerateNames(kest::examples::kProcessClass).size(), 4u);
}

TEST_F(SystemRefreshTest, ChangedPropertiesAreReportedToObserversWithTheirNames) {
  const TOVSmrPtr<RecordingSubscriber> subscriber = observe(processName(100));
  const TOVSmrPtr<RecordingSubscriber> other = observe(processName(200));
  // bash now runs with more user time and a second thread.
  _fixture.addProcess(
      {100, "bash", 'R', 1, 25, 10, 20, 0, 2, 12345, 9000000, 1200, std::string("-bash\0", 6)});
  provider().refreshNow();

  EXPECT_EQ(subscriber->received(),
            (std::vector<std::string>{std::to_string(ITovaIndication::IndicationChange) +
                                      ":KEST_Process:100:State,Threads,UserModeTime"}));
  EXPECT_TRUE(other->received().empty());
  EXPECT_EQ(valueOf(processName(100), "Threads"), "2");
  // A change is no lifecycle event.
  EXPECT_TRUE(legacyIndications().empty());
}

TEST_F(SystemRefreshTest, ObserverWithAFilterHearsOnlyOfItsProperties) {
  const TOVSmrPtr<RecordingSubscriber> threads = observe(
      processName(100), TOVSmrPtr<ITovaSubscriptionFilter>(
                            new CTovaPropertyListFilter(kest::testing::names({"Threads"}))));
  _fixture.addProcess(
      {100, "bash", 'S', 1, 25, 10, 20, 0, 1, 12345, 9000000, 1200, std::string("-bash\0", 6)});
  provider().refreshNow();
  EXPECT_TRUE(threads->received().empty());

  _fixture.addProcess(
      {100, "bash", 'S', 1, 25, 10, 20, 0, 3, 12345, 9000000, 1200, std::string("-bash\0", 6)});
  provider().refreshNow();
  EXPECT_EQ(threads->received(),
            (std::vector<std::string>{std::to_string(ITovaIndication::IndicationChange) +
                                      ":KEST_Process:100:Threads"}));
}

TEST_F(SystemRefreshTest, ChangedFileSystemAndInterfaceFiguresAreReported) {
  const TOVSmrPtr<RecordingSubscriber> root =
      observe(elementName(kest::examples::kFileSystemClass, "/"));
  const TOVSmrPtr<RecordingSubscriber> eth0 =
      observe(elementName(kest::examples::kNetworkInterfaceClass, "eth0"));
  _fixture.setVolume("/", kest::examples::VolumeUsage{4096, 100000000000ULL, 39000000000ULL,
                                                      34000000000ULL, 6000000, 5000000});
  _fixture.write("sys/class/net/eth0/statistics/rx_bytes", "123999999\n");
  provider().refreshNow();

  const std::string change = std::to_string(ITovaIndication::IndicationChange);
  EXPECT_EQ(root->received(),
            (std::vector<std::string>{change + ":KEST_FileSystem:/:FreeBytes,AvailableBytes"}));
  EXPECT_EQ(eth0->received(),
            (std::vector<std::string>{change + ":KEST_NetworkInterface:eth0:BytesReceived"}));
  EXPECT_EQ(valueOf(elementName(kest::examples::kNetworkInterfaceClass, "eth0"), "BytesReceived"),
            "123999999");
}

TEST_F(SystemRefreshTest, ReusedProcessIdIsANewProcess) {
  const TOVSmrPtr<RecordingSubscriber> subscriber = observe(processName(200));
  // 200 exited and a new process got its id, started later, under init.
  _fixture.addProcess({200, "cron", 'S', 1, 0, 0, 20, 0, 1, 700000, 1000, 10, "cron"});
  provider().refreshNow();

  EXPECT_EQ(valueOf(processName(200), "Command"), "cron");
  EXPECT_EQ(associatorNames(processName(200), kest::examples::kParentProcessClass),
            (std::vector<std::string>{"KEST_Process:1"}));
  EXPECT_EQ(associatorNames(processName(100), kest::examples::kParentProcessClass),
            (std::vector<std::string>{"KEST_Process:1"}));
  EXPECT_EQ(sortedIndications(),
            sorted({indicationText(kCreated, "KEST_ParentProcess:1>200"),
                    indicationText(kCreated, "KEST_Process:200"),
                    indicationText(kCreated, "KEST_SystemProcess:testhost>200"),
                    indicationText(kDeleted, "KEST_ParentProcess:100>200"),
                    indicationText(kDeleted, "KEST_Process:200"),
                    indicationText(kDeleted, "KEST_SystemProcess:testhost>200")}));
  // The old object's observer heard of no change: the new process is another object.
  EXPECT_TRUE(subscriber->received().empty());
}

TEST_F(SystemRefreshTest, ProcessWhoseParentExitsMovesToItsNewParent) {
  // 100 exits; its child 200 is reparented to init.
  _fixture.removeProcess(100);
  _fixture.addProcess({200, "sleep", 'R', 1, 7, 3, 30, 10, 2, 500050, 5500000, 200,
                       std::string("sleep\0"
                                   "100\0",
                                   10)});
  provider().refreshNow();

  EXPECT_EQ(associatorNames(processName(200), kest::examples::kParentProcessClass),
            (std::vector<std::string>{"KEST_Process:1"}));
  EXPECT_EQ(associatorNames(processName(1), kest::examples::kParentProcessClass),
            (std::vector<std::string>{"KEST_Process:200"}));
  EXPECT_EQ(sorted(enumerateNames(kest::examples::kParentProcessClass)),
            (std::vector<std::string>{"KEST_ParentProcess:1>200"}));
  EXPECT_EQ(valueOf(processName(200), "ParentProcessId"), "1");
}

TEST_F(SystemRefreshTest, ProcessThatMovesToALiveParentLeavesTheOldOne) {
  _fixture.addProcess({200, "sleep", 'R', 2, 7, 3, 30, 10, 2, 500050, 5500000, 200,
                       std::string("sleep\0"
                                   "100\0",
                                   10)});
  provider().refreshNow();

  EXPECT_EQ(associatorNames(processName(200), kest::examples::kParentProcessClass),
            (std::vector<std::string>{"KEST_Process:2"}));
  EXPECT_EQ(associatorNames(processName(100), kest::examples::kParentProcessClass),
            (std::vector<std::string>{"KEST_Process:1"}));
  EXPECT_EQ(sortedIndications(), sorted({indicationText(kCreated, "KEST_ParentProcess:2>200"),
                                         indicationText(kDeleted, "KEST_ParentProcess:100>200")}));
}

TEST_F(SystemRefreshTest, UnmountedFileSystemAndRemovedInterfaceLeaveTheCache) {
  _fixture.setMounts("/dev/sda1 / ext4 rw,relatime 0 0\n");
  _fixture.remove("sys/class/net/eth0");
  provider().refreshNow();

  EXPECT_EQ(
      associatorNames(systemName(), kest::examples::kSystemComponentClass, "KEST_LogicalElement"),
      (std::vector<std::string>{"KEST_FileSystem:/", "KEST_NetworkInterface:lo", "KEST_Process:1",
                                "KEST_Process:100", "KEST_Process:2", "KEST_Process:200"}));
  EXPECT_EQ(sortedIndications(),
            (std::vector<std::string>{
                indicationText(kDeleted, "KEST_FileSystem:/run/user 1000"),
                indicationText(kDeleted, "KEST_NetworkInterface:eth0"),
                indicationText(kDeleted, "KEST_SystemFileSystem:testhost>/run/user 1000"),
                indicationText(kDeleted, "KEST_SystemNetworkInterface:testhost>eth0")}));
}

TEST_F(SystemRefreshTest, WithoutIndicationsTheCacheStillFollowsTheMachine) {
  provider().disableIndications();
  const TOVSmrPtr<RecordingSubscriber> subscriber = observe(processName(100));
  _fixture.removeProcess(200);
  _fixture.addProcess(
      {100, "bash", 'R', 1, 20, 10, 20, 0, 1, 12345, 9000000, 1200, std::string("-bash\0", 6)});
  provider().refreshNow();
  EXPECT_FALSE(get(processName(200)));
  EXPECT_EQ(valueOf(processName(100), "State"), "Running");
  EXPECT_TRUE(legacyIndications().empty());
  EXPECT_TRUE(subscriber->received().empty());
}

TEST(SystemPollingTest, PollThreadFollowsTheMachineWhileRequestsAreServed) {
  kest::testing::SystemFixture fixture;
  fixture.populate();
  kest::examples::SystemProviderOptions options = fixture.providerOptions();
  options.polling = true;
  options.pollInterval = 5;
  kest::examples::SystemProvider provider(options);
  provider.startup();
  ASSERT_TRUE(provider.isPolling());

  const auto processes = [&] {
    VectorCollector<TOVSmrPtr<ITovaInstanceName>> names;
    provider.enumerateInstanceNames(names, kest::testing::kTestNameSpace,
                                    kest::examples::kProcessClass, nullptr);
    std::vector<std::string> labels;
    for (const TOVSmrPtr<ITovaInstanceName>& name : names) labels.push_back(label(name));
    return sorted(labels);
  };
  fixture.removeProcess(200);
  EXPECT_TRUE(waitUntil([&] { return processes().size() == 3; }));
  fixture.addProcess({400, "cat", 'S', 100, 0, 0, 20, 0, 1, 800000, 1000, 10, "cat"});
  EXPECT_TRUE(waitUntil([&] {
    return processes() == std::vector<std::string>{"KEST_Process:1", "KEST_Process:100",
                                                   "KEST_Process:2", "KEST_Process:400"};
  }));
  provider.shutdown();
  EXPECT_FALSE(provider.isPolling());
}

}  // namespace
