#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "examples/system/SystemRecords.h"
#include "host/String.h"
#include "host/Types.h"

namespace kest::examples {

// How a SystemReader reads.
//   root: the directory that stands for "/": every file is read below it
//     (root + "/proc/...", root + "/sys/class/net/..."), so tests can point
//     the reader at fixture trees shaped like /proc and /sys;
//   volumeUsage: the statvfs figures of a mount point (as the mount table
//     names it); empty when they cannot be read. Unset: statvfs of root +
//     mount point;
//   ticksPerSecond, pageSize: the units of /proc/<pid>/stat; 0 takes the
//     running system's (sysconf).
struct SystemReaderOptions {
  std::string root = "/";
  std::function<std::optional<VolumeUsage>(const std::string& mountPoint)> volumeUsage;
  long ticksPerSecond = 0;
  long pageSize = 0;
};

// SystemReader: reads the machine into records (SystemRecords.h):
//   computer system: /proc/sys/kernel/{hostname,ostype,osrelease},
//     /proc/cpuinfo (processor lines), /proc/meminfo (MemTotal, MemAvailable),
//     /proc/loadavg, /proc/uptime, /proc/stat (btime); the host name is
//     "localhost" when the file is missing;
//   processes: every /proc/<pid> (digits only) with readable stat and
//     cmdline; a process that vanishes while it is read is left out;
//   file systems: /proc/self/mounts (octal escapes such as \040 decoded), one
//     record per mount point, the last mount of a point winning; sizes from
//     volumeUsage, left NULL for autofs mounts (statvfs would mount them) and
//     when it fails;
//   network interfaces: the directories of /sys/class/net; a value whose
//     file is missing or unreadable is NULL, a negative speed too.
// Records carry the system's host name as SystemName and their class as
// CreationClassName. Malformed numbers read as NULL (or 0 where the
// property cannot be NULL); nothing throws except std::bad_alloc and what
// volumeUsage throws.
//
// Threads: a reader keeps no state beyond its options; const calls may run
// concurrently.
class SystemReader {
 public:
  explicit SystemReader(SystemReaderOptions options = {});

  SystemReading read() const;
  ComputerSystemRecord readComputerSystem() const;
  // Start times need the boot time (seconds since the epoch, from
  // /proc/stat); processes read on their own take it from there.
  std::vector<ProcessRecord> readProcesses(const TOVString& systemName) const;
  std::vector<FileSystemRecord> readFileSystems(const TOVString& systemName) const;
  std::vector<NetworkInterfaceRecord> readNetworkInterfaces(const TOVString& systemName) const;

  // The statvfs figures of mountPoint, through the options.
  std::optional<VolumeUsage> volumeUsage(const std::string& mountPoint) const;
  // The number of entries of /proc/<pid>/fd; empty when it cannot be read.
  std::optional<TOVuint32> openFileCount(TOVuint32 processId) const;
  // The value of field (exact name, such as "VmRSS") in /proc/<pid>/status,
  // trimmed; empty when the file or the field is missing.
  std::optional<TOVString> statusField(TOVuint32 processId, const TOVString& field) const;

  const std::string& root() const { return _root; }

 private:
  std::string path(const char* relative) const;
  std::optional<long long> bootTime() const;

  std::string _root;
  std::function<std::optional<VolumeUsage>(const std::string&)> _volumeUsage;
  long _ticksPerSecond;
  long _pageSize;
};

}  // namespace kest::examples
