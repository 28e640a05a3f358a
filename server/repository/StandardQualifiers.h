#pragma once

#include <vector>

#include "server/repository/ClassDefinition.h"

namespace kest::repository {

// The standard qualifier declarations (the required and optional qualifiers
// of the CIM infrastructure), built into every namespace so that a
// provider's MOF needs no schema files: a MOF file may use them without
// declaring them, and may redeclare them (its declaration then holds in that
// namespace). Built on first use from MOF text compiled into this library;
// the list is immutable and may be read from any thread.
const std::vector<QualifierDeclaration>& standardQualifierDeclarations();

// The standard declaration named name (ignoring case); null when there is
// none.
const QualifierDeclaration* findStandardQualifierDeclaration(const TOVString& name);

}  // namespace kest::repository
