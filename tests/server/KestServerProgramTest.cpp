// Tests of the kest-server program itself: options, the KEST_CONFIG file,
// start-up failures and stopping on SIGINT and SIGTERM.

#include <signal.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/server/HttpTestSupport.h"
#include "tests/server/ServerTestSupport.h"

using kest::server::testing::cimPost;
using kest::server::testing::HttpResponse;
using kest::server::testing::intrinsicCall;
using kest::server::testing::parameter;
using kest::server::testing::RawConnection;
using kest::server::testing::runProgram;
using kest::server::testing::ServerProcess;
using kest::server::testing::TemporaryFolder;

namespace {

std::string barNames(int port) {
  const std::string address = "127.0.0.1:" + std::to_string(port);
  return address + "/root/cimv2:Test_Bar.Tag=\"b1\"\n" + address +
         "/root/cimv2:Test_Bar.Tag=\"b2\"\n";
}

std::string enumerateBars(int port) {
  return runProgram({"wbemcli", "ein",
                     "http://127.0.0.1:" + std::to_string(port) + "/root/cimv2:Test_Bar"})
      .output;
}

bool contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

}  // namespace

TEST(KestServerProgramTest, ServesUntilSigtermThenShutsDownTheProvidersAndExitsZero) {
  ServerProcess server({KEST_SERVER_EXECUTABLE, "--port", "0", "--provider", KEST_TEST_PROVIDER});
  ASSERT_NE(server.port(), 0) << server.errors();
  EXPECT_EQ(enumerateBars(server.port()), barNames(server.port()));
  EXPECT_EQ(server.stop(SIGTERM), 0);
  EXPECT_TRUE(contains(server.errors(), "[3] kest-server: SIGTERM received, stopping\n"));
  EXPECT_TRUE(contains(server.errors(), "[3] ServerTestProvider: shutdown\n"));
  EXPECT_TRUE(contains(server.errors(), "[3] kest::server::Server: kest-server stopped\n"));
}

TEST(KestServerProgramTest, AProviderCallThatNeverReturnsFailsAtTheEndOfTheGraceAndItExitsZero) {
  ServerProcess server({KEST_SERVER_EXECUTABLE, "--port", "0", "--provider", KEST_TEST_PROVIDER,
                        "--provider", KEST_THROWING_PROVIDER, "--shutdown-grace", "1"});
  ASSERT_NE(server.port(), 0) << server.errors();
  RawConnection stuck(server.port());
  stuck.send(cimPost("EnumerateInstances",
                     intrinsicCall("EnumerateInstances",
                                   parameter("ClassName", "<CLASSNAME NAME=\"Test_Stuck\"/>"))));
  // The request has reached the provider once another one has been served
  // after it on the same workers.
  EXPECT_EQ(enumerateBars(server.port()), barNames(server.port()));
  EXPECT_EQ(server.stop(SIGTERM), 0);
  const HttpResponse failed = stuck.receive();
  EXPECT_EQ(failed.status, 200);
  EXPECT_TRUE(contains(failed.body, "<ERROR CODE=\"1\"")) << failed.body;
  EXPECT_TRUE(contains(failed.body, "the server is stopping")) << failed.body;
  EXPECT_TRUE(
      contains(server.errors(), "a request is still running in a provider after the grace period"))
      << server.errors();
  EXPECT_TRUE(contains(server.errors(), "[3] ServerTestProvider: shutdown\n"));
}

TEST(KestServerProgramTest, AProviderThatNeverReturnsFromShutdownIsLoggedAndItExitsZero) {
  ServerProcess server({KEST_SERVER_EXECUTABLE, "--port", "0", "--provider", KEST_TEST_PROVIDER,
                        "--provider", KEST_THROWING_PROVIDER, "--shutdown-grace", "1"},
                       {{"KEST_TEST_HANG_IN_SHUTDOWN", "1"}});
  ASSERT_NE(server.port(), 0) << server.errors();
  EXPECT_EQ(enumerateBars(server.port()), barNames(server.port()));
  EXPECT_EQ(server.stop(SIGTERM), 0);
  EXPECT_TRUE(contains(server.errors(),
                       "a provider has not returned from shutdown within 1 s; stopping without it"))
      << server.errors();
}

TEST(KestServerProgramTest, SigintStopsItTheSameWay) {
  ServerProcess server({KEST_SERVER_EXECUTABLE, "--port", "0", "--provider", KEST_TEST_PROVIDER});
  ASSERT_NE(server.port(), 0) << server.errors();
  EXPECT_EQ(server.stop(SIGINT), 0);
  EXPECT_TRUE(contains(server.errors(), "[3] ServerTestProvider: shutdown\n"));
}

TEST(KestServerProgramTest, TheConfigurationFileSetsTheServer) {
  TemporaryFolder folder;
  const std::string config = folder.write(
      "kest.ini",
      std::string("[KEST]\nCimTransactionTimeout = 5\n[Server]\nPort = 0\nProviders = ") +
          KEST_TEST_PROVIDER + "@root/interop\nNameSpaces = root/interop\nLogLevel = 3\n");
  ServerProcess server({KEST_SERVER_EXECUTABLE}, {{"KEST_CONFIG", config}});
  ASSERT_NE(server.port(), 0) << server.errors();
  const std::string address = "127.0.0.1:" + std::to_string(server.port());
  EXPECT_EQ(runProgram({"wbemcli", "ein", "http://" + address + "/root/interop:Test_Bar"}).output,
            address + "/root/interop:Test_Bar.Tag=\"b1\"\n" + address +
                "/root/interop:Test_Bar.Tag=\"b2\"\n");
  EXPECT_TRUE(
      contains(runProgram({"wbemcli", "ein", "http://" + address + "/root/cimv2:Test_Bar"}).errors,
               "CIM_ERR_INVALID_NAMESPACE"));
  EXPECT_EQ(server.stop(SIGTERM), 0);
}

TEST(KestServerProgramTest, CommandLineOptionsOverrideTheConfigurationFile) {
  TemporaryFolder folder;
  const std::string config =
      folder.write("kest.ini", "[Server]\nPort = 0\nProviders = /nonexistent/libnone.so\n");
  ServerProcess server({KEST_SERVER_EXECUTABLE, "--provider", KEST_TEST_PROVIDER},
                       {{"KEST_CONFIG", config}});
  ASSERT_NE(server.port(), 0) << server.errors();
  EXPECT_EQ(enumerateBars(server.port()), barNames(server.port()));
  EXPECT_EQ(server.stop(SIGTERM), 0);
}

TEST(KestServerProgramTest, AProviderThatFailsToLoadStopsTheStartWithItsPathAndReason) {
  ServerProcess server({KEST_SERVER_EXECUTABLE, "--port", "0", "--provider", KEST_TEST_PROVIDER,
                        "--provider", "/nonexistent/libnone.so"});
  EXPECT_EQ(server.wait(), 1);
  EXPECT_TRUE(contains(server.errors(),
                       "kest-server: /nonexistent/libnone.so: cannot load the library: "
                       "/nonexistent/libnone.so: cannot open shared object file: No such file or "
                       "directory\n"))
      << server.errors();
  // The provider that had started was shut down again.
  EXPECT_TRUE(contains(server.errors(), "[3] ServerTestProvider: shutdown\n"));
}

TEST(KestServerProgramTest, MalformedSettingsAreReported) {
  TemporaryFolder folder;
  const std::string config = folder.write("kest.ini", "[Server]\nPort = many\n");
  ServerProcess badConfig({KEST_SERVER_EXECUTABLE}, {{"KEST_CONFIG", config}});
  EXPECT_EQ(badConfig.wait(), 1);
  EXPECT_TRUE(
      contains(badConfig.errors(), "kest-server: [Server] Port: \"many\" is not a number\n"))
      << badConfig.errors();
  ServerProcess badOption({KEST_SERVER_EXECUTABLE, "--port", "70000"});
  EXPECT_NE(badOption.wait(), 0);
  EXPECT_TRUE(contains(badOption.errors(), "--port")) << badOption.errors();
}

TEST(KestServerProgramTest, MofFilesGiveTheClassesTheirFeatures) {
  ServerProcess server({KEST_SERVER_EXECUTABLE, "--port", "0", "--provider", KEST_TEST_PROVIDER,
                        "--mof", kest::server::testing::dataPath("test.mof")});
  ASSERT_NE(server.port(), 0) << server.errors();
  const std::string address = "127.0.0.1:" + std::to_string(server.port());
  EXPECT_EQ(runProgram({"wbemcli", "gc", "http://" + address + "/root/cimv2:Test_Bar"}).output,
            address + "/root/cimv2:Test_Bar Tag=,Size=\n");
  EXPECT_EQ(server.stop(SIGTERM), 0);

  TemporaryFolder folder;
  const std::string config = folder.write(
      "kest.ini",
      "[Server]\nPort = 0\nMof = " + kest::server::testing::dataPath("test.mof") + "\n");
  ServerProcess configured({KEST_SERVER_EXECUTABLE}, {{"KEST_CONFIG", config}});
  ASSERT_NE(configured.port(), 0) << configured.errors();
  const std::string other = "127.0.0.1:" + std::to_string(configured.port());
  EXPECT_EQ(runProgram({"wbemcli", "ecn", "http://" + other + "/root/cimv2:Test_Foo"}).output,
            other + "/root/cimv2:Test_FooChild\n");
  EXPECT_EQ(configured.stop(SIGTERM), 0);
}

TEST(KestServerProgramTest, MofErrorsStopTheStart) {
  TemporaryFolder folder;
  const std::string mof = folder.write("bad.mof", "class Test_A : Test_Missing { };\n");
  ServerProcess server({KEST_SERVER_EXECUTABLE, "--port", "0", "--mof", mof});
  EXPECT_EQ(server.wait(), 1);
  EXPECT_TRUE(
      contains(server.errors(), "kest-server: the MOF files have 1 error(s):\n" + mof + ":1:"))
      << server.errors();
}

TEST(KestServerProgramTest, CheckMofReportsACleanFileAndExitsZeroWithoutServing) {
  const kest::server::testing::ProgramResult result =
      runProgram({KEST_SERVER_EXECUTABLE, "--port", "1", "--check-mof",
                  kest::server::testing::dataPath("test.mof")});
  EXPECT_EQ(result.exitCode, 0) << result.errors;
  EXPECT_EQ(result.output, "1 file checked: 5 classes, 0 instances, 0 errors, 0 warnings\n");
  EXPECT_EQ(result.errors, "");
}

TEST(KestServerProgramTest, CheckMofAcceptsTheWholeDmtfSchema) {
  const std::string schema = std::string(KEST_DMTF_SCHEMA_DIR) + "/cim_schema_2.49.0.mof";
  if (!std::filesystem::exists(schema)) GTEST_SKIP() << "no DMTF schema at " << schema;
  const kest::server::testing::ProgramResult result =
      runProgram({KEST_SERVER_EXECUTABLE, "--check-mof", schema});
  EXPECT_EQ(result.exitCode, 0) << result.output;
  EXPECT_EQ(result.output, "1 file checked: 1631 classes, 0 instances, 0 errors, 0 warnings\n");
}

TEST(KestServerProgramTest, CheckMofReportsEveryErrorWithItsPlaceAndExitsNonZero) {
  TemporaryFolder folder;
  const std::string bad =
      folder.write("bad.mof", "class Test_A : Test_Missing {\n  uint32 X;\n};\n");
  const std::string broken = folder.write("broken.mof", "class Test_B {\n  uint32 X\n};\n");
  const kest::server::testing::ProgramResult result =
      runProgram({KEST_SERVER_EXECUTABLE, "--check-mof", bad, broken});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(result.output, bad + ":1:16: unknown superclass 'Test_Missing' of class 'Test_A'\n" +
                               broken + ":3:1: expected ';' after property declaration\n" +
                               "2 files checked: 0 classes, 0 instances, 2 errors, 0 warnings\n");
}
