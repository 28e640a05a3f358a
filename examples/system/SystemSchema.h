#pragma once

#include "examples/system/PropertyTable.h"
#include "examples/system/SystemRecords.h"

namespace kest::examples {

// The property tables of the system provider's classes, in the order of
// kest-system.mof (inherited properties first). Built on first use; safe to
// use from any thread.
const PropertyTable<ComputerSystemRecord>& computerSystemTable();
const PropertyTable<ProcessRecord>& processTable();
const PropertyTable<FileSystemRecord>& fileSystemTable();
const PropertyTable<NetworkInterfaceRecord>& networkInterfaceTable();

}  // namespace kest::examples
