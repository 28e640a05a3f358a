#include "server/ProviderLoader.h"

#include <dlfcn.h>

#include "framework/Class.h"
#include "framework/InstanceManager.h"
#include "framework/Provider.h"
#include "server/CimError.h"

namespace kest::server {

ProviderError::ProviderError(const std::string& path, const std::string& reason)
    : std::runtime_error(path + ": " + reason), _path(path), _reason(reason) {}

LoadedProvider::LoadedProvider(std::string path, TOVString nameSpace, void* library)
    : _path(std::move(path)), _nameSpace(std::move(nameSpace)), _library(library) {}

LoadedProvider::~LoadedProvider() {
  if (_provider != nullptr && _destroy != nullptr) _destroy(_provider);
  if (_library != nullptr) dlclose(_library);
}

std::vector<DeclaredClass> LoadedProvider::declaredClasses() const {
  std::vector<DeclaredClass> classes;
  if (const auto* framework = dynamic_cast<const kest::pf::Provider*>(_provider)) {
    const auto declarations = framework->getInstanceManager().getClassDeclarations();
    for (const TOVSmrPtr<kest::pf::Class>& cls : *declarations) {
      const TOVSmrPtr<kest::pf::Class> base = cls->getBaseClass();
      classes.push_back(DeclaredClass{
          cls->getClassName(), base ? base->getClassName() : TOVString(), cls->isAssociation()});
    }
    return classes;
  }
  if (_declareClasses == nullptr) {
    throw ProviderError(_path,
                        "the provider is not built on kest::pf::Provider and does not "
                        "export " KEST_PROVIDER_DECLARE_CLASSES_SYMBOL);
  }
  _declareClasses(
      [](void* context, const char* className, const char* superClassName, int isAssociation) {
        static_cast<std::vector<DeclaredClass>*>(context)->push_back(DeclaredClass{
            TOVString(className != nullptr ? className : ""),
            TOVString(superClassName != nullptr ? superClassName : ""), isAssociation != 0});
      },
      &classes);
  return classes;
}

std::unique_ptr<LoadedProvider> ProviderLoader::load(const ProviderSpec& spec) {
  dlerror();
  void* library = dlopen(spec.path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    const char* reason = dlerror();
    throw ProviderError(spec.path, std::string("cannot load the library: ") +
                                       (reason != nullptr ? reason : "unknown error"));
  }
  std::unique_ptr<LoadedProvider> loaded(new LoadedProvider(spec.path, spec.nameSpace, library));
  auto create =
      reinterpret_cast<KestProviderCreateFunction>(dlsym(library, KEST_PROVIDER_CREATE_SYMBOL));
  if (create == nullptr) {
    throw ProviderError(spec.path, "the library does not export " KEST_PROVIDER_CREATE_SYMBOL);
  }
  loaded->_destroy =
      reinterpret_cast<KestProviderDestroyFunction>(dlsym(library, KEST_PROVIDER_DESTROY_SYMBOL));
  if (loaded->_destroy == nullptr) {
    throw ProviderError(spec.path, "the library does not export " KEST_PROVIDER_DESTROY_SYMBOL);
  }
  loaded->_declareClasses = reinterpret_cast<KestProviderDeclareClassesFunction>(
      dlsym(library, KEST_PROVIDER_DECLARE_CLASSES_SYMBOL));
  try {
    loaded->_provider = create();
  } catch (...) {
    throw ProviderError(spec.path, KEST_PROVIDER_CREATE_SYMBOL " failed: " +
                                       errorFromCurrentException().description());
  }
  if (loaded->_provider == nullptr) {
    throw ProviderError(spec.path, KEST_PROVIDER_CREATE_SYMBOL " returned no provider");
  }
  return loaded;
}

}  // namespace kest::server
