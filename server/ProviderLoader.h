#pragma once

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "host/Provider.h"
#include "host/ProviderAbi.h"
#include "host/String.h"

namespace kest::server {

// One class a provider serves, as it declares it.
struct DeclaredClass {
  TOVString name;
  TOVString superClass;  // empty for none
  bool association = false;
};

// Which provider to run, and the namespace it serves: a provider library
// (path), or a provider object the embedding program made itself
// (instance, with the classes it serves; path then only names it in
// messages). The server loads libraries; an in-process object lets
// programs and tests hand the server any kest::IProvider.
struct ProviderSpec {
  ProviderSpec() = default;
  // A provider library.
  ProviderSpec(std::string libraryPath, TOVString servedNameSpace)
      : path(std::move(libraryPath)), nameSpace(std::move(servedNameSpace)) {}
  // An in-process provider object.
  ProviderSpec(std::string name, TOVString servedNameSpace,
               std::shared_ptr<kest::IProvider> object, std::vector<DeclaredClass> objectClasses)
      : path(std::move(name)),
        nameSpace(std::move(servedNameSpace)),
        instance(std::move(object)),
        classes(std::move(objectClasses)) {}

  std::string path;
  TOVString nameSpace;
  std::shared_ptr<kest::IProvider> instance;
  // The classes of instance (unused for a library, which reports its own).
  std::vector<DeclaredClass> classes;
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

// LoadedProvider: a provider the server runs, with its name and namespace.
// The server reaches the provider only through kest::IProvider and the
// classes it declares.
// Threads: the provider object is used by many threads (see kest::IProvider);
// the LoadedProvider itself does not change after loading.
class LoadedProvider {
 public:
  virtual ~LoadedProvider();
  LoadedProvider(const LoadedProvider&) = delete;
  LoadedProvider& operator=(const LoadedProvider&) = delete;

  // The library's path, or the name an in-process provider was given.
  const std::string& path() const { return _path; }
  const TOVString& nameSpace() const { return _nameSpace; }
  virtual kest::IProvider& provider() const = 0;
  // The classes the provider serves. Throws what the provider throws.
  virtual std::vector<DeclaredClass> declaredClasses() const = 0;

 protected:
  LoadedProvider(std::string path, TOVString nameSpace);

 private:
  std::string _path;
  TOVString _nameSpace;
};

// ProviderLoader: makes the LoadedProvider of a ProviderSpec. For a library:
// opens it (dlopen, symbols resolved at once), checks its entry points
// (host/ProviderAbi.h) and creates its provider object; the LoadedProvider's
// destructor destroys the object through kest_provider_destroy and then
// unloads the library, so everything the object handed out must be released
// before. For an in-process object: wraps it (shared with the caller).
class ProviderLoader {
 public:
  // Throws ProviderError with the path and one of the reasons
  //   "cannot load the library: <dlerror text>",
  //   "the library does not export kest_provider_create",
  //   "the library does not export kest_provider_destroy",
  //   "the library does not export kest_provider_declare_classes",
  //   "kest_provider_create failed: <message>",
  //   "kest_provider_create returned no provider".
  static std::unique_ptr<LoadedProvider> load(const ProviderSpec& spec);
};

}  // namespace kest::server
