#include "host/Indication.h"

#include <gtest/gtest.h>

#include <string>

#include "host/Object.h"
#include "support/ObjectModelBuilders.h"

using namespace kest::testing;

// ---------------------------------------------------------------------------
// ITovaIndication::IndicationType

struct IndicationTypeValue {
  ITovaIndication::IndicationType type;
  int value;
};

class IndicationTypeTest : public ::testing::TestWithParam<IndicationTypeValue> {};

TEST_P(IndicationTypeTest, EnumeratorHasTheHostsValue) {
  EXPECT_EQ(static_cast<int>(GetParam().type), GetParam().value);
}

INSTANTIATE_TEST_SUITE_P(
    AllTypes, IndicationTypeTest,
    ::testing::Values(IndicationTypeValue{ITovaIndication::IndicationInvalid, 0},
                      IndicationTypeValue{ITovaIndication::IndicationChange, 1},
                      IndicationTypeValue{ITovaIndication::IndicationAddition, 2},
                      IndicationTypeValue{ITovaIndication::IndicationRemoval, 4},
                      IndicationTypeValue{ITovaIndication::IndicationCreation, 8},
                      IndicationTypeValue{ITovaIndication::IndicationDestruction, 16},
                      IndicationTypeValue{ITovaIndication::IndicationEnterRelationship, 32},
                      IndicationTypeValue{ITovaIndication::IndicationLeaveRelationship, 64},
                      IndicationTypeValue{ITovaIndication::IndicationEnterAssociation, 128},
                      IndicationTypeValue{ITovaIndication::IndicationLeaveAssociation, 256}),
    [](const ::testing::TestParamInfo<IndicationTypeValue>& info) {
      return "Value" + std::to_string(info.param.value);
    });

// ---------------------------------------------------------------------------
// CTovaPropertyListFilter

TEST(CTovaPropertyListFilterTest, AcceptsWhenAChangedItemNamesAListedProperty) {
  CTovaPropertyListFilter filter(names({"Name", "Status"}));
  EXPECT_TRUE(filter.accepts(names({"Status"})));
  EXPECT_TRUE(filter.accepts(names({"Size", "Name"})));
}

TEST(CTovaPropertyListFilterTest, RejectsWhenNoChangedItemIsListed) {
  CTovaPropertyListFilter filter(names({"Name", "Status"}));
  EXPECT_FALSE(filter.accepts(names({"Size", "Capacity"})));
}

TEST(CTovaPropertyListFilterTest, MatchesNamesIgnoringAsciiCase) {
  CTovaPropertyListFilter filter(names({"OperationalStatus"}));
  EXPECT_TRUE(filter.accepts(names({"operationalstatus"})));
  EXPECT_TRUE(filter.accepts(names({"OPERATIONALSTATUS"})));
}

TEST(CTovaPropertyListFilterTest, FoldsOnlyAsciiLetters) {
  // U+00C9 and U+00E9 in UTF-8 differ in a byte >= 0x80, which is not folded.
  CTovaPropertyListFilter filter(names({"Caf\xC3\x89"}));
  EXPECT_FALSE(filter.accepts(names({"caf\xC3\xA9"})));
  EXPECT_TRUE(filter.accepts(names({"CAF\xC3\x89"})));
}

TEST(CTovaPropertyListFilterTest, RequiresWholeNamesNotPrefixes) {
  CTovaPropertyListFilter filter(names({"Name"}));
  EXPECT_FALSE(filter.accepts(names({"Names"})));
  EXPECT_FALSE(filter.accepts(names({"Nam"})));
}

TEST(CTovaPropertyListFilterTest, RejectsAnEmptyChangeList) {
  CTovaPropertyListFilter filter(names({"Name"}));
  EXPECT_FALSE(filter.accepts(TOVValSlist<TOVString>()));
}

TEST(CTovaPropertyListFilterTest, WithNoPropertiesAcceptsNothing) {
  CTovaPropertyListFilter filter{TOVValSlist<TOVString>()};
  EXPECT_FALSE(filter.accepts(names({"Name", "Status"})));
}

TEST(CTovaPropertyListFilterTest, KeepsItsOwnCopyOfThePropertyList) {
  TOVValSlist<TOVString> properties = names({"Name"});
  CTovaPropertyListFilter filter(properties);
  properties.clear();
  properties.append("Other");
  EXPECT_TRUE(filter.accepts(names({"Name"})));
  EXPECT_FALSE(filter.accepts(names({"Other"})));
}

TEST(CTovaPropertyListFilterTest, IsUsableThroughTheFilterInterface) {
  TOVSmrPtr<ITovaSubscriptionFilter> filter(new CTovaPropertyListFilter(names({"Name"})));
  EXPECT_TRUE(filter->accepts(names({"NAME"})));
  EXPECT_FALSE(filter->accepts(names({"Size"})));
}

// ---------------------------------------------------------------------------
// CTovaIndication

TEST(CTovaIndicationTest, GettersReturnWhatWasGiven) {
  TOVSmrPtr<ITovaObject> object(new CTovaObject("Acme_Disk"));
  TOVSmrPtr<TOVValSlist<TOVString>> changed = sharedNames({"Name", "Status"});
  TOVSmrPtr<TOVValSlist<TOVString>> second = sharedNames({"Size"});
  int marker = 0;

  CTovaIndication indication(object, ITovaIndication::IndicationChange, changed, &marker, 42,
                             second, true);

  EXPECT_EQ(indication.getObject().get(), object.get());
  EXPECT_EQ(indication.getIndicationType(), ITovaIndication::IndicationChange);
  EXPECT_EQ(indication.getChangedProperties().get(), changed.get());
  EXPECT_EQ(indication.getContext(), &marker);
  EXPECT_EQ(indication.getIntent(), 42);
  EXPECT_EQ(indication.getSecondList().get(), second.get());
  EXPECT_TRUE(indication.getFlag());
}

TEST(CTovaIndicationTest, SharesTheChangedListRatherThanCopyingIt) {
  TOVSmrPtr<TOVValSlist<TOVString>> changed = sharedNames({"Name"});
  CTovaIndication indication(nullptr, ITovaIndication::IndicationChange, changed, nullptr, 0,
                             nullptr, false);
  changed->append("Status");
  ASSERT_EQ(indication.getChangedProperties()->entries(), 2u);
  EXPECT_EQ(indication.getChangedProperties()->at(1), "Status");
  EXPECT_EQ(changed.useCount(), 2);
}

TEST(CTovaIndicationTest, AcceptsNullObjectListsAndContext) {
  CTovaIndication indication(nullptr, ITovaIndication::IndicationRemoval, nullptr, nullptr, -3,
                             nullptr, false);
  EXPECT_TRUE(indication.getObject().isNull());
  EXPECT_EQ(indication.getIndicationType(), ITovaIndication::IndicationRemoval);
  EXPECT_TRUE(indication.getChangedProperties().isNull());
  EXPECT_EQ(indication.getContext(), nullptr);
  EXPECT_EQ(indication.getIntent(), -3);
  EXPECT_TRUE(indication.getSecondList().isNull());
  EXPECT_FALSE(indication.getFlag());
}

TEST(CTovaIndicationTest, IsReadableThroughTheIndicationInterface) {
  TOVSmrPtr<ITovaObject> object(new CTovaObject("Acme_Disk"));
  TOVSmrPtr<ITovaIndication> indication(
      new CTovaIndication(object, ITovaIndication::IndicationLeaveAssociation, sharedNames({"A"}),
                          nullptr, 7, nullptr, false));
  EXPECT_EQ(indication->getObject().get(), object.get());
  EXPECT_EQ(indication->getIndicationType(), ITovaIndication::IndicationLeaveAssociation);
  ASSERT_FALSE(indication->getChangedProperties().isNull());
  EXPECT_EQ(indication->getChangedProperties()->first(), "A");
  EXPECT_EQ(indication->getIntent(), 7);
}
