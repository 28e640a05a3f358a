#include "server/Operations.h"

#include <stdexcept>
#include <string>

#include "server/Dispatcher.h"

namespace kest::server {

namespace {

ParameterDescriptor className(std::string_view name, TOVString CimRequest::*field) {
  return {name, ParameterKind::ClassName, false, false, field};
}

ParameterDescriptor requiredClassName() {
  return {"ClassName", ParameterKind::ClassName, true, false, &CimRequest::className};
}

ParameterDescriptor text(std::string_view name, TOVString CimRequest::*field) {
  return {name, ParameterKind::String, false, false, field};
}

ParameterDescriptor boolean(std::string_view name, bool defaultValue, bool CimRequest::*field) {
  return {name, ParameterKind::Boolean, false, defaultValue, field};
}

ParameterDescriptor fixed(std::string_view name, ParameterKind kind, bool required) {
  return {name, kind, required, false, {}};
}

ParameterDescriptor localOnly(bool defaultValue) {
  return boolean("LocalOnly", defaultValue, &CimRequest::localOnly);
}

ParameterDescriptor deepInheritance(bool defaultValue) {
  return boolean("DeepInheritance", defaultValue, &CimRequest::deepInheritance);
}

ParameterDescriptor includeQualifiers(bool defaultValue) {
  return boolean("IncludeQualifiers", defaultValue, &CimRequest::includeQualifiers);
}

ParameterDescriptor includeClassOrigin() {
  return boolean("IncludeClassOrigin", false, &CimRequest::includeClassOrigin);
}

ParameterDescriptor propertyList() {
  return fixed("PropertyList", ParameterKind::PropertyList, false);
}

ParameterDescriptor instanceName() {
  return fixed("InstanceName", ParameterKind::InstanceName, true);
}

ParameterDescriptor objectName() { return fixed("ObjectName", ParameterKind::ObjectName, true); }

std::vector<OperationDescriptor> buildTable() {
  using enum CimOperation;
  using enum RouteKind;
  const ParameterDescriptor assocClass = className("AssocClass", &CimRequest::assocClass);
  const ParameterDescriptor resultClass = className("ResultClass", &CimRequest::resultClass);
  const ParameterDescriptor role = text("Role", &CimRequest::role);
  const ParameterDescriptor resultRole = text("ResultRole", &CimRequest::resultRole);
  ParameterDescriptor propertyName = text("PropertyName", &CimRequest::propertyName);
  propertyName.required = true;

  return {
      {GetClass,
       "GetClass",
       false,
       ClassRepository,
       &Dispatcher::classOperation,
       {requiredClassName(), localOnly(true), includeQualifiers(true), includeClassOrigin(),
        propertyList()}},
      {EnumerateClasses,
       "EnumerateClasses",
       true,
       ClassTree,
       &Dispatcher::classOperation,
       {className("ClassName", &CimRequest::className), deepInheritance(false), localOnly(true),
        includeQualifiers(true), includeClassOrigin()}},
      {EnumerateClassNames,
       "EnumerateClassNames",
       true,
       ClassTree,
       &Dispatcher::classOperation,
       {className("ClassName", &CimRequest::className), deepInheritance(false)}},
      {GetInstance,
       "GetInstance",
       false,
       SingleProvider,
       &Dispatcher::getInstance,
       {instanceName(), localOnly(false), includeQualifiers(false), includeClassOrigin(),
        propertyList()}},
      {EnumerateInstances,
       "EnumerateInstances",
       true,
       ClassFamily,
       &Dispatcher::enumerateInstances,
       {requiredClassName(), localOnly(false), deepInheritance(true), includeQualifiers(false),
        includeClassOrigin(), propertyList()}},
      {EnumerateInstanceNames,
       "EnumerateInstanceNames",
       true,
       ClassFamily,
       &Dispatcher::enumerateInstanceNames,
       {requiredClassName()}},
      {Associators,
       "Associators",
       true,
       Association,
       &Dispatcher::associators,
       {objectName(), assocClass, resultClass, role, resultRole, includeQualifiers(false),
        includeClassOrigin(), propertyList()}},
      {AssociatorNames,
       "AssociatorNames",
       true,
       Association,
       &Dispatcher::associatorNames,
       {objectName(), assocClass, resultClass, role, resultRole}},
      {References,
       "References",
       true,
       Association,
       &Dispatcher::references,
       {objectName(), resultClass, role, includeQualifiers(false), includeClassOrigin(),
        propertyList()}},
      {ReferenceNames,
       "ReferenceNames",
       true,
       Association,
       &Dispatcher::referenceNames,
       {objectName(), resultClass, role}},
      {CreateInstance,
       "CreateInstance",
       false,
       SingleProvider,
       &Dispatcher::createInstance,
       {fixed("NewInstance", ParameterKind::Instance, true)}},
      {ModifyInstance,
       "ModifyInstance",
       false,
       SingleProvider,
       &Dispatcher::modifyInstance,
       {fixed("ModifiedInstance", ParameterKind::NamedInstance, true), includeQualifiers(true),
        propertyList()}},
      {DeleteInstance,
       "DeleteInstance",
       false,
       SingleProvider,
       &Dispatcher::deleteInstance,
       {instanceName()}},
      {GetProperty,
       "GetProperty",
       false,
       SingleProvider,
       &Dispatcher::getProperty,
       {instanceName(), propertyName}},
      {SetProperty,
       "SetProperty",
       false,
       SingleProvider,
       &Dispatcher::setProperty,
       {instanceName(), propertyName, fixed("NewValue", ParameterKind::PropertyValue, false)}},
      {MethodCall, "", false, SingleProvider, &Dispatcher::methodCall, {}},
  };
}

const std::vector<OperationDescriptor>& table() {
  static const std::vector<OperationDescriptor> kTable = buildTable();
  return kTable;
}

}  // namespace

std::span<const OperationDescriptor> allOperations() { return table(); }

const OperationDescriptor* findOperation(std::string_view intrinsicName) {
  if (intrinsicName.empty()) return nullptr;
  for (const OperationDescriptor& descriptor : table()) {
    if (descriptor.intrinsicName == intrinsicName) return &descriptor;
  }
  return nullptr;
}

const OperationDescriptor& describe(CimOperation operation) {
  for (const OperationDescriptor& descriptor : table()) {
    if (descriptor.operation == operation) return descriptor;
  }
  throw std::out_of_range("no descriptor for operation " +
                          std::to_string(static_cast<int>(operation)));
}

bool isStreamed(CimOperation operation) { return describe(operation).streamed; }

namespace {

// The DSP0200 functional profiles: name, the token that names the group in
// a CIMSupportedFunctionalGroups header (empty for the pulled operations,
// which have none) and the operations it needs.
struct FunctionalProfile {
  const char* name;
  const char* group;
  std::vector<std::string_view> operations;
};

const std::vector<FunctionalProfile>& functionalProfiles() {
  static const std::vector<FunctionalProfile> kProfiles = {
      {"Basic Read",
       "basic-read",
       {"GetClass", "EnumerateClasses", "EnumerateClassNames", "GetInstance", "EnumerateInstances",
        "EnumerateInstanceNames", "GetProperty"}},
      {"Basic Write", "basic-write", {"SetProperty"}},
      {"Schema Manipulation", "schema-manipulation", {"CreateClass", "ModifyClass", "DeleteClass"}},
      {"Instance Manipulation",
       "instance-manipulation",
       {"CreateInstance", "ModifyInstance", "DeleteInstance"}},
      {"Association Traversal",
       "association-traversal",
       {"Associators", "AssociatorNames", "References", "ReferenceNames"}},
      {"Query Execution", "query-execution", {"ExecQuery"}},
      {"Qualifier Declaration",
       "qualifier-declaration",
       {"GetQualifier", "SetQualifier", "DeleteQualifier", "EnumerateQualifiers"}},
      {"Pulled Read",
       "",
       {"OpenEnumerateInstances", "OpenEnumerateInstancePaths", "OpenAssociatorInstances",
        "OpenAssociatorInstancePaths", "OpenReferenceInstances", "OpenReferenceInstancePaths",
        "PullInstancesWithPath", "PullInstancePaths", "CloseEnumeration"}},
      {"Pulled Query Execution", "", {"OpenQueryInstances", "PullInstances"}},
  };
  return kProfiles;
}

bool supported(const FunctionalProfile& profile) {
  for (std::string_view operation : profile.operations) {
    const OperationDescriptor* descriptor = findOperation(operation);
    if (descriptor == nullptr || descriptor->run == nullptr) return false;
  }
  return true;
}

}  // namespace

std::vector<TOVString> supportedFunctionalProfiles() {
  std::vector<TOVString> names;
  for (const FunctionalProfile& profile : functionalProfiles()) {
    if (supported(profile)) names.emplace_back(profile.name);
  }
  return names;
}

std::vector<std::string> supportedFunctionalGroups() {
  std::vector<std::string> groups;
  for (const FunctionalProfile& profile : functionalProfiles()) {
    if (*profile.group != '\0' && supported(profile)) groups.emplace_back(profile.group);
  }
  return groups;
}

}  // namespace kest::server
