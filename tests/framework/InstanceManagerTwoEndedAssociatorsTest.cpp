// The two-ended associator traversal of the instance manager and the list
// forms of associators.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "framework/Class.h"
#include "framework/Instance.h"
#include "framework/InstanceManager.h"
#include "framework/Reference.h"
#include "host/InstanceName.h"
#include "host/List.h"
#include "host/Log.h"
#include "host/Object.h"
#include "host/Property.h"
#include "host/Repository.h"
#include "host/SmartPointer.h"
#include "host/String.h"
#include "host/Value.h"
#include "streaming/VectorCollector.h"
#include "support/ObjectModelBuilders.h"
#include "support/TestInstances.h"
#include "tests/support/AssociationFixture.h"

using kest::VectorCollector;
using kest::pf::Class;
using kest::pf::InstanceManager;
using kest::pf::Reference;
using kest::testing::AssociationFixture;
using kest::testing::describeAll;
using kest::testing::idName;
using kest::testing::make;
using kest::testing::makeName;
using kest::testing::refProperty;
using kest::testing::TestInstance;

namespace {

using Texts = std::vector<std::string>;

// Test_Dependency (association) with child Test_BasedOn (association);
// cached disk 1 and volumes 2 and 3.
class InstanceManagerTwoEndedAssociatorsTest : public AssociationFixture {
 protected:
  void SetUp() override {
    declare("Test_Disk");
    declare("Test_Volume");
    link(declare("Test_Dependency", true), declare("Test_BasedOn", true));
    _disk = cached("Test_Disk", 1);
    _volume2 = cached("Test_Volume", 2);
    _volume3 = cached("Test_Volume", 3);
  }

  TOVSmrPtr<ITovaInstanceName> disk() const { return _disk->getInstanceName(); }

  TOVSmrPtr<TestInstance> basedOn(const TOVSmrPtr<ITovaInstanceName>& source,
                                  const TOVSmrPtr<ITovaInstanceName>& target,
                                  const char* className = "Test_BasedOn") {
    return cachedAssociation(className, {{"Antecedent", source}, {"Dependent", target}});
  }

  Texts twoEnded(const TOVSmrPtr<ITovaInstanceName>& source, const TOVString& assocClassName,
                 const TOVString& resultClassName = "") {
    VectorCollector<TOVSmrPtr<ITovaValue>> results;
    manager().associators(results, source, assocClassName, resultClassName);
    return describeAll(results);
  }

  TOVSmrPtr<TestInstance> _disk, _volume2, _volume3;
};

const std::string kVolume2 = "name:test_volume.id=2";
const std::string kVolume3 = "name:test_volume.id=3";
const std::string kDisk1 = "name:test_disk.id=1";

}  // namespace

TEST_F(InstanceManagerTwoEndedAssociatorsTest, TheOtherEndIsGivenByNameEvenWhenItIsCached) {
  basedOn(disk(), _volume2->getInstanceName());
  TOVScopedLogCapture capture;
  VectorCollector<TOVSmrPtr<ITovaValue>> results;

  manager().associators(results, disk(), "Test_BasedOn", "");

  ASSERT_EQ(results.rep.size(), 1u);
  EXPECT_TRUE(results.rep[0]->getType()->isReference());
  EXPECT_TRUE(results.rep[0]->getObject().isNull());
  EXPECT_EQ(describeAll(results), Texts{kVolume2});
  EXPECT_TRUE(capture.records().empty());
}

TEST_F(InstanceManagerTwoEndedAssociatorsTest, EitherEndMayBeTheSourceAndDuplicatesAreKept) {
  basedOn(disk(), _volume2->getInstanceName());
  basedOn(disk(), _volume2->getInstanceName());
  basedOn(idName("Test_Disk", 5), _volume3->getInstanceName());

  EXPECT_EQ(twoEnded(disk(), "Test_BasedOn"), (Texts{kVolume2, kVolume2}));
  EXPECT_EQ(twoEnded(idName("TEST_VOLUME", 2), "Test_BasedOn"), (Texts{kDisk1, kDisk1}));
  EXPECT_EQ(twoEnded(idName("Test_Volume", 3), "Test_BasedOn"), Texts{"name:test_disk.id=5"});
  EXPECT_TRUE(twoEnded(idName("Test_Volume", 4), "Test_BasedOn").empty());
}

TEST_F(InstanceManagerTwoEndedAssociatorsTest, WhenBothEndsNameTheSourceTheSecondIsGiven) {
  basedOn(idName("Test_Disk", 1), makeName("TEST_DISK", "ID", make(1)));

  EXPECT_EQ(twoEnded(disk(), "Test_BasedOn"), Texts{kDisk1});
  // Only the second end's class name is spelt TEST_DISK.
  EXPECT_EQ(twoEnded(disk(), "Test_BasedOn", "TEST_DISK"), Texts{kDisk1});
  EXPECT_TRUE(twoEnded(disk(), "Test_BasedOn", "Test_Disk").empty());
}

TEST_F(InstanceManagerTwoEndedAssociatorsTest, TheResultClassIsComparedInItsExactLetterCase) {
  basedOn(disk(), _volume2->getInstanceName());

  EXPECT_EQ(twoEnded(disk(), "Test_BasedOn", "Test_Volume"), Texts{kVolume2});
  EXPECT_TRUE(twoEnded(disk(), "Test_BasedOn", "test_volume").empty());
  EXPECT_TRUE(twoEnded(disk(), "Test_BasedOn", "Test_Disk").empty());
}

TEST_F(InstanceManagerTwoEndedAssociatorsTest, TheAssociationClassAndItsSubclassesAreEnumerated) {
  basedOn(disk(), _volume2->getInstanceName());
  basedOn(disk(), _volume3->getInstanceName(), "Test_Dependency");

  EXPECT_EQ(twoEnded(disk(), "test_dependency"), (Texts{kVolume3, kVolume2}));
  EXPECT_EQ(twoEnded(disk(), "TEST_BASEDON"), Texts{kVolume2});
}

TEST_F(InstanceManagerTwoEndedAssociatorsTest, WithoutADeclaredAssociationClassNothingIsGiven) {
  basedOn(disk(), _volume2->getInstanceName());

  EXPECT_TRUE(twoEnded(disk(), "").empty());
  EXPECT_TRUE(twoEnded(disk(), TOVString()).empty());
  EXPECT_TRUE(twoEnded(disk(), "No_Such_Class").empty());
}

TEST_F(InstanceManagerTwoEndedAssociatorsTest, OnlyTheFirstTwoPropertiesAreReadAsTheEnds) {
  const TOVSmrPtr<TestInstance> keyFirst(new TestInstance(manager(), "Test_BasedOn"));
  keyFirst->setProperty("InstanceID", make("k1"));
  keyFirst->setProperty(refProperty("Antecedent", disk()));
  keyFirst->setProperty(refProperty("Dependent", _volume2->getInstanceName()));
  manager().registerInstance(keyFirst);
  const TOVSmrPtr<TestInstance> keyBetween(new TestInstance(manager(), "Test_BasedOn"));
  keyBetween->setProperty(refProperty("Antecedent", disk()));
  keyBetween->setProperty("InstanceID", make("k2"));
  keyBetween->setProperty(refProperty("Dependent", _volume2->getInstanceName()));
  manager().registerInstance(keyBetween);
  cachedAssociation("Test_BasedOn", {{"Antecedent", disk()},
                                     {"Dependent", _volume3->getInstanceName()},
                                     {"Extra", _volume2->getInstanceName()}});
  const TOVSmrPtr<TestInstance> oneEnded(new TestInstance(manager(), "Test_BasedOn"));
  oneEnded->setProperty(refProperty("Antecedent", disk()));
  manager().registerInstance(oneEnded);

  EXPECT_EQ(twoEnded(disk(), "Test_BasedOn"), Texts{kVolume3});
}

TEST_F(InstanceManagerTwoEndedAssociatorsTest, AnEmbeddedObjectEndIsNamedByItsObject) {
  const TOVSmrPtr<TestInstance> embedded(new TestInstance(manager(), "Test_BasedOn"));
  embedded->setProperty("Antecedent", TOVSmrPtr<ITovaValue>(new CTovaValue(TOVSmrPtr<ITovaObject>(
                                          new CTovaClientObject(*_disk, true)))));
  embedded->setProperty("Dependent",
                        TOVSmrPtr<ITovaValue>(new CTovaValue(TOVSmrPtr<ITovaObject>(_volume2))));
  manager().registerInstance(embedded);
  const TOVSmrPtr<TestInstance> held(new TestInstance(manager(), "Test_BasedOn"));
  held->setProperty("Antecedent",
                    TOVSmrPtr<ITovaValue>(new Reference(TOVSmrPtr<ITovaObject>(_volume3))));
  held->setProperty("Dependent", TOVSmrPtr<ITovaValue>(new Reference(disk())));
  manager().registerInstance(held);

  EXPECT_EQ(twoEnded(disk(), "Test_BasedOn"), (Texts{kVolume2, kVolume3}));
  EXPECT_EQ(twoEnded(_volume2->getInstanceName(), "Test_BasedOn"), Texts{kDisk1});
}

TEST_F(InstanceManagerTwoEndedAssociatorsTest, TheListFormGivesTheSameNamesInTheSameOrder) {
  basedOn(disk(), _volume2->getInstanceName());
  basedOn(disk(), _volume3->getInstanceName(), "Test_Dependency");
  basedOn(disk(), _volume2->getInstanceName());

  const InstanceManager::ValueList list =
      manager().associators(disk(), "Test_Dependency", TOVString());

  ASSERT_FALSE(list.isNull());
  EXPECT_EQ(describeAll(*list), (Texts{kVolume3, kVolume2, kVolume2}));
  EXPECT_EQ(describeAll(*manager().associators(disk(), "Test_Dependency", "Test_Volume")),
            (Texts{kVolume3, kVolume2, kVolume2}));
}

TEST_F(InstanceManagerTwoEndedAssociatorsTest, TheListFormOfNothingIsAnEmptyList) {
  const InstanceManager::ValueList list = manager().associators(disk(), "", "");

  ASSERT_FALSE(list.isNull());
  EXPECT_TRUE(list->isEmpty());
}

TEST_F(InstanceManagerTwoEndedAssociatorsTest, TheListFormWithTheRepositoryIsAlwaysEmpty) {
  basedOn(disk(), _volume2->getInstanceName());

  const InstanceManager::ValueList list =
      manager().associators("root/test", disk(), "Test_BasedOn", "Antecedent", "Dependent",
                            "Test_Volume", TOVSmrPtr<ITovaRepository>(_repository));
  const InstanceManager::ValueList other =
      manager().associators("", disk(), "", "", "", "", TOVSmrPtr<ITovaRepository>());

  ASSERT_FALSE(list.isNull());
  EXPECT_TRUE(list->isEmpty());
  ASSERT_FALSE(other.isNull());
  EXPECT_TRUE(other->isEmpty());
  EXPECT_FALSE(list == other);
  EXPECT_TRUE(_repository->asked.empty());
}
