#include "framework/Provider.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <functional>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "framework/Class.h"
#include "framework/Exception.h"
#include "framework/Instance.h"
#include "framework/InstanceManager.h"
#include "framework/MessageTable.h"
#include "host/CimType.h"
#include "host/Config.h"
#include "host/Exception.h"
#include "host/Http.h"
#include "host/Indication.h"
#include "host/IndicationServices.h"
#include "host/InstanceName.h"
#include "host/List.h"
#include "host/Log.h"
#include "host/Object.h"
#include "host/RecordingProviderContext.h"
#include "host/Repository.h"
#include "host/SmartPointer.h"
#include "host/String.h"
#include "host/Value.h"
#include "streaming/VectorCollector.h"
#include "support/ClassTableRepository.h"
#include "support/ObjectModelBuilders.h"
#include "support/TestInstances.h"
#include "support/TestProvider.h"
#include "tests/support/Thrown.h"

using kest::RecordingProviderContext;
using kest::VectorCollector;
using kest::pf::Class;
using kest::pf::Exception;
using kest::pf::Instance;
using kest::pf::InstanceManager;
using kest::testing::ClassTree;
using kest::testing::Fatal;
using kest::testing::fatalOf;
using kest::testing::make;
using kest::testing::makeName;
using kest::testing::makePath;
using kest::testing::sharedNames;
using kest::testing::TestInstance;
using kest::testing::TestProvider;
using kest::testing::Thrown;
using kest::testing::thrownAs;

namespace {

using ObjectList = kest::IProvider::ObjectList;
using ParameterList = kest::IProvider::ParameterList;

TOVSmrPtr<ITovaInstanceName> diskName(const char* className, const char* id) {
  return makeName(className, "DeviceID", make(id));
}

ParameterList parameters(const char* name, const TOVSmrPtr<ITovaValue>& value) {
  ParameterList list(new TOVValSlist<TOVSmrPtr<ITovaActualParameter>>());
  list->append(TOVSmrPtr<ITovaActualParameter>(new CTovaActualParameter(name, value)));
  return list;
}

ParameterList emptyParameters() {
  return ParameterList(new TOVValSlist<TOVSmrPtr<ITovaActualParameter>>());
}

// A subscriber that only counts what reaches it.
class CountingSubscriber : public ITovaSubscriber {
 public:
  void notify(const TOVSmrPtr<ITovaIndication>& /*indication*/) override { ++notified; }
  int notified = 0;
};

class Transaction : public ITovaTransaction {};

class ProviderTest : public ::testing::Test {
 protected:
  ProviderTest() : _context(new RecordingProviderContext()) {}

  InstanceManager& manager() { return _provider.getInstanceManager(); }

  TOVSmrPtr<Class> declare(const char* className, bool isAssociation = false) {
    const TOVSmrPtr<Class> cls = _tree.make(className, isAssociation);
    manager().registerClass(cls);
    return cls;
  }

  TOVSmrPtr<TestInstance> cachedDisk(const char* className, const char* id) {
    const TOVSmrPtr<TestInstance> object(
        new TestInstance(manager(), className, diskName(className, id)));
    manager().registerInstance(object);
    return object;
  }

  // Declares Test_Base with children Test_First and Test_Second and
  // Test_Third below Test_First, and caches one object in each (ids a, b, c,
  // d in that order).
  void declareTree() {
    const TOVSmrPtr<Class> base = declare("Test_Base");
    const TOVSmrPtr<Class> first = declare("Test_First");
    const TOVSmrPtr<Class> second = declare("Test_Second");
    const TOVSmrPtr<Class> third = declare("Test_Third");
    _tree.link(base, first);
    _tree.link(base, second);
    _tree.link(first, third);
    _base = cachedDisk("Test_Base", "a");
    _first = cachedDisk("Test_First", "b");
    _third = cachedDisk("Test_Third", "c");
    _second = cachedDisk("Test_Second", "d");
  }

  static std::vector<ITovaObject*> pointers(const VectorCollector<TOVSmrPtr<ITovaObject>>& items) {
    std::vector<ITovaObject*> result;
    for (const TOVSmrPtr<ITovaObject>& item : items) result.push_back(item.get());
    return result;
  }
  static std::vector<ITovaObject*> pointers(const ObjectList& list) {
    std::vector<ITovaObject*> result;
    for (const TOVSmrPtr<ITovaObject>& item : *list) result.push_back(item.get());
    return result;
  }

  ClassTree _tree;
  TestProvider _provider;
  TOVSmrPtr<RecordingProviderContext> _context;
  TOVSmrPtr<TestInstance> _base, _first, _second, _third;
};

}  // namespace

// --- construction and set-up --------------------------------------------------

TEST_F(ProviderTest, StartsWithoutContextRepositoryOrWorkAreaAndWithIndicationsOff) {
  EXPECT_TRUE(_provider.getProviderContext().isNull());
  EXPECT_TRUE(_provider.getTovaRepository().isNull());
  EXPECT_TRUE(_provider.getWorkAreaPath().isNull());
  EXPECT_FALSE(_provider.getIndicationsEnabled());
  EXPECT_EQ(_provider.subscriptionCount(), 0);
  EXPECT_EQ(_provider.lastIndicationNumber(), 0);
  EXPECT_FALSE(_provider.hasActiveSubscribers("CIM_InstCreation", TOVSmrPtr<ITovaObject>()));
}

TEST_F(ProviderTest, OwnsAnInstanceManagerThatKnowsItsProvider) {
  EXPECT_EQ(_provider.getInstanceManager().getProvider(), &_provider);
  const TestProvider& constProvider = _provider;
  EXPECT_EQ(&constProvider.getInstanceManager(), &_provider.getInstanceManager());
}

TEST_F(ProviderTest, StaticSubscriberIsASubscriberProxyMadeAtConstruction) {
  const TOVSmrPtr<ITovaSubscriber> subscriber = _provider.getStaticSubscriber();
  ASSERT_FALSE(subscriber.isNull());
  EXPECT_FALSE(subscriber.dynamicCast<SubscriberProxy>().isNull());
  const TestProvider& constProvider = _provider;
  EXPECT_TRUE(constProvider.getStaticSubscriber() == subscriber);
  EXPECT_TRUE(_provider.getStaticSubscriber() == subscriber);
}

TEST_F(ProviderTest, SetStaticSubscriberKeepsTheProxy) {
  const TOVSmrPtr<ITovaSubscriber> proxy = _provider.getStaticSubscriber();
  const TOVSmrPtr<ITovaSubscriber> other(new CountingSubscriber());

  _provider.setStaticSubscriber(other);

  const TOVSmrPtr<ITovaSubscriber> after = _provider.getStaticSubscriber();
  ASSERT_FALSE(after.isNull());
  EXPECT_FALSE(after == other);
  EXPECT_TRUE(after == proxy);
}

TEST_F(ProviderTest, StaticSubscriberRelaysNativeIndicationsToTheProviderContext) {
  const TOVSmrPtr<ITovaIndication> indication(new CTovaIndication(
      nullptr, ITovaIndication::IndicationChange, nullptr, nullptr, 1, nullptr, false));
  // Without a context the indication is dropped.
  _provider.getStaticSubscriber()->notify(indication);

  _provider.setProviderContext(_context);
  _provider.getStaticSubscriber()->notify(indication);

  const auto legacy = _context->legacyIndications();
  ASSERT_EQ(legacy.size(), 1u);
  EXPECT_TRUE(legacy[0] == indication);
}

TEST_F(ProviderTest, InitializeSetWorkAreaAndSetProviderContextStoreTheirArguments) {
  const TOVSmrPtr<ITovaRepository> repository(new kest::testing::ClassTableRepository("root/kest"));

  _provider.initialize(repository);
  _provider.setWorkArea("/var/lib/kest/array");
  _provider.setProviderContext(_context);

  EXPECT_TRUE(_provider.getTovaRepository() == repository);
  EXPECT_EQ(_provider.getWorkAreaPath(), "/var/lib/kest/array");
  EXPECT_TRUE(_provider.getProviderContext() == _context);
}

TEST_F(ProviderTest, PostStartupIsCompleteAndDebugDumpDoNothing) {
  declareTree();
  std::ostringstream out;

  _provider.postStartupIsComplete();
  _provider.debugDump(4, out);

  EXPECT_TRUE(out.str().empty());
  EXPECT_TRUE(_provider.lifecycle().empty());
  VectorCollector<TOVSmrPtr<ITovaObject>> all;
  manager().enumerateInstances(all, "Test_Base");
  EXPECT_EQ(all.rep.size(), 4u);
}

// --- enumerating ------------------------------------------------------------

TEST_F(ProviderTest, EnumerateInstancesReportsWhatTheInstanceManagerReports) {
  declareTree();
  VectorCollector<TOVSmrPtr<ITovaObject>> fromProvider;
  VectorCollector<TOVSmrPtr<ITovaObject>> fromManager;

  _provider.enumerateInstances(fromProvider, "root/kest", "Test_Base", nullptr, nullptr);
  manager().enumerateInstances(fromManager, "Test_Base");

  EXPECT_EQ(pointers(fromProvider),
            (std::vector<ITovaObject*>{_base.get(), _first.get(), _third.get(), _second.get()}));
  EXPECT_EQ(pointers(fromProvider), pointers(fromManager));
}

TEST_F(ProviderTest, EnumerateInstancesIgnoresTheNamespaceAndThePropertyList) {
  declareTree();
  VectorCollector<TOVSmrPtr<ITovaObject>> served;
  VectorCollector<TOVSmrPtr<ITovaObject>> unserved;
  VectorCollector<TOVSmrPtr<ITovaObject>> empty;

  _provider.enumerateInstances(served, "root/kest", "Test_First", nullptr, nullptr);
  _provider.enumerateInstances(unserved, "root/nobody", "Test_First", nullptr,
                               sharedNames({"DeviceID"}));
  _provider.enumerateInstances(empty, "", "Test_First", nullptr, nullptr);

  EXPECT_EQ(pointers(served), (std::vector<ITovaObject*>{_first.get(), _third.get()}));
  EXPECT_EQ(pointers(unserved), pointers(served));
  EXPECT_EQ(pointers(empty), pointers(served));
}

TEST_F(ProviderTest, EnumerateInstancesOfAnEmptyOrUndeclaredClassNameReportsNothing) {
  declareTree();
  VectorCollector<TOVSmrPtr<ITovaObject>> emptyName;
  VectorCollector<TOVSmrPtr<ITovaObject>> undeclared;

  EXPECT_NO_THROW(_provider.enumerateInstances(emptyName, "root/kest", "", nullptr, nullptr));
  EXPECT_NO_THROW(
      _provider.enumerateInstances(undeclared, "root/kest", "Test_Volume", nullptr, nullptr));

  EXPECT_TRUE(emptyName.rep.empty());
  EXPECT_TRUE(undeclared.rep.empty());
}

TEST_F(ProviderTest, EnumerateInstancesListFormGivesTheSameObjectsAsTheCollectorForm) {
  declareTree();
  VectorCollector<TOVSmrPtr<ITovaObject>> collected;
  _provider.enumerateInstances(collected, "root/kest", "Test_Base", nullptr, nullptr);

  const ObjectList list = _provider.enumerateInstances("root/kest", "Test_Base", nullptr);

  ASSERT_FALSE(list.isNull());
  EXPECT_EQ(pointers(list), pointers(collected));
}

TEST_F(ProviderTest, EnumerateInstancesListFormOfAClassWithoutObjectsIsAnEmptyList) {
  declare("Test_Disk");

  const ObjectList declared = _provider.enumerateInstances("root/kest", "Test_Disk", nullptr);
  const ObjectList undeclared = _provider.enumerateInstances("root/kest", "Test_Volume", nullptr);

  ASSERT_FALSE(declared.isNull());
  EXPECT_TRUE(declared->isEmpty());
  ASSERT_FALSE(undeclared.isNull());
  EXPECT_TRUE(undeclared->isEmpty());
}

TEST_F(ProviderTest, EnumerateInstanceNamesAddsTheNameOfEachObjectInOrder) {
  declareTree();
  VectorCollector<TOVSmrPtr<ITovaInstanceName>> names;

  _provider.enumerateInstanceNames(names, "root/kest", "Test_Base", nullptr);

  ASSERT_EQ(names.rep.size(), 4u);
  EXPECT_TRUE(names.rep[0] == _base->getInstanceName());
  EXPECT_TRUE(names.rep[1] == _first->getInstanceName());
  EXPECT_TRUE(names.rep[2] == _third->getInstanceName());
  EXPECT_TRUE(names.rep[3] == _second->getInstanceName());
}

namespace {

// Serves every enumeration from a fixed object, whatever the cache holds, and
// remembers the class asked for.
class FixedEnumerationProvider : public TestProvider {
 public:
  using TestProvider::enumerateInstances;

  FixedEnumerationProvider() : fixed(new CTovaObject("Test_Fixed")) {
    fixed->setInstanceName(makeName("Test_Fixed", "Id", make("fixed")));
  }

  void enumerateInstances(kest::ICollector<TOVSmrPtr<ITovaObject>>& results,
                          const TOVString& /*nameSpace*/, const TOVString& className,
                          const TOVSmrPtr<ITovaTransaction>& /*tovaTransaction*/,
                          const PropertyList& /*propertyList*/) override {
    ++calls;
    askedClass = className;
    results.add(CTovaObject::iPtr(fixed));
  }

  TOVSmrPtr<CTovaObject> fixed;
  int calls = 0;
  TOVString askedClass;
};

}  // namespace

TEST_F(ProviderTest, OverridingTheCollectorEnumerationChangesTheListFormAndTheNames) {
  FixedEnumerationProvider provider;
  provider.getInstanceManager().registerClass(_tree.make("Test_Disk"));
  provider.getInstanceManager().registerInstance(TOVSmrPtr<Instance>(
      new TestInstance(provider.getInstanceManager(), "Test_Disk", diskName("Test_Disk", "a"))));

  const ObjectList list = provider.enumerateInstances("root/kest", "Test_Disk", nullptr);
  ASSERT_FALSE(list.isNull());
  ASSERT_EQ(list->entries(), 1u);
  EXPECT_EQ(list->first().get(), static_cast<ITovaObject*>(provider.fixed.get()));
  EXPECT_EQ(provider.askedClass, "Test_Disk");

  VectorCollector<TOVSmrPtr<ITovaInstanceName>> names;
  provider.enumerateInstanceNames(names, "root/kest", "Test_Volume", nullptr);
  ASSERT_EQ(names.rep.size(), 1u);
  EXPECT_TRUE(names.rep[0] == provider.fixed->getInstanceName());
  EXPECT_EQ(provider.askedClass, "Test_Volume");
  EXPECT_EQ(provider.calls, 2);
}

namespace {

// Serves an enumeration that holds a null object.
class NullObjectEnumerationProvider : public TestProvider {
 public:
  using TestProvider::enumerateInstances;

  void enumerateInstances(kest::ICollector<TOVSmrPtr<ITovaObject>>& results,
                          const TOVString& /*nameSpace*/, const TOVString& /*className*/,
                          const TOVSmrPtr<ITovaTransaction>& /*tovaTransaction*/,
                          const PropertyList& /*propertyList*/) override {
    results.add(TOVSmrPtr<ITovaObject>());
  }
};

}  // namespace

TEST_F(ProviderTest, EnumerateInstanceNamesFollowsANullObjectIntoTheNullPointerError) {
  NullObjectEnumerationProvider provider;
  VectorCollector<TOVSmrPtr<ITovaInstanceName>> names;

  EXPECT_THROW(provider.enumerateInstanceNames(names, "root/kest", "Test_Disk", nullptr),
               TOVNullPointerException);
  EXPECT_TRUE(names.rep.empty());
}

// --- getInstance ------------------------------------------------------------

TEST_F(ProviderTest, GetInstanceGivesTheCachedObject) {
  declareTree();
  TOVSmrPtr<ITovaObject> result;

  _provider.getInstance(result, "root/kest", diskName("Test_First", "b"), nullptr, nullptr);

  EXPECT_EQ(result.get(), static_cast<ITovaObject*>(_first.get()));
}

TEST_F(ProviderTest, GetInstanceFindsAnObjectOfAChildClassByTheBaseClassName) {
  declareTree();
  TOVSmrPtr<ITovaObject> result;

  _provider.getInstance(result, "root/other", diskName("Test_Base", "d"), nullptr,
                        sharedNames({"DeviceID"}));

  EXPECT_EQ(result.get(), static_cast<ITovaObject*>(_second.get()));
}

TEST_F(ProviderTest, GetInstanceOfAnUncachedNameGivesNullWithoutError) {
  declareTree();
  TOVSmrPtr<ITovaObject> result = _base;

  EXPECT_NO_THROW(
      _provider.getInstance(result, "root/kest", diskName("Test_Base", "z"), nullptr, nullptr));
  EXPECT_TRUE(result.isNull());

  result = _base;
  EXPECT_NO_THROW(
      _provider.getInstance(result, "root/kest", diskName("Test_Volume", "a"), nullptr, nullptr));
  EXPECT_TRUE(result.isNull());
}

TEST_F(ProviderTest, GetInstanceReturningFormGivesTheSameAnswer) {
  declareTree();

  EXPECT_EQ(_provider.getInstance("root/kest", diskName("Test_Base", "c"), nullptr).get(),
            static_cast<ITovaObject*>(nullptr));
  EXPECT_EQ(_provider.getInstance("root/kest", diskName("Test_First", "c"), nullptr).get(),
            static_cast<ITovaObject*>(_third.get()));
  EXPECT_TRUE(_provider.getInstance("root/kest", diskName("Test_First", "z"), nullptr).isNull());
}

namespace {

// Answers every getInstance with a fixed object.
class FixedGetInstanceProvider : public TestProvider {
 public:
  using TestProvider::getInstance;

  FixedGetInstanceProvider() : fixed(new CTovaObject("Test_Fixed")) {}

  void getInstance(TOVSmrPtr<ITovaObject>& results, const TOVString& /*nameSpace*/,
                   TOVSmrPtr<ITovaInstanceName> instanceName,
                   TOVSmrPtr<ITovaTransaction> /*tovaTransaction*/,
                   const PropertyList& /*propertyList*/) override {
    askedName = instanceName;
    results = CTovaObject::iPtr(fixed);
  }

  TOVSmrPtr<CTovaObject> fixed;
  TOVSmrPtr<ITovaInstanceName> askedName;
};

}  // namespace

TEST_F(ProviderTest, GetInstanceReturningFormAnswersThroughTheOutParameterForm) {
  FixedGetInstanceProvider provider;
  const TOVSmrPtr<ITovaInstanceName> name = diskName("Test_Disk", "a");

  const TOVSmrPtr<ITovaObject> result = provider.getInstance("root/kest", name, nullptr);

  EXPECT_EQ(result.get(), static_cast<ITovaObject*>(provider.fixed.get()));
  EXPECT_TRUE(provider.askedName == name);
}

// --- executeMethod ----------------------------------------------------------

TEST_F(ProviderTest, ExecuteMethodOnAnUncachedObjectLogsOnceAndThrowsObjectNotFound) {
  declare("Test_Disk");
  TOVScopedLogCapture capture;

  const Thrown e = thrownAs<Exception>([&] {
    _provider.executeMethod("root/kest", diskName("Test_Disk", "a"), "Reset", emptyParameters(),
                            emptyParameters(), nullptr);
  });

  ASSERT_TRUE(e.caught);
  EXPECT_EQ(e.type, "Provider");
  EXPECT_EQ(e.where, "kest::pf::Provider::executeMethod()");
  EXPECT_TRUE(e.who.isNull());
  EXPECT_EQ(e.message, kest::pf::MessageTable::E_PFPROVIDER_ERROR_OBJECT_NOT_FOUND);
  EXPECT_EQ(e.message,
            "The requested object could not be found. It may not exist or it may have been "
            "removed at an earlier time.");
  EXPECT_EQ(e.code, 17666);

  const auto records = capture.records();
  ASSERT_EQ(records.size(), 1u);
  EXPECT_EQ(records[0].source, "kest::pf::Provider::executeMethod()");
  EXPECT_EQ(records[0].message, "Exception: Object not found : Reset : test_disk.deviceid=\"a\"");
  EXPECT_EQ(records[0].severity, 1);
  EXPECT_EQ(records[0].verbosity, 2);
  EXPECT_EQ(records[0].flags, 0);
  EXPECT_EQ(records[0].category, TOVLog::CIMOMLOG);
  EXPECT_TRUE(_provider.auditRecords().empty());
}

TEST_F(ProviderTest, ExecuteMethodOfAnUndeclaredClassIsObjectNotFoundToo) {
  TOVScopedLogCapture capture;

  const Thrown e = thrownAs<Exception>([&] {
    _provider.executeMethod("root/kest", diskName("Test_Volume", "v"), "Format", emptyParameters(),
                            emptyParameters(), nullptr);
  });

  ASSERT_TRUE(e.caught);
  EXPECT_EQ(e.code, 17666);
  const auto records = capture.records();
  ASSERT_EQ(records.size(), 1u);
  EXPECT_EQ(records[0].message,
            "Exception: Object not found : Format : test_volume.deviceid=\"v\"");
  EXPECT_TRUE(_provider.auditRecords().empty());
}

TEST_F(ProviderTest, ExecuteMethodReturnsTheObjectsResultAndAuditsTheCallOnce) {
  declareTree();
  const TOVSmrPtr<ITovaValue> answer = make(TOVuint32{0});
  _first->setMethodBehaviour([&](const TOVString&, ParameterList, ParameterList&,
                                 TOVSmrPtr<ITovaTransaction>&) { return answer; });
  const TOVSmrPtr<ITovaTransaction> transaction(new Transaction());
  const TOVSmrPtr<ITovaInstanceName> name = diskName("Test_First", "b");
  TOVScopedLogCapture capture;

  const TOVSmrPtr<ITovaValue> result = _provider.executeMethod(
      "root/kest", name, "Reset", emptyParameters(), emptyParameters(), transaction);

  EXPECT_TRUE(result == answer);
  EXPECT_EQ(_first->methodCalls(), 1);
  ASSERT_EQ(_provider.auditRecords().size(), 1u);
  const TestProvider::AuditRecord& audit = _provider.auditRecords()[0];
  EXPECT_TRUE(audit.returnValue == answer);
  EXPECT_TRUE(audit.transaction == transaction);
  EXPECT_TRUE(audit.instanceName == name);
  EXPECT_EQ(audit.methodName, "Reset");
  EXPECT_TRUE(capture.records().empty());
}

TEST_F(ProviderTest, ExecuteMethodHandsTheMethodNameAndParametersToTheObject) {
  declareTree();
  TOVString seenMethod;
  ParameterList seenIn;
  _first->setMethodBehaviour([&](const TOVString& method, ParameterList in, ParameterList& out,
                                 TOVSmrPtr<ITovaTransaction>&) {
    seenMethod = method;
    seenIn = in;
    out->append(TOVSmrPtr<ITovaActualParameter>(new CTovaActualParameter("Job", make("job-7"))));
    return make(TOVuint32{4096});
  });
  const ParameterList in = parameters("Size", make(TOVuint64{1} << 30));
  const ParameterList out = emptyParameters();

  const TOVSmrPtr<ITovaValue> result =
      _provider.executeMethod("root/kest", diskName("Test_Base", "b"), "Grow", in, out, nullptr);

  EXPECT_EQ(result->getAsUInt(), 4096u);
  EXPECT_EQ(seenMethod, "Grow");
  EXPECT_TRUE(seenIn == in);
  ASSERT_EQ(out->entries(), 1u);
  EXPECT_EQ(out->first()->getName(), "Job");
  ASSERT_EQ(_provider.auditRecords().size(), 1u);
  EXPECT_EQ(_provider.auditRecords()[0].methodName, "Grow");
}

// Methods run on an Instance, which the cache finds in the named class and its
// first child class only (getPFInstance), not in later child classes.
TEST_F(ProviderTest, ExecuteMethodLooksInTheNamedClassAndItsFirstChildClassOnly) {
  declareTree();
  TOVScopedLogCapture capture;

  const Thrown e = thrownAs<Exception>([&] {
    _provider.executeMethod("root/kest", diskName("Test_Base", "d"), "Reset", emptyParameters(),
                            emptyParameters(), nullptr);
  });

  ASSERT_TRUE(e.caught);
  EXPECT_EQ(e.code, 17666);
  EXPECT_EQ(_second->methodCalls(), 0);
  EXPECT_EQ(capture.records().size(), 1u);
  EXPECT_TRUE(_provider.auditRecords().empty());
}

TEST_F(ProviderTest, ExecuteMethodAuditsANullResultToo) {
  declareTree();

  const TOVSmrPtr<ITovaValue> result =
      _provider.executeMethod("root/kest", diskName("Test_Base", "a"), "Noop", emptyParameters(),
                              emptyParameters(), nullptr);

  EXPECT_TRUE(result.isNull());
  EXPECT_EQ(_base->methodCalls(), 1);
  ASSERT_EQ(_provider.auditRecords().size(), 1u);
  EXPECT_TRUE(_provider.auditRecords()[0].returnValue.isNull());
}

TEST_F(ProviderTest, AnExceptionFromTheObjectsMethodPropagatesWithoutAudit) {
  declareTree();
  _first->setMethodBehaviour([](const TOVString&, ParameterList, ParameterList&,
                                TOVSmrPtr<ITovaTransaction>&) -> TOVSmrPtr<ITovaValue> {
    throw Exception("Test_First::Reset", "device busy", 17664);
  });
  TOVScopedLogCapture capture;

  const Thrown e = thrownAs<Exception>([&] {
    _provider.executeMethod("root/kest", diskName("Test_First", "b"), "Reset", emptyParameters(),
                            emptyParameters(), nullptr);
  });

  ASSERT_TRUE(e.caught);
  EXPECT_EQ(e.where, "Test_First::Reset");
  EXPECT_EQ(e.message, "device busy");
  EXPECT_EQ(e.code, 17664);
  EXPECT_TRUE(_provider.auditRecords().empty());
  EXPECT_TRUE(capture.records().empty());
}

// --- refused and ignored requests -------------------------------------------

TEST_F(ProviderTest, CreateInstanceReturnsNullAndLeavesTheCacheUnchanged) {
  declareTree();
  const TOVSmrPtr<ITovaObject> offered(
      new TestInstance(manager(), "Test_Base", diskName("Test_Base", "new")));

  const TOVSmrPtr<ITovaInstanceName> created =
      _provider.createInstance("root/kest", offered, nullptr);

  EXPECT_TRUE(created.isNull());
  EXPECT_TRUE(manager().getInstance(diskName("Test_Base", "new")).isNull());
  VectorCollector<TOVSmrPtr<ITovaObject>> all;
  manager().enumerateInstances(all, "Test_Base");
  EXPECT_EQ(all.rep.size(), 4u);
}

TEST_F(ProviderTest, SetPropertyIsRefusedAsNotSupported) {
  declareTree();
  const Thrown e = thrownAs<Exception>([&] {
    _provider.setProperty("root/kest", diskName("Test_Base", "a"), "Size", make(1), nullptr);
  });

  ASSERT_TRUE(e.caught);
  EXPECT_EQ(e.type, "Provider");
  EXPECT_EQ(e.who, "kest::pf::Provider");
  EXPECT_EQ(e.where, "setProperty");
  EXPECT_EQ(e.message, "intrinsic not supported");
  EXPECT_EQ(e.code, 7);
}

TEST_F(ProviderTest, ModifyInstanceIsRefusedAsNotSupported) {
  declareTree();
  const Thrown e = thrownAs<Exception>(
      [&] { _provider.modifyInstance("root/kest", _base, sharedNames({"Size"}), nullptr); });

  ASSERT_TRUE(e.caught);
  EXPECT_EQ(e.type, "Provider");
  EXPECT_TRUE(e.who.isNull());
  EXPECT_EQ(e.where, "modifyInstance");
  EXPECT_EQ(e.message, "ModifyInstance intrinsic not supported");
  EXPECT_EQ(e.code, 7);
}

TEST_F(ProviderTest, DeleteInstanceIsRefusedAsNotSupportedAndKeepsTheObject) {
  declareTree();
  const Thrown e = thrownAs<Exception>(
      [&] { _provider.deleteInstance("root/kest", diskName("Test_Base", "a"), nullptr); });

  ASSERT_TRUE(e.caught);
  EXPECT_EQ(e.type, "Provider");
  EXPECT_TRUE(e.who.isNull());
  EXPECT_EQ(e.where, "deleteInstance");
  EXPECT_EQ(e.message, "DeleteInstance intrinsic not supported");
  EXPECT_EQ(e.code, 7);
  EXPECT_EQ(manager().getInstance(diskName("Test_Base", "a")).get(),
            static_cast<ITovaObject*>(_base.get()));
}

TEST_F(ProviderTest, GetClassIsFatal) {
  const Fatal fatal = fatalOf([&] { _provider.getClass("root/kest", "Test_Base"); });

  ASSERT_TRUE(fatal.caught);
  EXPECT_EQ(fatal.text, "! \"getClass (not) implemented\"");
  EXPECT_EQ(fatal.code, 51458);
}

TEST_F(ProviderTest, EnumerateClassesIsFatal) {
  VectorCollector<TOVSmrPtr<ITovaClass>> classes;
  const Fatal fatal = fatalOf([&] { _provider.enumerateClasses(classes, "root/kest"); });

  ASSERT_TRUE(fatal.caught);
  EXPECT_EQ(fatal.text, "! \"enumerateClasses (not) implemented\"");
  EXPECT_EQ(fatal.code, 51458);
  EXPECT_TRUE(classes.rep.empty());
}

TEST_F(ProviderTest, EnumerateClassNamesIsFatal) {
  VectorCollector<TOVString> classNames;
  const Fatal fatal = fatalOf([&] { _provider.enumerateClassNames(classNames, "root/kest"); });

  ASSERT_TRUE(fatal.caught);
  EXPECT_EQ(fatal.text, "! \"enumerateClassNames (not) implemented\"");
  EXPECT_EQ(fatal.code, 51458);
  EXPECT_TRUE(classNames.rep.empty());
}

// --- HTTP -------------------------------------------------------------------

namespace {

// Records the calls of the HTTP form without a response.
class HttpProvider : public TestProvider {
 public:
  using TestProvider::processHTTPRequest;

  void processHTTPRequest(TOVGenericHTTPIStream& istr, TOVGenericHTTPOStream& ostr,
                          TOVHTTPRequest& request, bool& persistConnection,
                          TOVSmrPtr<ITovaTransaction> tovaTransaction) override {
    ++calls;
    seenIstr = &istr;
    seenOstr = &ostr;
    seenRequest = &request;
    seenTransaction = tovaTransaction;
    persistConnection = true;
  }

  int calls = 0;
  TOVGenericHTTPIStream* seenIstr = nullptr;
  TOVGenericHTTPOStream* seenOstr = nullptr;
  TOVHTTPRequest* seenRequest = nullptr;
  TOVSmrPtr<ITovaTransaction> seenTransaction;
};

}  // namespace

TEST_F(ProviderTest, ProcessHTTPRequestWithAResponseForwardsToTheFormWithout) {
  HttpProvider provider;
  TOVGenericHTTPIStream istr;
  TOVGenericHTTPOStream ostr;
  TOVHTTPRequest request;
  TOVHTTPResponse response;
  const TOVSmrPtr<ITovaTransaction> transaction(new Transaction());
  bool persist = false;

  provider.processHTTPRequest(istr, ostr, request, response, persist, transaction);

  EXPECT_EQ(provider.calls, 1);
  EXPECT_EQ(provider.seenIstr, &istr);
  EXPECT_EQ(provider.seenOstr, &ostr);
  EXPECT_EQ(provider.seenRequest, &request);
  EXPECT_TRUE(provider.seenTransaction == transaction);
  EXPECT_TRUE(persist);
}

TEST_F(ProviderTest, ProcessHTTPRequestDoesNothingByDefault) {
  TOVGenericHTTPIStream istr;
  TOVGenericHTTPOStream ostr;
  TOVHTTPRequest request;
  TOVHTTPResponse response;

  for (const bool initial : {false, true}) {
    bool persist = initial;
    _provider.processHTTPRequest(istr, ostr, request, persist, nullptr);
    EXPECT_EQ(persist, initial);
    _provider.processHTTPRequest(istr, ostr, request, response, persist, nullptr);
    EXPECT_EQ(persist, initial);
  }
}

// --- profile versions -------------------------------------------------------

namespace {

// Starts without a configuration manager and removes the one a test installs.
class ConfigurationScope {
 public:
  ConfigurationScope() { KESTConfigManager::uninstall(); }
  ~ConfigurationScope() { KESTConfigManager::uninstall(); }
  ConfigurationScope(const ConfigurationScope&) = delete;
  ConfigurationScope& operator=(const ConfigurationScope&) = delete;
};

}  // namespace

TEST_F(ProviderTest, ProfileVersionsHaveDefaultsWithoutAConfigurationManager) {
  ConfigurationScope scope;
  EXPECT_EQ(TestProvider::getSMIProfileRegistrationVersion(), "1.0.0");
  EXPECT_EQ(TestProvider::getSMIServerProfileVersion(), "1.1.0");
}

TEST_F(ProviderTest, ProfileVersionsHaveDefaultsWhenTheKeysAreMissing) {
  ConfigurationScope scope;
  KESTConfigManager* config = KESTConfigManager::install();
  config->set("KEST", "CimTransactionTimeout", "30");
  config->set("Other", "SMIServerProfileVersion", "9.9.9");

  EXPECT_EQ(TestProvider::getSMIProfileRegistrationVersion(), "1.0.0");
  EXPECT_EQ(TestProvider::getSMIServerProfileVersion(), "1.1.0");
}

TEST_F(ProviderTest, ProfileVersionsAreReadFromTheConfigurationAtEveryCall) {
  ConfigurationScope scope;
  KESTConfigManager* config = KESTConfigManager::install();
  config->set("KEST", "SMIProfileRegistrationVersion", "1.5.0");
  config->set("KEST", "SMIServerProfileVersion", "1.6.0");

  EXPECT_EQ(TestProvider::getSMIProfileRegistrationVersion(), "1.5.0");
  EXPECT_EQ(TestProvider::getSMIServerProfileVersion(), "1.6.0");

  config->set("KEST", "SMIProfileRegistrationVersion", "1.7.0");
  config->remove("KEST", "SMIServerProfileVersion");

  EXPECT_EQ(TestProvider::getSMIProfileRegistrationVersion(), "1.7.0");
  EXPECT_EQ(TestProvider::getSMIServerProfileVersion(), "1.1.0");
}

// --- subscriptions and indications ------------------------------------------

TEST_F(ProviderTest, AuthorizeSubscriptionGrantsWithoutCounting) {
  EXPECT_EQ(_provider.authorizeSubscription(nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(_provider.subscriptionCount(), 0);
  EXPECT_FALSE(_provider.hasActiveSubscribers("CIM_InstCreation", nullptr));
}

TEST_F(ProviderTest, ActivateSubscriptionCountsUpAndReturnsZero) {
  EXPECT_EQ(_provider.activateSubscription(nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(_provider.subscriptionCount(), 1);
  EXPECT_TRUE(_provider.hasActiveSubscribers("CIM_InstCreation", nullptr));
  EXPECT_EQ(_provider.activateSubscription(nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(_provider.subscriptionCount(), 2);
}

TEST_F(ProviderTest, DeactivateSubscriptionCountsDownAndReturnsZero) {
  _provider.activateSubscription(nullptr, nullptr, nullptr);
  _provider.activateSubscription(nullptr, nullptr, nullptr);

  EXPECT_EQ(_provider.deactivateSubscription(nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(_provider.subscriptionCount(), 1);
  EXPECT_TRUE(_provider.hasActiveSubscribers("CIM_InstCreation", nullptr));
  EXPECT_EQ(_provider.deactivateSubscription(nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(_provider.subscriptionCount(), 0);
  EXPECT_FALSE(_provider.hasActiveSubscribers("CIM_InstCreation", nullptr));
}

TEST_F(ProviderTest, DeactivateSubscriptionAtZeroStaysAtZero) {
  EXPECT_EQ(_provider.deactivateSubscription(nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(_provider.deactivateSubscription(nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(_provider.subscriptionCount(), 0);

  _provider.activateSubscription(nullptr, nullptr, nullptr);
  EXPECT_EQ(_provider.subscriptionCount(), 1);
  EXPECT_TRUE(_provider.hasActiveSubscribers("CIM_InstCreation", nullptr));
}

TEST_F(ProviderTest, HasActiveSubscribersDoesNotExamineItsArguments) {
  const TOVSmrPtr<ITovaObject> object(new CTovaObject("Test_Disk"));
  EXPECT_FALSE(_provider.hasActiveSubscribers("CIM_InstDeletion", object));
  _provider.activateSubscription(nullptr, nullptr, nullptr);
  EXPECT_TRUE(_provider.hasActiveSubscribers("CIM_InstDeletion", object));
  EXPECT_TRUE(_provider.hasActiveSubscribers("", nullptr));
  EXPECT_TRUE(_provider.hasActiveSubscribers("Anything_Else", object));
}

TEST_F(ProviderTest, EnableAndDisableIndicationsSwitchAndReturnZero) {
  EXPECT_EQ(_provider.enableIndications(), 0);
  EXPECT_TRUE(_provider.getIndicationsEnabled());
  EXPECT_EQ(_provider.enableIndications(), 0);
  EXPECT_TRUE(_provider.getIndicationsEnabled());
  EXPECT_EQ(_provider.disableIndications(), 0);
  EXPECT_FALSE(_provider.getIndicationsEnabled());
  EXPECT_EQ(_provider.disableIndications(), 0);
  EXPECT_FALSE(_provider.getIndicationsEnabled());
}

TEST_F(ProviderTest, IndicationIdentifiersCountUpFromOneUnderTheProviderName) {
  EXPECT_EQ(_provider.getNextIndicationIdentifier(), "OMX:Array.1");
  EXPECT_EQ(_provider.getNextIndicationIdentifier(), "OMX:Array.2");
  EXPECT_EQ(_provider.getNextIndicationIdentifier(), "OMX:Array.3");
  EXPECT_EQ(_provider.lastIndicationNumber(), 3);
}

TEST_F(ProviderTest, IndicationIdentifiersUseTheCurrentProviderName) {
  TestProvider pool("Pool");
  EXPECT_EQ(pool.getNextIndicationIdentifier(), "OMX:Pool.1");
  pool.setProviderName("Volume");
  EXPECT_EQ(pool.getNextIndicationIdentifier(), "OMX:Volume.2");
}

TEST_F(ProviderTest, IndicationIdentifiersFromConcurrentThreadsAreUniqueAndConsecutive) {
  constexpr int kThreads = 8;
  constexpr int kPerThread = 2000;
  std::vector<std::vector<std::string>> perThread(kThreads);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      perThread[t].reserve(kPerThread);
      for (int i = 0; i < kPerThread; ++i) {
        perThread[t].push_back(_provider.getNextIndicationIdentifier().toStdString());
      }
    });
  }
  for (std::thread& thread : threads) thread.join();

  std::set<std::string> all;
  for (const auto& identifiers : perThread) all.insert(identifiers.begin(), identifiers.end());
  ASSERT_EQ(all.size(), static_cast<std::size_t>(kThreads * kPerThread));
  for (int n = 1; n <= kThreads * kPerThread; ++n) {
    ASSERT_EQ(all.count("OMX:Array." + std::to_string(n)), 1u) << n;
  }
  EXPECT_EQ(_provider.lastIndicationNumber(), kThreads * kPerThread);
}

// --- observers --------------------------------------------------------------

namespace {

void expectBooleanValue(const TOVSmrPtr<ITovaValue>& value, bool expected) {
  ASSERT_FALSE(value.isNull());
  EXPECT_FALSE(value.dynamicCast<CTovaValue>().isNull());
  EXPECT_TRUE(value->getType() == CTovaType::boolean);
  EXPECT_EQ(value->getType()->getName(), "boolean");
  EXPECT_EQ(value->getAsBool(), expected);
}

void expectSingleLogRecord(const TOVScopedLogCapture& capture, const char* message) {
  const auto records = capture.records();
  ASSERT_EQ(records.size(), 1u);
  EXPECT_EQ(records[0].source, "kest::pf::Provider");
  EXPECT_EQ(records[0].message, message);
  EXPECT_EQ(records[0].severity, 1);
  EXPECT_EQ(records[0].verbosity, 2);
  EXPECT_EQ(records[0].flags, 0);
  EXPECT_EQ(records[0].category, TOVLog::CIMOMLOG);
}

}  // namespace

TEST_F(ProviderTest, RegisterObserverAttachesTheSubscriberToTheCachedObject) {
  declareTree();
  const TOVSmrPtr<ITovaSubscriber> subscriber(new CountingSubscriber());
  TOVScopedLogCapture capture;

  const TOVSmrPtr<ITovaValue> answer = _provider.registerObserver(
      diskName("Test_First", "b"), subscriber, ITovaIndication::IndicationChange, nullptr, nullptr);

  expectBooleanValue(answer, true);
  ASSERT_EQ(_first->observers().entries(), 1u);
  EXPECT_TRUE(_first->observers().first()->getSubscriber() == subscriber);
  EXPECT_TRUE(capture.records().empty());
}

TEST_F(ProviderTest, RegisterObserverReachesAnObjectOfAChildClassThroughTheBaseName) {
  declareTree();
  const TOVSmrPtr<ITovaSubscriber> subscriber(new CountingSubscriber());

  const TOVSmrPtr<ITovaValue> answer = _provider.registerObserver(
      diskName("Test_Base", "d"), subscriber, ITovaIndication::IndicationChange, nullptr, nullptr);

  expectBooleanValue(answer, true);
  EXPECT_EQ(_second->observers().entries(), 1u);
}

TEST_F(ProviderTest, DeregisterObserverDetachesTheSubscriber) {
  declareTree();
  const TOVSmrPtr<ITovaSubscriber> subscriber(new CountingSubscriber());
  _provider.registerObserver(diskName("Test_First", "b"), subscriber,
                             ITovaIndication::IndicationChange, nullptr, nullptr);

  const TOVSmrPtr<ITovaValue> answer = _provider.deregisterObserver(
      diskName("Test_First", "b"), subscriber, ITovaIndication::IndicationChange, nullptr, nullptr);

  expectBooleanValue(answer, true);
  EXPECT_TRUE(_first->observers().isEmpty());
}

TEST_F(ProviderTest, DeregisterObserverGivesTheObjectsAnswerForAStrangerWithoutLogging) {
  declareTree();
  const TOVSmrPtr<ITovaSubscriber> stranger(new CountingSubscriber());
  TOVScopedLogCapture capture;

  const TOVSmrPtr<ITovaValue> answer = _provider.deregisterObserver(
      diskName("Test_First", "b"), stranger, ITovaIndication::IndicationChange, nullptr, nullptr);

  expectBooleanValue(answer, false);
  EXPECT_TRUE(capture.records().empty());
}

TEST_F(ProviderTest, RegisterObserverOfAnUncachedNameLogsAndAnswersFalse) {
  declareTree();
  const TOVSmrPtr<ITovaSubscriber> subscriber(new CountingSubscriber());
  TOVScopedLogCapture capture;

  const TOVSmrPtr<ITovaValue> answer = _provider.registerObserver(
      diskName("Test_Base", "z"), subscriber, ITovaIndication::IndicationChange, nullptr, nullptr);

  expectBooleanValue(answer, false);
  expectSingleLogRecord(capture, "A NULL instance name was passed into registerObserver.");
}

TEST_F(ProviderTest, RegisterObserverOfANullNameLogsAndAnswersFalse) {
  declareTree();
  TOVScopedLogCapture capture;

  const TOVSmrPtr<ITovaValue> answer =
      _provider.registerObserver(nullptr, TOVSmrPtr<ITovaSubscriber>(new CountingSubscriber()),
                                 ITovaIndication::IndicationChange, nullptr, nullptr);

  expectBooleanValue(answer, false);
  expectSingleLogRecord(capture, "A NULL instance name was passed into registerObserver.");
}

TEST_F(ProviderTest, DeregisterObserverOfAnUncachedNameLogsAndAnswersFalse) {
  declareTree();
  TOVScopedLogCapture capture;

  const TOVSmrPtr<ITovaValue> answer = _provider.deregisterObserver(
      diskName("Test_Volume", "v"), TOVSmrPtr<ITovaSubscriber>(new CountingSubscriber()),
      ITovaIndication::IndicationChange, nullptr, nullptr);

  expectBooleanValue(answer, false);
  expectSingleLogRecord(capture, "A NULL instance name was passed into deregisterObserver.");
}

TEST_F(ProviderTest, DeregisterObserverOfANullNameLogsAndAnswersFalse) {
  declareTree();
  TOVScopedLogCapture capture;

  const TOVSmrPtr<ITovaValue> answer =
      _provider.deregisterObserver(nullptr, TOVSmrPtr<ITovaSubscriber>(new CountingSubscriber()),
                                   ITovaIndication::IndicationChange, nullptr, nullptr);

  expectBooleanValue(answer, false);
  expectSingleLogRecord(capture, "A NULL instance name was passed into deregisterObserver.");
}

namespace {

// Answers the out-parameter getInstance with a chosen object (null unless
// set), whatever the cache holds, and remembers what it was asked.
class ChosenObjectProvider : public TestProvider {
 public:
  using TestProvider::getInstance;

  void getInstance(TOVSmrPtr<ITovaObject>& results, const TOVString& nameSpace,
                   TOVSmrPtr<ITovaInstanceName> instanceName,
                   TOVSmrPtr<ITovaTransaction> /*tovaTransaction*/,
                   const PropertyList& propertyList) override {
    ++calls;
    askedNameSpace = nameSpace;
    askedName = instanceName;
    askedWithPropertyList = !propertyList.isNull();
    results = answer;
  }

  TOVSmrPtr<ITovaObject> answer;
  int calls = 0;
  TOVString askedNameSpace;
  TOVSmrPtr<ITovaInstanceName> askedName;
  bool askedWithPropertyList = false;
};

}  // namespace

TEST_F(ProviderTest, ObserverRequestsFindTheirObjectThroughTheProvidersOwnGetInstance) {
  ChosenObjectProvider provider;
  const TOVSmrPtr<TestInstance> chosen(new TestInstance(provider.getInstanceManager(), "Test_Disk",
                                                        diskName("Test_Disk", "chosen")));
  provider.answer = chosen;
  const TOVSmrPtr<ITovaInstanceName> name = diskName("Test_Volume", "v");
  const TOVSmrPtr<ITovaSubscriber> subscriber(new CountingSubscriber());
  TOVScopedLogCapture capture;

  expectBooleanValue(provider.registerObserver(name, subscriber, ITovaIndication::IndicationChange,
                                               nullptr, nullptr),
                     true);
  EXPECT_EQ(chosen->observers().entries(), 1u);
  EXPECT_EQ(provider.calls, 1);
  EXPECT_TRUE(provider.askedName == name);
  EXPECT_EQ(provider.askedNameSpace, "");
  EXPECT_FALSE(provider.askedWithPropertyList);

  expectBooleanValue(provider.deregisterObserver(
                         name, subscriber, ITovaIndication::IndicationChange, nullptr, nullptr),
                     true);
  EXPECT_TRUE(chosen->observers().isEmpty());
  EXPECT_EQ(provider.calls, 2);
  EXPECT_EQ(provider.askedNameSpace, "");
  EXPECT_TRUE(capture.records().empty());
}

TEST_F(ProviderTest, ObserverRequestsLogWhenTheProvidersOwnGetInstanceFindsNothing) {
  ChosenObjectProvider provider;
  provider.getInstanceManager().registerClass(_tree.make("Test_Disk"));
  const TOVSmrPtr<TestInstance> cached(
      new TestInstance(provider.getInstanceManager(), "Test_Disk", diskName("Test_Disk", "a")));
  provider.getInstanceManager().registerInstance(cached);
  TOVScopedLogCapture capture;

  expectBooleanValue(provider.registerObserver(diskName("Test_Disk", "a"),
                                               TOVSmrPtr<ITovaSubscriber>(new CountingSubscriber()),
                                               ITovaIndication::IndicationChange, nullptr, nullptr),
                     false);

  EXPECT_TRUE(cached->observers().isEmpty());
  EXPECT_EQ(provider.calls, 1);
  expectSingleLogRecord(capture, "A NULL instance name was passed into registerObserver.");
}

TEST_F(ProviderTest, ObserverRequestsLetAnErrorOfTheLookupThroughWithoutLogging) {
  const TOVSmrPtr<Class> base = declare("Test_Base");
  _tree.link(base, _tree.make("Test_Undeclared"));
  const TOVSmrPtr<ITovaSubscriber> subscriber(new CountingSubscriber());
  TOVScopedLogCapture capture;

  EXPECT_THROW(_provider.registerObserver(diskName("Test_Base", "a"), subscriber,
                                          ITovaIndication::IndicationChange, nullptr, nullptr),
               TOVNullPointerException);
  EXPECT_THROW(_provider.deregisterObserver(diskName("Test_Base", "a"), subscriber,
                                            ITovaIndication::IndicationChange, nullptr, nullptr),
               TOVNullPointerException);
  EXPECT_TRUE(capture.records().empty());
}

TEST_F(ProviderTest, RefusedRequestsThrowCodeSevenWhateverTheirArguments) {
  declareTree();
  const TOVSmrPtr<ITovaTransaction> transaction(new Transaction());
  const TOVSmrPtr<ITovaObject> uncached(
      new TestInstance(manager(), "Test_Volume", diskName("Test_Volume", "v")));
  struct Row {
    const char* where;
    std::function<void()> call;
  };
  const std::vector<Row> rows = {
      {"setProperty", [&] { _provider.setProperty("", nullptr, "", nullptr, nullptr); }},
      {"setProperty",
       [&] {
         _provider.setProperty("root/other", diskName("Test_Volume", "v"), "NoSuchProperty",
                               make("x"), transaction);
       }},
      {"modifyInstance", [&] { _provider.modifyInstance("", nullptr, nullptr, nullptr); }},
      {"modifyInstance",
       [&] { _provider.modifyInstance("root/other", uncached, sharedNames({}), transaction); }},
      {"deleteInstance", [&] { _provider.deleteInstance("", nullptr, nullptr); }},
      {"deleteInstance",
       [&] { _provider.deleteInstance("root/other", diskName("Test_Volume", "v"), transaction); }},
  };

  for (const Row& row : rows) {
    SCOPED_TRACE(row.where);
    const Thrown e = thrownAs<Exception>(row.call);
    ASSERT_TRUE(e.caught);
    EXPECT_EQ(e.type, "Provider");
    EXPECT_EQ(e.where, row.where);
    EXPECT_EQ(e.code, 7);
  }
  VectorCollector<TOVSmrPtr<ITovaObject>> all;
  manager().enumerateInstances(all, "Test_Base");
  EXPECT_EQ(all.rep.size(), 4u);
}

// --- the provider's own operations ------------------------------------------

TEST_F(ProviderTest, TheTestProviderNamesItselfArrayAtVersionOne) {
  EXPECT_EQ(_provider.getProviderName(), "Array");
  EXPECT_EQ(_provider.getVersion(), "1.0");
}
