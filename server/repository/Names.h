#pragma once

// Case-insensitive name keys. Internal to the repository library.

#include <string>

#include "host/Ascii.h"
#include "host/String.h"

namespace kest::repository {

// name in ASCII lower case, as a map key.
inline std::string foldName(const TOVString& name) { return kest::ascii::folded(name.view()); }

}  // namespace kest::repository
