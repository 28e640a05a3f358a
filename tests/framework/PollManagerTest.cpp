// The poll thread: cycles of poll() and update() an interval apart, failures
// logged without stopping, and the ways it ends.

#include "framework/PollManager.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <vector>

#include "framework/Context.h"
#include "framework/InstanceFactory.h"
#include "host/Log.h"
#include "host/SmartPointer.h"
#include "host/String.h"
#include "tests/support/WaitUntil.h"

using kest::pf::Context;
using kest::pf::InstanceFactory;
using kest::pf::PollManager;
using kest::testing::waitUntil;

namespace {

constexpr const char* kPolling = "Polling ...";
constexpr const char* kCycleFailed = "Poll failed - Exception occured.";
constexpr const char* kStopped = "Poll failed - Exception while polling. Pollmanager stopped.";

// A factory that counts its calls and keeps every context it hands out and
// receives. poll() throws when told to; update() runs an optional action.
class CountingFactory : public InstanceFactory {
 public:
  explicit CountingFactory(const TOVString& providerName = "Array")
      : InstanceFactory(providerName) {}

  TOVSmrPtr<Context> poll() override {
    ++_polls;
    if (_pollThrows.load()) throw std::runtime_error("managed system unreachable");
    const TOVSmrPtr<Context> context(new Context());
    const std::lock_guard<std::mutex> lock(_mutex);
    _polled.push_back(context);
    return context;
  }

  void update(TOVSmrPtr<Context>& context) override {
    const int cycle = ++_updates;
    {
      const std::lock_guard<std::mutex> lock(_mutex);
      _updated.push_back(context);
    }
    if (_onUpdate) _onUpdate(cycle);
  }

  void setPollThrows(bool pollThrows) { _pollThrows = pollThrows; }
  // Runs on the poll thread with the 1-based number of the update; set it
  // before the thread starts.
  void setOnUpdate(std::function<void(int)> onUpdate) { _onUpdate = std::move(onUpdate); }

  int polls() const { return _polls.load(); }
  int updates() const { return _updates.load(); }
  std::vector<TOVSmrPtr<Context>> polled() const {
    const std::lock_guard<std::mutex> lock(_mutex);
    return _polled;
  }
  std::vector<TOVSmrPtr<Context>> updated() const {
    const std::lock_guard<std::mutex> lock(_mutex);
    return _updated;
  }

 private:
  std::atomic<int> _polls{0};
  std::atomic<int> _updates{0};
  std::atomic<bool> _pollThrows{false};
  std::function<void(int)> _onUpdate;
  mutable std::mutex _mutex;
  std::vector<TOVSmrPtr<Context>> _polled;
  std::vector<TOVSmrPtr<Context>> _updated;
};

// A record as the poll manager writes it.
TOVLogRecord pollRecord(const char* message, int severity) {
  return TOVLogRecord{"Array", message, severity, 2, 0, TOVLog::CIMOMLOG};
}

void expectRecord(const TOVLogRecord& actual, const TOVLogRecord& expected) {
  EXPECT_EQ(actual.source, expected.source);
  EXPECT_EQ(actual.message, expected.message);
  EXPECT_EQ(actual.severity, expected.severity);
  EXPECT_EQ(actual.verbosity, expected.verbosity);
  EXPECT_EQ(actual.flags, expected.flags);
  EXPECT_EQ(actual.category, expected.category);
}

}  // namespace

TEST(PollManagerTest, ASucceedingFactoryIsPolledEveryIntervalAndUpdatedWithWhatItFound) {
  TOVScopedLogCapture capture;
  CountingFactory factory;
  PollManager pollManager(factory, "ArrayPoller", 10);

  pollManager.start();
  ASSERT_TRUE(waitUntil([&] { return factory.updates() >= 4; }));
  EXPECT_TRUE(pollManager.isRunning());
  pollManager.stopPolling();
  pollManager.join();

  EXPECT_FALSE(pollManager.isRunning());
  const int cycles = factory.polls();
  EXPECT_GE(cycles, 4);
  EXPECT_EQ(factory.updates(), cycles);
  const std::vector<TOVSmrPtr<Context>> polled = factory.polled();
  const std::vector<TOVSmrPtr<Context>> updated = factory.updated();
  ASSERT_EQ(polled.size(), static_cast<std::size_t>(cycles));
  ASSERT_EQ(updated.size(), polled.size());
  for (std::size_t i = 0; i < polled.size(); ++i) {
    EXPECT_TRUE(updated[i] == polled[i]) << "cycle " << i;
    // The poll manager let go of the context after the cycle: only the
    // factory's two lists and the two copies here hold it.
    EXPECT_EQ(polled[i].useCount(), 4) << "cycle " << i;
  }
  const std::vector<TOVLogRecord> records = capture.records();
  ASSERT_EQ(records.size(), static_cast<std::size_t>(cycles));
  for (const TOVLogRecord& record : records) expectRecord(record, pollRecord(kPolling, 4));
}

TEST(PollManagerTest, AFailingPollIsLoggedEveryCycleAndPollingCarriesOn) {
  TOVScopedLogCapture capture;
  CountingFactory factory;
  factory.setPollThrows(true);
  PollManager pollManager(factory, "ArrayPoller", 10);

  pollManager.start();
  ASSERT_TRUE(waitUntil([&] { return capture.sink().count(kCycleFailed) >= 3; }));
  EXPECT_TRUE(pollManager.isRunning());
  pollManager.stopPolling();
  pollManager.join();

  EXPECT_EQ(factory.updates(), 0);
  const int cycles = factory.polls();
  EXPECT_GE(cycles, 3);
  const std::vector<TOVLogRecord> records = capture.records();
  ASSERT_EQ(records.size(), 2 * static_cast<std::size_t>(cycles));
  for (std::size_t i = 0; i < records.size(); i += 2) {
    expectRecord(records[i], pollRecord(kPolling, 4));
    expectRecord(records[i + 1], pollRecord(kCycleFailed, 1));
  }
}

TEST(PollManagerTest, StopPollingDuringTheWaitEndsTheThreadWithoutAnotherCycle) {
  TOVScopedLogCapture capture;
  CountingFactory factory;
  PollManager pollManager(factory, "ArrayPoller", 60000);

  pollManager.start();
  // The first two cycles run back to back; then the thread waits a minute.
  ASSERT_TRUE(waitUntil([&] { return factory.updates() == 2; }));
  EXPECT_EQ(factory.polls(), 2);
  pollManager.stopPolling();
  // Well before the interval is over.
  EXPECT_TRUE(waitUntil([&] { return !pollManager.isRunning(); }));
  pollManager.join();

  EXPECT_EQ(factory.polls(), 2);
  EXPECT_EQ(factory.updates(), 2);
  const std::vector<TOVLogRecord> records = capture.records();
  ASSERT_EQ(records.size(), 2u);
  expectRecord(records[0], pollRecord(kPolling, 4));
  expectRecord(records[1], pollRecord(kPolling, 4));
}

TEST(PollManagerTest, AnIntervalOfZeroPollsContinuously) {
  TOVScopedLogCapture capture;
  CountingFactory factory;
  PollManager pollManager(factory, "ArrayPoller", 0);

  pollManager.start();
  ASSERT_TRUE(waitUntil([&] { return factory.updates() >= 200; }));
  pollManager.stopPolling();
  pollManager.join();

  const int cycles = factory.polls();
  EXPECT_GE(cycles, 200);
  EXPECT_EQ(factory.updates(), cycles);
  EXPECT_EQ(capture.sink().count(kPolling), static_cast<std::size_t>(cycles));
  EXPECT_EQ(capture.records().size(), static_cast<std::size_t>(cycles));
}

TEST(PollManagerTest, TheThreadIsNamedAfterTheProviderWhateverNameIsPassed) {
  CountingFactory array("Array");
  CountingFactory fabric("FabricSwitch");

  const PollManager first(array, "ArrayPoller", 10);
  const PollManager second(array, "", 10);
  const PollManager third(fabric, "Array", 10);

  EXPECT_EQ(first.getName(), "kest::pf::PollManager - Array");
  EXPECT_EQ(second.getName(), "kest::pf::PollManager - Array");
  EXPECT_EQ(third.getName(), "kest::pf::PollManager - FabricSwitch");
  EXPECT_FALSE(first.isAutoDelete());
  EXPECT_FALSE(first.isRunning());
}

TEST(PollManagerTest, AFailureReportThatThrowsStopsThePollManagerByItself) {
  TOVScopedLogCapture capture;
  capture.sink().throwOnMessage(kCycleFailed);
  CountingFactory factory;
  factory.setPollThrows(true);
  PollManager pollManager(factory, "ArrayPoller", 10);

  pollManager.start();
  ASSERT_TRUE(waitUntil([&] { return !pollManager.isRunning(); }));
  pollManager.join();

  EXPECT_EQ(factory.polls(), 1);
  const std::vector<TOVLogRecord> records = capture.records();
  ASSERT_EQ(records.size(), 3u);
  expectRecord(records[0], pollRecord(kPolling, 4));
  expectRecord(records[1], pollRecord(kCycleFailed, 1));
  expectRecord(records[2], pollRecord(kStopped, 1));
}

TEST(PollManagerTest, ExecuteOnTheCallersThreadReturnsAfterTheCycleWhoseUpdateStopsPolling) {
  TOVScopedLogCapture capture;
  CountingFactory factory;
  PollManager pollManager(factory, "ArrayPoller", 10);
  factory.setOnUpdate([&](int cycle) {
    if (cycle == 3) pollManager.stopPolling();
  });

  pollManager.execute();

  EXPECT_EQ(factory.polls(), 3);
  EXPECT_EQ(factory.updates(), 3);
  EXPECT_FALSE(pollManager.isRunning());
  const std::vector<TOVLogRecord> records = capture.records();
  ASSERT_EQ(records.size(), 3u);
  for (const TOVLogRecord& record : records) expectRecord(record, pollRecord(kPolling, 4));
}
