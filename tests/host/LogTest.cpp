#include "host/Log.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "host/Exception.h"

namespace {

// Keeps the process-wide log settings as they were around each test.
class LogSettingsRestorer {
 public:
  LogSettingsRestorer() : _sink(TOVLog::getSink()), _level(TOVLog::getStderrLevel()) {}
  ~LogSettingsRestorer() {
    TOVLog::setSink(_sink);
    TOVLog::setStderrLevel(_level);
  }

 private:
  std::shared_ptr<ITOVLogSink> _sink;
  int _level;
};

class TOVLogTestBase : public ::testing::Test {
 private:
  LogSettingsRestorer _restorer;
};

}  // namespace

class TOVLogTest : public TOVLogTestBase {};

TEST_F(TOVLogTest, SinkReceivesAllSixFieldsExactly) {
  auto sink = std::make_shared<TOVCapturingLogSink>();
  TOVLog::setSink(sink);
  TOVLog::log("IndicationPoller", "poll failed", 2, 7, 0x40, TOVLog::CIMOMLOG);
  TOVLog::setSink(nullptr);

  const auto records = sink->records();
  ASSERT_EQ(records.size(), 1u);
  EXPECT_EQ(records[0].source, TOVString("IndicationPoller"));
  EXPECT_EQ(records[0].message, TOVString("poll failed"));
  EXPECT_EQ(records[0].severity, 2);
  EXPECT_EQ(records[0].verbosity, 7);
  EXPECT_EQ(records[0].flags, 0x40);
  EXPECT_EQ(records[0].category, 1);
}

TEST_F(TOVLogTest, CimomLogIsCategoryOne) { EXPECT_EQ(TOVLog::CIMOMLOG, 1); }

TEST_F(TOVLogTest, RecordsArriveInOrder) {
  auto sink = std::make_shared<TOVCapturingLogSink>();
  TOVLog::setSink(sink);
  TOVLog::log("s", "first", 3, 0, 0, TOVLog::CIMOMLOG);
  TOVLog::log("s", "second", 3, 0, 0, TOVLog::PROVIDERLOG);
  const auto records = sink->records();
  ASSERT_EQ(records.size(), 2u);
  EXPECT_EQ(records[0].message, TOVString("first"));
  EXPECT_EQ(records[1].message, TOVString("second"));
  EXPECT_EQ(records[1].category, TOVLog::PROVIDERLOG);
}

TEST_F(TOVLogTest, GetSinkReturnsTheInstalledSinkAndNullForTheDefault) {
  auto sink = std::make_shared<TOVCapturingLogSink>();
  TOVLog::setSink(sink);
  EXPECT_EQ(TOVLog::getSink(), sink);
  TOVLog::setSink(nullptr);
  EXPECT_EQ(TOVLog::getSink(), nullptr);
}

TEST_F(TOVLogTest, SettingANullSinkRestoresTheDefault) {
  auto sink = std::make_shared<TOVCapturingLogSink>();
  TOVLog::setSink(sink);
  TOVLog::setSink(nullptr);
  TOVLog::setStderrLevel(0);  // keep the default sink quiet
  TOVLog::log("s", "after reset", 1, 0, 0, TOVLog::CIMOMLOG);
  EXPECT_TRUE(sink->records().empty());
}

TEST_F(TOVLogTest, DefaultSinkWritesRecordsAtOrBelowTheLevelToStderr) {
  TOVLog::setSink(nullptr);
  TOVLog::setStderrLevel(2);
  ::testing::internal::CaptureStderr();
  TOVLog::log("Poller", "an error", 1, 0, 0, TOVLog::CIMOMLOG);
  TOVLog::log("Poller", "a warning", 2, 0, 0, TOVLog::CIMOMLOG);
  TOVLog::log("Poller", "some information", 3, 0, 0, TOVLog::CIMOMLOG);
  TOVLog::log("Poller", "progress", 4, 0, 0, TOVLog::CIMOMLOG);
  const std::string written = ::testing::internal::GetCapturedStderr();
  EXPECT_EQ(written, "[1] Poller: an error\n[2] Poller: a warning\n");
}

TEST_F(TOVLogTest, StderrLevelDefaultsToWarnings) {
  // The level of a fresh process; other tests restore it when they change it.
  EXPECT_EQ(TOVLog::getStderrLevel(), 2);
}

TEST_F(TOVLogTest, RaisingTheStderrLevelWritesMore) {
  TOVLog::setSink(nullptr);
  TOVLog::setStderrLevel(4);
  EXPECT_EQ(TOVLog::getStderrLevel(), 4);
  ::testing::internal::CaptureStderr();
  TOVLog::log("Poller", "progress", 4, 0, 0, TOVLog::CIMOMLOG);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "[4] Poller: progress\n");
}

TEST_F(TOVLogTest, WhatTheSinkThrowsReachesTheCaller) {
  auto sink = std::make_shared<TOVCapturingLogSink>();
  sink->throwOnMessage("fail here");
  TOVLog::setSink(sink);
  EXPECT_THROW(TOVLog::log("s", "fail here", 1, 0, 0, TOVLog::CIMOMLOG), TovaBaseException);
  EXPECT_NO_THROW(TOVLog::log("s", "fine", 1, 0, 0, TOVLog::CIMOMLOG));
}

TEST_F(TOVLogTest, ConcurrentLoggingLosesNoRecord) {
  auto sink = std::make_shared<TOVCapturingLogSink>();
  TOVLog::setSink(sink);
  constexpr int kThreads = 4;
  constexpr int kEach = 250;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t] {
      for (int i = 0; i < kEach; ++i) {
        TOVLog::log(TOVString::fromInt(t), "message", 3, i, 0, TOVLog::CIMOMLOG);
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(sink->count("message"), static_cast<std::size_t>(kThreads * kEach));
}

TEST_F(TOVLogTest, ReplacingTheSinkWhileOthersLogIsSafe) {
  auto first = std::make_shared<TOVCapturingLogSink>();
  auto second = std::make_shared<TOVCapturingLogSink>();
  TOVLog::setSink(first);
  std::atomic<bool> stop{false};
  std::atomic<long> logged{0};
  std::thread writer([&] {
    while (!stop.load()) {
      TOVLog::log("writer", "tick", 3, 0, 0, TOVLog::CIMOMLOG);
      logged.fetch_add(1);
    }
  });
  for (int i = 0; i < 200; ++i) {
    TOVLog::setSink(i % 2 == 0 ? second : first);
  }
  stop.store(true);
  writer.join();
  TOVLog::setSink(nullptr);
  EXPECT_EQ(first->records().size() + second->records().size(),
            static_cast<std::size_t>(logged.load()));
}

class TOVCapturingLogSinkTest : public TOVLogTestBase {};

TEST_F(TOVCapturingLogSinkTest, RecordsReturnsACopy) {
  TOVCapturingLogSink sink;
  sink.write(TOVLogRecord{"s", "one", 1, 0, 0, 1});
  auto copy = sink.records();
  copy.clear();
  EXPECT_EQ(sink.records().size(), 1u);
}

TEST_F(TOVCapturingLogSinkTest, ClearForgetsRecordedMessages) {
  TOVCapturingLogSink sink;
  sink.write(TOVLogRecord{"s", "one", 1, 0, 0, 1});
  sink.write(TOVLogRecord{"s", "two", 1, 0, 0, 1});
  sink.clear();
  EXPECT_TRUE(sink.records().empty());
  sink.write(TOVLogRecord{"s", "three", 1, 0, 0, 1});
  ASSERT_EQ(sink.records().size(), 1u);
  EXPECT_EQ(sink.records()[0].message, TOVString("three"));
}

TEST_F(TOVCapturingLogSinkTest, CountMatchesTheMessageExactly) {
  TOVCapturingLogSink sink;
  sink.write(TOVLogRecord{"s", "Poll", 1, 0, 0, 1});
  sink.write(TOVLogRecord{"s", "poll", 1, 0, 0, 1});
  sink.write(TOVLogRecord{"t", "poll", 1, 0, 0, 1});
  EXPECT_EQ(sink.count("poll"), 2u);
  EXPECT_EQ(sink.count("Poll"), 1u);
  EXPECT_EQ(sink.count("pol"), 0u);
}

TEST_F(TOVCapturingLogSinkTest, ThrowOnMessageThrowsForThatMessageAfterRecordingIt) {
  TOVCapturingLogSink sink;
  sink.throwOnMessage("poll failed");
  try {
    sink.write(TOVLogRecord{"poller", "poll failed", 1, 0, 0, 1});
    FAIL() << "write did not throw";
  } catch (const TovaBaseException& e) {
    EXPECT_EQ(e.getType(), TOVString("LogSinkFailure"));
    EXPECT_EQ(e.getWho(), TOVString("poller"));
  }
  EXPECT_NO_THROW(sink.write(TOVLogRecord{"poller", "poll failed twice", 1, 0, 0, 1}));
  EXPECT_NO_THROW(sink.write(TOVLogRecord{"poller", "Poll failed", 1, 0, 0, 1}));
  EXPECT_EQ(sink.records().size(), 3u);
  EXPECT_EQ(sink.count("poll failed"), 1u);
}

TEST_F(TOVCapturingLogSinkTest, ThrowOnMessageKeepsThrowingUntilStopped) {
  TOVCapturingLogSink sink;
  sink.throwOnMessage("x");
  EXPECT_THROW(sink.write(TOVLogRecord{"s", "x", 1, 0, 0, 1}), TovaBaseException);
  EXPECT_THROW(sink.write(TOVLogRecord{"s", "x", 1, 0, 0, 1}), TovaBaseException);
  sink.stopThrowing();
  EXPECT_NO_THROW(sink.write(TOVLogRecord{"s", "x", 1, 0, 0, 1}));
  EXPECT_EQ(sink.count("x"), 3u);
}

class TOVScopedLogCaptureTest : public TOVLogTestBase {};

TEST_F(TOVScopedLogCaptureTest, CapturesWhatIsLoggedInItsScope) {
  TOVScopedLogCapture capture;
  TOVLog::log("s", "captured", 3, 1, 2, TOVLog::SECURITYLOG);
  const auto records = capture.records();
  ASSERT_EQ(records.size(), 1u);
  EXPECT_EQ(records[0].message, TOVString("captured"));
  EXPECT_EQ(records[0].category, TOVLog::SECURITYLOG);
}

TEST_F(TOVScopedLogCaptureTest, RestoresThePreviousSinkOnScopeExit) {
  auto outer = std::make_shared<TOVCapturingLogSink>();
  TOVLog::setSink(outer);
  {
    TOVScopedLogCapture capture;
    TOVLog::log("s", "inner", 3, 0, 0, 1);
    EXPECT_EQ(capture.sink().count("inner"), 1u);
  }
  EXPECT_EQ(TOVLog::getSink(), outer);
  TOVLog::log("s", "outer", 3, 0, 0, 1);
  EXPECT_EQ(outer->count("inner"), 0u);
  EXPECT_EQ(outer->count("outer"), 1u);
}

TEST_F(TOVScopedLogCaptureTest, NestedCapturesEachSeeTheirOwnScope) {
  TOVScopedLogCapture outer;
  {
    TOVScopedLogCapture inner;
    TOVLog::log("s", "one", 3, 0, 0, 1);
    EXPECT_EQ(inner.records().size(), 1u);
  }
  TOVLog::log("s", "two", 3, 0, 0, 1);
  const auto records = outer.records();
  ASSERT_EQ(records.size(), 1u);
  EXPECT_EQ(records[0].message, TOVString("two"));
}

TEST_F(TOVScopedLogCaptureTest, RestoresTheDefaultSinkWhenNoneWasInstalled) {
  TOVLog::setSink(nullptr);
  { TOVScopedLogCapture capture; }
  EXPECT_EQ(TOVLog::getSink(), nullptr);
}
