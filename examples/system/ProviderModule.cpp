// The entry points through which kest-server loads the system provider as a
// provider library (see server/ProviderEntryPoints.h): the server creates one
// SystemProvider, reads its classes from its instance manager, and destroys
// it after shutdown().

#include "examples/system/SystemProvider.h"
#include "framework/ProviderEntryPoints.h"

KEST_PROVIDER_ENTRY_POINTS(kest::examples::SystemProvider)
