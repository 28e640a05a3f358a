#pragma once

namespace kest::pf {

// Version of the provider framework library, "major.minor.patch". Lets a
// provider or the server check at run time which framework it was loaded with.
const char* frameworkVersion();

}  // namespace kest::pf
