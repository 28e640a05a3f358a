#include "server/ClassCatalog.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/CimType.h"

using kest::server::ClassCatalog;
using kest::server::ClassDefinition;
using kest::server::MethodDefinition;
using kest::server::ParameterDefinition;
using kest::server::PropertyDefinition;

namespace {

std::vector<std::string> names(const std::vector<ClassCatalog::ClassPtr>& classes) {
  std::vector<std::string> result;
  for (const ClassCatalog::ClassPtr& cls : classes) result.push_back(cls->name.toStdString());
  return result;
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
  const ClassCatalog::ClassPtr foo = _catalog.find("ROOT/CIMV2", "test_FOO");
  ASSERT_TRUE(foo);
  EXPECT_EQ(foo->name, TOVString("Test_Foo"));
  EXPECT_EQ(foo->superClass, TOVString("Test_Base"));
  EXPECT_FALSE(foo->hasFeatures);
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

TEST_F(ClassCatalogTest, AFullDefinitionReplacesADeclarationWhicheverComesFirst) {
  ClassDefinition foo;
  foo.name = "Test_Foo";
  foo.superClass = "Test_Base";
  foo.properties = {PropertyDefinition{"Id", CTovaType::uint32, true, "Test_Foo"}};
  _catalog.define("root/cimv2", foo);
  _catalog.declare("root/cimv2", "TEST_FOO", "Something_Else", true);
  const ClassCatalog::ClassPtr found = _catalog.find("root/cimv2", "Test_Foo");
  EXPECT_TRUE(found->hasFeatures);
  EXPECT_EQ(found->superClass, TOVString("Test_Base"));
  EXPECT_FALSE(found->association);
}

TEST_F(ClassCatalogTest, FeatureTypesComeFromFullDefinitionsOnly) {
  EXPECT_TRUE(_catalog.propertyType("root/cimv2", "Test_Foo", "Id").isNull());
  ClassDefinition foo;
  foo.name = "Test_Foo";
  foo.properties = {PropertyDefinition{"Id", CTovaType::uint32, true, "Test_Foo"}};
  foo.methods = {MethodDefinition{"DoIt",
                                  CTovaType::uint32,
                                  "Test_Foo",
                                  {ParameterDefinition{"N", CTovaType::sint8, true, false}}}};
  _catalog.define("root/cimv2", foo);
  EXPECT_EQ(_catalog.propertyType("root/cimv2", "test_foo", "ID")->getName(), TOVString("uint32"));
  EXPECT_TRUE(_catalog.propertyType("root/cimv2", "Test_Foo", "Missing").isNull());
  EXPECT_EQ(_catalog.parameterType("root/cimv2", "Test_Foo", "doit", "n")->getName(),
            TOVString("sint8"));
  EXPECT_TRUE(_catalog.parameterType("root/cimv2", "Test_Foo", "Other", "N").isNull());
}

TEST_F(ClassCatalogTest, RepositoryOffersTheSubclassTestToProviders) {
  const TOVSmrPtr<ITovaRepository> repository = _catalog.repository();
  EXPECT_TRUE(repository->isSubclass("", "Test_FooChild", "Test_Base"));
  EXPECT_TRUE(repository->isSubclass("root/cimv2", "Test_Link", "test_link"));
  EXPECT_FALSE(repository->isSubclass("root/cimv2", "Test_Link", "Test_Base"));
}
