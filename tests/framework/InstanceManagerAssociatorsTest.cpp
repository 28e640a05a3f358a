// The full associator traversal of the instance manager: the scan of a
// cached object's references, the provider's hooks, and the far ends of the
// association lists they give.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "framework/Class.h"
#include "framework/Context.h"
#include "framework/Exception.h"
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
#include "streaming/VectorCollector.h"
#include "support/ObjectModelBuilders.h"
#include "support/TestInstances.h"
#include "tests/support/AssociationFixture.h"
#include "tests/support/Thrown.h"

using kest::VectorCollector;
using kest::pf::Class;
using kest::pf::Context;
using kest::pf::Exception;
using kest::pf::Instance;
using kest::testing::AssociationFixture;
using kest::testing::describeAll;
using kest::testing::idName;
using kest::testing::make;
using kest::testing::makeName;
using kest::testing::refProperty;
using kest::testing::TestInstance;
using kest::testing::thrownAs;

namespace {

using ObjectList = Class::ObjectList;
using Texts = std::vector<std::string>;

ObjectList listOf(std::initializer_list<TOVSmrPtr<TestInstance>> associations) {
  ObjectList list(new TOVValSlist<TOVSmrPtr<ITovaObject>>());
  for (const TOVSmrPtr<TestInstance>& association : associations) list->append(association);
  return list;
}

// One call of an association class's associators function.
struct ClassHookCall {
  ITovaInstanceName* instanceName;
  TOVString nameSpace;
  Context* context;
  TOVString resultClassName;
};

// What the associators function of Test_Hooked does.
std::vector<ClassHookCall> gClassHookCalls;
ObjectList gClassHookList;
bool gClassHookHandles = false;
bool gClassHookThrows = false;

ObjectList classHook(const TOVSmrPtr<ITovaInstanceName>& instanceName, const TOVString& nameSpace,
                     Context* context, bool& handled, const TOVString& resultClassName) {
  gClassHookCalls.push_back(ClassHookCall{instanceName.get(), nameSpace, context, resultClassName});
  if (gClassHookThrows) throw Exception("classHook", "class hook failed", 99);
  if (gClassHookHandles) handled = true;
  return gClassHookList;
}

// A cached source object whose associators hook a test sets.
class HookedInstance : public TestInstance {
 public:
  using TestInstance::TestInstance;

  ObjectList associators(const TOVString& assocClassName, const TOVString& resultClassName,
                         bool& handled, Context* context) override {
    calls.push_back(assocClassName.toStdString() + "|" + resultClassName.toStdString() + "|" +
                    (context == nullptr ? "null" : "context"));
    if (throws) throw Exception("HookedInstance", "instance hook failed", 98);
    if (handles) handled = true;
    return list;
  }

  std::vector<std::string> calls;
  ObjectList list;
  bool handles = false;
  bool throws = false;
};

// The cache:
//   Test_Element: Test_Disk, Test_Volume; Test_Pool (ordinary)
//   Test_Dependency (association): Test_BasedOn (association)
//   Test_Hooked (association, with an associators function)
//   Test_Other (association)
// Cached: disk 1, volumes 2 and 3, pool 4. Not cached: disk 9, volume 9.
class InstanceManagerAssociatorsTest : public AssociationFixture {
 protected:
  void SetUp() override {
    gClassHookCalls.clear();
    gClassHookList.reset();
    gClassHookHandles = false;
    gClassHookThrows = false;
    const TOVSmrPtr<Class> element = declare("Test_Element");
    const TOVSmrPtr<Class> disk = declare("Test_Disk");
    const TOVSmrPtr<Class> volume = declare("Test_Volume");
    declare("Test_Pool");
    link(element, disk);
    link(element, volume);
    const TOVSmrPtr<Class> dependency = declare("Test_Dependency", true);
    link(dependency, declare("Test_BasedOn", true));
    declare("Test_Hooked", true, classHook);
    declare("Test_Other", true);
    _disk = TOVSmrPtr<HookedInstance>(
        new HookedInstance(manager(), "Test_Disk", idName("Test_Disk", 1)));
    manager().registerInstance(_disk);
    _volume2 = cached("Test_Volume", 2);
    _volume3 = cached("Test_Volume", 3);
    _pool = cached("Test_Pool", 4);
  }
  void TearDown() override { gClassHookList.reset(); }

  TOVSmrPtr<ITovaInstanceName> disk() const { return _disk->getInstanceName(); }
  static TOVSmrPtr<ITovaInstanceName> uncachedDisk() { return idName("Test_Disk", 9); }

  // An association of className from source (Antecedent) to target
  // (Dependent).
  TOVSmrPtr<TestInstance> basedOn(const TOVSmrPtr<ITovaInstanceName>& source,
                                  const TOVSmrPtr<ITovaInstanceName>& target,
                                  const char* className = "Test_BasedOn") {
    return cachedAssociation(className, {{"Antecedent", source}, {"Dependent", target}});
  }

  TOVSmrPtr<HookedInstance> _disk;
  TOVSmrPtr<TestInstance> _volume2, _volume3, _pool;
};

const std::string kVolume2 = "object:test_volume.id=2";
const std::string kVolume3 = "object:test_volume.id=3";
const std::string kPool4 = "object:test_pool.id=4";

}  // namespace

// --- the scan of a cached object's references ------------------------------------

TEST_F(InstanceManagerAssociatorsTest, TheFarEndsOfACachedObjectAreGivenAsTheCachedObjects) {
  basedOn(disk(), _volume2->getInstanceName());
  TOVScopedLogCapture capture;
  VectorCollector<TOVSmrPtr<ITovaValue>> results;

  manager().associators(results, "root/test", disk(), "Test_BasedOn", "", "", "",
                        TOVSmrPtr<ITovaRepository>(_repository));

  ASSERT_EQ(results.rep.size(), 1u);
  EXPECT_TRUE(results.rep[0]->getType()->isObject());
  EXPECT_EQ(results.rep[0]->getObject().get(), static_cast<ITovaObject*>(_volume2.get()));
  EXPECT_TRUE(capture.records().empty());
  EXPECT_TRUE(_repository->asked.empty());
}

TEST_F(InstanceManagerAssociatorsTest, AFarEndThatIsNotCachedIsGivenByItsName) {
  basedOn(disk(), idName("Test_Volume", 9));

  EXPECT_EQ(associators(disk(), "Test_BasedOn"), Texts{"name:test_volume.id=9"});
}

TEST_F(InstanceManagerAssociatorsTest, FarEndsFollowTheOrderOfTheReferenceScan) {
  basedOn(disk(), _volume2->getInstanceName());
  basedOn(disk(), _pool->getInstanceName(), "Test_Dependency");
  basedOn(disk(), _volume3->getInstanceName());

  EXPECT_EQ(associators(disk(), "Test_Dependency"), (Texts{kPool4, kVolume2, kVolume3}));
}

TEST_F(InstanceManagerAssociatorsTest, WithoutAnAssociationClassEveryAssociationClassIsFollowed) {
  basedOn(disk(), _volume2->getInstanceName());
  basedOn(disk(), _volume3->getInstanceName(), "Test_Other");
  basedOn(disk(), _pool->getInstanceName(), "Test_Hooked");

  Texts found = associators(disk(), "");

  std::sort(found.begin(), found.end());
  EXPECT_EQ(found, (Texts{kPool4, kVolume2, kVolume3}));
  EXPECT_TRUE(gClassHookCalls.empty());
}

TEST_F(InstanceManagerAssociatorsTest, TheAssociationClassLimitsTheScanInAnyLetterCase) {
  basedOn(disk(), _volume2->getInstanceName());
  basedOn(disk(), _volume3->getInstanceName(), "Test_Other");

  EXPECT_EQ(associators(disk(), "test_basedon"), Texts{kVolume2});
  EXPECT_EQ(associators(disk(), "TEST_OTHER"), Texts{kVolume3});
  EXPECT_TRUE(associators(disk(), "No_Such_Class").empty());
}

TEST_F(InstanceManagerAssociatorsTest, TwoAssociationsToOneFarEndYieldItOnceFromTheScan) {
  basedOn(disk(), _volume2->getInstanceName());
  basedOn(disk(), idName("TEST_VOLUME", 2));

  EXPECT_EQ(associators(disk(), "Test_BasedOn"), Texts{kVolume2});
}

TEST_F(InstanceManagerAssociatorsTest, FarEndsWhoseTextsDifferOnlyInLetterCaseAreGivenOnce) {
  basedOn(disk(), makeName("Test_Volume", "Id", make("Vol")));
  basedOn(disk(), makeName("Test_Volume", "Id", make("vol")));

  EXPECT_EQ(associators(disk(), "Test_BasedOn"), Texts{"name:test_volume.id=\"Vol\""});
}

TEST_F(InstanceManagerAssociatorsTest, OfTwoQualifyingFarEndsTheScanTakesTheLaterOne) {
  cachedAssociation("Test_BasedOn", {{"Antecedent", disk()},
                                     {"First", _volume2->getInstanceName()},
                                     {"Second", _volume3->getInstanceName()}});

  EXPECT_EQ(associators(disk(), "Test_BasedOn"), Texts{kVolume3});
}

TEST_F(InstanceManagerAssociatorsTest, PropertiesThatAreNotReferencesArePassedOver) {
  const TOVSmrPtr<TestInstance> association(new TestInstance(manager(), "Test_BasedOn"));
  association->setProperty("Tag", make("x"));
  association->setProperty(refProperty("Antecedent", disk()));
  association->setProperty("Count", make(TOVuint32{3}));
  association->setProperty(refProperty("Dependent", _volume2->getInstanceName()));
  association->setProperty("Note", make(_volume3->getInstanceName()->toString()));
  manager().registerInstance(association);

  EXPECT_EQ(associators(disk(), "Test_BasedOn"), Texts{kVolume2});
}

TEST_F(InstanceManagerAssociatorsTest, AnAssociationOfTheObjectWithItselfYieldsNothingFromTheScan) {
  basedOn(disk(), idName("TEST_DISK", 1));

  EXPECT_TRUE(associators(disk(), "Test_BasedOn").empty());
}

TEST_F(InstanceManagerAssociatorsTest, ARoleChoosesWhichReferenceIsTheSourceInAnyLetterCase) {
  basedOn(disk(), _volume2->getInstanceName());

  EXPECT_EQ(associators(disk(), "Test_BasedOn", "Antecedent"), Texts{kVolume2});
  EXPECT_EQ(associators(disk(), "Test_BasedOn", "ANTECEDENT"), Texts{kVolume2});
  EXPECT_TRUE(associators(disk(), "Test_BasedOn", "Dependent").empty());
  EXPECT_EQ(associators(_volume2->getInstanceName(), "Test_BasedOn", "dependent"),
            Texts{"object:test_disk.id=1"});
}

TEST_F(InstanceManagerAssociatorsTest, AResultRoleMatchesThePropertyNameInAnyLetterCase) {
  basedOn(disk(), _volume2->getInstanceName());

  EXPECT_EQ(associators(disk(), "Test_BasedOn", "", "Dependent"), Texts{kVolume2});
  EXPECT_EQ(associators(disk(), "Test_BasedOn", "", "dEPENDENT"), Texts{kVolume2});
  EXPECT_TRUE(associators(disk(), "Test_BasedOn", "", "Antecedent").empty());
}

TEST_F(InstanceManagerAssociatorsTest, WithAResultRoleAFirstFarEndOfAnotherNameYieldsNothing) {
  cachedAssociation("Test_BasedOn", {{"Antecedent", disk()},
                                     {"Other", _volume2->getInstanceName()},
                                     {"Wanted", _volume3->getInstanceName()}});

  EXPECT_TRUE(associators(disk(), "Test_BasedOn", "", "Wanted").empty());
  // The first far end qualifies; the next one fails and ends the scan.
  EXPECT_EQ(associators(disk(), "Test_BasedOn", "", "Other"), Texts{kVolume2});
}

TEST_F(InstanceManagerAssociatorsTest, AResultClassEqualToTheFarEndsClassNeedsNoRepository) {
  basedOn(disk(), _volume2->getInstanceName());
  VectorCollector<TOVSmrPtr<ITovaValue>> results;

  manager().associators(results, "root/test", disk(), "Test_BasedOn", "", "", "test_volume",
                        TOVSmrPtr<ITovaRepository>());

  EXPECT_EQ(describeAll(results), Texts{kVolume2});
}

TEST_F(InstanceManagerAssociatorsTest, AnotherResultClassIsAskedOfTheRepositoryForTheHeldClass) {
  basedOn(disk(), _volume2->getInstanceName());

  EXPECT_EQ(associators(disk(), "Test_BasedOn", "", "", "Test_Element"), Texts{kVolume2});
  EXPECT_TRUE(associators(disk(), "Test_BasedOn", "", "", "Test_Disk").empty());
  EXPECT_EQ(_repository->asked,
            (Texts{"root/test|Test_Volume|Test_Element", "root/test|Test_Volume|Test_Disk"}));
}

TEST_F(InstanceManagerAssociatorsTest, TheRepositoryIsAskedInTheRequestsNamespace) {
  basedOn(disk(), _volume2->getInstanceName());
  VectorCollector<TOVSmrPtr<ITovaValue>> results;

  manager().associators(results, "root/elsewhere", disk(), "Test_BasedOn", "", "", "Test_Element",
                        TOVSmrPtr<ITovaRepository>(_repository));

  EXPECT_TRUE(results.rep.empty());
  EXPECT_EQ(_repository->asked, Texts{"root/elsewhere|Test_Volume|Test_Element"});
}

TEST_F(InstanceManagerAssociatorsTest, AFarEndThatFailsTheResultClassEndsTheScanKeepingTheChoice) {
  cachedAssociation("Test_BasedOn", {{"Antecedent", disk()},
                                     {"Good", _volume2->getInstanceName()},
                                     {"Bad", _pool->getInstanceName()},
                                     {"Later", _volume3->getInstanceName()}});

  EXPECT_EQ(associators(disk(), "Test_BasedOn", "", "", "Test_Volume"), Texts{kVolume2});
  EXPECT_EQ(_repository->asked, Texts{"root/test|Test_Pool|Test_Volume"});
}

TEST_F(InstanceManagerAssociatorsTest, AResultClassTestWithoutARepositoryIsANullPointerError) {
  basedOn(disk(), _volume2->getInstanceName());
  basedOn(disk(), _pool->getInstanceName());
  VectorCollector<TOVSmrPtr<ITovaValue>> results;

  EXPECT_THROW(manager().associators(results, "root/test", disk(), "Test_BasedOn", "", "",
                                     "Test_Volume", TOVSmrPtr<ITovaRepository>()),
               TOVNullPointerException);
  // What was added before stays.
  EXPECT_EQ(describeAll(results), Texts{kVolume2});
}

// --- the instance's hook ---------------------------------------------------------------

TEST_F(InstanceManagerAssociatorsTest, TheInstanceHookIsAskedWithTheClassFiltersAndNoContext) {
  basedOn(disk(), _volume2->getInstanceName());

  EXPECT_EQ(associators(disk(), "Test_BasedOn", "Antecedent", "Dependent", "Test_Volume"),
            Texts{kVolume2});
  EXPECT_EQ(_disk->calls, Texts{"Test_BasedOn|Test_Volume|null"});
}

TEST_F(InstanceManagerAssociatorsTest, AnInstanceHookThatTakesOverReplacesTheScan) {
  basedOn(disk(), _volume2->getInstanceName());
  _disk->handles = true;
  _disk->list =
      listOf({association("Test_BasedOn",
                          {{"Antecedent", disk()}, {"Dependent", _volume3->getInstanceName()}}),
              association("Test_BasedOn",
                          {{"Antecedent", disk()}, {"Dependent", _volume3->getInstanceName()}}),
              association("Test_BasedOn", {{"Antecedent", disk()},
                                           {"First", _pool->getInstanceName()},
                                           {"Second", idName("Test_Volume", 9)}})});

  EXPECT_EQ(associators(disk(), "Test_BasedOn"),
            (Texts{kVolume3, kVolume3, kPool4, "name:test_volume.id=9"}));
}

TEST_F(InstanceManagerAssociatorsTest, AnInstanceHookThatTakesOverWithoutAListYieldsNothing) {
  basedOn(disk(), _volume2->getInstanceName());
  _disk->handles = true;

  EXPECT_TRUE(associators(disk(), "Test_BasedOn").empty());
  EXPECT_TRUE(gClassHookCalls.empty());
}

TEST_F(InstanceManagerAssociatorsTest, ADecliningInstanceHookHasItsListFollowedAfterTheScan) {
  basedOn(disk(), _volume2->getInstanceName());
  _disk->list =
      listOf({association("Test_Other",
                          {{"Antecedent", disk()}, {"Dependent", _volume3->getInstanceName()}}),
              association("Test_Other",
                          {{"Antecedent", disk()}, {"Dependent", _volume2->getInstanceName()}})});

  EXPECT_EQ(associators(disk(), "Test_BasedOn"), (Texts{kVolume2, kVolume3, kVolume2}));
}

TEST_F(InstanceManagerAssociatorsTest, AnErrorOfTheInstanceHookPassesThrough) {
  _disk->throws = true;

  const auto thrown = thrownAs<Exception>([&] { associators(disk(), "Test_BasedOn"); });

  EXPECT_TRUE(thrown.caught);
  EXPECT_EQ(thrown.message, "instance hook failed");
  EXPECT_EQ(thrown.code, 98);
}

// --- an object that is not cached ------------------------------------------------------

TEST_F(InstanceManagerAssociatorsTest,
       AnUncachedObjectGetsTheFarEndsOfItsReferencesDuplicatesKept) {
  basedOn(uncachedDisk(), _volume2->getInstanceName());
  basedOn(uncachedDisk(), _volume2->getInstanceName());
  basedOn(uncachedDisk(), idName("Test_Volume", 9));
  basedOn(disk(), _volume3->getInstanceName());

  EXPECT_EQ(associators(uncachedDisk(), "Test_BasedOn"),
            (Texts{kVolume2, kVolume2, "name:test_volume.id=9"}));
  EXPECT_EQ(associators(uncachedDisk(), "TEST_DEPENDENCY"),
            (Texts{kVolume2, kVolume2, "name:test_volume.id=9"}));
}

TEST_F(InstanceManagerAssociatorsTest,
       AnUncachedObjectWithoutADeclaredAssociationClassGetsNothing) {
  basedOn(uncachedDisk(), _volume2->getInstanceName());
  TOVScopedLogCapture capture;

  EXPECT_TRUE(associators(uncachedDisk(), "").empty());
  EXPECT_TRUE(associators(uncachedDisk(), "No_Such_Class").empty());
  EXPECT_TRUE(capture.records().empty());
}

TEST_F(InstanceManagerAssociatorsTest, TheClassHookAnswersForAnUncachedObject) {
  basedOn(uncachedDisk(), _volume3->getInstanceName(), "Test_Hooked");
  gClassHookHandles = true;
  gClassHookList =
      listOf({association("Test_Hooked", {{"Antecedent", uncachedDisk()},
                                          {"Dependent", _volume2->getInstanceName()}})});
  const TOVSmrPtr<ITovaInstanceName> source = uncachedDisk();

  EXPECT_EQ(associators(source, "test_hooked", "", "", "Test_Volume"), Texts{kVolume2});
  ASSERT_EQ(gClassHookCalls.size(), 1u);
  EXPECT_EQ(gClassHookCalls[0].instanceName, source.get());
  EXPECT_EQ(gClassHookCalls[0].nameSpace, "root/test");
  EXPECT_EQ(gClassHookCalls[0].context, nullptr);
  EXPECT_EQ(gClassHookCalls[0].resultClassName, "Test_Volume");
}

TEST_F(InstanceManagerAssociatorsTest, ADecliningClassHookFallsBackToTheReferenceList) {
  basedOn(uncachedDisk(), _volume3->getInstanceName(), "Test_Hooked");
  gClassHookList =
      listOf({association("Test_Hooked", {{"Antecedent", uncachedDisk()},
                                          {"Dependent", _volume2->getInstanceName()}})});

  EXPECT_EQ(associators(uncachedDisk(), "Test_Hooked"), Texts{kVolume3});
  EXPECT_EQ(gClassHookCalls.size(), 1u);
}

TEST_F(InstanceManagerAssociatorsTest, TheClassHookIsNotAskedForACachedObject) {
  basedOn(disk(), _volume3->getInstanceName(), "Test_Hooked");

  EXPECT_EQ(associators(disk(), "Test_Hooked"), Texts{kVolume3});
  EXPECT_TRUE(gClassHookCalls.empty());
}

TEST_F(InstanceManagerAssociatorsTest, AnErrorOfTheClassHookPassesThrough) {
  gClassHookThrows = true;

  const auto thrown = thrownAs<Exception>([&] { associators(uncachedDisk(), "Test_Hooked"); });

  EXPECT_TRUE(thrown.caught);
  EXPECT_EQ(thrown.where, "classHook");
  EXPECT_EQ(thrown.code, 99);
}

// --- the far ends of a list --------------------------------------------------------------

TEST_F(InstanceManagerAssociatorsTest, FromAListEveryQualifyingFarEndIsGiven) {
  cachedAssociation("Test_BasedOn", {{"Antecedent", uncachedDisk()},
                                     {"First", _volume2->getInstanceName()},
                                     {"Second", _volume3->getInstanceName()}});

  EXPECT_EQ(associators(uncachedDisk(), "Test_BasedOn"), (Texts{kVolume2, kVolume3}));
  EXPECT_EQ(associators(uncachedDisk(), "Test_BasedOn", "", "SECOND"), Texts{kVolume3});
}

TEST_F(InstanceManagerAssociatorsTest, FromAListAnAssociationOfTheObjectWithItselfGivesTheObject) {
  basedOn(uncachedDisk(), idName("TEST_DISK", 9));

  EXPECT_EQ(associators(uncachedDisk(), "Test_BasedOn"), Texts{"name:test_disk.id=9"});
}

TEST_F(InstanceManagerAssociatorsTest, FromAListTheRoleChoosesTheSourceEndInAnyLetterCase) {
  gClassHookHandles = true;
  gClassHookList =
      listOf({association("Test_Hooked", {{"Antecedent", uncachedDisk()},
                                          {"Dependent", _volume2->getInstanceName()}})});

  EXPECT_EQ(associators(uncachedDisk(), "Test_Hooked", "aNTECEDENT"), Texts{kVolume2});
  EXPECT_TRUE(associators(uncachedDisk(), "Test_Hooked", "Dependent").empty());
}

TEST_F(InstanceManagerAssociatorsTest, FromAListTheRepositoryIsAskedAboutTheDeclaredClassFirst) {
  const TOVSmrPtr<TestInstance> association(new TestInstance(manager(), "Test_BasedOn"));
  association->setProperty(refProperty("Antecedent", uncachedDisk()));
  association->setProperty(TOVSmrPtr<ITovaProperty>(
      new CTovaProperty("Dependent", CTovaType::reference("Test_Element"),
                        kest::testing::refTo(_volume2->getInstanceName()), false)));
  manager().registerInstance(association);

  EXPECT_EQ(associators(uncachedDisk(), "Test_BasedOn", "", "", "Test_Element"), Texts{kVolume2});
  EXPECT_EQ(associators(uncachedDisk(), "Test_BasedOn", "", "", "test_volume"), Texts{kVolume2});
  EXPECT_TRUE(associators(uncachedDisk(), "Test_BasedOn", "", "", "Test_Disk").empty());
  EXPECT_EQ(_repository->asked,
            (Texts{"root/test|Test_Element|Test_Element", "root/test|Test_Element|test_volume",
                   "root/test|Test_Element|Test_Disk"}));
}

TEST_F(InstanceManagerAssociatorsTest, FromAListAResultClassWithoutARepositoryIsANullPointerError) {
  basedOn(uncachedDisk(), _volume2->getInstanceName());
  VectorCollector<TOVSmrPtr<ITovaValue>> results;

  EXPECT_THROW(manager().associators(results, "root/test", uncachedDisk(), "Test_BasedOn", "", "",
                                     "Test_Volume", TOVSmrPtr<ITovaRepository>()),
               TOVNullPointerException);
}

TEST_F(InstanceManagerAssociatorsTest,
       FromAListANonReferenceBeforeTheSourceEndIsANullPointerError) {
  const TOVSmrPtr<TestInstance> keyFirst(new TestInstance(manager(), "Test_Hooked"));
  keyFirst->setProperty("InstanceID", make("k1"));
  keyFirst->setProperty(refProperty("Antecedent", uncachedDisk()));
  keyFirst->setProperty(refProperty("Dependent", _volume2->getInstanceName()));
  const TOVSmrPtr<TestInstance> keyAfter(new TestInstance(manager(), "Test_Hooked"));
  keyAfter->setProperty(refProperty("Antecedent", uncachedDisk()));
  keyAfter->setProperty("InstanceID", make("k2"));
  keyAfter->setProperty(refProperty("Dependent", _volume3->getInstanceName()));
  gClassHookHandles = true;

  gClassHookList = listOf({keyAfter});
  EXPECT_EQ(associators(uncachedDisk(), "Test_Hooked"), Texts{kVolume3});
  gClassHookList = listOf({keyAfter, keyFirst});
  VectorCollector<TOVSmrPtr<ITovaValue>> results;
  EXPECT_THROW(manager().associators(results, "root/test", uncachedDisk(), "Test_Hooked", "", "",
                                     "", TOVSmrPtr<ITovaRepository>(_repository)),
               TOVNullPointerException);
  EXPECT_EQ(describeAll(results), Texts{kVolume3});
}
