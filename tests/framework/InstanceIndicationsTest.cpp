#include <gtest/gtest.h>

#include <vector>

#include "framework/Class.h"
#include "framework/Instance.h"
#include "framework/InstanceManager.h"
#include "host/Exception.h"
#include "host/Indication.h"
#include "host/IndicationServices.h"
#include "host/Log.h"
#include "host/Object.h"
#include "host/RecordingProviderContext.h"
#include "host/SmartPointer.h"
#include "host/String.h"
#include "support/ObjectModelBuilders.h"
#include "support/TestInstances.h"
#include "support/TestProvider.h"

using kest::RecordingProviderContext;
using kest::pf::InstanceManager;
using kest::testing::ClassTree;
using kest::testing::make;
using kest::testing::makeName;
using kest::testing::makePath;
using kest::testing::names;
using kest::testing::TestInstance;
using kest::testing::TestProvider;

namespace {

const char* const kUnknown = "Unknown exception in kest::pf::Instance::_fireIndications";

// Opens the protected firing entry point and the observer list.
class FiringInstance : public TestInstance {
 public:
  FiringInstance(InstanceManager& manager, const TOVSmrPtr<ITovaInstanceName>& name)
      : TestInstance(manager, "Test_Disk", name) {}

  bool fire(ITovaIndication::IndicationType type, const TOVValSlist<TOVString>& changed,
            const TOVSmrPtr<ITovaObject>& previous = {}) {
    return _fireIndications(type, changed, previous);
  }
  void addNullEntry() { _notificationSubscriptions.append(TOVSmrPtr<CNotificationSubscription>()); }
  void addEntry(const TOVSmrPtr<CNotificationSubscription>& entry) {
    _notificationSubscriptions.append(entry);
  }
};

// Keeps every indication it is given; optionally throws instead.
class RecordingSubscriber : public ITovaSubscriber {
 public:
  void notify(const TOVSmrPtr<ITovaIndication>& indication) override {
    if (throwOnNotify) throw TovaBaseException("Test", "notify", "subscriber", "refused", 5);
    received.push_back(indication);
  }
  std::vector<TOVSmrPtr<ITovaIndication>> received;
  bool throwOnNotify = false;
};

TOVSmrPtr<ITovaSubscriptionFilter> filterOn(const char* property) {
  return TOVSmrPtr<ITovaSubscriptionFilter>(new CTovaPropertyListFilter(names({property})));
}

void expectRecord(const TOVLogRecord& record, const TOVString& message, int severity) {
  EXPECT_EQ(record.source, "Indication");
  EXPECT_EQ(record.message, message);
  EXPECT_EQ(record.severity, severity);
  EXPECT_EQ(record.verbosity, 2);
  EXPECT_EQ(record.flags, 0);
  EXPECT_EQ(record.category, TOVLog::CIMOMLOG);
}

class InstanceFireIndicationsTest : public ::testing::Test {
 protected:
  InstanceFireIndicationsTest() : _context(new RecordingProviderContext()) {
    _manager.setProvider(&_provider);
    _provider.setProviderContext(_context);
    _manager.registerClass(_tree.make("Test_Disk"));
    _object = TOVSmrPtr<FiringInstance>(new FiringInstance(
        _manager, makeName("Test_Disk", "DeviceID", make("a"), makePath("server", "root/kest"))));
    _manager.registerInstance(_object);
    _subscriber = TOVSmrPtr<RecordingSubscriber>(new RecordingSubscriber());
  }

  void observe(const TOVSmrPtr<ITovaSubscriptionFilter>& filter = {}) {
    ASSERT_TRUE(_object->registerObserver(_subscriber, ITovaIndication::IndicationChange, filter));
  }

  // A received indication holds the object, which holds the subscriber through
  // its observer list: drop the indications so that the test frees all three.
  void TearDown() override { _subscriber->received.clear(); }

  ClassTree _tree;
  TestProvider _provider;
  TOVSmrPtr<RecordingProviderContext> _context;
  InstanceManager _manager;
  TOVSmrPtr<FiringInstance> _object;
  TOVSmrPtr<RecordingSubscriber> _subscriber;
};

TEST_F(InstanceFireIndicationsTest, AnEmptyChangeListSendsNothing) {
  _provider.enableIndications();
  _provider.activateSubscription(nullptr, nullptr, nullptr);
  observe();
  TOVScopedLogCapture capture;

  EXPECT_TRUE(_object->fire(ITovaIndication::IndicationChange, TOVValSlist<TOVString>()));

  EXPECT_EQ(_context->callCount(), 0u);
  EXPECT_TRUE(_subscriber->received.empty());
  EXPECT_TRUE(capture.records().empty());
}

TEST_F(InstanceFireIndicationsTest, WithIndicationsDisabledNothingIsSent) {
  _provider.activateSubscription(nullptr, nullptr, nullptr);
  observe();
  TOVScopedLogCapture capture;

  EXPECT_TRUE(_object->fire(ITovaIndication::IndicationChange, names({"Size"})));

  EXPECT_EQ(_context->callCount(), 0u);
  EXPECT_TRUE(_subscriber->received.empty());
  EXPECT_TRUE(capture.records().empty());
}

TEST_F(InstanceFireIndicationsTest, WithoutAProviderTheNullPointerErrorIsRaisedUnlogged) {
  InstanceManager manager;
  FiringInstance object(manager, makeName("Test_Disk", "DeviceID", make("a")));
  TOVScopedLogCapture capture;

  EXPECT_THROW(object.fire(ITovaIndication::IndicationChange, names({"Size"})),
               TOVNullPointerException);
  EXPECT_TRUE(capture.records().empty());
}

TEST_F(InstanceFireIndicationsTest,
       AChangeWithASubscriptionSendsOneInstModificationAboutTheLiveObject) {
  _provider.enableIndications();
  _provider.activateSubscription(nullptr, nullptr, nullptr);
  _context->clear();
  const TOVSmrPtr<ITovaObject> previous(new CTovaObject("Test_Disk"));

  EXPECT_TRUE(_object->fire(ITovaIndication::IndicationChange, names({"Size"}), previous));

  const auto calls = _context->calls();
  ASSERT_EQ(calls.size(), 1u);
  ASSERT_EQ(calls[0].kind, RecordingProviderContext::CallKind::Indication);
  EXPECT_EQ(calls[0].nameSpace, "root/kest");
  const TOVSmrPtr<ITovaObject> smis = calls[0].indication;
  EXPECT_EQ(smis->getClassName(), "CIM_InstModification");
  EXPECT_EQ(smis->getPropertyByName("IndicationIdentifier", true)->getValue()->getAsString(),
            "OMX:Array.1");
  EXPECT_EQ(smis->getPropertyByName("SourceInstance", true)->getValue()->getObject().get(),
            static_cast<ITovaObject*>(_object.get()));
  EXPECT_EQ(smis->getPropertyByName("PreviousInstance", true)->getValue()->getObject().get(),
            previous.get());
}

TEST_F(InstanceFireIndicationsTest, ConsecutiveIdentifiersDifferByOne) {
  _provider.enableIndications();
  _provider.activateSubscription(nullptr, nullptr, nullptr);
  _context->clear();

  _object->fire(ITovaIndication::IndicationChange, names({"Size"}));
  _object->fire(ITovaIndication::IndicationChange, names({"Size"}));

  const auto sent = _context->indications();
  ASSERT_EQ(sent.size(), 2u);
  EXPECT_EQ(sent[0]
                .indication->getPropertyByName("IndicationIdentifier", true)
                ->getValue()
                ->getAsString(),
            "OMX:Array.1");
  EXPECT_EQ(sent[1]
                .indication->getPropertyByName("IndicationIdentifier", true)
                ->getValue()
                ->getAsString(),
            "OMX:Array.2");
}

TEST_F(InstanceFireIndicationsTest, AnotherTypeSendsNoSMISIndicationButIsOfferedToObservers) {
  _provider.enableIndications();
  _provider.activateSubscription(nullptr, nullptr, nullptr);
  _context->clear();
  const TOVSmrPtr<CNotificationSubscription> entry(new CNotificationSubscription(_subscriber, 1));
  entry->getIndicationFilterProcessor().subscribe(ITovaIndication::IndicationAddition, nullptr,
                                                  nullptr, nullptr);
  _object->addEntry(entry);
  TOVScopedLogCapture capture;

  EXPECT_TRUE(_object->fire(ITovaIndication::IndicationAddition, names({"Size"})));

  EXPECT_EQ(_context->callCount(), 0u);
  ASSERT_EQ(_subscriber->received.size(), 1u);
  EXPECT_EQ(_subscriber->received[0]->getIndicationType(), ITovaIndication::IndicationAddition);
  ASSERT_EQ(capture.records().size(), 1u);
}

TEST_F(InstanceFireIndicationsTest, AnAcceptedObserverGetsANativeIndicationWithACopyOfTheChanges) {
  _provider.enableIndications();
  observe(filterOn("Size"));
  const TOVValSlist<TOVString> changed = names({"Color", "Size"});
  TOVScopedLogCapture capture;

  EXPECT_TRUE(_object->fire(ITovaIndication::IndicationChange, changed));

  ASSERT_EQ(_subscriber->received.size(), 1u);
  const TOVSmrPtr<ITovaIndication> indication = _subscriber->received[0];
  EXPECT_EQ(indication->getIndicationType(), ITovaIndication::IndicationChange);
  EXPECT_EQ(indication->getIntent(), 1);
  EXPECT_EQ(indication->getObject().get(), static_cast<ITovaObject*>(_object.get()));
  const TOVSmrPtr<TOVValSlist<TOVString>> copy = indication->getChangedProperties();
  ASSERT_FALSE(copy.isNull());
  EXPECT_NE(copy.get(), &changed);
  ASSERT_EQ(copy->entries(), 2u);
  EXPECT_EQ(copy->at(0), "Color");
  EXPECT_EQ(copy->at(1), "Size");
  const TOVSmrPtr<CTovaIndication> native = indication.dynamicCast<CTovaIndication>();
  ASSERT_FALSE(native.isNull());
  EXPECT_EQ(native->getContext(), nullptr);
  EXPECT_TRUE(native->getSecondList().isNull());
  EXPECT_FALSE(native->getFlag());

  const auto records = capture.records();
  ASSERT_EQ(records.size(), 1u);
  expectRecord(records[0], "Send indication: " + CTovaDebugTools::indicationToString(indication),
               4);
  EXPECT_EQ(_context->callCount(), 0u);
}

TEST_F(InstanceFireIndicationsTest, AnObserverWhoseFilterDeclinesReceivesNothing) {
  _provider.enableIndications();
  observe(filterOn("Size"));
  TOVScopedLogCapture capture;

  EXPECT_TRUE(_object->fire(ITovaIndication::IndicationChange, names({"Color"})));

  EXPECT_TRUE(_subscriber->received.empty());
  EXPECT_TRUE(capture.records().empty());
}

TEST_F(InstanceFireIndicationsTest, AnUnregisteredObjectSendsNothing) {
  _provider.enableIndications();
  _provider.activateSubscription(nullptr, nullptr, nullptr);
  observe();
  ASSERT_TRUE(_manager.deregisterInstance(_object));
  _context->clear();
  TOVScopedLogCapture capture;

  EXPECT_TRUE(_object->fire(ITovaIndication::IndicationChange, names({"Size"})));

  EXPECT_EQ(_context->callCount(), 0u);
  EXPECT_TRUE(_subscriber->received.empty());
  EXPECT_TRUE(capture.records().empty());
}

TEST_F(InstanceFireIndicationsTest, ANullEntryIsLoggedThenTheNullPointerErrorPropagates) {
  _provider.enableIndications();
  _object->addNullEntry();
  TOVScopedLogCapture capture;

  EXPECT_THROW(_object->fire(ITovaIndication::IndicationChange, names({"Size"})),
               TOVNullPointerException);

  const auto records = capture.records();
  ASSERT_EQ(records.size(), 2u);
  expectRecord(records[0], "iter.key() is NULL in kest::pf::Instance::_fireIndications", 1);
  expectRecord(records[1], kUnknown, 1);
}

TEST_F(InstanceFireIndicationsTest, ANullSubscriberIsLoggedThenTheNullPointerErrorPropagates) {
  _provider.enableIndications();
  ASSERT_TRUE(_object->registerObserver(TOVSmrPtr<ITovaSubscriber>(),
                                        ITovaIndication::IndicationChange, nullptr));
  TOVScopedLogCapture capture;

  EXPECT_THROW(_object->fire(ITovaIndication::IndicationChange, names({"Size"})),
               TOVNullPointerException);

  const auto records = capture.records();
  ASSERT_EQ(records.size(), 2u);
  expectRecord(records[0],
               "subscription.getSubscriber() is NULL in kest::pf::Instance::_fireIndications", 1);
  expectRecord(records[1], kUnknown, 1);
}

TEST_F(InstanceFireIndicationsTest, WhatASubscriberThrowsIsLoggedAndRethrownUnchanged) {
  _provider.enableIndications();
  observe();
  _subscriber->throwOnNotify = true;
  TOVScopedLogCapture capture;

  bool caught = false;
  try {
    _object->fire(ITovaIndication::IndicationChange, names({"Size"}));
  } catch (const TovaBaseException& e) {
    caught = true;
    EXPECT_EQ(e.getType(), "Test");
    EXPECT_EQ(e.getWhere(), "notify");
    EXPECT_EQ(e.getWho(), "subscriber");
    EXPECT_EQ(e.getMessage(), "refused");
    EXPECT_EQ(e.getCode(), 5);
  }
  EXPECT_TRUE(caught);

  const auto records = capture.records();
  ASSERT_EQ(records.size(), 1u);
  expectRecord(records[0], kUnknown, 1);
}

}  // namespace
