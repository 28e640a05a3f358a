#include "framework/FrameworkVersion.h"

namespace kest::pf {

const char* frameworkVersion() { return "0.1.0"; }

}  // namespace kest::pf
