// The published DMTF CIM schema 2.49 as test data: it compiles whole, and
// what the repository says of some of its classes is what their MOF files
// say. Skipped when the schema is not at KEST_DMTF_SCHEMA_DIR (a CMake cache
// variable).

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "tests/server/repository/MofTestSupport.h"

using kest::repository::ClassPointer;
using kest::repository::ClassRepository;
using kest::repository::CompileOptions;
using kest::repository::CompileResult;
using kest::repository::MofCompiler;
using kest::repository::Property;
using kest::testing::messagesOf;

namespace {

// The class declarations of the schema's 1,633 included files (two of them
// are qualifier files), counted in its MOF text.
constexpr std::size_t kSchemaClasses = 1631;

std::string schemaFile() { return std::string(KEST_DMTF_SCHEMA_DIR) + "/cim_schema_2.49.0.mof"; }

CompileResult compileSchema(ClassRepository& repository, const char* nameSpace) {
  CompileOptions options;
  options.defaultNameSpace = nameSpace;
  return MofCompiler(repository, options).compileFiles({schemaFile()});
}

class DmtfSchemaTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    if (!std::filesystem::exists(schemaFile())) return;
    _repository = std::make_unique<ClassRepository>();
    _result = compileSchema(*_repository, "root/cimv2");
  }
  static void TearDownTestSuite() { _repository.reset(); }

  void SetUp() override {
    if (!_repository) GTEST_SKIP() << "the DMTF schema is not at " << schemaFile();
    ASSERT_TRUE(_result.succeeded()) << testing::PrintToString(messagesOf(_result));
  }

  static ClassPointer cls(const char* name) { return _repository->findClass("root/cimv2", name); }
  static std::vector<std::string> superclassChain(const char* name) {
    std::vector<std::string> chain;
    for (ClassPointer current = cls(name); current && !current->superClassName.isNull();
         current = cls(current->superClassName.toStdString().c_str()))
      chain.push_back(current->superClassName.toStdString());
    return chain;
  }
  static std::vector<std::string> keys(const ClassPointer& definition) {
    std::vector<std::string> names;
    for (const TOVString& key : definition->keyNames()) names.push_back(key.toStdString());
    return names;
  }
  static std::string origin(const ClassPointer& definition, const char* property) {
    const Property* found = definition->findProperty(property);
    return found != nullptr ? found->classOrigin.toStdString() : "(none)";
  }
  static std::string stringQualifier(const kest::repository::QualifierList& qualifiers,
                                     const char* name) {
    const kest::repository::Qualifier* found = qualifiers.find(name);
    return found != nullptr && found->value ? found->value->toString().toStdString() : "(none)";
  }

  static std::unique_ptr<ClassRepository> _repository;
  static CompileResult _result;
};

std::unique_ptr<ClassRepository> DmtfSchemaTest::_repository;
CompileResult DmtfSchemaTest::_result;

TEST_F(DmtfSchemaTest, TheWholeSchemaCompilesWithoutDiagnostics) {
  EXPECT_EQ(messagesOf(_result), std::vector<std::string>{});
  EXPECT_EQ(_result.classCount, kSchemaClasses);
  EXPECT_EQ(_result.instanceCount, 0u);
  EXPECT_EQ(_repository->classCount("root/cimv2"), kSchemaClasses);
  EXPECT_EQ(_repository->subclassTree("root/cimv2", "", true).size(), kSchemaClasses);
}

TEST_F(DmtfSchemaTest, ComputerSystemInheritsFromSystemAndManagedElement) {
  const ClassPointer computer = cls("CIM_ComputerSystem");
  ASSERT_TRUE(computer);
  EXPECT_EQ(superclassChain("CIM_ComputerSystem"),
            (std::vector<std::string>{"CIM_System", "CIM_AllocatedLogicalElement",
                                      "CIM_EnabledLogicalElement", "CIM_LogicalElement",
                                      "CIM_ManagedSystemElement", "CIM_ManagedElement"}));
  // Name is declared by ManagedSystemElement (before CreationClassName, which
  // System adds) and made a key by System's override.
  EXPECT_EQ(keys(computer), (std::vector<std::string>{"Name", "CreationClassName"}));
  EXPECT_EQ(origin(computer, "InstanceID"), "CIM_ManagedElement");
  EXPECT_EQ(origin(computer, "InstallDate"), "CIM_ManagedSystemElement");
  EXPECT_EQ(origin(computer, "EnabledState"), "CIM_EnabledLogicalElement");
  EXPECT_EQ(origin(computer, "Name"), "CIM_System");
  EXPECT_EQ(origin(computer, "CreationClassName"), "CIM_System");
  EXPECT_EQ(origin(computer, "NameFormat"), "CIM_ComputerSystem");
  EXPECT_EQ(origin(computer, "Dedicated"), "CIM_ComputerSystem");
  EXPECT_EQ(computer->findMethod("SetPowerState")->classOrigin, "CIM_ComputerSystem");
  EXPECT_EQ(computer->findMethod("RequestStateChange")->classOrigin, "CIM_EnabledLogicalElement");

  const Property* name = computer->findProperty("Name");
  EXPECT_TRUE(name->propagated);
  EXPECT_TRUE(name->qualifiers.booleanValue("Key", false));
  EXPECT_EQ(stringQualifier(name->qualifiers, "MaxLen"), "256");
  // Override is Restricted: System's Override("Name") stays in System.
  EXPECT_FALSE(name->qualifiers.find("Override"));
  EXPECT_EQ(stringQualifier(cls("CIM_System")->findProperty("Name")->qualifiers, "Override"),
            "Name");
  const Property* nameFormat = computer->findProperty("NameFormat");
  EXPECT_FALSE(nameFormat->propagated);
  EXPECT_EQ(stringQualifier(nameFormat->qualifiers, "Override"), "NameFormat");
  EXPECT_EQ(computer->findProperty("Dedicated")->type.toMof(), "uint16[]");

  EXPECT_EQ(stringQualifier(computer->qualifiers, "Version"), "2.42.0");
  EXPECT_FALSE(computer->abstract);
  EXPECT_TRUE(cls("CIM_System")->abstract);
  EXPECT_FALSE(computer->association);
}

TEST_F(DmtfSchemaTest, ProductComponentIsACompositionOfProducts) {
  const ClassPointer component = cls("CIM_ProductComponent");
  ASSERT_TRUE(component);
  EXPECT_EQ(superclassChain("CIM_ProductComponent"), std::vector<std::string>{"CIM_Component"});
  EXPECT_TRUE(component->association);
  EXPECT_FALSE(component->abstract);
  EXPECT_TRUE(cls("CIM_Component")->abstract);
  EXPECT_TRUE(component->qualifiers.booleanValue("Association", false));
  EXPECT_TRUE(component->qualifiers.booleanValue("Aggregation", false));
  EXPECT_TRUE(component->qualifiers.booleanValue("Composition", false));
  const kest::repository::Qualifier* deprecated = component->qualifiers.find("Deprecated");
  ASSERT_NE(deprecated, nullptr);
  ASSERT_EQ(deprecated->value->getArray()->entries(), 1u);
  EXPECT_EQ(deprecated->value->getArray()->at(0)->getAsString(), "CIM_ConcreteComponent");
  EXPECT_EQ(keys(component), (std::vector<std::string>{"GroupComponent", "PartComponent"}));

  const Property* group = component->findProperty("GroupComponent");
  EXPECT_TRUE(group->isReference());
  EXPECT_EQ(group->type.referenceClass, "CIM_Product");
  EXPECT_EQ(group->classOrigin, "CIM_ProductComponent");
  EXPECT_TRUE(group->qualifiers.booleanValue("Aggregate", false));
  EXPECT_TRUE(group->qualifiers.booleanValue("Key", false));
  EXPECT_EQ(stringQualifier(group->qualifiers, "Override"), "GroupComponent");
  const Property* part = component->findProperty("PartComponent");
  EXPECT_EQ(part->type.referenceClass, "CIM_Product");
  EXPECT_FALSE(part->qualifiers.booleanValue("Aggregate", false));
  EXPECT_EQ(cls("CIM_Component")->findProperty("PartComponent")->type.referenceClass,
            "CIM_ManagedElement");
}

TEST_F(DmtfSchemaTest, RegisteredProfileIsKeyedByInstanceId) {
  const ClassPointer profile = cls("CIM_RegisteredProfile");
  ASSERT_TRUE(profile);
  EXPECT_EQ(superclassChain("CIM_RegisteredProfile"),
            (std::vector<std::string>{"CIM_RegisteredSpecification", "CIM_ManagedElement"}));
  EXPECT_EQ(keys(profile), std::vector<std::string>{"InstanceID"});
  EXPECT_EQ(origin(profile, "InstanceID"), "CIM_RegisteredSpecification");
  EXPECT_EQ(origin(profile, "RegisteredName"), "CIM_RegisteredSpecification");
  EXPECT_EQ(origin(profile, "SpecificationType"), "CIM_RegisteredProfile");
  EXPECT_EQ(origin(profile, "ImplementedFeatures"), "CIM_RegisteredProfile");
  EXPECT_EQ(stringQualifier(profile->findProperty("SpecificationType")->qualifiers, "Override"),
            "SpecificationType");
  EXPECT_EQ(stringQualifier(profile->qualifiers, "Version"), "2.39.0");
  const kest::repository::Method* open = profile->findMethod("OpenConformantInstances");
  ASSERT_NE(open, nullptr);
  const kest::repository::Parameter* context = open->findParameter("EnumerationContext");
  ASSERT_NE(context, nullptr);
  EXPECT_FALSE(context->in);
  EXPECT_TRUE(context->out);
}

TEST_F(DmtfSchemaTest, IndicationSubscriptionLinksFiltersAndHandlers) {
  const ClassPointer subscription = cls("CIM_IndicationSubscription");
  ASSERT_TRUE(subscription);
  EXPECT_EQ(superclassChain("CIM_IndicationSubscription"),
            std::vector<std::string>{"CIM_AbstractIndicationSubscription"});
  EXPECT_TRUE(subscription->association);
  EXPECT_FALSE(subscription->abstract);
  EXPECT_TRUE(cls("CIM_AbstractIndicationSubscription")->abstract);
  EXPECT_EQ(keys(subscription), (std::vector<std::string>{"Filter", "Handler"}));
  const Property* filter = subscription->findProperty("Filter");
  EXPECT_EQ(filter->type.referenceClass, "CIM_IndicationFilter");
  EXPECT_EQ(filter->classOrigin, "CIM_IndicationSubscription");
  EXPECT_EQ(stringQualifier(filter->qualifiers, "Override"), "Filter");
  EXPECT_EQ(subscription->findProperty("Handler")->type.referenceClass, "CIM_ListenerDestination");
  EXPECT_EQ(cls("CIM_AbstractIndicationSubscription")->findProperty("Filter")->type.referenceClass,
            "CIM_ManagedElement");
  EXPECT_EQ(origin(subscription, "OnFatalErrorPolicy"), "CIM_AbstractIndicationSubscription");
  EXPECT_EQ(stringQualifier(subscription->qualifiers, "Version"), "2.16.0");
}

TEST_F(DmtfSchemaTest, ASecondCompileIntoAnotherNamespaceIsIndependent) {
  const CompileResult again = compileSchema(*_repository, "root/interop");
  ASSERT_TRUE(again.succeeded()) << testing::PrintToString(messagesOf(again));
  EXPECT_EQ(again.classCount, kSchemaClasses);
  EXPECT_EQ(_repository->classCount("root/interop"), kSchemaClasses);
  EXPECT_EQ(_repository->classCount("root/cimv2"), kSchemaClasses);
  const ClassPointer there = _repository->findClass("root/interop", "CIM_RegisteredProfile");
  ASSERT_TRUE(there);
  EXPECT_NE(there, cls("CIM_RegisteredProfile"));
  EXPECT_TRUE(
      _repository->isSubclass("root/interop", "CIM_RegisteredProfile", "CIM_ManagedElement"));
}

// A server's own built-in classes, with the DMTF superclasses and keys, and
// one subclass of its own that the schema does not define.
const char* const kBuiltIn = R"(
[Abstract] class CIM_ManagedElement { string InstanceID; string Caption; string ElementName; };
[Abstract] class CIM_RegisteredSpecification : CIM_ManagedElement {
  [Key, Override("InstanceID")] string InstanceID;
  string RegisteredName;
};
class CIM_RegisteredProfile : CIM_RegisteredSpecification { string BuiltInOnly; };
class Kest_RegisteredProfile : CIM_RegisteredProfile {};
)";

TEST_F(DmtfSchemaTest, TheSchemaReplacesBuiltInClasses) {
  ClassRepository repository;
  CompileOptions builtIn;
  builtIn.builtIn = true;
  ASSERT_TRUE(MofCompiler(repository, builtIn).compileText("builtin.mof", kBuiltIn).succeeded());
  const CompileResult result = compileSchema(repository, "root/cimv2");
  ASSERT_TRUE(result.succeeded()) << testing::PrintToString(messagesOf(result));
  EXPECT_EQ(result.classCount, kSchemaClasses);
  EXPECT_EQ(repository.classCount("root/cimv2"), kSchemaClasses + 1);

  const ClassPointer profile = repository.findClass("root/cimv2", "CIM_RegisteredProfile");
  EXPECT_FALSE(profile->builtIn);
  EXPECT_TRUE(profile->findProperty("ImplementedFeatures"));
  EXPECT_FALSE(profile->findProperty("BuiltInOnly"));
  EXPECT_TRUE(repository.findClass("root/cimv2", "CIM_ManagedElement")->findProperty("Generation"));

  const ClassPointer own = repository.findClass("root/cimv2", "Kest_RegisteredProfile");
  EXPECT_TRUE(own->builtIn);
  EXPECT_TRUE(own->findProperty("BuiltInOnly"));
  EXPECT_FALSE(own->findProperty("ImplementedFeatures"));
  EXPECT_TRUE(repository.isSubclass("root/cimv2", "Kest_RegisteredProfile", "CIM_ManagedElement"));

  const auto names = repository.enumerateClassNames("root/cimv2", "", true);
  ASSERT_TRUE(names);
  EXPECT_EQ((*names)[0], "CIM_ManagedElement");
  EXPECT_EQ((*names)[2], "CIM_RegisteredProfile");
  const auto below = repository.enumerateClassNames("root/cimv2", "CIM_RegisteredProfile", false);
  ASSERT_TRUE(below);
  EXPECT_NE(std::find(below->begin(), below->end(), TOVString("Kest_RegisteredProfile")),
            below->end());
}

TEST_F(DmtfSchemaTest, BuiltInClassesWithOtherKeysConflictWithTheSchema) {
  ClassRepository repository;
  CompileOptions builtIn;
  builtIn.builtIn = true;
  ASSERT_TRUE(MofCompiler(repository, builtIn)
                  .compileText("builtin.mof", "class CIM_ManagedElement { [Key] string Id; };")
                  .succeeded());
  const CompileResult result = compileSchema(repository, "root/cimv2");
  ASSERT_FALSE(result.succeeded());
  EXPECT_EQ(result.diagnostics.front().message,
            "class 'CIM_ManagedElement' conflicts with the built-in definition: keys none instead "
            "of Id (string)");
  EXPECT_EQ(repository.classCount("root/cimv2"), 1u);
}

}  // namespace
