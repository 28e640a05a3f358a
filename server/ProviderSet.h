#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "host/Repository.h"
#include "host/ServerDescription.h"
#include "host/SmartPointer.h"
#include "host/String.h"
#include "server/ClassCatalog.h"
#include "server/ProviderLoader.h"

namespace kest::server {

// ProviderSet: the server's providers, their lifecycle and the routing of
// classes to them.
//
// start() brings the providers up in this order:
//   1. for each provider, in the order given: load the library and create the
//      provider (or take the in-process object it was handed; see
//      ProviderLoader), then initialize(repository), setWorkArea(workArea),
//      setProviderContext(a ServerProviderContext for it, which hands out
//      description when given: it must outlive the set), startup();
//   2. for each provider: postStartup();
//   3. read each provider's classes (LoadedProvider::declaredClasses) into
//      the class catalog and the routing table, under the provider's
//      namespace;
//   4. for each provider: postStartupIsComplete().
// If any step fails, the providers whose startup() succeeded are shut down
// (in reverse order), every provider is destroyed and unloaded, and
// ProviderError is thrown with the failing provider's path and the reason;
// the set is then empty. Two providers that declare one class (in any case)
// in one namespace are such a failure.
//
// shutdown() calls shutdown() on every started provider, in reverse order of
// starting; a provider that throws is logged and the others are still shut
// down. The destructor shuts down (if not done yet), then destroys and
// unloads the providers in reverse order.
//
// Threads: start() and shutdown() run on one thread while no request is
// served; providerFor() and providers() may then be called concurrently.
class ProviderSet {
 public:
  ProviderSet() = default;
  ~ProviderSet();
  ProviderSet(const ProviderSet&) = delete;
  ProviderSet& operator=(const ProviderSet&) = delete;

  void start(const std::vector<ProviderSpec>& specs, const TOVSmrPtr<ITovaRepository>& repository,
             const TOVString& workArea, ClassCatalog& catalog,
             const kest::ServerDescription* description = nullptr);
  void shutdown();

  // The provider that declares className in nameSpace (both in any case);
  // null when none does.
  LoadedProvider* providerFor(const TOVString& nameSpace, const TOVString& className) const;
  const std::vector<std::unique_ptr<LoadedProvider>>& providers() const { return _providers; }

 private:
  void unload();
  static std::string routeKey(const TOVString& nameSpace, const TOVString& className);

  std::vector<std::unique_ptr<LoadedProvider>> _providers;
  std::size_t _started = 0;  // how many providers, from the first, ran startup()
  std::map<std::string, LoadedProvider*> _routes;
};

}  // namespace kest::server
