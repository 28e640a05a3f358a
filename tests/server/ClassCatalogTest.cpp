#include "server/ClassCatalog.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "host/CimType.h"
#include "tests/server/ServerTestSupport.h"

using kest::repository::ClassPointer;
using kest::server::ClassCatalog;
using kest::server::testing::dataPath;
using kest::server::testing::TemporaryFolder;

namespace {

std::vector<std::string> names(const std::vector<ClassPointer>& classes) {
  std::vector<std::string> result;
  for (const ClassPointer& cls : classes) result.push_back(cls->name.toStdString());
  return result;
}

std::string typeText(const TOVSmrPtr<ITovaType>& type) {
  std::string text = CTovaType::codeName(CTovaType::codeOf(*type));
  if (type->isReference() || type->isObject() ||
      (type->isArray() && !type->getName().isNull() &&
       CTovaType::codeOf(*type) == CimTypeCode::Reference)) {
    text += " " + type->getName().toStdString();
  }
  if (type->isArray()) text += "[]";
  return text;
}

class ClassCatalogTest : public ::testing::Test {
 protected:
  ClassCatalogTest() : _catalog("root/cimv2") {
    // Test_Base <- Test_Foo <- Test_FooChild; Test_Base <- Test_Alpha;
    // Test_Orphan's superclass is unknown; Test_Link is an association.
    _catalog.declare("root/cimv2", "Test_Foo", "Test_Base", false);
    _catalog.declare("root/cimv2", "Test_Base", "", false);
    _catalog.declare("root/cimv2", "Test_FooChild", "Test_Foo", false);
    _catalog.declare("root/cimv2", "Test_Alpha", "test_base", false);
    _catalog.declare("root/cimv2", "Test_Orphan", "CIM_Unknown", false);
    _catalog.declare("root/cimv2", "Test_Link", "", true);
  }
  ClassCatalog _catalog;
};

}  // namespace

TEST_F(ClassCatalogTest, ClassesAreFoundInAnyCaseAndNamespaceSpelling) {
  const ClassPointer foo = _catalog.find("ROOT/CIMV2", "test_FOO");
  ASSERT_TRUE(foo);
  EXPECT_EQ(foo->name, TOVString("Test_Foo"));
  EXPECT_EQ(foo->superClassName, TOVString("Test_Base"));
  EXPECT_FALSE(foo->defined);
  EXPECT_TRUE(_catalog.find("", "Test_Link")->association);
  EXPECT_FALSE(_catalog.find("root/cimv2", "Test_Missing"));
  EXPECT_FALSE(_catalog.find("root/interop", "Test_Foo"));
}

TEST_F(ClassCatalogTest, IsSubclassFollowsTheSuperclassChain) {
  EXPECT_TRUE(_catalog.isSubclass("root/cimv2", "Test_FooChild", "TEST_BASE"));
  EXPECT_TRUE(_catalog.isSubclass("root/cimv2", "Test_FooChild", "Test_Foo"));
  EXPECT_TRUE(_catalog.isSubclass("root/cimv2", "test_foo", "Test_Foo"));
  EXPECT_TRUE(_catalog.isSubclass("root/cimv2", "Test_Orphan", "CIM_Unknown"));
  EXPECT_FALSE(_catalog.isSubclass("root/cimv2", "Test_Foo", "Test_FooChild"));
  EXPECT_FALSE(_catalog.isSubclass("root/cimv2", "Test_Alpha", "Test_Foo"));
  EXPECT_FALSE(_catalog.isSubclass("root/cimv2", "Test_Missing", "Test_Missing"));
  EXPECT_FALSE(_catalog.isSubclass("root/interop", "Test_Foo", "Test_Base"));
}

TEST_F(ClassCatalogTest, ASuperclassCycleEndsTheWalk) {
  _catalog.declare("root/cimv2", "Test_A", "Test_B", false);
  _catalog.declare("root/cimv2", "Test_B", "Test_A", false);
  EXPECT_FALSE(_catalog.isSubclass("root/cimv2", "Test_A", "Test_Base"));
  EXPECT_TRUE(_catalog.subclasses("root/cimv2", "", true).size() <= 8u);
}

TEST_F(ClassCatalogTest, SubclassesAreListedParentsFirstAndSiblingsByName) {
  EXPECT_EQ(names(_catalog.subclasses("root/cimv2", "", false)),
            (std::vector<std::string>{"Test_Base", "Test_Link", "Test_Orphan"}));
  EXPECT_EQ(names(_catalog.subclasses("root/cimv2", "", true)),
            (std::vector<std::string>{"Test_Base", "Test_Alpha", "Test_Foo", "Test_FooChild",
                                      "Test_Link", "Test_Orphan"}));
  EXPECT_EQ(names(_catalog.subclasses("root/cimv2", "test_base", false)),
            (std::vector<std::string>{"Test_Alpha", "Test_Foo"}));
  EXPECT_EQ(names(_catalog.subclasses("root/cimv2", "Test_Base", true)),
            (std::vector<std::string>{"Test_Alpha", "Test_Foo", "Test_FooChild"}));
  EXPECT_TRUE(_catalog.subclasses("root/interop", "", true).empty());
}

TEST_F(ClassCatalogTest, ADeclaredAssociationCarriesTheAssociationQualifier) {
  const ClassPointer link = _catalog.find("root/cimv2", "Test_Link");
  ASSERT_TRUE(link->qualifiers.find("Association"));
  EXPECT_TRUE(link->qualifiers.booleanValue("Association", false));
  EXPECT_FALSE(link->qualifiers.find("Association")->flavor.overridable);
  EXPECT_FALSE(_catalog.find("root/cimv2", "Test_Foo")->qualifiers.find("Association"));
}

TEST_F(ClassCatalogTest, SubclassesFollowClassesAddedLater) {
  _catalog.declare("root/cimv2", "CIM_Unknown", "", false);
  _catalog.declare("root/cimv2", "Test_Beta", "Test_Base", false);
  EXPECT_EQ(names(_catalog.subclasses("root/cimv2", "", false)),
            (std::vector<std::string>{"CIM_Unknown", "Test_Base", "Test_Link"}));
  EXPECT_EQ(names(_catalog.subclasses("root/cimv2", "Test_Base", false)),
            (std::vector<std::string>{"Test_Alpha", "Test_Beta", "Test_Foo"}));
}

TEST_F(ClassCatalogTest, ADeclarationOfACompiledClassChangesNothing) {
  ClassCatalog catalog("root/cimv2");
  catalog.compileMofText("foo.mof",
                         "class Test_Base { [Key] string Name; };\n"
                         "class Test_Foo : Test_Base { uint32 Id; };\n");
  catalog.declare("root/cimv2", "TEST_FOO", "Something_Else", true);
  const ClassPointer found = catalog.find("root/cimv2", "Test_Foo");
  EXPECT_TRUE(found->defined);
  EXPECT_EQ(found->superClassName, TOVString("Test_Base"));
  EXPECT_FALSE(found->association);
}

TEST_F(ClassCatalogTest, ADeclaredSubclassOfACompiledClassInheritsItsFeatures) {
  ClassCatalog catalog("root/cimv2");
  catalog.compileMofText("base.mof", "class Test_Base { [Key] string Name; };\n");
  catalog.declare("root/cimv2", "Test_Sub", "Test_Base", false);
  EXPECT_FALSE(catalog.find("root/cimv2", "Test_Sub")->defined);
  EXPECT_EQ(typeText(catalog.propertyType("root/cimv2", "test_sub", "NAME")), "string");
}

TEST(ClassCatalogMofTest, FeatureTypesComeFromTheCompiledDefinition) {
  ClassCatalog catalog("root/cimv2");
  catalog.compileMofText(
      "child.mof",
      "class Test_Bar { [Key] string Tag; };\n"
      "class Test_Parent { [Key] string Name; uint16 Vals[]; };\n"
      "class Test_Child : Test_Parent {\n"
      "  Test_Bar REF Peer;\n"
      "  [EmbeddedInstance(\"Test_Bar\")] string Inside;\n"
      "  [EmbeddedObject] string Anything[];\n"
      "  uint32 Run([In] string S, [In, Out] Test_Bar REF R, [In(false), Out] uint8 Codes[]);\n"
      "};\n");
  auto property = [&](const char* name) {
    return typeText(catalog.propertyType("root/cimv2", "test_child", name));
  };
  EXPECT_EQ(property("NAME"), "string");
  EXPECT_EQ(property("Vals"), "uint16[]");
  EXPECT_EQ(property("Peer"), "reference Test_Bar");
  EXPECT_EQ(property("Inside"), "object Test_Bar");
  EXPECT_EQ(property("Anything"), "object[]");
  EXPECT_TRUE(catalog.propertyType("root/cimv2", "Test_Child", "Missing").isNull());
  auto parameter = [&](const char* name) {
    return typeText(catalog.parameterType("root/cimv2", "Test_Child", "run", name));
  };
  EXPECT_EQ(parameter("s"), "string");
  EXPECT_EQ(parameter("R"), "reference Test_Bar");
  EXPECT_EQ(parameter("Codes"), "uint8[]");
  EXPECT_TRUE(catalog.parameterType("root/cimv2", "Test_Child", "Other", "S").isNull());
  EXPECT_TRUE(catalog.parameterType("root/cimv2", "Test_Child", "Run", "Missing").isNull());
}

TEST(ClassCatalogMofTest, TheMofFilesDefineTheirClassesInTheirNamespaces) {
  TemporaryFolder folder;
  const std::string interop = folder.write(
      "interop.mof",
      "#pragma namespace(\"root/interop\")\nclass Test_Profile { [Key] string Id; };\n");
  ClassCatalog catalog("root/cimv2");
  const std::vector<std::string> warnings = catalog.compileMof({dataPath("test.mof"), interop});
  EXPECT_TRUE(warnings.empty());
  EXPECT_TRUE(catalog.find("root/cimv2", "Test_FooChild")->defined);
  EXPECT_EQ(catalog.propertyType("root/cimv2", "Test_Foo", "Id")->getName(), TOVString("uint32"));
  EXPECT_EQ(catalog.parameterType("root/cimv2", "Test_Foo", "DoIt", "N")->getName(),
            TOVString("uint32"));
  EXPECT_TRUE(catalog.find("root/cimv2", "Test_FooBar")->association);
  EXPECT_TRUE(catalog.isSubclass("root/cimv2", "Test_FooChild", "Test_Base"));
  EXPECT_TRUE(catalog.find("root/interop", "Test_Profile"));
  EXPECT_FALSE(catalog.find("root/cimv2", "Test_Profile"));
  EXPECT_TRUE(catalog.find("root/cimv2", "Test_Foo")->qualifiers.find("Description"));
}

TEST(ClassCatalogMofTest, AClassTheCatalogAlreadyDeclaresIsADuplicateForTheCompiler) {
  ClassCatalog catalog("root/cimv2");
  catalog.declare("root/cimv2", "Test_Bar", TOVString(), false);
  EXPECT_THROW(catalog.compileMof({dataPath("test.mof")}), std::runtime_error);
  EXPECT_FALSE(catalog.find("root/cimv2", "Test_Bar")->defined);
  EXPECT_FALSE(catalog.find("root/cimv2", "Test_Foo"));
}

TEST(ClassCatalogMofTest, WarningsAreReturned) {
  TemporaryFolder folder;
  const std::string file =
      folder.write("warn.mof", "class Test_W { [Key] string K; };\n#pragma comment(\"a\")\n");
  ClassCatalog catalog("root/cimv2");
  const std::vector<std::string> warnings = catalog.compileMof({file});
  ASSERT_EQ(warnings.size(), 1u);
  EXPECT_EQ(warnings[0].rfind(file + ":2:1: warning: ", 0), 0u) << warnings[0];
  EXPECT_TRUE(catalog.find("root/cimv2", "Test_W"));
}

TEST(ClassCatalogMofTest, ErrorsStopTheCompilationAndListEveryDiagnostic) {
  TemporaryFolder folder;
  const std::string file = folder.write(
      "bad.mof", "class Test_A : Test_Missing { };\nclass Test_B { [Bogus] string X; };\n");
  ClassCatalog catalog("root/cimv2");
  try {
    catalog.compileMof({file});
    ADD_FAILURE() << "no error";
  } catch (const std::runtime_error& error) {
    const std::string text = error.what();
    EXPECT_EQ(text.rfind("the MOF files have 2 error(s):\n" + file + ":1:", 0), 0u) << text;
    EXPECT_NE(text.find("\n" + file + ":2:"), std::string::npos) << text;
  }
  EXPECT_FALSE(catalog.find("root/cimv2", "Test_B"));
}

TEST_F(ClassCatalogTest, RepositoryOffersTheSubclassTestToProviders) {
  const TOVSmrPtr<ITovaRepository> repository = _catalog.repository();
  EXPECT_TRUE(repository->isSubclass("", "Test_FooChild", "Test_Base"));
  EXPECT_TRUE(repository->isSubclass("root/cimv2", "Test_Link", "test_link"));
  EXPECT_FALSE(repository->isSubclass("root/cimv2", "Test_Link", "Test_Base"));
}
