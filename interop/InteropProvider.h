#pragma once

#include <vector>

#include "framework/Class.h"
#include "framework/SynchronizedProvider.h"
#include "host/ServerDescription.h"
#include "interop/FixedInstance.h"

namespace kest::interop {

// InteropProvider: describes the server to WBEM clients in its interop
// namespace, from the description the host hands its providers
// (IProviderContext::getServerDescription()):
//   - one CIM_ObjectManager (Name and ElementName the product name,
//     Description "<product> Version <version> (CIM-XML <dtd version>,
//     CIM operations over HTTP <protocol version>)");
//   - one CIM_CIMXMLCommunicationMechanism per endpoint listened on, named
//     "<scheme>://<address>:<port>", with the functional profiles and the
//     authentication the host reports, linked to the object manager by
//     CIM_CommMechanismForManager;
//   - one CIM_Namespace (and one __Namespace) per served namespace, the
//     former linked to the object manager by CIM_NamespaceInManager;
//   - the SNIA profiles "Server" (version Provider::getSMIServerProfileVersion())
//     and "Profile Registration" (getSMIProfileRegistrationVersion()) as
//     CIM_RegisteredProfile, the object manager conforming to the Server
//     profile (CIM_ElementConformsToProfile) and the Server profile
//     referencing the Profile Registration profile (CIM_ReferencedProfile,
//     Antecedent the referenced one).
// Everything is built once, by startup(), and never changes; the classes are
// read-only (creating, modifying or deleting instances is refused with the
// framework's not-supported errors).
//
// startup() throws kest::pf::Exception when the host describes no server:
// the provider serves only hosts that do.
//
// Threads: requests from any thread; startup() from the host's control
// thread before requests.
class InteropProvider : public kest::pf::SynchronizedProvider {
 public:
  InteropProvider();
  ~InteropProvider() override;

  void startTransaction(const TOVSmrPtr<ITovaTransaction>& tovaTransaction) override;
  void endTransaction(const TOVSmrPtr<ITovaTransaction>& tovaTransaction) override;
  void startup() override;
  void postStartup() override;
  void shutdown() override;
  TOVString getVersion() override;
  // "InteropProvider".
  TOVString getProviderName() const override;
  // Logs "Method <method> of <instance name> returned <value>" (severity 4);
  // the interop classes have no methods, so the framework's refusals are
  // all this sees.
  void logAuditInfo(TOVSmrPtr<ITovaValue> returnValue, TOVSmrPtr<ITovaTransaction> tovaTransaction,
                    TOVSmrPtr<ITovaInstanceName> instanceName, TOVString methodName) override;

  // The DSP0200 functional profile code of a profile name as the interop
  // schema's ValueMap lists it ("Basic Read" is 2); 1 (Other) for a name it
  // does not list.
  static TOVuint16 functionalProfileCode(const TOVString& name);

 private:
  void declareClasses();
  void build(const kest::ServerDescription& description);
  TOVSmrPtr<FixedInstance> add(const TOVString& className,
                               std::vector<TOVSmrPtr<ITovaProperty>> properties,
                               const std::vector<TOVString>& keyNames);
  void link(const TOVString& associationClass, const TOVString& leftRole,
            const TOVSmrPtr<FixedInstance>& left, const TOVString& rightRole,
            const TOVSmrPtr<FixedInstance>& right);

  std::vector<TOVSmrPtr<kest::pf::Class>> _classes;
  bool _built = false;
};

}  // namespace kest::interop
