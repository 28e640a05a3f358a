#pragma once

#include "host/Indication.h"
#include "host/Object.h"
#include "host/ProviderContext.h"
#include "host/SmartPointer.h"
#include "host/String.h"

namespace kest::server {

// ServerProviderContext: the provider context the server gives each provider.
// Indications are not delivered to listeners yet; each one is logged at
// severity 4 (source "kest::server::ServerProviderContext", category
// CIMOMLOG, verbosity 2), with its class and identifier:
//   "Indication <class> <IndicationIdentifier> from <provider> for <namespace>"
//     for SMI-S indications (an empty namespace is the provider's own);
//   "Legacy indication <type> <class> <instance name> from <provider>"
//     for native ones (the identity of the object they are about).
// A missing part is written "(none)".
// getServerDescription() returns the description it was made with (not
// owned; it must outlive the context), or null.
// Threads: safe for concurrent use (it keeps no state that changes).
class ServerProviderContext : public kest::IProviderContext {
 public:
  ServerProviderContext(const TOVString& providerName, const TOVString& nameSpace,
                        const kest::ServerDescription* description = nullptr);

  void deliverIndication(const TOVString& nameSpace,
                         const TOVSmrPtr<ITovaObject>& indication) override;
  void deliverLegacyIndication(const TOVSmrPtr<ITovaIndication>& indication) override;
  const kest::ServerDescription* getServerDescription() const override { return _description; }

 private:
  const TOVString _providerName;
  const TOVString _nameSpace;
  const kest::ServerDescription* const _description;
};

}  // namespace kest::server
