// A storage array provider built on the framework, driven the way the host
// drives one: set up through kest::IProvider, its cache filled and refreshed by
// provider code, and requests served from that cache.

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "framework/Class.h"
#include "framework/Exception.h"
#include "framework/Instance.h"
#include "framework/InstanceManager.h"
#include "framework/Provider.h"
#include "host/Exception.h"
#include "host/Fatal.h"
#include "host/Indication.h"
#include "host/InstanceName.h"
#include "host/List.h"
#include "host/Log.h"
#include "host/Object.h"
#include "host/Provider.h"
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

using kest::RecordingProviderContext;
using kest::VectorCollector;
using kest::pf::Class;
using kest::pf::Exception;
using kest::pf::Instance;
using kest::testing::ClassTree;
using kest::testing::Key;
using kest::testing::make;
using kest::testing::makeName;
using kest::testing::makePath;
using kest::testing::refTo;
using kest::testing::TestInstance;
using kest::testing::TestProvider;

namespace {

using CallKind = RecordingProviderContext::CallKind;
using ParameterList = kest::IProvider::ParameterList;

constexpr const char* kDevice = "KEST_LogicalDevice";
constexpr const char* kDisk = "KEST_DiskDrive";
constexpr const char* kFlash = "KEST_FlashDrive";
constexpr const char* kVolume = "KEST_StorageVolume";
constexpr const char* kBasedOn = "KEST_BasedOn";
constexpr const char* kSystemDevice = "KEST_SystemDevice";
constexpr const char* kSystem = "KEST_ArraySystem";

// className.SystemName="array1",DeviceID="<id>" in root/kest.
TOVSmrPtr<ITovaInstanceName> deviceName(const char* className, const char* id) {
  return makeName(className, {Key{"SystemName", make("array1")}, Key{"DeviceID", make(id)}},
                  makePath("array1", "root/kest"));
}

// The array itself, which the provider does not cache.
TOVSmrPtr<ITovaInstanceName> systemName() {
  return makeName(kSystem, "Name", make("array1"), makePath("array1", "root/kest"));
}

// The KEST_SystemDevice associations of a device are computed, never
// cached: one joins the array (GroupComponent) to the device
// (PartComponent).
kest::pf::Class::ObjectList systemDevicesOf(const TOVSmrPtr<ITovaInstanceName>& device) {
  const TOVSmrPtr<CTovaObject> link(new CTovaObject(kSystemDevice));
  link->setProperty("GroupComponent", refTo(systemName()));
  link->setProperty("PartComponent", refTo(device));
  kest::pf::Class::ObjectList list(new TOVValSlist<TOVSmrPtr<ITovaObject>>());
  list->append(CTovaObject::iPtr(link));
  return list;
}

// The associators function of KEST_SystemDevice, for devices the cache does
// not hold.
kest::pf::Class::ObjectList systemDeviceAssociators(const TOVSmrPtr<ITovaInstanceName>& device,
                                                    const TOVString& /*nameSpace*/,
                                                    kest::pf::Context* /*context*/, bool& handled,
                                                    const TOVString& /*resultClassName*/) {
  handled = true;
  return systemDevicesOf(device);
}

// A device of the array: it answers KEST_SystemDevice itself and leaves
// every other association to the cache.
class Device : public TestInstance {
 public:
  using TestInstance::TestInstance;

  ObjectList associators(const TOVString& assocClassName, const TOVString& resultClassName,
                         bool& handled, kest::pf::Context* context) override {
    if (assocClassName.compareTo(kSystemDevice, 0) != 0) {
      return TestInstance::associators(assocClassName, resultClassName, handled, context);
    }
    handled = true;
    return systemDevicesOf(getInstanceName());
  }
};

// An association that takes itself out of the cache when an object it joins
// goes away.
class BasedOnLink : public TestInstance {
 public:
  using TestInstance::TestInstance;

  void destroy(const TOVString& reason) override {
    TestInstance::destroy(reason);
    getInstanceManager().deregisterInstance(getSmartThis());
  }
};

// The array provider: declares its classes at start-up,
//   KEST_LogicalDevice
//     KEST_DiskDrive
//       KEST_FlashDrive
//     KEST_StorageVolume
//   KEST_BasedOn (association: Antecedent disk, Dependent volume)
//   KEST_SystemDevice (association: GroupComponent array, PartComponent
//     device; computed, never cached)
// and caches what a refresh finds.
class ArrayProvider : public TestProvider {
 public:
  void startup() override {
    TestProvider::startup();
    const TOVSmrPtr<Class> device = declare(kDevice);
    const TOVSmrPtr<Class> disk = declare(kDisk);
    const TOVSmrPtr<Class> flash = declare(kFlash);
    const TOVSmrPtr<Class> volume = declare(kVolume);
    declare(kBasedOn, true);
    declare(kSystemDevice, true, systemDeviceAssociators);
    _classes.link(device, disk);
    _classes.link(device, volume);
    _classes.link(disk, flash);
    getInstanceManager().addAssociation(kDisk, kBasedOn);
    getInstanceManager().addAssociation(kVolume, kBasedOn);
  }

  TOVSmrPtr<TestInstance> addDevice(const char* className, const char* id) {
    const TOVSmrPtr<TestInstance> device(
        new Device(getInstanceManager(), className, deviceName(className, id)));
    device->setProperty("DeviceID", make(id));
    getInstanceManager().registerInstance(device);
    return device;
  }

  TOVSmrPtr<BasedOnLink> addLink(const TOVSmrPtr<TestInstance>& disk,
                                 const TOVSmrPtr<TestInstance>& volume) {
    const TOVSmrPtr<BasedOnLink> link(
        new BasedOnLink(getInstanceManager(), kBasedOn,
                        makeName(kBasedOn,
                                 {Key{"Antecedent", refTo(disk->getInstanceName())},
                                  Key{"Dependent", refTo(volume->getInstanceName())}},
                                 makePath("array1", "root/kest"))));
    link->setProperty("Antecedent", refTo(disk->getInstanceName()));
    link->setProperty("Dependent", refTo(volume->getInstanceName()));
    getInstanceManager().registerInstance(link);
    return link;
  }

  bool removeDevice(const TOVSmrPtr<TestInstance>& device) {
    return getInstanceManager().deregisterInstance(device);
  }

 private:
  TOVSmrPtr<Class> declare(const char* className, bool isAssociation = false,
                           Class::AssociatorsFunction associators = nullptr) {
    const TOVSmrPtr<Class> cls =
        _classes.make(className, isAssociation, nullptr, nullptr, associators);
    getInstanceManager().registerClass(cls);
    return cls;
  }

  ClassTree _classes;
};

class Subscriber : public ITovaSubscriber {
 public:
  void notify(const TOVSmrPtr<ITovaIndication>& /*indication*/) override {}
};

class ProviderRequestsTest : public ::testing::Test {
 protected:
  ProviderRequestsTest()
      : _host(_provider),
        _context(new RecordingProviderContext()),
        _repository(new kest::testing::ClassTableRepository("root/kest")) {}

  // What the host does when it loads the provider, then the first refresh.
  void SetUp() override {
    // The host's class definitions.
    _repository->addClass("root/kest", kDevice, "");
    _repository->addClass("root/kest", kDisk, kDevice);
    _repository->addClass("root/kest", kFlash, kDisk);
    _repository->addClass("root/kest", kVolume, kDevice);
    _repository->addClass("root/kest", kBasedOn, "");
    _repository->addClass("root/kest", kSystemDevice, "");
    _repository->addClass("root/kest", kSystem, "");
    _host.initialize(TOVSmrPtr<ITovaRepository>(_repository));
    _host.setWorkArea("/var/lib/kest/array");
    _host.setProviderContext(_context);
    _host.startup();
    _host.postStartup();
    _host.postStartupIsComplete();

    _device = _provider.addDevice(kDevice, "ctl0");
    _disk = _provider.addDevice(kDisk, "disk0");
    _flash = _provider.addDevice(kFlash, "flash0");
    _volume = _provider.addDevice(kVolume, "vol0");
    _diskLink = _provider.addLink(_disk, _volume);
    _flashLink = _provider.addLink(_flash, _volume);
  }

  void TearDown() override { _host.shutdown(); }

  std::vector<ITovaObject*> enumerate(const char* className) {
    VectorCollector<TOVSmrPtr<ITovaObject>> results;
    _host.enumerateInstances(results, "root/kest", className, nullptr, nullptr);
    std::vector<ITovaObject*> objects;
    for (const TOVSmrPtr<ITovaObject>& object : results) objects.push_back(object.get());
    return objects;
  }

  static TOVString identifierOf(const TOVSmrPtr<ITovaObject>& indication) {
    return indication->getPropertyByName("IndicationIdentifier", true)->getValue()->getAsString();
  }
  static TOVSmrPtr<ITovaObject> sourceOf(const TOVSmrPtr<ITovaObject>& indication) {
    return indication->getPropertyByName("SourceInstance", true)->getValue()->getObject();
  }

  // The host's associators request in root/kest: each value's object, or
  // null for a value that holds a name.
  std::vector<ITovaObject*> associatorsOf(const TOVSmrPtr<ITovaInstanceName>& name,
                                          const char* assocClass, const char* resultClass = "",
                                          const char* role = "", const char* resultRole = "") {
    VectorCollector<TOVSmrPtr<ITovaValue>> values;
    _host.associators(values, "root/kest", name, nullptr, assocClass, resultClass, role, resultRole,
                      nullptr);
    std::vector<ITovaObject*> objects;
    for (const TOVSmrPtr<ITovaValue>& value : values) objects.push_back(value->getObject().get());
    return objects;
  }

  // The host's references request in root/kest.
  std::vector<ITovaObject*> referencesOf(const TOVSmrPtr<ITovaInstanceName>& name,
                                         const char* resultClass, const char* role = "") {
    VectorCollector<TOVSmrPtr<ITovaObject>> objects;
    _host.references(objects, "root/kest", name, nullptr, resultClass, role, nullptr);
    std::vector<ITovaObject*> pointers;
    for (const TOVSmrPtr<ITovaObject>& object : objects) pointers.push_back(object.get());
    return pointers;
  }

  // The texts of the names a name request gives.
  static std::vector<std::string> texts(
      const VectorCollector<TOVSmrPtr<ITovaInstanceName>>& names) {
    std::vector<std::string> result;
    for (const TOVSmrPtr<ITovaInstanceName>& name : names) {
      result.push_back(name->toString().toStdString());
    }
    return result;
  }

  ArrayProvider _provider;
  kest::IProvider& _host;
  TOVSmrPtr<RecordingProviderContext> _context;
  TOVSmrPtr<kest::testing::ClassTableRepository> _repository;
  TOVSmrPtr<TestInstance> _device, _disk, _flash, _volume;
  TOVSmrPtr<BasedOnLink> _diskLink, _flashLink;
};

}  // namespace

TEST_F(ProviderRequestsTest, TheHostsSetUpReachesTheProvider) {
  EXPECT_TRUE(_provider.getTovaRepository() == TOVSmrPtr<ITovaRepository>(_repository));
  EXPECT_EQ(_provider.getWorkAreaPath(), "/var/lib/kest/array");
  EXPECT_TRUE(_host.getProviderContext() == _context);
  EXPECT_EQ(_provider.lifecycle(), (std::vector<std::string>{"startup", "postStartup"}));
  EXPECT_EQ(_host.getProviderName(), "Array");
  EXPECT_EQ(_host.getVersion(), "1.0");
}

TEST_F(ProviderRequestsTest, EnumeratingTheBaseClassServesTheWholeTreeInTreeOrder) {
  EXPECT_EQ(enumerate(kDevice),
            (std::vector<ITovaObject*>{_device.get(), _disk.get(), _flash.get(), _volume.get()}));
  EXPECT_EQ(enumerate(kDisk), (std::vector<ITovaObject*>{_disk.get(), _flash.get()}));
  EXPECT_EQ(enumerate(kBasedOn), (std::vector<ITovaObject*>{_diskLink.get(), _flashLink.get()}));
}

TEST_F(ProviderRequestsTest, EveryEnumerationFormServesTheSameObjects) {
  const kest::IProvider::ObjectList list = _host.enumerateInstances("root/kest", kDevice, nullptr);
  VectorCollector<TOVSmrPtr<ITovaInstanceName>> names;
  _host.enumerateInstanceNames(names, "root/kest", kDevice, nullptr);

  ASSERT_FALSE(list.isNull());
  std::vector<ITovaObject*> fromList;
  for (const TOVSmrPtr<ITovaObject>& object : *list) fromList.push_back(object.get());
  EXPECT_EQ(fromList, enumerate(kDevice));
  ASSERT_EQ(names.rep.size(), 4u);
  EXPECT_TRUE(*names.rep[0] == *deviceName(kDevice, "ctl0"));
  EXPECT_TRUE(*names.rep[1] == *deviceName(kDisk, "disk0"));
  EXPECT_TRUE(*names.rep[2] == *deviceName(kFlash, "flash0"));
  EXPECT_TRUE(*names.rep[3] == *deviceName(kVolume, "vol0"));
}

TEST_F(ProviderRequestsTest, GetInstanceByTheBaseClassNameServesObjectsOfTheDirectChildClasses) {
  EXPECT_EQ(_host.getInstance("root/kest", deviceName(kDevice, "disk0"), nullptr).get(),
            static_cast<ITovaObject*>(_disk.get()));
  EXPECT_EQ(_host.getInstance("root/kest", deviceName(kDevice, "vol0"), nullptr).get(),
            static_cast<ITovaObject*>(_volume.get()));
  EXPECT_EQ(_host.getInstance("root/kest", deviceName("kest_diskdrive", "flash0"), nullptr).get(),
            static_cast<ITovaObject*>(_flash.get()));
  // Two levels down is out of reach.
  EXPECT_TRUE(_host.getInstance("root/kest", deviceName(kDevice, "flash0"), nullptr).isNull());

  TOVSmrPtr<ITovaObject> result;
  _host.getInstance(result, "root/kest", deviceName(kDevice, "ctl0"), nullptr, nullptr);
  EXPECT_EQ(result.get(), static_cast<ITovaObject*>(_device.get()));
}

TEST_F(ProviderRequestsTest, AMethodCallOnADiskNamedByItsBaseClassRunsOnTheCachedDisk) {
  _disk->setMethodBehaviour(
      [](const TOVString& method, ParameterList, ParameterList&, TOVSmrPtr<ITovaTransaction>&) {
        return make(method == "RequestStateChange" ? TOVuint32{0} : TOVuint32{1});
      });
  const TOVSmrPtr<ITovaInstanceName> name = deviceName(kDevice, "disk0");

  const TOVSmrPtr<ITovaValue> result = _host.executeMethod(
      "root/kest", name, "RequestStateChange", ParameterList(), ParameterList(), nullptr);

  EXPECT_EQ(result->getAsUInt(), 0u);
  ASSERT_EQ(_provider.auditRecords().size(), 1u);
  EXPECT_TRUE(_provider.auditRecords()[0].instanceName == name);
  EXPECT_EQ(_provider.auditRecords()[0].methodName, "RequestStateChange");
}

TEST_F(ProviderRequestsTest, AMethodCallOnAnUnknownDeviceIsRefusedAfterOneLogRecord) {
  TOVScopedLogCapture capture;
  int code = 0;
  try {
    _host.executeMethod("root/kest", deviceName(kDisk, "disk9"), "Reset", ParameterList(),
                        ParameterList(), nullptr);
  } catch (const Exception& e) {
    code = e.getCode();
  }

  EXPECT_EQ(code, 17666);
  const auto records = capture.records();
  ASSERT_EQ(records.size(), 1u);
  EXPECT_EQ(records[0].message,
            "Exception: Object not found : Reset : "
            "kest_diskdrive.deviceid=\"disk9\",systemname=\"array1\"");
  EXPECT_TRUE(_provider.auditRecords().empty());
}

TEST_F(ProviderRequestsTest, RemovingADiskRemovesTheLinksThatReferToIt) {
  ASSERT_TRUE(_provider.removeDevice(_disk));

  EXPECT_EQ(_diskLink->destroyReasons(), std::vector<TOVString>{""});
  EXPECT_TRUE(_flashLink->destroyReasons().empty());
  EXPECT_EQ(enumerate(kBasedOn), std::vector<ITovaObject*>{_flashLink.get()});
  EXPECT_TRUE(_host.getInstance("root/kest", deviceName(kDisk, "disk0"), nullptr).isNull());
}

TEST_F(ProviderRequestsTest, RemovingAFlashDriveRemovesTheLinksTiedToItsBaseClass) {
  ASSERT_TRUE(_provider.removeDevice(_flash));

  EXPECT_EQ(_flashLink->destroyReasons(), std::vector<TOVString>{""});
  EXPECT_EQ(enumerate(kBasedOn), std::vector<ITovaObject*>{_diskLink.get()});
}

TEST_F(ProviderRequestsTest, RemovingAVolumeRemovesEveryLinkThatDependsOnIt) {
  ASSERT_TRUE(_provider.removeDevice(_volume));

  EXPECT_EQ(_diskLink->destroyReasons(), std::vector<TOVString>{""});
  EXPECT_EQ(_flashLink->destroyReasons(), std::vector<TOVString>{""});
  EXPECT_TRUE(enumerate(kBasedOn).empty());
  EXPECT_EQ(enumerate(kDevice),
            (std::vector<ITovaObject*>{_device.get(), _disk.get(), _flash.get()}));
}

TEST_F(ProviderRequestsTest, WithoutEnableIndicationsARefreshRaisesNothing) {
  _host.activateSubscription(nullptr, nullptr, nullptr);
  const TOVSmrPtr<TestInstance> added = _provider.addDevice(kVolume, "vol1");
  _provider.removeDevice(added);
  _provider.removeDevice(_disk);

  EXPECT_EQ(_context->callCount(), 0u);
}

TEST_F(ProviderRequestsTest, ASubscriberSeesTheLifecycleOfWhatARefreshAddsAndRemoves) {
  ASSERT_EQ(_host.enableIndications(), 0);
  ASSERT_EQ(_host.authorizeSubscription(nullptr, nullptr, nullptr), 0);
  ASSERT_EQ(_host.activateSubscription(nullptr, nullptr, nullptr), 0);

  _provider.addDevice(kVolume, "vol1");
  _provider.removeDevice(_disk);

  const auto calls = _context->calls();
  ASSERT_EQ(calls.size(), 6u);
  // The new volume.
  ASSERT_EQ(calls[0].kind, CallKind::Indication);
  EXPECT_EQ(calls[0].nameSpace, "root/kest");
  EXPECT_EQ(calls[0].indication->getClassName(), "CIM_InstCreation");
  EXPECT_EQ(identifierOf(calls[0].indication), "OMX:Array.1");
  EXPECT_TRUE(*sourceOf(calls[0].indication)->getInstanceName() == *deviceName(kVolume, "vol1"));
  ASSERT_EQ(calls[1].kind, CallKind::LegacyIndication);
  EXPECT_EQ(calls[1].legacyIndication->getIndicationType(), ITovaIndication::IndicationCreation);
  // The disk's link leaves first, while the disk is being removed...
  ASSERT_EQ(calls[2].kind, CallKind::Indication);
  EXPECT_EQ(calls[2].indication->getClassName(), "CIM_InstDeletion");
  EXPECT_EQ(identifierOf(calls[2].indication), "OMX:Array.2");
  EXPECT_EQ(sourceOf(calls[2].indication)->getClassName(), kBasedOn);
  ASSERT_EQ(calls[3].kind, CallKind::LegacyIndication);
  EXPECT_EQ(calls[3].legacyIndication->getIndicationType(), ITovaIndication::IndicationDestruction);
  EXPECT_EQ(calls[3].legacyIndication->getObject()->getClassName(), kBasedOn);
  // ...then the disk itself.
  ASSERT_EQ(calls[4].kind, CallKind::Indication);
  EXPECT_EQ(calls[4].indication->getClassName(), "CIM_InstDeletion");
  EXPECT_EQ(identifierOf(calls[4].indication), "OMX:Array.3");
  EXPECT_TRUE(*sourceOf(calls[4].indication)->getInstanceName() == *deviceName(kDisk, "disk0"));
  EXPECT_EQ(
      sourceOf(calls[4].indication)->getPropertyByName("deviceid", true)->getValue()->getAsString(),
      "disk0");
  ASSERT_EQ(calls[5].kind, CallKind::LegacyIndication);
  EXPECT_EQ(calls[5].legacyIndication->getIndicationType(), ITovaIndication::IndicationDestruction);
  EXPECT_EQ(calls[5].legacyIndication->getObject().get(), sourceOf(calls[4].indication).get());
}

TEST_F(ProviderRequestsTest, OnceTheLastSubscriptionEndsOnlyNativeIndicationsAreRaised) {
  _host.enableIndications();
  _host.activateSubscription(nullptr, nullptr, nullptr);
  _host.deactivateSubscription(nullptr, nullptr, nullptr);

  _provider.addDevice(kVolume, "vol1");

  const auto calls = _context->calls();
  ASSERT_EQ(calls.size(), 1u);
  EXPECT_EQ(calls[0].kind, CallKind::LegacyIndication);
  EXPECT_EQ(_host.disableIndications(), 0);
  _provider.addDevice(kVolume, "vol2");
  EXPECT_EQ(_context->callCount(), 1u);
}

TEST_F(ProviderRequestsTest, AnObserverRegisteredThroughTheHostLandsOnTheCachedObject) {
  const TOVSmrPtr<ITovaSubscriber> subscriber(new Subscriber());

  const TOVSmrPtr<ITovaValue> attached = _host.registerObserver(
      deviceName(kDevice, "vol0"), subscriber, ITovaIndication::IndicationChange, nullptr, nullptr);

  EXPECT_TRUE(attached->getAsBool());
  ASSERT_EQ(_volume->observers().entries(), 1u);
  EXPECT_TRUE(_volume->observers().first()->getSubscriber() == subscriber);

  const TOVSmrPtr<ITovaValue> detached = _host.deregisterObserver(
      deviceName(kVolume, "vol0"), subscriber, ITovaIndication::IndicationChange, nullptr, nullptr);
  EXPECT_TRUE(detached->getAsBool());
  EXPECT_TRUE(_volume->observers().isEmpty());
}

TEST_F(ProviderRequestsTest, AssociatorsOfADiskServeTheCachedVolumeItHolds) {
  EXPECT_EQ(associatorsOf(deviceName(kDisk, "disk0"), kBasedOn),
            std::vector<ITovaObject*>{_volume.get()});
  EXPECT_EQ(associatorsOf(deviceName(kDisk, "disk0"), kBasedOn, kVolume, "Antecedent", "Dependent"),
            std::vector<ITovaObject*>{_volume.get()});
  EXPECT_TRUE(associatorsOf(deviceName(kDisk, "disk0"), kBasedOn, "", "Dependent").empty());
}

TEST_F(ProviderRequestsTest, AssociatorsOfAVolumeAreFilteredThroughTheHostsClassDefinitions) {
  const TOVSmrPtr<ITovaInstanceName> volume = deviceName(kVolume, "vol0");

  EXPECT_EQ(associatorsOf(volume, kBasedOn),
            (std::vector<ITovaObject*>{_disk.get(), _flash.get()}));
  EXPECT_EQ(associatorsOf(volume, kBasedOn, kDisk),
            (std::vector<ITovaObject*>{_disk.get(), _flash.get()}));
  EXPECT_EQ(associatorsOf(volume, kBasedOn, "kest_flashdrive"),
            std::vector<ITovaObject*>{_flash.get()});
  EXPECT_TRUE(associatorsOf(volume, kBasedOn, kVolume).empty());
}

TEST_F(ProviderRequestsTest, EveryAssociatorFormServesTheSameObjects) {
  const TOVSmrPtr<ITovaInstanceName> volume = deviceName(kVolume, "vol0");
  const kest::IProvider::ValueList list =
      _host.associators("root/kest", volume, nullptr, kBasedOn, kDisk, "Dependent", "Antecedent");
  VectorCollector<TOVSmrPtr<ITovaInstanceName>> names;
  _host.associatorNames(names, "root/kest", volume, nullptr, kBasedOn, kDisk, "Dependent",
                        "Antecedent");

  ASSERT_FALSE(list.isNull());
  std::vector<ITovaObject*> fromList;
  for (const TOVSmrPtr<ITovaValue>& value : *list) fromList.push_back(value->getObject().get());
  EXPECT_EQ(fromList, (std::vector<ITovaObject*>{_disk.get(), _flash.get()}));
  EXPECT_EQ(texts(names), (std::vector<std::string>{
                              "kest_diskdrive.deviceid=\"disk0\",systemname=\"array1\"",
                              "kest_flashdrive.deviceid=\"flash0\",systemname=\"array1\""}));
  EXPECT_TRUE(names.rep[0] == _disk->getInstanceName());
}

TEST_F(ProviderRequestsTest, ReferencesOfAVolumeServeTheLinksThatNameIt) {
  const TOVSmrPtr<ITovaInstanceName> volume = deviceName(kVolume, "vol0");

  EXPECT_EQ(referencesOf(volume, kBasedOn),
            (std::vector<ITovaObject*>{_diskLink.get(), _flashLink.get()}));
  EXPECT_EQ(referencesOf(volume, ""),
            (std::vector<ITovaObject*>{_diskLink.get(), _flashLink.get()}));
  EXPECT_EQ(referencesOf(volume, kBasedOn, "dependent"),
            (std::vector<ITovaObject*>{_diskLink.get(), _flashLink.get()}));
  EXPECT_TRUE(referencesOf(volume, kBasedOn, "Antecedent").empty());
  EXPECT_EQ(referencesOf(deviceName(kFlash, "flash0"), kBasedOn),
            std::vector<ITovaObject*>{_flashLink.get()});
}

TEST_F(ProviderRequestsTest, EveryReferenceFormServesTheSameLinks) {
  const TOVSmrPtr<ITovaInstanceName> volume = deviceName(kVolume, "vol0");
  const kest::IProvider::ObjectList list =
      _host.references("root/kest", volume, nullptr, kBasedOn, "Dependent");
  VectorCollector<TOVSmrPtr<ITovaInstanceName>> names;
  _host.referenceNames(names, "root/kest", volume, nullptr, kBasedOn, "Dependent");

  ASSERT_FALSE(list.isNull());
  std::vector<ITovaObject*> fromList;
  for (const TOVSmrPtr<ITovaObject>& object : *list) fromList.push_back(object.get());
  EXPECT_EQ(fromList, (std::vector<ITovaObject*>{_diskLink.get(), _flashLink.get()}));
  ASSERT_EQ(names.rep.size(), 2u);
  EXPECT_TRUE(names.rep[0] == _diskLink->getInstanceName());
  EXPECT_TRUE(names.rep[1] == _flashLink->getInstanceName());
}

TEST_F(ProviderRequestsTest, AfterADiskIsRemovedItsLinkIsNoLongerServed) {
  ASSERT_TRUE(_provider.removeDevice(_disk));
  const TOVSmrPtr<ITovaInstanceName> volume = deviceName(kVolume, "vol0");

  EXPECT_EQ(referencesOf(volume, kBasedOn), std::vector<ITovaObject*>{_flashLink.get()});
  EXPECT_EQ(associatorsOf(volume, kBasedOn), std::vector<ITovaObject*>{_flash.get()});
  EXPECT_TRUE(referencesOf(deviceName(kDisk, "disk0"), kBasedOn).empty());
}

TEST_F(ProviderRequestsTest, ACachedDeviceAnswersItsSystemItself) {
  VectorCollector<TOVSmrPtr<ITovaInstanceName>> names;
  _host.associatorNames(names, "root/kest", deviceName(kDisk, "disk0"), nullptr, kSystemDevice, "",
                        "", "");

  EXPECT_EQ(texts(names), std::vector<std::string>{"kest_arraysystem.name=\"array1\""});
  EXPECT_EQ(associatorsOf(deviceName(kDisk, "disk0"), kSystemDevice, kSystem, "PartComponent",
                          "GroupComponent"),
            std::vector<ITovaObject*>{nullptr});
  EXPECT_TRUE(
      associatorsOf(deviceName(kDisk, "disk0"), kSystemDevice, "", "GroupComponent").empty());
}

TEST_F(ProviderRequestsTest, ADeviceTheCacheDoesNotHoldIsAnsweredByTheClassFunction) {
  VectorCollector<TOVSmrPtr<ITovaInstanceName>> names;
  _host.associatorNames(names, "root/kest", deviceName(kDisk, "disk7"), nullptr,
                        "kest_systemdevice", "", "", "");

  EXPECT_EQ(texts(names), std::vector<std::string>{"kest_arraysystem.name=\"array1\""});
  // Without a class to ask, an uncached device has no associators.
  EXPECT_TRUE(associatorsOf(deviceName(kDisk, "disk7"), "").empty());
}

TEST_F(ProviderRequestsTest, ConcurrentAssociationRequestsAllSeeTheSameCache) {
  const TOVSmrPtr<ITovaInstanceName> volume = deviceName(kVolume, "vol0");
  std::vector<int> mismatches(4, 0);
  std::vector<std::thread> requests;
  for (int t = 0; t < 4; ++t) {
    requests.emplace_back([&, t] {
      for (int i = 0; i < 100; ++i) {
        VectorCollector<TOVSmrPtr<ITovaValue>> values;
        _host.associators(values, "root/kest", volume, nullptr, kBasedOn, kDisk, "", "", nullptr);
        VectorCollector<TOVSmrPtr<ITovaInstanceName>> names;
        _host.referenceNames(names, "root/kest", volume, nullptr, "", "");
        if (values.rep.size() != 2 || values.rep[1]->getObject().get() != _flash.get() ||
            names.rep.size() != 2 || !(names.rep[0] == _diskLink->getInstanceName())) {
          ++mismatches[t];
        }
      }
    });
  }
  for (std::thread& request : requests) request.join();

  EXPECT_EQ(mismatches, std::vector<int>(4, 0));
}

TEST_F(ProviderRequestsTest, ClassRequestsAreFatal) {
  VectorCollector<TOVString> classNames;
  VectorCollector<TOVSmrPtr<ITovaClass>> classes;

  EXPECT_THROW(_host.getClass("root/kest", kDisk), CI_ExFatal);
  EXPECT_THROW(_host.enumerateClasses(classes, "root/kest"), CI_ExFatal);
  EXPECT_THROW(_host.enumerateClassNames(classNames, "root/kest"), CI_ExFatal);
}

TEST_F(ProviderRequestsTest, WriteRequestsLeaveTheCacheAsTheRefreshMadeIt) {
  const TOVSmrPtr<ITovaInstanceName> disk = deviceName(kDisk, "disk0");
  const TOVSmrPtr<ITovaObject> offered(
      new TestInstance(_provider.getInstanceManager(), kDisk, deviceName(kDisk, "disk1")));

  EXPECT_THROW(_host.setProperty("root/kest", disk, "ElementName", make("d"), nullptr), Exception);
  EXPECT_THROW(_host.modifyInstance("root/kest", offered, nullptr, nullptr), Exception);
  EXPECT_THROW(_host.deleteInstance("root/kest", disk, nullptr), Exception);
  EXPECT_TRUE(_host.createInstance("root/kest", offered, nullptr).isNull());

  EXPECT_EQ(enumerate(kDevice),
            (std::vector<ITovaObject*>{_device.get(), _disk.get(), _flash.get(), _volume.get()}));
  EXPECT_EQ(_context->callCount(), 0u);
}
