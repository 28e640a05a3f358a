#pragma once

// The names of the system provider's classes and association roles, as its
// MOF (kest-system.mof) declares them.

namespace kest::examples {

inline constexpr const char* kComputerSystemClass = "KEST_ComputerSystem";
inline constexpr const char* kLogicalElementClass = "KEST_LogicalElement";
inline constexpr const char* kProcessClass = "KEST_Process";
inline constexpr const char* kFileSystemClass = "KEST_FileSystem";
inline constexpr const char* kNetworkInterfaceClass = "KEST_NetworkInterface";

inline constexpr const char* kSystemComponentClass = "KEST_SystemComponent";
inline constexpr const char* kSystemProcessClass = "KEST_SystemProcess";
inline constexpr const char* kSystemFileSystemClass = "KEST_SystemFileSystem";
inline constexpr const char* kSystemNetworkInterfaceClass = "KEST_SystemNetworkInterface";
inline constexpr const char* kParentProcessClass = "KEST_ParentProcess";

// The roles: the system and its element, the parent and its child.
inline constexpr const char* kGroupComponentRole = "GroupComponent";
inline constexpr const char* kPartComponentRole = "PartComponent";
inline constexpr const char* kParentRole = "Parent";
inline constexpr const char* kChildRole = "Child";

}  // namespace kest::examples
