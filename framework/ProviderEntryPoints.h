#pragma once

// The entry points of a provider library built on kest::pf::Provider: what a
// host needs to load it (see host/ProviderAbi.h for the binary interface).
//
//   class MyProvider : public kest::pf::Provider { ... };
//   KEST_PROVIDER_ENTRY_POINTS(MyProvider)
//
// defines kest_provider_create (a new MyProvider, which needs a default
// constructor), kest_provider_destroy, and kest_provider_declare_classes,
// which reports the classes declared with the provider's instance manager
// at the time the host asks (after postStartup()). A provider library that
// defines its own create and destroy functions uses
// KEST_PROVIDER_DECLARE_CLASSES_ENTRY_POINT(MyProvider) for the third.

#include "framework/Provider.h"
#include "host/ProviderAbi.h"

namespace kest::pf {

// Calls declare(context, className, superClassName, isAssociation) for each
// class declared with provider's instance manager, in declaration order;
// superClassName is null for a class without a base class. The strings live
// until declare returns. Throws what reading the declarations throws.
void declareProviderClasses(const Provider& provider, KestDeclareClassFunction declare,
                            void* context);

}  // namespace kest::pf

#define KEST_PROVIDER_DECLARE_CLASSES_ENTRY_POINT(ProviderType)                                 \
  KEST_PROVIDER_EXPORT void kest_provider_declare_classes(                                      \
      kest::IProvider* provider, KestDeclareClassFunction declare, void* context) {             \
    kest::pf::declareProviderClasses(static_cast<const ProviderType&>(*provider), declare,      \
                                     context);                                                  \
  }

#define KEST_PROVIDER_ENTRY_POINTS(ProviderType)     \
  KEST_PROVIDER_OBJECT_ENTRY_POINTS(ProviderType)    \
  KEST_PROVIDER_DECLARE_CLASSES_ENTRY_POINT(ProviderType)
