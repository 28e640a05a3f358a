#pragma once

// A machine for the system provider's tests and benchmarks: a temporary
// directory shaped like / with the /proc and /sys files the provider reads,
// filled by the test, and a table of statvfs figures per mount point. Results
// read from it are exact and repeatable: clock ticks are 100 a second and
// pages 4096 bytes.

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>

#include "examples/system/SystemProvider.h"
#include "examples/system/SystemReader.h"
#include "examples/system/SystemRecords.h"

namespace kest::testing {

// One process as /proc/<pid>/stat shows it.
struct FixtureProcess {
  unsigned pid = 0;
  std::string comm;
  char state = 'S';
  unsigned ppid = 0;
  unsigned long long utime = 0;  // ticks
  unsigned long long stime = 0;  // ticks
  long priority = 20;
  long nice = 0;
  unsigned threads = 1;
  unsigned long long starttime = 0;  // ticks after boot
  unsigned long long vsize = 0;      // bytes
  unsigned long long rss = 0;        // pages
  std::string cmdline;               // arguments separated by NUL
};

class SystemFixture {
 public:
  static constexpr long long kBootTime = 1700000000;  // 2023-11-14 22:13:20 UTC

  SystemFixture() {
    std::string pattern = (std::filesystem::temp_directory_path() / "kest-system-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    _root = pattern;
    write("proc/sys/kernel/hostname", "testhost\n");
    write("proc/sys/kernel/ostype", "Linux\n");
    write("proc/sys/kernel/osrelease", "6.1.0-test\n");
    write("proc/cpuinfo",
          "processor\t: 0\nmodel name\t: Test CPU\n\nprocessor\t: 1\nmodel name\t: Test CPU\n\n");
    write("proc/meminfo",
          "MemTotal:        8000000 kB\nMemFree:         1000000 kB\n"
          "MemAvailable:    4000000 kB\n");
    write("proc/loadavg", "0.25 0.50 0.75 2/300 4000\n");
    write("proc/uptime", "3600.55 7000.00\n");
    write("proc/stat", "cpu  1 2 3 4\nbtime " + std::to_string(kBootTime) + "\nprocesses 500\n");
    std::filesystem::create_directories(_root / "sys/class/net");
    write("proc/self/mounts", "");
  }
  ~SystemFixture() {
    std::error_code ignored;
    std::filesystem::remove_all(_root, ignored);
  }
  SystemFixture(const SystemFixture&) = delete;
  SystemFixture& operator=(const SystemFixture&) = delete;

  const std::filesystem::path& root() const { return _root; }

  // Writes text to root/relative, creating the directories on the way.
  void write(const std::string& relative, const std::string& text) const {
    const std::filesystem::path file = _root / relative;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream out(file, std::ios::binary | std::ios::trunc);
    out << text;
    if (!out) throw std::runtime_error("cannot write " + file.string());
  }
  void remove(const std::string& relative) const { std::filesystem::remove_all(_root / relative); }

  void addProcess(const FixtureProcess& p, unsigned openFiles = 3) const {
    const std::string base = "proc/" + std::to_string(p.pid) + "/";
    writeStat(p);
    write(base + "cmdline", p.cmdline);
    write(base + "status", "Name:\t" + p.comm + "\nState:\t" + std::string(1, p.state) +
                               "\nPid:\t" + std::to_string(p.pid) + "\nPPid:\t" +
                               std::to_string(p.ppid) + "\nVmRSS:\t" + std::to_string(p.rss * 4) +
                               " kB\n");
    std::filesystem::create_directories(_root / (base + "fd"));
    for (unsigned fd = 0; fd < openFiles; ++fd) write(base + "fd/" + std::to_string(fd), "");
  }
  // Rewrites only /proc/<pid>/stat of a process added before.
  void writeStat(const FixtureProcess& p) const {
    write("proc/" + std::to_string(p.pid) + "/stat",
          std::to_string(p.pid) + " (" + p.comm + ") " + std::string(1, p.state) + " " +
              std::to_string(p.ppid) + " 1 1 0 -1 4194560 100 0 0 0 " + std::to_string(p.utime) +
              " " + std::to_string(p.stime) + " 0 0 " + std::to_string(p.priority) + " " +
              std::to_string(p.nice) + " " + std::to_string(p.threads) + " 0 " +
              std::to_string(p.starttime) + " " + std::to_string(p.vsize) + " " +
              std::to_string(p.rss) +
              " 18446744073709551615 1 1 0 0 0 0 0 0 0 0 0 0 17 0 0 0 0 0 0\n");
  }
  void removeProcess(unsigned pid) const { remove("proc/" + std::to_string(pid)); }

  void setMounts(const std::string& table) const { write("proc/self/mounts", table); }

  // An interface directory with the usual files; files given no value are
  // left out.
  struct Interface {
    std::string name;
    std::optional<unsigned> ifindex;
    std::optional<unsigned> type;
    std::optional<std::string> address;
    std::optional<unsigned> mtu;
    std::optional<std::string> operstate;
    std::optional<std::string> speed;  // as the file holds it (may be "-1")
    std::optional<unsigned long long> rxBytes, txBytes, rxPackets, txPackets;
  };
  void addInterface(const Interface& i) const {
    const std::string base = "sys/class/net/" + i.name + "/";
    std::filesystem::create_directories(_root / base);
    if (i.ifindex) write(base + "ifindex", std::to_string(*i.ifindex) + "\n");
    if (i.type) write(base + "type", std::to_string(*i.type) + "\n");
    if (i.address) write(base + "address", *i.address + "\n");
    if (i.mtu) write(base + "mtu", std::to_string(*i.mtu) + "\n");
    if (i.operstate) write(base + "operstate", *i.operstate + "\n");
    if (i.speed) write(base + "speed", *i.speed + "\n");
    if (i.rxBytes) write(base + "statistics/rx_bytes", std::to_string(*i.rxBytes) + "\n");
    if (i.txBytes) write(base + "statistics/tx_bytes", std::to_string(*i.txBytes) + "\n");
    if (i.rxPackets) write(base + "statistics/rx_packets", std::to_string(*i.rxPackets) + "\n");
    if (i.txPackets) write(base + "statistics/tx_packets", std::to_string(*i.txPackets) + "\n");
  }

  // The statvfs figures the reader gets for mountPoint; none: unreadable.
  void setVolume(const std::string& mountPoint, std::optional<examples::VolumeUsage> usage) {
    const std::lock_guard<std::mutex> lock(_mutex);
    if (usage) {
      _volumes[mountPoint] = *usage;
    } else {
      _volumes.erase(mountPoint);
    }
  }
  std::optional<examples::VolumeUsage> volume(const std::string& mountPoint) const {
    const std::lock_guard<std::mutex> lock(_mutex);
    const auto it = _volumes.find(mountPoint);
    if (it == _volumes.end()) return std::nullopt;
    return it->second;
  }

  // Reader options for this machine.
  examples::SystemReaderOptions readerOptions() const {
    examples::SystemReaderOptions options;
    options.root = _root.string();
    options.volumeUsage = [this](const std::string& mountPoint) { return volume(mountPoint); };
    options.ticksPerSecond = 100;
    options.pageSize = 4096;
    return options;
  }
  // Provider options for this machine, without the poll thread.
  examples::SystemProviderOptions providerOptions() const {
    examples::SystemProviderOptions options;
    options.reader = readerOptions();
    options.polling = false;
    return options;
  }

  // A small machine: init (1), a shell (100) and its child (200, a command
  // line with blanks), a kernel thread (2); two file systems, loopback and
  // one Ethernet interface.
  void populate() {
    addProcess({1, "systemd", 'S', 0, 150, 250, 20, 0, 1, 5, 170000000, 3000,
                std::string("/sbin/init\0splash\0", 18)});
    addProcess({2, "kthreadd", 'S', 0, 0, 1, 20, 0, 1, 5, 0, 0, ""});
    addProcess(
        {100, "bash", 'S', 1, 20, 10, 20, 0, 1, 12345, 9000000, 1200, std::string("-bash\0", 6)});
    addProcess({200, "sleep", 'R', 100, 7, 3, 30, 10, 2, 500050, 5500000, 200,
                std::string("sleep\0"
                            "100\0",
                            10)});
    setMounts(
        "/dev/sda1 / ext4 rw,relatime 0 0\n"
        "tmpfs /run/user\\0401000 tmpfs rw,nosuid 0 0\n");
    setVolume("/", examples::VolumeUsage{4096, 100000000000ULL, 40000000000ULL, 35000000000ULL,
                                         6000000, 5000000});
    setVolume("/run/user 1000",
              examples::VolumeUsage{4096, 800000000, 799000000, 799000000, 100000, 99990});
    addInterface(
        {"lo", 1, 772, "00:00:00:00:00:00", 65536, "unknown", std::nullopt, 1000, 1000, 10, 10});
    addInterface(
        {"eth0", 2, 1, "52:54:00:12:34:56", 1500, "up", "1000", 123456789, 987654321, 1000, 2000});
  }

 private:
  std::filesystem::path _root;
  mutable std::mutex _mutex;
  std::map<std::string, examples::VolumeUsage> _volumes;  // guarded by _mutex
};

}  // namespace kest::testing
