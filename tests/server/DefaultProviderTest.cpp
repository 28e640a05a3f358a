// kest-server's default provider: named by the configuration, used only when
// no provider is named.

#include <gtest/gtest.h>

#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "server/Server.h"
#include "server/ServerConfig.h"
#include "tests/server/HttpTestSupport.h"
#include "tests/server/ServerTestSupport.h"

using kest::server::applyDefaultProvider;
using kest::server::ProviderSpec;
using kest::server::readServerConfigurationFile;
using kest::server::ServerSettings;
using kest::server::testing::TemporaryFolder;

namespace {

std::vector<std::string> paths(const std::vector<ProviderSpec>& providers) {
  std::vector<std::string> result;
  for (const ProviderSpec& provider : providers) {
    result.push_back(provider.path + "@" +
                     (provider.nameSpace.isNull() ? "(first)" : provider.nameSpace.toStdString()));
  }
  return result;
}

TEST(ApplyDefaultProviderTest, WithoutProvidersServesTheDefaultProviderAndCompilesItsMofFirst) {
  ServerSettings settings;
  settings.defaultProvider = "/opt/kest/libkest_system_provider.so";
  settings.defaultMof = "/opt/kest/kest-system.mof";
  settings.mofFiles = {"extra.mof"};
  applyDefaultProvider(settings);
  EXPECT_EQ(paths(settings.providers),
            (std::vector<std::string>{"/opt/kest/libkest_system_provider.so@(first)"}));
  EXPECT_EQ(settings.mofFiles,
            (std::vector<std::string>{"/opt/kest/kest-system.mof", "extra.mof"}));
}

TEST(ApplyDefaultProviderTest, TheDefaultProviderMayNameItsNamespace) {
  ServerSettings settings;
  settings.defaultProvider = "/opt/kest/libother.so@root/interop";
  applyDefaultProvider(settings);
  EXPECT_EQ(paths(settings.providers),
            (std::vector<std::string>{"/opt/kest/libother.so@root/interop"}));
  EXPECT_TRUE(settings.mofFiles.empty());
}

TEST(ApplyDefaultProviderTest, NamedProvidersAreKeptWithoutTheDefault) {
  ServerSettings settings;
  settings.providers = {ProviderSpec{"/x/libmine.so", "root/interop"}};
  settings.mofFiles = {"mine.mof"};
  settings.defaultProvider = "/opt/kest/libkest_system_provider.so";
  settings.defaultMof = "/opt/kest/kest-system.mof";
  applyDefaultProvider(settings);
  EXPECT_EQ(paths(settings.providers), (std::vector<std::string>{"/x/libmine.so@root/interop"}));
  EXPECT_EQ(settings.mofFiles, (std::vector<std::string>{"mine.mof"}));
}

TEST(ApplyDefaultProviderTest, WithoutADefaultProviderNothingIsServed) {
  ServerSettings settings;
  applyDefaultProvider(settings);
  EXPECT_TRUE(settings.providers.empty());
  EXPECT_TRUE(settings.mofFiles.empty());
}

TEST(ReadServerConfigurationFileTest, AMissingFileChangesNothing) {
  ServerSettings settings;
  readServerConfigurationFile("/nonexistent/kest-server.conf", settings);
  EXPECT_TRUE(settings.defaultProvider.empty());
  EXPECT_EQ(settings.http.port, ServerSettings().http.port);
}

TEST(ReadServerConfigurationFileTest, TheFileSetsTheDefaultProviderAndItsMof) {
  TemporaryFolder folder;
  const std::string file = folder.write(
      "kest-server.conf",
      "[Server]\nDefaultProvider = /p/libx.so\nDefaultProviderMof = /p/x.mof\nPort = 7000\n");
  ServerSettings settings;
  readServerConfigurationFile(file, settings);
  EXPECT_EQ(settings.defaultProvider, "/p/libx.so");
  EXPECT_EQ(settings.defaultMof, "/p/x.mof");
  EXPECT_EQ(settings.http.port, 7000);
}

TEST(ReadServerConfigurationFileTest, TheFileSetsTheTransportsLimitsAndDeadlines) {
  TemporaryFolder folder;
  const std::string file = folder.write(
      "kest-server.conf",
      "[Server]\nMaxHeaderSize = 10000\nMaxHeaderLineSize = 2000\nMaxConnections = 7\n"
      "MaxOpenConnections = 70\nIdleTimeout = 11\nHeaderTimeout = 3\nBodyTimeout = 13\n"
      "RequestTimeout = 17\nShutdownGrace = 4\nMaxXmlNodes = 5000\n");
  ServerSettings settings;
  readServerConfigurationFile(file, settings);
  EXPECT_EQ(settings.http.maxHeaderSize, 10000u);
  EXPECT_EQ(settings.http.maxHeaderLineSize, 2000u);
  EXPECT_EQ(settings.http.maxConnections, 7u);
  EXPECT_EQ(settings.http.maxOpenConnections, 70u);
  EXPECT_EQ(settings.http.idleTimeoutSeconds, 11);
  EXPECT_EQ(settings.http.headerTimeoutSeconds, 3);
  EXPECT_EQ(settings.http.bodyTimeoutSeconds, 13);
  EXPECT_EQ(settings.http.requestTimeoutSeconds, 17);
  EXPECT_EQ(settings.shutdownGraceSeconds, 4);
  EXPECT_EQ(settings.maxXmlNodes, 5000u);
}

TEST(ReadServerConfigurationFileTest, AMalformedFileIsRefusedNamingIt) {
  TemporaryFolder folder;
  const std::string file = folder.write("bad.conf", "[Server\n");
  ServerSettings settings;
  try {
    readServerConfigurationFile(file, settings);
    ADD_FAILURE() << "accepted";
  } catch (const std::invalid_argument& error) {
    EXPECT_EQ(std::string(error.what()).rfind(file + ":", 0), 0u) << error.what();
  }
}

TEST(ReadServerConfigurationFileTest, TheBuildsDefaultConfigurationNamesTheSystemProvider) {
  ServerSettings settings;
  readServerConfigurationFile(KEST_DEFAULT_CONFIG, settings);
  ASSERT_FALSE(settings.defaultProvider.empty());
  EXPECT_TRUE(std::filesystem::exists(settings.defaultProvider)) << settings.defaultProvider;
  EXPECT_TRUE(std::filesystem::exists(settings.defaultMof)) << settings.defaultMof;
  EXPECT_NE(settings.defaultMof.find("kest-system.mof"), std::string::npos);
}

TEST(ApplyDefaultProviderTest, KestServerGivenAProviderServesOnlyThatOne) {
  kest::server::testing::ServerProcess server(
      {KEST_SERVER_EXECUTABLE, "--port", "0", "--provider", KEST_TEST_PROVIDER});
  ASSERT_NE(server.port(), 0) << server.errors();
  const kest::server::testing::ProgramResult result = kest::server::testing::runProgram(
      {"wbemcli", "ecn", "http://127.0.0.1:" + std::to_string(server.port()) + "/root/cimv2"});
  EXPECT_EQ(result.exitCode, 0) << result.errors;
  EXPECT_EQ(result.output.find("KEST_"), std::string::npos) << result.output;
  EXPECT_NE(result.output.find("Test_Foo"), std::string::npos) << result.output;
}

}  // namespace
