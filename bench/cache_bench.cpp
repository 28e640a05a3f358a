// Costs of the provider framework's object cache (InstanceManager) at 1,000,
// 100,000 and 1,000,000 cached objects of one class, and across a four-level
// class tree. Each measurement has a baseline run on the same objects and the
// same key texts: a std::unordered_map<std::string, std::shared_ptr<...>> for
// lookups, inserts and erases, and a copy of a std::vector of the same shared
// pointers for enumerations.
//
// Run: build/bench/cache_bench (about a minute; the caches are built once per
// size and kept for the whole run).
#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "framework/Class.h"
#include "framework/InstanceManager.h"
#include "host/InstanceName.h"
#include "host/List.h"
#include "host/Property.h"
#include "host/SmartPointer.h"
#include "host/String.h"
#include "host/Value.h"
#include "streaming/VectorCollector.h"
#include "tests/support/TestInstances.h"
#include "tests/support/TestProvider.h"

namespace {

using kest::VectorCollector;
using kest::pf::InstanceManager;
using kest::testing::ClassTree;
using kest::testing::TestInstance;
using kest::testing::TestProvider;

using Shared = std::shared_ptr<TestInstance>;
using Baseline = std::unordered_map<std::string, Shared>;

constexpr std::size_t kSpares = 1024;  // objects registered and deregistered per round
constexpr std::size_t kMisses = 1024;
constexpr std::size_t kStride = 7919;  // walks the keys out of insertion order

// className.DeviceID="<prefix><i>", as a request would carry it.
TOVSmrPtr<ITovaInstanceName> nameOf(const TOVString& className, const char* prefix, std::size_t i) {
  TOVPropertyList keys(new TOVValSlist<TOVSmrPtr<ITovaProperty>>());
  keys->append(makeTOVSmrPtr<CTovaProperty>(
      "DeviceID", makeTOVSmrPtr<CTovaValue>(TOVString(prefix) + TOVString::fromUInt(i)), false));
  return makeTOVSmrPtr<CTovaInstanceName>(className, keys, TOVSmrPtr<ITovaNameSpacePath>());
}

// The baseline holds the very objects the cache holds: each shared_ptr keeps
// a TOVSmrPtr to its object.
Shared shared(const TOVSmrPtr<TestInstance>& object) {
  return Shared(object.get(), [keep = object](TestInstance*) {});
}

std::string keyOf(const TOVSmrPtr<ITovaInstanceName>& name) {
  return name->toString().toStdString();
}

// A provider whose cache holds count objects of KEST_Disk, with the same
// objects in the baseline map and vector, and spare objects (not cached) to
// register.
struct FlatCache {
  explicit FlatCache(std::size_t count) {
    InstanceManager& manager = provider.getInstanceManager();
    manager.registerClass(classes.make(className));
    names.reserve(count);
    keys.reserve(count);
    objects.reserve(count);
    baseline.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
      const TOVSmrPtr<ITovaInstanceName> name = nameOf(className, "disk", i);
      const TOVSmrPtr<TestInstance> object(new TestInstance(manager, className, name));
      manager.registerInstance(object);
      names.push_back(name);
      keys.push_back(keyOf(name));
      objects.push_back(shared(object));
      baseline.emplace(keys.back(), objects.back());
    }
    for (std::size_t i = 0; i < kMisses; ++i) {
      missNames.push_back(nameOf(className, "absent", i));
      missKeys.push_back(keyOf(missNames.back()));
    }
    for (std::size_t i = 0; i < kSpares; ++i) {
      const TOVSmrPtr<ITovaInstanceName> name = nameOf(className, "spare", i);
      spares.emplace_back(new TestInstance(manager, className, name));
      spareKeys.push_back(keyOf(name));
      spareShared.push_back(shared(spares.back()));
    }
  }

  InstanceManager& manager() { return provider.getInstanceManager(); }

  const TOVString className = "KEST_Disk";
  TestProvider provider;
  ClassTree classes;
  std::vector<TOVSmrPtr<ITovaInstanceName>> names;
  std::vector<std::string> keys;
  std::vector<Shared> objects;
  Baseline baseline;
  std::vector<TOVSmrPtr<ITovaInstanceName>> missNames;
  std::vector<std::string> missKeys;
  std::vector<TOVSmrPtr<TestInstance>> spares;
  std::vector<std::string> spareKeys;
  std::vector<Shared> spareShared;
};

// Built on first use and kept (deliberately never freed) for the whole run.
FlatCache& flatCache(std::size_t count) {
  static std::map<std::size_t, FlatCache*> caches;
  FlatCache*& cache = caches[count];
  if (cache == nullptr) cache = new FlatCache(count);
  return *cache;
}

std::size_t sizeOf(const benchmark::State& state) {
  return static_cast<std::size_t>(state.range(0));
}

// --- lookups ----------------------------------------------------------------

void BM_GetInstanceHit(benchmark::State& state) {
  FlatCache& cache = flatCache(sizeOf(state));
  const std::size_t count = cache.names.size();
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(cache.manager().getInstance(cache.names[i]).get());
    i = (i + kStride) % count;
  }
}

void BM_GetInstanceHit_Baseline(benchmark::State& state) {
  FlatCache& cache = flatCache(sizeOf(state));
  const std::size_t count = cache.keys.size();
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(cache.baseline.find(cache.keys[i])->second.get());
    i = (i + kStride) % count;
  }
}

void BM_GetInstanceMiss(benchmark::State& state) {
  FlatCache& cache = flatCache(sizeOf(state));
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(cache.manager().getInstance(cache.missNames[i]).get());
    i = (i + 1) % kMisses;
  }
}

void BM_GetInstanceMiss_Baseline(benchmark::State& state) {
  FlatCache& cache = flatCache(sizeOf(state));
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(cache.baseline.find(cache.missKeys[i]) == cache.baseline.end());
    i = (i + 1) % kMisses;
  }
}

// --- enumerations -----------------------------------------------------------

void BM_EnumerateInstances(benchmark::State& state) {
  FlatCache& cache = flatCache(sizeOf(state));
  for (auto _ : state) {
    VectorCollector<TOVSmrPtr<ITovaObject>> results;
    cache.manager().enumerateInstances(results, cache.className);
    benchmark::DoNotOptimize(results.rep.data());
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(cache.names.size()));
}

void BM_EnumerateInstancesList(benchmark::State& state) {
  FlatCache& cache = flatCache(sizeOf(state));
  for (auto _ : state) {
    const InstanceManager::ObjectList list = cache.manager().enumerateInstances(cache.className);
    benchmark::DoNotOptimize(list.get());
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(cache.names.size()));
}

void BM_EnumerateInstances_Baseline(benchmark::State& state) {
  FlatCache& cache = flatCache(sizeOf(state));
  for (auto _ : state) {
    std::vector<Shared> copy = cache.objects;
    benchmark::DoNotOptimize(copy.data());
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(cache.objects.size()));
}

// --- registration -----------------------------------------------------------
//
// Each iteration registers (or deregisters) one spare object; once every spare
// has been used, the cache is put back untimed.

void BM_RegisterInstance(benchmark::State& state) {
  FlatCache& cache = flatCache(sizeOf(state));
  std::size_t i = 0;
  for (auto _ : state) {
    cache.manager().registerInstance(cache.spares[i]);
    if (++i == kSpares) {
      state.PauseTiming();
      for (const auto& spare : cache.spares) cache.manager().deregisterInstance(spare);
      i = 0;
      state.ResumeTiming();
    }
  }
  for (std::size_t j = 0; j < i; ++j) cache.manager().deregisterInstance(cache.spares[j]);
}

void BM_RegisterInstance_Baseline(benchmark::State& state) {
  FlatCache& cache = flatCache(sizeOf(state));
  std::size_t i = 0;
  for (auto _ : state) {
    cache.baseline.insert_or_assign(cache.spareKeys[i], cache.spareShared[i]);
    if (++i == kSpares) {
      state.PauseTiming();
      for (const auto& key : cache.spareKeys) cache.baseline.erase(key);
      i = 0;
      state.ResumeTiming();
    }
  }
  for (std::size_t j = 0; j < i; ++j) cache.baseline.erase(cache.spareKeys[j]);
}

void BM_DeregisterInstance(benchmark::State& state) {
  FlatCache& cache = flatCache(sizeOf(state));
  for (const auto& spare : cache.spares) cache.manager().registerInstance(spare);
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(cache.manager().deregisterInstance(cache.spares[i]));
    if (++i == kSpares) {
      state.PauseTiming();
      for (const auto& spare : cache.spares) cache.manager().registerInstance(spare);
      i = 0;
      state.ResumeTiming();
    }
  }
  for (std::size_t j = i; j < kSpares; ++j) cache.manager().deregisterInstance(cache.spares[j]);
}

void BM_DeregisterInstance_Baseline(benchmark::State& state) {
  FlatCache& cache = flatCache(sizeOf(state));
  for (std::size_t j = 0; j < kSpares; ++j) {
    cache.baseline.insert_or_assign(cache.spareKeys[j], cache.spareShared[j]);
  }
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(cache.baseline.erase(cache.spareKeys[i]));
    if (++i == kSpares) {
      state.PauseTiming();
      for (std::size_t j = 0; j < kSpares; ++j) {
        cache.baseline.insert_or_assign(cache.spareKeys[j], cache.spareShared[j]);
      }
      i = 0;
      state.ResumeTiming();
    }
  }
  for (std::size_t j = i; j < kSpares; ++j) cache.baseline.erase(cache.spareKeys[j]);
}

// --- a four-level class tree ------------------------------------------------
//
// KEST_Level0 -> KEST_Level1 -> KEST_Level2 -> KEST_Level3, count objects at
// each level, with keys that differ between levels. A request names the top
// class with the keys of an object cached one level down: the cache misses in
// the top class and finds it in the child.

struct TreeCache {
  explicit TreeCache(std::size_t count) {
    InstanceManager& manager = provider.getInstanceManager();
    TOVSmrPtr<kest::pf::Class> above;
    for (const TOVString& level : levels) {
      const TOVSmrPtr<kest::pf::Class> cls = classes.make(level);
      manager.registerClass(cls);
      if (above) classes.link(above, cls);
      above = cls;
    }
    objects.reserve(levels.size() * count);
    baseline.reserve(levels.size() * count);
    for (std::size_t l = 0; l < levels.size(); ++l) {
      const TOVString& level = levels[l];
      for (std::size_t i = 0; i < count; ++i) {
        const TOVSmrPtr<ITovaInstanceName> name = nameOf(level, prefixes[l], i);
        const TOVSmrPtr<TestInstance> object(new TestInstance(manager, level, name));
        manager.registerInstance(object);
        objects.push_back(shared(object));
        baseline.emplace(keyOf(name), objects.back());
      }
    }
    for (std::size_t i = 0; i < count; ++i) {
      topNames.push_back(nameOf(levels[0], prefixes[1], i));
      childKeys.push_back(keyOf(nameOf(levels[1], prefixes[1], i)));
    }
  }

  InstanceManager& manager() { return provider.getInstanceManager(); }

  const std::vector<TOVString> levels{"KEST_Level0", "KEST_Level1", "KEST_Level2", "KEST_Level3"};
  // Each level's objects have keys of their own.
  const std::vector<const char*> prefixes{"top", "mid", "low", "leaf"};
  TestProvider provider;
  ClassTree classes;
  std::vector<Shared> objects;
  Baseline baseline;
  std::vector<TOVSmrPtr<ITovaInstanceName>> topNames;  // keys of the level-1 objects
  std::vector<std::string> childKeys;                  // their own key texts
};

TreeCache& treeCache(std::size_t count) {
  static std::map<std::size_t, TreeCache*> caches;
  TreeCache*& cache = caches[count];
  if (cache == nullptr) {
    cache = new TreeCache(count);
    // The level-0 names must miss at the top and hit one level down.
    const TOVSmrPtr<ITovaObject> probe = cache->manager().getInstance(cache->topNames[0]);
    if (!probe || probe->getClassName() != "KEST_Level1") std::abort();
  }
  return *cache;
}

void BM_TreeGetInstanceInChild(benchmark::State& state) {
  TreeCache& cache = treeCache(sizeOf(state));
  const std::size_t count = cache.topNames.size();
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(cache.manager().getInstance(cache.topNames[i]).get());
    i = (i + kStride) % count;
  }
}

void BM_TreeGetInstanceInChild_Baseline(benchmark::State& state) {
  TreeCache& cache = treeCache(sizeOf(state));
  const std::size_t count = cache.childKeys.size();
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(cache.baseline.find(cache.childKeys[i])->second.get());
    i = (i + kStride) % count;
  }
}

void BM_TreeEnumerateInstances(benchmark::State& state) {
  TreeCache& cache = treeCache(sizeOf(state));
  for (auto _ : state) {
    VectorCollector<TOVSmrPtr<ITovaObject>> results;
    cache.manager().enumerateInstances(results, cache.levels[0]);
    benchmark::DoNotOptimize(results.rep.data());
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(cache.objects.size()));
}

void BM_TreeEnumerateInstances_Baseline(benchmark::State& state) {
  TreeCache& cache = treeCache(sizeOf(state));
  for (auto _ : state) {
    std::vector<Shared> copy = cache.objects;
    benchmark::DoNotOptimize(copy.data());
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(cache.objects.size()));
}

// Sizes: 1,000, 100,000 and 1,000,000 cached objects; short runs.
void flatSizes(benchmark::internal::Benchmark* b) {
  b->Arg(1000)->Arg(100000)->Arg(1000000)->MinTime(0.1);
}
void enumerationSizes(benchmark::internal::Benchmark* b) {
  flatSizes(b);
  b->Unit(benchmark::kMicrosecond);
}
void treeSizes(benchmark::internal::Benchmark* b) { b->Arg(1000)->Arg(100000)->MinTime(0.1); }

BENCHMARK(BM_GetInstanceHit)->Apply(flatSizes);
BENCHMARK(BM_GetInstanceHit_Baseline)->Apply(flatSizes);
BENCHMARK(BM_GetInstanceMiss)->Apply(flatSizes);
BENCHMARK(BM_GetInstanceMiss_Baseline)->Apply(flatSizes);
BENCHMARK(BM_EnumerateInstances)->Apply(enumerationSizes);
BENCHMARK(BM_EnumerateInstancesList)->Apply(enumerationSizes);
BENCHMARK(BM_EnumerateInstances_Baseline)->Apply(enumerationSizes);
BENCHMARK(BM_RegisterInstance)->Apply(flatSizes);
BENCHMARK(BM_RegisterInstance_Baseline)->Apply(flatSizes);
BENCHMARK(BM_DeregisterInstance)->Apply(flatSizes);
BENCHMARK(BM_DeregisterInstance_Baseline)->Apply(flatSizes);
BENCHMARK(BM_TreeGetInstanceInChild)->Apply(treeSizes);
BENCHMARK(BM_TreeGetInstanceInChild_Baseline)->Apply(treeSizes);
BENCHMARK(BM_TreeEnumerateInstances)->Apply(treeSizes)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_TreeEnumerateInstances_Baseline)->Apply(treeSizes)->Unit(benchmark::kMicrosecond);

}  // namespace
