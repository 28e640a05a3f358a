#pragma once

#include "host/String.h"

// The framework's fixed error texts. Each file that includes this header
// holds its own copy of the strings (internal linkage), built during static
// initialisation; they are read-only afterwards and safe on any thread. The
// table carries no codes: each thrower picks its code (see Exception).
// The misspelt name and text of the last entry are part of the interface.
namespace kest::pf::MessageTable {

static const TOVString E_PFPROVIDER_ERROR_MISSING_PARAMETER("Missing parameter");
static const TOVString E_PFPROVIDER_ERROR_UNDECLARED_CLASS("Undeclared class");
static const TOVString E_PFPROVIDER_ERROR_OBJECT_NOT_FOUND(
    "The requested object could not be found. It may not exist or it may have been removed at "
    "an earlier time.");
static const TOVString E_PFPROVIDER_ERROR_ACCESS_VALUE("Accessing Value violation");
static const TOVString E_PFPROVIDER_ERROR_INVALDE_PARAMETER("Invalide input parameter");

}  // namespace kest::pf::MessageTable
