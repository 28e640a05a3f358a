// Costs of the association traversals of the provider framework's object
// cache: references and associators of one object among 1,000, 10,000 and
// 100,000 cached associations, with and without the role and result-class
// filters. Every association of KEST_BasedOn joins a disk (Antecedent) to a
// volume (Dependent); the source disk is named by exactly one of them, so
// each request scans every association and follows one. The counter
// per_assoc is the time per association scanned.
//
// For comparison, the least any scan through the host's object interfaces
// costs is measured on the same association objects (a plain loop making the
// same interface calls, BM_InterfaceScan_Baseline), and the name equality
// the scan relies on is measured alone:
// the host's operator== of two names against a test against a text taken
// once (hasCanonicalText).
//
// Run: build/bench/assoc_bench (the caches are built once per size and kept
// for the whole run).
#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

#include "framework/Class.h"
#include "framework/InstanceManager.h"
#include "framework/InstanceName.h"
#include "host/InstanceName.h"
#include "host/List.h"
#include "host/Property.h"
#include "host/Repository.h"
#include "host/SmartPointer.h"
#include "host/String.h"
#include "host/Value.h"
#include "streaming/VectorCollector.h"
#include "support/ClassTableRepository.h"
#include "support/TestInstances.h"
#include "support/TestProvider.h"

namespace {

using kest::VectorCollector;
using kest::pf::InstanceManager;
using kest::testing::ClassTree;
using kest::testing::TestInstance;
using kest::testing::TestProvider;

constexpr const char* kDevice = "KEST_LogicalDevice";
constexpr const char* kDisk = "KEST_DiskDrive";
constexpr const char* kVolume = "KEST_StorageVolume";
constexpr const char* kBasedOn = "KEST_BasedOn";

TOVPropertyList keysOf(const char* prefix, std::size_t i) {
  TOVPropertyList keys(new TOVValSlist<TOVSmrPtr<ITovaProperty>>());
  keys->append(
      makeTOVSmrPtr<CTovaProperty>("SystemName", makeTOVSmrPtr<CTovaValue>("array1"), false));
  keys->append(makeTOVSmrPtr<CTovaProperty>(
      "DeviceID", makeTOVSmrPtr<CTovaValue>(TOVString(prefix) + TOVString::fromUInt(i)), false));
  return keys;
}

// className.SystemName="array1",DeviceID="<prefix><i>", as a request would
// carry it.
TOVSmrPtr<ITovaInstanceName> nameOf(const char* className, const char* prefix, std::size_t i) {
  return makeTOVSmrPtr<CTovaInstanceName>(className, keysOf(prefix, i),
                                          TOVSmrPtr<ITovaNameSpacePath>());
}

// The same name as the framework's own InstanceName, which keeps no text.
TOVSmrPtr<ITovaInstanceName> plainNameOf(const char* className, const char* prefix, std::size_t i) {
  return makeTOVSmrPtr<kest::pf::InstanceName>(className, keysOf(prefix, i),
                                               TOVSmrPtr<ITovaNameSpacePath>());
}

// A provider whose cache holds count associations disk<i> -> volume<i>, the
// source disk0 and its volume volume0 (the other ends are not cached).
struct AssociationCache {
  explicit AssociationCache(std::size_t count)
      : repository(new kest::testing::ClassTableRepository("root/kest")) {
    InstanceManager& manager = provider.getInstanceManager();
    const auto device = classes.make(kDevice);
    const auto disk = classes.make(kDisk);
    const auto volume = classes.make(kVolume);
    manager.registerClass(device);
    manager.registerClass(disk);
    manager.registerClass(volume);
    manager.registerClass(classes.make(kBasedOn, true));
    classes.link(device, disk);
    classes.link(device, volume);
    repository->addClass("root/kest", kDevice, "");
    repository->addClass("root/kest", kDisk, kDevice);
    repository->addClass("root/kest", kVolume, kDevice);
    provider.initialize(TOVSmrPtr<ITovaRepository>(repository));

    source = nameOf(kDisk, "disk", 0);
    plainSource = plainNameOf(kDisk, "disk", 0);
    manager.registerInstance(makeTOVSmrPtr<TestInstance>(manager, kDisk, source));
    manager.registerInstance(
        makeTOVSmrPtr<TestInstance>(manager, kVolume, nameOf(kVolume, "vol", 0)));
    for (std::size_t i = 0; i < count; ++i) {
      const TOVSmrPtr<ITovaInstanceName> antecedent = i == 0 ? source : nameOf(kDisk, "disk", i);
      const TOVSmrPtr<ITovaInstanceName> dependent = nameOf(kVolume, "vol", i);
      const auto link = makeTOVSmrPtr<TestInstance>(manager, kBasedOn);
      link->setProperty("Antecedent", makeTOVSmrPtr<CTovaValue>(antecedent));
      link->setProperty("Dependent", makeTOVSmrPtr<CTovaValue>(dependent));
      manager.registerInstance(link);
      links.push_back(link);
    }
  }

  InstanceManager& manager() { return provider.getInstanceManager(); }

  TestProvider provider;
  ClassTree classes;
  TOVSmrPtr<kest::testing::ClassTableRepository> repository;
  TOVSmrPtr<ITovaInstanceName> source;
  TOVSmrPtr<ITovaInstanceName> plainSource;
  std::vector<TOVSmrPtr<TestInstance>> links;  // the cached associations, in order
};

// Built on first use and kept (deliberately never freed) for the whole run.
AssociationCache& cacheOf(std::size_t count) {
  static std::map<std::size_t, AssociationCache*> caches;
  AssociationCache*& cache = caches[count];
  if (cache == nullptr) cache = new AssociationCache(count);
  return *cache;
}

std::size_t sizeOf(const benchmark::State& state) {
  return static_cast<std::size_t>(state.range(0));
}

// Time per association scanned.
void countAssociations(benchmark::State& state) {
  state.counters["per_assoc"] = benchmark::Counter(
      static_cast<double>(sizeOf(state)),
      benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void runReferences(benchmark::State& state, bool plainSource, const char* resultClass,
                   const char* role) {
  AssociationCache& cache = cacheOf(sizeOf(state));
  const TOVSmrPtr<ITovaInstanceName>& source = plainSource ? cache.plainSource : cache.source;
  const TOVString resultClassName(resultClass);
  const TOVString roleName(role);
  for (auto _ : state) {
    VectorCollector<TOVSmrPtr<ITovaObject>> results;
    cache.manager().references(results, source, resultClassName, roleName);
    if (results.rep.size() != 1) state.SkipWithError("expected one reference");
    benchmark::DoNotOptimize(results.rep.data());
  }
  countAssociations(state);
}

void runAssociators(benchmark::State& state, const char* assocClass, const char* role,
                    const char* resultRole, const char* resultClass) {
  AssociationCache& cache = cacheOf(sizeOf(state));
  const TOVSmrPtr<ITovaRepository> repository(cache.repository);
  const TOVString assocClassName(assocClass);
  const TOVString roleName(role);
  const TOVString resultRoleName(resultRole);
  const TOVString resultClassName(resultClass);
  for (auto _ : state) {
    VectorCollector<TOVSmrPtr<ITovaValue>> results;
    cache.manager().associators(results, "root/kest", cache.source, assocClassName, roleName,
                                resultRoleName, resultClassName, repository);
    if (results.rep.size() != 1) state.SkipWithError("expected one associator");
    benchmark::DoNotOptimize(results.rep.data());
  }
  countAssociations(state);
}

void BM_References_AnyAssociationClass(benchmark::State& state) {
  runReferences(state, false, "", "");
}
void BM_References_ResultClass(benchmark::State& state) {
  runReferences(state, false, kBasedOn, "");
}
void BM_References_ResultClassAndRole(benchmark::State& state) {
  runReferences(state, false, kBasedOn, "Antecedent");
}
// The source given as a name that keeps no text (its text is built once
// per scanned class).
void BM_References_PlainSourceName(benchmark::State& state) {
  runReferences(state, true, kBasedOn, "");
}

// The same scan as a plain loop over the association objects, with the
// interface calls every scan makes per property (property, type, value,
// referenced name, one text test) and nothing else.
void BM_InterfaceScan_Baseline(benchmark::State& state) {
  AssociationCache& cache = cacheOf(sizeOf(state));
  const TOVString text = cache.source->toString();
  for (auto _ : state) {
    std::size_t found = 0;
    for (const TOVSmrPtr<TestInstance>& link : cache.links) {
      const unsigned long count = link->getNumberOfProperties(true);
      for (unsigned long i = 0; i < count; ++i) {
        const TOVSmrPtr<ITovaProperty> property = link->getPropertyAt(i, true);
        const TOVSmrPtr<ITovaType> type = property->getType();
        if (!type->isReference() || type->isAtomic()) continue;
        if (property->getValue()->getReference()->hasCanonicalText(text)) {
          ++found;
          break;
        }
      }
    }
    if (found != 1) state.SkipWithError("expected one reference");
    benchmark::DoNotOptimize(found);
  }
  countAssociations(state);
}

void BM_Associators_AnyAssociationClass(benchmark::State& state) {
  runAssociators(state, "", "", "", "");
}
void BM_Associators_AssocClass(benchmark::State& state) {
  runAssociators(state, kBasedOn, "", "", "");
}
void BM_Associators_RoleAndResultClass(benchmark::State& state) {
  runAssociators(state, kBasedOn, "Antecedent", "Dependent", kDevice);
}

// The equality under the scan, for one pair of different names of equal
// length: the host's operator== (two text copies per comparison) against a
// test against the source's text taken once.
void BM_NameEquality_Operator(benchmark::State& state) {
  const TOVSmrPtr<ITovaInstanceName> a = nameOf(kDisk, "disk", 1);
  const TOVSmrPtr<ITovaInstanceName> b = nameOf(kDisk, "disk", 2);
  for (auto _ : state) benchmark::DoNotOptimize(*a == *b);
}
void BM_NameEquality_KeptText(benchmark::State& state) {
  const TOVSmrPtr<ITovaInstanceName> a = nameOf(kDisk, "disk", 1);
  const TOVSmrPtr<ITovaInstanceName> b = nameOf(kDisk, "disk", 2);
  const TOVString text = a->toString();
  for (auto _ : state) benchmark::DoNotOptimize(b->hasCanonicalText(text));
}
void BM_NameEquality_PlainOperator(benchmark::State& state) {
  const TOVSmrPtr<ITovaInstanceName> a = plainNameOf(kDisk, "disk", 1);
  const TOVSmrPtr<ITovaInstanceName> b = nameOf(kDisk, "disk", 2);
  for (auto _ : state) benchmark::DoNotOptimize(*a == *b);
}

void sizes(benchmark::internal::Benchmark* b) {
  b->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMicrosecond);
}

}  // namespace

BENCHMARK(BM_References_AnyAssociationClass)->Apply(sizes);
BENCHMARK(BM_References_ResultClass)->Apply(sizes);
BENCHMARK(BM_References_ResultClassAndRole)->Apply(sizes);
BENCHMARK(BM_References_PlainSourceName)->Apply(sizes);
BENCHMARK(BM_InterfaceScan_Baseline)->Apply(sizes);
BENCHMARK(BM_Associators_AnyAssociationClass)->Apply(sizes);
BENCHMARK(BM_Associators_AssocClass)->Apply(sizes);
BENCHMARK(BM_Associators_RoleAndResultClass)->Apply(sizes);
BENCHMARK(BM_NameEquality_Operator);
BENCHMARK(BM_NameEquality_KeptText);
BENCHMARK(BM_NameEquality_PlainOperator);
