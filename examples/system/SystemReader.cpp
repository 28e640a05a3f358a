#include "examples/system/SystemReader.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <ctime>
#include <string>
#include <string_view>
#include <utility>

#include "examples/system/SystemClasses.h"

namespace kest::examples {

namespace {

// The whole of a (proc or sys) file into content; false when it cannot be
// opened or read. Such files report no size, so it reads to the end.
bool readFile(const std::string& path, std::string& content) {
  content.clear();
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return false;
  char buffer[4096];
  bool ok = true;
  for (;;) {
    const ssize_t n = ::read(fd, buffer, sizeof buffer);
    if (n > 0) {
      content.append(buffer, static_cast<std::size_t>(n));
    } else if (n == 0) {
      break;
    } else if (errno != EINTR) {
      ok = false;
      break;
    }
  }
  ::close(fd);
  return ok;
}

std::string_view trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(" \t\n\r");
  if (first == std::string_view::npos) return {};
  const std::size_t last = text.find_last_not_of(" \t\n\r");
  return text.substr(first, last - first + 1);
}

TOVString toString(std::string_view text) { return TOVString(text.data(), text.size()); }

// The trimmed text of a one-line file; no buffer when it cannot be read.
TOVString readLine(const std::string& path) {
  std::string content;
  if (!readFile(path, content)) return TOVString();
  return toString(trimmed(content));
}

template <typename T>
std::optional<T> parseNumber(std::string_view text) {
  text = trimmed(text);
  T value{};
  const char* end = text.data() + text.size();
  const auto [ptr, ec] = std::from_chars(text.data(), end, value);
  if (ec != std::errc() || ptr != end || text.empty()) return std::nullopt;
  return value;
}

template <typename T>
std::optional<T> readNumber(const std::string& path) {
  std::string content;
  if (!readFile(path, content)) return std::nullopt;
  return parseNumber<T>(content);
}

// Splits text at each separator; empty fields are kept.
std::vector<std::string_view> split(std::string_view text, char separator) {
  std::vector<std::string_view> fields;
  std::size_t start = 0;
  for (;;) {
    const std::size_t end = text.find(separator, start);
    if (end == std::string_view::npos) {
      fields.push_back(text.substr(start));
      return fields;
    }
    fields.push_back(text.substr(start, end - start));
    start = end + 1;
  }
}

// The number after "<key>:" on the line of text that starts with it.
std::optional<TOVuint64> fieldOf(std::string_view text, std::string_view key) {
  for (std::string_view line : split(text, '\n')) {
    if (line.size() > key.size() && line.substr(0, key.size()) == key && line[key.size()] == ':') {
      std::string_view rest = trimmed(line.substr(key.size() + 1));
      rest = rest.substr(0, rest.find(' '));
      return parseNumber<TOVuint64>(rest);
    }
  }
  return std::nullopt;
}

// A CIM datetime (UTC) for seconds and microseconds since the epoch.
CimDateTime dateTimeOf(long long seconds, long microseconds) {
  const std::time_t time = static_cast<std::time_t>(seconds);
  std::tm utc{};
  if (gmtime_r(&time, &utc) == nullptr) return CimDateTime{};
  char text[96];
  std::snprintf(text, sizeof text, "%04d%02d%02d%02d%02d%02d.%06ld+000", utc.tm_year + 1900,
                utc.tm_mon + 1, utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec, microseconds);
  return CimDateTime{TOVString(text)};
}

const char* stateName(char code) {
  switch (code) {
    case 'R':
      return "Running";
    case 'S':
      return "Sleeping";
    case 'D':
      return "Waiting";
    case 'Z':
      return "Zombie";
    case 'T':
      return "Stopped";
    case 't':
      return "Tracing";
    case 'I':
      return "Idle";
    case 'X':
    case 'x':
      return "Dead";
    default:
      return "Unknown";
  }
}

// The names in directory, sorted; only entries that are directories (links
// followed) when directoriesOnly.
std::vector<std::string> listDirectory(const std::string& directory, bool directoriesOnly) {
  std::vector<std::string> names;
  DIR* dir = ::opendir(directory.c_str());
  if (dir == nullptr) return names;
  while (const dirent* entry = ::readdir(dir)) {
    const std::string name = entry->d_name;
    if (name == "." || name == "..") continue;
    if (directoriesOnly) {
      struct stat info {};
      if (::stat((directory + "/" + name).c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) continue;
    }
    names.push_back(name);
  }
  ::closedir(dir);
  std::sort(names.begin(), names.end());
  return names;
}

// Decodes the octal escapes (\040 for a blank, \011, \012, \134) of a field
// of the mount table.
std::string unescapeMountField(std::string_view field) {
  std::string text;
  text.reserve(field.size());
  for (std::size_t i = 0; i < field.size(); ++i) {
    if (field[i] == '\\' && i + 3 < field.size()) {
      const std::string_view digits = field.substr(i + 1, 3);
      if (std::all_of(digits.begin(), digits.end(), [](char c) { return c >= '0' && c <= '7'; })) {
        text +=
            static_cast<char>((digits[0] - '0') * 64 + (digits[1] - '0') * 8 + (digits[2] - '0'));
        i += 3;
        continue;
      }
    }
    text += field[i];
  }
  return text;
}

bool hasOption(std::string_view options, std::string_view option) {
  for (std::string_view item : split(options, ',')) {
    if (item == option) return true;
  }
  return false;
}

// The statvfs figures of root + mountPoint.
std::optional<VolumeUsage> statVolume(const std::string& root, const std::string& mountPoint) {
  std::string full = root;
  if (!full.empty() && full.back() == '/') full.pop_back();
  full += mountPoint;
  struct statvfs info {};
  if (::statvfs(full.empty() ? "/" : full.c_str(), &info) != 0) return std::nullopt;
  const TOVuint64 fragment = info.f_frsize != 0 ? info.f_frsize : info.f_bsize;
  VolumeUsage usage;
  usage.blockSize = info.f_bsize;
  usage.totalBytes = static_cast<TOVuint64>(info.f_blocks) * fragment;
  usage.freeBytes = static_cast<TOVuint64>(info.f_bfree) * fragment;
  usage.availableBytes = static_cast<TOVuint64>(info.f_bavail) * fragment;
  usage.totalInodes = info.f_files;
  usage.freeInodes = info.f_ffree;
  return usage;
}

}  // namespace

SystemReader::SystemReader(SystemReaderOptions options)
    : _root(std::move(options.root)),
      _volumeUsage(std::move(options.volumeUsage)),
      _ticksPerSecond(options.ticksPerSecond > 0 ? options.ticksPerSecond : ::sysconf(_SC_CLK_TCK)),
      _pageSize(options.pageSize > 0 ? options.pageSize : ::sysconf(_SC_PAGESIZE)) {
  if (_root.empty()) _root = "/";
  if (_ticksPerSecond <= 0) _ticksPerSecond = 100;
  if (_pageSize <= 0) _pageSize = 4096;
  if (!_volumeUsage) {
    _volumeUsage = [root = _root](const std::string& mountPoint) {
      return statVolume(root, mountPoint);
    };
  }
}

std::string SystemReader::path(const char* relative) const {
  std::string full = _root;
  if (full.back() == '/') full.pop_back();
  full += relative;
  return full;
}

std::optional<long long> SystemReader::bootTime() const {
  std::string content;
  if (!readFile(path("/proc/stat"), content)) return std::nullopt;
  for (std::string_view line : split(content, '\n')) {
    if (line.substr(0, 6) == "btime ") return parseNumber<long long>(line.substr(6));
  }
  return std::nullopt;
}

SystemReading SystemReader::read() const {
  SystemReading reading;
  reading.computerSystem = readComputerSystem();
  const TOVString& systemName = reading.computerSystem.name;
  reading.processes = readProcesses(systemName);
  reading.fileSystems = readFileSystems(systemName);
  reading.networkInterfaces = readNetworkInterfaces(systemName);
  return reading;
}

ComputerSystemRecord SystemReader::readComputerSystem() const {
  ComputerSystemRecord record;
  record.creationClassName = kComputerSystemClass;
  record.name = readLine(path("/proc/sys/kernel/hostname"));
  if (record.name.isNull()) record.name = "localhost";
  record.elementName = record.name;
  record.osType = readLine(path("/proc/sys/kernel/ostype"));
  record.kernelRelease = readLine(path("/proc/sys/kernel/osrelease"));

  std::string content;
  if (readFile(path("/proc/cpuinfo"), content)) {
    TOVuint32 processors = 0;
    for (std::string_view line : split(content, '\n')) {
      if (line.substr(0, 9) == "processor" && line.find(':') != std::string_view::npos) {
        ++processors;
      }
    }
    record.numberOfProcessors = processors;
  }
  if (readFile(path("/proc/meminfo"), content)) {
    if (const auto total = fieldOf(content, "MemTotal")) record.totalMemory = *total * 1024;
    if (const auto available = fieldOf(content, "MemAvailable")) {
      record.availableMemory = *available * 1024;
    }
  }
  if (readFile(path("/proc/loadavg"), content)) {
    const std::string_view text = trimmed(content);
    record.loadAverage = parseNumber<double>(text.substr(0, text.find(' ')));
  }
  if (readFile(path("/proc/uptime"), content)) {
    const std::string_view text = trimmed(content);
    const std::string_view seconds = text.substr(0, text.find(' '));
    record.upTime = parseNumber<TOVuint64>(seconds.substr(0, seconds.find('.')));
  }
  if (const std::optional<long long> boot = bootTime()) record.bootTime = dateTimeOf(*boot, 0);
  return record;
}

std::vector<ProcessRecord> SystemReader::readProcesses(const TOVString& systemName) const {
  std::vector<ProcessRecord> records;
  const std::optional<long long> boot = bootTime();
  const std::string procDirectory = path("/proc");
  std::vector<TOVuint32> ids;
  for (const std::string& name : listDirectory(procDirectory, false)) {
    if (const auto id = parseNumber<TOVuint32>(name)) {
      if (std::all_of(name.begin(), name.end(), [](char c) { return c >= '0' && c <= '9'; })) {
        ids.push_back(*id);
      }
    }
  }
  std::sort(ids.begin(), ids.end());
  records.reserve(ids.size());

  const TOVString creationClassName(kProcessClass);
  std::string stat;
  std::string cmdline;
  std::string base;
  for (const TOVuint32 id : ids) {
    base = procDirectory + "/" + std::to_string(id);
    if (!readFile(base + "/stat", stat) || !readFile(base + "/cmdline", cmdline)) continue;
    // "pid (comm) state ppid ...": comm may hold blanks and parentheses, so
    // the fields start after the last ')'.
    const std::size_t open = stat.find('(');
    const std::size_t close = stat.rfind(')');
    if (open == std::string::npos || close == std::string::npos || close < open) continue;
    const std::vector<std::string_view> fields =
        split(trimmed(std::string_view(stat).substr(close + 1)), ' ');
    // fields[0] is field 3 of proc(5): state.
    if (fields.size() < 22 || fields[0].empty()) continue;

    ProcessRecord record;
    record.systemName = systemName;
    record.creationClassName = creationClassName;
    record.name = TOVString::fromUInt(id);
    record.processId = id;
    record.command = toString(std::string_view(stat).substr(open + 1, close - open - 1));
    record.elementName = record.command;
    while (!cmdline.empty() && cmdline.back() == '\0') cmdline.pop_back();
    std::replace(cmdline.begin(), cmdline.end(), '\0', ' ');
    record.commandLine = TOVString(cmdline);
    record.state = stateName(fields[0][0]);
    record.parentProcessId = parseNumber<TOVuint32>(fields[1]).value_or(0);
    const TOVuint64 ticks = static_cast<TOVuint64>(_ticksPerSecond);
    record.userModeTime = parseNumber<TOVuint64>(fields[11]).value_or(0) * 1000 / ticks;
    record.kernelModeTime = parseNumber<TOVuint64>(fields[12]).value_or(0) * 1000 / ticks;
    record.priority = parseNumber<TOVsint32>(fields[15]).value_or(0);
    record.niceValue = parseNumber<TOVsint32>(fields[16]).value_or(0);
    record.threads = parseNumber<TOVuint32>(fields[17]).value_or(0);
    record.startTicks = parseNumber<TOVuint64>(fields[19]).value_or(0);
    record.virtualMemorySize = parseNumber<TOVuint64>(fields[20]).value_or(0);
    record.residentSetSize =
        parseNumber<TOVuint64>(fields[21]).value_or(0) * static_cast<TOVuint64>(_pageSize);
    if (boot) {
      record.startTime =
          dateTimeOf(*boot + static_cast<long long>(record.startTicks / ticks),
                     static_cast<long>((record.startTicks % ticks) * 1000000 / ticks));
    }
    records.push_back(std::move(record));
  }
  return records;
}

std::vector<FileSystemRecord> SystemReader::readFileSystems(const TOVString& systemName) const {
  std::vector<FileSystemRecord> records;
  std::string content;
  if (!readFile(path("/proc/self/mounts"), content)) return records;
  const TOVString creationClassName(kFileSystemClass);
  for (std::string_view line : split(content, '\n')) {
    const std::vector<std::string_view> fields = split(trimmed(line), ' ');
    if (fields.size() < 4 || fields[1].empty()) continue;
    const std::string mountPoint = unescapeMountField(fields[1]);
    FileSystemRecord record;
    record.systemName = systemName;
    record.creationClassName = creationClassName;
    record.name = TOVString(mountPoint);
    record.elementName = record.name;
    record.device = TOVString(unescapeMountField(fields[0]));
    record.fileSystemType = toString(fields[2]);
    record.mountOptions = toString(fields[3]);
    record.readOnly = hasOption(fields[3], "ro");
    if (fields[2] != "autofs") {
      if (const std::optional<VolumeUsage> usage = _volumeUsage(mountPoint)) {
        record.blockSize = usage->blockSize;
        record.totalBytes = usage->totalBytes;
        record.freeBytes = usage->freeBytes;
        record.availableBytes = usage->availableBytes;
        record.totalInodes = usage->totalInodes;
        record.freeInodes = usage->freeInodes;
      }
    }
    // A later mount on the same point hides the earlier one.
    records.erase(std::remove_if(records.begin(), records.end(),
                                 [&](const FileSystemRecord& r) { return r.name == record.name; }),
                  records.end());
    records.push_back(std::move(record));
  }
  return records;
}

std::vector<NetworkInterfaceRecord> SystemReader::readNetworkInterfaces(
    const TOVString& systemName) const {
  std::vector<NetworkInterfaceRecord> records;
  const std::string netDirectory = path("/sys/class/net");
  const TOVString creationClassName(kNetworkInterfaceClass);
  for (const std::string& name : listDirectory(netDirectory, true)) {
    const std::string base = netDirectory + "/" + name + "/";
    NetworkInterfaceRecord record;
    record.systemName = systemName;
    record.creationClassName = creationClassName;
    record.name = TOVString(name);
    record.elementName = record.name;
    record.interfaceIndex = readNumber<TOVuint32>(base + "ifindex");
    record.linkType = readNumber<TOVuint16>(base + "type");
    record.permanentAddress = readLine(base + "address");
    record.mtu = readNumber<TOVuint32>(base + "mtu");
    record.operationalStatus = readLine(base + "operstate");
    if (const auto megabits = readNumber<long long>(base + "speed"); megabits && *megabits >= 0) {
      record.speed = static_cast<TOVuint64>(*megabits) * 1000000;
    }
    record.bytesReceived = readNumber<TOVuint64>(base + "statistics/rx_bytes");
    record.bytesTransmitted = readNumber<TOVuint64>(base + "statistics/tx_bytes");
    record.packetsReceived = readNumber<TOVuint64>(base + "statistics/rx_packets");
    record.packetsTransmitted = readNumber<TOVuint64>(base + "statistics/tx_packets");
    records.push_back(std::move(record));
  }
  return records;
}

std::optional<VolumeUsage> SystemReader::volumeUsage(const std::string& mountPoint) const {
  return _volumeUsage(mountPoint);
}

std::optional<TOVuint32> SystemReader::openFileCount(TOVuint32 processId) const {
  const std::string directory = path("/proc") + "/" + std::to_string(processId) + "/fd";
  DIR* dir = ::opendir(directory.c_str());
  if (dir == nullptr) return std::nullopt;
  TOVuint32 count = 0;
  while (const dirent* entry = ::readdir(dir)) {
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") ++count;
  }
  ::closedir(dir);
  return count;
}

std::optional<TOVString> SystemReader::statusField(TOVuint32 processId,
                                                   const TOVString& field) const {
  std::string content;
  if (!readFile(path("/proc") + "/" + std::to_string(processId) + "/status", content)) {
    return std::nullopt;
  }
  const std::string_view key = field.view();
  for (std::string_view line : split(content, '\n')) {
    if (line.size() > key.size() && line.substr(0, key.size()) == key && line[key.size()] == ':') {
      return toString(trimmed(line.substr(key.size() + 1)));
    }
  }
  return std::nullopt;
}

}  // namespace kest::examples
