#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "server/repository/MofCompiler.h"

namespace kest::repository {

// The command-line check of MOF files: compiles paths as one compilation into
// a repository of its own and writes to out every diagnostic, one a line
// (Diagnostic::toString()), then the summary line
//   "<files> file(s) checked: <classes> class(es), <instances> instance(s),
//    <errors> error(s), <warnings> warning(s)"
// (one line) where a count of 1 takes the singular ("1 file checked: 1 class,
// 0 instances, 0 errors, 1 warning") and the class and instance counts are
// those compiled (0 when there are errors). With no paths it writes "no MOF files to check".
// Returns 0 when there is no error (warnings allowed), 1 otherwise.
// Throws only what writing to out throws (or std::bad_alloc).
int checkMofFiles(const std::vector<std::string>& paths, std::ostream& out,
                  const CompileOptions& options = CompileOptions());

}  // namespace kest::repository
