// Costs of the class repository and its MOF compiler on a synthetic schema
// about the size of the CIM schema: 1,500 classes in chains of depth 6 under
// 250 roots, each class with 8 properties (two keyed, qualifiers with
// descriptions and value maps) and one method of 4 parameters.
//   BM_CompileSchema: compiling the whole text into a fresh repository (what
//     the server pays at start-up for its MOF files);
//   BM_GetClass: GetClass of a class at depth 6 with inherited elements,
//     qualifiers and class origin (a filtered copy);
//   BM_EnumerateClassesDeep: every class of the namespace (pointers only);
//   BM_IsSubclass: the subclass test from the deepest class to its root.
//
// Run: build/bench/repository_bench
#include <benchmark/benchmark.h>

#include <cstddef>
#include <stdexcept>
#include <string>

#include "server/repository/ClassRepository.h"
#include "server/repository/MofCompiler.h"

namespace {

using kest::repository::ClassRepository;
using kest::repository::ClassRequestOptions;
using kest::repository::MofCompiler;

constexpr int kRoots = 250;
constexpr int kDepth = 6;

std::string className(int root, int level) {
  return "Bench_C" + std::to_string(root) + "_" + std::to_string(level);
}

const std::string& schemaText() {
  static const std::string text = [] {
    std::string mof;
    for (int root = 0; root < kRoots; ++root) {
      for (int level = 0; level < kDepth; ++level) {
        const std::string name = className(root, level);
        mof +=
            "[Description(\"Class " + name + " of the benchmark schema.\"), Version(\"2.54.0\")]\n";
        mof += "class " + name;
        if (level > 0) mof += " : " + className(root, level - 1);
        mof += " {\n";
        for (int p = 0; p < 8; ++p) {
          const std::string property = "P" + std::to_string(level) + "_" + std::to_string(p);
          const bool key = level == 0 && p < 2;
          mof += std::string("  [") + (key ? "Key, " : "") + "Description(\"Property " + property +
                 "\"), ValueMap{\"0\", \"1\", \"2\"}, Values{\"Unknown\", \"On\", \"Off\"}]\n";
          mof += std::string("  ") + (p % 2 == 0 ? "string " : "uint32 ") + property + ";\n";
        }
        mof += "  [Description(\"Runs.\")] uint32 Run" + std::to_string(level) +
               "([In] string A, [In] uint32 B[], [In] " + name +
               " REF C, [In(false), Out] string D);\n};\n";
      }
    }
    return mof;
  }();
  return text;
}

void compileInto(ClassRepository& repository) {
  const auto result = MofCompiler(repository).compileText("bench.mof", schemaText());
  if (!result.succeeded()) throw std::runtime_error(result.diagnostics.front().toString());
}

ClassRepository& sharedRepository() {
  static ClassRepository repository;
  static const bool compiled = (compileInto(repository), true);
  (void)compiled;
  return repository;
}

void BM_CompileSchema(benchmark::State& state) {
  for (auto _ : state) {
    ClassRepository repository;
    compileInto(repository);
    benchmark::DoNotOptimize(repository.classCount("root/cimv2"));
  }
  state.counters["classes"] = kRoots * kDepth;
  state.counters["bytes_per_second"] = benchmark::Counter(
      static_cast<double>(schemaText().size()), benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(BM_CompileSchema)->Unit(benchmark::kMillisecond);

void BM_GetClass(benchmark::State& state) {
  ClassRepository& repository = sharedRepository();
  ClassRequestOptions options;
  options.localOnly = false;
  options.includeQualifiers = true;
  options.includeClassOrigin = true;
  const std::string name = className(kRoots / 2, kDepth - 1);
  for (auto _ : state) {
    auto cls = repository.getClass("root/cimv2", name.c_str(), options);
    benchmark::DoNotOptimize(cls);
  }
}
BENCHMARK(BM_GetClass);

void BM_EnumerateClassesDeep(benchmark::State& state) {
  ClassRepository& repository = sharedRepository();
  for (auto _ : state) {
    auto classes = repository.enumerateClasses("root/cimv2", "", true);
    benchmark::DoNotOptimize(classes);
  }
}
BENCHMARK(BM_EnumerateClassesDeep);

void BM_IsSubclass(benchmark::State& state) {
  ClassRepository& repository = sharedRepository();
  const std::string leaf = className(7, kDepth - 1);
  const std::string root = className(7, 0);
  for (auto _ : state) {
    benchmark::DoNotOptimize(repository.isSubclass("root/cimv2", leaf.c_str(), root.c_str()));
  }
}
BENCHMARK(BM_IsSubclass);

}  // namespace
