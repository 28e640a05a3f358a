// The association registry of the instance manager: associate,
// disAssociate and getAssociation.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "framework/Class.h"
#include "framework/Instance.h"
#include "framework/InstanceManager.h"
#include "framework/Reference.h"
#include "framework/ReferenceType.h"
#include "host/Exception.h"
#include "host/InstanceName.h"
#include "host/Log.h"
#include "host/Object.h"
#include "host/SmartPointer.h"
#include "host/String.h"
#include "host/Value.h"
#include "support/ObjectModelBuilders.h"
#include "support/TestInstances.h"
#include "tests/support/AssociationFixture.h"

using kest::pf::Instance;
using kest::pf::Reference;
using kest::pf::ReferenceType;
using kest::testing::AssociationFixture;
using kest::testing::idName;
using kest::testing::make;
using kest::testing::refTo;
using kest::testing::TestInstance;

namespace {

// One call of associate or disAssociate on an end.
struct Told {
  const Instance* end;
  std::string what;
  TOVString assocClassName;
  const Instance* association;

  bool operator==(const Told&) const = default;
};

// Every call of associate or disAssociate, in call order, across the ends.
std::vector<Told> gTold;

// An end object that records what it is told.
class TrackingInstance : public TestInstance {
 public:
  using TestInstance::TestInstance;

  void associate(const TOVString& assocClassName,
                 TOVSmrPtr<Instance> associationInstance) override {
    gTold.push_back(Told{this, "associate", assocClassName, associationInstance.get()});
  }
  void disAssociate(const TOVString& assocClassName,
                    TOVSmrPtr<Instance> associationInstance) override {
    gTold.push_back(Told{this, "disAssociate", assocClassName, associationInstance.get()});
  }
};

// What the create function below makes, and how often it was called.
TOVSmrPtr<Instance> gCreated;
int gCreateCalls = 0;

TOVSmrPtr<Instance> createVolume() {
  ++gCreateCalls;
  return gCreated;
}

class InstanceManagerAssociationsTest : public AssociationFixture {
 protected:
  void SetUp() override {
    gTold.clear();
    gCreated.reset();
    gCreateCalls = 0;
    manager().registerClass(_tree.make("Test_Disk"));
    manager().registerClass(_tree.make("Test_Volume", false, createVolume));
    _basedOn = declare("Test_BasedOn", true);
    _disk = tracked("Test_Disk", 1);
    _volume = tracked("Test_Volume", 2);
    _link = cachedAssociation("Test_BasedOn", {{"Antecedent", _disk->getInstanceName()},
                                               {"Dependent", _volume->getInstanceName()}});
  }
  void TearDown() override { gCreated.reset(); }

  // A cached end named className.Id=<id>.
  TOVSmrPtr<TrackingInstance> tracked(const char* className, int id) {
    const TOVSmrPtr<TrackingInstance> instance(
        new TrackingInstance(manager(), className, idName(className, id)));
    manager().registerInstance(instance);
    return instance;
  }

  static TOVSmrPtr<ITovaValue> objectValue(const TOVSmrPtr<Instance>& instance) {
    return TOVSmrPtr<ITovaValue>(new Reference(TOVSmrPtr<ITovaObject>(instance)));
  }

  Told told(const TOVSmrPtr<TrackingInstance>& end, const char* what) const {
    return Told{end.get(), what, "Test_BasedOn", _link.get()};
  }

  TOVSmrPtr<kest::pf::Class> _basedOn;
  TOVSmrPtr<TrackingInstance> _disk, _volume;
  TOVSmrPtr<TestInstance> _link;
};

}  // namespace

// --- associate ----------------------------------------------------------------

TEST_F(InstanceManagerAssociationsTest, AssociateTellsTheFirstEndThenTheSecond) {
  TOVSmrPtr<ITovaValue> first = objectValue(_disk);
  TOVSmrPtr<ITovaValue> second = objectValue(_volume);

  manager().associate(first, second, _link, "Test_BasedOn", false, false);

  EXPECT_EQ(gTold, (std::vector<Told>{told(_disk, "associate"), told(_volume, "associate")}));
}

TEST_F(InstanceManagerAssociationsTest, AssociateChecksNeitherTheAssociationNorItsClass) {
  TOVSmrPtr<ITovaValue> first = objectValue(_volume);
  TOVSmrPtr<ITovaValue> second = objectValue(_volume);

  manager().associate(first, second, _disk, "No_Such_Class", false, false);

  const Told expected{_volume.get(), "associate", "No_Such_Class", _disk.get()};
  EXPECT_EQ(gTold, (std::vector<Told>{expected, expected}));
}

TEST_F(InstanceManagerAssociationsTest, AssociateWithoutResolvingTellsNoNameValuedEnd) {
  TOVSmrPtr<ITovaValue> first = refTo(_disk->getInstanceName());
  TOVSmrPtr<ITovaValue> second = refTo(_volume->getInstanceName());
  const TOVSmrPtr<ITovaValue> firstBefore = first;
  const TOVSmrPtr<ITovaValue> secondBefore = second;

  manager().associate(first, second, _link, "Test_BasedOn", false, false);

  EXPECT_TRUE(first == firstBefore);
  EXPECT_TRUE(second == secondBefore);
  EXPECT_TRUE(gTold.empty());
}

TEST_F(InstanceManagerAssociationsTest, AssociateResolvesTheFirstEndToTheCachedObject) {
  TOVSmrPtr<ITovaValue> first = refTo(idName("test_disk", 1));
  TOVSmrPtr<ITovaValue> second = refTo(_volume->getInstanceName());
  const TOVSmrPtr<ITovaValue> secondBefore = second;

  manager().associate(first, second, _link, "Test_BasedOn", true, false);

  ASSERT_FALSE(first.dynamicCast<Reference>().isNull());
  EXPECT_TRUE(first->getType().dynamicCast<ReferenceType>()->isObjectRef());
  EXPECT_EQ(first->getObject().get(), static_cast<ITovaObject*>(_disk.get()));
  EXPECT_TRUE(second == secondBefore);
  EXPECT_EQ(gTold, std::vector<Told>{told(_disk, "associate")});
  EXPECT_EQ(gCreateCalls, 0);
}

TEST_F(InstanceManagerAssociationsTest, AssociateResolvesTheSecondEndOnItsOwnFlag) {
  TOVSmrPtr<ITovaValue> first = refTo(_disk->getInstanceName());
  TOVSmrPtr<ITovaValue> second = refTo(_volume->getInstanceName());
  const TOVSmrPtr<ITovaValue> firstBefore = first;

  manager().associate(first, second, _link, "Test_BasedOn", false, true);

  EXPECT_TRUE(first == firstBefore);
  EXPECT_EQ(second->getObject().get(), static_cast<ITovaObject*>(_volume.get()));
  EXPECT_EQ(gTold, std::vector<Told>{told(_volume, "associate")});
}

TEST_F(InstanceManagerAssociationsTest, AssociateResolvesAnEndCachedUnderAChildClass) {
  const TOVSmrPtr<kest::pf::Class> element = declare("Test_Element");
  link(element, manager().lookupClass("Test_Disk"));
  TOVSmrPtr<ITovaValue> first = refTo(idName("Test_Element", 1));
  TOVSmrPtr<ITovaValue> second = objectValue(_volume);

  manager().associate(first, second, _link, "Test_BasedOn", true, false);

  EXPECT_EQ(first->getObject().get(), static_cast<ITovaObject*>(_disk.get()));
  EXPECT_EQ(gTold, (std::vector<Told>{told(_disk, "associate"), told(_volume, "associate")}));
}

TEST_F(InstanceManagerAssociationsTest, AssociateCreatesAnUncachedEndWithTheCreateFunction) {
  const TOVSmrPtr<TrackingInstance> made(
      new TrackingInstance(manager(), "Test_Volume", idName("Test_Volume", 9)));
  gCreated = made;
  TOVSmrPtr<ITovaValue> first = objectValue(_disk);
  TOVSmrPtr<ITovaValue> second = refTo(idName("Test_Volume", 9));

  manager().associate(first, second, _link, "Test_BasedOn", false, true);

  EXPECT_EQ(gCreateCalls, 1);
  EXPECT_EQ(second->getObject().get(), static_cast<ITovaObject*>(made.get()));
  EXPECT_EQ(gTold, (std::vector<Told>{told(_disk, "associate"), told(made, "associate")}));
  // The new object is not cached.
  EXPECT_TRUE(manager().getInstance(idName("Test_Volume", 9)).isNull());
}

TEST_F(InstanceManagerAssociationsTest, AssociateLeavesAnEndNoFactoryCanCreateUnchangedAndUntold) {
  TOVSmrPtr<ITovaValue> first = refTo(idName("Test_Disk", 9));
  TOVSmrPtr<ITovaValue> second = refTo(idName("Test_Volume", 9));
  const TOVSmrPtr<ITovaValue> firstBefore = first;
  const TOVSmrPtr<ITovaValue> secondBefore = second;

  manager().associate(first, second, _link, "Test_BasedOn", true, true);

  // Test_Disk has no create function; Test_Volume's makes nothing.
  EXPECT_TRUE(first == firstBefore);
  EXPECT_TRUE(second == secondBefore);
  EXPECT_EQ(gCreateCalls, 1);
  EXPECT_TRUE(gTold.empty());
}

TEST_F(InstanceManagerAssociationsTest, AssociateLeavesAnEndOfAnUndeclaredClassUnchanged) {
  TOVSmrPtr<ITovaValue> first = refTo(idName("No_Such_Class", 1));
  TOVSmrPtr<ITovaValue> second = objectValue(_volume);
  const TOVSmrPtr<ITovaValue> firstBefore = first;

  manager().associate(first, second, _link, "Test_BasedOn", true, false);

  EXPECT_TRUE(first == firstBefore);
  EXPECT_EQ(gTold, std::vector<Told>{told(_volume, "associate")});
}

TEST_F(InstanceManagerAssociationsTest, AssociateTellsNoObjectThatIsNotAFrameworkInstance) {
  const TOVSmrPtr<ITovaObject> foreign(new CTovaObject("Test_Disk"));
  TOVSmrPtr<ITovaValue> first(new CTovaValue(foreign));
  TOVSmrPtr<ITovaValue> second = objectValue(_volume);

  manager().associate(first, second, _link, "Test_BasedOn", false, false);

  EXPECT_EQ(gTold, std::vector<Told>{told(_volume, "associate")});
}

TEST_F(InstanceManagerAssociationsTest, AssociateWithANullValueRaisesTheNullPointerError) {
  TOVSmrPtr<ITovaValue> first;
  TOVSmrPtr<ITovaValue> second = objectValue(_volume);

  EXPECT_THROW(manager().associate(first, second, _link, "Test_BasedOn", false, false),
               TOVNullPointerException);
  EXPECT_TRUE(gTold.empty());
}

// --- disAssociate -------------------------------------------------------------

TEST_F(InstanceManagerAssociationsTest, DisAssociateTellsTheHeldObjectAndKeepsTheAssociation) {
  const kest::pf::InstanceManager& constManager = manager();

  constManager.disAssociate(objectValue(_volume), _link, "Test_BasedOn");

  EXPECT_EQ(gTold, std::vector<Told>{told(_volume, "disAssociate")});
  EXPECT_EQ(manager().enumerateInstances("Test_BasedOn")->entries(), 1u);
}

TEST_F(InstanceManagerAssociationsTest, DisAssociateOfANameValueTellsNobody) {
  manager().disAssociate(refTo(_volume->getInstanceName()), _link, "Test_BasedOn");

  EXPECT_TRUE(gTold.empty());
}

TEST_F(InstanceManagerAssociationsTest, DisAssociateOfANullValueRaisesTheNullPointerError) {
  EXPECT_THROW(manager().disAssociate(TOVSmrPtr<ITovaValue>(), _link, "Test_BasedOn"),
               TOVNullPointerException);
}

// --- getAssociation -------------------------------------------------------------

TEST_F(InstanceManagerAssociationsTest, GetAssociationFindsTheAssociationBetweenTwoNamedObjects) {
  TOVScopedLogCapture capture;

  const TOVSmrPtr<Instance> found = manager().getAssociation(
      "Test_BasedOn", "Antecedent", "Dependent", idName("Test_Disk", 1), idName("Test_Volume", 2));

  EXPECT_EQ(found.get(), static_cast<Instance*>(_link.get()));
  EXPECT_TRUE(capture.records().empty());
}

TEST_F(InstanceManagerAssociationsTest, GetAssociationFindsTheClassInAnyCase) {
  EXPECT_EQ(manager()
                .getAssociation("test_basedon", "Antecedent", "Dependent", idName("Test_Disk", 1),
                                idName("Test_Volume", 2))
                .get(),
            static_cast<Instance*>(_link.get()));
}

TEST_F(InstanceManagerAssociationsTest, ExchangedArgumentsFindTheSameAssociationRoleNamesIgnored) {
  EXPECT_EQ(manager()
                .getAssociation("Test_BasedOn", "Dependent", "Antecedent", idName("Test_Volume", 2),
                                idName("Test_Disk", 1))
                .get(),
            static_cast<Instance*>(_link.get()));
  EXPECT_EQ(manager()
                .getAssociation("Test_BasedOn", "Left", "Right", idName("Test_Volume", 2),
                                idName("Test_Disk", 1))
                .get(),
            static_cast<Instance*>(_link.get()));
}

TEST_F(InstanceManagerAssociationsTest, GetAssociationOfObjectsThatAreNotLinkedIsNull) {
  EXPECT_TRUE(manager()
                  .getAssociation("Test_BasedOn", "Antecedent", "Dependent", idName("Test_Disk", 1),
                                  idName("Test_Volume", 3))
                  .isNull());
  EXPECT_TRUE(manager()
                  .getAssociation("Test_BasedOn", "Antecedent", "Dependent",
                                  idName("Test_Volume", 3), idName("Test_Volume", 2))
                  .isNull());
}

TEST_F(InstanceManagerAssociationsTest, GetAssociationReturnsTheFirstMatchInRegistrationOrder) {
  const TOVSmrPtr<TestInstance> again = cachedAssociation(
      "Test_BasedOn",
      {{"Antecedent", idName("Test_Disk", 1)}, {"Dependent", idName("Test_Volume", 2)}});

  EXPECT_EQ(manager()
                .getAssociation("Test_BasedOn", "Antecedent", "Dependent", idName("Test_Disk", 1),
                                idName("Test_Volume", 2))
                .get(),
            static_cast<Instance*>(_link.get()));
  manager().deregisterInstance(_link);
  EXPECT_EQ(manager()
                .getAssociation("Test_BasedOn", "Antecedent", "Dependent", idName("Test_Disk", 1),
                                idName("Test_Volume", 2))
                .get(),
            static_cast<Instance*>(again.get()));
}

TEST_F(InstanceManagerAssociationsTest, GetAssociationLooksInTheFirstChildClassOnly) {
  const TOVSmrPtr<kest::pf::Class> mirror = declare("Test_Mirror", true);
  const TOVSmrPtr<kest::pf::Class> copy = declare("Test_Copy", true);
  link(_basedOn, mirror);
  link(_basedOn, copy);
  const TOVSmrPtr<TestInstance> mirrored = cachedAssociation(
      "Test_Mirror", {{"Source", idName("Test_Disk", 5)}, {"Target", idName("Test_Disk", 6)}});
  cachedAssociation("Test_Copy",
                    {{"Source", idName("Test_Disk", 7)}, {"Target", idName("Test_Disk", 8)}});

  EXPECT_EQ(manager()
                .getAssociation("Test_BasedOn", "Antecedent", "Dependent", idName("Test_Disk", 5),
                                idName("Test_Disk", 6))
                .get(),
            static_cast<Instance*>(mirrored.get()));
  EXPECT_TRUE(manager()
                  .getAssociation("Test_BasedOn", "Antecedent", "Dependent", idName("Test_Disk", 7),
                                  idName("Test_Disk", 8))
                  .isNull());
}

TEST_F(InstanceManagerAssociationsTest, GetAssociationOfAnUndeclaredClassIsNull) {
  EXPECT_TRUE(manager()
                  .getAssociation("No_Such_Class", "Antecedent", "Dependent",
                                  idName("Test_Disk", 1), idName("Test_Volume", 2))
                  .isNull());
}

TEST_F(InstanceManagerAssociationsTest, GetAssociationWithANullEndIsNullAndCreatesNothing) {
  EXPECT_TRUE(manager()
                  .getAssociation("Test_BasedOn", "Antecedent", "Dependent",
                                  TOVSmrPtr<ITovaInstanceName>(), idName("Test_Volume", 2))
                  .isNull());
  EXPECT_TRUE(manager()
                  .getAssociation("Test_Volume", "Antecedent", "Dependent", idName("Test_Disk", 1),
                                  idName("Test_Volume", 2))
                  .isNull());
  EXPECT_EQ(gCreateCalls, 0);
}
