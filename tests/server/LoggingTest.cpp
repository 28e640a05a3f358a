#include "server/Logging.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "host/Log.h"

using kest::server::ServerLog;

TEST(ServerLogTest, EachSeverityReachesTheLogWithTheComponentAsSource) {
  struct Case {
    const char* label;
    std::function<void(const ServerLog&)> log;
    int severity;
  };
  const std::vector<Case> cases = {
      {"error", [](const ServerLog& log) { log.error("m"); }, TOVLog::SEVERITY_ERROR},
      {"warning", [](const ServerLog& log) { log.warning("m"); }, TOVLog::SEVERITY_WARNING},
      {"info", [](const ServerLog& log) { log.info("m"); }, TOVLog::SEVERITY_INFO},
      {"debug", [](const ServerLog& log) { log.debug("m"); }, TOVLog::SEVERITY_DEBUG},
      {"write", [](const ServerLog& log) { log.write(TOVLog::SEVERITY_INFO, "m"); },
       TOVLog::SEVERITY_INFO},
  };
  const ServerLog log("kest::server::Component");
  for (const Case& c : cases) {
    SCOPED_TRACE(c.label);
    TOVScopedLogCapture capture;
    c.log(log);
    const std::vector<TOVLogRecord> records = capture.records();
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].source, "kest::server::Component");
    EXPECT_EQ(records[0].message, "m");
    EXPECT_EQ(records[0].severity, c.severity);
    EXPECT_EQ(records[0].verbosity, 2);
    EXPECT_EQ(records[0].flags, 0);
    EXPECT_EQ(records[0].category, TOVLog::CIMOMLOG);
  }
}

TEST(ServerLogTest, MessageIsPassedOnAsItIs) {
  TOVScopedLogCapture capture;
  ServerLog("s").warning(std::string("request refused: ") + "400 bad");
  ASSERT_EQ(capture.records().size(), 1u);
  EXPECT_EQ(capture.records()[0].message, "request refused: 400 bad");
  EXPECT_EQ(ServerLog("s").source(), "s");
}
