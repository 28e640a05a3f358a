#include "host/Thread.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <functional>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>

#include "host/Exception.h"
#include "host/Log.h"
#include "host/Semaphore.h"
#include "tests/support/WaitUntil.h"

using kest::testing::waitUntil;

static_assert(!std::is_copy_constructible_v<TOVThread>);
static_assert(std::is_abstract_v<TOVThread>);

namespace {

// A thread whose body is a function. Joins in its destructor, before its own
// members go, as derived classes must.
class FunctionThread : public TOVThread {
 public:
  FunctionThread(const TOVString& name, std::function<void()> body)
      : TOVThread(name, false), _body(std::move(body)) {}
  ~FunctionThread() override { join(); }

 protected:
  void execute() override { _body(); }

 private:
  std::function<void()> _body;
};

std::string currentOsThreadName() {
  char name[64] = {};
  if (pthread_getname_np(pthread_self(), name, sizeof name) != 0) return "<error>";
  return name;
}

}  // namespace

TEST(TOVThreadTest, GetNameReturnsTheFullName) {
  FunctionThread thread("kest-indication-poller", [] {});
  EXPECT_EQ(thread.getName(), TOVString("kest-indication-poller"));
}

TEST(TOVThreadTest, OsThreadNameIsTheFirstFifteenBytes) {
  std::string seen;
  FunctionThread thread("kest-indication-poller", [&] { seen = currentOsThreadName(); });
  thread.start();
  thread.join();
  EXPECT_EQ(seen, "kest-indication");
  EXPECT_EQ(thread.getName(), TOVString("kest-indication-poller"));
}

TEST(TOVThreadTest, ShortNameIsTheOsThreadNameUnchanged) {
  std::string seen;
  FunctionThread thread("poller", [&] { seen = currentOsThreadName(); });
  thread.start();
  thread.join();
  EXPECT_EQ(seen, "poller");
}

TEST(TOVThreadTest, ExecuteRunsOnAnotherThread) {
  std::thread::id bodyThread;
  FunctionThread thread("worker", [&] { bodyThread = std::this_thread::get_id(); });
  thread.start();
  thread.join();
  EXPECT_NE(bodyThread, std::thread::id());
  EXPECT_NE(bodyThread, std::this_thread::get_id());
}

TEST(TOVThreadTest, StartingTwiceThrows) {
  TOVSemaphore release(0);
  FunctionThread thread("worker", [&] { release.wait(); });
  thread.start();
  EXPECT_THROW(thread.start(), TovaBaseException);
  release.release();
  thread.join();
}

TEST(TOVThreadTest, StartingAfterJoinThrows) {
  int runs = 0;
  FunctionThread thread("worker", [&] { ++runs; });
  thread.start();
  thread.join();
  EXPECT_THROW(thread.start(), TovaBaseException);
  thread.join();
  EXPECT_EQ(runs, 1);
}

TEST(TOVThreadTest, JoinWaitsForExecuteToReturn) {
  TOVSemaphore entered(0);
  TOVSemaphore release(0);
  std::atomic<bool> finished{false};
  FunctionThread thread("worker", [&] {
    entered.release();
    release.wait();
    finished.store(true);
  });
  thread.start();
  ASSERT_TRUE(entered.wait(5000));
  EXPECT_FALSE(finished.load());
  release.release();
  thread.join();
  EXPECT_TRUE(finished.load());
  EXPECT_FALSE(thread.isRunning());
}

TEST(TOVThreadTest, IsRunningWhileExecuteRuns) {
  TOVSemaphore entered(0);
  TOVSemaphore release(0);
  FunctionThread thread("worker", [&] {
    entered.release();
    release.wait();
  });
  EXPECT_FALSE(thread.isRunning());
  thread.start();
  EXPECT_TRUE(thread.isRunning());
  ASSERT_TRUE(entered.wait(30000));
  EXPECT_TRUE(thread.isRunning());
  release.release();
  thread.join();
  EXPECT_FALSE(thread.isRunning());
}

TEST(TOVThreadTest, JoinOfAThreadNeverStartedReturns) {
  bool ran = false;
  FunctionThread thread("idle", [&] { ran = true; });
  thread.join();
  EXPECT_FALSE(ran);
  EXPECT_FALSE(thread.isRunning());
}

TEST(TOVThreadTest, JoinTwiceIsHarmless) {
  FunctionThread thread("worker", [] {});
  thread.start();
  thread.join();
  thread.join();
  EXPECT_FALSE(thread.isRunning());
}

TEST(TOVThreadTest, JoinFromTheThreadItselfThrows) {
  TOVThread* self = nullptr;
  TOVSemaphore ready(0);
  bool threw = false;
  FunctionThread thread("worker", [&] {
    ready.wait();
    try {
      self->join();
    } catch (const TovaBaseException&) {
      threw = true;
    }
  });
  self = &thread;
  thread.start();
  ready.release();
  thread.join();
  EXPECT_TRUE(threw);
}

TEST(TOVThreadTest, ReportsTheAutoDeleteFlag) {
  FunctionThread owned("worker", [] {});
  EXPECT_FALSE(owned.isAutoDelete());
}

TEST(TOVThreadTest, DestructorJoinsAThreadWhoseBodyHasReturned) {
  std::atomic<int> runs{0};
  {
    // No join in this class's destructor: the base destructor joins.
    class Plain : public TOVThread {
     public:
      explicit Plain(std::atomic<int>& runs) : TOVThread("plain", false), _runs(runs) {}

     protected:
      void execute() override { _runs.fetch_add(1); }

     private:
      std::atomic<int>& _runs;
    } thread(runs);
    thread.start();
    ASSERT_TRUE(waitUntil([&] { return !thread.isRunning(); }));
  }
  EXPECT_EQ(runs.load(), 1);
}

namespace {

class SelfDeletingThread : public TOVThread {
 public:
  SelfDeletingThread(std::atomic<int>& runs, TOVSemaphore& destroyed)
      : TOVThread("self-deleting", true), _runs(runs), _destroyed(destroyed) {}
  ~SelfDeletingThread() override { _destroyed.release(); }

 protected:
  void execute() override { _runs.fetch_add(1); }

 private:
  std::atomic<int>& _runs;
  TOVSemaphore& _destroyed;
};

}  // namespace

TEST(TOVThreadTest, AutoDeleteThreadDeletesItselfAfterExecute) {
  std::atomic<int> runs{0};
  TOVSemaphore destroyed(0);
  auto* thread = new SelfDeletingThread(runs, destroyed);
  EXPECT_TRUE(thread->isAutoDelete());
  thread->start();
  ASSERT_TRUE(destroyed.wait(5000));
  EXPECT_EQ(runs.load(), 1);
}

TEST(TOVThreadTest, ExceptionEscapingExecuteIsLoggedAndEndsTheThread) {
  TOVScopedLogCapture capture;
  FunctionThread thread("kest-indication-poller", [] { throw std::runtime_error("boom"); });
  thread.start();
  thread.join();
  EXPECT_FALSE(thread.isRunning());

  const auto records = capture.records();
  ASSERT_EQ(records.size(), 1u);
  EXPECT_EQ(records[0].source, TOVString("kest-indication-poller"));
  EXPECT_EQ(records[0].message, TOVString("Unhandled exception in thread"));
  EXPECT_EQ(records[0].severity, 1);
  EXPECT_EQ(records[0].category, TOVLog::CIMOMLOG);
}

TEST(TOVThreadTest, HostExceptionsAndNonStandardExceptionsAreCaughtToo) {
  TOVScopedLogCapture capture;
  FunctionThread hostError("host-error",
                           [] { throw TovaBaseException("Type", "where", "who", "message", 3); });
  FunctionThread integer("integer", [] { throw 42; });
  hostError.start();
  integer.start();
  hostError.join();
  integer.join();
  EXPECT_EQ(capture.sink().count("Unhandled exception in thread"), 2u);
}

TEST(TOVThreadTest, FailingLogSinkWhileReportingDoesNotCrash) {
  TOVScopedLogCapture capture;
  capture.sink().throwOnMessage("Unhandled exception in thread");
  FunctionThread thread("worker", [] { throw std::runtime_error("boom"); });
  thread.start();
  thread.join();
  EXPECT_EQ(capture.sink().count("Unhandled exception in thread"), 1u);
}

TEST(TOVThreadTest, ThreadWithoutExceptionLogsNothing) {
  TOVScopedLogCapture capture;
  FunctionThread thread("worker", [] {});
  thread.start();
  thread.join();
  EXPECT_TRUE(capture.records().empty());
}

namespace {

// Blocks in execute() until the process ends; destroyed while running.
class StuckThread : public TOVThread {
 public:
  StuckThread(TOVSemaphore& entered, TOVSemaphore& never)
      : TOVThread("stuck", false), _entered(entered), _never(never) {}

 protected:
  void execute() override {
    _entered.release();
    _never.wait();
  }

 private:
  TOVSemaphore& _entered;
  TOVSemaphore& _never;
};

}  // namespace

TEST(TOVThreadTest, DestroyingARunningThreadLogsAndTerminates) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(
      {
        TOVLog::setSink(nullptr);
        TOVLog::setStderrLevel(1);
        TOVSemaphore entered(0);
        TOVSemaphore never(0);
        auto* thread = new StuckThread(entered, never);
        thread->start();
        entered.wait();
        delete thread;
      },
      "\\[1\\] stuck: Thread object destroyed while running");
}
