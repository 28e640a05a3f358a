// The interop provider describing a server: the objects it builds from the
// host's description, their associations, and its refusal to start without
// one.

#include "interop/InteropProvider.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "framework/Exception.h"
#include "host/Config.h"
#include "host/InstanceName.h"
#include "host/Object.h"
#include "host/RecordingProviderContext.h"
#include "host/Value.h"
#include "streaming/VectorCollector.h"

namespace {

using kest::interop::InteropProvider;
using Strings = std::vector<std::string>;

kest::ServerDescription twoEndpointServer() {
  kest::ServerDescription description;
  description.productName = "kest-server";
  description.productVersion = "9.8.7";
  description.protocolVersion = "1.4";
  description.cimXmlVersion = "2.4";
  description.systemName = "host1";
  description.systemCreationClassName = "CIM_ComputerSystem";
  description.interopNameSpace = "root/interop";
  description.nameSpaces = {"root/cimv2", "root/interop"};
  description.endpoints = {{"http", "127.0.0.1", 5988}, {"https", "0.0.0.0", 5989}};
  description.basicAuthentication = true;
  description.functionalProfiles = {"Basic Read", "Association Traversal"};
  return description;
}

std::string text(const TOVSmrPtr<ITovaObject>& object, const char* property) {
  const TOVSmrPtr<ITovaProperty> found = object->getPropertyByName(property, true);
  if (!found) return "<missing>";
  const TOVSmrPtr<ITovaValue> value = found->getValue();
  return value && !value->isNullValue() ? value->toString().toStdString() : "<null>";
}

class InteropProviderTest : public ::testing::Test {
 protected:
  void start(const kest::ServerDescription* description) {
    _context->setServerDescription(description);
    _provider.setProviderContext(_context);
    _provider.startup();
  }

  std::vector<TOVSmrPtr<ITovaObject>> enumerate(const char* className) {
    kest::VectorCollector<TOVSmrPtr<ITovaObject>> results;
    _provider.enumerateInstances(results, "root/interop", className, nullptr, nullptr);
    return std::vector<TOVSmrPtr<ITovaObject>>(results.begin(), results.end());
  }

  Strings namesOf(const char* className, const char* property) {
    Strings names;
    for (const TOVSmrPtr<ITovaObject>& object : enumerate(className))
      names.push_back(text(object, property));
    std::sort(names.begin(), names.end());
    return names;
  }

  Strings associatorNames(const TOVSmrPtr<ITovaObject>& source, const char* assocClass) {
    kest::VectorCollector<TOVSmrPtr<ITovaInstanceName>> results;
    _provider.associatorNames(results, "root/interop", source->getInstanceName(), nullptr,
                              assocClass, TOVString(), TOVString(), TOVString());
    Strings names;
    for (const TOVSmrPtr<ITovaInstanceName>& name : results)
      names.push_back(name->toString().toStdString());
    std::sort(names.begin(), names.end());
    return names;
  }

  kest::ServerDescription _description = twoEndpointServer();
  TOVSmrPtr<kest::RecordingProviderContext> _context{new kest::RecordingProviderContext()};
  InteropProvider _provider;
};

TEST_F(InteropProviderTest, RefusesToStartWhenTheHostDescribesNoServer) {
  try {
    start(nullptr);
    FAIL() << "startup() succeeded without a description";
  } catch (const kest::pf::Exception& error) {
    EXPECT_NE(error.getMessage().toStdString().find("the host describes no server"),
              std::string::npos);
  }
  EXPECT_TRUE(enumerate("CIM_ObjectManager").empty());
}

TEST_F(InteropProviderTest, DescribesTheObjectManagerWithItsBrandAndVersion) {
  start(&_description);
  const std::vector<TOVSmrPtr<ITovaObject>> managers = enumerate("CIM_ObjectManager");
  ASSERT_EQ(managers.size(), 1u);
  EXPECT_EQ(text(managers[0], "ElementName"), "kest-server");
  EXPECT_EQ(text(managers[0], "Name"), "kest-server");
  EXPECT_EQ(text(managers[0], "SystemName"), "host1");
  EXPECT_EQ(text(managers[0], "Description"),
            "kest-server Version 9.8.7 (CIM-XML 2.4, CIM operations over HTTP 1.4)");
  EXPECT_EQ(managers[0]->getInstanceName()->toString().toStdString(),
            "cim_objectmanager.creationclassname=\"CIM_ObjectManager\",name=\"kest-server\","
            "systemcreationclassname=\"CIM_ComputerSystem\",systemname=\"host1\"");
}

TEST_F(InteropProviderTest, DescribesOneCommunicationMechanismPerEndpoint) {
  start(&_description);
  EXPECT_EQ(namesOf("CIM_CIMXMLCommunicationMechanism", "Name"),
            (Strings{"http://127.0.0.1:5988", "https://0.0.0.0:5989"}));
  for (const TOVSmrPtr<ITovaObject>& mechanism : enumerate("CIM_CIMXMLCommunicationMechanism")) {
    EXPECT_EQ(text(mechanism, "CommunicationMechanism"), "2");
    EXPECT_EQ(text(mechanism, "FunctionalProfilesSupported"), "{2,6}");
    EXPECT_EQ(text(mechanism, "FunctionalProfileDescriptions"),
              "{Basic Read,Association Traversal}");
    EXPECT_EQ(text(mechanism, "AuthenticationMechanismsSupported"), "{3}");
    EXPECT_EQ(text(mechanism, "AuthenticationMechanismDescriptions"), "{Basic}");
    EXPECT_EQ(text(mechanism, "MultipleOperationsSupported"), "false");
  }
}

TEST_F(InteropProviderTest, AServerWithoutAuthenticationSaysNone) {
  _description.basicAuthentication = false;
  start(&_description);
  const std::vector<TOVSmrPtr<ITovaObject>> mechanisms =
      enumerate("CIM_CIMXMLCommunicationMechanism");
  ASSERT_FALSE(mechanisms.empty());
  EXPECT_EQ(text(mechanisms[0], "AuthenticationMechanismsSupported"), "{2}");
  EXPECT_EQ(text(mechanisms[0], "AuthenticationMechanismDescriptions"), "{None}");
}

TEST_F(InteropProviderTest, ListsEveryServedNamespaceBothWays) {
  start(&_description);
  EXPECT_EQ(namesOf("CIM_Namespace", "Name"), (Strings{"root/cimv2", "root/interop"}));
  EXPECT_EQ(namesOf("__Namespace", "Name"), (Strings{"root/cimv2", "root/interop"}));
  for (const TOVSmrPtr<ITovaObject>& space : enumerate("CIM_Namespace"))
    EXPECT_EQ(text(space, "ObjectManagerName"), "kest-server");
}

TEST_F(InteropProviderTest, RegistersTheServerAndProfileRegistrationProfilesAtTheirVersions) {
  KESTConfigManager::install()->set("KEST", "SMIServerProfileVersion", "1.2.0");
  start(&_description);
  KESTConfigManager::uninstall();
  EXPECT_EQ(namesOf("CIM_RegisteredProfile", "RegisteredName"),
            (Strings{"Profile Registration", "Server"}));
  EXPECT_EQ(namesOf("CIM_RegisteredProfile", "RegisteredVersion"), (Strings{"1.0.0", "1.2.0"}));
  EXPECT_EQ(namesOf("CIM_RegisteredProfile", "RegisteredOrganization"), (Strings{"11", "11"}));
}

TEST_F(InteropProviderTest, LinksTheObjectManagerToItsNamespacesMechanismsAndProfile) {
  start(&_description);
  const TOVSmrPtr<ITovaObject> manager = enumerate("CIM_ObjectManager").at(0);
  EXPECT_EQ(associatorNames(manager, "CIM_NamespaceInManager").size(), 2u);
  EXPECT_EQ(associatorNames(manager, "CIM_CommMechanismForManager").size(), 2u);
  // The abstract association above them finds them all.
  EXPECT_EQ(associatorNames(manager, "CIM_Dependency").size(), 4u);
  const Strings profiles = associatorNames(manager, "CIM_ElementConformsToProfile");
  ASSERT_EQ(profiles.size(), 1u);
  EXPECT_NE(profiles[0].find("KEST:SNIA:Server:"), std::string::npos);
}

TEST_F(InteropProviderTest, TheServerProfileReferencesTheProfileRegistrationProfile) {
  start(&_description);
  TOVSmrPtr<ITovaObject> server;
  for (const TOVSmrPtr<ITovaObject>& profile : enumerate("CIM_RegisteredProfile")) {
    if (text(profile, "RegisteredName") == "Server") server = profile;
  }
  ASSERT_TRUE(server);
  const Strings referenced = associatorNames(server, "CIM_ReferencedProfile");
  ASSERT_EQ(referenced.size(), 1u);
  EXPECT_NE(referenced[0].find("Profile Registration"), std::string::npos);
  const std::vector<TOVSmrPtr<ITovaObject>> links = enumerate("CIM_ReferencedProfile");
  ASSERT_EQ(links.size(), 1u);
  EXPECT_NE(text(links[0], "Antecedent").find("Profile Registration"), std::string::npos);
  EXPECT_NE(text(links[0], "Dependent").find("Server"), std::string::npos);
}

TEST_F(InteropProviderTest, RaisesNoIndications) {
  start(&_description);
  EXPECT_EQ(_context->callCount(), 0u);
}

TEST_F(InteropProviderTest, RefusesToCreateOrDeleteInstances) {
  start(&_description);
  const TOVSmrPtr<ITovaObject> manager = enumerate("CIM_ObjectManager").at(0);
  EXPECT_THROW(_provider.deleteInstance("root/interop", manager->getInstanceName(), nullptr),
               kest::pf::Exception);
  EXPECT_FALSE(_provider.createInstance("root/interop", manager, nullptr));
  EXPECT_EQ(enumerate("CIM_ObjectManager").size(), 1u);
}

TEST(InteropProviderProfileCodes, FollowTheSchemaValueMap) {
  const std::vector<std::pair<const char*, TOVuint16>> cases = {
      {"Basic Read", 2},        {"Basic Write", 3},         {"Schema Manipulation", 4},
      {"Instance Manipulation", 5}, {"Association Traversal", 6}, {"Query Execution", 7},
      {"Qualifier Declaration", 8}, {"Indications", 9},        {"Pulled Read", 10},
      {"Pulled Read Count", 11}, {"Pulled Query Execution", 12}, {"basic read", 2},
      {"Something Else", 1}};
  for (const auto& [name, code] : cases) {
    EXPECT_EQ(InteropProvider::functionalProfileCode(name), code) << name;
  }
}

}  // namespace
