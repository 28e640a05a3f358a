#include <gtest/gtest.h>

#include <vector>

#include "framework/Class.h"
#include "framework/Exception.h"
#include "framework/Instance.h"
#include "framework/InstanceManager.h"
#include "host/Exception.h"
#include "host/Indication.h"
#include "host/List.h"
#include "host/Log.h"
#include "host/RecordingProviderContext.h"
#include "host/SmartPointer.h"
#include "host/String.h"
#include "host/Value.h"
#include "support/ObjectModelBuilders.h"
#include "support/TestInstances.h"
#include "support/TestProvider.h"
#include "tests/support/Thrown.h"

using kest::RecordingProviderContext;
using kest::pf::Class;
using kest::pf::Exception;
using kest::pf::InstanceManager;
using kest::testing::ClassTree;
using kest::testing::Key;
using kest::testing::make;
using kest::testing::makeName;
using kest::testing::refTo;
using kest::testing::TestInstance;
using kest::testing::TestProvider;
using kest::testing::Thrown;
using kest::testing::thrownAs;

namespace {

using ValueList = TOVSmrPtr<TOVValSlist<TOVSmrPtr<ITovaValue>>>;

// A value whose type is given by the test (null included) and whose type
// query may throw.
class OddValue : public ITovaValue {
 public:
  explicit OddValue(bool throwOnType) : _throwOnType(throwOnType) {}
  TOVSmrPtr<ITovaType> getType() const override {
    if (_throwOnType) throw TovaBaseException("Test", "getType", "value", "unreadable", 3);
    return TOVSmrPtr<ITovaType>();
  }
  TOVString getAsString() const override { return TOVString(); }
  TOVsint32 getAsInt() const override { return 0; }
  TOVuint64 getAsUInt64() const override { return 0; }
  TOVuint32 getAsUInt() const override { return 0; }
  TOVreal64 getAsDouble() const override { return 0; }
  bool getAsBool() const override { return false; }
  TOVSmrPtr<ITovaObject> getObject() const override { return {}; }
  TOVSmrPtr<ITovaInstanceName> getReference() const override { return {}; }
  TOVSmrPtr<TOVValSlist<TOVSmrPtr<ITovaValue>>> getArray() const override { return {}; }
  TOVString toString() const override { return TOVString(); }

 private:
  bool _throwOnType;
};

TOVSmrPtr<ITovaInstanceName> diskName(const char* className, const char* id) {
  return makeName(className, "DeviceID", make(id));
}

void expectPurgeRecord(const TOVLogRecord& record, const TOVString& message) {
  EXPECT_EQ(record.source, "PFInstanceManager::purge");
  EXPECT_EQ(record.message, message);
  EXPECT_EQ(record.severity, 1);
  EXPECT_EQ(record.verbosity, 2);
  EXPECT_EQ(record.flags, 0);
  EXPECT_EQ(record.category, TOVLog::CIMOMLOG);
}

class InstanceManagerPurgeTest : public ::testing::Test {
 protected:
  InstanceManagerPurgeTest() : _context(new RecordingProviderContext()) {
    _manager.setProvider(&_provider);
    _provider.setProviderContext(_context);
  }

  TOVSmrPtr<Class> declare(const char* className, bool isAssociation = false) {
    const TOVSmrPtr<Class> cls = _tree.make(className, isAssociation);
    _manager.registerClass(cls);
    return cls;
  }

  TOVSmrPtr<TestInstance> cachedDisk(const char* className, const char* id, long stamp) {
    TOVSmrPtr<TestInstance> object(new TestInstance(_manager, className, diskName(className, id)));
    object->setUpdateStamp(stamp);
    _manager.registerInstance(object);
    return object;
  }

  TOVSmrPtr<TestInstance> cachedLink(const char* className,
                                     const TOVSmrPtr<ITovaInstanceName>& antecedent, long stamp) {
    const TOVSmrPtr<ITovaInstanceName> name =
        makeName(className, {Key{"Antecedent", refTo(antecedent)}});
    TOVSmrPtr<TestInstance> object(new TestInstance(_manager, className, name));
    object->setProperty("Antecedent", refTo(antecedent));
    object->setUpdateStamp(stamp);
    _manager.registerInstance(object);
    return object;
  }

  static ValueList values(std::vector<TOVSmrPtr<ITovaValue>> items) {
    ValueList list(new TOVValSlist<TOVSmrPtr<ITovaValue>>());
    for (const TOVSmrPtr<ITovaValue>& item : items) list->append(item);
    return list;
  }

  bool cached(const char* className, const char* id) const {
    return !_manager.getInstance(diskName(className, id)).isNull();
  }

  ClassTree _tree;
  TestProvider _provider;
  TOVSmrPtr<RecordingProviderContext> _context;
  InstanceManager _manager;
};

TEST_F(InstanceManagerPurgeTest, AnObjectStampedWithThePurgeStampSurvivesEveryForm) {
  declare("Test_Disk");
  const TOVSmrPtr<TestInstance> a = cachedDisk("Test_Disk", "a", 5);
  TOVScopedLogCapture capture;

  _manager.purge(a, 5, true, false, false);
  ValueList list = values({refTo(diskName("Test_Disk", "a"))});
  _manager.purge(list, 5);
  _manager.purge(TOVString("Test_Disk"), 5);

  EXPECT_TRUE(cached("Test_Disk", "a"));
  EXPECT_EQ(a->destroyCalls(), 0);
  EXPECT_TRUE(a->pruneStamps().empty());
  EXPECT_TRUE(capture.records().empty());
}

TEST_F(InstanceManagerPurgeTest, TheListFormLogsPrunesDeregistersAndDestroysStaleObjects) {
  declare("Test_Disk");
  const TOVSmrPtr<TestInstance> older = cachedDisk("Test_Disk", "a", 4);
  const TOVSmrPtr<TestInstance> newer = cachedDisk("Test_Disk", "b", 9);
  TOVScopedLogCapture capture;

  ValueList list = values({refTo(diskName("Test_Disk", "a")), make(TOVSmrPtr<ITovaObject>(newer))});
  _manager.purge(list, 5);

  EXPECT_FALSE(cached("Test_Disk", "a"));
  EXPECT_FALSE(cached("Test_Disk", "b"));
  EXPECT_EQ(older->pruneStamps(), std::vector<long>{5});
  EXPECT_EQ(newer->pruneStamps(), std::vector<long>{5});
  EXPECT_EQ(older->destroyCalls(), 1);
  EXPECT_EQ(newer->destroyCalls(), 1);
  const auto records = capture.records();
  ASSERT_EQ(records.size(), 2u);
  expectPurgeRecord(records[0], "pruning: " + diskName("Test_Disk", "a")->toString());
  expectPurgeRecord(records[1], "pruning: " + diskName("Test_Disk", "b")->toString());
}

TEST_F(InstanceManagerPurgeTest, TheClassFormNeitherLogsNorPrunes) {
  declare("Test_Disk");
  const TOVSmrPtr<TestInstance> older = cachedDisk("Test_Disk", "a", 4);
  const TOVSmrPtr<TestInstance> newer = cachedDisk("Test_Disk", "b", 9);
  const TOVSmrPtr<TestInstance> current = cachedDisk("Test_Disk", "c", 5);
  TOVScopedLogCapture capture;

  _manager.purge(TOVString("test_disk"), 5);

  EXPECT_FALSE(cached("Test_Disk", "a"));
  EXPECT_FALSE(cached("Test_Disk", "b"));
  EXPECT_TRUE(cached("Test_Disk", "c"));
  EXPECT_EQ(older->destroyCalls(), 1);
  EXPECT_EQ(newer->destroyCalls(), 1);
  EXPECT_EQ(current->destroyCalls(), 0);
  EXPECT_TRUE(older->pruneStamps().empty());
  EXPECT_TRUE(capture.records().empty());
}

TEST_F(InstanceManagerPurgeTest, PurgingAnAssociationClassOnlyTellsStaleAssociationsToGo) {
  declare("Test_Disk");
  declare("Test_Link", true);
  const TOVSmrPtr<TestInstance> stale = cachedLink("Test_Link", diskName("Test_Disk", "a"), 4);
  const TOVSmrPtr<TestInstance> current = cachedLink("Test_Link", diskName("Test_Disk", "b"), 5);

  _manager.purge(TOVString("Test_Link"), 5);

  EXPECT_EQ(stale->destroyReasons(), std::vector<TOVString>{TOVString("")});
  EXPECT_TRUE(current->destroyReasons().empty());
  EXPECT_EQ(stale->destroyCalls(), 0);
  EXPECT_EQ(_manager.enumerateInstances("Test_Link")->entries(), 2u);
}

TEST_F(InstanceManagerPurgeTest, TheClassFormSkipsChildClassesWhileTheListFormReachesThem) {
  const TOVSmrPtr<Class> base = declare("Test_Base");
  const TOVSmrPtr<Class> child = declare("Test_Child");
  _tree.link(base, child);
  const TOVSmrPtr<TestInstance> object = cachedDisk("Test_Child", "a", 4);

  _manager.purge(TOVString("Test_Base"), 5);
  EXPECT_TRUE(cached("Test_Child", "a"));

  ValueList list = values({refTo(diskName("Test_Base", "a"))});
  _manager.purge(list, 5);
  EXPECT_FALSE(cached("Test_Child", "a"));
  EXPECT_EQ(object->destroyCalls(), 1);
}

TEST_F(InstanceManagerPurgeTest, NullValuesAndUncachedNamesAreSkippedSilently) {
  declare("Test_Disk");
  const TOVSmrPtr<TestInstance> a = cachedDisk("Test_Disk", "a", 4);
  TOVScopedLogCapture capture;

  ValueList list = values({TOVSmrPtr<ITovaValue>(), refTo(diskName("Test_Disk", "zz"))});
  _manager.purge(list, 5);
  ValueList none;
  _manager.purge(none, 5);

  EXPECT_TRUE(cached("Test_Disk", "a"));
  EXPECT_TRUE(capture.records().empty());
}

TEST_F(InstanceManagerPurgeTest, AnUnreadableValueIsLoggedAndThePurgeGoesOn) {
  declare("Test_Disk");
  const TOVSmrPtr<TestInstance> a = cachedDisk("Test_Disk", "a", 4);
  TOVScopedLogCapture capture;

  ValueList list =
      values({TOVSmrPtr<ITovaValue>(new OddValue(true)), TOVSmrPtr<ITovaValue>(new OddValue(false)),
              make("text"), refTo(diskName("Test_Disk", "a"))});
  _manager.purge(list, 5);

  EXPECT_FALSE(cached("Test_Disk", "a"));
  const auto records = capture.records();
  ASSERT_EQ(records.size(), 4u);
  expectPurgeRecord(records[0], "Exception caught");
  expectPurgeRecord(records[1], "Exception caught");
  expectPurgeRecord(records[2], "Exception caught");
  expectPurgeRecord(records[3], "pruning: " + diskName("Test_Disk", "a")->toString());
}

TEST_F(InstanceManagerPurgeTest, TheClassFormOnAnUndeclaredClassThrowsAndPurgesNothing) {
  declare("Test_Disk");
  const TOVSmrPtr<TestInstance> a = cachedDisk("Test_Disk", "a", 4);

  const Thrown e = thrownAs<Exception>([&] { _manager.purge(TOVString("Test_Volume"), 5); });

  ASSERT_TRUE(e.caught);
  EXPECT_EQ(e.type, "Provider");
  EXPECT_EQ(e.where, "kest::pf::InstanceManager::purge");
  EXPECT_EQ(e.message, "Undeclared class Test_Volume");
  EXPECT_EQ(e.code, 17665);
  EXPECT_TRUE(cached("Test_Disk", "a"));
  EXPECT_EQ(a->destroyCalls(), 0);
}

TEST_F(InstanceManagerPurgeTest, TheObjectFormOnAnUndeclaredClassRaisesTheNullPointerError) {
  declare("Test_Disk");
  const TOVSmrPtr<TestInstance> a = cachedDisk("Test_Disk", "a", 4);
  a->setClassName("Test_Volume");

  EXPECT_THROW(_manager.purge(a, 5, true, false, false), TOVNullPointerException);

  a->setClassName("Test_Disk");
  EXPECT_TRUE(cached("Test_Disk", "a"));
  EXPECT_EQ(a->destroyCalls(), 0);
}

TEST_F(InstanceManagerPurgeTest, TheObjectFormTrustsTheAssociationFlagWhenAskedTo) {
  declare("Test_Disk");
  const TOVSmrPtr<TestInstance> a = cachedDisk("Test_Disk", "a", 4);

  _manager.purge(a, 5, true, true, true);

  EXPECT_TRUE(cached("Test_Disk", "a"));
  EXPECT_EQ(a->destroyReasons(), std::vector<TOVString>{TOVString("")});
  EXPECT_EQ(a->destroyCalls(), 0);
  _manager.purge(TOVSmrPtr<kest::pf::Instance>(), 5, true, false, false);
}

TEST_F(InstanceManagerPurgeTest, PurgingRaisesTheDeletionIndicationAndRemovesTiedAssociations) {
  declare("Test_Disk");
  declare("Test_Link", true);
  _manager.addAssociation("Test_Disk", "Test_Link");
  const TOVSmrPtr<TestInstance> a = cachedDisk("Test_Disk", "a", 4);
  const TOVSmrPtr<TestInstance> association =
      cachedLink("Test_Link", diskName("Test_Disk", "a"), 5);
  _provider.enableIndications();

  _manager.purge(a, 5, false, false, false);

  const auto legacy = _context->legacyIndications();
  ASSERT_EQ(legacy.size(), 1u);
  EXPECT_EQ(legacy[0]->getIndicationType(), ITovaIndication::IndicationDestruction);
  EXPECT_EQ(static_cast<int>(legacy[0]->getIndicationType()), 16);
  EXPECT_EQ(association->destroyReasons(), std::vector<TOVString>{TOVString("")});
  EXPECT_EQ(a->destroyCalls(), 1);
  EXPECT_TRUE(a->pruneStamps().empty());
}

}  // namespace
