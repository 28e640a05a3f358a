#pragma once

// The C entry points through which a host (kest-server) loads a provider
// library. This is the whole binary interface between a host and a provider
// besides kest::IProvider itself: the host never looks into the provider's
// types, so a provider may link the framework (or anything else) statically.
//
// A provider is a shared library that exports:
//
//   extern "C" kest::IProvider* kest_provider_create();
//     Returns a new provider object; the host owns it from then on. A null
//     result or an exception means that the provider cannot be created.
//
//   extern "C" void kest_provider_destroy(kest::IProvider* provider);
//     Destroys an object that kest_provider_create returned. The host calls
//     it once, after shutdown(), and unloads the library afterwards.
//
//   extern "C" void kest_provider_declare_classes(kest::IProvider* provider,
//                                                 KestDeclareClassFunction declare,
//                                                 void* context);
//     Calls declare(context, className, superClassName, isAssociation) once
//     per class that provider (an object kest_provider_create returned)
//     serves; superClassName null or empty for none. The host calls it after
//     postStartup(), on the thread that started the provider. Exceptions
//     thrown inside it are the provider's failure to start.
//
// Providers built on the framework get all three from
// KEST_PROVIDER_ENTRY_POINTS (framework/ProviderEntryPoints.h). A provider
// written directly against kest::IProvider uses
// KEST_PROVIDER_OBJECT_ENTRY_POINTS(Type) below for the first two and
// defines kest_provider_declare_classes itself.

#include "host/Provider.h"

extern "C" {
using KestProviderCreateFunction = kest::IProvider* (*)();
using KestProviderDestroyFunction = void (*)(kest::IProvider*);
using KestDeclareClassFunction = void (*)(void* context, const char* className,
                                          const char* superClassName, int isAssociation);
using KestProviderDeclareClassesFunction = void (*)(kest::IProvider* provider,
                                                    KestDeclareClassFunction declare,
                                                    void* context);
}

#define KEST_PROVIDER_CREATE_SYMBOL "kest_provider_create"
#define KEST_PROVIDER_DESTROY_SYMBOL "kest_provider_destroy"
#define KEST_PROVIDER_DECLARE_CLASSES_SYMBOL "kest_provider_declare_classes"

#define KEST_PROVIDER_EXPORT extern "C" __attribute__((visibility("default")))

// kest_provider_create and kest_provider_destroy for a provider class with a
// default constructor.
#define KEST_PROVIDER_OBJECT_ENTRY_POINTS(ProviderType)                                         \
  KEST_PROVIDER_EXPORT kest::IProvider* kest_provider_create() { return new ProviderType(); } \
  KEST_PROVIDER_EXPORT void kest_provider_destroy(kest::IProvider* provider) { delete provider; }
