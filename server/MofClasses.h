#pragma once

#include <string>
#include <vector>

#include "host/String.h"
#include "server/ClassCatalog.h"
#include "server/repository/ClassDefinition.h"

namespace kest::server {

// Compiles MOF files (as one compilation, each file starting in
// defaultNameSpace) with the class repository's MOF compiler into the
// catalog's class repository and defines every class they hold in catalog,
// in the namespace it was compiled into (with the compiled definition). A
// class the catalog already knows is a duplicate class for the compiler:
// compile MOF before providers declare their classes.
// Returns the compiler's warnings, one text each
// ("file:line:column: warning: message"). Throws std::runtime_error listing
// every diagnostic, one a line, when the compilation has errors; the
// catalog is then unchanged.
std::vector<std::string> defineMofClasses(const std::vector<std::string>& files,
                                          const TOVString& defaultNameSpace, ClassCatalog& catalog);

// The catalog's form of a compiled class: name, superclass, association
// flag, every property (type, Key, class origin) and method (return type,
// class origin, parameters with their type and In and Out). Strings marked
// EmbeddedObject or EmbeddedInstance become embedded objects. compiled is
// left null.
ClassDefinition catalogDefinition(const kest::repository::ClassDefinition& cls);

}  // namespace kest::server
