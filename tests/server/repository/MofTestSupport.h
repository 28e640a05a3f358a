#pragma once

// Helpers for the repository tests: compile MOF text, read diagnostics,
// write MOF files into a temporary directory.

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "server/repository/ClassRepository.h"
#include "server/repository/MofCompiler.h"

namespace kest::testing {

// Every diagnostic of result as Diagnostic::toString() gives it.
inline std::vector<std::string> messagesOf(const repository::CompileResult& result) {
  std::vector<std::string> messages;
  for (const repository::Diagnostic& diagnostic : result.diagnostics)
    messages.push_back(diagnostic.toString());
  return messages;
}

// A repository and the result of compiling MOF text (named "test.mof") into
// it.
struct Compiled {
  std::unique_ptr<repository::ClassRepository> repository =
      std::make_unique<repository::ClassRepository>();
  repository::CompileResult result;

  std::vector<std::string> messages() const { return messagesOf(result); }
  repository::ClassPointer cls(const char* name, const char* nameSpace = "root/cimv2") const {
    return repository->findClass(nameSpace, name);
  }
};

inline Compiled compileMof(std::string_view text, const char* sourceName = "test.mof") {
  Compiled compiled;
  compiled.result = repository::MofCompiler(*compiled.repository).compileText(sourceName, text);
  return compiled;
}

// The messages of compiling text (for tests that expect failures).
inline std::vector<std::string> diagnosticsOf(std::string_view text) {
  return compileMof(text).messages();
}

// A fresh directory under the system's temporary directory, removed with
// everything in it when the object is destroyed.
class TemporaryDirectory {
 public:
  TemporaryDirectory() {
    std::string pattern = (std::filesystem::temp_directory_path() / "kest-mof-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    _path = pattern;
  }
  ~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(_path, ignored);
  }
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

  // Writes text to the file name (relative to the directory, parent
  // directories created) and returns its full path.
  std::string write(const std::string& name, std::string_view text) const {
    const std::filesystem::path file = _path / name;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << text;
    return file.string();
  }
  std::string path(const std::string& name = "") const { return (_path / name).string(); }

 private:
  std::filesystem::path _path;
};

}  // namespace kest::testing
