// kest-server's embedded default: the system provider beside the program,
// used only when no provider is named.

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "server/Server.h"
#include "server/ServerConfig.h"
#include "tests/server/HttpTestSupport.h"
#include "tests/server/ServerTestSupport.h"

using kest::server::applyDefaultProvider;
using kest::server::ProviderSpec;
using kest::server::ServerSettings;

namespace {

std::vector<std::string> paths(const std::vector<ProviderSpec>& providers) {
  std::vector<std::string> result;
  for (const ProviderSpec& provider : providers) {
    result.push_back(provider.path + "@" +
                     (provider.nameSpace.isNull() ? "(first)" : provider.nameSpace.toStdString()));
  }
  return result;
}

TEST(ApplyDefaultProviderTest, WithoutProvidersServesTheSystemProviderAndCompilesItsMofFirst) {
  ServerSettings settings;
  settings.mofFiles = {"extra.mof"};
  applyDefaultProvider(settings, "/opt/kest");
  EXPECT_EQ(paths(settings.providers),
            (std::vector<std::string>{"/opt/kest/libkest_system_provider.so@(first)"}));
  EXPECT_EQ(settings.mofFiles,
            (std::vector<std::string>{"/opt/kest/kest-system.mof", "extra.mof"}));
}

TEST(ApplyDefaultProviderTest, NamedProvidersAreKeptWithoutTheDefault) {
  ServerSettings settings;
  settings.providers = {ProviderSpec{"/x/libmine.so", "root/interop"}};
  settings.mofFiles = {"mine.mof"};
  applyDefaultProvider(settings, "/opt/kest");
  EXPECT_EQ(paths(settings.providers), (std::vector<std::string>{"/x/libmine.so@root/interop"}));
  EXPECT_EQ(settings.mofFiles, (std::vector<std::string>{"mine.mof"}));
}

TEST(ApplyDefaultProviderTest, ProgramDirectoryIsTheFolderOfTheRunningProgram) {
  EXPECT_TRUE(std::filesystem::exists(kest::server::programDirectory() + "/server_tests"));
}

TEST(ApplyDefaultProviderTest, TheBuildPutsTheDefaultProviderBesideKestServer) {
  const std::filesystem::path folder = std::filesystem::path(KEST_SERVER_EXECUTABLE).parent_path();
  EXPECT_TRUE(std::filesystem::exists(folder / kest::server::kDefaultProviderLibrary));
  EXPECT_TRUE(std::filesystem::exists(folder / kest::server::kDefaultProviderMof));
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
