#include "server/ProviderSet.h"

#include "host/Ascii.h"
#include "server/CimError.h"
#include "server/Logging.h"
#include "server/ServerProviderContext.h"

namespace kest::server {

namespace {

const ServerLog kLog("kest::server::ProviderSet");

// Runs step on provider; anything it throws becomes a ProviderError naming
// the step.
template <typename Step>
void run(const LoadedProvider& provider, const char* stepName, Step step) {
  try {
    step();
  } catch (const ProviderError&) {
    throw;
  } catch (...) {
    throw ProviderError(provider.path(), std::string(stepName) + " failed: " +
                                             errorFromCurrentException().description());
  }
}

}  // namespace

ProviderSet::~ProviderSet() {
  shutdown();
  unload();
}

std::string ProviderSet::routeKey(const TOVString& nameSpace, const TOVString& className) {
  return ascii::folded(nameSpace.view()) + ":" + ascii::folded(className.view());
}

void ProviderSet::start(const std::vector<ProviderSpec>& specs,
                        const TOVSmrPtr<ITovaRepository>& repository, const TOVString& workArea,
                        ClassCatalog& catalog, const kest::ServerDescription* description) {
  try {
    for (const ProviderSpec& spec : specs) {
      _providers.push_back(ProviderLoader::load(spec));
      LoadedProvider& loaded = *_providers.back();
      kest::IProvider& provider = loaded.provider();
      run(loaded, "initialize", [&] { provider.initialize(repository); });
      run(loaded, "setWorkArea", [&] { provider.setWorkArea(workArea); });
      run(loaded, "setProviderContext", [&] {
        provider.setProviderContext(TOVSmrPtr<kest::IProviderContext>(
            new ServerProviderContext(provider.getProviderName(), loaded.nameSpace(), description)));
      });
      run(loaded, "startup", [&] { provider.startup(); });
      ++_started;
    }
    for (const std::unique_ptr<LoadedProvider>& loaded : _providers) {
      run(*loaded, "postStartup", [&] { loaded->provider().postStartup(); });
    }
    for (const std::unique_ptr<LoadedProvider>& loaded : _providers) {
      std::vector<DeclaredClass> classes;
      run(*loaded, "reading its classes", [&] { classes = loaded->declaredClasses(); });
      if (classes.empty()) {
        kLog.warning(TOVString(loaded->path()) + ": the provider declares no classes");
      }
      for (const DeclaredClass& cls : classes) {
        LoadedProvider*& route = _routes[routeKey(loaded->nameSpace(), cls.name)];
        if (route != nullptr && route != loaded.get()) {
          throw ProviderError(loaded->path(), "class " + cls.name.toStdString() + " in namespace " +
                                                  loaded->nameSpace().toStdString() +
                                                  " is already served by " + route->path());
        }
        route = loaded.get();
        catalog.declare(loaded->nameSpace(), cls.name, cls.superClass, cls.association);
      }
    }
    for (const std::unique_ptr<LoadedProvider>& loaded : _providers) {
      run(*loaded, "postStartupIsComplete", [&] { loaded->provider().postStartupIsComplete(); });
    }
  } catch (...) {
    shutdown();
    unload();
    throw;
  }
}

void ProviderSet::shutdown() {
  while (_started > 0) {
    LoadedProvider& loaded = *_providers[--_started];
    try {
      loaded.provider().shutdown();
    } catch (...) {
      kLog.error(TOVString(loaded.path()) +
                 ": shutdown failed: " + TOVString(errorFromCurrentException().description()));
    }
  }
}

void ProviderSet::unload() {
  _routes.clear();
  while (!_providers.empty()) _providers.pop_back();
}

LoadedProvider* ProviderSet::providerFor(const TOVString& nameSpace,
                                         const TOVString& className) const {
  const auto it = _routes.find(routeKey(nameSpace, className));
  return it == _routes.end() ? nullptr : it->second;
}

}  // namespace kest::server
