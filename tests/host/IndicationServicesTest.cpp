#include "host/IndicationServices.h"

#include <gtest/gtest.h>

#include <cctype>
#include <chrono>
#include <cstdio>
#include <initializer_list>
#include <string>

#include "host/CimType.h"
#include "host/Exception.h"
#include "host/InstanceName.h"
#include "host/NameSpacePath.h"
#include "host/Object.h"
#include "host/Property.h"
#include "host/Value.h"
#include "support/ObjectModelBuilders.h"

using namespace kest::testing;

namespace {

using Type = ITovaIndication::IndicationType;

// A filter with a fixed answer that counts how often it was asked.
class FixedFilter : public ITovaSubscriptionFilter {
 public:
  explicit FixedFilter(bool answer) : _answer(answer) {}
  bool accepts(const TOVValSlist<TOVString>&) const override {
    ++calls;
    return _answer;
  }
  mutable int calls = 0;

 private:
  bool _answer;
};

TOVSmrPtr<ITovaSubscriptionFilter> propertyFilter(std::initializer_list<const char*> items) {
  return TOVSmrPtr<ITovaSubscriptionFilter>(new CTovaPropertyListFilter(names(items)));
}

class NullSubscriber : public ITovaSubscriber {
 public:
  void notify(const TOVSmrPtr<ITovaIndication>&) override {}
};

TOVSmrPtr<ITovaInstanceName> diskName(const TOVSmrPtr<ITovaNameSpacePath>& path) {
  TOVPropertyList keys(new TOVValSlist<TOVSmrPtr<ITovaProperty>>());
  keys->append(TOVSmrPtr<ITovaProperty>(
      new CTovaProperty("DeviceID", TOVSmrPtr<ITovaValue>(new CTovaValue("d1")), false)));
  return TOVSmrPtr<ITovaInstanceName>(new CTovaInstanceName("Acme_Disk", keys, path));
}

TOVSmrPtr<ITovaObject> namedDisk(const TOVSmrPtr<ITovaNameSpacePath>& path = nullptr) {
  TOVSmrPtr<CTovaObject> object(new CTovaObject("Acme_Disk"));
  object->setInstanceName(diskName(path));
  object->setProperty("DeviceID", TOVSmrPtr<ITovaValue>(new CTovaValue("d1")));
  return CTovaObject::iPtr(object);
}

TOVSmrPtr<ITovaObject> unnamedDisk() {
  return TOVSmrPtr<ITovaObject>(new CTovaObject("Acme_Disk"));
}

TOVSmrPtr<ITovaValue> valueOf(const TOVSmrPtr<CTovaObject>& object, const char* property) {
  TOVSmrPtr<ITovaProperty> found = object->getPropertyByName(property, true);
  if (!found) return nullptr;
  return found->getValue();
}

// The current UTC time as CIM datetime text, computed independently of the
// code under test through the calendar types.
std::string cimNow() {
  using namespace std::chrono;
  const auto now = floor<microseconds>(system_clock::now());
  const auto day = floor<days>(now);
  const year_month_day date{day};
  const hh_mm_ss<microseconds> time{now - day};
  char text[64];
  std::snprintf(text, sizeof text, "%04d%02u%02u%02lld%02lld%02lld.%06lld+000",
                static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
                static_cast<unsigned>(date.day()), static_cast<long long>(time.hours().count()),
                static_cast<long long>(time.minutes().count()),
                static_cast<long long>(time.seconds().count()),
                static_cast<long long>(time.subseconds().count()));
  return text;
}

}  // namespace

// ---------------------------------------------------------------------------
// CTovaIndicationFilterProcessor

TEST(CTovaIndicationFilterProcessorTest, StartsWithNoSubscriptions) {
  CTovaIndicationFilterProcessor processor;
  EXPECT_FALSE(processor.willTriggerNotification());
  for (Type type :
       {ITovaIndication::IndicationInvalid, ITovaIndication::IndicationChange,
        ITovaIndication::IndicationAddition, ITovaIndication::IndicationRemoval,
        ITovaIndication::IndicationCreation, ITovaIndication::IndicationDestruction,
        ITovaIndication::IndicationEnterRelationship, ITovaIndication::IndicationLeaveRelationship,
        ITovaIndication::IndicationEnterAssociation, ITovaIndication::IndicationLeaveAssociation}) {
    EXPECT_EQ(processor.getCount(type), 0u) << type;
    EXPECT_FALSE(processor.notificationNeeded(type, names({"Name"}))) << type;
  }
}

TEST(CTovaIndicationFilterProcessorTest, SubscribeCountsAndReportsTheNewCount) {
  CTovaIndicationFilterProcessor processor;
  unsigned int count = 99;
  processor.subscribe(ITovaIndication::IndicationChange, nullptr, nullptr, &count);
  EXPECT_EQ(count, 1u);
  processor.subscribe(ITovaIndication::IndicationChange, nullptr, nullptr, &count);
  EXPECT_EQ(count, 2u);
  EXPECT_EQ(processor.getCount(ITovaIndication::IndicationChange), 2u);
}

TEST(CTovaIndicationFilterProcessorTest, CountPointersAreOptional) {
  CTovaIndicationFilterProcessor processor;
  processor.subscribe(ITovaIndication::IndicationCreation, nullptr, nullptr, nullptr);
  processor.subscribe(ITovaIndication::IndicationCreation, nullptr, nullptr, nullptr);
  processor.unsubscribe(ITovaIndication::IndicationCreation, nullptr, nullptr, nullptr);
  EXPECT_EQ(processor.getCount(ITovaIndication::IndicationCreation), 1u);
}

TEST(CTovaIndicationFilterProcessorTest, UnsubscribeDecrementsAndReportsTheNewCount) {
  CTovaIndicationFilterProcessor processor;
  processor.subscribe(ITovaIndication::IndicationAddition, nullptr, nullptr, nullptr);
  processor.subscribe(ITovaIndication::IndicationAddition, nullptr, nullptr, nullptr);
  unsigned int count = 99;
  processor.unsubscribe(ITovaIndication::IndicationAddition, nullptr, nullptr, &count);
  EXPECT_EQ(count, 1u);
  processor.unsubscribe(ITovaIndication::IndicationAddition, nullptr, nullptr, &count);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(processor.getCount(ITovaIndication::IndicationAddition), 0u);
}

TEST(CTovaIndicationFilterProcessorTest, UnsubscribeNeverGoesBelowZero) {
  CTovaIndicationFilterProcessor processor;
  unsigned int count = 99;
  processor.unsubscribe(ITovaIndication::IndicationRemoval, nullptr, nullptr, &count);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(processor.getCount(ITovaIndication::IndicationRemoval), 0u);
  processor.subscribe(ITovaIndication::IndicationRemoval, nullptr, nullptr, &count);
  EXPECT_EQ(count, 1u);
}

TEST(CTovaIndicationFilterProcessorTest, KeepsCountsPerType) {
  CTovaIndicationFilterProcessor processor;
  processor.subscribe(ITovaIndication::IndicationChange, nullptr, nullptr, nullptr);
  processor.subscribe(ITovaIndication::IndicationLeaveAssociation, nullptr, nullptr, nullptr);
  processor.subscribe(ITovaIndication::IndicationLeaveAssociation, nullptr, nullptr, nullptr);
  EXPECT_EQ(processor.getCount(ITovaIndication::IndicationChange), 1u);
  EXPECT_EQ(processor.getCount(ITovaIndication::IndicationLeaveAssociation), 2u);
  EXPECT_EQ(processor.getCount(ITovaIndication::IndicationEnterAssociation), 0u);
  EXPECT_EQ(processor.getCount(ITovaIndication::IndicationInvalid), 0u);
}

TEST(CTovaIndicationFilterProcessorTest, WillTriggerNotificationWhileAnyTypeIsSubscribed) {
  CTovaIndicationFilterProcessor processor;
  processor.subscribe(ITovaIndication::IndicationDestruction, nullptr, nullptr, nullptr);
  EXPECT_TRUE(processor.willTriggerNotification());
  processor.subscribe(ITovaIndication::IndicationChange, nullptr, nullptr, nullptr);
  processor.unsubscribe(ITovaIndication::IndicationDestruction, nullptr, nullptr, nullptr);
  EXPECT_TRUE(processor.willTriggerNotification());
  processor.unsubscribe(ITovaIndication::IndicationChange, nullptr, nullptr, nullptr);
  EXPECT_FALSE(processor.willTriggerNotification());
}

TEST(CTovaIndicationFilterProcessorTest, InvalidTypeSubscriptionAlsoTriggers) {
  CTovaIndicationFilterProcessor processor;
  processor.subscribe(ITovaIndication::IndicationInvalid, nullptr, nullptr, nullptr);
  EXPECT_TRUE(processor.willTriggerNotification());
  EXPECT_TRUE(processor.notificationNeeded(ITovaIndication::IndicationInvalid, names({})));
}

TEST(CTovaIndicationFilterProcessorTest, WithoutFilterEverySubscribedChangeIsNeeded) {
  CTovaIndicationFilterProcessor processor;
  processor.subscribe(ITovaIndication::IndicationChange, nullptr, nullptr, nullptr);
  EXPECT_TRUE(processor.notificationNeeded(ITovaIndication::IndicationChange, names({"Any"})));
  EXPECT_TRUE(processor.notificationNeeded(ITovaIndication::IndicationChange, names({})));
}

TEST(CTovaIndicationFilterProcessorTest, UnsubscribedTypeIsNotNeededEvenWhenOthersAre) {
  CTovaIndicationFilterProcessor processor;
  processor.subscribe(ITovaIndication::IndicationChange, nullptr, nullptr, nullptr);
  EXPECT_FALSE(processor.notificationNeeded(ITovaIndication::IndicationCreation, names({"A"})));
  EXPECT_FALSE(processor.notificationNeeded(ITovaIndication::IndicationInvalid, names({"A"})));
}

TEST(CTovaIndicationFilterProcessorTest, FilterDecidesWhetherTheChangeIsNeeded) {
  CTovaIndicationFilterProcessor processor;
  processor.subscribe(ITovaIndication::IndicationChange, propertyFilter({"Status"}), nullptr,
                      nullptr);
  EXPECT_TRUE(
      processor.notificationNeeded(ITovaIndication::IndicationChange, names({"Size", "status"})));
  EXPECT_FALSE(processor.notificationNeeded(ITovaIndication::IndicationChange, names({"Size"})));
  EXPECT_FALSE(processor.notificationNeeded(ITovaIndication::IndicationChange, names({})));
}

TEST(CTovaIndicationFilterProcessorTest, FilterIsNotAskedWhenTheTypeIsNotSubscribed) {
  CTovaIndicationFilterProcessor processor;
  auto* filter = new FixedFilter(true);
  TOVSmrPtr<ITovaSubscriptionFilter> held(filter);
  processor.subscribe(ITovaIndication::IndicationChange, held, nullptr, nullptr);
  EXPECT_FALSE(processor.notificationNeeded(ITovaIndication::IndicationAddition, names({"A"})));
  EXPECT_EQ(filter->calls, 0);
  EXPECT_TRUE(processor.notificationNeeded(ITovaIndication::IndicationChange, names({"A"})));
  EXPECT_EQ(filter->calls, 1);
}

TEST(CTovaIndicationFilterProcessorTest, FilterAppliesOnlyToItsOwnType) {
  CTovaIndicationFilterProcessor processor;
  processor.subscribe(ITovaIndication::IndicationChange, propertyFilter({"Status"}), nullptr,
                      nullptr);
  processor.subscribe(ITovaIndication::IndicationCreation, nullptr, nullptr, nullptr);
  EXPECT_TRUE(processor.notificationNeeded(ITovaIndication::IndicationCreation, names({"Size"})));
  EXPECT_FALSE(processor.notificationNeeded(ITovaIndication::IndicationChange, names({"Size"})));
}

TEST(CTovaIndicationFilterProcessorTest, LaterFilterReplacesTheEarlierOne) {
  CTovaIndicationFilterProcessor processor;
  processor.subscribe(ITovaIndication::IndicationChange, propertyFilter({"Status"}), nullptr,
                      nullptr);
  processor.subscribe(ITovaIndication::IndicationChange, propertyFilter({"Size"}), nullptr,
                      nullptr);
  EXPECT_TRUE(processor.notificationNeeded(ITovaIndication::IndicationChange, names({"Size"})));
  EXPECT_FALSE(processor.notificationNeeded(ITovaIndication::IndicationChange, names({"Status"})));
}

TEST(CTovaIndicationFilterProcessorTest, SubscribingWithoutFilterKeepsTheExistingFilter) {
  CTovaIndicationFilterProcessor processor;
  processor.subscribe(ITovaIndication::IndicationChange, propertyFilter({"Status"}), nullptr,
                      nullptr);
  processor.subscribe(ITovaIndication::IndicationChange, nullptr, nullptr, nullptr);
  EXPECT_EQ(processor.getCount(ITovaIndication::IndicationChange), 2u);
  EXPECT_FALSE(processor.notificationNeeded(ITovaIndication::IndicationChange, names({"Size"})));
  EXPECT_TRUE(processor.notificationNeeded(ITovaIndication::IndicationChange, names({"Status"})));
}

TEST(CTovaIndicationFilterProcessorTest, SecondFilterMustAcceptToo) {
  CTovaIndicationFilterProcessor processor;
  processor.subscribe(ITovaIndication::IndicationChange, propertyFilter({"Status", "Size"}),
                      propertyFilter({"Size"}), nullptr);
  EXPECT_TRUE(processor.notificationNeeded(ITovaIndication::IndicationChange, names({"Size"})));
  EXPECT_FALSE(processor.notificationNeeded(ITovaIndication::IndicationChange, names({"Status"})));
}

TEST(CTovaIndicationFilterProcessorTest, SecondFilterAloneDecides) {
  CTovaIndicationFilterProcessor processor;
  processor.subscribe(ITovaIndication::IndicationChange, nullptr, propertyFilter({"Size"}),
                      nullptr);
  EXPECT_TRUE(processor.notificationNeeded(ITovaIndication::IndicationChange, names({"SIZE"})));
  EXPECT_FALSE(processor.notificationNeeded(ITovaIndication::IndicationChange, names({"Name"})));
}

TEST(CTovaIndicationFilterProcessorTest, SubscribingWithoutSecondFilterKeepsTheExistingOne) {
  CTovaIndicationFilterProcessor processor;
  processor.subscribe(ITovaIndication::IndicationChange, nullptr, propertyFilter({"Size"}),
                      nullptr);
  processor.subscribe(ITovaIndication::IndicationChange, propertyFilter({"Size", "Name"}), nullptr,
                      nullptr);
  EXPECT_FALSE(processor.notificationNeeded(ITovaIndication::IndicationChange, names({"Name"})));
  EXPECT_TRUE(processor.notificationNeeded(ITovaIndication::IndicationChange, names({"Size"})));
}

TEST(CTovaIndicationFilterProcessorTest, UnsubscribeAboveZeroKeepsTheFilters) {
  CTovaIndicationFilterProcessor processor;
  processor.subscribe(ITovaIndication::IndicationChange, propertyFilter({"Status"}),
                      propertyFilter({"Status"}), nullptr);
  processor.subscribe(ITovaIndication::IndicationChange, nullptr, nullptr, nullptr);
  processor.unsubscribe(ITovaIndication::IndicationChange, nullptr, nullptr, nullptr);
  EXPECT_FALSE(processor.notificationNeeded(ITovaIndication::IndicationChange, names({"Size"})));
  EXPECT_TRUE(processor.notificationNeeded(ITovaIndication::IndicationChange, names({"Status"})));
}

TEST(CTovaIndicationFilterProcessorTest, LastUnsubscribeClearsBothFilters) {
  CTovaIndicationFilterProcessor processor;
  auto* first = new FixedFilter(false);
  auto* second = new FixedFilter(false);
  TOVSmrPtr<ITovaSubscriptionFilter> firstHeld(first);
  TOVSmrPtr<ITovaSubscriptionFilter> secondHeld(second);
  processor.subscribe(ITovaIndication::IndicationChange, firstHeld, secondHeld, nullptr);
  EXPECT_EQ(firstHeld.useCount(), 2);
  EXPECT_EQ(secondHeld.useCount(), 2);

  processor.unsubscribe(ITovaIndication::IndicationChange, nullptr, nullptr, nullptr);
  EXPECT_EQ(firstHeld.useCount(), 1);
  EXPECT_EQ(secondHeld.useCount(), 1);

  processor.subscribe(ITovaIndication::IndicationChange, nullptr, nullptr, nullptr);
  EXPECT_TRUE(processor.notificationNeeded(ITovaIndication::IndicationChange, names({"Size"})));
  EXPECT_EQ(first->calls, 0);
  EXPECT_EQ(second->calls, 0);
}

TEST(CTovaIndicationFilterProcessorTest, UnsubscribeOfOneTypeLeavesOtherFiltersAlone) {
  CTovaIndicationFilterProcessor processor;
  processor.subscribe(ITovaIndication::IndicationChange, propertyFilter({"Status"}), nullptr,
                      nullptr);
  processor.subscribe(ITovaIndication::IndicationCreation, nullptr, nullptr, nullptr);
  processor.unsubscribe(ITovaIndication::IndicationCreation, nullptr, nullptr, nullptr);
  EXPECT_FALSE(processor.notificationNeeded(ITovaIndication::IndicationChange, names({"Size"})));
  EXPECT_TRUE(processor.notificationNeeded(ITovaIndication::IndicationChange, names({"Status"})));
}

TEST(CTovaIndicationFilterProcessorTest, ValuesOutsideTheEnumerationCountAsInvalid) {
  CTovaIndicationFilterProcessor processor;
  unsigned int count = 0;
  processor.subscribe(static_cast<Type>(3), nullptr, nullptr, &count);
  EXPECT_EQ(count, 1u);
  processor.subscribe(static_cast<Type>(511), nullptr, nullptr, &count);
  EXPECT_EQ(count, 2u);
  EXPECT_EQ(processor.getCount(ITovaIndication::IndicationInvalid), 2u);
  EXPECT_EQ(processor.getCount(static_cast<Type>(6)), 2u);
  EXPECT_EQ(processor.getCount(ITovaIndication::IndicationChange), 0u);
  EXPECT_EQ(processor.getCount(ITovaIndication::IndicationAddition), 0u);
  EXPECT_TRUE(processor.notificationNeeded(ITovaIndication::IndicationInvalid, names({})));
  processor.unsubscribe(ITovaIndication::IndicationInvalid, nullptr, nullptr, &count);
  EXPECT_EQ(count, 1u);
}

// ---------------------------------------------------------------------------
// CNotificationSubscription

TEST(CNotificationSubscriptionTest, ReportsTheSubscriberAndTypeMaskItWasGiven) {
  TOVSmrPtr<ITovaSubscriber> subscriber(new NullSubscriber());
  const unsigned int mask =
      ITovaIndication::IndicationChange | ITovaIndication::IndicationDestruction;
  CNotificationSubscription subscription(subscriber, mask);
  EXPECT_EQ(subscription.getSubscriber().get(), subscriber.get());
  EXPECT_EQ(subscription.getTypeMask(), mask);
}

TEST(CNotificationSubscriptionTest, AcceptsANullSubscriber) {
  CNotificationSubscription subscription(nullptr, 0);
  EXPECT_TRUE(subscription.getSubscriber().isNull());
  EXPECT_EQ(subscription.getTypeMask(), 0u);
}

TEST(CNotificationSubscriptionTest, StartsWithAnEmptyFilterProcessor) {
  CNotificationSubscription subscription(nullptr, ITovaIndication::IndicationChange);
  EXPECT_FALSE(subscription.getIndicationFilterProcessor().willTriggerNotification());
}

TEST(CNotificationSubscriptionTest, HandsOutTheSameProcessorEveryCall) {
  CNotificationSubscription subscription(nullptr, ITovaIndication::IndicationChange);
  CTovaIndicationFilterProcessor& first = subscription.getIndicationFilterProcessor();
  CTovaIndicationFilterProcessor& second = subscription.getIndicationFilterProcessor();
  const CNotificationSubscription& constView = subscription;
  EXPECT_EQ(&first, &second);
  EXPECT_EQ(&constView.getIndicationFilterProcessor(), &first);
}

TEST(CNotificationSubscriptionTest, ProcessorKeepsChangesMadeThroughTheReference) {
  CNotificationSubscription subscription(nullptr, ITovaIndication::IndicationChange);
  subscription.getIndicationFilterProcessor().subscribe(ITovaIndication::IndicationChange, nullptr,
                                                        nullptr, nullptr);
  const CNotificationSubscription& constView = subscription;
  EXPECT_EQ(constView.getIndicationFilterProcessor().getCount(ITovaIndication::IndicationChange),
            1u);
  EXPECT_TRUE(constView.getIndicationFilterProcessor().willTriggerNotification());
}

TEST(CNotificationSubscriptionTest, TypeMaskDoesNotFilterNotifications) {
  CNotificationSubscription subscription(nullptr, ITovaIndication::IndicationChange);
  subscription.getIndicationFilterProcessor().subscribe(ITovaIndication::IndicationCreation,
                                                        nullptr, nullptr, nullptr);
  EXPECT_TRUE(subscription.getIndicationFilterProcessor().notificationNeeded(
      ITovaIndication::IndicationCreation, names({})));
}

// ---------------------------------------------------------------------------
// kest::SMISIndicationFactory

TEST(SMISIndicationFactoryTest, ClassNameConstantsHaveTheirTexts) {
  EXPECT_EQ(kest::SMISIndicationFactory::CIM_INST_CREATION, "CIM_InstCreation");
  EXPECT_EQ(kest::SMISIndicationFactory::CIM_INST_DELETION, "CIM_InstDeletion");
  EXPECT_EQ(kest::SMISIndicationFactory::CIM_INST_MODIFICATION, "CIM_InstModification");
}

TEST(SMISIndicationFactoryTest, CreationIsAnUnnamedObjectOfTheCreationClass) {
  TOVSmrPtr<CTovaObject> indication =
      kest::SMISIndicationFactory::createInstCreation("id-1", namedDisk());
  ASSERT_FALSE(indication.isNull());
  EXPECT_EQ(indication->getClassName(), "CIM_InstCreation");
  EXPECT_TRUE(indication->getInstanceName().isNull());
}

TEST(SMISIndicationFactoryTest, DeletionIsAnUnnamedObjectOfTheDeletionClass) {
  TOVSmrPtr<CTovaObject> indication =
      kest::SMISIndicationFactory::createInstDeletion("id-1", namedDisk());
  ASSERT_FALSE(indication.isNull());
  EXPECT_EQ(indication->getClassName(), "CIM_InstDeletion");
  EXPECT_TRUE(indication->getInstanceName().isNull());
}

TEST(SMISIndicationFactoryTest, ModificationIsAnUnnamedObjectOfTheModificationClass) {
  TOVSmrPtr<CTovaObject> indication =
      kest::SMISIndicationFactory::createInstModification("id-1", namedDisk(), namedDisk());
  ASSERT_FALSE(indication.isNull());
  EXPECT_EQ(indication->getClassName(), "CIM_InstModification");
  EXPECT_TRUE(indication->getInstanceName().isNull());
}

TEST(SMISIndicationFactoryTest, CreationAndDeletionCarryFourPropertiesInOrder) {
  for (bool creation : {true, false}) {
    TOVSmrPtr<CTovaObject> indication =
        creation ? kest::SMISIndicationFactory::createInstCreation("id", namedDisk())
                 : kest::SMISIndicationFactory::createInstDeletion("id", namedDisk());
    ASSERT_EQ(indication->getNumberOfProperties(true), 4u);
    EXPECT_EQ(indication->getPropertyAt(0, true)->getName(), "IndicationIdentifier");
    EXPECT_EQ(indication->getPropertyAt(1, true)->getName(), "IndicationTime");
    EXPECT_EQ(indication->getPropertyAt(2, true)->getName(), "SourceInstance");
    EXPECT_EQ(indication->getPropertyAt(3, true)->getName(), "SourceInstanceModelPath");
  }
}

TEST(SMISIndicationFactoryTest, ModificationAddsPreviousInstanceLast) {
  TOVSmrPtr<CTovaObject> indication =
      kest::SMISIndicationFactory::createInstModification("id", namedDisk(), namedDisk());
  ASSERT_EQ(indication->getNumberOfProperties(true), 5u);
  EXPECT_EQ(indication->getPropertyAt(0, true)->getName(), "IndicationIdentifier");
  EXPECT_EQ(indication->getPropertyAt(1, true)->getName(), "IndicationTime");
  EXPECT_EQ(indication->getPropertyAt(2, true)->getName(), "SourceInstance");
  EXPECT_EQ(indication->getPropertyAt(3, true)->getName(), "SourceInstanceModelPath");
  EXPECT_EQ(indication->getPropertyAt(4, true)->getName(), "PreviousInstance");
}

TEST(SMISIndicationFactoryTest, IdentifierIsAStringHoldingTheGivenId) {
  TOVSmrPtr<CTovaObject> indication =
      kest::SMISIndicationFactory::createInstCreation("abc-123", namedDisk());
  TOVSmrPtr<ITovaValue> value = valueOf(indication, "IndicationIdentifier");
  ASSERT_FALSE(value.isNull());
  EXPECT_EQ(value->getType()->getName(), "string");
  EXPECT_EQ(value->getAsString(), "abc-123");
}

TEST(SMISIndicationFactoryTest, TimeIsAUtcDatetimeInCimText) {
  TOVSmrPtr<CTovaObject> indication =
      kest::SMISIndicationFactory::createInstDeletion("id", namedDisk());
  TOVSmrPtr<ITovaValue> value = valueOf(indication, "IndicationTime");
  ASSERT_FALSE(value.isNull());
  EXPECT_EQ(value->getType()->getName(), "datetime");
  const std::string text = value->getAsString().toStdString();
  ASSERT_EQ(text.size(), 25u) << text;
  for (std::size_t i = 0; i < 14; ++i) {
    EXPECT_TRUE(std::isdigit(static_cast<unsigned char>(text[i]))) << text;
  }
  EXPECT_EQ(text[14], '.') << text;
  for (std::size_t i = 15; i < 21; ++i) {
    EXPECT_TRUE(std::isdigit(static_cast<unsigned char>(text[i]))) << text;
  }
  EXPECT_EQ(text.substr(21), "+000") << text;
}

TEST(SMISIndicationFactoryTest, TimeIsTheMomentOfCreation) {
  const std::string before = cimNow();
  TOVSmrPtr<CTovaObject> indication =
      kest::SMISIndicationFactory::createInstCreation("id", namedDisk());
  const std::string after = cimNow();
  const std::string text = valueOf(indication, "IndicationTime")->getAsString().toStdString();
  // Same length and fixed-width fields, so text order is time order.
  EXPECT_LE(before, text);
  EXPECT_LE(text, after);
}

TEST(SMISIndicationFactoryTest, SourceInstanceEmbedsTheGivenObject) {
  TOVSmrPtr<ITovaObject> source = namedDisk();
  TOVSmrPtr<CTovaObject> indication = kest::SMISIndicationFactory::createInstCreation("id", source);
  TOVSmrPtr<ITovaValue> value = valueOf(indication, "SourceInstance");
  ASSERT_FALSE(value.isNull());
  EXPECT_TRUE(value->getType()->isObject());
  EXPECT_EQ(value->getObject().get(), source.get());
}

TEST(SMISIndicationFactoryTest, ModelPathIsTheFullPathOfTheSourceName) {
  TOVSmrPtr<ITovaNameSpacePath> path(new CTovaNameSpacePath("host1", "root/cimv2"));
  TOVSmrPtr<ITovaObject> source = namedDisk(path);
  TOVSmrPtr<CTovaObject> indication = kest::SMISIndicationFactory::createInstDeletion("id", source);
  TOVSmrPtr<ITovaValue> value = valueOf(indication, "SourceInstanceModelPath");
  ASSERT_FALSE(value.isNull());
  EXPECT_EQ(value->getType()->getName(), "string");
  EXPECT_EQ(value->getAsString(), source->getInstanceName()->toFullPathString());
  EXPECT_EQ(value->getAsString(), "//host1/root/cimv2:acme_disk.deviceid=\"d1\"");
}

TEST(SMISIndicationFactoryTest, ModelPathIsEmptyWhenTheSourceHasNoName) {
  TOVSmrPtr<CTovaObject> indication =
      kest::SMISIndicationFactory::createInstCreation("id", unnamedDisk());
  TOVSmrPtr<ITovaValue> value = valueOf(indication, "SourceInstanceModelPath");
  ASSERT_FALSE(value.isNull());
  EXPECT_FALSE(value->isNullValue());
  EXPECT_EQ(value->getType()->getName(), "string");
  EXPECT_TRUE(value->getAsString().isNull());
}

TEST(SMISIndicationFactoryTest, PreviousInstanceEmbedsThePreviousObject) {
  TOVSmrPtr<ITovaObject> source = namedDisk();
  TOVSmrPtr<ITovaObject> previous = namedDisk();
  TOVSmrPtr<CTovaObject> indication =
      kest::SMISIndicationFactory::createInstModification("id", source, previous);
  TOVSmrPtr<ITovaValue> value = valueOf(indication, "PreviousInstance");
  ASSERT_FALSE(value.isNull());
  EXPECT_TRUE(value->getType()->isObject());
  EXPECT_FALSE(value->isNullValue());
  EXPECT_EQ(value->getObject().get(), previous.get());
  EXPECT_EQ(valueOf(indication, "SourceInstance")->getObject().get(), source.get());
}

TEST(SMISIndicationFactoryTest, MissingPreviousInstanceIsANullObjectOfTheSourceClass) {
  TOVSmrPtr<CTovaObject> indication =
      kest::SMISIndicationFactory::createInstModification("id", namedDisk(), nullptr);
  TOVSmrPtr<ITovaValue> value = valueOf(indication, "PreviousInstance");
  ASSERT_FALSE(value.isNull());
  EXPECT_TRUE(value->isNullValue());
  EXPECT_TRUE(value->getType()->isObject());
  EXPECT_EQ(value->getType()->getName(), "Acme_Disk");
}

TEST(SMISIndicationFactoryTest, NullSourceRaisesTheNullPointerError) {
  EXPECT_THROW(kest::SMISIndicationFactory::createInstCreation("id", nullptr),
               TOVNullPointerException);
  EXPECT_THROW(kest::SMISIndicationFactory::createInstDeletion("id", nullptr),
               TOVNullPointerException);
  EXPECT_THROW(kest::SMISIndicationFactory::createInstModification("id", nullptr, namedDisk()),
               TOVNullPointerException);
  EXPECT_THROW(kest::SMISIndicationFactory::createInstModification("id", nullptr, nullptr),
               TOVNullPointerException);
}

TEST(SMISIndicationFactoryTest, EachCallBuildsANewObject) {
  TOVSmrPtr<ITovaObject> source = namedDisk();
  TOVSmrPtr<CTovaObject> first = kest::SMISIndicationFactory::createInstCreation("id", source);
  TOVSmrPtr<CTovaObject> second = kest::SMISIndicationFactory::createInstCreation("id", source);
  EXPECT_NE(first.get(), second.get());
  first->setProperty("IndicationIdentifier", TOVSmrPtr<ITovaValue>(new CTovaValue("changed")));
  EXPECT_EQ(valueOf(second, "IndicationIdentifier")->getAsString(), "id");
}

// ---------------------------------------------------------------------------
// CTovaDebugTools

TEST(CTovaDebugToolsTest, NullIndicationIsNone) {
  EXPECT_EQ(CTovaDebugTools::indicationToString(nullptr), "Indication (none)");
}

TEST(CTovaDebugToolsTest, ShowsTypeNumberObjectNameAndChangedItems) {
  TOVSmrPtr<ITovaObject> object = namedDisk();
  TOVSmrPtr<ITovaIndication> indication(
      new CTovaIndication(object, ITovaIndication::IndicationChange,
                          sharedNames({"Status", "Size"}), nullptr, 0, nullptr, false));
  EXPECT_EQ(CTovaDebugTools::indicationToString(indication),
            "Indication type=1 object=acme_disk.deviceid=\"d1\" changed=[Status,Size]");
}

TEST(CTovaDebugToolsTest, UsesTheCanonicalNameTextWithoutThePath) {
  TOVSmrPtr<ITovaNameSpacePath> path(new CTovaNameSpacePath("host1", "root/cimv2"));
  TOVSmrPtr<ITovaObject> object = namedDisk(path);
  TOVSmrPtr<ITovaIndication> indication(new CTovaIndication(
      object, ITovaIndication::IndicationCreation, sharedNames({"A"}), nullptr, 0, nullptr, false));
  EXPECT_EQ(CTovaDebugTools::indicationToString(indication),
            TOVString("Indication type=8 object=") + object->getInstanceName()->toString() +
                " changed=[A]");
}

TEST(CTovaDebugToolsTest, ShowsTheNumericValueOfEveryType) {
  TOVSmrPtr<ITovaIndication> indication(new CTovaIndication(
      nullptr, ITovaIndication::IndicationLeaveAssociation, nullptr, nullptr, 0, nullptr, false));
  EXPECT_EQ(CTovaDebugTools::indicationToString(indication),
            "Indication type=256 object=(none) changed=[]");
}

TEST(CTovaDebugToolsTest, NullObjectIsNone) {
  TOVSmrPtr<ITovaIndication> indication(
      new CTovaIndication(nullptr, ITovaIndication::IndicationAddition, sharedNames({"A"}), nullptr,
                          0, nullptr, false));
  EXPECT_EQ(CTovaDebugTools::indicationToString(indication),
            "Indication type=2 object=(none) changed=[A]");
}

TEST(CTovaDebugToolsTest, ObjectWithoutNameIsNone) {
  TOVSmrPtr<ITovaIndication> indication(
      new CTovaIndication(unnamedDisk(), ITovaIndication::IndicationRemoval,
                          sharedNames({"A", "B", "C"}), nullptr, 0, nullptr, false));
  EXPECT_EQ(CTovaDebugTools::indicationToString(indication),
            "Indication type=4 object=(none) changed=[A,B,C]");
}

TEST(CTovaDebugToolsTest, EmptyChangedListShowsEmptyBrackets) {
  TOVSmrPtr<ITovaIndication> indication(new CTovaIndication(
      unnamedDisk(), ITovaIndication::IndicationInvalid,
      TOVSmrPtr<TOVValSlist<TOVString>>(new TOVValSlist<TOVString>()), nullptr, 0, nullptr, false));
  EXPECT_EQ(CTovaDebugTools::indicationToString(indication),
            "Indication type=0 object=(none) changed=[]");
}
