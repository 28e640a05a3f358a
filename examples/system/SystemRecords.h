#pragma once

#include <optional>
#include <vector>

#include "host/String.h"
#include "host/Types.h"

namespace kest::examples {

// What the system reader finds, one record per object, with a field per
// property of the object's class (see kest-system.mof). A string field
// without a buffer (TOVString()) and an empty optional stand for a NULL
// property value. Records are plain values: copy them freely.

// A CIM datetime in text form ("yyyymmddhhmmss.mmmmmm+000", UTC); no text
// for NULL.
struct CimDateTime {
  TOVString text;
  bool operator==(const CimDateTime& other) const { return text == other.text; }
};

struct ComputerSystemRecord {
  TOVString creationClassName;
  TOVString name;
  TOVString elementName;
  TOVString osType;
  TOVString kernelRelease;
  std::optional<TOVuint32> numberOfProcessors;
  std::optional<TOVuint64> totalMemory;
  std::optional<TOVuint64> availableMemory;
  std::optional<TOVreal64> loadAverage;
  CimDateTime bootTime;
  std::optional<TOVuint64> upTime;
};

struct ProcessRecord {
  TOVString systemName;
  TOVString creationClassName;
  TOVString name;
  TOVString elementName;
  TOVuint32 processId = 0;
  TOVuint32 parentProcessId = 0;
  TOVString command;
  TOVString commandLine;
  TOVString state;
  TOVsint32 priority = 0;
  TOVsint32 niceValue = 0;
  TOVuint32 threads = 0;
  TOVuint64 userModeTime = 0;
  TOVuint64 kernelModeTime = 0;
  TOVuint64 virtualMemorySize = 0;
  TOVuint64 residentSetSize = 0;
  CimDateTime startTime;
  // Not a property: the start in clock ticks after boot, which tells a
  // process from a later one that reuses its id.
  TOVuint64 startTicks = 0;
};

struct FileSystemRecord {
  TOVString systemName;
  TOVString creationClassName;
  TOVString name;
  TOVString elementName;
  TOVString fileSystemType;
  TOVString device;
  TOVString mountOptions;
  bool readOnly = false;
  std::optional<TOVuint64> blockSize;
  std::optional<TOVuint64> totalBytes;
  std::optional<TOVuint64> freeBytes;
  std::optional<TOVuint64> availableBytes;
  std::optional<TOVuint64> totalInodes;
  std::optional<TOVuint64> freeInodes;
};

struct NetworkInterfaceRecord {
  TOVString systemName;
  TOVString creationClassName;
  TOVString name;
  TOVString elementName;
  std::optional<TOVuint32> interfaceIndex;
  std::optional<TOVuint16> linkType;
  TOVString permanentAddress;
  std::optional<TOVuint32> mtu;
  TOVString operationalStatus;
  std::optional<TOVuint64> speed;
  std::optional<TOVuint64> bytesReceived;
  std::optional<TOVuint64> bytesTransmitted;
  std::optional<TOVuint64> packetsReceived;
  std::optional<TOVuint64> packetsTransmitted;
};

// What statvfs reports of a mounted file system, in bytes and inodes.
struct VolumeUsage {
  TOVuint64 blockSize = 0;
  TOVuint64 totalBytes = 0;
  TOVuint64 freeBytes = 0;
  TOVuint64 availableBytes = 0;
  TOVuint64 totalInodes = 0;
  TOVuint64 freeInodes = 0;
};

// One reading of the whole system; processes in ascending id order, file
// systems in mount order, interfaces by name.
struct SystemReading {
  ComputerSystemRecord computerSystem;
  std::vector<ProcessRecord> processes;
  std::vector<FileSystemRecord> fileSystems;
  std::vector<NetworkInterfaceRecord> networkInterfaces;
};

}  // namespace kest::examples
