#include "framework/InstanceManager.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "framework/Class.h"
#include "framework/Exception.h"
#include "framework/Instance.h"
#include "framework/InstanceDirectory.h"
#include "host/Exception.h"
#include "host/Indication.h"
#include "host/IndicationServices.h"
#include "host/InstanceName.h"
#include "host/List.h"
#include "host/Object.h"
#include "host/ProviderContext.h"
#include "host/RecordingProviderContext.h"
#include "host/SmartPointer.h"
#include "host/String.h"
#include "host/Value.h"
#include "streaming/VectorCollector.h"
#include "support/ObjectModelBuilders.h"
#include "support/TestInstances.h"
#include "support/TestProvider.h"
#include "tests/support/Thrown.h"

using kest::RecordingProviderContext;
using kest::VectorCollector;
using kest::pf::Class;
using kest::pf::Exception;
using kest::pf::Instance;
using kest::pf::InstanceDirectory;
using kest::pf::InstanceManager;
using kest::testing::ClassTree;
using kest::testing::Key;
using kest::testing::keyList;
using kest::testing::make;
using kest::testing::makeName;
using kest::testing::makePath;
using kest::testing::refTo;
using kest::testing::TestInstance;
using kest::testing::TestProvider;
using kest::testing::Thrown;
using kest::testing::thrownAs;

namespace {

using CallKind = RecordingProviderContext::CallKind;

// Test_Disk.DeviceID="<id>" under the given class name.
TOVSmrPtr<ITovaInstanceName> diskName(const char* className, const char* id) {
  return makeName(className, "DeviceID", make(id));
}

// What the create function below hands out and how often it was called.
TOVSmrPtr<Instance> gCreated;
int gCreateCalls = 0;

TOVSmrPtr<Instance> createDisk() {
  ++gCreateCalls;
  return gCreated;
}

class InstanceManagerTest : public ::testing::Test {
 protected:
  InstanceManagerTest() : _context(new RecordingProviderContext()) {
    _manager.setProvider(&_provider);
    _provider.setProviderContext(_context);
  }

  void SetUp() override {
    gCreated.reset();
    gCreateCalls = 0;
  }
  void TearDown() override { gCreated.reset(); }

  // Declares a new class with the manager.
  TOVSmrPtr<Class> declare(const char* className, bool isAssociation = false) {
    const TOVSmrPtr<Class> cls = _tree.make(className, isAssociation);
    _manager.registerClass(cls);
    return cls;
  }

  // An unregistered object of className named className.DeviceID="<id>".
  TOVSmrPtr<TestInstance> disk(const char* className, const char* id) {
    return TOVSmrPtr<TestInstance>(new TestInstance(_manager, className, diskName(className, id)));
  }

  // The same, registered.
  TOVSmrPtr<TestInstance> cachedDisk(const char* className, const char* id) {
    const TOVSmrPtr<TestInstance> object = disk(className, id);
    _manager.registerInstance(object);
    return object;
  }

  // An association object of className whose reference properties
  // Antecedent and Dependent refer to the two names.
  TOVSmrPtr<TestInstance> link(const char* className,
                               const TOVSmrPtr<ITovaInstanceName>& antecedent,
                               const TOVSmrPtr<ITovaInstanceName>& dependent) {
    const TOVSmrPtr<ITovaInstanceName> name = makeName(
        className, {Key{"Antecedent", refTo(antecedent)}, Key{"Dependent", refTo(dependent)}});
    TOVSmrPtr<TestInstance> object(new TestInstance(_manager, className, name));
    object->setProperty("Antecedent", refTo(antecedent));
    object->setProperty("Dependent", refTo(dependent));
    return object;
  }

  // The objects enumerateInstances adds for className, in order.
  std::vector<ITovaObject*> enumerate(const TOVString& className) const {
    VectorCollector<TOVSmrPtr<ITovaObject>> collector;
    _manager.enumerateInstances(collector, className);
    std::vector<ITovaObject*> result;
    for (const TOVSmrPtr<ITovaObject>& object : collector) result.push_back(object.get());
    return result;
  }

  // Declares Test_Base with children Test_First and Test_Second (in that
  // order) and Test_Third below Test_First.
  void declareTree() {
    _base = declare("Test_Base");
    _first = declare("Test_First");
    _second = declare("Test_Second");
    _third = declare("Test_Third");
    _tree.link(_base, _first);
    _tree.link(_base, _second);
    _tree.link(_first, _third);
  }

  ClassTree _tree;
  TestProvider _provider;
  TOVSmrPtr<RecordingProviderContext> _context;
  InstanceManager _manager;
  TOVSmrPtr<Class> _base, _first, _second, _third;
};

}  // namespace

// --- the provider -----------------------------------------------------------

TEST_F(InstanceManagerTest, StartsWithoutAProviderUntilOneIsSet) {
  InstanceManager manager;
  EXPECT_EQ(manager.getProvider(), nullptr);
  manager.setProvider(&_provider);
  EXPECT_EQ(manager.getProvider(), &_provider);
  const InstanceManager& constManager = manager;
  EXPECT_EQ(constManager.getProvider(), &_provider);
}

// --- declaring classes ------------------------------------------------------

TEST_F(InstanceManagerTest, LookupClassFindsADeclaredClassInAnyCase) {
  const TOVSmrPtr<Class> disk = declare("Test_Disk");
  EXPECT_TRUE(_manager.lookupClass("Test_Disk") == disk);
  EXPECT_TRUE(_manager.lookupClass("test_disk") == disk);
  EXPECT_TRUE(_manager.lookupClass("TEST_DISK") == disk);
}

TEST_F(InstanceManagerTest, LookupClassOfAnUndeclaredNameIsNull) {
  declare("Test_Disk");
  EXPECT_TRUE(_manager.lookupClass("Test_Volume").isNull());
  EXPECT_TRUE(_manager.lookupClass("").isNull());
}

TEST_F(InstanceManagerTest, GetClassDeclarationsListsEveryDeclaredClassOnce) {
  EXPECT_EQ(_manager.getClassDeclarations()->entries(), 0u);
  const TOVSmrPtr<Class> disk = declare("Test_Disk");
  const TOVSmrPtr<Class> link = declare("Test_Link", true);
  declare("TEST_DISK");  // replaces the first declaration

  const TOVSmrPtr<TOVValSlist<TOVSmrPtr<Class>>> all = _manager.getClassDeclarations();
  std::vector<std::string> names;
  for (const TOVSmrPtr<Class>& cls : *all) names.push_back(cls->getClassName().toStdString());
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (std::vector<std::string>{"TEST_DISK", "Test_Link"}));
  EXPECT_FALSE(all->contains(disk));
  EXPECT_TRUE(all->contains(link));
}

TEST_F(InstanceManagerTest, DeclaringANameAgainInAnotherCaseReplacesTheClassAndEmptiesItsCache) {
  declare("Test_Disk");
  const TOVSmrPtr<TestInstance> cached = cachedDisk("Test_Disk", "a");
  ASSERT_TRUE(_manager.getInstance(diskName("Test_Disk", "a")).get() == cached.get());

  const TOVSmrPtr<Class> second = declare("TEST_DISK");

  EXPECT_TRUE(_manager.lookupClass("Test_Disk") == second);
  EXPECT_TRUE(_manager.getInstance(diskName("Test_Disk", "a")).isNull());
  EXPECT_TRUE(enumerate("Test_Disk").empty());
}

TEST_F(InstanceManagerTest, AnOrdinaryClassKeepsOnlyTheLastObjectRegisteredUnderAName) {
  declare("Test_Disk");
  cachedDisk("Test_Disk", "a");
  const TOVSmrPtr<TestInstance> last = cachedDisk("Test_Disk", "a");

  EXPECT_EQ(enumerate("Test_Disk"), std::vector<ITovaObject*>{last.get()});
}

TEST_F(InstanceManagerTest, AnAssociationClassKeepsEveryObjectInRegistrationOrder) {
  declare("Test_Link", true);
  const TOVSmrPtr<TestInstance> first =
      link("Test_Link", diskName("Test_Disk", "a"), diskName("Test_Disk", "b"));
  const TOVSmrPtr<TestInstance> second =
      link("Test_Link", diskName("Test_Disk", "a"), diskName("Test_Disk", "b"));
  _manager.registerInstance(first);
  _manager.registerInstance(second);

  EXPECT_EQ(enumerate("Test_Link"), (std::vector<ITovaObject*>{first.get(), second.get()}));
}

// --- createInstance ---------------------------------------------------------

TEST_F(InstanceManagerTest, CreateInstanceReturnsWhatTheClassCreateFunctionMakesWithoutCachingIt) {
  _manager.registerClass(_tree.make("Test_Disk", false, createDisk));
  gCreated = TOVSmrPtr<Instance>(new TestInstance(_manager, "Test_Disk"));

  const TOVSmrPtr<Instance> created = _manager.createInstance(diskName("test_disk", "a"));

  EXPECT_TRUE(created == gCreated);
  EXPECT_EQ(gCreateCalls, 1);
  // The name is not handed to the new object, and nothing is cached.
  EXPECT_TRUE(created->getInstanceName().isNull());
  EXPECT_TRUE(enumerate("Test_Disk").empty());
}

TEST_F(InstanceManagerTest, CreateInstanceOfANullNameIsNull) {
  _manager.registerClass(_tree.make("Test_Disk", false, createDisk));
  EXPECT_TRUE(_manager.createInstance(TOVSmrPtr<ITovaInstanceName>()).isNull());
  EXPECT_EQ(gCreateCalls, 0);
}

TEST_F(InstanceManagerTest, CreateInstanceOfAnUndeclaredClassIsNull) {
  _manager.registerClass(_tree.make("Test_Disk", false, createDisk));
  EXPECT_TRUE(_manager.createInstance(diskName("Test_Volume", "a")).isNull());
  EXPECT_EQ(gCreateCalls, 0);
}

TEST_F(InstanceManagerTest, CreateInstanceOfAClassWithoutCreateFunctionIsNull) {
  declare("Test_Disk");
  EXPECT_TRUE(_manager.createInstance(diskName("Test_Disk", "a")).isNull());
}

// --- getInstance ------------------------------------------------------------

TEST_F(InstanceManagerTest, GetInstanceOfANullNameIsNull) {
  declare("Test_Disk");
  EXPECT_TRUE(_manager.getInstance(TOVSmrPtr<ITovaInstanceName>()).isNull());
}

TEST_F(InstanceManagerTest, GetInstanceOfANameOfAnUndeclaredClassIsNullWithoutError) {
  declare("Test_Disk");
  TOVSmrPtr<ITovaObject> found;
  EXPECT_NO_THROW(found = _manager.getInstance(diskName("Test_Volume", "a")));
  EXPECT_TRUE(found.isNull());
}

TEST_F(InstanceManagerTest, GetInstanceFindsTheCachedObjectByNameAndMissesOtherKeys) {
  declare("Test_Disk");
  const TOVSmrPtr<TestInstance> a = cachedDisk("Test_Disk", "a");
  cachedDisk("Test_Disk", "b");

  EXPECT_TRUE(_manager.getInstance(diskName("Test_Disk", "a")).get() == a.get());
  EXPECT_TRUE(_manager.getInstance(diskName("Test_Disk", "c")).isNull());
}

TEST_F(InstanceManagerTest, GetInstanceIgnoresTheCaseOfTheClassNameAndTheNamespace) {
  declare("CIM_Foo");
  const TOVSmrPtr<TestInstance> cached = cachedDisk("CIM_Foo", "a");

  EXPECT_TRUE(_manager.getInstance(diskName("cim_foo", "a")).get() == cached.get());
  EXPECT_TRUE(
      _manager
          .getInstance(makeName("CIM_FOO", "DeviceID", make("a"), makePath("host", "root/other")))
          .get() == cached.get());
  EXPECT_TRUE(_manager.lookupClass("cim_foo") == _manager.lookupClass("CIM_Foo"));
}

TEST_F(InstanceManagerTest, GetInstanceFindsAnObjectCachedUnderAChildClassByTheParentName) {
  declareTree();
  const TOVSmrPtr<TestInstance> child = cachedDisk("Test_First", "a");

  EXPECT_TRUE(_manager.getInstance(diskName("Test_Base", "a")).get() == child.get());
}

TEST_F(InstanceManagerTest, GetInstanceTriesEveryDirectChildClass) {
  declareTree();
  const TOVSmrPtr<TestInstance> child = cachedDisk("Test_Second", "a");

  EXPECT_TRUE(_manager.getInstance(diskName("Test_Base", "a")).get() == child.get());
}

TEST_F(InstanceManagerTest, GetInstancePrefersTheObjectCachedUnderTheClassOfTheName) {
  declareTree();
  const TOVSmrPtr<TestInstance> own = cachedDisk("Test_Base", "a");
  cachedDisk("Test_First", "a");

  EXPECT_TRUE(_manager.getInstance(diskName("Test_Base", "a")).get() == own.get());
}

TEST_F(InstanceManagerTest, GetInstanceReturnsTheFirstChildHitInChildListOrder) {
  declareTree();
  cachedDisk("Test_Second", "a");
  const TOVSmrPtr<TestInstance> first = cachedDisk("Test_First", "a");

  EXPECT_TRUE(_manager.getInstance(diskName("Test_Base", "a")).get() == first.get());
}

TEST_F(InstanceManagerTest, GetInstanceDoesNotLookBelowTheDirectChildClasses) {
  declareTree();
  cachedDisk("Test_Third", "a");

  EXPECT_TRUE(_manager.getInstance(diskName("Test_Base", "a")).isNull());
  EXPECT_FALSE(_manager.getInstance(diskName("Test_First", "a")).isNull());
}

TEST_F(InstanceManagerTest, GetInstanceDoesNotLookInTheParentClass) {
  declareTree();
  cachedDisk("Test_Base", "a");

  EXPECT_TRUE(_manager.getInstance(diskName("Test_First", "a")).isNull());
}

TEST_F(InstanceManagerTest, GetInstanceMatchesEveryKeyOfANameWithSeveralKeys) {
  declareTree();
  const TOVSmrPtr<ITovaInstanceName> childName =
      makeName("Test_First", {Key{"SystemName", make("sys")}, Key{"DeviceID", make("a")}});
  const TOVSmrPtr<TestInstance> child(new TestInstance(_manager, "Test_First", childName));
  _manager.registerInstance(child);

  EXPECT_TRUE(_manager
                  .getInstance(makeName(
                      "Test_Base", {Key{"SystemName", make("sys")}, Key{"DeviceID", make("a")}}))
                  .get() == child.get());
  EXPECT_TRUE(_manager
                  .getInstance(makeName(
                      "Test_Base", {Key{"SystemName", make("other")}, Key{"DeviceID", make("a")}}))
                  .isNull());
}

TEST_F(InstanceManagerTest, GetInstanceThrowsNullPointerForALinkedChildClassThatWasNeverDeclared) {
  const TOVSmrPtr<Class> base = declare("Test_Base");
  const TOVSmrPtr<Class> undeclared = _tree.make("Test_Undeclared");
  _tree.link(base, undeclared);

  EXPECT_THROW(_manager.getInstance(diskName("Test_Base", "a")), TOVNullPointerException);
}

// --- getPFInstance ----------------------------------------------------------

TEST_F(InstanceManagerTest, GetPFInstanceFindsTheCachedObjectOfTheClassOfTheName) {
  declare("Test_Disk");
  const TOVSmrPtr<TestInstance> cached = cachedDisk("Test_Disk", "a");

  EXPECT_TRUE(_manager.getPFInstance(diskName("TEST_DISK", "a"), nullptr) == cached);
  EXPECT_TRUE(_manager.getPFInstance(diskName("Test_Disk", "b"), nullptr).isNull());
}

TEST_F(InstanceManagerTest, GetPFInstanceOfAnUndeclaredClassIsNull) {
  declare("Test_Disk");
  EXPECT_TRUE(_manager.getPFInstance(diskName("Test_Volume", "a"), nullptr).isNull());
}

// Unlike getInstance, getPFInstance has no answer for a null name.
TEST_F(InstanceManagerTest, GetPFInstanceOfANullNameRaisesTheNullPointerError) {
  declare("Test_Disk");
  EXPECT_THROW(_manager.getPFInstance(TOVSmrPtr<ITovaInstanceName>(), nullptr),
               TOVNullPointerException);
}

TEST_F(InstanceManagerTest, GetPFInstanceFindsAnObjectOfTheFirstChildClass) {
  declareTree();
  const TOVSmrPtr<TestInstance> child = cachedDisk("Test_First", "a");

  EXPECT_TRUE(_manager.getPFInstance(diskName("Test_Base", "a"), nullptr) == child);
}

TEST_F(InstanceManagerTest, GetPFInstanceDoesNotLookInTheSecondChildClassButGetInstanceDoes) {
  declareTree();
  const TOVSmrPtr<TestInstance> child = cachedDisk("Test_Second", "a");

  EXPECT_TRUE(_manager.getPFInstance(diskName("Test_Base", "a"), nullptr).isNull());
  EXPECT_TRUE(_manager.getInstance(diskName("Test_Base", "a")).get() == child.get());
}

TEST_F(InstanceManagerTest, GetPFInstanceDoesNotLookBelowTheFirstChildClass) {
  declareTree();
  cachedDisk("Test_Third", "a");

  EXPECT_TRUE(_manager.getPFInstance(diskName("Test_Base", "a"), nullptr).isNull());
}

TEST_F(InstanceManagerTest, GetPFInstanceOfAClassWithoutChildrenMissesWithNull) {
  declare("Test_Disk");
  cachedDisk("Test_Disk", "b");
  EXPECT_TRUE(_manager.getPFInstance(diskName("Test_Disk", "a"), nullptr).isNull());
}

TEST_F(InstanceManagerTest, GetPFInstanceOfAnAssociationClassFindsTheVeryObjectPassed) {
  declare("Test_Link", true);
  const TOVSmrPtr<TestInstance> first =
      link("Test_Link", diskName("Test_Disk", "a"), diskName("Test_Disk", "b"));
  const TOVSmrPtr<TestInstance> second =
      link("Test_Link", diskName("Test_Disk", "a"), diskName("Test_Disk", "b"));
  const TOVSmrPtr<TestInstance> uncached =
      link("Test_Link", diskName("Test_Disk", "a"), diskName("Test_Disk", "b"));
  _manager.registerInstance(first);
  _manager.registerInstance(second);

  EXPECT_TRUE(_manager.getPFInstance(second->getInstanceName(), second.get()) == second);
  EXPECT_TRUE(_manager.getPFInstance(second->getInstanceName(), first.get()) == first);
  EXPECT_TRUE(_manager.getPFInstance(second->getInstanceName(), uncached.get()).isNull());
}

TEST_F(InstanceManagerTest,
       GetPFInstanceThrowsNullPointerForALinkedFirstChildClassThatWasNeverDeclared) {
  const TOVSmrPtr<Class> base = declare("Test_Base");
  const TOVSmrPtr<Class> undeclared = _tree.make("Test_Undeclared");
  _tree.link(base, undeclared);

  EXPECT_THROW(_manager.getPFInstance(diskName("Test_Base", "a"), nullptr),
               TOVNullPointerException);
}

namespace {

// A name whose key list (getKeyProperties) holds other keys than the ones it
// hands out one by one (getKeyPropertyAt, which its text is built from), so a
// test can tell which of the two a lookup reads.
class SplitKeysName : public ITovaInstanceName {
 public:
  SplitKeysName(const TOVString& className, const TOVPropertyList& byIndex,
                const TOVPropertyList& asList)
      : _className(className), _byIndex(byIndex), _asList(asList) {}

  TOVString getClassname() const override { return _className; }
  TOVSmrPtr<ITovaNameSpacePath> getNameSpacePath() const override { return nullptr; }
  unsigned long getNumberOfKeyProperties() const override { return _byIndex->entries(); }
  TOVSmrPtr<ITovaProperty> getKeyPropertyAt(unsigned long index) const override {
    if (index >= _byIndex->entries()) return TOVSmrPtr<ITovaProperty>();
    return _byIndex->at(index);
  }
  TOVPropertyList getKeyProperties() const override { return _asList; }
  void setNameSpacePath(const TOVSmrPtr<ITovaNameSpacePath>& /*path*/) override {}

 private:
  TOVString _className;
  TOVPropertyList _byIndex;
  TOVPropertyList _asList;
};

}  // namespace

// getInstance builds each child's name from keys read one by one;
// getPFInstance hands the name's own key list to the first child's name.
TEST_F(InstanceManagerTest, GetInstanceReadsTheKeysOneByOneWhileGetPFInstanceTakesTheKeyList) {
  declareTree();
  const TOVSmrPtr<TestInstance> byIndex = cachedDisk("Test_First", "by-index");
  const TOVSmrPtr<TestInstance> asList = cachedDisk("Test_First", "as-list");
  const TOVSmrPtr<ITovaInstanceName> name(
      new SplitKeysName("Test_Base", keyList({{"DeviceID", make("by-index")}}),
                        keyList({{"DeviceID", make("as-list")}})));

  EXPECT_EQ(_manager.getInstance(name).get(), static_cast<ITovaObject*>(byIndex.get()));
  EXPECT_TRUE(_manager.getPFInstance(name, nullptr) == asList);
}

// --- getSmartThis -----------------------------------------------------------

TEST_F(InstanceManagerTest, SmartThisOfARegisteredObjectIsThatObject) {
  declare("Test_Disk");
  const TOVSmrPtr<TestInstance> cached = cachedDisk("Test_Disk", "a");

  EXPECT_EQ(cached->getSmartThis().get(), cached.get());
}

TEST_F(InstanceManagerTest, SmartThisOfAnUnregisteredObjectIsNull) {
  declare("Test_Disk");
  cachedDisk("Test_Disk", "b");
  const TOVSmrPtr<TestInstance> loose = disk("Test_Disk", "a");

  EXPECT_TRUE(loose->getSmartThis().isNull());
}

TEST_F(InstanceManagerTest, SmartThisOfAnObjectWhoseNameIsTakenIsTheObjectCachedUnderIt) {
  declare("Test_Disk");
  const TOVSmrPtr<TestInstance> replaced = cachedDisk("Test_Disk", "a");
  const TOVSmrPtr<TestInstance> cached = cachedDisk("Test_Disk", "a");

  EXPECT_EQ(replaced->getSmartThis().get(), cached.get());
  EXPECT_EQ(cached->getSmartThis().get(), cached.get());
}

TEST_F(InstanceManagerTest, SmartThisOfARegisteredAssociationIsThatObject) {
  declare("Test_Link", true);
  const TOVSmrPtr<TestInstance> first =
      link("Test_Link", diskName("Test_Disk", "a"), diskName("Test_Disk", "b"));
  const TOVSmrPtr<TestInstance> second =
      link("Test_Link", diskName("Test_Disk", "a"), diskName("Test_Disk", "b"));
  _manager.registerInstance(first);
  _manager.registerInstance(second);

  EXPECT_EQ(second->getSmartThis().get(), second.get());
  EXPECT_EQ(first->getSmartThis().get(), first.get());
}

// --- enumerateInstances -----------------------------------------------------

TEST_F(InstanceManagerTest, EnumerateInstancesReportsEveryCachedObjectOfTheClass) {
  declare("Test_Disk");
  const TOVSmrPtr<TestInstance> a = cachedDisk("Test_Disk", "a");
  const TOVSmrPtr<TestInstance> b = cachedDisk("Test_Disk", "b");
  const TOVSmrPtr<TestInstance> c = cachedDisk("Test_Disk", "c");

  std::vector<ITovaObject*> found = enumerate("test_disk");
  std::sort(found.begin(), found.end());
  std::vector<ITovaObject*> expected{a.get(), b.get(), c.get()};
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(found, expected);
}

TEST_F(InstanceManagerTest,
       EnumerateInstancesReportsTheOwnObjectsFirstThenEachChildSubtreeInOrder) {
  declareTree();
  const TOVSmrPtr<TestInstance> second = cachedDisk("Test_Second", "d");
  const TOVSmrPtr<TestInstance> third = cachedDisk("Test_Third", "c");
  const TOVSmrPtr<TestInstance> first = cachedDisk("Test_First", "b");
  const TOVSmrPtr<TestInstance> base = cachedDisk("Test_Base", "a");

  EXPECT_EQ(enumerate("Test_Base"),
            (std::vector<ITovaObject*>{base.get(), first.get(), third.get(), second.get()}));
  EXPECT_EQ(enumerate("Test_First"), (std::vector<ITovaObject*>{first.get(), third.get()}));
  EXPECT_EQ(enumerate("Test_Third"), std::vector<ITovaObject*>{third.get()});
}

TEST_F(InstanceManagerTest, EnumerateInstancesOfAnUndeclaredClassReportsNothing) {
  declare("Test_Disk");
  cachedDisk("Test_Disk", "a");

  EXPECT_TRUE(enumerate("Test_Volume").empty());
  EXPECT_TRUE(enumerate("").empty());
}

TEST_F(InstanceManagerTest, EnumerateInstancesSkipsALinkedChildClassThatWasNeverDeclared) {
  const TOVSmrPtr<Class> base = declare("Test_Base");
  _tree.link(base, _tree.make("Test_Undeclared"));
  const TOVSmrPtr<TestInstance> own = cachedDisk("Test_Base", "a");

  std::vector<ITovaObject*> found;
  EXPECT_NO_THROW(found = enumerate("Test_Base"));
  EXPECT_EQ(found, std::vector<ITovaObject*>{own.get()});
}

TEST_F(InstanceManagerTest, EnumerateInstancesListFormGivesTheSameObjectsInTheSameOrder) {
  declareTree();
  cachedDisk("Test_Second", "d");
  cachedDisk("Test_Third", "c");
  cachedDisk("Test_First", "b");
  cachedDisk("Test_Base", "a");
  cachedDisk("Test_Base", "e");

  const InstanceManager::ObjectList list = _manager.enumerateInstances("Test_Base");

  ASSERT_FALSE(list.isNull());
  std::vector<ITovaObject*> fromList;
  for (const TOVSmrPtr<ITovaObject>& object : *list) fromList.push_back(object.get());
  EXPECT_EQ(fromList, enumerate("Test_Base"));
  EXPECT_EQ(fromList.size(), 5u);
}

TEST_F(InstanceManagerTest, EnumerateInstancesListFormOfAnUndeclaredClassIsAnEmptyList) {
  declare("Test_Disk");
  const InstanceManager::ObjectList list = _manager.enumerateInstances("Test_Volume");
  ASSERT_FALSE(list.isNull());
  EXPECT_TRUE(list->isEmpty());
}

// --- registerInstance -------------------------------------------------------

TEST_F(InstanceManagerTest, RegisterInstanceOfAnUndeclaredClassThrowsUndeclaredClass) {
  declare("Test_Disk");
  const TOVSmrPtr<TestInstance> volume = disk("Test_Volume", "a");

  const Thrown e = thrownAs<Exception>([&] { _manager.registerInstance(volume); });

  ASSERT_TRUE(e.caught);
  EXPECT_EQ(e.type, "Provider");
  EXPECT_EQ(e.where, "kest::pf::InstanceManager::registerInstance");
  EXPECT_TRUE(e.who.isNull());
  EXPECT_EQ(e.message, "Undeclared class Test_Volume");
  EXPECT_EQ(e.code, 17665);
  EXPECT_EQ(_context->callCount(), 0u);
}

TEST_F(InstanceManagerTest, RegisterInstanceWithoutAProviderThrowsNullPointer) {
  InstanceManager manager;
  manager.registerClass(_tree.make("Test_Disk"));
  const TOVSmrPtr<TestInstance> object(
      new TestInstance(manager, "Test_Disk", diskName("Test_Disk", "a")));

  EXPECT_THROW(manager.registerInstance(object), TOVNullPointerException);
}

// The provider is asked only after the directory has changed, so the object is
// cached (and then removed) although both calls fail.
TEST_F(InstanceManagerTest, WithoutAProviderRegistrationChangesTheCacheThenThrowsNullPointer) {
  InstanceManager manager;
  manager.registerClass(_tree.make("Test_Disk"));
  const TOVSmrPtr<TestInstance> object(
      new TestInstance(manager, "Test_Disk", diskName("Test_Disk", "a")));

  EXPECT_THROW(manager.registerInstance(object), TOVNullPointerException);
  EXPECT_EQ(manager.getInstance(diskName("Test_Disk", "a")).get(),
            static_cast<ITovaObject*>(object.get()));

  EXPECT_THROW(manager.deregisterInstance(object), TOVNullPointerException);
  EXPECT_TRUE(manager.getInstance(diskName("Test_Disk", "a")).isNull());
}

TEST_F(InstanceManagerTest, GenerateIndicationsWithoutAProviderThrowsNullPointer) {
  InstanceManager manager;
  const TOVSmrPtr<TestInstance> object(
      new TestInstance(manager, "Test_Disk", diskName("Test_Disk", "a")));

  EXPECT_THROW(manager.generateIndications(object, true), TOVNullPointerException);
  EXPECT_THROW(manager.generateIndications(object, false), TOVNullPointerException);
}

TEST_F(InstanceManagerTest, RegisterInstanceFindsTheClassInAnyCase) {
  declare("CIM_Foo");
  const TOVSmrPtr<TestInstance> object(
      new TestInstance(_manager, "cim_foo", diskName("cim_foo", "a")));
  _manager.registerInstance(object);

  EXPECT_EQ(enumerate("CIM_Foo"), std::vector<ITovaObject*>{object.get()});
  EXPECT_TRUE(_manager.getInstance(diskName("CIM_Foo", "a")).get() == object.get());
}

// --- deregisterInstance -----------------------------------------------------

TEST_F(InstanceManagerTest, DeregisterInstanceRemovesTheObjectAndReturnsTrue) {
  declare("Test_Disk");
  const TOVSmrPtr<TestInstance> a = cachedDisk("Test_Disk", "a");
  const TOVSmrPtr<TestInstance> b = cachedDisk("Test_Disk", "b");

  EXPECT_TRUE(_manager.deregisterInstance(a));

  EXPECT_TRUE(_manager.getInstance(diskName("Test_Disk", "a")).isNull());
  EXPECT_EQ(enumerate("Test_Disk"), std::vector<ITovaObject*>{b.get()});
  EXPECT_FALSE(_manager.deregisterInstance(a));
}

TEST_F(InstanceManagerTest, DeregisterInstanceOfNullReturnsFalse) {
  declare("Test_Disk");
  EXPECT_FALSE(_manager.deregisterInstance(TOVSmrPtr<Instance>()));
}

TEST_F(InstanceManagerTest, DeregisterInstanceOfAnUndeclaredClassThrowsUndeclaredClass) {
  declare("Test_Disk");
  const TOVSmrPtr<TestInstance> volume = disk("Test_Volume", "a");

  const Thrown e = thrownAs<Exception>([&] { _manager.deregisterInstance(volume); });

  ASSERT_TRUE(e.caught);
  EXPECT_EQ(e.type, "Provider");
  EXPECT_EQ(e.where, "kest::pf::InstanceManager::deregisterInstance");
  EXPECT_TRUE(e.who.isNull());
  EXPECT_EQ(e.message, "Undeclared class Test_Volume");
  EXPECT_EQ(e.code, 17665);
}

TEST_F(InstanceManagerTest, DeregisterInstanceOfAnUncachedObjectReturnsFalseAndRaisesNothing) {
  declare("Test_Disk");
  _provider.enableIndications();
  _provider.activateSubscription(nullptr, nullptr, nullptr);
  const TOVSmrPtr<TestInstance> loose = disk("Test_Disk", "a");

  EXPECT_FALSE(_manager.deregisterInstance(loose));
  EXPECT_EQ(_context->callCount(), 0u);
}

TEST_F(InstanceManagerTest, DeregisterInstanceDoesNotCallTheObjectsDestroy) {
  declare("Test_Disk");
  const TOVSmrPtr<TestInstance> a = cachedDisk("Test_Disk", "a");
  ASSERT_TRUE(_manager.deregisterInstance(a));
  EXPECT_EQ(a->destroyCalls(), 0);
  EXPECT_TRUE(a->destroyReasons().empty());
}

// --- associations -----------------------------------------------------------

TEST_F(InstanceManagerTest, DeregisteringAnObjectDestroysTheTiedAssociationsThatReferToIt) {
  declare("Test_Disk");
  declare("Test_Link", true);
  _manager.addAssociation("Test_Disk", "Test_Link");
  const TOVSmrPtr<TestInstance> a = cachedDisk("Test_Disk", "a");
  const TOVSmrPtr<TestInstance> b = cachedDisk("Test_Disk", "b");
  const TOVSmrPtr<TestInstance> c = cachedDisk("Test_Disk", "c");
  const TOVSmrPtr<TestInstance> ab = link("Test_Link", a->getInstanceName(), b->getInstanceName());
  const TOVSmrPtr<TestInstance> bc = link("Test_Link", b->getInstanceName(), c->getInstanceName());
  const TOVSmrPtr<TestInstance> ca = link("Test_Link", c->getInstanceName(), a->getInstanceName());
  _manager.registerInstance(ab);
  _manager.registerInstance(bc);
  _manager.registerInstance(ca);

  ASSERT_TRUE(_manager.deregisterInstance(a));

  EXPECT_EQ(ab->destroyReasons(), std::vector<TOVString>{""});
  EXPECT_TRUE(bc->destroyReasons().empty());
  EXPECT_EQ(ca->destroyReasons(), std::vector<TOVString>{""});
  EXPECT_EQ(ab->destroyCalls() + bc->destroyCalls() + ca->destroyCalls(), 0);
}

TEST_F(InstanceManagerTest, AnAssociationReferringThroughTwoPropertiesIsDestroyedTwice) {
  declare("Test_Disk");
  declare("Test_Link", true);
  _manager.addAssociation("Test_Disk", "Test_Link");
  const TOVSmrPtr<TestInstance> a = cachedDisk("Test_Disk", "a");
  const TOVSmrPtr<TestInstance> loop =
      link("Test_Link", a->getInstanceName(), a->getInstanceName());
  _manager.registerInstance(loop);

  ASSERT_TRUE(_manager.deregisterInstance(a));

  EXPECT_EQ(loop->destroyReasons(), (std::vector<TOVString>{"", ""}));
}

TEST_F(InstanceManagerTest, AssociationsAreMatchedByTheReferencedNameNotByObjectIdentity) {
  declare("Test_Disk");
  declare("Test_Link", true);
  _manager.addAssociation("Test_Disk", "Test_Link");
  const TOVSmrPtr<TestInstance> a = cachedDisk("Test_Disk", "a");
  // Refers to an equal name built separately, spelt in another case.
  const TOVSmrPtr<TestInstance> ab =
      link("Test_Link", diskName("TEST_DISK", "a"), diskName("Test_Disk", "b"));
  _manager.registerInstance(ab);

  ASSERT_TRUE(_manager.deregisterInstance(a));

  EXPECT_EQ(ab->destroyReasons(), std::vector<TOVString>{""});
}

TEST_F(InstanceManagerTest, PropertiesThatAreNotReferencesAreNotCompared) {
  declare("Test_Disk");
  declare("Test_Link", true);
  _manager.addAssociation("Test_Disk", "Test_Link");
  const TOVSmrPtr<TestInstance> a = cachedDisk("Test_Disk", "a");
  const TOVSmrPtr<TestInstance> textual(
      new TestInstance(_manager, "Test_Link", makeName("Test_Link", "Id", make("t"))));
  // The text of a's name, held as a string.
  textual->setProperty("Antecedent", make(a->getInstanceName()->toString()));
  _manager.registerInstance(textual);

  ASSERT_TRUE(_manager.deregisterInstance(a));

  EXPECT_TRUE(textual->destroyReasons().empty());
}

TEST_F(InstanceManagerTest, DeregisteringLeavesAssociationsOfUntiedClassesAlone) {
  declare("Test_Disk");
  declare("Test_Link", true);
  const TOVSmrPtr<TestInstance> a = cachedDisk("Test_Disk", "a");
  const TOVSmrPtr<TestInstance> ab = link("Test_Link", a->getInstanceName(), diskName("X", "b"));
  _manager.registerInstance(ab);

  ASSERT_TRUE(_manager.deregisterInstance(a));

  EXPECT_TRUE(ab->destroyReasons().empty());
}

TEST_F(InstanceManagerTest, DeregisteringAnUncachedObjectLeavesAssociationsAlone) {
  declare("Test_Disk");
  declare("Test_Link", true);
  _manager.addAssociation("Test_Disk", "Test_Link");
  const TOVSmrPtr<TestInstance> loose = disk("Test_Disk", "a");
  const TOVSmrPtr<TestInstance> ab =
      link("Test_Link", loose->getInstanceName(), diskName("Test_Disk", "b"));
  _manager.registerInstance(ab);

  ASSERT_FALSE(_manager.deregisterInstance(loose));

  EXPECT_TRUE(ab->destroyReasons().empty());
}

TEST_F(InstanceManagerTest, DeregisteringASubclassObjectDestroysAssociationsTiedToItsBaseClass) {
  declareTree();
  declare("Test_Link", true);
  _manager.addAssociation("Test_Base", "Test_Link");
  const TOVSmrPtr<TestInstance> deep = cachedDisk("Test_Third", "a");
  const TOVSmrPtr<TestInstance> link1 =
      link("Test_Link", deep->getInstanceName(), diskName("Test_Disk", "b"));
  _manager.registerInstance(link1);

  ASSERT_TRUE(_manager.deregisterInstance(deep));

  EXPECT_EQ(link1->destroyReasons(), std::vector<TOVString>{""});
}

TEST_F(InstanceManagerTest, AssociationsTiedToTheClassAndToItsBaseAreBothDestroyed) {
  declareTree();
  declare("Test_OwnLink", true);
  declare("Test_BaseLink", true);
  _manager.addAssociation("Test_First", "Test_OwnLink");
  _manager.addAssociation("Test_Base", "Test_BaseLink");
  const TOVSmrPtr<TestInstance> a = cachedDisk("Test_First", "a");
  const TOVSmrPtr<TestInstance> own =
      link("Test_OwnLink", a->getInstanceName(), diskName("Test_Disk", "b"));
  const TOVSmrPtr<TestInstance> inherited =
      link("Test_BaseLink", diskName("Test_Disk", "b"), a->getInstanceName());
  _manager.registerInstance(own);
  _manager.registerInstance(inherited);

  ASSERT_TRUE(_manager.deregisterInstance(a));

  EXPECT_EQ(own->destroyReasons(), std::vector<TOVString>{""});
  EXPECT_EQ(inherited->destroyReasons(), std::vector<TOVString>{""});
}

TEST_F(InstanceManagerTest, AssociationsTiedOnlyToAChildClassAreNotDestroyedForABaseObject) {
  declareTree();
  declare("Test_Link", true);
  _manager.addAssociation("Test_First", "Test_Link");
  const TOVSmrPtr<TestInstance> a = cachedDisk("Test_Base", "a");
  const TOVSmrPtr<TestInstance> ab =
      link("Test_Link", a->getInstanceName(), diskName("Test_Disk", "b"));
  _manager.registerInstance(ab);

  ASSERT_TRUE(_manager.deregisterInstance(a));

  EXPECT_TRUE(ab->destroyReasons().empty());
}

TEST_F(InstanceManagerTest, AddAssociationBeforeTheClassesAreDeclaredDoesNothingAndMayBeRepeated) {
  _manager.addAssociation("Test_Disk", "Test_Link");
  declare("Test_Disk");
  _manager.addAssociation("Test_Disk", "Test_Link");  // the association class is still missing
  declare("Test_Link", true);
  const TOVSmrPtr<TestInstance> a = cachedDisk("Test_Disk", "a");
  const TOVSmrPtr<TestInstance> b = cachedDisk("Test_Disk", "b");
  const TOVSmrPtr<TestInstance> toA = link("Test_Link", a->getInstanceName(), diskName("X", "x"));
  const TOVSmrPtr<TestInstance> toB = link("Test_Link", b->getInstanceName(), diskName("X", "x"));
  _manager.registerInstance(toA);
  _manager.registerInstance(toB);

  ASSERT_TRUE(_manager.deregisterInstance(a));
  EXPECT_TRUE(toA->destroyReasons().empty());

  _manager.addAssociation("Test_Disk", "Test_Link");
  ASSERT_TRUE(_manager.deregisterInstance(b));
  EXPECT_EQ(toB->destroyReasons(), std::vector<TOVString>{""});
}

TEST_F(InstanceManagerTest, AddAssociationFindsBothClassesInAnyCase) {
  declare("Test_Disk");
  declare("Test_Link", true);
  _manager.addAssociation("TEST_DISK", "test_link");
  const TOVSmrPtr<TestInstance> a = cachedDisk("Test_Disk", "a");
  const TOVSmrPtr<TestInstance> ab = link("Test_Link", a->getInstanceName(), diskName("X", "x"));
  _manager.registerInstance(ab);

  ASSERT_TRUE(_manager.deregisterInstance(a));

  EXPECT_EQ(ab->destroyReasons(), std::vector<TOVString>{""});
}

TEST_F(InstanceManagerTest, RemoveAssociationsWalksTheGivenDirectoryThenTheBaseClassDirectories) {
  declareTree();
  declare("Test_BaseLink", true);
  _manager.addAssociation("Test_Base", "Test_BaseLink");
  const TOVSmrPtr<TestInstance> a = disk("Test_First", "a");
  const TOVSmrPtr<TestInstance> inherited =
      link("Test_BaseLink", a->getInstanceName(), diskName("X", "x"));
  _manager.registerInstance(inherited);

  // A directory of the test's own, tied to a directory of associations that
  // the manager does not know.
  const TOVSmrPtr<InstanceDirectory> directory(new InstanceDirectory(false));
  const TOVSmrPtr<InstanceDirectory> links(new InstanceDirectory(true));
  const TOVSmrPtr<TestInstance> own =
      link("Test_OwnLink", diskName("X", "x"), a->getInstanceName());
  const TOVSmrPtr<TestInstance> other =
      link("Test_OwnLink", diskName("X", "x"), diskName("X", "y"));
  links->insert(own);
  links->insert(other);
  directory->addAssociation(links);

  _manager.removeAssociations(a, _first, directory);

  EXPECT_EQ(own->destroyReasons(), std::vector<TOVString>{""});
  EXPECT_TRUE(other->destroyReasons().empty());
  EXPECT_EQ(inherited->destroyReasons(), std::vector<TOVString>{""});
}

TEST_F(InstanceManagerTest, RemoveAssociationsWithADirectoryWithoutTiesStillWalksTheBaseClasses) {
  declareTree();
  declare("Test_BaseLink", true);
  _manager.addAssociation("Test_Base", "Test_BaseLink");
  const TOVSmrPtr<TestInstance> a = disk("Test_Third", "a");
  const TOVSmrPtr<TestInstance> inherited =
      link("Test_BaseLink", a->getInstanceName(), diskName("X", "x"));
  _manager.registerInstance(inherited);
  const TOVSmrPtr<InstanceDirectory> directory(new InstanceDirectory(false));

  _manager.removeAssociations(a, _third, directory);

  EXPECT_EQ(inherited->destroyReasons(), std::vector<TOVString>{""});
}

// --- indications ------------------------------------------------------------

namespace {

// A provider context that runs a probe at every delivery, before it counts
// the delivery; a probe that throws makes the delivery fail.
class ProbingContext : public kest::IProviderContext {
 public:
  explicit ProbingContext(std::function<void()> probe) : _probe(std::move(probe)) {}

  void deliverIndication(const TOVString& /*nameSpace*/,
                         const TOVSmrPtr<ITovaObject>& /*indication*/) override {
    _probe();
    ++smisDeliveries;
  }
  void deliverLegacyIndication(const TOVSmrPtr<ITovaIndication>& /*indication*/) override {
    _probe();
    ++legacyDeliveries;
  }

  int smisDeliveries = 0;
  int legacyDeliveries = 0;

 private:
  std::function<void()> _probe;
};

}  // namespace

TEST_F(InstanceManagerTest, RegisterInstanceCachesTheObjectBeforeItsIndicationsAreDelivered) {
  declare("Test_Disk");
  _provider.enableIndications();
  _provider.activateSubscription(nullptr, nullptr, nullptr);
  std::vector<bool> cachedAtDelivery;
  const TOVSmrPtr<ProbingContext> context(new ProbingContext([&] {
    cachedAtDelivery.push_back(!_manager.getInstance(diskName("Test_Disk", "a")).isNull());
  }));
  _provider.setProviderContext(context);

  cachedDisk("Test_Disk", "a");

  EXPECT_EQ(context->smisDeliveries, 1);
  EXPECT_EQ(context->legacyDeliveries, 1);
  EXPECT_EQ(cachedAtDelivery, (std::vector<bool>{true, true}));
}

TEST_F(InstanceManagerTest,
       DeregisterInstanceRemovesTheObjectAndItsAssociationsBeforeItsIndicationsAreDelivered) {
  declare("Test_Disk");
  declare("Test_Link", true);
  _manager.addAssociation("Test_Disk", "Test_Link");
  const TOVSmrPtr<TestInstance> a = cachedDisk("Test_Disk", "a");
  const TOVSmrPtr<TestInstance> b = cachedDisk("Test_Disk", "b");
  const TOVSmrPtr<TestInstance> ab = link("Test_Link", a->getInstanceName(), b->getInstanceName());
  _manager.registerInstance(ab);
  _provider.enableIndications();
  _provider.activateSubscription(nullptr, nullptr, nullptr);
  std::vector<bool> cachedAtDelivery;
  std::vector<std::size_t> associationDestroysAtDelivery;
  const TOVSmrPtr<ProbingContext> context(new ProbingContext([&] {
    cachedAtDelivery.push_back(!_manager.getInstance(diskName("Test_Disk", "a")).isNull());
    associationDestroysAtDelivery.push_back(ab->destroyReasons().size());
  }));
  _provider.setProviderContext(context);

  ASSERT_TRUE(_manager.deregisterInstance(a));

  EXPECT_EQ(context->smisDeliveries, 1);
  EXPECT_EQ(context->legacyDeliveries, 1);
  EXPECT_EQ(cachedAtDelivery, (std::vector<bool>{false, false}));
  EXPECT_EQ(associationDestroysAtDelivery, (std::vector<std::size_t>{1, 1}));
}

TEST_F(InstanceManagerTest, AFailedDeliveryLeavesRegisterInstanceWithTheObjectCached) {
  declare("Test_Disk");
  _provider.enableIndications();
  _provider.activateSubscription(nullptr, nullptr, nullptr);
  const TOVSmrPtr<ProbingContext> context(new ProbingContext(
      [] { throw TovaBaseException("", "deliverIndication", "", "listener gone", 3); }));
  _provider.setProviderContext(context);
  const TOVSmrPtr<TestInstance> a = disk("Test_Disk", "a");

  const Thrown e = thrownAs<TovaBaseException>([&] { _manager.registerInstance(a); });

  ASSERT_TRUE(e.caught);
  EXPECT_EQ(e.where, "deliverIndication");
  EXPECT_EQ(e.message, "listener gone");
  EXPECT_EQ(e.code, 3);
  EXPECT_EQ(context->smisDeliveries, 0);
  EXPECT_EQ(context->legacyDeliveries, 0);
  EXPECT_EQ(_manager.getInstance(diskName("Test_Disk", "a")).get(),
            static_cast<ITovaObject*>(a.get()));
}

TEST_F(InstanceManagerTest, AFailedDeliveryLeavesDeregisterInstanceWithTheObjectRemoved) {
  declare("Test_Disk");
  const TOVSmrPtr<TestInstance> a = cachedDisk("Test_Disk", "a");
  _provider.enableIndications();
  const TOVSmrPtr<ProbingContext> context(new ProbingContext(
      [] { throw TovaBaseException("", "deliverLegacyIndication", "", "listener gone", 4); }));
  _provider.setProviderContext(context);

  const Thrown e = thrownAs<TovaBaseException>([&] { _manager.deregisterInstance(a); });

  ASSERT_TRUE(e.caught);
  EXPECT_EQ(e.where, "deliverLegacyIndication");
  EXPECT_EQ(e.code, 4);
  EXPECT_EQ(context->legacyDeliveries, 0);
  EXPECT_TRUE(_manager.getInstance(diskName("Test_Disk", "a")).isNull());
}

TEST_F(InstanceManagerTest,
       RegisterWithIndicationsOnAndNoProviderContextRaisesNullPointerAfterCaching) {
  declare("Test_Disk");
  _provider.enableIndications();
  _provider.setProviderContext(nullptr);
  const TOVSmrPtr<TestInstance> a = disk("Test_Disk", "a");

  EXPECT_THROW(_manager.registerInstance(a), TOVNullPointerException);
  EXPECT_EQ(_manager.getInstance(diskName("Test_Disk", "a")).get(),
            static_cast<ITovaObject*>(a.get()));
}

TEST_F(InstanceManagerTest, WithIndicationsDisabledNothingIsDelivered) {
  declare("Test_Disk");
  _provider.activateSubscription(nullptr, nullptr, nullptr);
  const TOVSmrPtr<TestInstance> a = cachedDisk("Test_Disk", "a");
  ASSERT_TRUE(_manager.deregisterInstance(a));

  EXPECT_EQ(_context->callCount(), 0u);
  EXPECT_EQ(_provider.lastIndicationNumber(), 0);
}

TEST_F(InstanceManagerTest, RegisterWithoutSubscribersDeliversOnlyTheNativeCreationIndication) {
  declare("Test_Disk");
  _provider.enableIndications();
  const TOVSmrPtr<TestInstance> a = disk("Test_Disk", "a");
  a->setProperty("Size", make(TOVuint64{4096}));

  _manager.registerInstance(a);

  const auto calls = _context->calls();
  ASSERT_EQ(calls.size(), 1u);
  ASSERT_EQ(calls[0].kind, CallKind::LegacyIndication);
  const TOVSmrPtr<ITovaIndication> legacy = calls[0].legacyIndication;
  EXPECT_EQ(legacy->getIndicationType(), ITovaIndication::IndicationCreation);
  EXPECT_EQ(legacy->getIntent(), 1);
  EXPECT_TRUE(legacy->getChangedProperties().isNull());
  const TOVSmrPtr<CTovaIndication> native = legacy.dynamicCast<CTovaIndication>();
  ASSERT_FALSE(native.isNull());
  EXPECT_EQ(native->getContext(), nullptr);
  EXPECT_TRUE(native->getSecondList().isNull());
  EXPECT_FALSE(native->getFlag());

  // A snapshot: another object, with the same class, name and properties.
  const TOVSmrPtr<ITovaObject> snapshot = legacy->getObject();
  ASSERT_FALSE(snapshot.isNull());
  EXPECT_NE(snapshot.get(), static_cast<ITovaObject*>(a.get()));
  EXPECT_FALSE(snapshot.dynamicCast<CTovaClientObject>().isNull());
  EXPECT_EQ(snapshot->getClassName(), "Test_Disk");
  EXPECT_TRUE(*snapshot->getInstanceName() == *a->getInstanceName());
  ASSERT_EQ(snapshot->getNumberOfProperties(true), 1u);
  EXPECT_EQ(snapshot->getPropertyByName("Size", true)->getValue()->getAsUInt64(), 4096u);
  EXPECT_EQ(_provider.lastIndicationNumber(), 0);
}

TEST_F(InstanceManagerTest, TheIndicatedSnapshotDoesNotFollowLaterChangesOfTheObject) {
  declare("Test_Disk");
  _provider.enableIndications();
  const TOVSmrPtr<TestInstance> a = disk("Test_Disk", "a");
  a->setProperty("Size", make(TOVuint64{4096}));
  _manager.registerInstance(a);

  a->setProperty("Size", make(TOVuint64{8192}));
  a->setProperty("Extra", make("x"));

  const auto legacy = _context->legacyIndications();
  ASSERT_EQ(legacy.size(), 1u);
  const TOVSmrPtr<ITovaObject> snapshot = legacy[0]->getObject();
  EXPECT_EQ(snapshot->getNumberOfProperties(true), 1u);
  EXPECT_EQ(snapshot->getPropertyByName("Size", true)->getValue()->getAsUInt64(), 4096u);
}

TEST_F(InstanceManagerTest, RegisterWithASubscriberDeliversTheInstCreationThenTheNativeIndication) {
  declare("Test_Disk");
  _provider.enableIndications();
  _provider.activateSubscription(nullptr, nullptr, nullptr);
  const TOVSmrPtr<TestInstance> a(new TestInstance(
      _manager, "Test_Disk",
      makeName("Test_Disk", "DeviceID", make("a"), makePath("server", "root/kest"))));

  _manager.registerInstance(a);

  const auto calls = _context->calls();
  ASSERT_EQ(calls.size(), 2u);
  ASSERT_EQ(calls[0].kind, CallKind::Indication);
  ASSERT_EQ(calls[1].kind, CallKind::LegacyIndication);

  EXPECT_EQ(calls[0].nameSpace, "root/kest");
  const TOVSmrPtr<ITovaObject> smis = calls[0].indication;
  EXPECT_EQ(smis->getClassName(), "CIM_InstCreation");
  EXPECT_EQ(smis->getPropertyByName("IndicationIdentifier", true)->getValue()->getAsString(),
            "OMX:Array.1");
  const TOVSmrPtr<ITovaObject> source =
      smis->getPropertyByName("SourceInstance", true)->getValue()->getObject();
  ASSERT_FALSE(source.isNull());
  EXPECT_NE(source.get(), static_cast<ITovaObject*>(a.get()));
  EXPECT_TRUE(*source->getInstanceName() == *a->getInstanceName());

  const TOVSmrPtr<ITovaIndication> legacy = calls[1].legacyIndication;
  EXPECT_EQ(legacy->getIndicationType(), ITovaIndication::IndicationCreation);
  EXPECT_EQ(legacy->getIntent(), 1);
  EXPECT_TRUE(legacy->getChangedProperties().isNull());
  // Both indications are about the one snapshot.
  EXPECT_EQ(legacy->getObject().get(), source.get());
}

TEST_F(InstanceManagerTest, EachSMISIndicationTakesTheNextIdentifier) {
  declare("Test_Disk");
  _provider.enableIndications();
  _provider.activateSubscription(nullptr, nullptr, nullptr);
  cachedDisk("Test_Disk", "a");
  cachedDisk("Test_Disk", "b");

  const auto smis = _context->indications();
  ASSERT_EQ(smis.size(), 2u);
  EXPECT_EQ(smis[0]
                .indication->getPropertyByName("IndicationIdentifier", true)
                ->getValue()
                ->getAsString(),
            "OMX:Array.1");
  EXPECT_EQ(smis[1]
                .indication->getPropertyByName("IndicationIdentifier", true)
                ->getValue()
                ->getAsString(),
            "OMX:Array.2");
  // A name without a namespace path gives the empty namespace.
  EXPECT_EQ(smis[0].nameSpace, "");
}

TEST_F(InstanceManagerTest,
       DeregisterWithASubscriberDeliversTheInstDeletionThenTheNativeIndication) {
  declare("Test_Disk");
  const TOVSmrPtr<TestInstance> a = cachedDisk("Test_Disk", "a");
  a->setProperty("Size", make(TOVuint64{4096}));
  _provider.enableIndications();
  _provider.activateSubscription(nullptr, nullptr, nullptr);

  ASSERT_TRUE(_manager.deregisterInstance(a));

  const auto calls = _context->calls();
  ASSERT_EQ(calls.size(), 2u);
  ASSERT_EQ(calls[0].kind, CallKind::Indication);
  ASSERT_EQ(calls[1].kind, CallKind::LegacyIndication);
  const TOVSmrPtr<ITovaObject> smis = calls[0].indication;
  EXPECT_EQ(smis->getClassName(), "CIM_InstDeletion");
  EXPECT_EQ(smis->getPropertyByName("IndicationIdentifier", true)->getValue()->getAsString(),
            "OMX:Array.1");
  const TOVSmrPtr<ITovaObject> source =
      smis->getPropertyByName("SourceInstance", true)->getValue()->getObject();
  ASSERT_FALSE(source.isNull());
  EXPECT_NE(source.get(), static_cast<ITovaObject*>(a.get()));
  EXPECT_TRUE(*source->getInstanceName() == *a->getInstanceName());
  EXPECT_EQ(source->getPropertyByName("Size", true)->getValue()->getAsUInt64(), 4096u);

  const TOVSmrPtr<ITovaIndication> legacy = calls[1].legacyIndication;
  EXPECT_EQ(legacy->getIndicationType(), ITovaIndication::IndicationDestruction);
  EXPECT_EQ(legacy->getIntent(), 1);
  EXPECT_TRUE(legacy->getChangedProperties().isNull());
  EXPECT_EQ(legacy->getObject().get(), source.get());
}

TEST_F(InstanceManagerTest, DeregisterWithoutSubscribersDeliversOnlyTheNativeDeletionIndication) {
  declare("Test_Disk");
  const TOVSmrPtr<TestInstance> a = cachedDisk("Test_Disk", "a");
  _provider.enableIndications();

  ASSERT_TRUE(_manager.deregisterInstance(a));

  const auto calls = _context->calls();
  ASSERT_EQ(calls.size(), 1u);
  ASSERT_EQ(calls[0].kind, CallKind::LegacyIndication);
  EXPECT_EQ(calls[0].legacyIndication->getIndicationType(), ITovaIndication::IndicationDestruction);
  EXPECT_TRUE(*calls[0].legacyIndication->getObject()->getInstanceName() == *a->getInstanceName());
}

TEST_F(InstanceManagerTest, AfterTheLastSubscriptionEndsOnlyTheNativeIndicationIsDelivered) {
  declare("Test_Disk");
  _provider.enableIndications();
  _provider.activateSubscription(nullptr, nullptr, nullptr);
  _provider.deactivateSubscription(nullptr, nullptr, nullptr);

  cachedDisk("Test_Disk", "a");

  const auto calls = _context->calls();
  ASSERT_EQ(calls.size(), 1u);
  EXPECT_EQ(calls[0].kind, CallKind::LegacyIndication);
}

TEST_F(InstanceManagerTest, GenerateIndicationsDeliversForAnyObjectWhetherCachedOrNot) {
  _provider.activateSubscription(nullptr, nullptr, nullptr);
  const TOVSmrPtr<TestInstance> loose = disk("Test_Volume", "v");

  _manager.generateIndications(loose, false);
  _manager.generateIndications(loose, true);

  const auto calls = _context->calls();
  ASSERT_EQ(calls.size(), 4u);
  EXPECT_EQ(calls[0].indication->getClassName(), "CIM_InstDeletion");
  EXPECT_EQ(calls[1].legacyIndication->getIndicationType(), ITovaIndication::IndicationDestruction);
  EXPECT_EQ(calls[2].indication->getClassName(), "CIM_InstCreation");
  EXPECT_EQ(calls[3].legacyIndication->getIndicationType(), ITovaIndication::IndicationCreation);
}
