#include "server/MofClasses.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "host/CimType.h"
#include "server/ClassCatalog.h"
#include "server/repository/ClassRepository.h"
#include "server/repository/MofCompiler.h"
#include "tests/server/ServerTestSupport.h"

using kest::server::catalogDefinition;
using kest::server::ClassCatalog;
using kest::server::ClassDefinition;
using kest::server::defineMofClasses;
using kest::server::testing::dataPath;
using kest::server::testing::TemporaryFolder;

namespace {

// The compiled form of a class of text.
ClassDefinition compiled(const std::string& text, const char* className) {
  kest::repository::ClassRepository repository;
  kest::repository::MofCompiler compiler(repository);
  const kest::repository::CompileResult result = compiler.compileText("test.mof", text);
  if (!result.succeeded()) throw std::runtime_error(result.diagnostics.front().toString());
  return catalogDefinition(*repository.findClass("root/cimv2", className));
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

}  // namespace

TEST(MofClassesTest, ACompiledClassKeepsItsFeaturesTypesKeysAndOrigins) {
  const ClassDefinition child = compiled(
      "class Test_Bar { [Key] string Tag; };\n"
      "class Test_Parent { [Key] string Name; uint16 Vals[]; };\n"
      "class Test_Child : Test_Parent {\n"
      "  Test_Bar REF Peer;\n"
      "  [EmbeddedInstance(\"Test_Bar\")] string Inside;\n"
      "  uint32 Run([In] string S, [In, Out] Test_Bar REF R, [In(false), Out] uint8 Codes[]);\n"
      "};\n",
      "Test_Child");
  EXPECT_EQ(child.name, TOVString("Test_Child"));
  EXPECT_EQ(child.superClass, TOVString("Test_Parent"));
  EXPECT_TRUE(child.hasFeatures);
  EXPECT_FALSE(child.association);
  ASSERT_EQ(child.properties.size(), 4u);
  std::vector<std::string> properties;
  for (const auto& property : child.properties) {
    properties.push_back(property.name.toStdString() + ":" + typeText(property.type) + ":" +
                         (property.key ? "key:" : "") + property.classOrigin.toStdString());
  }
  EXPECT_EQ(properties,
            (std::vector<std::string>{"Name:string:key:Test_Parent", "Vals:uint16[]:Test_Parent",
                                      "Peer:reference Test_Bar:Test_Child",
                                      "Inside:object Test_Bar:Test_Child"}));
  ASSERT_EQ(child.methods.size(), 1u);
  EXPECT_EQ(child.methods[0].name, TOVString("Run"));
  EXPECT_EQ(typeText(child.methods[0].returnType), "uint32");
  std::vector<std::string> parameters;
  for (const auto& parameter : child.methods[0].parameters) {
    parameters.push_back(parameter.name.toStdString() + ":" + typeText(parameter.type) +
                         (parameter.in ? ":in" : "") + (parameter.out ? ":out" : ""));
  }
  EXPECT_EQ(parameters, (std::vector<std::string>{"S:string:in", "R:reference Test_Bar:in:out",
                                                  "Codes:uint8[]:out"}));
}

TEST(MofClassesTest, AnAssociationIsMarkedAsOne) {
  EXPECT_TRUE(compiled("class A { [Key] string K; };\n"
                       "[Association] class L { [Key] A REF X; [Key] A REF Y; };\n",
                       "L")
                  .association);
}

TEST(MofClassesTest, TheMofFilesDefineTheirClassesInTheirNamespaces) {
  TemporaryFolder folder;
  const std::string interop = folder.write(
      "interop.mof",
      "#pragma namespace(\"root/interop\")\nclass Test_Profile { [Key] string Id; };\n");
  ClassCatalog catalog("root/cimv2");
  const std::vector<std::string> warnings =
      defineMofClasses({dataPath("test.mof"), interop}, "root/cimv2", catalog);
  EXPECT_TRUE(warnings.empty());
  EXPECT_TRUE(catalog.find("root/cimv2", "Test_FooChild")->hasFeatures);
  EXPECT_EQ(catalog.propertyType("root/cimv2", "Test_Foo", "Id")->getName(), TOVString("uint32"));
  EXPECT_EQ(catalog.parameterType("root/cimv2", "Test_Foo", "DoIt", "N")->getName(),
            TOVString("uint32"));
  EXPECT_TRUE(catalog.find("root/cimv2", "Test_FooBar")->association);
  EXPECT_TRUE(catalog.isSubclass("root/cimv2", "Test_FooChild", "Test_Base"));
  EXPECT_TRUE(catalog.find("root/interop", "Test_Profile"));
  EXPECT_FALSE(catalog.find("root/cimv2", "Test_Profile"));
  // The catalog's class repository holds the compilation; each catalog
  // definition keeps the compiled class it was made from.
  const kest::repository::ClassPointer compiled =
      catalog.classRepository().findClass("root/cimv2", "Test_Foo");
  ASSERT_TRUE(compiled);
  EXPECT_EQ(catalog.find("root/cimv2", "Test_Foo")->compiled, compiled);
  EXPECT_TRUE(compiled->qualifiers.find("Description"));
}

TEST(MofClassesTest, AClassTheCatalogAlreadyDeclaresIsADuplicateForTheCompiler) {
  ClassCatalog catalog("root/cimv2");
  catalog.declare("root/cimv2", "Test_Bar", TOVString(), false);
  EXPECT_THROW(defineMofClasses({dataPath("test.mof")}, "root/cimv2", catalog), std::runtime_error);
  EXPECT_FALSE(catalog.find("root/cimv2", "Test_Bar")->hasFeatures);
  EXPECT_FALSE(catalog.find("root/cimv2", "Test_Foo"));
}

TEST(MofClassesTest, WarningsAreReturned) {
  TemporaryFolder folder;
  const std::string file = folder.write(
      "warn.mof", "class Test_W { [Key] string K; };\ninstance of Test_W { K = \"a\"; };\n");
  ClassCatalog catalog("root/cimv2");
  const std::vector<std::string> warnings = defineMofClasses({file}, "root/cimv2", catalog);
  ASSERT_EQ(warnings.size(), 1u);
  EXPECT_EQ(warnings[0].rfind(file + ":2:1: warning: ", 0), 0u) << warnings[0];
  EXPECT_TRUE(catalog.find("root/cimv2", "Test_W"));
}

TEST(MofClassesTest, ErrorsStopTheDefinitionAndListEveryDiagnostic) {
  TemporaryFolder folder;
  const std::string file = folder.write(
      "bad.mof", "class Test_A : Test_Missing { };\nclass Test_B { [Bogus] string X; };\n");
  ClassCatalog catalog("root/cimv2");
  try {
    defineMofClasses({file}, "root/cimv2", catalog);
    ADD_FAILURE() << "no error";
  } catch (const std::runtime_error& error) {
    const std::string text = error.what();
    EXPECT_EQ(text.rfind("the MOF files have 2 error(s):\n" + file + ":1:", 0), 0u) << text;
    EXPECT_NE(text.find("\n" + file + ":2:"), std::string::npos) << text;
  }
  EXPECT_FALSE(catalog.find("root/cimv2", "Test_B"));
}
