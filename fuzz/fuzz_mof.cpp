// fuzz_mof: the MOF compiler over arbitrary text, each input compiled into a
// fresh class repository.
//
// Aborts when compiling throws anything but std::bad_alloc, or when a
// compilation with errors reports classes, qualifiers or instances added. Inputs that
// mention an include are skipped: the compiler reads the files a MOF names,
// and what a MOF may name is the server's own configuration.

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "server/repository/ClassRepository.h"
#include "server/repository/MofCompiler.h"

namespace {

bool mentionsInclude(std::string_view text) {
  constexpr std::string_view kInclude = "include";
  return std::search(text.begin(), text.end(), kInclude.begin(), kInclude.end(),
                     [](char a, char b) {
                       return std::tolower(static_cast<unsigned char>(a)) == b;
                     }) != text.end();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  if (mentionsInclude(text)) return 0;
  kest::repository::ClassRepository repository;
  kest::repository::MofCompiler compiler(repository);
  const kest::repository::CompileResult result = compiler.compileText("input.mof", text);
  if (!result.succeeded() &&
      (result.classCount != 0 || result.qualifierCount != 0 || result.instanceCount != 0))
    std::abort();
  return 0;
}
