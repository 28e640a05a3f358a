// End-to-end tests of the default setup: the kest-server program started
// without a provider serves the system provider on the real machine, and the
// real wbemcli queries it through a proxy that validates every response
// against the CIM DTD. The machine changes while the tests run, so they check
// the structure of the answers and the few values that are known: the server
// process (started by this test program) and the host's name. The server
// polls the machine often, so the requests meet refresh cycles.

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "tests/server/HttpTestSupport.h"
#include "tests/server/ServerTestSupport.h"
#include "tests/server/WbemcliRunner.h"

using kest::server::testing::RecordingProxy;
using kest::server::testing::runWbemcli;
using kest::server::testing::ServerProcess;
using kest::server::testing::TemporaryFolder;
using kest::server::testing::WbemcliRun;

namespace {

std::vector<std::string> lines(const std::string& text) {
  std::vector<std::string> result;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) result.push_back(line);
  return result;
}

std::string hostName() {
  std::ifstream in("/proc/sys/kernel/hostname");
  std::string name;
  std::getline(in, name);
  return name;
}

// A regular expression matching text literally.
std::string literal(const std::string& text) {
  static const std::regex special(R"re([.^$|()\[\]{}*+?\\])re");
  return std::regex_replace(text, special, R"re(\$&)re");
}

class SystemProviderWbemcliTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    // The provider refreshes every 50 ms, so requests meet refresh cycles.
    _folder = new TemporaryFolder();
    const std::string config = _folder->write("kest.ini", "[KEST]\nSystemPollInterval = 50\n");
    _server = new ServerProcess({KEST_SERVER_EXECUTABLE, "--port", "0"}, {{"KEST_CONFIG", config}});
    ASSERT_NE(_server->port(), 0) << _server->errors();
    _proxy = new RecordingProxy(_server->port());
  }

  static void TearDownTestSuite() {
    delete _proxy;
    delete _server;
    delete _folder;
  }

  // Runs wbemcli with args (see runWbemcli).
  static WbemcliRun wbemcli(const std::vector<std::string>& args) {
    return runWbemcli(*_proxy, args);
  }

  // The object path of an element of className named name, as wbemcli
  // takes it ("URL/...") or prints it ("HOST/...").
  static std::string element(const std::string& prefix, const std::string& className,
                             const std::string& name) {
    return prefix + "/root/cimv2:" + className + ".SystemName=\"" + hostName() +
           "\",CreationClassName=\"" + className + "\",Name=\"" + name + "\"";
  }
  static std::string serverProcess(const std::string& prefix) {
    return element(prefix, "KEST_Process", std::to_string(_server->pid()));
  }
  static std::string computerSystem(const std::string& prefix) {
    return prefix +
           "/root/cimv2:KEST_ComputerSystem.CreationClassName=\"KEST_ComputerSystem\","
           "Name=\"" +
           hostName() + "\"";
  }

  // The classes of the objects printed, one per line ("HOST/root/cimv2:<class>.").
  static std::set<std::string> classesOf(const std::string& out) {
    static const std::regex object(R"re(^HOST/root/cimv2:(\w+)\.)re");
    std::set<std::string> classes;
    for (const std::string& line : lines(out)) {
      std::smatch match;
      if (std::regex_search(line, match, object)) classes.insert(match[1]);
    }
    return classes;
  }

  static TemporaryFolder* _folder;
  static ServerProcess* _server;
  static RecordingProxy* _proxy;
};

TemporaryFolder* SystemProviderWbemcliTest::_folder = nullptr;
ServerProcess* SystemProviderWbemcliTest::_server = nullptr;
RecordingProxy* SystemProviderWbemcliTest::_proxy = nullptr;

TEST_F(SystemProviderWbemcliTest, WithoutAProviderTheServerServesTheSystemClasses) {
  const WbemcliRun run = wbemcli({"ecn", "URL/root/cimv2"});
  EXPECT_EQ(run.exitCode, 0) << run.err;
  std::set<std::string> classes;
  for (const std::string& line : lines(run.out)) classes.insert(line);
  EXPECT_EQ(
      classes,
      (std::set<std::string>{
          "HOST/root/cimv2:KEST_ComputerSystem", "HOST/root/cimv2:KEST_LogicalElement",
          "HOST/root/cimv2:KEST_FileSystem", "HOST/root/cimv2:KEST_NetworkInterface",
          "HOST/root/cimv2:KEST_Process", "HOST/root/cimv2:KEST_ParentProcess",
          "HOST/root/cimv2:KEST_SystemComponent", "HOST/root/cimv2:KEST_SystemFileSystem",
          "HOST/root/cimv2:KEST_SystemNetworkInterface", "HOST/root/cimv2:KEST_SystemProcess"}));
}

TEST_F(SystemProviderWbemcliTest, EnumerateProcessesPrintsEveryProcessWithItsProperties) {
  const WbemcliRun run = wbemcli({"ei", "URL/root/cimv2:KEST_Process"});
  EXPECT_EQ(run.exitCode, 0) << run.err;
  // The name's prefix up to the process id.
  const std::string prefix = literal(element("HOST", "KEST_Process", "X"));
  const std::regex shape(
      prefix.substr(0, prefix.size() - 2) +
      R"re((\d+)" SystemName=".+",CreationClassName="KEST_Process",Name="\1",ElementName=".*",)re"
      R"re(ProcessId=\1,ParentProcessId=\d+,Command=".*",CommandLine=.*,State="\w+( \w+)*",)re"
      R"re(Priority=-?\d+,NiceValue=-?\d+,Threads=\d+,UserModeTime=\d+,KernelModeTime=\d+,)re"
      R"re(VirtualMemorySize=\d+,ResidentSetSize=\d+,StartTime=\d{14}\.\d{6}\+000$)re");
  const std::vector<std::string> printed = lines(run.out);
  ASSERT_GE(printed.size(), 2u);
  for (const std::string& line : printed) EXPECT_TRUE(std::regex_match(line, shape)) << line;
  const std::string server = serverProcess("HOST") + " ";
  EXPECT_EQ(std::count_if(printed.begin(), printed.end(),
                          [&](const std::string& line) { return line.rfind(server, 0) == 0; }),
            1);
}

TEST_F(SystemProviderWbemcliTest, GetInstanceOfTheServerProcess) {
  const WbemcliRun run = wbemcli({"gi", serverProcess("URL")});
  EXPECT_EQ(run.exitCode, 0) << run.err;
  const std::string pid = std::to_string(_server->pid());
  const std::regex shape(
      literal(serverProcess("HOST")) + " SystemName=\"" + literal(hostName()) +
      "\",CreationClassName=\"KEST_Process\",Name=\"" + pid +
      "\",ElementName=\"kest-server\",ProcessId=" + pid +
      ",ParentProcessId=" + std::to_string(getpid()) + ",Command=\"kest-server\",CommandLine=\"" +
      literal(KEST_SERVER_EXECUTABLE) + R"re( --port 0",State="\w+( \w+)*",.*\n)re");
  EXPECT_TRUE(std::regex_match(run.out, shape)) << run.out;
}

TEST_F(SystemProviderWbemcliTest, EnumerateLogicalElementsYieldsEverySubclass) {
  const WbemcliRun run = wbemcli({"ein", "URL/root/cimv2:KEST_LogicalElement"});
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(classesOf(run.out),
            (std::set<std::string>{"KEST_FileSystem", "KEST_NetworkInterface", "KEST_Process"}));
  const std::string out = "\n" + run.out;
  EXPECT_NE(out.find("\n" + serverProcess("HOST") + "\n"), std::string::npos);
  EXPECT_NE(out.find("\n" + element("HOST", "KEST_FileSystem", "/") + "\n"), std::string::npos);
  EXPECT_NE(out.find("\n" + element("HOST", "KEST_NetworkInterface", "lo") + "\n"),
            std::string::npos);
}

TEST_F(SystemProviderWbemcliTest, AssociatorsOfTheSystemAreItsElements) {
  const WbemcliRun run = wbemcli({"ain", computerSystem("URL")});
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(classesOf(run.out),
            (std::set<std::string>{"KEST_FileSystem", "KEST_NetworkInterface", "KEST_Process"}));
  const std::string out = "\n" + run.out;
  EXPECT_NE(out.find("\n" + serverProcess("HOST") + "\n"), std::string::npos);
  EXPECT_NE(out.find("\n" + element("HOST", "KEST_FileSystem", "/") + "\n"), std::string::npos);

  const WbemcliRun interfaces =
      wbemcli({"ai", "-ac", "KEST_SystemNetworkInterface", computerSystem("URL")});
  EXPECT_EQ(interfaces.exitCode, 0) << interfaces.err;
  EXPECT_EQ(classesOf(interfaces.out), (std::set<std::string>{"KEST_NetworkInterface"}));
  EXPECT_NE(interfaces.out.find(element("HOST", "KEST_NetworkInterface", "lo") + " SystemName=\"" +
                                hostName() +
                                "\",CreationClassName=\"KEST_NetworkInterface\",Name=\"lo\","
                                "ElementName=\"lo\",InterfaceIndex="),
            std::string::npos)
      << interfaces.out;
}

TEST_F(SystemProviderWbemcliTest, ParentOfTheServerProcessIsThisTestProgram) {
  const WbemcliRun run =
      wbemcli({"ain", "-ac", "KEST_ParentProcess", "-arr", "Parent", serverProcess("URL")});
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(run.out, element("HOST", "KEST_Process", std::to_string(getpid())) + "\n");
}

TEST_F(SystemProviderWbemcliTest, MethodsReturnTheirTypedOutputParameters) {
  const WbemcliRun files = wbemcli({"cm", serverProcess("URL"), "GetOpenFileCount"});
  EXPECT_EQ(files.exitCode, 0) << files.err;
  EXPECT_TRUE(std::regex_match(
      files.out, std::regex(literal(serverProcess("HOST")) +
                            R"re( GetOpenFileCount: 0, Count \(uint32\): [1-9]\d*\n)re")))
      << files.out;

  const WbemcliRun usage = wbemcli({"cm", element("URL", "KEST_FileSystem", "/"), "GetUsage"});
  EXPECT_EQ(usage.exitCode, 0) << usage.err;
  EXPECT_TRUE(std::regex_match(
      usage.out,
      std::regex(literal(element("HOST", "KEST_FileSystem", "/")) +
                 R"re( GetUsage: 0, TotalBytes \(uint64\): [1-9]\d*, UsedBytes \(uint64\): \d+, )re"
                 R"re(AvailableBytes \(uint64\): \d+, PercentUsed \(real64\): [0-9.e+-]+\n)re")))
      << usage.out;

  const WbemcliRun status = wbemcli({"cm", serverProcess("URL"), "GetStatusField.Field=\"Name\""});
  EXPECT_EQ(status.exitCode, 0) << status.err;
  EXPECT_EQ(status.out,
            serverProcess("HOST") + " GetStatusField: 0, Value (string): kest-server\n");
}

TEST_F(SystemProviderWbemcliTest, MethodWithoutItsRequiredParameterFails) {
  const WbemcliRun run = wbemcli({"cm", element("URL", "KEST_FileSystem", "/"), "HasFreeSpace"});
  EXPECT_EQ(run.exitCode, 16);
  EXPECT_EQ(run.err,
            "*\n* wbemcli: Cim: (4) CIM_ERR_INVALID_PARAMETER: parameter Bytes: required "
            "(uint64), but not given\n*\n");
}

TEST_F(SystemProviderWbemcliTest, MethodWithAParameterOutOfItsTypeFails) {
  const WbemcliRun run = wbemcli(
      {"cm", element("URL", "KEST_FileSystem", "/"), "HasFreeSpace.Bytes=1,ReservePercent=300"});
  EXPECT_EQ(run.exitCode, 16);
  EXPECT_EQ(run.err,
            "*\n* wbemcli: Cim: (4) CIM_ERR_INVALID_PARAMETER: parameter ReservePercent: \"300\" "
            "is not a uint8 value\n*\n");
}

}  // namespace
