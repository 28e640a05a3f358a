#include "framework/InstanceDirectory.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "framework/Instance.h"
#include "framework/InstanceManager.h"
#include "host/CimType.h"
#include "host/InstanceName.h"
#include "host/List.h"
#include "host/Map.h"
#include "host/Property.h"
#include "host/SmartPointer.h"
#include "host/String.h"
#include "host/Value.h"
#include "support/ObjectModelBuilders.h"
#include "support/TestInstances.h"

using kest::pf::Instance;
using kest::pf::InstanceDirectory;
using kest::pf::InstanceManager;
using kest::testing::Key;
using kest::testing::make;
using kest::testing::makeName;
using kest::testing::refTo;
using kest::testing::TestInstance;

namespace {

TOVSmrPtr<ITovaInstanceName> widgetName(const char* id) {
  return makeName("Test_Widget", "Id", make(id));
}

class InstanceDirectoryTest : public ::testing::Test {
 protected:
  // An ordinary object named Test_Widget.Id="<id>".
  TOVSmrPtr<TestInstance> widget(const char* id) {
    return TOVSmrPtr<TestInstance>(new TestInstance(_manager, "Test_Widget", widgetName(id)));
  }

  // An association object joining the widgets named by the two ids through
  // its reference properties Antecedent and Dependent; its own name has the
  // same two keys.
  TOVSmrPtr<TestInstance> link(const char* antecedent, const char* dependent) {
    const TOVSmrPtr<ITovaInstanceName> name =
        makeName("Test_Link", {Key{"Antecedent", refTo(widgetName(antecedent))},
                               Key{"Dependent", refTo(widgetName(dependent))}});
    TOVSmrPtr<TestInstance> object(new TestInstance(_manager, "Test_Link", name));
    object->setProperty("Antecedent", refTo(widgetName(antecedent)));
    object->setProperty("Dependent", refTo(widgetName(dependent)));
    return object;
  }

  // A name whose two keys refer to the widgets with these ids.
  static TOVSmrPtr<ITovaInstanceName> linkName(const char* antecedent, const char* dependent) {
    return makeName("Test_Link", {Key{"Antecedent", refTo(widgetName(antecedent))},
                                  Key{"Dependent", refTo(widgetName(dependent))}});
  }

  static std::vector<Instance*> contentsOf(const InstanceDirectory::InstanceList& list) {
    std::vector<Instance*> result;
    for (const TOVSmrPtr<Instance>& object : *list) result.push_back(object.get());
    return result;
  }

  InstanceManager _manager;
};

TEST_F(InstanceDirectoryTest, NewDirectoryKeepsItsModeAndStartsEmpty) {
  const InstanceDirectory ordinary(false);
  const InstanceDirectory association(true);

  EXPECT_FALSE(ordinary.isAssociation());
  EXPECT_TRUE(association.isAssociation());
  EXPECT_FALSE(ordinary.containsAllInstances());
  EXPECT_FALSE(association.containsAllInstances());
  EXPECT_EQ(ordinary.getAssociationList(), nullptr);
  EXPECT_EQ(association.getAssociationList(), nullptr);
}

TEST_F(InstanceDirectoryTest, ContainsAllInstancesRoundTrips) {
  InstanceDirectory directory(false);

  directory.setContainsAllInstances(true);
  EXPECT_TRUE(directory.containsAllInstances());
  directory.setContainsAllInstances(false);
  EXPECT_FALSE(directory.containsAllInstances());
}

TEST_F(InstanceDirectoryTest, AllInstancesOfAnUnusedDirectoryIsAnEmptyList) {
  const InstanceDirectory ordinary(false);
  const InstanceDirectory association(true);

  const InstanceDirectory::InstanceList fromOrdinary = ordinary.getAllInstances();
  const InstanceDirectory::InstanceList fromAssociation = association.getAllInstances();

  ASSERT_FALSE(fromOrdinary.isNull());
  ASSERT_FALSE(fromAssociation.isNull());
  EXPECT_TRUE(fromOrdinary->isEmpty());
  EXPECT_TRUE(fromAssociation->isEmpty());
}

TEST_F(InstanceDirectoryTest, OrdinaryObjectIsFoundByItsNameText) {
  InstanceDirectory directory(false);
  const TOVSmrPtr<TestInstance> a = widget("a");
  const TOVSmrPtr<TestInstance> b = widget("b");
  directory.insert(a);
  directory.insert(b);

  EXPECT_EQ(directory.lookup(widgetName("a")->toString()), a);
  EXPECT_EQ(directory.lookup(TOVString("test_widget.id=\"b\"")), b);
  EXPECT_TRUE(directory.lookup(widgetName("c")->toString()).isNull());
  EXPECT_TRUE(directory.lookup(TOVString("Test_Widget.Id=\"a\"")).isNull());
}

TEST_F(InstanceDirectoryTest, OrdinaryLookupByNameUsesTheNameTextAndIgnoresThePointer) {
  InstanceDirectory directory(false);
  const TOVSmrPtr<TestInstance> a = widget("a");
  const TOVSmrPtr<TestInstance> other = widget("a");
  directory.insert(a);

  EXPECT_EQ(directory.lookup(widgetName("a"), nullptr), a);
  EXPECT_EQ(directory.lookup(widgetName("a"), other.get()), a);
  EXPECT_TRUE(directory.lookup(widgetName("b"), a.get()).isNull());
}

TEST_F(InstanceDirectoryTest, OrdinaryInsertUnderTheSameNameTextKeepsOnlyTheSecondObject) {
  InstanceDirectory directory(false);
  const TOVSmrPtr<TestInstance> first = widget("a");
  const TOVSmrPtr<TestInstance> second = widget("a");
  first->setProperty("Speed", make(TOVuint32(1)));
  second->setProperty("Speed", make(TOVuint32(2)));

  directory.insert(first);
  directory.insert(second);

  EXPECT_EQ(contentsOf(directory.getAllInstances()), (std::vector<Instance*>{second.get()}));
  EXPECT_EQ(directory.lookup(widgetName("a"), nullptr), second);
}

TEST_F(InstanceDirectoryTest, OrdinaryRemoveDropsTheEntryUnderTheNameWhicheverObjectIsThere) {
  InstanceDirectory directory(false);
  const TOVSmrPtr<TestInstance> stored = widget("a");
  const TOVSmrPtr<TestInstance> sameName = widget("a");
  const TOVSmrPtr<TestInstance> b = widget("b");
  directory.insert(stored);
  directory.insert(b);

  EXPECT_TRUE(directory.remove(sameName));
  EXPECT_FALSE(directory.remove(stored));

  EXPECT_TRUE(directory.lookup(widgetName("a"), nullptr).isNull());
  EXPECT_EQ(contentsOf(directory.getAllInstances()), (std::vector<Instance*>{b.get()}));
}

TEST_F(InstanceDirectoryTest, OrdinaryRemoveOfAnUnknownNameReturnsFalse) {
  InstanceDirectory directory(false);
  EXPECT_FALSE(directory.remove(widget("a")));

  directory.insert(widget("b"));
  EXPECT_FALSE(directory.remove(widget("a")));
  EXPECT_EQ(directory.getAllInstances()->entries(), 1u);
}

TEST_F(InstanceDirectoryTest, OrdinaryAllInstancesFollowTheMapOrderInANewList) {
  InstanceDirectory directory(false);
  TOVValMap<TOVString, Instance*> reference(hashKeyTOVString, 150);
  std::vector<Instance*> inserted;
  for (int i = 0; i < 30; ++i) {
    const std::string id = "w" + std::to_string(i);
    const TOVSmrPtr<TestInstance> object = widget(id.c_str());
    directory.insert(object);
    reference.insert(object->getInstanceName()->toString(), object.get());
    inserted.push_back(object.get());
  }
  std::vector<Instance*> expected;
  for (const auto& entry : reference) expected.push_back(entry.value());
  ASSERT_NE(expected, inserted);

  const InstanceDirectory::InstanceList first = directory.getAllInstances();
  EXPECT_EQ(contentsOf(first), expected);
  first->clear();
  EXPECT_EQ(contentsOf(directory.getAllInstances()), expected);
}

TEST_F(InstanceDirectoryTest, AssociationInsertKeepsOrderAndDuplicates) {
  InstanceDirectory directory(true);
  const TOVSmrPtr<TestInstance> ab = link("a", "b");
  const TOVSmrPtr<TestInstance> sameAb = link("a", "b");
  const TOVSmrPtr<TestInstance> cd = link("c", "d");

  directory.insert(cd);
  directory.insert(ab);
  directory.insert(sameAb);
  directory.insert(cd);

  EXPECT_EQ(contentsOf(directory.getAllInstances()),
            (std::vector<Instance*>{cd.get(), ab.get(), sameAb.get(), cd.get()}));
}

TEST_F(InstanceDirectoryTest, AssociationAllInstancesIsACopy) {
  InstanceDirectory directory(true);
  const TOVSmrPtr<TestInstance> ab = link("a", "b");
  directory.insert(ab);

  const InstanceDirectory::InstanceList first = directory.getAllInstances();
  first->clear();

  EXPECT_EQ(contentsOf(directory.getAllInstances()), (std::vector<Instance*>{ab.get()}));
}

TEST_F(InstanceDirectoryTest, AssociationIsNotFoundByItsNameText) {
  InstanceDirectory directory(true);
  const TOVSmrPtr<TestInstance> ab = link("a", "b");
  directory.insert(ab);

  EXPECT_TRUE(directory.lookup(ab->getInstanceName()->toString()).isNull());
}

TEST_F(InstanceDirectoryTest, AssociationRemoveIsByIdentity) {
  InstanceDirectory directory(true);
  const TOVSmrPtr<TestInstance> ab = link("a", "b");
  const TOVSmrPtr<TestInstance> sameAb = link("a", "b");
  const TOVSmrPtr<TestInstance> cd = link("c", "d");
  directory.insert(ab);
  directory.insert(cd);

  EXPECT_FALSE(directory.remove(sameAb));
  EXPECT_EQ(contentsOf(directory.getAllInstances()), (std::vector<Instance*>{ab.get(), cd.get()}));

  EXPECT_TRUE(directory.remove(ab));
  EXPECT_FALSE(directory.remove(ab));
  EXPECT_EQ(contentsOf(directory.getAllInstances()), (std::vector<Instance*>{cd.get()}));
}

TEST_F(InstanceDirectoryTest, AssociationRemoveTakesOneOccurrenceAtATime) {
  InstanceDirectory directory(true);
  const TOVSmrPtr<TestInstance> ab = link("a", "b");
  const TOVSmrPtr<TestInstance> cd = link("c", "d");
  directory.insert(ab);
  directory.insert(cd);
  directory.insert(ab);

  EXPECT_TRUE(directory.remove(ab));
  EXPECT_EQ(contentsOf(directory.getAllInstances()), (std::vector<Instance*>{cd.get(), ab.get()}));
}

TEST_F(InstanceDirectoryTest, AssociationRemoveFromAnUnusedDirectoryReturnsFalse) {
  InstanceDirectory directory(true);
  EXPECT_FALSE(directory.remove(link("a", "b")));
  EXPECT_TRUE(directory.getAllInstances()->isEmpty());
}

TEST_F(InstanceDirectoryTest, AssociationLookupInAnUnusedDirectoryIsNull) {
  const InstanceDirectory directory(true);
  const TOVSmrPtr<TestInstance> ab = link("a", "b");

  EXPECT_TRUE(directory.lookup(linkName("a", "b"), nullptr).isNull());
  EXPECT_TRUE(directory.lookup(linkName("a", "b"), ab.get()).isNull());
}

TEST_F(InstanceDirectoryTest, AssociationLookupWithAPointerFindsThatVeryObject) {
  InstanceDirectory directory(true);
  const TOVSmrPtr<TestInstance> ab = link("a", "b");
  const TOVSmrPtr<TestInstance> sameAb = link("a", "b");
  directory.insert(ab);
  directory.insert(sameAb);

  EXPECT_EQ(directory.lookup(linkName("a", "b"), sameAb.get()), sameAb);
  EXPECT_EQ(directory.lookup(linkName("x", "y"), sameAb.get()), sameAb);
  EXPECT_EQ(directory.lookup(widgetName("a"), ab.get()), ab);
}

TEST_F(InstanceDirectoryTest, AssociationLookupWithAPointerNotHeldIsNullEvenWhenTheNameMatches) {
  InstanceDirectory directory(true);
  const TOVSmrPtr<TestInstance> ab = link("a", "b");
  const TOVSmrPtr<TestInstance> sameAb = link("a", "b");
  directory.insert(ab);

  EXPECT_TRUE(directory.lookup(linkName("a", "b"), sameAb.get()).isNull());
}

TEST_F(InstanceDirectoryTest, AssociationLookupByNameFindsItByTheObjectsItJoins) {
  InstanceDirectory directory(true);
  const TOVSmrPtr<TestInstance> ab = link("a", "b");
  const TOVSmrPtr<TestInstance> cd = link("c", "d");
  directory.insert(ab);
  directory.insert(cd);

  EXPECT_EQ(directory.lookup(linkName("c", "d"), nullptr), cd);
  EXPECT_EQ(directory.lookup(linkName("a", "b"), nullptr), ab);
}

TEST_F(InstanceDirectoryTest, AssociationLookupByNameIgnoresKeyNamesAndPropertyOrder) {
  InstanceDirectory directory(true);
  const TOVSmrPtr<TestInstance> ab = link("a", "b");
  directory.insert(ab);
  const TOVSmrPtr<ITovaInstanceName> reversed = makeName(
      "Test_Other", {Key{"Left", refTo(widgetName("b"))}, Key{"Right", refTo(widgetName("a"))}});

  EXPECT_EQ(directory.lookup(reversed, nullptr), ab);
}

TEST_F(InstanceDirectoryTest, AssociationLookupByNameNeedsBothEnds) {
  InstanceDirectory directory(true);
  directory.insert(link("a", "b"));
  directory.insert(link("c", "d"));

  EXPECT_TRUE(directory.lookup(linkName("a", "d"), nullptr).isNull());
  EXPECT_TRUE(directory.lookup(linkName("c", "b"), nullptr).isNull());
  EXPECT_TRUE(directory.lookup(linkName("a", "x"), nullptr).isNull());
}

TEST_F(InstanceDirectoryTest, AssociationLookupByNameReturnsTheFirstMatchInInsertionOrder) {
  InstanceDirectory directory(true);
  const TOVSmrPtr<TestInstance> cd = link("c", "d");
  const TOVSmrPtr<TestInstance> first = link("a", "b");
  const TOVSmrPtr<TestInstance> second = link("b", "a");
  directory.insert(cd);
  directory.insert(first);
  directory.insert(second);

  EXPECT_EQ(directory.lookup(linkName("a", "b"), nullptr), first);
  EXPECT_EQ(directory.lookup(linkName("b", "a"), nullptr), first);
}

TEST_F(InstanceDirectoryTest, AssociationLookupByNameSkipsPropertiesThatAreNotReferences) {
  InstanceDirectory directory(true);
  TOVSmrPtr<TestInstance> association(new TestInstance(_manager, "Test_Link", linkName("a", "b")));
  association->setProperty("Note", make(widgetName("a")->toString()));
  association->setProperty(TOVSmrPtr<ITovaProperty>(
      new CTovaProperty("Declared", CTovaType::string, refTo(widgetName("a")), false)));
  association->setProperty("Dependent", refTo(widgetName("b")));
  directory.insert(association);

  EXPECT_TRUE(directory.lookup(linkName("a", "b"), nullptr).isNull());

  association->setProperty("Antecedent", refTo(widgetName("a")));
  EXPECT_EQ(directory.lookup(linkName("a", "b"), nullptr), association);
}

TEST_F(InstanceDirectoryTest, AssociationWithNoReferenceInItsFirstKeyIsFoundOnlyByPointer) {
  InstanceDirectory directory(true);
  const TOVSmrPtr<ITovaInstanceName> name =
      makeName("Test_Link", {Key{"Id", make("x")}, Key{"Dependent", refTo(widgetName("b"))}});
  TOVSmrPtr<TestInstance> association(new TestInstance(_manager, "Test_Link", name));
  association->setProperty("Id", make("x"));
  association->setProperty("Dependent", refTo(widgetName("b")));
  directory.insert(association);

  EXPECT_TRUE(directory.lookup(name, nullptr).isNull());
  EXPECT_EQ(directory.lookup(name, association.get()), association);
}

namespace {

// A name that records which key properties were asked for, by index.
class KeyFetchRecordingName : public CTovaInstanceName {
 public:
  KeyFetchRecordingName(const TOVString& className, const TOVPropertyList& keys)
      : CTovaInstanceName(className, keys, TOVSmrPtr<ITovaNameSpacePath>()) {}

  TOVSmrPtr<ITovaProperty> getKeyPropertyAt(unsigned long index) const override {
    fetched.push_back(index);
    return CTovaInstanceName::getKeyPropertyAt(index);
  }

  mutable std::vector<unsigned long> fetched;
};

}  // namespace

TEST_F(InstanceDirectoryTest, AssociationLookupByNameDoesNotFetchTheSecondKeyWhenTheFirstFails) {
  InstanceDirectory directory(true);
  directory.insert(link("a", "b"));
  const TOVSmrPtr<KeyFetchRecordingName> notAReference(new KeyFetchRecordingName(
      "Test_Link",
      kest::testing::keyList({{"Antecedent", make("a")}, {"Dependent", refTo(widgetName("b"))}})));
  const TOVSmrPtr<KeyFetchRecordingName> bothReferences(new KeyFetchRecordingName(
      "Test_Link", kest::testing::keyList({{"Antecedent", refTo(widgetName("a"))},
                                           {"Dependent", refTo(widgetName("b"))}})));

  EXPECT_TRUE(directory.lookup(notAReference, nullptr).isNull());
  EXPECT_FALSE(directory.lookup(bothReferences, nullptr).isNull());

  EXPECT_EQ(notAReference->fetched, std::vector<unsigned long>{0});
  EXPECT_EQ(bothReferences->fetched, (std::vector<unsigned long>{0, 1}));
}

TEST_F(InstanceDirectoryTest, AssociationLookupByNameWithNoReferenceInTheSecondKeyIsNull) {
  InstanceDirectory directory(true);
  const TOVSmrPtr<TestInstance> ab = link("a", "b");
  directory.insert(ab);
  const TOVSmrPtr<ITovaInstanceName> name = makeName(
      "Test_Link", {Key{"Antecedent", refTo(widgetName("a"))}, Key{"Dependent", make("b")}});

  EXPECT_TRUE(directory.lookup(name, nullptr).isNull());
}

TEST_F(InstanceDirectoryTest, AssociationLookupByNameWithoutASecondKeyIsNull) {
  InstanceDirectory directory(true);
  TOVSmrPtr<TestInstance> association(new TestInstance(
      _manager, "Test_Link", makeName("Test_Link", "Antecedent", refTo(widgetName("a")))));
  association->setProperty("Antecedent", refTo(widgetName("a")));
  directory.insert(association);

  EXPECT_TRUE(directory.lookup(makeName("Test_Link", "Antecedent", refTo(widgetName("a"))), nullptr)
                  .isNull());
  EXPECT_TRUE(directory.lookup(makeName("Test_Link", {}), nullptr).isNull());
}

TEST_F(InstanceDirectoryTest, AssociationReferringOnceToAnObjectIsFoundWhenBothKeysNameIt) {
  InstanceDirectory directory(true);
  TOVSmrPtr<TestInstance> association(
      new TestInstance(_manager, "Test_SelfLink", linkName("a", "a")));
  association->setProperty("Target", refTo(widgetName("a")));
  directory.insert(association);

  EXPECT_EQ(directory.lookup(linkName("a", "a"), nullptr), association);
  EXPECT_TRUE(directory.lookup(linkName("a", "b"), nullptr).isNull());
}

TEST_F(InstanceDirectoryTest, AssociationWhoseEndsAreTheSameObjectIsFoundByThatObjectTwice) {
  InstanceDirectory directory(true);
  const TOVSmrPtr<TestInstance> aa = link("a", "a");
  directory.insert(link("b", "c"));
  directory.insert(aa);

  EXPECT_EQ(directory.lookup(linkName("a", "a"), nullptr), aa);
  EXPECT_TRUE(directory.lookup(linkName("a", "b"), nullptr).isNull());
}

TEST_F(InstanceDirectoryTest, AssociationIsFoundByANameThatNamesOneOfItsEndsTwice) {
  InstanceDirectory directory(true);
  const TOVSmrPtr<TestInstance> ab = link("a", "b");
  directory.insert(ab);

  EXPECT_EQ(directory.lookup(linkName("a", "a"), nullptr), ab);
  EXPECT_EQ(directory.lookup(linkName("b", "b"), nullptr), ab);
}

TEST_F(InstanceDirectoryTest, AddAssociationAppendsInOrderWithoutDuplicateCheck) {
  InstanceDirectory directory(false);
  const TOVSmrPtr<InstanceDirectory> first(new InstanceDirectory(true));
  const TOVSmrPtr<InstanceDirectory> second(new InstanceDirectory(true));

  directory.addAssociation(first);
  TOVValSlist<TOVSmrPtr<InstanceDirectory>>* const list = directory.getAssociationList();
  ASSERT_NE(list, nullptr);
  directory.addAssociation(second);
  directory.addAssociation(first);

  EXPECT_EQ(directory.getAssociationList(), list);
  ASSERT_EQ(list->entries(), 3u);
  EXPECT_EQ(list->at(0), first);
  EXPECT_EQ(list->at(1), second);
  EXPECT_EQ(list->at(2), first);
}

}  // namespace
