// Unit tests of StaticInstances: the instances compiled from MOF text into a
// class catalog, answered as enumerations, lookups and associations.

#include "server/StaticInstances.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "server/CimError.h"
#include "server/ClassCatalog.h"
#include "server/repository/ObjectPath.h"

using kest::server::CimError;
using kest::server::ClassCatalog;
using kest::server::StaticInstances;

namespace {

const TOVString kNameSpace("root/cimv2");

const char* const kMof = R"(
class Test_Thing { [Key] string Name; string Color; };
class Test_Box : Test_Thing { uint32 Size; };
class Test_Other { [Key] string Name; };
[Association] class Test_Holds {
  [Key] Test_Thing REF Holder;
  [Key] Test_Thing REF Held;
};
[Association] class Test_HoldsTight : Test_Holds { };
[Association] class Test_Names {
  [Key] Test_Thing REF Named;
  [Key] Test_Other REF Name;
};
instance of Test_Thing as $a { Name = "a"; Color = "red"; };
instance of Test_Box as $b { Name = "b"; Size = 3; };
instance of Test_Thing as $c { Name = "c"; };
instance of Test_Holds { Holder = $b; Held = $a; };
instance of Test_HoldsTight { Holder = $b; Held = $c; };
instance of Test_Names { Named = $a; Name = "Test_Other.Name=\"far\""; };
)";

TOVSmrPtr<ITovaInstanceName> path(const char* text) {
  return kest::repository::parseObjectPath(text);
}

template <typename T>
std::vector<std::string> texts(const std::vector<T>& items) {
  std::vector<std::string> result;
  for (const T& item : items) result.push_back(item->toString().toStdString());
  return result;
}

std::vector<std::string> namesOf(const std::vector<TOVSmrPtr<ITovaObject>>& objects) {
  std::vector<std::string> result;
  for (const TOVSmrPtr<ITovaObject>& object : objects) {
    result.push_back(object->getInstanceName()->toString().toStdString());
  }
  return result;
}

class StaticInstancesTest : public ::testing::Test {
 protected:
  StaticInstancesTest() { _catalog.compileMofText("instances.mof", kMof); }

  ClassCatalog _catalog{kNameSpace};
  StaticInstances _instances{_catalog};
};

}  // namespace

TEST_F(StaticInstancesTest, EnumerationsCoverTheClassAndItsSubclassesInDeclarationOrder) {
  EXPECT_EQ(namesOf(_instances.instances(kNameSpace, "test_thing")),
            (std::vector<std::string>{"test_thing.name=\"a\"", "test_box.name=\"b\"",
                                      "test_thing.name=\"c\""}));
  EXPECT_EQ(texts(_instances.instanceNames(kNameSpace, "Test_Box")),
            (std::vector<std::string>{"test_box.name=\"b\""}));
  EXPECT_TRUE(_instances.hasInstances(kNameSpace, "Test_Thing"));
  EXPECT_FALSE(_instances.hasInstances(kNameSpace, "Test_Other"));
  EXPECT_TRUE(_instances.instances(kNameSpace, "Test_Other").empty());
  EXPECT_TRUE(_instances.instances("root/elsewhere", "Test_Thing").empty());
}

TEST_F(StaticInstancesTest, FindReturnsTheCompiledInstanceOrNull) {
  const TOVSmrPtr<ITovaObject> found = _instances.find(kNameSpace, path("TEST_THING.name=\"a\""));
  ASSERT_TRUE(found);
  EXPECT_EQ(found->getPropertyByName("Color", true)->getValue()->getAsString(), "red");
  EXPECT_FALSE(_instances.find(kNameSpace, path("Test_Thing.Name=\"z\"")));
  EXPECT_FALSE(_instances.find(kNameSpace, path("Test_Other.Name=\"a\"")));
  EXPECT_FALSE(_instances.find(kNameSpace, TOVSmrPtr<ITovaInstanceName>()));
}

TEST_F(StaticInstancesTest, ChangesToACompiledInstanceAreRefusedAsReadOnly) {
  try {
    _instances.refuseChange(kNameSpace, path("Test_Box.Name=\"b\""), "DeleteInstance");
    FAIL() << "not refused";
  } catch (const CimError& error) {
    EXPECT_EQ(error.code(), kest::server::CIM_ERR_NOT_SUPPORTED);
    EXPECT_NE(error.description().find("read-only: it was compiled from MOF (instances.mof:"),
              std::string::npos)
        << error.description();
  }
  EXPECT_NO_THROW(_instances.refuseChange(kNameSpace, path("Test_Box.Name=\"x\""), "Delete"));
  TOVSmrPtr<CTovaObject> fresh(new CTovaObject("Test_Thing"));
  fresh->setProperty("Name", TOVSmrPtr<ITovaValue>(new CTovaValue("a")));
  EXPECT_THROW(_instances.refuseCreate(kNameSpace, CTovaObject::iPtr(fresh)), CimError);
  fresh->setProperty("Name", TOVSmrPtr<ITovaValue>(new CTovaValue("new")));
  EXPECT_NO_THROW(_instances.refuseCreate(kNameSpace, CTovaObject::iPtr(fresh)));
}

TEST_F(StaticInstancesTest, ReferencesAreTheAssociationsNamingTheObject) {
  const TOVSmrPtr<ITovaInstanceName> b = path("Test_Box.Name=\"b\"");
  EXPECT_EQ(namesOf(_instances.references(kNameSpace, b, TOVString(), TOVString())).size(), 2u);
  EXPECT_EQ(texts(_instances.referenceNames(kNameSpace, b, "Test_HoldsTight", TOVString())),
            (std::vector<std::string>{
                "test_holdstight.held=\"test_thing.name=\\\"c\\\"\",holder=\"test_box.name="
                "\\\"b\\\"\""}));
  EXPECT_TRUE(_instances.references(kNameSpace, b, TOVString(), "Held").empty());
  EXPECT_EQ(
      _instances.references(kNameSpace, path("Test_Thing.Name=\"a\""), TOVString(), "held").size(),
      1u);
  EXPECT_TRUE(
      _instances.references(kNameSpace, path("Test_Thing.Name=\"zz\""), TOVString(), TOVString())
          .empty());
}

TEST_F(StaticInstancesTest, AssociatorNamesAreTheFarEndsFilteredByClassAndRoles) {
  const TOVSmrPtr<ITovaInstanceName> b = path("Test_Box.Name=\"b\"");
  const TOVString none;
  EXPECT_EQ(texts(_instances.associatorNames(kNameSpace, b, none, none, none, none)),
            (std::vector<std::string>{"test_thing.name=\"a\"", "test_thing.name=\"c\""}));
  EXPECT_EQ(texts(_instances.associatorNames(kNameSpace, b, "Test_HoldsTight", none, none, none)),
            (std::vector<std::string>{"test_thing.name=\"c\""}));
  EXPECT_TRUE(_instances.associatorNames(kNameSpace, b, none, none, "Held", none).empty());
  EXPECT_TRUE(_instances.associatorNames(kNameSpace, b, none, none, none, "Holder").empty());
  EXPECT_TRUE(_instances.associatorNames(kNameSpace, b, none, "Test_Box", none, none).empty());
  const TOVSmrPtr<ITovaInstanceName> a = path("Test_Thing.Name=\"a\"");
  EXPECT_EQ(texts(_instances.associatorNames(kNameSpace, a, none, "Test_Other", none, "Name")),
            (std::vector<std::string>{"test_other.name=\"far\""}));
  EXPECT_EQ(texts(_instances.associatorNames(kNameSpace, a, "Test_Holds", none, "Held", none)),
            (std::vector<std::string>{"test_box.name=\"b\""}));
}

TEST_F(StaticInstancesTest, AssociatorsHoldCompiledFarEndsAsObjectsAndOthersAsReferences) {
  const std::vector<TOVSmrPtr<ITovaValue>> values =
      _instances.associators(kNameSpace, path("Test_Thing.Name=\"a\""), TOVString(), TOVString(),
                             TOVString(), TOVString());
  ASSERT_EQ(values.size(), 2u);
  ASSERT_TRUE(values[0]->getType()->isObject());
  EXPECT_EQ(values[0]->getObject()->getInstanceName()->toString(), "test_box.name=\"b\"");
  EXPECT_EQ(values[0]->getObject()->getPropertyByName("Size", true)->getValue()->getAsUInt(), 3u);
  ASSERT_TRUE(values[1]->getType()->isReference());
  EXPECT_EQ(values[1]->getReference()->toString(), "test_other.name=\"far\"");
}

TEST_F(StaticInstancesTest, AssociationsCompiledLaterAreFound) {
  const TOVSmrPtr<ITovaInstanceName> c = path("Test_Thing.Name=\"c\"");
  const TOVString none;
  EXPECT_EQ(_instances.referenceNames(kNameSpace, c, none, none).size(), 1u);
  _catalog.compileMofText("more.mof",
                          "instance of Test_Holds { Holder = \"Test_Thing.Name=\\\"c\\\"\"; "
                          "Held = \"Test_Thing.Name=\\\"a\\\"\"; };\n");
  EXPECT_EQ(_instances.referenceNames(kNameSpace, c, none, none).size(), 2u);
}
