#pragma once

#include "host/Indication.h"
#include "host/Object.h"
#include "host/ServerDescription.h"
#include "host/SmartPointer.h"
#include "host/String.h"

namespace kest {

// IProviderContext: the host's channel back from a provider. Both calls may be
// made from any provider thread; implementations synchronise themselves.
class IProviderContext {
 public:
  virtual ~IProviderContext();
  // Delivers an SMI-S indication object to the subscribers of nameSpace (an
  // empty namespace: the namespace the provider is registered in).
  virtual void deliverIndication(const TOVString& nameSpace,
                                 const TOVSmrPtr<ITovaObject>& indication) = 0;
  // Delivers a native indication to the host's legacy listeners.
  virtual void deliverLegacyIndication(const TOVSmrPtr<ITovaIndication>& indication) = 0;
  // What the host tells its providers about itself; null (the default) when
  // the host describes nothing. The description does not change once a
  // provider has started; the host keeps it alive while the provider runs.
  virtual const ServerDescription* getServerDescription() const;
};

}  // namespace kest
