// The system provider answering requests about a fixture machine: the
// classes it declares, enumeration and lookup across the base classes, the
// properties of its objects and every association.

#include "examples/system/SystemProvider.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "framework/Class.h"
#include "host/Config.h"
#include "host/Log.h"
#include "tests/examples/SystemProviderTesting.h"

using kest::testing::elementName;
using kest::testing::label;
using kest::testing::processName;
using kest::testing::sorted;
using kest::testing::systemName;
using Strings = std::vector<std::string>;

namespace {

class SystemProviderTest : public kest::testing::SystemProviderFixture {};

TEST_F(SystemProviderTest, DeclaresItsClassesLinkedToTheirBaseClasses) {
  kest::pf::InstanceManager& cache = provider().getInstanceManager();
  const auto base = [&](const char* name) {
    const TOVSmrPtr<kest::pf::Class> cls = cache.lookupClass(name);
    EXPECT_TRUE(cls) << name;
    const TOVSmrPtr<kest::pf::Class> baseClass = cls ? cls->getBaseClass() : nullptr;
    return baseClass ? baseClass->getClassName().toStdString() : std::string();
  };
  EXPECT_EQ(base("KEST_ComputerSystem"), "");
  EXPECT_EQ(base("KEST_LogicalElement"), "");
  EXPECT_EQ(base("KEST_Process"), "KEST_LogicalElement");
  EXPECT_EQ(base("KEST_FileSystem"), "KEST_LogicalElement");
  EXPECT_EQ(base("KEST_NetworkInterface"), "KEST_LogicalElement");
  EXPECT_EQ(base("KEST_SystemProcess"), "KEST_SystemComponent");
  EXPECT_EQ(base("KEST_SystemFileSystem"), "KEST_SystemComponent");
  EXPECT_EQ(base("KEST_SystemNetworkInterface"), "KEST_SystemComponent");
  EXPECT_EQ(base("KEST_ParentProcess"), "");
  EXPECT_EQ(cache.lookupClass("KEST_LogicalElement")->getChildClasses()->entries(), 3u);
  EXPECT_TRUE(cache.lookupClass("KEST_SystemComponent")->isAssociation());
  EXPECT_TRUE(cache.lookupClass("KEST_ParentProcess")->isAssociation());
  EXPECT_FALSE(cache.lookupClass("KEST_Process")->isAssociation());
}

TEST_F(SystemProviderTest, EnumeratingTheBaseClassYieldsEachSubclassInTurn) {
  const Strings names = enumerateNames("KEST_LogicalElement");
  ASSERT_EQ(names.size(), 8u);
  // Processes, then file systems, then interfaces (the child-class order);
  // within a class the cache's order.
  EXPECT_EQ(sorted(Strings(names.begin(), names.begin() + 4)),
            (Strings{"KEST_Process:1", "KEST_Process:100", "KEST_Process:2", "KEST_Process:200"}));
  EXPECT_EQ(sorted(Strings(names.begin() + 4, names.begin() + 6)),
            (Strings{"KEST_FileSystem:/", "KEST_FileSystem:/run/user 1000"}));
  EXPECT_EQ(sorted(Strings(names.begin() + 6, names.end())),
            (Strings{"KEST_NetworkInterface:eth0", "KEST_NetworkInterface:lo"}));
}

TEST_F(SystemProviderTest, ClassNamesMatchInAnyCase) {
  EXPECT_EQ(enumerateNames("kest_process").size(), 4u);
  EXPECT_EQ(enumerateNames("KEST_COMPUTERSYSTEM"), (Strings{"KEST_ComputerSystem:testhost"}));
}

TEST_F(SystemProviderTest, GetInstanceThroughTheBaseClassNameFindsTheSubclassObject) {
  for (const char* className : {"KEST_Process", "KEST_FileSystem", "KEST_NetworkInterface"}) {
    const std::string key = std::string(className) == "KEST_Process"      ? "100"
                            : std::string(className) == "KEST_FileSystem" ? "/"
                                                                          : "eth0";
    const TOVSmrPtr<ITovaObject> object =
        get(elementName(className, key, "testhost", "KEST_LogicalElement"));
    ASSERT_TRUE(object) << className;
    EXPECT_EQ(object->getClassName(), className);
    EXPECT_EQ(object->getInstanceName()->getClassname(), className);
  }
}

TEST_F(SystemProviderTest, GetInstanceOfAMissingObjectIsNull) {
  EXPECT_FALSE(get(processName(999)));
  EXPECT_FALSE(get(processName(100, "otherhost")));
  EXPECT_FALSE(get(elementName("KEST_Process", "100", "testhost", "KEST_FileSystem")));
}

TEST_F(SystemProviderTest, KeysFormTheInstanceName) {
  const TOVSmrPtr<ITovaObject> process = get(processName(100));
  ASSERT_TRUE(process);
  EXPECT_EQ(process->getInstanceName()->toString(),
            "kest_process.creationclassname=\"KEST_Process\",name=\"100\",systemname=\"testhost\"");
  EXPECT_EQ(get(systemName())->getInstanceName()->toString(),
            "kest_computersystem.creationclassname=\"KEST_ComputerSystem\",name=\"testhost\"");
}

struct PropertyCase {
  const char* property;
  const char* type;
  const char* value;
};

class ProcessPropertyTest : public SystemProviderTest,
                            public ::testing::WithParamInterface<PropertyCase> {};

TEST_P(ProcessPropertyTest, HasItsCimTypeAndValue) {
  const TOVSmrPtr<ITovaObject> process = get(processName(200));
  ASSERT_TRUE(process);
  const TOVSmrPtr<ITovaProperty> property = process->getPropertyByName(GetParam().property, true);
  ASSERT_TRUE(property) << GetParam().property;
  EXPECT_EQ(property->getType()->getName(), GetParam().type);
  EXPECT_EQ(property->getValue()->getType()->getName(), GetParam().type);
  EXPECT_EQ(property->getValue()->toString(), GetParam().value);
}

INSTANTIATE_TEST_SUITE_P(
    Columns, ProcessPropertyTest,
    ::testing::Values(
        PropertyCase{"SystemName", "string", "testhost"},
        PropertyCase{"CreationClassName", "string", "KEST_Process"},
        PropertyCase{"Name", "string", "200"}, PropertyCase{"ElementName", "string", "sleep"},
        PropertyCase{"ProcessId", "uint32", "200"},
        PropertyCase{"ParentProcessId", "uint32", "100"},
        PropertyCase{"Command", "string", "sleep"},
        PropertyCase{"CommandLine", "string", "sleep 100"},
        PropertyCase{"State", "string", "Running"}, PropertyCase{"Priority", "sint32", "30"},
        PropertyCase{"NiceValue", "sint32", "10"}, PropertyCase{"Threads", "uint32", "2"},
        PropertyCase{"UserModeTime", "uint64", "70"},
        PropertyCase{"KernelModeTime", "uint64", "30"},
        PropertyCase{"VirtualMemorySize", "uint64", "5500000"},
        PropertyCase{"ResidentSetSize", "uint64", "819200"},
        PropertyCase{"StartTime", "datetime", "20231114233640.500000+000"},
        // Names match in any case.
        PropertyCase{"processid", "uint32", "200"},
        PropertyCase{"COMMANDLINE", "string", "sleep 100"}));

TEST_F(SystemProviderTest, PropertiesAreReadByIndexInTableOrder) {
  const TOVSmrPtr<ITovaObject> system = get(systemName());
  ASSERT_TRUE(system);
  EXPECT_EQ(system->getNumberOfProperties(true), 11u);
  EXPECT_EQ(system->getPropertyAt(0, true)->getName(), "CreationClassName");
  EXPECT_EQ(system->getPropertyAt(8, true)->getName(), "LoadAverage");
  EXPECT_EQ(system->getPropertyAt(8, true)->getType()->getName(), "real64");
  EXPECT_EQ(system->getPropertyAt(8, true)->getValue()->getAsDouble(), 0.25);
  EXPECT_FALSE(system->getPropertyAt(11, true));
  EXPECT_FALSE(system->getPropertyByName("NoSuchProperty", true));
}

TEST_F(SystemProviderTest, MissingValuesAreTypedNulls) {
  const TOVSmrPtr<ITovaObject> loopback = get(elementName("KEST_NetworkInterface", "lo"));
  ASSERT_TRUE(loopback);
  const TOVSmrPtr<ITovaProperty> speed = loopback->getPropertyByName("Speed", true);
  EXPECT_EQ(speed->getType()->getName(), "uint64");
  EXPECT_TRUE(speed->getValue()->isNullValue());
  EXPECT_EQ(valueOf(elementName("KEST_NetworkInterface", "lo"), "LinkType"), "772");
  EXPECT_EQ(valueOf(elementName("KEST_NetworkInterface", "eth0"), "Speed"), "1000000000");
  EXPECT_EQ(valueOf(elementName("KEST_FileSystem", "/"), "ReadOnly"), "false");
}

TEST_F(SystemProviderTest, AssociatorsOfTheSystemAreAllItsElements) {
  EXPECT_EQ(associatorNames(systemName()),
            (Strings{"KEST_FileSystem:/", "KEST_FileSystem:/run/user 1000",
                     "KEST_NetworkInterface:eth0", "KEST_NetworkInterface:lo", "KEST_Process:1",
                     "KEST_Process:100", "KEST_Process:2", "KEST_Process:200"}));
  EXPECT_EQ(associatorNames(systemName(), "KEST_SystemComponent").size(), 8u);
}

TEST_F(SystemProviderTest, AssociatorsOfTheSystemFilterByAssociationAndResultClass) {
  EXPECT_EQ(associatorNames(systemName(), "KEST_SystemFileSystem"),
            (Strings{"KEST_FileSystem:/", "KEST_FileSystem:/run/user 1000"}));
  EXPECT_EQ(associatorNames(systemName(), "", "KEST_NetworkInterface"),
            (Strings{"KEST_NetworkInterface:eth0", "KEST_NetworkInterface:lo"}));
  EXPECT_EQ(associatorNames(systemName(), "", "KEST_LogicalElement").size(), 8u);
  EXPECT_EQ(associatorNames(systemName(), "", "", "PartComponent"), Strings{});
  EXPECT_EQ(associatorNames(systemName(), "", "", "GroupComponent", "PartComponent").size(), 8u);
  EXPECT_EQ(associatorNames(systemName(), "KEST_ParentProcess"), Strings{});
}

TEST_F(SystemProviderTest, AssociatorsAreFullObjects) {
  kest::VectorCollector<TOVSmrPtr<ITovaValue>> values;
  provider().associators(values, kest::testing::kTestNameSpace, systemName(), nullptr,
                         "KEST_SystemProcess", "", "", "", nullptr);
  int objects = 0;
  for (const TOVSmrPtr<ITovaValue>& value : values) {
    ASSERT_FALSE(value->getType()->isReference());
    EXPECT_EQ(value->getObject()->getClassName(), "KEST_Process");
    ++objects;
  }
  EXPECT_EQ(objects, 4);
}

TEST_F(SystemProviderTest, AssociatorsOfAProcessAreItsSystemParentAndChildren) {
  EXPECT_EQ(associatorNames(processName(100)),
            (Strings{"KEST_ComputerSystem:testhost", "KEST_Process:1", "KEST_Process:200"}));
  EXPECT_EQ(associatorNames(processName(100), "KEST_ParentProcess", "", "Parent"),
            (Strings{"KEST_Process:200"}));
  EXPECT_EQ(associatorNames(processName(100), "KEST_ParentProcess", "", "Child"),
            (Strings{"KEST_Process:1"}));
  EXPECT_EQ(associatorNames(processName(100), "KEST_SystemProcess"),
            (Strings{"KEST_ComputerSystem:testhost"}));
  EXPECT_EQ(associatorNames(processName(2)), (Strings{"KEST_ComputerSystem:testhost"}));
}

TEST_F(SystemProviderTest, AssociatorsOfAFileSystemAndAnInterfaceAreTheSystem) {
  EXPECT_EQ(associatorNames(elementName("KEST_FileSystem", "/")),
            (Strings{"KEST_ComputerSystem:testhost"}));
  EXPECT_EQ(associatorNames(elementName("KEST_NetworkInterface", "lo")),
            (Strings{"KEST_ComputerSystem:testhost"}));
}

TEST_F(SystemProviderTest, ReferencesOfTheSystemAreItsComponentLinks) {
  EXPECT_EQ(
      referenceNames(systemName()),
      (Strings{"KEST_SystemFileSystem:testhost>/", "KEST_SystemFileSystem:testhost>/run/user 1000",
               "KEST_SystemNetworkInterface:testhost>eth0",
               "KEST_SystemNetworkInterface:testhost>lo", "KEST_SystemProcess:testhost>1",
               "KEST_SystemProcess:testhost>100", "KEST_SystemProcess:testhost>2",
               "KEST_SystemProcess:testhost>200"}));
  EXPECT_EQ(referenceNames(systemName(), "KEST_SystemNetworkInterface").size(), 2u);
  EXPECT_EQ(referenceNames(systemName(), "KEST_SystemComponent").size(), 8u);
  EXPECT_EQ(referenceNames(systemName(), "", "PartComponent"), Strings{});
}

TEST_F(SystemProviderTest, ReferencesOfAProcessIncludeItsParentLinks) {
  EXPECT_EQ(referenceNames(processName(100)),
            (Strings{"KEST_ParentProcess:100>200", "KEST_ParentProcess:1>100",
                     "KEST_SystemProcess:testhost>100"}));
  EXPECT_EQ(referenceNames(processName(100), "KEST_ParentProcess", "Child"),
            (Strings{"KEST_ParentProcess:1>100"}));
}

TEST_F(SystemProviderTest, AssociationObjectsAreEnumeratedAndFoundByTheirEnds) {
  EXPECT_EQ(enumerateNames("KEST_SystemComponent").size(), 8u);
  EXPECT_EQ(sorted(enumerateNames("KEST_ParentProcess")),
            (Strings{"KEST_ParentProcess:100>200", "KEST_ParentProcess:1>100"}));
  const TOVSmrPtr<ITovaInstanceName> link = kest::testing::makeName(
      "KEST_ParentProcess", {kest::testing::Key{"Parent", kest::testing::make(processName(100))},
                             kest::testing::Key{"Child", kest::testing::make(processName(200))}});
  const TOVSmrPtr<ITovaObject> object = get(link);
  ASSERT_TRUE(object);
  EXPECT_EQ(object->getNumberOfProperties(true), 2u);
  EXPECT_EQ(object->getPropertyAt(0, true)->getName(), "Parent");
  EXPECT_EQ(label(object->getPropertyAt(0, true)->getValue()->getReference()), "KEST_Process:100");
  EXPECT_EQ(label(object->getPropertyByName("child", true)->getValue()->getReference()),
            "KEST_Process:200");
}

TEST_F(SystemProviderTest, IdentifiesItself) {
  EXPECT_EQ(provider().getProviderName(), "SystemProvider");
  EXPECT_EQ(provider().getVersion(), "1.0.0");
  EXPECT_FALSE(provider().isPolling());
}

class SystemProviderConfigurationTest : public ::testing::Test {
 protected:
  ~SystemProviderConfigurationTest() override { KESTConfigManager::uninstall(); }
};

TEST_F(SystemProviderConfigurationTest, PollIntervalDefaultsToFiveSeconds) {
  KESTConfigManager::uninstall();
  EXPECT_EQ(kest::examples::SystemProvider::configuredPollInterval(), 5000u);
  KESTConfigManager::install();
  EXPECT_EQ(kest::examples::SystemProvider::configuredPollInterval(), 5000u);
}

TEST_F(SystemProviderConfigurationTest, PollIntervalIsReadFromTheKestSection) {
  KESTConfigManager::install()->set("KEST", "SystemPollInterval", "250");
  EXPECT_EQ(kest::examples::SystemProvider::configuredPollInterval(), 250u);
}

TEST_F(SystemProviderConfigurationTest, InvalidPollIntervalIsIgnoredWithAWarning) {
  for (const char* bad : {"0", "-5", "fast", "10 s"}) {
    KESTConfigManager::install()->set("KEST", "SystemPollInterval", bad);
    const TOVScopedLogCapture capture;
    EXPECT_EQ(kest::examples::SystemProvider::configuredPollInterval(), 5000u) << bad;
    const std::vector<TOVLogRecord> records = capture.records();
    ASSERT_EQ(records.size(), 1u) << bad;
    EXPECT_EQ(records[0].source, "SystemProvider");
    EXPECT_EQ(records[0].message,
              TOVString("SystemPollInterval \"") + bad +
                  "\" is not a positive number of milliseconds; polling every 5000");
    EXPECT_EQ(records[0].severity, 2);
  }
}

TEST_F(SystemProviderConfigurationTest, StartupTakesTheConfiguredIntervalAndPolls) {
  kest::testing::SystemFixture fixture;
  fixture.populate();
  KESTConfigManager::install()->set("KEST", "SystemPollInterval", "20");
  kest::examples::SystemProviderOptions options = fixture.providerOptions();
  options.polling = true;
  kest::examples::SystemProvider provider(options);
  provider.startup();
  EXPECT_EQ(provider.pollInterval(), 20u);
  EXPECT_TRUE(provider.isPolling());
  provider.shutdown();
  EXPECT_FALSE(provider.isPolling());
}

}  // namespace
