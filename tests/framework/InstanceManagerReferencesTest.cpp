// The reference traversal of the instance manager: references (collector and
// list forms) and its scan of one class.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "framework/Class.h"
#include "framework/Instance.h"
#include "framework/InstanceManager.h"
#include "host/CimType.h"
#include "host/Exception.h"
#include "host/InstanceName.h"
#include "host/List.h"
#include "host/Log.h"
#include "host/Object.h"
#include "host/Property.h"
#include "host/SmartPointer.h"
#include "host/String.h"
#include "host/Value.h"
#include "support/ObjectModelBuilders.h"
#include "support/TestInstances.h"
#include "tests/support/AssociationFixture.h"

using kest::pf::Class;
using kest::pf::Instance;
using kest::testing::AssociationFixture;
using kest::testing::idName;
using kest::testing::make;
using kest::testing::makeName;
using kest::testing::makePath;
using kest::testing::pointersOf;
using kest::testing::refProperty;
using kest::testing::refTo;
using kest::testing::TestInstance;

namespace {

// An association object whose property list may hold null entries, read
// through the ITovaObject accessors like any other.
class SparseInstance : public Instance {
 public:
  SparseInstance(kest::pf::InstanceManager& manager, const char* className,
                 std::vector<TOVSmrPtr<ITovaProperty>> properties)
      : Instance(manager), _properties(std::move(properties)) {
    _className = className;
    setInstanceName(idName(className, 100));
  }

  unsigned long getNumberOfProperties(bool) const override {
    return static_cast<unsigned long>(_properties.size());
  }
  TOVSmrPtr<ITovaProperty> getPropertyAt(unsigned long index, bool) const override {
    return index < _properties.size() ? _properties[index] : TOVSmrPtr<ITovaProperty>();
  }
  TOVSmrPtr<ITovaProperty> getPropertyByName(const TOVString& name, bool) const override {
    for (const TOVSmrPtr<ITovaProperty>& property : _properties) {
      if (property && property->getName().compareTo(name, 0) == 0) return property;
    }
    return TOVSmrPtr<ITovaProperty>();
  }

 private:
  std::vector<TOVSmrPtr<ITovaProperty>> _properties;
};

// A type that says it is a reference and atomic at once.
class AtomicReferenceType : public ITovaType {
 public:
  TOVString getName() const override { return "Test_Disk"; }
  bool isAtomic() const override { return true; }
  bool isReference() const override { return true; }
  bool isArray() const override { return false; }
  bool isClass() const override { return false; }
  bool isObject() const override { return false; }
};

int gCreateAllCalls = 0;

TOVSmrPtr<TOVValSlist<TOVSmrPtr<Instance>>> createAllLinks() {
  ++gCreateAllCalls;
  return TOVSmrPtr<TOVValSlist<TOVSmrPtr<Instance>>>(new TOVValSlist<TOVSmrPtr<Instance>>());
}

// The cache:
//   Test_Disk, Test_Volume (ordinary)
//   Test_Dependency (association)
//     Test_BasedOn (association)
//       Test_Mirror (association)
//     Test_Hosted (association)
//     Test_Note (not an association, but its objects hold references)
//   Test_Component (association)
class InstanceManagerReferencesTest : public AssociationFixture {
 protected:
  void SetUp() override {
    gCreateAllCalls = 0;
    declare("Test_Disk");
    declare("Test_Volume");
    _dependency = declare("Test_Dependency", true);
    _basedOn = declare("Test_BasedOn", true);
    _mirror = declare("Test_Mirror", true);
    _hosted = declare("Test_Hosted", true);
    _note = declare("Test_Note");
    _component = declare("Test_Component", true);
    link(_dependency, _basedOn);
    link(_basedOn, _mirror);
    link(_dependency, _hosted);
    link(_dependency, _note);
    _disk = cached("Test_Disk", 1);
  }

  // An association of className from the disk to volume <id>.
  TOVSmrPtr<TestInstance> diskLink(const char* className, int volumeId) {
    return cachedAssociation(className, {{"Antecedent", _disk->getInstanceName()},
                                         {"Dependent", idName("Test_Volume", volumeId)}});
  }

  static std::vector<ITovaObject*> sorted(std::vector<ITovaObject*> objects) {
    std::sort(objects.begin(), objects.end());
    return objects;
  }

  TOVSmrPtr<Class> _dependency, _basedOn, _mirror, _hosted, _note, _component;
  TOVSmrPtr<TestInstance> _disk;
};

}  // namespace

// --- which classes are scanned ----------------------------------------------------

TEST_F(InstanceManagerReferencesTest, WithoutAResultClassEveryAssociationClassIsScanned) {
  const auto component = diskLink("Test_Component", 1);
  const auto dependency = diskLink("Test_Dependency", 2);
  const auto basedOn = diskLink("Test_BasedOn", 3);
  const auto mirror = diskLink("Test_Mirror", 4);
  const auto hosted = diskLink("Test_Hosted", 5);
  const auto basedOnAgain = diskLink("Test_BasedOn", 6);
  TOVScopedLogCapture capture;

  const std::vector<ITovaObject*> found = references(_disk->getInstanceName(), "");

  // Classes in the class directory's order; each class's objects in
  // registration order.
  EXPECT_EQ(sorted(found), sorted({component.get(), dependency.get(), basedOn.get(), mirror.get(),
                                   hosted.get(), basedOnAgain.get()}));
  EXPECT_LT(std::find(found.begin(), found.end(), basedOn.get()),
            std::find(found.begin(), found.end(), basedOnAgain.get()));
  EXPECT_TRUE(capture.records().empty());
}

TEST_F(InstanceManagerReferencesTest,
       WithoutAResultClassClassesNotDeclaredAsAssociationsAreSkipped) {
  const auto basedOn = diskLink("Test_BasedOn", 1);
  diskLink("Test_Note", 2);

  EXPECT_EQ(references(_disk->getInstanceName(), ""), std::vector<ITovaObject*>{basedOn.get()});
}

TEST_F(InstanceManagerReferencesTest, AResultClassIsScannedFirstThenItsDescendantsPostOrder) {
  const auto hosted = diskLink("Test_Hosted", 1);
  const auto basedOn = diskLink("Test_BasedOn", 2);
  const auto mirror = diskLink("Test_Mirror", 3);
  const auto dependency = diskLink("Test_Dependency", 4);
  const auto note = diskLink("Test_Note", 5);
  const auto mirrorAgain = diskLink("Test_Mirror", 6);
  diskLink("Test_Component", 7);

  EXPECT_EQ(references(_disk->getInstanceName(), "Test_Dependency"),
            (std::vector<ITovaObject*>{dependency.get(), mirror.get(), mirrorAgain.get(),
                                       basedOn.get(), hosted.get(), note.get()}));
}

TEST_F(InstanceManagerReferencesTest, AResultClassMatchesInAnyLetterCase) {
  const auto basedOn = diskLink("Test_BasedOn", 1);
  const auto mirror = diskLink("Test_Mirror", 2);

  EXPECT_EQ(references(_disk->getInstanceName(), "TEST_BASEDON"),
            (std::vector<ITovaObject*>{basedOn.get(), mirror.get()}));
  EXPECT_EQ(references(_disk->getInstanceName(), "test_mirror"),
            std::vector<ITovaObject*>{mirror.get()});
}

TEST_F(InstanceManagerReferencesTest, AResultClassThatIsNotAnAssociationIsScannedToo) {
  const auto note = diskLink("Test_Note", 1);

  EXPECT_EQ(references(_disk->getInstanceName(), "Test_Note"),
            std::vector<ITovaObject*>{note.get()});
}

TEST_F(InstanceManagerReferencesTest, AnUndeclaredResultClassFindsNothing) {
  diskLink("Test_BasedOn", 1);
  TOVScopedLogCapture capture;

  EXPECT_TRUE(references(_disk->getInstanceName(), "No_Such_Class").empty());
  EXPECT_TRUE(capture.records().empty());
}

TEST_F(InstanceManagerReferencesTest, ALinkedSubclassThatWasNeverDeclaredIsSkipped) {
  link(_hosted, _tree.make("Test_Undeclared", true));
  const auto hosted = diskLink("Test_Hosted", 1);

  EXPECT_EQ(references(_disk->getInstanceName(), "Test_Hosted"),
            std::vector<ITovaObject*>{hosted.get()});
}

TEST_F(InstanceManagerReferencesTest, AClassLinkedUnderTwoParentsIsScannedTwice) {
  link(_hosted, _mirror);
  const auto mirror = diskLink("Test_Mirror", 1);

  EXPECT_EQ(references(_disk->getInstanceName(), "Test_Dependency"),
            (std::vector<ITovaObject*>{mirror.get(), mirror.get()}));
}

TEST_F(InstanceManagerReferencesTest, OnlyWhatIsCachedIsScanned) {
  manager().registerClass(_tree.make("Test_Factory", true, nullptr, createAllLinks));

  EXPECT_TRUE(references(_disk->getInstanceName(), "Test_Factory").empty());
  EXPECT_TRUE(references(_disk->getInstanceName(), "").empty());
  EXPECT_EQ(gCreateAllCalls, 0);
}

// --- which objects refer to the source ------------------------------------------------

TEST_F(InstanceManagerReferencesTest, ObjectsThatReferToOtherObjectsAreNotReported) {
  const auto mine = diskLink("Test_BasedOn", 1);
  cachedAssociation("Test_BasedOn", {{"Antecedent", idName("Test_Disk", 2)},
                                     {"Dependent", idName("Test_Volume", 1)}});

  EXPECT_EQ(references(_disk->getInstanceName(), "Test_BasedOn"),
            std::vector<ITovaObject*>{mine.get()});
}

TEST_F(InstanceManagerReferencesTest, AnAssociationReferringThroughTwoPropertiesIsReportedOnce) {
  const auto loop = cachedAssociation("Test_BasedOn", {{"Antecedent", _disk->getInstanceName()},
                                                       {"Dependent", _disk->getInstanceName()}});

  EXPECT_EQ(references(_disk->getInstanceName(), "Test_BasedOn"),
            std::vector<ITovaObject*>{loop.get()});
  EXPECT_EQ(references(_disk->getInstanceName(), ""), std::vector<ITovaObject*>{loop.get()});
}

TEST_F(InstanceManagerReferencesTest, TheReferencedNameIsComparedNotTheObject) {
  const auto other = cachedAssociation(
      "Test_BasedOn",
      {{"Antecedent", makeName("TEST_DISK", "ID", make(1), makePath("h", "root/x"))},
       {"Dependent", idName("Test_Volume", 1)}});

  // The source needs no cached object either.
  EXPECT_EQ(references(idName("test_disk", 1), "Test_BasedOn"),
            std::vector<ITovaObject*>{other.get()});
  EXPECT_TRUE(references(idName("Test_Disk", 2), "Test_BasedOn").empty());
}

TEST_F(InstanceManagerReferencesTest, ARoleLimitsTheScanToThePropertyOfThatName) {
  const auto asAntecedent = diskLink("Test_BasedOn", 1);
  const auto asDependent = cachedAssociation(
      "Test_BasedOn",
      {{"Antecedent", idName("Test_Volume", 2)}, {"Dependent", _disk->getInstanceName()}});

  EXPECT_EQ(references(_disk->getInstanceName(), "Test_BasedOn", "Antecedent"),
            std::vector<ITovaObject*>{asAntecedent.get()});
  EXPECT_EQ(references(_disk->getInstanceName(), "Test_BasedOn", "Dependent"),
            std::vector<ITovaObject*>{asDependent.get()});
  EXPECT_EQ(references(_disk->getInstanceName(), "", "Dependent"),
            std::vector<ITovaObject*>{asDependent.get()});
}

TEST_F(InstanceManagerReferencesTest, ARoleMatchesThePropertyNameInAnyLetterCase) {
  const auto asAntecedent = diskLink("Test_BasedOn", 1);

  EXPECT_EQ(references(_disk->getInstanceName(), "Test_BasedOn", "ANTECEDENT"),
            std::vector<ITovaObject*>{asAntecedent.get()});
  EXPECT_EQ(references(_disk->getInstanceName(), "Test_BasedOn", "antecedent"),
            std::vector<ITovaObject*>{asAntecedent.get()});
}

TEST_F(InstanceManagerReferencesTest, ARoleNoObjectHasFindsNothing) {
  diskLink("Test_BasedOn", 1);

  EXPECT_TRUE(references(_disk->getInstanceName(), "Test_BasedOn", "Antecedents").empty());
}

TEST_F(InstanceManagerReferencesTest, PropertiesThatAreNotReferencesAreNotCompared) {
  const TOVSmrPtr<TestInstance> text(new TestInstance(manager(), "Test_BasedOn"));
  text->setProperty("Antecedent", make(_disk->getInstanceName()->toString()));
  text->setProperty("Embedded",
                    TOVSmrPtr<ITovaValue>(new CTovaValue(TOVSmrPtr<ITovaObject>(_disk))));
  manager().registerInstance(text);

  EXPECT_TRUE(references(_disk->getInstanceName(), "Test_BasedOn").empty());
  EXPECT_TRUE(references(_disk->getInstanceName(), "Test_BasedOn", "Antecedent").empty());
  EXPECT_TRUE(references(_disk->getInstanceName(), "Test_BasedOn", "Embedded").empty());
}

TEST_F(InstanceManagerReferencesTest, MissingPropertiesTypesValuesAndNamesReferToNothing) {
  const TOVSmrPtr<ITovaProperty> noType(
      new CTovaProperty("NoType", TOVSmrPtr<ITovaValue>(), false));
  const TOVSmrPtr<ITovaProperty> noValue(new CTovaProperty(
      "NoValue", CTovaType::reference("Test_Disk"), TOVSmrPtr<ITovaValue>(), false));
  const TOVSmrPtr<ITovaProperty> noName = refProperty("NoName", TOVSmrPtr<ITovaInstanceName>());
  const TOVSmrPtr<ITovaProperty> atomicReference(
      new CTovaProperty("Odd", TOVSmrPtr<ITovaType>(new AtomicReferenceType()),
                        refTo(_disk->getInstanceName()), false));
  const TOVSmrPtr<Instance> empty(
      new SparseInstance(manager(), "Test_BasedOn",
                         {TOVSmrPtr<ITovaProperty>(), noType, noValue, noName, atomicReference}));
  const TOVSmrPtr<Instance> found(
      new SparseInstance(manager(), "Test_BasedOn",
                         {TOVSmrPtr<ITovaProperty>(), noType, noValue, noName,
                          refProperty("Antecedent", _disk->getInstanceName())}));
  manager().registerInstance(empty);
  manager().registerInstance(found);

  EXPECT_EQ(references(_disk->getInstanceName(), "Test_BasedOn"),
            std::vector<ITovaObject*>{found.get()});
  for (const char* role : {"NoType", "NoValue", "NoName", "Odd"}) {
    SCOPED_TRACE(role);
    EXPECT_TRUE(references(_disk->getInstanceName(), "Test_BasedOn", role).empty());
  }
}

TEST_F(InstanceManagerReferencesTest, ANullSourceIsAnErrorOnlyWhenSomethingIsCompared) {
  EXPECT_TRUE(references(TOVSmrPtr<ITovaInstanceName>(), "Test_BasedOn").empty());
  diskLink("Test_BasedOn", 1);

  EXPECT_THROW(references(TOVSmrPtr<ITovaInstanceName>(), "Test_BasedOn"), TOVNullPointerException);
}

// --- the list form ------------------------------------------------------------

TEST_F(InstanceManagerReferencesTest, TheListFormGivesTheSameObjectsInTheSameOrder) {
  diskLink("Test_Hosted", 1);
  diskLink("Test_BasedOn", 2);
  diskLink("Test_Mirror", 3);
  diskLink("Test_Dependency", 4);

  const kest::pf::InstanceManager::ObjectList list =
      manager().references(_disk->getInstanceName(), "Test_Dependency", "Antecedent");

  ASSERT_FALSE(list.isNull());
  EXPECT_EQ(pointersOf(*list),
            references(_disk->getInstanceName(), "Test_Dependency", "Antecedent"));
  EXPECT_EQ(list->entries(), 4u);
}

TEST_F(InstanceManagerReferencesTest, TheListFormOfNothingIsAnEmptyList) {
  const kest::pf::InstanceManager::ObjectList list =
      manager().references(_disk->getInstanceName(), "No_Such_Class", "");

  ASSERT_FALSE(list.isNull());
  EXPECT_TRUE(list->isEmpty());
}
