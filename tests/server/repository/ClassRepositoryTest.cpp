#include "server/repository/ClassRepository.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "server/repository/StandardQualifiers.h"
#include "tests/server/repository/MofTestSupport.h"

using kest::repository::ClassDefinition;
using kest::repository::ClassPointer;
using kest::repository::ClassRepository;
using kest::repository::ClassRequestOptions;
using kest::repository::MofCompiler;
using kest::repository::Property;
using kest::repository::standardQualifierDeclarations;

namespace {

// CIM_Element <- CIM_Device <- {CIM_Disk, CIM_Tape}; CIM_Element <- CIM_Service;
// CIM_Other (a root); association CIM_Uses.
const char* const kSchema = R"(
  [Description("root")] class CIM_Element {
    [Key, Description("id")] string Id;
    string Caption;
  };
  [Description("device")] class CIM_Device : CIM_Element {
    uint64 Size;
    uint32 Reset([In] boolean Force, [Out] string Report);
  };
  class CIM_Service : CIM_Element { boolean Started; };
  class CIM_Disk : CIM_Device { [Override("Size"), Units("Bytes")] uint64 Size; boolean Removable; };
  class CIM_Other { string Text; };
  class CIM_Tape : CIM_Device { string Label; };
  [Association] class CIM_Uses { [Key] CIM_Service REF Service; [Key] CIM_Device REF Device; };
)";

std::vector<std::string> namesOf(const std::vector<ClassPointer>& classes) {
  std::vector<std::string> names;
  for (const ClassPointer& cls : classes) names.push_back(cls->name.toStdString());
  return names;
}

std::vector<std::string> namesOf(const std::vector<TOVString>& list) {
  std::vector<std::string> names;
  for (const TOVString& name : list) names.push_back(name.toStdString());
  return names;
}

std::vector<std::string> propertyNames(const ClassDefinition& cls) {
  std::vector<std::string> names;
  for (const Property& property : cls.properties) names.push_back(property.name.toStdString());
  return names;
}

class ClassRepositoryTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const auto result = MofCompiler(repository).compileText("schema.mof", kSchema);
    ASSERT_TRUE(result.succeeded()) << kest::testing::messagesOf(result)[0];
  }

  std::vector<std::string> enumerated(const char* className, bool deep) {
    const auto classes = repository.enumerateClasses("root/cimv2", className, deep);
    return classes ? namesOf(*classes) : std::vector<std::string>{"<none>"};
  }

  ClassRepository repository;
};

TEST_F(ClassRepositoryTest, FindClassIgnoresCaseOfNamespaceAndClass) {
  const ClassPointer disk = repository.findClass("ROOT/CimV2", "cim_DISK");
  ASSERT_TRUE(disk);
  EXPECT_EQ(disk->name, "CIM_Disk");
  EXPECT_TRUE(disk->defined);
  EXPECT_FALSE(repository.findClass("root/cimv2", "CIM_Nothing"));
  EXPECT_FALSE(repository.findClass("root/none", "CIM_Disk"));
  EXPECT_EQ(repository.classCount("root/cimv2"), 7u);
  EXPECT_EQ(repository.classCount("root/none"), 0u);
}

TEST_F(ClassRepositoryTest, GetClassWithEverythingGivesTheWholeClass) {
  ClassRequestOptions options;
  options.localOnly = false;
  options.includeClassOrigin = true;
  const auto disk = repository.getClass("root/cimv2", "CIM_Disk", options);
  ASSERT_TRUE(disk);
  EXPECT_EQ(propertyNames(*disk), (std::vector<std::string>{"Id", "Caption", "Size", "Removable"}));
  EXPECT_EQ(disk->findProperty("Id")->classOrigin, "CIM_Element");
  EXPECT_EQ(disk->findMethod("Reset")->classOrigin, "CIM_Device");
  EXPECT_EQ(disk->qualifiers.find("Description")->value->getAsString(), "device");
  EXPECT_EQ(disk->findProperty("Size")->qualifiers.find("Units")->value->getAsString(), "Bytes");
}

TEST_F(ClassRepositoryTest, GetClassLocalOnlyLeavesOutInheritedElements) {
  ClassRequestOptions options;
  options.localOnly = true;
  const auto disk = repository.getClass("root/cimv2", "CIM_Disk", options);
  ASSERT_TRUE(disk);
  EXPECT_EQ(propertyNames(*disk), (std::vector<std::string>{"Size", "Removable"}));
  EXPECT_TRUE(disk->methods.empty());
  EXPECT_TRUE(disk->qualifiers.empty());
  const auto device = repository.getClass("root/cimv2", "CIM_Device", options);
  EXPECT_EQ(device->methods.size(), 1u);
  EXPECT_EQ(device->qualifiers.size(), 1u);
}

TEST_F(ClassRepositoryTest, GetClassWithoutQualifiersDropsThemEverywhere) {
  ClassRequestOptions options;
  options.localOnly = false;
  options.includeQualifiers = false;
  const auto device = repository.getClass("root/cimv2", "CIM_Device", options);
  ASSERT_TRUE(device);
  EXPECT_TRUE(device->qualifiers.empty());
  for (const Property& property : device->properties) EXPECT_TRUE(property.qualifiers.empty());
  const auto& reset = device->methods.at(0);
  EXPECT_TRUE(reset.qualifiers.empty());
  for (const auto& parameter : reset.parameters) EXPECT_TRUE(parameter.qualifiers.empty());
  EXPECT_TRUE(device->findProperty("Id")->key);
  EXPECT_TRUE(reset.findParameter("Report")->in);  // In defaults to true
  EXPECT_TRUE(reset.findParameter("Report")->out);
}

TEST_F(ClassRepositoryTest, GetClassWithoutClassOriginEmptiesIt) {
  ClassRequestOptions options;
  options.localOnly = false;
  options.includeClassOrigin = false;
  const auto disk = repository.getClass("root/cimv2", "CIM_Disk", options);
  for (const Property& property : disk->properties) EXPECT_TRUE(property.classOrigin.isNull());
  for (const auto& method : disk->methods) EXPECT_TRUE(method.classOrigin.isNull());
  EXPECT_TRUE(disk->findProperty("Id")->propagated);
}

TEST_F(ClassRepositoryTest, GetClassPropertyListSelectsPropertiesIgnoringCase) {
  ClassRequestOptions options;
  options.localOnly = false;
  options.propertyList = std::vector<TOVString>{"removable", "ID", "NoSuchProperty"};
  const auto disk = repository.getClass("root/cimv2", "CIM_Disk", options);
  EXPECT_EQ(propertyNames(*disk), (std::vector<std::string>{"Id", "Removable"}));
  EXPECT_EQ(disk->methods.size(), 1u);
  options.propertyList = std::vector<TOVString>{};
  EXPECT_TRUE(repository.getClass("root/cimv2", "CIM_Disk", options)->properties.empty());
  options.localOnly = true;
  options.propertyList = std::vector<TOVString>{"Id", "Size"};
  EXPECT_EQ(propertyNames(*repository.getClass("root/cimv2", "CIM_Disk", options)),
            std::vector<std::string>{"Size"});
}

TEST_F(ClassRepositoryTest, GetClassOfAnUnknownClassGivesNothing) {
  EXPECT_FALSE(repository.getClass("root/cimv2", "CIM_Nothing", ClassRequestOptions()));
  EXPECT_FALSE(repository.getClass("root/none", "CIM_Disk", ClassRequestOptions()));
}

TEST_F(ClassRepositoryTest, EnumerateClassesFollowsDefinitionOrder) {
  EXPECT_EQ(enumerated("", true),
            (std::vector<std::string>{"CIM_Element", "CIM_Device", "CIM_Service", "CIM_Disk",
                                      "CIM_Other", "CIM_Tape", "CIM_Uses"}));
  EXPECT_EQ(enumerated("", false),
            (std::vector<std::string>{"CIM_Element", "CIM_Other", "CIM_Uses"}));
  EXPECT_EQ(enumerated("cim_element", true),
            (std::vector<std::string>{"CIM_Device", "CIM_Service", "CIM_Disk", "CIM_Tape"}));
  EXPECT_EQ(enumerated("CIM_Element", false),
            (std::vector<std::string>{"CIM_Device", "CIM_Service"}));
  EXPECT_EQ(enumerated("CIM_Device", false), (std::vector<std::string>{"CIM_Disk", "CIM_Tape"}));
  EXPECT_EQ(enumerated("CIM_Disk", true), std::vector<std::string>{});
  EXPECT_EQ(enumerated("CIM_Nothing", true), std::vector<std::string>{"<none>"});
  EXPECT_FALSE(repository.enumerateClasses("root/none", "", true));
}

TEST_F(ClassRepositoryTest, EnumerateClassNamesGivesTheSameClasses) {
  const auto deep = repository.enumerateClassNames("root/cimv2", "CIM_Element", true);
  ASSERT_TRUE(deep);
  EXPECT_EQ(namesOf(*deep),
            (std::vector<std::string>{"CIM_Device", "CIM_Service", "CIM_Disk", "CIM_Tape"}));
  EXPECT_EQ(namesOf(*repository.enumerateClassNames("root/cimv2", "", false)),
            (std::vector<std::string>{"CIM_Element", "CIM_Other", "CIM_Uses"}));
  EXPECT_FALSE(repository.enumerateClassNames("root/cimv2", "CIM_Nothing", false));
}

TEST_F(ClassRepositoryTest, IsSubclassFollowsTheChain) {
  EXPECT_TRUE(repository.isSubclass("root/cimv2", "CIM_Disk", "cim_element"));
  EXPECT_TRUE(repository.isSubclass("root/cimv2", "cim_disk", "CIM_Disk"));
  EXPECT_TRUE(repository.isSubclass("ROOT/cimv2", "CIM_Disk", "CIM_Device"));
  EXPECT_FALSE(repository.isSubclass("root/cimv2", "CIM_Device", "CIM_Disk"));
  EXPECT_FALSE(repository.isSubclass("root/cimv2", "CIM_Disk", "CIM_Service"));
  EXPECT_FALSE(repository.isSubclass("root/cimv2", "CIM_Nothing", "CIM_Nothing"));
  EXPECT_FALSE(repository.isSubclass("root/none", "CIM_Disk", "CIM_Disk"));
  EXPECT_FALSE(repository.isSubclass("root/cimv2", "CIM_Disk", ""));
}

TEST_F(ClassRepositoryTest, DeclaredClassesInheritFromKnownSuperclasses) {
  EXPECT_TRUE(repository.declareClass("root/cimv2", "ACME_Disk", "CIM_Disk"));
  EXPECT_FALSE(repository.declareClass("root/cimv2", "acme_disk", "CIM_Other"));
  EXPECT_FALSE(repository.declareClass("root/cimv2", "CIM_Disk", ""));
  const ClassPointer acme = repository.findClass("root/cimv2", "ACME_Disk");
  ASSERT_TRUE(acme);
  EXPECT_FALSE(acme->defined);
  EXPECT_EQ(acme->superClassName, "CIM_Disk");
  EXPECT_EQ(propertyNames(*acme), (std::vector<std::string>{"Id", "Caption", "Size", "Removable"}));
  EXPECT_TRUE(acme->findProperty("Size")->propagated);
  EXPECT_EQ(acme->findProperty("Size")->classOrigin, "CIM_Disk");
  EXPECT_TRUE(acme->qualifiers.find("Description")->propagated);
  EXPECT_TRUE(repository.isSubclass("root/cimv2", "ACME_Disk", "CIM_Element"));
  EXPECT_EQ(enumerated("CIM_Disk", false), std::vector<std::string>{"ACME_Disk"});
}

TEST_F(ClassRepositoryTest, DeclaredClassesWithUnknownSuperclassesAreRoots) {
  EXPECT_TRUE(repository.declareClass("root/interop", "ACME_Orphan", "ACME_Undeclared"));
  EXPECT_TRUE(repository.declareClass("root/interop", "ACME_Child", "ACME_Orphan"));
  EXPECT_TRUE(repository.hasNameSpace("Root/InterOp"));
  EXPECT_TRUE(repository.isSubclass("root/interop", "ACME_Orphan", "ACME_Undeclared"));
  EXPECT_TRUE(repository.isSubclass("root/interop", "ACME_Child", "ACME_Undeclared"));
  EXPECT_FALSE(repository.isSubclass("root/interop", "ACME_Child", "CIM_Element"));
  const auto roots = repository.enumerateClassNames("root/interop", "", false);
  EXPECT_EQ(namesOf(*roots), std::vector<std::string>{"ACME_Orphan"});
  EXPECT_TRUE(repository.findClass("root/interop", "ACME_Child")->properties.empty());
}

TEST_F(ClassRepositoryTest, CyclicDeclarationsEndTheWalks) {
  repository.declareClass("root/loop", "Loop_A", "Loop_B");
  repository.declareClass("root/loop", "Loop_B", "Loop_A");
  EXPECT_TRUE(repository.isSubclass("root/loop", "Loop_A", "Loop_B"));
  EXPECT_FALSE(repository.isSubclass("root/loop", "Loop_A", "Other"));
  EXPECT_EQ(namesOf(*repository.enumerateClassNames("root/loop", "Loop_A", true)),
            (std::vector<std::string>{"Loop_A", "Loop_B"}));
}

TEST_F(ClassRepositoryTest, NamespacesKeepTheirFirstSpellingAndOrder) {
  repository.addNameSpace("root/Interop");
  repository.addNameSpace("ROOT/INTEROP");
  EXPECT_EQ(namesOf(repository.nameSpaces()),
            (std::vector<std::string>{"root/cimv2", "root/Interop"}));
  EXPECT_TRUE(repository.hasNameSpace("root/interop"));
  EXPECT_EQ(namesOf(*repository.enumerateClassNames("root/interop", "", true)),
            std::vector<std::string>{});
}

TEST_F(ClassRepositoryTest, QualifierDeclarationsOfANamespace) {
  const auto result =
      MofCompiler(repository)
          .compileText(
              "q.mof",
              "Qualifier Colour : string, Scope(any);\nQualifier Units : string, Scope(property);");
  ASSERT_TRUE(result.succeeded());
  const auto declarations = repository.qualifierDeclarations("root/cimv2");
  ASSERT_EQ(declarations.size(), standardQualifierDeclarations().size() + 1);
  EXPECT_EQ(declarations.back().name, "Colour");
  for (const auto& declaration : declarations) {
    if (declaration.name == "Units") {
      EXPECT_TRUE(declaration.location.isKnown());
    }
  }
  EXPECT_EQ(repository.qualifierDeclarations("root/none").size(),
            standardQualifierDeclarations().size());
  EXPECT_FALSE(repository.findQualifierDeclaration("root/cimv2", "NoSuchQualifier"));
}

TEST_F(ClassRepositoryTest, ApplyRefusesAnUpdateWithAClassAlreadyThere) {
  ClassRepository::Update update;
  auto fresh = std::make_shared<ClassDefinition>();
  fresh->name = "CIM_Fresh";
  auto clash = std::make_shared<ClassDefinition>();
  clash->name = "cim_other";
  update.nameSpaces.push_back("root/new");
  update.classes.push_back({"root/cimv2", fresh});
  update.classes.push_back({"root/cimv2", clash});
  const auto conflict = repository.apply(update);
  ASSERT_TRUE(conflict);
  EXPECT_EQ(conflict->definition->name, "cim_other");
  EXPECT_FALSE(repository.findClass("root/cimv2", "CIM_Fresh"));
  EXPECT_FALSE(repository.hasNameSpace("root/new"));
}

// An instance of className named by one string key K.
kest::repository::InstancePointer instanceNamed(const char* className, const char* key) {
  TOVPropertyList keys(new TOVValSlist<TOVSmrPtr<ITovaProperty>>());
  keys->append(TOVSmrPtr<ITovaProperty>(
      new CTovaProperty("K", TOVSmrPtr<ITovaValue>(new CTovaValue(key)), false)));
  TOVSmrPtr<CTovaObject> object(new CTovaObject(className));
  object->setInstanceName(TOVSmrPtr<ITovaInstanceName>(
      new CTovaInstanceName(className, keys, TOVSmrPtr<ITovaNameSpacePath>())));
  auto instance = std::make_shared<kest::repository::CompiledInstance>();
  instance->object = CTovaObject::iPtr(object);
  return instance;
}

TEST_F(ClassRepositoryTest, ApplyRefusesAnUpdateWithAnInstanceAlreadyThere) {
  ClassRepository::Update first;
  first.instances.push_back({"root/cimv2", instanceNamed("CIM_Disk", "a")});
  ASSERT_FALSE(repository.apply(first));
  ClassRepository::Update second;
  auto fresh = std::make_shared<ClassDefinition>();
  fresh->name = "CIM_Fresh";
  second.classes.push_back({"root/cimv2", fresh});
  second.instances.push_back({"root/cimv2", instanceNamed("CIM_Disk", "b")});
  second.instances.push_back({"root/cimv2", instanceNamed("cim_disk", "a")});
  const auto conflict = repository.apply(second);
  ASSERT_TRUE(conflict);
  EXPECT_FALSE(conflict->definition);
  EXPECT_EQ(conflict->instance, second.instances[1].instance);
  EXPECT_EQ(conflict->nameSpace, "root/cimv2");
  EXPECT_FALSE(repository.findClass("root/cimv2", "CIM_Fresh"));
  EXPECT_EQ(repository.instanceCount("root/cimv2"), 1u);
  EXPECT_TRUE(repository.hasInstances("root/cimv2", "CIM_Element", true));
}

TEST_F(ClassRepositoryTest, ReadersSeeCompilationsWhole) {
  std::atomic<bool> stop{false};
  std::atomic<int> wrong{0};
  std::vector<std::thread> readers;
  for (int t = 0; t < 3; ++t) {
    readers.emplace_back([&] {
      while (!stop.load()) {
        const auto names = repository.enumerateClassNames("root/cimv2", "", true);
        // B is looked up first: once it is there, A (added with it) must be.
        const bool hasB = repository.findClass("root/cimv2", "Extra_B0") != nullptr;
        const bool hasA = repository.findClass("root/cimv2", "Extra_A0") != nullptr;
        if (hasB && !hasA) ++wrong;
        if (!names || names->size() < 7) ++wrong;
        if (!repository.isSubclass("root/cimv2", "CIM_Disk", "CIM_Element")) ++wrong;
      }
    });
  }
  for (int i = 0; i < 50; ++i) {
    const std::string mof = "class Extra_A" + std::to_string(i) + " : CIM_Disk {};\nclass Extra_B" +
                            std::to_string(i) + " : Extra_A" + std::to_string(i) + " {};";
    EXPECT_TRUE(MofCompiler(repository).compileText("extra.mof", mof).succeeded());
  }
  stop = true;
  for (auto& reader : readers) reader.join();
  EXPECT_EQ(wrong.load(), 0);
  EXPECT_EQ(repository.classCount("root/cimv2"), 107u);
}

}  // namespace
