#pragma once

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/Provider.h"
#include "host/String.h"
#include "server/ProviderEntryPoints.h"

namespace kest::server {

// Which provider library to load, and the namespace it serves.
struct ProviderSpec {
  std::string path;
  TOVString nameSpace;
};

// A provider that could not be loaded or started: the library's path and the
// reason. what() is "<path>: <reason>".
class ProviderError : public std::runtime_error {
 public:
  ProviderError(const std::string& path, const std::string& reason);
  const std::string& path() const noexcept { return _path; }
  const std::string& reason() const noexcept { return _reason; }

 private:
  std::string _path;
  std::string _reason;
};

// One class a provider serves, as it declares it.
struct DeclaredClass {
  TOVString name;
  TOVString superClass;  // empty for none
  bool association = false;
};

// LoadedProvider: an open provider library and the provider object it made.
// The destructor destroys the object through the library's
// kest_provider_destroy and then unloads the library; everything the object
// handed out must be released before.
// Threads: the provider object is used by many threads (see kest::IProvider);
// the LoadedProvider itself does not change after loading.
class LoadedProvider {
 public:
  ~LoadedProvider();
  LoadedProvider(const LoadedProvider&) = delete;
  LoadedProvider& operator=(const LoadedProvider&) = delete;

  const std::string& path() const { return _path; }
  const TOVString& nameSpace() const { return _nameSpace; }
  kest::IProvider& provider() const { return *_provider; }

  // The classes the provider serves: from its InstanceManager when it is
  // built on kest::pf::Provider, else from its
  // kest_provider_declare_classes entry point. Throws ProviderError when it
  // has neither, and what the provider throws.
  std::vector<DeclaredClass> declaredClasses() const;

 private:
  friend class ProviderLoader;
  LoadedProvider(std::string path, TOVString nameSpace, void* library);

  std::string _path;
  TOVString _nameSpace;
  void* _library;
  kest::IProvider* _provider = nullptr;
  KestProviderDestroyFunction _destroy = nullptr;
  KestProviderDeclareClassesFunction _declareClasses = nullptr;
};

// ProviderLoader: opens a provider library (dlopen, symbols resolved at once)
// and creates its provider object through kest_provider_create.
class ProviderLoader {
 public:
  // Throws ProviderError with the path and one of the reasons
  //   "cannot load the library: <dlerror text>",
  //   "the library does not export kest_provider_create",
  //   "the library does not export kest_provider_destroy",
  //   "kest_provider_create failed: <message>",
  //   "kest_provider_create returned no provider".
  static std::unique_ptr<LoadedProvider> load(const ProviderSpec& spec);
};

}  // namespace kest::server
