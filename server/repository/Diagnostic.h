#pragma once

#include <string>

namespace kest::repository {

// Where something was written in a MOF source: the file as it was opened
// (the path given by the caller, or for an included file the including file's
// directory joined with the included name), and the 1-based line and column.
// Columns count characters (UTF-8 sequences), a tab being one column. Line 0
// means that only the file is known (a file that cannot be read).
struct SourceLocation {
  std::string file;
  unsigned line = 0;
  unsigned column = 0;

  bool isKnown() const { return !file.empty(); }
  // "file:line:column", or "file" when the line is 0; empty when unknown.
  std::string toString() const;
};

enum class Severity { Error, Warning };

// One message of the MOF compiler.
//   toString(): "file:line:column: message" for errors and
//   "file:line:column: warning: message" for warnings (the location part as
//   SourceLocation::toString(), left out with its ": " when unknown).
struct Diagnostic {
  Severity severity = Severity::Error;
  SourceLocation location;
  std::string message;

  bool isError() const { return severity == Severity::Error; }
  std::string toString() const;
};

}  // namespace kest::repository
