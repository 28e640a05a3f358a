// The server's built-in interop schema and the choice of its namespace.
#include "server/InteropSchema.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "server/repository/ClassRepository.h"
#include "server/repository/MofCompiler.h"

using kest::repository::ClassRepository;
using kest::repository::CompileOptions;
using kest::repository::MofCompiler;
using kest::server::interopNameSpaceOf;

namespace {

TEST(InteropSchemaTest, TheInteropNamespaceIsTheFirstWithAWellKnownName) {
  const std::vector<std::pair<std::vector<TOVString>, std::string>> cases = {
      {{"root/cimv2", "root/interop"}, "root/interop"},
      {{"interop", "root/interop"}, "interop"},
      {{"root/cimv2", "ROOT/PG_INTEROP"}, "ROOT/PG_INTEROP"},
      {{"root/cimv2", "root/interop2"}, ""},
      {{}, ""},
  };
  for (const auto& [nameSpaces, expected] : cases) {
    EXPECT_EQ(interopNameSpaceOf(nameSpaces).toStdString(), expected) << expected;
  }
}

class InteropSchemaClassesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    CompileOptions options;
    options.defaultNameSpace = "root/interop";
    options.builtIn = true;
    const kest::repository::CompileResult result =
        MofCompiler(_repository, options)
            .compileText(kest::server::kInteropSchemaName,
                         std::string(kest::server::interopSchemaText()));
    ASSERT_TRUE(result.succeeded());
    EXPECT_EQ(result.warningCount, 0u);
  }

  kest::repository::ClassPointer cls(const char* name) const {
    return _repository.findClass("root/interop", name);
  }

  ClassRepository _repository;
};

TEST_F(InteropSchemaClassesTest, DefinesTheDiscoveryClassesWithTheirKeys) {
  const std::vector<std::pair<const char*, std::vector<TOVString>>> cases = {
      {"CIM_ObjectManager", {"SystemCreationClassName", "SystemName", "CreationClassName", "Name"}},
      {"CIM_CIMXMLCommunicationMechanism",
       {"SystemCreationClassName", "SystemName", "CreationClassName", "Name"}},
      {"CIM_Namespace",
       {"SystemCreationClassName", "SystemName", "ObjectManagerCreationClassName",
        "ObjectManagerName", "CreationClassName", "Name"}},
      {"CIM_RegisteredProfile", {"InstanceID"}},
      {"__Namespace", {"Name"}},
      {"CIM_IndicationFilter", {"SystemCreationClassName", "SystemName", "CreationClassName", "Name"}},
      {"CIM_ListenerDestinationCIMXML",
       {"SystemCreationClassName", "SystemName", "CreationClassName", "Name"}},
      {"CIM_IndicationSubscription", {"Filter", "Handler"}},
      {"CIM_IndicationService", {"SystemCreationClassName", "SystemName", "CreationClassName", "Name"}},
  };
  for (const auto& [name, keys] : cases) {
    const kest::repository::ClassPointer found = cls(name);
    ASSERT_TRUE(found) << name;
    // Keys in any order: an overridden key keeps its inherited place.
    std::vector<std::string> actual;
    for (const TOVString& key : found->keyNames()) actual.push_back(key.toStdString());
    std::vector<std::string> wanted;
    for (const TOVString& key : keys) wanted.push_back(key.toStdString());
    std::sort(actual.begin(), actual.end());
    std::sort(wanted.begin(), wanted.end());
    EXPECT_EQ(actual, wanted) << name;
    EXPECT_TRUE(found->builtIn) << name;
  }
}

TEST_F(InteropSchemaClassesTest, MarksAssociationsAndIndications) {
  for (const char* name : {"CIM_NamespaceInManager", "CIM_CommMechanismForManager",
                           "CIM_ElementConformsToProfile", "CIM_ReferencedProfile",
                           "CIM_IndicationSubscription"}) {
    ASSERT_TRUE(cls(name)) << name;
    EXPECT_TRUE(cls(name)->association) << name;
  }
  for (const char* name :
       {"CIM_Indication", "CIM_InstIndication", "CIM_InstCreation", "CIM_InstDeletion",
        "CIM_InstModification"}) {
    ASSERT_TRUE(cls(name)) << name;
    EXPECT_TRUE(cls(name)->indication) << name;
  }
  EXPECT_TRUE(cls("CIM_ManagedElement")->abstract);
  EXPECT_FALSE(cls("CIM_ObjectManager")->abstract);
  EXPECT_TRUE(_repository.isSubclass("root/interop", "CIM_ObjectManager", "CIM_Service"));
  EXPECT_TRUE(_repository.isSubclass("root/interop", "CIM_ReferencedProfile", "CIM_Dependency"));
  EXPECT_EQ(cls("CIM_InstModification")->findProperty("PreviousInstance")->embedded,
            kest::repository::EmbeddedKind::Object);
}

}  // namespace
