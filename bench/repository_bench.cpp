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
// And on the published DMTF CIM schema 2.49 (1,631 classes in 1,633 files),
// read from KEST_DMTF_SCHEMA_DIR (each skipped when it is not there):
//   BM_CompileDmtfSchema: compiling the whole schema into a fresh
//     repository; counters classes, classes/s and the process's peak
//     resident memory so far (VmHWM, MB);
//   BM_GetClassDmtfComputerSystem: GetClass of CIM_ComputerSystem (six
//     superclasses) with qualifiers and class origin;
//   BM_EnumerateClassNamesDmtfDeep: EnumerateClassNames with
//     DeepInheritance over the whole schema; counter seconds_per_class
//     (printed with an SI prefix: "20n" is 20 ns).
//
// Run: build/bench/repository_bench
#include <benchmark/benchmark.h>

#include <unistd.h>

#include <cstddef>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>

#include "bench/load/ServerMonitor.h"
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

const std::string& dmtfSchemaFile() {
  static const std::string file = std::string(KEST_DMTF_SCHEMA_DIR) + "/cim_schema_2.49.0.mof";
  return file;
}

bool haveDmtfSchema(benchmark::State& state) {
  if (std::filesystem::exists(dmtfSchemaFile())) return true;
  state.SkipWithError(("the DMTF schema is not at " + dmtfSchemaFile()).c_str());
  return false;
}

std::size_t compileDmtfInto(ClassRepository& repository) {
  const auto result = MofCompiler(repository).compileFiles({dmtfSchemaFile()});
  if (!result.succeeded()) throw std::runtime_error(result.diagnostics.front().toString());
  return result.classCount;
}

// Compiled once, for the lookups; only when the schema is there.
ClassRepository& dmtfRepository() {
  static ClassRepository repository;
  static const std::size_t classes = compileDmtfInto(repository);
  (void)classes;
  return repository;
}

void BM_CompileDmtfSchema(benchmark::State& state) {
  if (!haveDmtfSchema(state)) return;
  std::size_t classes = 0;
  for (auto _ : state) {
    ClassRepository repository;
    classes = compileDmtfInto(repository);
    benchmark::DoNotOptimize(repository.classCount("root/cimv2"));
  }
  state.counters["classes"] = static_cast<double>(classes);
  state.counters["classes_per_second"] = benchmark::Counter(
      static_cast<double>(classes), benchmark::Counter::kIsIterationInvariantRate);
  if (const std::optional<long> peakKb = kest::load::ServerMonitor::peakResidentKb(getpid()))
    state.counters["peak_rss_MB"] = static_cast<double>(*peakKb) / 1024.0;
}
BENCHMARK(BM_CompileDmtfSchema)->Unit(benchmark::kMillisecond);

void BM_GetClassDmtfComputerSystem(benchmark::State& state) {
  if (!haveDmtfSchema(state)) return;
  ClassRepository& repository = dmtfRepository();
  ClassRequestOptions options;
  options.localOnly = false;
  options.includeQualifiers = true;
  options.includeClassOrigin = true;
  for (auto _ : state) {
    auto cls = repository.getClass("root/cimv2", "CIM_ComputerSystem", options);
    benchmark::DoNotOptimize(cls);
  }
}
BENCHMARK(BM_GetClassDmtfComputerSystem);

void BM_EnumerateClassNamesDmtfDeep(benchmark::State& state) {
  if (!haveDmtfSchema(state)) return;
  ClassRepository& repository = dmtfRepository();
  std::size_t classes = 0;
  for (auto _ : state) {
    auto names = repository.enumerateClassNames("root/cimv2", "", true);
    classes = names->size();
    benchmark::DoNotOptimize(names);
  }
  state.counters["classes"] = static_cast<double>(classes);
  state.counters["seconds_per_class"] = benchmark::Counter(
      static_cast<double>(classes),
      benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}
BENCHMARK(BM_EnumerateClassNamesDmtfDeep);

}  // namespace
