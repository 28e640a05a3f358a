#include "server/repository/Diagnostic.h"

namespace kest::repository {

std::string SourceLocation::toString() const {
  if (file.empty()) return std::string();
  if (line == 0) return file;
  return file + ":" + std::to_string(line) + ":" + std::to_string(column);
}

std::string Diagnostic::toString() const {
  std::string text = location.toString();
  if (!text.empty()) text += ": ";
  if (severity == Severity::Warning) text += "warning: ";
  return text + message;
}

}  // namespace kest::repository
