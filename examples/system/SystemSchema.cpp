#include "examples/system/SystemSchema.h"

namespace kest::examples {

const PropertyTable<ComputerSystemRecord>& computerSystemTable() {
  using R = ComputerSystemRecord;
  static const PropertyTable<R> table({
      {"CreationClassName", &R::creationClassName, true},
      {"Name", &R::name, true},
      {"ElementName", &R::elementName},
      {"OSType", &R::osType},
      {"KernelRelease", &R::kernelRelease},
      {"NumberOfProcessors", &R::numberOfProcessors},
      {"TotalMemory", &R::totalMemory},
      {"AvailableMemory", &R::availableMemory},
      {"LoadAverage", &R::loadAverage},
      {"BootTime", &R::bootTime},
      {"UpTime", &R::upTime},
  });
  return table;
}

const PropertyTable<ProcessRecord>& processTable() {
  using R = ProcessRecord;
  static const PropertyTable<R> table({
      {"SystemName", &R::systemName, true},
      {"CreationClassName", &R::creationClassName, true},
      {"Name", &R::name, true},
      {"ElementName", &R::elementName},
      {"ProcessId", &R::processId},
      {"ParentProcessId", &R::parentProcessId},
      {"Command", &R::command},
      {"CommandLine", &R::commandLine},
      {"State", &R::state},
      {"Priority", &R::priority},
      {"NiceValue", &R::niceValue},
      {"Threads", &R::threads},
      {"UserModeTime", &R::userModeTime},
      {"KernelModeTime", &R::kernelModeTime},
      {"VirtualMemorySize", &R::virtualMemorySize},
      {"ResidentSetSize", &R::residentSetSize},
      {"StartTime", &R::startTime},
  });
  return table;
}

const PropertyTable<FileSystemRecord>& fileSystemTable() {
  using R = FileSystemRecord;
  static const PropertyTable<R> table({
      {"SystemName", &R::systemName, true},
      {"CreationClassName", &R::creationClassName, true},
      {"Name", &R::name, true},
      {"ElementName", &R::elementName},
      {"FileSystemType", &R::fileSystemType},
      {"Device", &R::device},
      {"MountOptions", &R::mountOptions},
      {"ReadOnly", &R::readOnly},
      {"BlockSize", &R::blockSize},
      {"TotalBytes", &R::totalBytes},
      {"FreeBytes", &R::freeBytes},
      {"AvailableBytes", &R::availableBytes},
      {"TotalInodes", &R::totalInodes},
      {"FreeInodes", &R::freeInodes},
  });
  return table;
}

const PropertyTable<NetworkInterfaceRecord>& networkInterfaceTable() {
  using R = NetworkInterfaceRecord;
  static const PropertyTable<R> table({
      {"SystemName", &R::systemName, true},
      {"CreationClassName", &R::creationClassName, true},
      {"Name", &R::name, true},
      {"ElementName", &R::elementName},
      {"InterfaceIndex", &R::interfaceIndex},
      {"LinkType", &R::linkType},
      {"PermanentAddress", &R::permanentAddress},
      {"MTU", &R::mtu},
      {"OperationalStatus", &R::operationalStatus},
      {"Speed", &R::speed},
      {"BytesReceived", &R::bytesReceived},
      {"BytesTransmitted", &R::bytesTransmitted},
      {"PacketsReceived", &R::packetsReceived},
      {"PacketsTransmitted", &R::packetsTransmitted},
  });
  return table;
}

}  // namespace kest::examples
