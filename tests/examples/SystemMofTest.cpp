// The system provider's MOF compiles with the repository's compiler and
// declares what the provider serves: the classes it registers, their keys,
// the property names of its tables and the methods it implements.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "examples/system/SystemClasses.h"
#include "examples/system/SystemSchema.h"
#include "server/repository/ClassRepository.h"
#include "server/repository/MofCompiler.h"

using kest::repository::ClassPointer;
using kest::repository::ClassRepository;
using kest::repository::CompileResult;
using kest::repository::Diagnostic;
using kest::repository::MofCompiler;

namespace {

constexpr const char* kNameSpace = "root/cimv2";

class SystemMofTest : public ::testing::Test {
 protected:
  SystemMofTest() : _result(MofCompiler(_repository).compileFiles({KEST_SYSTEM_MOF})) {}

  ClassPointer cls(const char* name) const { return _repository.findClass(kNameSpace, name); }

  std::vector<std::string> keysOf(const char* name) const {
    std::vector<std::string> keys;
    for (const TOVString& key : cls(name)->keyNames()) keys.push_back(key.toStdString());
    return keys;
  }

  // "In"/"Out" flags and MOF type of each parameter of a method.
  std::vector<std::string> parametersOf(const char* className, const char* method) const {
    std::vector<std::string> parameters;
    for (const auto& parameter : cls(className)->findMethod(method)->parameters) {
      parameters.push_back(std::string(parameter.in ? "in " : "") + (parameter.out ? "out " : "") +
                           parameter.type.toMof().toStdString() + " " +
                           parameter.name.toStdString());
    }
    return parameters;
  }

  template <typename Record>
  std::vector<std::string> tableNames(const kest::examples::PropertyTable<Record>& table) const {
    std::vector<std::string> names;
    for (std::size_t i = 0; i < table.size(); ++i) names.push_back(table.nameAt(i).toStdString());
    return names;
  }

  std::vector<std::string> propertyNames(const char* name) const {
    std::vector<std::string> names;
    for (const auto& property : cls(name)->properties) names.push_back(property.name.toStdString());
    return names;
  }

  ClassRepository _repository;
  CompileResult _result;
};

TEST_F(SystemMofTest, CompilesWithoutErrorsOrWarnings) {
  std::vector<std::string> messages;
  for (const Diagnostic& diagnostic : _result.diagnostics)
    messages.push_back(diagnostic.toString());
  EXPECT_TRUE(messages.empty()) << ::testing::PrintToString(messages);
  EXPECT_TRUE(_result.succeeded());
  EXPECT_EQ(_result.classCount, 10u);
  EXPECT_EQ(_repository.classCount(kNameSpace), 10u);
}

TEST_F(SystemMofTest, DeclaresEveryClassTheProviderRegistersWithItsSuperclass) {
  using namespace kest::examples;
  const std::vector<std::pair<const char*, const char*>> classes = {
      {kComputerSystemClass, ""},
      {kLogicalElementClass, ""},
      {kProcessClass, kLogicalElementClass},
      {kFileSystemClass, kLogicalElementClass},
      {kNetworkInterfaceClass, kLogicalElementClass},
      {kSystemComponentClass, ""},
      {kSystemProcessClass, kSystemComponentClass},
      {kSystemFileSystemClass, kSystemComponentClass},
      {kSystemNetworkInterfaceClass, kSystemComponentClass},
      {kParentProcessClass, ""},
  };
  for (const auto& [name, superClass] : classes) {
    ASSERT_TRUE(cls(name)) << name;
    EXPECT_EQ(cls(name)->superClassName, superClass) << name;
  }
  EXPECT_TRUE(cls(kLogicalElementClass)->abstract);
  EXPECT_TRUE(cls(kSystemComponentClass)->abstract);
  for (const char* association :
       {kSystemComponentClass, kSystemProcessClass, kSystemFileSystemClass,
        kSystemNetworkInterfaceClass, kParentProcessClass}) {
    EXPECT_TRUE(cls(association)->association) << association;
  }
}

TEST_F(SystemMofTest, ElementsShareTheKeysOfTheirBaseClass) {
  const std::vector<std::string> keys = {"SystemName", "CreationClassName", "Name"};
  EXPECT_EQ(keysOf("KEST_LogicalElement"), keys);
  EXPECT_EQ(keysOf("KEST_Process"), keys);
  EXPECT_EQ(keysOf("KEST_FileSystem"), keys);
  EXPECT_EQ(keysOf("KEST_NetworkInterface"), keys);
  EXPECT_EQ(keysOf("KEST_ComputerSystem"), (std::vector<std::string>{"CreationClassName", "Name"}));
}

TEST_F(SystemMofTest, AssociationsAreKeyedByTheirTwoReferences) {
  EXPECT_EQ(keysOf("KEST_SystemProcess"),
            (std::vector<std::string>{"GroupComponent", "PartComponent"}));
  EXPECT_EQ(cls("KEST_SystemProcess")->findProperty("GroupComponent")->type.toMof(),
            "KEST_ComputerSystem REF");
  EXPECT_EQ(cls("KEST_SystemProcess")->findProperty("PartComponent")->type.toMof(),
            "KEST_LogicalElement REF");
  EXPECT_EQ(keysOf("KEST_ParentProcess"), (std::vector<std::string>{"Parent", "Child"}));
  EXPECT_EQ(cls("KEST_ParentProcess")->findProperty("Child")->type.toMof(), "KEST_Process REF");
}

TEST_F(SystemMofTest, PropertiesAreThoseTheProviderServesInTheSameOrder) {
  using namespace kest::examples;
  EXPECT_EQ(propertyNames(kComputerSystemClass), tableNames(computerSystemTable()));
  EXPECT_EQ(propertyNames(kProcessClass), tableNames(processTable()));
  EXPECT_EQ(propertyNames(kFileSystemClass), tableNames(fileSystemTable()));
  EXPECT_EQ(propertyNames(kNetworkInterfaceClass), tableNames(networkInterfaceTable()));
}

TEST_F(SystemMofTest, PropertyTypesAreThoseTheProviderServes) {
  using namespace kest::examples;
  const ComputerSystemRecord system;
  for (std::size_t i = 0; i < computerSystemTable().size(); ++i) {
    const TOVString& name = computerSystemTable().nameAt(i);
    EXPECT_EQ(cls(kComputerSystemClass)->findProperty(name)->type.toMof(),
              computerSystemTable().propertyAt(i, system)->getType()->getName())
        << name;
  }
  const ProcessRecord process;
  for (std::size_t i = 0; i < processTable().size(); ++i) {
    const TOVString& name = processTable().nameAt(i);
    EXPECT_EQ(cls(kProcessClass)->findProperty(name)->type.toMof(),
              processTable().propertyAt(i, process)->getType()->getName())
        << name;
  }
  const FileSystemRecord fileSystem;
  for (std::size_t i = 0; i < fileSystemTable().size(); ++i) {
    const TOVString& name = fileSystemTable().nameAt(i);
    EXPECT_EQ(cls(kFileSystemClass)->findProperty(name)->type.toMof(),
              fileSystemTable().propertyAt(i, fileSystem)->getType()->getName())
        << name;
  }
  const NetworkInterfaceRecord networkInterface;
  for (std::size_t i = 0; i < networkInterfaceTable().size(); ++i) {
    const TOVString& name = networkInterfaceTable().nameAt(i);
    EXPECT_EQ(cls(kNetworkInterfaceClass)->findProperty(name)->type.toMof(),
              networkInterfaceTable().propertyAt(i, networkInterface)->getType()->getName())
        << name;
  }
}

TEST_F(SystemMofTest, MethodsDeclareTheirTypedParameters) {
  EXPECT_EQ(cls("KEST_Process")->findMethod("GetOpenFileCount")->returnType.toMof(), "uint32");
  EXPECT_EQ(parametersOf("KEST_Process", "GetOpenFileCount"),
            (std::vector<std::string>{"out uint32 Count"}));
  EXPECT_EQ(parametersOf("KEST_Process", "GetStatusField"),
            (std::vector<std::string>{"in string Field", "out string Value"}));
  EXPECT_TRUE(cls("KEST_Process")
                  ->findMethod("GetStatusField")
                  ->findParameter("Field")
                  ->qualifiers.booleanValue("Required", false));
  EXPECT_EQ(parametersOf("KEST_FileSystem", "GetUsage"),
            (std::vector<std::string>{"out uint64 TotalBytes", "out uint64 UsedBytes",
                                      "out uint64 AvailableBytes", "out real64 PercentUsed"}));
  EXPECT_EQ(parametersOf("KEST_FileSystem", "HasFreeSpace"),
            (std::vector<std::string>{"in uint64 Bytes", "in uint8 ReservePercent",
                                      "out boolean Sufficient", "out uint64 AvailableBytes"}));
}

}  // namespace
