#include "examples/system/SystemReader.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "support/SystemFixture.h"

using kest::examples::FileSystemRecord;
using kest::examples::NetworkInterfaceRecord;
using kest::examples::ProcessRecord;
using kest::examples::SystemReader;
using kest::examples::SystemReading;
using kest::examples::VolumeUsage;
using kest::testing::FixtureProcess;
using kest::testing::SystemFixture;

namespace {

class SystemReaderTest : public ::testing::Test {
 protected:
  SystemReaderTest() : _reader(_fixture.readerOptions()) {}

  std::vector<std::string> processNames() const {
    std::vector<std::string> names;
    for (const ProcessRecord& record : _reader.readProcesses("testhost")) {
      names.push_back(record.name.toStdString());
    }
    return names;
  }

  SystemFixture _fixture;
  SystemReader _reader;
};

TEST_F(SystemReaderTest, ReadsTheComputerSystem) {
  const auto system = _reader.readComputerSystem();
  EXPECT_EQ(system.creationClassName, "KEST_ComputerSystem");
  EXPECT_EQ(system.name, "testhost");
  EXPECT_EQ(system.elementName, "testhost");
  EXPECT_EQ(system.osType, "Linux");
  EXPECT_EQ(system.kernelRelease, "6.1.0-test");
  EXPECT_EQ(system.numberOfProcessors, 2u);
  EXPECT_EQ(system.totalMemory, 8000000ULL * 1024);
  EXPECT_EQ(system.availableMemory, 4000000ULL * 1024);
  EXPECT_EQ(system.loadAverage, 0.25);
  EXPECT_EQ(system.upTime, 3600u);
  EXPECT_EQ(system.bootTime.text, "20231114221320.000000+000");
}

TEST_F(SystemReaderTest, MissingSystemFilesGiveLocalhostAndNullValues) {
  for (const char* file : {"proc/sys/kernel/hostname", "proc/sys/kernel/ostype", "proc/meminfo",
                           "proc/loadavg", "proc/uptime", "proc/stat", "proc/cpuinfo"}) {
    _fixture.remove(file);
  }
  const auto system = _reader.readComputerSystem();
  EXPECT_EQ(system.name, "localhost");
  EXPECT_TRUE(system.osType.isNullBuffer());
  EXPECT_FALSE(system.numberOfProcessors);
  EXPECT_FALSE(system.totalMemory);
  EXPECT_FALSE(system.availableMemory);
  EXPECT_FALSE(system.loadAverage);
  EXPECT_FALSE(system.upTime);
  EXPECT_TRUE(system.bootTime.text.isNull());
}

TEST_F(SystemReaderTest, ReadsAProcessFromItsStatAndCommandLine) {
  _fixture.addProcess({200, "sleep", 'R', 100, 7, 3, 30, 10, 2, 500050, 5500000, 200,
                       std::string("sleep\0"
                                   "100\0",
                                   10)});
  const std::vector<ProcessRecord> records = _reader.readProcesses("testhost");
  ASSERT_EQ(records.size(), 1u);
  const ProcessRecord& p = records[0];
  EXPECT_EQ(p.systemName, "testhost");
  EXPECT_EQ(p.creationClassName, "KEST_Process");
  EXPECT_EQ(p.name, "200");
  EXPECT_EQ(p.elementName, "sleep");
  EXPECT_EQ(p.processId, 200u);
  EXPECT_EQ(p.parentProcessId, 100u);
  EXPECT_EQ(p.command, "sleep");
  EXPECT_EQ(p.commandLine, "sleep 100");
  EXPECT_EQ(p.state, "Running");
  EXPECT_EQ(p.priority, 30);
  EXPECT_EQ(p.niceValue, 10);
  EXPECT_EQ(p.threads, 2u);
  EXPECT_EQ(p.userModeTime, 70u);    // 7 ticks of 10 ms
  EXPECT_EQ(p.kernelModeTime, 30u);  // 3 ticks
  EXPECT_EQ(p.virtualMemorySize, 5500000u);
  EXPECT_EQ(p.residentSetSize, 200u * 4096);
  EXPECT_EQ(p.startTicks, 500050u);
  // Boot time plus 5000.5 seconds.
  EXPECT_EQ(p.startTime.text, "20231114233640.500000+000");
}

TEST_F(SystemReaderTest, CommandNameMayHoldBlanksAndParentheses) {
  _fixture.addProcess({7, "odd) (name", 'S', 1, 0, 0, 20, 0, 1, 0, 0, 0, ""});
  const std::vector<ProcessRecord> records = _reader.readProcesses("testhost");
  ASSERT_EQ(records.size(), 1u);
  EXPECT_EQ(records[0].command, "odd) (name");
  EXPECT_EQ(records[0].parentProcessId, 1u);
  EXPECT_EQ(records[0].state, "Sleeping");
}

TEST_F(SystemReaderTest, KernelThreadHasAnEmptyCommandLine) {
  _fixture.addProcess({2, "kthreadd", 'S', 0, 0, 0, 20, 0, 1, 0, 0, 0, ""});
  const std::vector<ProcessRecord> records = _reader.readProcesses("testhost");
  ASSERT_EQ(records.size(), 1u);
  EXPECT_EQ(records[0].commandLine, "");
  EXPECT_FALSE(records[0].commandLine.isNullBuffer());
}

struct StateCase {
  char code;
  const char* name;
};

class ProcessStateTest : public SystemReaderTest,
                         public ::testing::WithParamInterface<StateCase> {};

TEST_P(ProcessStateTest, StateLetterIsNamed) {
  _fixture.addProcess({5, "p", GetParam().code, 1, 0, 0, 20, 0, 1, 0, 0, 0, ""});
  EXPECT_EQ(_reader.readProcesses("testhost").at(0).state, GetParam().name);
}

INSTANTIATE_TEST_SUITE_P(Letters, ProcessStateTest,
                         ::testing::Values(StateCase{'R', "Running"}, StateCase{'S', "Sleeping"},
                                           StateCase{'D', "Waiting"}, StateCase{'Z', "Zombie"},
                                           StateCase{'T', "Stopped"}, StateCase{'t', "Tracing"},
                                           StateCase{'I', "Idle"}, StateCase{'X', "Dead"},
                                           StateCase{'W', "Unknown"}));

TEST_F(SystemReaderTest, ProcessesComeInAscendingIdOrderAndOnlyFromNumericDirectories) {
  for (unsigned pid : {1000u, 20u, 3u}) {
    _fixture.addProcess({pid, "p", 'S', 1, 0, 0, 20, 0, 1, 0, 0, 0, ""});
  }
  _fixture.write("proc/self/status", "Name:\tself\n");
  _fixture.write("proc/12a/stat", "12 (x) S 1\n");
  EXPECT_EQ(processNames(), (std::vector<std::string>{"3", "20", "1000"}));
}

TEST_F(SystemReaderTest, ProcessThatVanishesOrIsMalformedIsLeftOut) {
  _fixture.addProcess({10, "gone", 'S', 1, 0, 0, 20, 0, 1, 0, 0, 0, ""});
  _fixture.remove("proc/10/cmdline");
  _fixture.write("proc/11/stat", "11 (short) S 1 1 1\n");
  _fixture.write("proc/11/cmdline", "");
  _fixture.write("proc/12/stat", "12 no parentheses S 1\n");
  _fixture.write("proc/12/cmdline", "");
  _fixture.addProcess({13, "ok", 'S', 1, 0, 0, 20, 0, 1, 0, 0, 0, ""});
  EXPECT_EQ(processNames(), (std::vector<std::string>{"13"}));
}

TEST_F(SystemReaderTest, ReadsMountsWithEscapesOptionsAndUsage) {
  _fixture.setMounts(
      "/dev/sda1 / ext4 rw,relatime 0 0\n"
      "/dev/sdb1 /media/my\\040disk\\134x vfat ro,noatime 0 0\n");
  _fixture.setVolume("/", VolumeUsage{4096, 1000, 400, 300, 60, 50});
  const std::vector<FileSystemRecord> records = _reader.readFileSystems("testhost");
  ASSERT_EQ(records.size(), 2u);
  const FileSystemRecord& root = records[0];
  EXPECT_EQ(root.creationClassName, "KEST_FileSystem");
  EXPECT_EQ(root.name, "/");
  EXPECT_EQ(root.elementName, "/");
  EXPECT_EQ(root.device, "/dev/sda1");
  EXPECT_EQ(root.fileSystemType, "ext4");
  EXPECT_EQ(root.mountOptions, "rw,relatime");
  EXPECT_FALSE(root.readOnly);
  EXPECT_EQ(root.blockSize, 4096u);
  EXPECT_EQ(root.totalBytes, 1000u);
  EXPECT_EQ(root.freeBytes, 400u);
  EXPECT_EQ(root.availableBytes, 300u);
  EXPECT_EQ(root.totalInodes, 60u);
  EXPECT_EQ(root.freeInodes, 50u);
  const FileSystemRecord& media = records[1];
  EXPECT_EQ(media.name, "/media/my disk\\x");
  EXPECT_TRUE(media.readOnly);
  // No figures for it: the sizes are NULL.
  EXPECT_FALSE(media.totalBytes);
  EXPECT_FALSE(media.blockSize);
}

TEST_F(SystemReaderTest, LaterMountOnTheSamePointWins) {
  _fixture.setMounts(
      "first /mnt ext4 rw 0 0\n"
      "proc /proc proc rw 0 0\n"
      "second /mnt xfs ro 0 0\n");
  const std::vector<FileSystemRecord> records = _reader.readFileSystems("testhost");
  ASSERT_EQ(records.size(), 2u);
  EXPECT_EQ(records[0].name, "/proc");
  EXPECT_EQ(records[1].name, "/mnt");
  EXPECT_EQ(records[1].device, "second");
  EXPECT_EQ(records[1].fileSystemType, "xfs");
}

TEST_F(SystemReaderTest, AutofsMountIsNotAskedForItsUsage) {
  _fixture.setMounts("systemd-1 /proc/sys/fs/binfmt_misc autofs rw 0 0\n");
  _fixture.setVolume("/proc/sys/fs/binfmt_misc", VolumeUsage{1, 2, 3, 4, 5, 6});
  const std::vector<FileSystemRecord> records = _reader.readFileSystems("testhost");
  ASSERT_EQ(records.size(), 1u);
  EXPECT_FALSE(records[0].totalBytes);
}

TEST_F(SystemReaderTest, MalformedMountLinesAreSkipped) {
  _fixture.setMounts("\nonly two\n/dev/x /ok ext4 rw 0 0\n");
  const std::vector<FileSystemRecord> records = _reader.readFileSystems("testhost");
  ASSERT_EQ(records.size(), 1u);
  EXPECT_EQ(records[0].name, "/ok");
}

TEST_F(SystemReaderTest, DefaultUsageComesFromStatvfsBelowTheRoot) {
  kest::examples::SystemReaderOptions options = _fixture.readerOptions();
  options.volumeUsage = nullptr;
  const SystemReader reader(options);
  // The fixture's root is a directory on a real file system.
  const std::optional<VolumeUsage> usage = reader.volumeUsage("/");
  ASSERT_TRUE(usage);
  EXPECT_GT(usage->totalBytes, 0u);
  EXPECT_FALSE(reader.volumeUsage("/no/such/mount/point"));
}

TEST_F(SystemReaderTest, ReadsNetworkInterfacesByName) {
  _fixture.addInterface({"eth0", 2, 1, "52:54:00:12:34:56", 1500, "up", "1000", 10, 20, 3, 4});
  _fixture.addInterface(
      {"lo", 1, 772, "00:00:00:00:00:00", 65536, "unknown", std::nullopt, 5, 5, 1, 1});
  _fixture.write("sys/class/net/bonding_masters", "\n");
  const std::vector<NetworkInterfaceRecord> records = _reader.readNetworkInterfaces("testhost");
  ASSERT_EQ(records.size(), 2u);
  const NetworkInterfaceRecord& eth = records[0];
  EXPECT_EQ(eth.creationClassName, "KEST_NetworkInterface");
  EXPECT_EQ(eth.name, "eth0");
  EXPECT_EQ(eth.interfaceIndex, 2u);
  EXPECT_EQ(eth.linkType, 1u);
  EXPECT_EQ(eth.permanentAddress, "52:54:00:12:34:56");
  EXPECT_EQ(eth.mtu, 1500u);
  EXPECT_EQ(eth.operationalStatus, "up");
  EXPECT_EQ(eth.speed, 1000000000u);
  EXPECT_EQ(eth.bytesReceived, 10u);
  EXPECT_EQ(eth.bytesTransmitted, 20u);
  EXPECT_EQ(eth.packetsReceived, 3u);
  EXPECT_EQ(eth.packetsTransmitted, 4u);
  EXPECT_EQ(records[1].name, "lo");
  EXPECT_EQ(records[1].linkType, 772u);
  EXPECT_FALSE(records[1].speed);
}

TEST_F(SystemReaderTest, UnknownSpeedAndMissingFilesAreNull) {
  _fixture.addInterface({"wlan0", 3, 1, std::nullopt, 1500, "down", "-1", std::nullopt,
                         std::nullopt, std::nullopt, std::nullopt});
  const NetworkInterfaceRecord record = _reader.readNetworkInterfaces("testhost").at(0);
  EXPECT_FALSE(record.speed);
  EXPECT_TRUE(record.permanentAddress.isNullBuffer());
  EXPECT_FALSE(record.bytesReceived);
  EXPECT_EQ(record.mtu, 1500u);
}

TEST_F(SystemReaderTest, ReadGathersEverythingUnderTheHostName) {
  _fixture.populate();
  const SystemReading reading = _reader.read();
  EXPECT_EQ(reading.computerSystem.name, "testhost");
  ASSERT_EQ(reading.processes.size(), 4u);
  ASSERT_EQ(reading.fileSystems.size(), 2u);
  ASSERT_EQ(reading.networkInterfaces.size(), 2u);
  EXPECT_EQ(reading.processes[3].systemName, "testhost");
  EXPECT_EQ(reading.fileSystems[1].name, "/run/user 1000");
  EXPECT_EQ(reading.networkInterfaces[0].systemName, "testhost");
}

TEST_F(SystemReaderTest, CountsOpenFilesAndReadsStatusFields) {
  _fixture.addProcess({42, "worker", 'S', 1, 0, 0, 20, 0, 1, 0, 0, 250, ""}, 5);
  EXPECT_EQ(_reader.openFileCount(42), 5u);
  EXPECT_FALSE(_reader.openFileCount(43));
  EXPECT_EQ(_reader.statusField(42, "VmRSS"), TOVString("1000 kB"));
  EXPECT_EQ(_reader.statusField(42, "PPid"), TOVString("1"));
  EXPECT_FALSE(_reader.statusField(42, "VmRS"));
  EXPECT_FALSE(_reader.statusField(42, "vmrss"));
  EXPECT_FALSE(_reader.statusField(43, "VmRSS"));
}

TEST(SystemReaderLiveTest, ReadsThisMachine) {
  const SystemReader reader;
  const SystemReading reading = reader.read();
  EXPECT_FALSE(reading.computerSystem.name.isNull());
  EXPECT_TRUE(reading.computerSystem.numberOfProcessors.value_or(0) > 0);
  bool foundSelf = false;
  for (const ProcessRecord& record : reading.processes) {
    if (record.processId == static_cast<TOVuint32>(::getpid())) foundSelf = true;
  }
  EXPECT_TRUE(foundSelf);
  EXPECT_FALSE(reading.fileSystems.empty());
}

}  // namespace
