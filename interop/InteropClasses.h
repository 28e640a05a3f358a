#pragma once

// The names of the classes the interop provider serves, as the server's
// interop schema (schema/kest-interop.mof) defines them, and of their
// association roles.

namespace kest::interop {

inline constexpr const char* kObjectManagerClass = "CIM_ObjectManager";
inline constexpr const char* kCommunicationMechanismClass = "CIM_CIMXMLCommunicationMechanism";
inline constexpr const char* kNamespaceClass = "CIM_Namespace";
inline constexpr const char* kSystemNamespaceClass = "__Namespace";
inline constexpr const char* kRegisteredProfileClass = "CIM_RegisteredProfile";

inline constexpr const char* kDependencyClass = "CIM_Dependency";
inline constexpr const char* kHostedDependencyClass = "CIM_HostedDependency";
inline constexpr const char* kServiceAccessBySapClass = "CIM_ServiceAccessBySAP";
inline constexpr const char* kReferencedSpecificationClass = "CIM_ReferencedSpecification";
inline constexpr const char* kNamespaceInManagerClass = "CIM_NamespaceInManager";
inline constexpr const char* kCommMechanismForManagerClass = "CIM_CommMechanismForManager";
inline constexpr const char* kElementConformsToProfileClass = "CIM_ElementConformsToProfile";
inline constexpr const char* kReferencedProfileClass = "CIM_ReferencedProfile";

inline constexpr const char* kAntecedentRole = "Antecedent";
inline constexpr const char* kDependentRole = "Dependent";
inline constexpr const char* kConformantStandardRole = "ConformantStandard";
inline constexpr const char* kManagedElementRole = "ManagedElement";

}  // namespace kest::interop
