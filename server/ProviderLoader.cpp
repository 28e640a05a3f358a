#include "server/ProviderLoader.h"

#include <dlfcn.h>

#include <utility>

#include "server/CimError.h"

namespace kest::server {

namespace {

// A provider library and the object it created.
class LibraryProvider : public LoadedProvider {
 public:
  LibraryProvider(std::string path, TOVString nameSpace, void* library)
      : LoadedProvider(std::move(path), std::move(nameSpace)), _library(library) {}
  ~LibraryProvider() override {
    if (_provider != nullptr && _destroy != nullptr) _destroy(_provider);
    if (_library != nullptr) dlclose(_library);
  }

  kest::IProvider& provider() const override { return *_provider; }

  std::vector<DeclaredClass> declaredClasses() const override {
    std::vector<DeclaredClass> classes;
    _declareClasses(
        _provider,
        [](void* context, const char* className, const char* superClassName, int isAssociation) {
          static_cast<std::vector<DeclaredClass>*>(context)->push_back(DeclaredClass{
              TOVString(className != nullptr ? className : ""),
              TOVString(superClassName != nullptr ? superClassName : ""), isAssociation != 0});
        },
        &classes);
    return classes;
  }

  // Resolves the entry points and creates the provider object.
  void open() {
    const std::string& where = path();
    auto create =
        reinterpret_cast<KestProviderCreateFunction>(dlsym(_library, KEST_PROVIDER_CREATE_SYMBOL));
    if (create == nullptr) {
      throw ProviderError(where, "the library does not export " KEST_PROVIDER_CREATE_SYMBOL);
    }
    _destroy =
        reinterpret_cast<KestProviderDestroyFunction>(dlsym(_library, KEST_PROVIDER_DESTROY_SYMBOL));
    if (_destroy == nullptr) {
      throw ProviderError(where, "the library does not export " KEST_PROVIDER_DESTROY_SYMBOL);
    }
    _declareClasses = reinterpret_cast<KestProviderDeclareClassesFunction>(
        dlsym(_library, KEST_PROVIDER_DECLARE_CLASSES_SYMBOL));
    if (_declareClasses == nullptr) {
      throw ProviderError(where,
                          "the library does not export " KEST_PROVIDER_DECLARE_CLASSES_SYMBOL);
    }
    try {
      _provider = create();
    } catch (...) {
      throw ProviderError(where, KEST_PROVIDER_CREATE_SYMBOL " failed: " +
                                     errorFromCurrentException().description());
    }
    if (_provider == nullptr) {
      throw ProviderError(where, KEST_PROVIDER_CREATE_SYMBOL " returned no provider");
    }
  }

 private:
  void* _library;
  kest::IProvider* _provider = nullptr;
  KestProviderDestroyFunction _destroy = nullptr;
  KestProviderDeclareClassesFunction _declareClasses = nullptr;
};

// A provider object made by the embedding program.
class InProcessProvider : public LoadedProvider {
 public:
  explicit InProcessProvider(const ProviderSpec& spec)
      : LoadedProvider(spec.path, spec.nameSpace),
        _provider(spec.instance),
        _classes(spec.classes) {}

  kest::IProvider& provider() const override { return *_provider; }
  std::vector<DeclaredClass> declaredClasses() const override { return _classes; }

 private:
  std::shared_ptr<kest::IProvider> _provider;
  std::vector<DeclaredClass> _classes;
};

}  // namespace

ProviderError::ProviderError(const std::string& path, const std::string& reason)
    : std::runtime_error(path + ": " + reason), _path(path), _reason(reason) {}

LoadedProvider::LoadedProvider(std::string path, TOVString nameSpace)
    : _path(std::move(path)), _nameSpace(std::move(nameSpace)) {}

LoadedProvider::~LoadedProvider() = default;

std::unique_ptr<LoadedProvider> ProviderLoader::load(const ProviderSpec& spec) {
  if (spec.instance) return std::make_unique<InProcessProvider>(spec);
  dlerror();
  void* library = dlopen(spec.path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    const char* reason = dlerror();
    throw ProviderError(spec.path, std::string("cannot load the library: ") +
                                       (reason != nullptr ? reason : "unknown error"));
  }
  auto loaded = std::make_unique<LibraryProvider>(spec.path, spec.nameSpace, library);
  loaded->open();
  return loaded;
}

}  // namespace kest::server
