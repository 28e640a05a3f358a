#pragma once

// The C entry points through which kest-server loads a provider library.
//
// A provider is a shared library that exports:
//
//   extern "C" kest::IProvider* kest_provider_create();
//     Returns a new provider object; the server owns it from then on. A null
//     result or an exception means that the provider cannot be created.
//
//   extern "C" void kest_provider_destroy(kest::IProvider* provider);
//     Destroys an object that kest_provider_create returned. The server calls
//     it once, after shutdown(), and unloads the library afterwards.
//
// and, only when the provider is not built on kest::pf::Provider (whose
// classes the server reads from its InstanceManager):
//
//   extern "C" void kest_provider_declare_classes(KestDeclareClassFunction declare,
//                                                 void* context);
//     Calls declare(context, className, superClassName, isAssociation) once
//     per class the provider serves (superClassName null or empty for none).
//     The server calls it after postStartup().
//
// KEST_PROVIDER_ENTRY_POINTS(Type) defines the first two for a provider class
// with a default constructor:
//
//   class MyProvider : public kest::pf::Provider { ... };
//   KEST_PROVIDER_ENTRY_POINTS(MyProvider)

#include "host/Provider.h"

extern "C" {
using KestProviderCreateFunction = kest::IProvider* (*)();
using KestProviderDestroyFunction = void (*)(kest::IProvider*);
using KestDeclareClassFunction = void (*)(void* context, const char* className,
                                          const char* superClassName, int isAssociation);
using KestProviderDeclareClassesFunction = void (*)(KestDeclareClassFunction declare,
                                                    void* context);
}

#define KEST_PROVIDER_CREATE_SYMBOL "kest_provider_create"
#define KEST_PROVIDER_DESTROY_SYMBOL "kest_provider_destroy"
#define KEST_PROVIDER_DECLARE_CLASSES_SYMBOL "kest_provider_declare_classes"

#define KEST_PROVIDER_ENTRY_POINTS(ProviderType)                                              \
  extern "C" __attribute__((visibility("default"))) kest::IProvider* kest_provider_create() { \
    return new ProviderType();                                                                \
  }                                                                                           \
  extern "C" __attribute__((visibility("default"))) void kest_provider_destroy(               \
      kest::IProvider* provider) {                                                            \
    delete provider;                                                                          \
  }
