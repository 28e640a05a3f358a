#pragma once

#include <string_view>
#include <vector>

#include "host/String.h"

namespace kest::server {

// The server's interop schema (schema/kest-interop.mof, built into the
// program): the classes of the interop namespace and of indication
// subscriptions. The server compiles it into its interop namespace as
// built-in classes, which a user's MOF may replace (see ClassCatalog).
std::string_view interopSchemaText();
// The name the schema's diagnostics give it.
inline constexpr const char* kInteropSchemaName = "kest-interop.mof";

// The namespace names WBEM clients try when they look for a server's
// interop namespace, in the order they usually try them: "interop",
// "root/interop", "root/PG_InterOp".
const std::vector<TOVString>& wellKnownInteropNameSpaces();
// The first of nameSpaces that is a well-known interop namespace name
// (ignoring case); empty when there is none.
TOVString interopNameSpaceOf(const std::vector<TOVString>& nameSpaces);

}  // namespace kest::server
