// The entry points through which kest-server loads the interop provider as a
// provider library (see host/ProviderAbi.h).

#include "framework/ProviderEntryPoints.h"
#include "interop/InteropProvider.h"

KEST_PROVIDER_ENTRY_POINTS(kest::interop::InteropProvider)
