#include "framework/Instance.h"

#include <gtest/gtest.h>

#include <vector>

#include "framework/InstanceManager.h"
#include "host/Indication.h"
#include "host/IndicationServices.h"
#include "host/InstanceName.h"
#include "host/List.h"
#include "host/Object.h"
#include "host/SmartPointer.h"
#include "host/String.h"
#include "support/ObjectModelBuilders.h"
#include "support/TestInstances.h"

using kest::pf::Instance;
using kest::pf::InstanceManager;
using kest::testing::make;
using kest::testing::makeName;
using kest::testing::names;
using kest::testing::TestInstance;

namespace {

// Reads the observer list of a plain Instance.
class ObservedInstance : public Instance {
 public:
  explicit ObservedInstance(InstanceManager& manager) : Instance(manager) {}

  const TOVValSlist<TOVSmrPtr<CNotificationSubscription>>& subscriptions() const {
    return _notificationSubscriptions;
  }
  std::vector<ITovaSubscriber*> subscribers() const {
    std::vector<ITovaSubscriber*> result;
    for (const TOVSmrPtr<CNotificationSubscription>& entry : _notificationSubscriptions) {
      result.push_back(entry->getSubscriber().get());
    }
    return result;
  }
};

// Its name comes from an override, not from setInstanceName.
class UnnamedOverride : public Instance {
 public:
  explicit UnnamedOverride(InstanceManager& manager) : Instance(manager) {}
  TOVSmrPtr<ITovaInstanceName> getInstanceName() const override {
    return TOVSmrPtr<ITovaInstanceName>();
  }
};

class CountingSubscriber : public ITovaSubscriber {
 public:
  void notify(const TOVSmrPtr<ITovaIndication>& /*indication*/) override { ++notified; }
  int notified = 0;
};

TOVSmrPtr<ITovaSubscriber> newSubscriber() {
  return TOVSmrPtr<ITovaSubscriber>(new CountingSubscriber());
}

TOVSmrPtr<ITovaInstanceName> widgetName(const char* id) {
  return makeName("Test_Widget", "Id", make(id));
}

class InstanceTest : public ::testing::Test {
 protected:
  InstanceManager _manager;
};

TEST_F(InstanceTest, NewInstanceHasNoNameNoClassNameAndStampZero) {
  const Instance object(_manager);

  EXPECT_TRUE(object.getInstanceName().isNull());
  EXPECT_TRUE(object.getClassName().isNull());
  EXPECT_EQ(object.getUpdateStamp(), 0);
}

TEST_F(InstanceTest, InstanceManagerIsTheOneGivenAtConstruction) {
  InstanceManager other;
  const Instance first(_manager);
  const Instance second(other);

  EXPECT_EQ(&first.getInstanceManager(), &_manager);
  EXPECT_EQ(&second.getInstanceManager(), &other);
}

TEST_F(InstanceTest, BaseReportsNoProperties) {
  const Instance object(_manager);

  EXPECT_EQ(object.getNumberOfProperties(true), 0u);
  EXPECT_EQ(object.getNumberOfProperties(false), 0u);
  EXPECT_TRUE(object.getPropertyAt(0, true).isNull());
  EXPECT_TRUE(object.getPropertyAt(0, false).isNull());
  EXPECT_TRUE(object.getPropertyByName("Id", true).isNull());
  EXPECT_TRUE(object.getPropertyByName("Id", false).isNull());
}

TEST_F(InstanceTest, BaseMethodResultIsNull) {
  Instance object(_manager);
  Instance::ParameterList in(new TOVValSlist<TOVSmrPtr<ITovaActualParameter>>());
  Instance::ParameterList out;
  TOVSmrPtr<ITovaTransaction> transaction;

  EXPECT_TRUE(object.executeMethod("Reset", in, out, transaction).isNull());
  EXPECT_TRUE(out.isNull());
}

TEST_F(InstanceTest, BaseAssociatorsIsANewEmptyListAndLeavesHandledFalse) {
  Instance object(_manager);
  bool handled = false;

  const Instance::ObjectList first = object.associators("Test_Link", "Test_Peer", handled, nullptr);
  const Instance::ObjectList second = object.associators("Test_Link", "", handled, nullptr);

  ASSERT_FALSE(first.isNull());
  ASSERT_FALSE(second.isNull());
  EXPECT_TRUE(first->isEmpty());
  EXPECT_TRUE(second->isEmpty());
  EXPECT_NE(first, second);
  EXPECT_FALSE(handled);
}

TEST_F(InstanceTest, BaseHooksLeaveTheObjectAsItWas) {
  ObservedInstance object(_manager);
  const TOVSmrPtr<ITovaInstanceName> name = widgetName("a");
  const TOVSmrPtr<ITovaSubscriber> subscriber = newSubscriber();
  object.setInstanceName(name);
  object.setUpdateStamp(42);
  ASSERT_TRUE(object.registerObserver(subscriber, ITovaIndication::IndicationChange,
                                      TOVSmrPtr<ITovaSubscriptionFilter>()));
  const TOVSmrPtr<Instance> association(new Instance(_manager));

  object.update(nullptr);
  object.updateInstance(nullptr);
  object.associate("Test_Link", association);
  object.disAssociate("Test_Link", association);
  object.prune(7);
  object.destroy();
  object.destroy(TOVString(""));

  EXPECT_EQ(object.getInstanceName(), name);
  EXPECT_EQ(object.getUpdateStamp(), 42);
  EXPECT_EQ(object.subscribers(), (std::vector<ITovaSubscriber*>{subscriber.get()}));
  EXPECT_EQ(association.useCount(), 1);
}

TEST_F(InstanceTest, ClassNameIsWhatTheDerivedClassFilledIn) {
  TestInstance object(_manager, "Test_Widget");
  EXPECT_EQ(object.getClassName(), "Test_Widget");

  object.setClassName("Test_Gadget");
  EXPECT_EQ(object.getClassName(), "Test_Gadget");
}

TEST_F(InstanceTest, SetInstanceNameReplacesTheName) {
  Instance object(_manager);
  const TOVSmrPtr<ITovaInstanceName> first = widgetName("a");
  const TOVSmrPtr<ITovaInstanceName> second = widgetName("b");

  object.setInstanceName(first);
  EXPECT_EQ(object.getInstanceName(), first);
  object.setInstanceName(second);
  EXPECT_EQ(object.getInstanceName(), second);
  object.setInstanceName(TOVSmrPtr<ITovaInstanceName>());
  EXPECT_TRUE(object.getInstanceName().isNull());
}

TEST_F(InstanceTest, UpdateStampRoundTrips) {
  Instance object(_manager);

  object.setUpdateStamp(1700000000L);
  EXPECT_EQ(object.getUpdateStamp(), 1700000000L);
  object.setUpdateStamp(-3);
  EXPECT_EQ(object.getUpdateStamp(), -3);
}

TEST_F(InstanceTest, SmartThisOfAnObjectWithoutANameIsNull) {
  Instance object(_manager);

  EXPECT_TRUE(object.getSmartThis().isNull());
}

TEST_F(InstanceTest, SmartThisTakesTheNameFromTheOverride) {
  UnnamedOverride object(_manager);
  object.setInstanceName(widgetName("a"));

  EXPECT_TRUE(object.getSmartThis().isNull());
}

TEST_F(InstanceTest, ObjectsWithEqualNamesAreEqualWhateverTheirProperties) {
  TestInstance first(_manager, "Test_Widget", widgetName("a"));
  TestInstance second(_manager, "Test_Gadget", widgetName("a"));
  first.setProperty("Speed", make(TOVuint32(1)));
  second.setProperty("Speed", make(TOVuint32(2)));
  second.setProperty("Color", make("red"));

  EXPECT_TRUE(first == second);
  EXPECT_TRUE(second == first);
}

TEST_F(InstanceTest, ObjectsWithDifferentNamesAreNotEqual) {
  const TestInstance first(_manager, "Test_Widget", widgetName("a"));
  const TestInstance second(_manager, "Test_Widget", widgetName("b"));
  const TestInstance otherClass(_manager, "Test_Widget", makeName("Test_Gadget", "Id", make("a")));

  EXPECT_FALSE(first == second);
  EXPECT_FALSE(first == otherClass);
}

TEST_F(InstanceTest, EqualityAcceptsAnyHostObject) {
  const TestInstance object(_manager, "Test_Widget", widgetName("a"));
  CTovaObject same("Test_Widget");
  same.setInstanceName(makeName("TEST_WIDGET", "id", make("a")));
  CTovaObject other("Test_Widget");
  other.setInstanceName(widgetName("A"));

  EXPECT_TRUE(object == static_cast<const ITovaObject&>(same));
  EXPECT_FALSE(object == static_cast<const ITovaObject&>(other));
}

TEST_F(InstanceTest, RegisterObserverOfAnotherTypeIsAcceptedAndNotStored) {
  ObservedInstance object(_manager);

  EXPECT_TRUE(object.registerObserver(newSubscriber(), ITovaIndication::IndicationCreation,
                                      TOVSmrPtr<ITovaSubscriptionFilter>()));
  EXPECT_TRUE(object.registerObserver(newSubscriber(), ITovaIndication::IndicationDestruction,
                                      TOVSmrPtr<ITovaSubscriptionFilter>()));

  EXPECT_TRUE(object.subscriptions().isEmpty());
}

TEST_F(InstanceTest, RegisterObserverAddsOneEntryWithAChangeSubscription) {
  ObservedInstance object(_manager);
  const TOVSmrPtr<ITovaSubscriber> subscriber = newSubscriber();

  EXPECT_TRUE(object.registerObserver(subscriber, ITovaIndication::IndicationChange,
                                      TOVSmrPtr<ITovaSubscriptionFilter>()));

  ASSERT_EQ(object.subscriptions().entries(), 1u);
  const TOVSmrPtr<CNotificationSubscription>& entry = object.subscriptions().at(0);
  EXPECT_EQ(entry->getSubscriber(), subscriber);
  EXPECT_EQ(entry->getTypeMask(), 1u);
  const CTovaIndicationFilterProcessor& processor = entry->getIndicationFilterProcessor();
  EXPECT_EQ(processor.getCount(ITovaIndication::IndicationChange), 1u);
  EXPECT_EQ(processor.getCount(ITovaIndication::IndicationCreation), 0u);
  EXPECT_TRUE(processor.willTriggerNotification());
}

TEST_F(InstanceTest, RegisterObserverHandsTheFilterToTheProcessor) {
  ObservedInstance object(_manager);
  const TOVSmrPtr<ITovaSubscriptionFilter> filter(new CTovaPropertyListFilter(names({"Speed"})));

  ASSERT_TRUE(object.registerObserver(newSubscriber(), ITovaIndication::IndicationChange, filter));

  ASSERT_EQ(object.subscriptions().entries(), 1u);
  const CTovaIndicationFilterProcessor& processor =
      object.subscriptions().at(0)->getIndicationFilterProcessor();
  EXPECT_TRUE(processor.notificationNeeded(ITovaIndication::IndicationChange, names({"Speed"})));
  EXPECT_FALSE(processor.notificationNeeded(ITovaIndication::IndicationChange, names({"Color"})));
}

TEST_F(InstanceTest, RegisteringTheSameSubscriberTwiceKeepsOneEntry) {
  ObservedInstance object(_manager);
  const TOVSmrPtr<ITovaSubscriber> subscriber = newSubscriber();

  ASSERT_TRUE(object.registerObserver(subscriber, ITovaIndication::IndicationChange,
                                      TOVSmrPtr<ITovaSubscriptionFilter>()));
  ASSERT_TRUE(object.registerObserver(subscriber, ITovaIndication::IndicationChange,
                                      TOVSmrPtr<ITovaSubscriptionFilter>()));

  ASSERT_EQ(object.subscriptions().entries(), 1u);
  EXPECT_EQ(object.subscriptions().at(0)->getIndicationFilterProcessor().getCount(
                ITovaIndication::IndicationChange),
            2u);
}

TEST_F(InstanceTest, DeregisteringDropsTheEntryOnlyWhenNoRegistrationIsLeft) {
  ObservedInstance object(_manager);
  const TOVSmrPtr<ITovaSubscriber> subscriber = newSubscriber();
  const TOVSmrPtr<ITovaSubscriptionFilter> none;
  ASSERT_TRUE(object.registerObserver(subscriber, ITovaIndication::IndicationChange, none));
  ASSERT_TRUE(object.registerObserver(subscriber, ITovaIndication::IndicationChange, none));

  EXPECT_TRUE(object.deregisterObserver(subscriber, ITovaIndication::IndicationChange, none));
  ASSERT_EQ(object.subscriptions().entries(), 1u);
  EXPECT_TRUE(
      object.subscriptions().at(0)->getIndicationFilterProcessor().willTriggerNotification());

  EXPECT_TRUE(object.deregisterObserver(subscriber, ITovaIndication::IndicationChange, none));
  EXPECT_TRUE(object.subscriptions().isEmpty());

  EXPECT_FALSE(object.deregisterObserver(subscriber, ITovaIndication::IndicationChange, none));
}

TEST_F(InstanceTest, DifferentSubscribersGetEntriesInRegistrationOrder) {
  ObservedInstance object(_manager);
  const TOVSmrPtr<ITovaSubscriber> first = newSubscriber();
  const TOVSmrPtr<ITovaSubscriber> second = newSubscriber();
  const TOVSmrPtr<ITovaSubscriptionFilter> none;

  ASSERT_TRUE(object.registerObserver(first, ITovaIndication::IndicationChange, none));
  ASSERT_TRUE(object.registerObserver(second, ITovaIndication::IndicationChange, none));
  ASSERT_TRUE(object.registerObserver(first, ITovaIndication::IndicationChange, none));

  EXPECT_EQ(object.subscribers(), (std::vector<ITovaSubscriber*>{first.get(), second.get()}));

  ASSERT_TRUE(object.deregisterObserver(second, ITovaIndication::IndicationChange, none));
  EXPECT_EQ(object.subscribers(), (std::vector<ITovaSubscriber*>{first.get()}));
}

TEST_F(InstanceTest, DeregisteringASubscriberThatNeverRegisteredReturnsFalse) {
  ObservedInstance object(_manager);
  const TOVSmrPtr<ITovaSubscriber> registered = newSubscriber();
  const TOVSmrPtr<ITovaSubscriptionFilter> none;

  EXPECT_FALSE(object.deregisterObserver(newSubscriber(), ITovaIndication::IndicationChange, none));

  ASSERT_TRUE(object.registerObserver(registered, ITovaIndication::IndicationChange, none));
  EXPECT_FALSE(object.deregisterObserver(newSubscriber(), ITovaIndication::IndicationChange, none));
  EXPECT_EQ(object.subscribers(), (std::vector<ITovaSubscriber*>{registered.get()}));
}

TEST_F(InstanceTest, DeregisteringAnotherTypeIsAcceptedAndChangesNothing) {
  ObservedInstance object(_manager);
  const TOVSmrPtr<ITovaSubscriber> subscriber = newSubscriber();
  const TOVSmrPtr<ITovaSubscriptionFilter> none;
  ASSERT_TRUE(object.registerObserver(subscriber, ITovaIndication::IndicationChange, none));

  EXPECT_TRUE(object.deregisterObserver(subscriber, ITovaIndication::IndicationDestruction, none));
  EXPECT_TRUE(
      object.deregisterObserver(newSubscriber(), ITovaIndication::IndicationCreation, none));

  ASSERT_EQ(object.subscriptions().entries(), 1u);
  EXPECT_EQ(object.subscriptions().at(0)->getIndicationFilterProcessor().getCount(
                ITovaIndication::IndicationChange),
            1u);
}

}  // namespace
