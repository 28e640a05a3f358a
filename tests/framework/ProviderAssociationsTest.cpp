// The provider's association requests: associators (collector and list
// forms), associatorNames, references (collector and list forms) and
// referenceNames.

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "framework/Class.h"
#include "framework/Instance.h"
#include "framework/InstanceManager.h"
#include "framework/Provider.h"
#include "framework/Reference.h"
#include "host/CimType.h"
#include "host/Exception.h"
#include "host/InstanceName.h"
#include "host/List.h"
#include "host/Log.h"
#include "host/Object.h"
#include "host/Repository.h"
#include "host/SmartPointer.h"
#include "host/String.h"
#include "host/Value.h"
#include "streaming/VectorCollector.h"
#include "support/ObjectModelBuilders.h"
#include "support/TestInstances.h"
#include "support/TestProvider.h"
#include "tests/support/AssociationFixture.h"
#include "tests/support/Thrown.h"

using kest::VectorCollector;
using kest::pf::Class;
using kest::pf::Reference;
using kest::testing::AssociationFixture;
using kest::testing::describeAll;
using kest::testing::Fatal;
using kest::testing::fatalOf;
using kest::testing::idName;
using kest::testing::make;
using kest::testing::pointersOf;
using kest::testing::refTo;
using kest::testing::sharedNames;
using kest::testing::TestInstance;
using kest::testing::TestProvider;

namespace {

using Texts = std::vector<std::string>;
using ObjectList = kest::IProvider::ObjectList;
using ValueList = kest::IProvider::ValueList;
using PropertyList = kest::IProvider::PropertyList;

class Transaction : public ITovaTransaction {};

// The arguments a provider's collector form received, as one text.
std::string requestText(const TOVString& nameSpace, const TOVSmrPtr<ITovaInstanceName>& name,
                        const std::vector<TOVString>& texts, bool transaction, bool propertyList) {
  std::string text = nameSpace.toStdString() + "|" + name->toString().toStdString();
  for (const TOVString& each : texts) text += "|" + each.toStdString();
  text += transaction ? "|transaction" : "|no transaction";
  text += propertyList ? "|properties" : "|no properties";
  return text;
}

// Answers every associators request with fixed values and every references
// request with fixed objects, whatever the cache holds, and records what it
// was asked.
class FixedAnswersProvider : public TestProvider {
 public:
  using TestProvider::associators;
  using TestProvider::references;

  void associators(kest::ICollector<TOVSmrPtr<ITovaValue>>& results, const TOVString& nameSpace,
                   const TOVSmrPtr<ITovaInstanceName>& instanceName,
                   const TOVSmrPtr<ITovaTransaction>& tovaTransaction,
                   const TOVString& assocClassName, const TOVString& resultClassName,
                   const TOVString& role, const TOVString& resultRole,
                   const PropertyList& propertyList) override {
    asked.push_back(requestText(nameSpace, instanceName,
                                {assocClassName, resultClassName, role, resultRole},
                                !tovaTransaction.isNull(), !propertyList.isNull()));
    for (const TOVSmrPtr<ITovaValue>& value : values) results.add(value);
  }

  void references(kest::ICollector<TOVSmrPtr<ITovaObject>>& results, const TOVString& nameSpace,
                  const TOVSmrPtr<ITovaInstanceName>& instanceName,
                  const TOVSmrPtr<ITovaTransaction>& tovaTransaction,
                  const TOVString& resultClassName, const TOVString& role,
                  const PropertyList& propertyList) override {
    asked.push_back(requestText(nameSpace, instanceName, {resultClassName, role},
                                !tovaTransaction.isNull(), !propertyList.isNull()));
    for (const TOVSmrPtr<ITovaObject>& object : objects) results.add(object);
  }

  std::vector<TOVSmrPtr<ITovaValue>> values;
  std::vector<TOVSmrPtr<ITovaObject>> objects;
  std::vector<std::string> asked;
};

// Test_Element: Test_Disk, Test_Volume; Test_BasedOn (association).
// Cached: disk 1, volumes 2 and 3; links disk 1 -> volume 2, disk 1 ->
// volume 3, volume 3 -> disk 1 (Antecedent -> Dependent).
class ProviderAssociationsTest : public AssociationFixture {
 protected:
  void SetUp() override {
    const TOVSmrPtr<Class> element = declare("Test_Element");
    link(element, declare("Test_Disk"));
    link(element, declare("Test_Volume"));
    declare("Test_BasedOn", true);
    _disk = cached("Test_Disk", 1);
    _volume2 = cached("Test_Volume", 2);
    _volume3 = cached("Test_Volume", 3);
    _toVolume2 = basedOn(_disk, _volume2);
    _toVolume3 = basedOn(_disk, _volume3);
    _fromVolume3 = basedOn(_volume3, _disk);
    _provider.initialize(TOVSmrPtr<ITovaRepository>(_repository));
  }

  TOVSmrPtr<TestInstance> basedOn(const TOVSmrPtr<TestInstance>& antecedent,
                                  const TOVSmrPtr<TestInstance>& dependent) {
    return cachedAssociation("Test_BasedOn", {{"Antecedent", antecedent->getInstanceName()},
                                              {"Dependent", dependent->getInstanceName()}});
  }

  TOVSmrPtr<ITovaInstanceName> disk() const { return _disk->getInstanceName(); }

  // The provider's associators collector form in root/test, as texts.
  Texts associatorsOf(const TOVString& assocClassName, const TOVString& resultClassName,
                      const TOVString& role, const TOVString& resultRole) {
    VectorCollector<TOVSmrPtr<ITovaValue>> results;
    _provider.associators(results, "root/test", disk(), nullptr, assocClassName, resultClassName,
                          role, resultRole, nullptr);
    return describeAll(results);
  }

  TOVSmrPtr<TestInstance> _disk, _volume2, _volume3;
  TOVSmrPtr<TestInstance> _toVolume2, _toVolume3, _fromVolume3;
};

const std::string kDisk1 = "object:test_disk.id=1";
const std::string kVolume2 = "object:test_volume.id=2";
const std::string kVolume3 = "object:test_volume.id=3";

}  // namespace

// --- associators ------------------------------------------------------------------

TEST_F(ProviderAssociationsTest, AssociatorsServesTheCachedFarEnds) {
  VectorCollector<TOVSmrPtr<ITovaValue>> results;

  _provider.associators(results, "root/test", disk(),
                        TOVSmrPtr<ITovaTransaction>(new Transaction()), "Test_BasedOn", "", "", "",
                        sharedNames({"Id"}));

  ASSERT_EQ(results.rep.size(), 2u);
  EXPECT_EQ(results.rep[0]->getObject().get(), static_cast<ITovaObject*>(_volume2.get()));
  EXPECT_EQ(results.rep[1]->getObject().get(), static_cast<ITovaObject*>(_volume3.get()));
}

TEST_F(ProviderAssociationsTest, AssociatorsHandsEachFilterToItsOwnTest) {
  EXPECT_EQ(associatorsOf("Test_BasedOn", "", "Dependent", ""), Texts{kVolume3});
  EXPECT_EQ(associatorsOf("Test_BasedOn", "", "", "Antecedent"), Texts{kVolume3});
  EXPECT_EQ(associatorsOf("Test_BasedOn", "", "Antecedent", "Dependent"),
            (Texts{kVolume2, kVolume3}));
  EXPECT_TRUE(associatorsOf("Test_Volume", "", "", "").empty());
  EXPECT_TRUE(associatorsOf("Test_BasedOn", "Test_Disk", "", "").empty());
}

TEST_F(ProviderAssociationsTest, AssociatorsPassesTheNamespaceAndTheRepositoryOn) {
  VectorCollector<TOVSmrPtr<ITovaValue>> results;

  _provider.associators(results, "root/other", disk(), nullptr, "Test_BasedOn", "Test_Element", "",
                        "", nullptr);

  EXPECT_TRUE(results.rep.empty());
  // One question per association: each far end is a Test_Volume.
  EXPECT_EQ(_repository->asked, Texts(3, "root/other|Test_Volume|Test_Element"));
  EXPECT_EQ(associatorsOf("Test_BasedOn", "Test_Element", "", ""), (Texts{kVolume2, kVolume3}));
}

TEST_F(ProviderAssociationsTest, AssociatorsBeforeInitializeHasNoRepositoryToAsk) {
  TestProvider provider;
  provider.getInstanceManager().registerClass(_tree.make("Test_Volume"));
  provider.getInstanceManager().registerClass(_tree.make("Test_BasedOn", true));
  const TOVSmrPtr<TestInstance> association(
      new TestInstance(provider.getInstanceManager(), "Test_BasedOn"));
  association->setProperty("Antecedent", refTo(disk()));
  association->setProperty("Dependent", refTo(idName("Test_Volume", 2)));
  provider.getInstanceManager().registerInstance(association);
  VectorCollector<TOVSmrPtr<ITovaValue>> results;

  EXPECT_THROW(provider.associators(results, "root/test", disk(), nullptr, "Test_BasedOn",
                                    "Test_Element", "", "", nullptr),
               TOVNullPointerException);
  provider.associators(results, "root/test", disk(), nullptr, "Test_BasedOn", "", "", "", nullptr);
  EXPECT_EQ(describeAll(results), Texts{"name:test_volume.id=2"});
}

TEST_F(ProviderAssociationsTest, AssociatorsListFormGivesTheCollectorFormsValuesInOrder) {
  const ValueList list =
      _provider.associators("root/test", disk(), nullptr, "Test_BasedOn", "", "", "");
  const ValueList none =
      _provider.associators("root/test", disk(), nullptr, "No_Such_Class", "", "", "");

  ASSERT_FALSE(list.isNull());
  EXPECT_EQ(describeAll(*list), (Texts{kVolume2, kVolume3}));
  ASSERT_FALSE(none.isNull());
  EXPECT_TRUE(none->isEmpty());
}

TEST_F(ProviderAssociationsTest, AssociatorNamesGivesTheNamesOfTheCachedFarEnds) {
  VectorCollector<TOVSmrPtr<ITovaInstanceName>> names;

  _provider.associatorNames(names, "root/test", disk(), nullptr, "Test_BasedOn", "", "", "");

  ASSERT_EQ(names.rep.size(), 2u);
  EXPECT_TRUE(names.rep[0] == _volume2->getInstanceName());
  EXPECT_TRUE(names.rep[1] == _volume3->getInstanceName());
}

TEST_F(ProviderAssociationsTest, AssociatorNamesOfAFarEndThatIsNotCachedIsItsReference) {
  const TOVSmrPtr<ITovaInstanceName> absent = idName("Test_Volume", 9);
  cachedAssociation("Test_BasedOn",
                    {{"Antecedent", idName("Test_Disk", 8)}, {"Dependent", absent}});
  VectorCollector<TOVSmrPtr<ITovaInstanceName>> names;

  _provider.associatorNames(names, "root/test", idName("Test_Disk", 8), nullptr, "Test_BasedOn", "",
                            "", "");

  ASSERT_EQ(names.rep.size(), 1u);
  EXPECT_TRUE(names.rep[0] == absent);
}

// --- associatorNames over any values --------------------------------------------------

TEST_F(ProviderAssociationsTest, AssociatorNamesNamesReferencesAndEmbeddedObjectsAndSkipsNulls) {
  FixedAnswersProvider provider;
  const TOVSmrPtr<ITovaInstanceName> byName = idName("Test_Volume", 5);
  const TOVSmrPtr<ITovaInstanceName> byReference = idName("Test_Volume", 6);
  provider.values = {TOVSmrPtr<ITovaValue>(),
                     refTo(byName),
                     TOVSmrPtr<ITovaValue>(new CTovaValue(TOVSmrPtr<ITovaObject>(_volume2))),
                     TOVSmrPtr<ITovaValue>(new Reference(byReference)),
                     TOVSmrPtr<ITovaValue>(new Reference(TOVSmrPtr<ITovaObject>(_volume3))),
                     TOVSmrPtr<ITovaValue>()};
  VectorCollector<TOVSmrPtr<ITovaInstanceName>> names;

  provider.associatorNames(names, "root/test", disk(), nullptr, "Test_BasedOn", "Test_Volume",
                           "Antecedent", "Dependent");

  ASSERT_EQ(names.rep.size(), 4u);
  EXPECT_TRUE(names.rep[0] == byName);
  EXPECT_TRUE(names.rep[1] == _volume2->getInstanceName());
  EXPECT_TRUE(names.rep[2] == byReference);
  EXPECT_TRUE(names.rep[3] == _volume3->getInstanceName());
  EXPECT_EQ(provider.asked, Texts{"root/test|test_disk.id=1|Test_BasedOn|Test_Volume|Antecedent|"
                                  "Dependent|no transaction|no properties"});
}

TEST_F(ProviderAssociationsTest, AnAtomicOrArrayAssociatorValueIsFatalAndKeepsTheNamesBefore) {
  const TOVSmrPtr<TOVValSlist<TOVSmrPtr<ITovaValue>>> elements(
      new TOVValSlist<TOVSmrPtr<ITovaValue>>());
  elements->append(make(TOVuint32{5}));
  const TOVSmrPtr<ITovaValue> array(
      new CTovaValue(CTovaType::arrayOf(CimTypeCode::UInt32), elements));
  const std::vector<std::pair<const char*, TOVSmrPtr<ITovaValue>>> cases = {
      {"atomic", make(TOVuint32{7})}, {"array", array}};
  for (const auto& [label, value] : cases) {
    SCOPED_TRACE(label);
    FixedAnswersProvider provider;
    const TOVSmrPtr<ITovaInstanceName> first = idName("Test_Volume", 5);
    provider.values = {refTo(first), value, refTo(idName("Test_Volume", 6))};
    VectorCollector<TOVSmrPtr<ITovaInstanceName>> names;

    const Fatal fatal = fatalOf(
        [&] { provider.associatorNames(names, "root/test", disk(), nullptr, "", "", "", ""); });

    ASSERT_TRUE(fatal.caught);
    EXPECT_EQ(fatal.text, "! \"Unknown item type.\"");
    EXPECT_EQ(fatal.code, 51458);
    ASSERT_EQ(names.rep.size(), 1u);
    EXPECT_TRUE(names.rep[0] == first);
  }
}

TEST_F(ProviderAssociationsTest, OverridingTheCollectorAssociatorsChangesTheListFormAndTheNames) {
  FixedAnswersProvider provider;
  provider.values = {refTo(idName("Test_Volume", 5))};
  const TOVSmrPtr<ITovaTransaction> transaction(new Transaction());

  const ValueList list = provider.associators("root/test", disk(), transaction, "Test_BasedOn",
                                              "Test_Volume", "Antecedent", "Dependent");
  VectorCollector<TOVSmrPtr<ITovaInstanceName>> names;
  provider.associatorNames(names, "root/x", disk(), nullptr, "A", "B", "C", "D");

  ASSERT_FALSE(list.isNull());
  EXPECT_EQ(describeAll(*list), Texts{"name:test_volume.id=5"});
  ASSERT_EQ(names.rep.size(), 1u);
  EXPECT_EQ(names.rep[0]->toString(), "test_volume.id=5");
  EXPECT_EQ(provider.asked,
            (Texts{"root/test|test_disk.id=1|Test_BasedOn|Test_Volume|Antecedent|Dependent|"
                   "transaction|no properties",
                   "root/x|test_disk.id=1|A|B|C|D|no transaction|no properties"}));
}

// --- references ---------------------------------------------------------------------

TEST_F(ProviderAssociationsTest, ReferencesServesTheAssociationsThatReferToTheObject) {
  VectorCollector<TOVSmrPtr<ITovaObject>> results;
  VectorCollector<TOVSmrPtr<ITovaObject>> antecedents;
  VectorCollector<TOVSmrPtr<ITovaObject>> ofEveryClass;

  _provider.references(results, "root/test", disk(), TOVSmrPtr<ITovaTransaction>(new Transaction()),
                       "Test_BasedOn", "", sharedNames({"Antecedent"}));
  _provider.references(antecedents, "", disk(), nullptr, "test_basedon", "ANTECEDENT", nullptr);
  _provider.references(ofEveryClass, "root/test", disk(), nullptr, "", "", nullptr);

  const std::vector<ITovaObject*> all{_toVolume2.get(), _toVolume3.get(), _fromVolume3.get()};
  EXPECT_EQ(pointersOf(results), all);
  EXPECT_EQ(pointersOf(antecedents),
            (std::vector<ITovaObject*>{_toVolume2.get(), _toVolume3.get()}));
  EXPECT_EQ(pointersOf(ofEveryClass), all);
  EXPECT_TRUE(_repository->asked.empty());
}

TEST_F(ProviderAssociationsTest, ReferencesListFormGivesTheCollectorFormsObjectsInOrder) {
  const ObjectList list =
      _provider.references("root/test", disk(), nullptr, "Test_BasedOn", "Dependent");
  const ObjectList none = _provider.references("root/test", disk(), nullptr, "Test_Disk", "");

  ASSERT_FALSE(list.isNull());
  EXPECT_EQ(pointersOf(*list), std::vector<ITovaObject*>{_fromVolume3.get()});
  ASSERT_FALSE(none.isNull());
  EXPECT_TRUE(none->isEmpty());
}

TEST_F(ProviderAssociationsTest, ReferenceNamesGivesTheNameOfEachAssociation) {
  VectorCollector<TOVSmrPtr<ITovaInstanceName>> names;

  _provider.referenceNames(names, "root/test", disk(), nullptr, "Test_BasedOn", "Antecedent");

  ASSERT_EQ(names.rep.size(), 2u);
  EXPECT_TRUE(names.rep[0] == _toVolume2->getInstanceName());
  EXPECT_TRUE(names.rep[1] == _toVolume3->getInstanceName());
}

TEST_F(ProviderAssociationsTest, OverridingTheCollectorReferencesChangesTheListFormAndTheNames) {
  FixedAnswersProvider provider;
  provider.objects = {_toVolume3};
  const TOVSmrPtr<ITovaTransaction> transaction(new Transaction());

  const ObjectList list =
      provider.references("root/test", disk(), transaction, "Test_BasedOn", "Dependent");
  VectorCollector<TOVSmrPtr<ITovaInstanceName>> names;
  provider.referenceNames(names, "root/x", disk(), nullptr, "A", "B");

  ASSERT_FALSE(list.isNull());
  EXPECT_EQ(pointersOf(*list), std::vector<ITovaObject*>{_toVolume3.get()});
  ASSERT_EQ(names.rep.size(), 1u);
  EXPECT_TRUE(names.rep[0] == _toVolume3->getInstanceName());
  EXPECT_EQ(provider.asked,
            (Texts{"root/test|test_disk.id=1|Test_BasedOn|Dependent|transaction|no properties",
                   "root/x|test_disk.id=1|A|B|no transaction|no properties"}));
}

TEST_F(ProviderAssociationsTest, ANullObjectFromAnOverriddenReferencesIsANullPointerError) {
  FixedAnswersProvider provider;
  provider.objects = {_toVolume2, TOVSmrPtr<ITovaObject>()};
  VectorCollector<TOVSmrPtr<ITovaInstanceName>> names;

  EXPECT_THROW(provider.referenceNames(names, "root/test", disk(), nullptr, "", ""),
               TOVNullPointerException);
  EXPECT_EQ(names.rep.size(), 1u);
}
