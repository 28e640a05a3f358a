#include "server/repository/CheckMof.h"

#include <ostream>

#include "server/repository/ClassRepository.h"

namespace kest::repository {

namespace {

std::string counted(std::size_t count, const char* singular, const char* plural) {
  return std::to_string(count) + " " + (count == 1 ? singular : plural);
}

}  // namespace

int checkMofFiles(const std::vector<std::string>& paths, std::ostream& out,
                  const CompileOptions& options) {
  if (paths.empty()) {
    out << "no MOF files to check\n";
    return 1;
  }
  ClassRepository repository;
  const CompileResult result = MofCompiler(repository, options).compileFiles(paths);
  for (const Diagnostic& diagnostic : result.diagnostics) out << diagnostic.toString() << '\n';
  out << counted(paths.size(), "file", "files")
      << " checked: " << counted(result.classCount, "class", "classes") << ", "
      << counted(result.instanceCount, "instance", "instances") << ", "
      << counted(result.errorCount, "error", "errors") << ", "
      << counted(result.warningCount, "warning", "warnings") << '\n';
  return result.succeeded() ? 0 : 1;
}

}  // namespace kest::repository
