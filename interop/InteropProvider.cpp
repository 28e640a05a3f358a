#include "interop/InteropProvider.h"

#include <array>
#include <utility>

#include "framework/Exception.h"
#include "framework/InstanceManager.h"
#include "host/Ascii.h"
#include "host/CimType.h"
#include "host/List.h"
#include "host/Log.h"
#include "host/Value.h"
#include "interop/InteropClasses.h"

namespace kest::interop {

namespace {

constexpr const char* kProviderName = "InteropProvider";

// The values of CIM_CIMXMLCommunicationMechanism and CIM_RegisteredProfile
// properties, as the interop schema's ValueMaps define them.
constexpr TOVuint16 kOther = 1;
constexpr TOVuint16 kCimXml = 2;
constexpr TOVuint16 kAuthenticationNone = 2;
constexpr TOVuint16 kAuthenticationBasic = 3;
constexpr TOVuint16 kNotAdvertised = 2;
constexpr TOVuint16 kProfileSpecification = 2;
constexpr TOVuint16 kOrganizationSnia = 11;
constexpr TOVuint16 kEnabled = 2;
constexpr TOVuint16 kStatusOk = 2;
constexpr TOVuint16 kHealthOk = 5;
constexpr TOVuint16 kClassInfoUnknown = 0;
constexpr TOVuint16 kClassTypeCim = 2;
// CIMXMLProtocolVersion "1.0", and the newest Version its ValueMap allows.
constexpr TOVuint16 kCimXmlProtocolVersion = 1;
constexpr const char* kMechanismVersion = "1.2";

constexpr std::array<const char*, 11> kFunctionalProfiles = {
    "Basic Read",          "Basic Write",           "Schema Manipulation",
    "Instance Manipulation", "Association Traversal", "Query Execution",
    "Qualifier Declaration", "Indications",          "Pulled Read",
    "Pulled Read Count",   "Pulled Query Execution"};

using Properties = std::vector<TOVSmrPtr<ITovaProperty>>;

TOVSmrPtr<ITovaProperty> property(const char* name, TOVSmrPtr<ITovaValue> value) {
  return TOVSmrPtr<ITovaProperty>(new CTovaProperty(name, value, false));
}
TOVSmrPtr<ITovaProperty> text(const char* name, const TOVString& value) {
  return property(name, TOVSmrPtr<ITovaValue>(new CTovaValue(value)));
}
TOVSmrPtr<ITovaProperty> number(const char* name, TOVuint16 value) {
  return property(name, TOVSmrPtr<ITovaValue>(new CTovaValue(value)));
}
TOVSmrPtr<ITovaProperty> flag(const char* name, bool value) {
  return property(name, TOVSmrPtr<ITovaValue>(new CTovaValue(value)));
}
TOVSmrPtr<ITovaProperty> numbers(const char* name, const std::vector<TOVuint16>& values) {
  TOVSmrPtr<TOVValSlist<TOVSmrPtr<ITovaValue>>> elements(new TOVValSlist<TOVSmrPtr<ITovaValue>>());
  for (TOVuint16 value : values) elements->append(TOVSmrPtr<ITovaValue>(new CTovaValue(value)));
  return property(name, TOVSmrPtr<ITovaValue>(
                            new CTovaValue(CTovaType::arrayOf(CimTypeCode::UInt16), elements)));
}
TOVSmrPtr<ITovaProperty> texts(const char* name, const std::vector<TOVString>& values) {
  TOVSmrPtr<TOVValSlist<TOVSmrPtr<ITovaValue>>> elements(new TOVValSlist<TOVSmrPtr<ITovaValue>>());
  for (const TOVString& value : values)
    elements->append(TOVSmrPtr<ITovaValue>(new CTovaValue(value)));
  return property(name, TOVSmrPtr<ITovaValue>(
                            new CTovaValue(CTovaType::arrayOf(CimTypeCode::String), elements)));
}

const std::vector<TOVString> kScopedKeys{"SystemCreationClassName", "SystemName",
                                         "CreationClassName", "Name"};

}  // namespace

InteropProvider::InteropProvider() { declareClasses(); }

TOVuint16 InteropProvider::functionalProfileCode(const TOVString& name) {
  for (std::size_t i = 0; i < kFunctionalProfiles.size(); ++i) {
    if (kest::ascii::equalsIgnoreCase(name.view(), kFunctionalProfiles[i]))
      return static_cast<TOVuint16>(i + 2);
  }
  return kOther;
}

void InteropProvider::declareClasses() {
  kest::pf::InstanceManager& cache = getInstanceManager();
  const auto declare = [&](const char* className, bool isAssociation,
                           const TOVSmrPtr<kest::pf::Class>& base) {
    const TOVSmrPtr<kest::pf::Class> cls(
        new kest::pf::Class(className, nullptr, nullptr, isAssociation, nullptr));
    cache.registerClass(cls);
    if (base) {
      cls->setBaseClass(base);
      base->setChildClass(cls);
    }
    _classes.push_back(cls);
    return cls;
  };
  const TOVSmrPtr<kest::pf::Class> none;
  for (const char* className : {kObjectManagerClass, kCommunicationMechanismClass, kNamespaceClass,
                                kSystemNamespaceClass, kRegisteredProfileClass}) {
    declare(className, false, none);
  }
  // The abstract associations above the served ones are declared too, so
  // that a request naming one of them (AssocClass=CIM_Dependency) finds the
  // associations below it.
  const TOVSmrPtr<kest::pf::Class> dependency = declare(kDependencyClass, true, none);
  declare(kNamespaceInManagerClass, true, declare(kHostedDependencyClass, true, dependency));
  declare(kCommMechanismForManagerClass, true,
          declare(kServiceAccessBySapClass, true, dependency));
  declare(kReferencedProfileClass, true,
          declare(kReferencedSpecificationClass, true, dependency));
  declare(kElementConformsToProfileClass, true, none);
}

InteropProvider::~InteropProvider() {
  for (const TOVSmrPtr<kest::pf::Class>& cls : _classes) {
    cls->setBaseClass(TOVSmrPtr<kest::pf::Class>());
    cls->getChildClasses()->clear();
  }
}

void InteropProvider::startTransaction(const TOVSmrPtr<ITovaTransaction>& /*tovaTransaction*/) {}
void InteropProvider::endTransaction(const TOVSmrPtr<ITovaTransaction>& /*tovaTransaction*/) {}

void InteropProvider::startup() {
  if (_built) return;
  const TOVSmrPtr<kest::IProviderContext> context = getProviderContext();
  const kest::ServerDescription* description =
      context ? context->getServerDescription() : nullptr;
  if (description == nullptr) {
    throw kest::pf::Exception("kest::interop::InteropProvider::startup",
                              "the host describes no server: the interop provider needs a host "
                              "that does (kest-server)",
                              1);
  }
  const UpdateGuard guard(*this);
  build(*description);
  _built = true;
}

void InteropProvider::postStartup() {}
void InteropProvider::shutdown() {}

TOVString InteropProvider::getVersion() { return "1.0.0"; }

TOVString InteropProvider::getProviderName() const { return kProviderName; }

void InteropProvider::logAuditInfo(TOVSmrPtr<ITovaValue> returnValue,
                                   TOVSmrPtr<ITovaTransaction> /*tovaTransaction*/,
                                   TOVSmrPtr<ITovaInstanceName> instanceName,
                                   TOVString methodName) {
  TOVLog::log(kProviderName,
              "Method " + methodName + " of " +
                  (instanceName ? instanceName->toString() : TOVString("(none)")) + " returned " +
                  (returnValue ? returnValue->toString() : TOVString("nothing")),
              TOVLog::SEVERITY_DEBUG, 2, 0, TOVLog::CIMOMLOG);
}

TOVSmrPtr<FixedInstance> InteropProvider::add(const TOVString& className, Properties properties,
                                              const std::vector<TOVString>& keyNames) {
  TOVSmrPtr<FixedInstance> object(
      new FixedInstance(getInstanceManager(), className, std::move(properties), keyNames));
  getInstanceManager().registerInstance(object);
  return object;
}

void InteropProvider::link(const TOVString& associationClass, const TOVString& leftRole,
                           const TOVSmrPtr<FixedInstance>& left, const TOVString& rightRole,
                           const TOVSmrPtr<FixedInstance>& right) {
  TOVSmrPtr<ITovaValue> leftEnd(new CTovaValue(left->getInstanceName()));
  TOVSmrPtr<ITovaValue> rightEnd(new CTovaValue(right->getInstanceName()));
  const TOVSmrPtr<FixedInstance> association =
      add(associationClass,
          {property(leftRole.c_str(), leftEnd), property(rightRole.c_str(), rightEnd)},
          {leftRole, rightRole});
  getInstanceManager().associate(leftEnd, rightEnd, association, associationClass, true, true);
}

void InteropProvider::build(const kest::ServerDescription& description) {
  const TOVString& system = description.systemName;
  const TOVString& systemClass = description.systemCreationClassName;
  const TOVString managerName = description.productName;

  const TOVSmrPtr<FixedInstance> manager = add(
      kObjectManagerClass,
      {text("SystemCreationClassName", systemClass), text("SystemName", system),
       text("CreationClassName", kObjectManagerClass), text("Name", managerName),
       text("ElementName", description.productName),
       text("Caption", description.productName + " " + description.productVersion),
       text("Description", description.productName + " Version " + description.productVersion +
                               " (CIM-XML " + description.cimXmlVersion +
                               ", CIM operations over HTTP " + description.protocolVersion + ")"),
       flag("Started", true), text("StartMode", "Automatic"), number("EnabledState", kEnabled),
       numbers("OperationalStatus", {kStatusOk}), number("HealthState", kHealthOk),
       flag("GatherStatisticalData", false)},
      kScopedKeys);

  std::vector<TOVuint16> profileCodes;
  std::vector<TOVString> profileNames;
  for (const TOVString& profile : description.functionalProfiles) {
    profileCodes.push_back(functionalProfileCode(profile));
    profileNames.push_back(profile);
  }
  for (const kest::ServerEndpoint& endpoint : description.endpoints) {
    const TOVString name =
        endpoint.scheme + "://" + endpoint.address + ":" + TOVString::fromInt(endpoint.port);
    TOVString scheme = endpoint.scheme;
    scheme.toUpper();
    const TOVSmrPtr<FixedInstance> mechanism = add(
        kCommunicationMechanismClass,
        {text("SystemCreationClassName", systemClass), text("SystemName", system),
         text("CreationClassName", kCommunicationMechanismClass), text("Name", name),
         text("ElementName", "CIM-XML over " + scheme + " on port " +
                                 TOVString::fromInt(endpoint.port)),
         number("CommunicationMechanism", kCimXml), text("Version", kMechanismVersion),
         number("CIMXMLProtocolVersion", kCimXmlProtocolVersion), flag("CIMValidated", false),
         numbers("FunctionalProfilesSupported", profileCodes),
         texts("FunctionalProfileDescriptions", profileNames),
         flag("MultipleOperationsSupported", false),
         numbers("AuthenticationMechanismsSupported",
                 {description.basicAuthentication ? kAuthenticationBasic : kAuthenticationNone}),
         texts("AuthenticationMechanismDescriptions",
               {description.basicAuthentication ? "Basic" : "None"}),
         numbers("AdvertiseTypes", {kNotAdvertised}), number("EnabledState", kEnabled),
         numbers("OperationalStatus", {kStatusOk})},
        kScopedKeys);
    link(kCommMechanismForManagerClass, kAntecedentRole, manager, kDependentRole, mechanism);
  }

  for (const TOVString& nameSpace : description.nameSpaces) {
    const TOVSmrPtr<FixedInstance> space =
        add(kNamespaceClass,
            {text("SystemCreationClassName", systemClass), text("SystemName", system),
             text("ObjectManagerCreationClassName", kObjectManagerClass),
             text("ObjectManagerName", managerName), text("CreationClassName", kNamespaceClass),
             text("Name", nameSpace), text("ElementName", nameSpace),
             number("ClassInfo", kClassInfoUnknown), number("ClassType", kClassTypeCim)},
            {"SystemCreationClassName", "SystemName", "ObjectManagerCreationClassName",
             "ObjectManagerName", "CreationClassName", "Name"});
    link(kNamespaceInManagerClass, kAntecedentRole, manager, kDependentRole, space);
    add(kSystemNamespaceClass, {text("Name", nameSpace)}, {"Name"});
  }

  const auto profile = [&](const TOVString& name, const TOVString& version) {
    return add(kRegisteredProfileClass,
               {text("InstanceID", "KEST:SNIA:" + name + ":" + version),
                text("ElementName", name), number("SpecificationType", kProfileSpecification),
                number("RegisteredOrganization", kOrganizationSnia),
                text("RegisteredName", name), text("RegisteredVersion", version),
                numbers("AdvertiseTypes", {kNotAdvertised})},
               {"InstanceID"});
  };
  const TOVSmrPtr<FixedInstance> server = profile("Server", getSMIServerProfileVersion());
  const TOVSmrPtr<FixedInstance> registration =
      profile("Profile Registration", getSMIProfileRegistrationVersion());
  link(kElementConformsToProfileClass, kConformantStandardRole, server, kManagedElementRole,
       manager);
  link(kReferencedProfileClass, kAntecedentRole, registration, kDependentRole, server);
}

}  // namespace kest::interop
