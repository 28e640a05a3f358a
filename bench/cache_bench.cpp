// Costs of the provider framework's object cache (InstanceManager) at 1,000,
// 100,000 and 1,000,000 cached objects, in two layouts:
//   Flat: every object is of one class;
//   Tree: a four-level class tree (KEST_Level0 -> KEST_Level1 -> KEST_Level2
//     -> KEST_Level3) holding a quarter of the objects at each level, with
//     keys that differ between levels. Requests name the top class: a hit
//     names an object cached one level down (the cache misses in the top
//     class and finds it in the child), a miss misses in both; enumerations
//     walk the whole tree; registration adds objects at the bottom level.
// Each measurement has a baseline run on the same objects and the same key
// texts: a std::unordered_map<std::string, std::shared_ptr<...>> for lookups,
// inserts and erases, and a copy of a std::vector of the same shared pointers
// for enumerations.
//
// Run: build/bench/cache_bench (a few minutes; the caches are built once per
// layout and size and kept for the whole run).
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
#include "support/TestInstances.h"
#include "support/TestProvider.h"

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

// What every layout provides: a provider whose cache holds the objects, the
// same objects in the baseline map and vector, the names (and key texts) of
// hits and misses, the class to enumerate, and spare objects (not cached) to
// register.
struct Cache {
  InstanceManager& manager() { return provider.getInstanceManager(); }

  // Caches a new object of className named by prefix and i, keeps it in the
  // baseline under its key text, and returns its name.
  TOVSmrPtr<ITovaInstanceName> add(const TOVString& className, const char* prefix, std::size_t i) {
    const TOVSmrPtr<ITovaInstanceName> name = nameOf(className, prefix, i);
    const TOVSmrPtr<TestInstance> object(new TestInstance(manager(), className, name));
    manager().registerInstance(object);
    objects.push_back(shared(object));
    baseline.emplace(keyOf(name), objects.back());
    return name;
  }

  void addMisses(const TOVString& className) {
    for (std::size_t i = 0; i < kMisses; ++i) {
      missNames.push_back(nameOf(className, "absent", i));
      missKeys.push_back(keyOf(missNames.back()));
    }
  }

  void addSpares(const TOVString& className) {
    for (std::size_t i = 0; i < kSpares; ++i) {
      const TOVSmrPtr<ITovaInstanceName> name = nameOf(className, "spare", i);
      spares.emplace_back(new TestInstance(manager(), className, name));
      spareKeys.push_back(keyOf(name));
      spareShared.push_back(shared(spares.back()));
    }
  }

  TestProvider provider;
  ClassTree classes;
  TOVString enumerated;  // the class whose enumeration covers every object
  std::vector<Shared> objects;
  Baseline baseline;
  std::vector<TOVSmrPtr<ITovaInstanceName>> hitNames;
  std::vector<std::string> hitKeys;  // the key texts the hits are cached under
  std::vector<TOVSmrPtr<ITovaInstanceName>> missNames;
  std::vector<std::string> missKeys;
  std::vector<TOVSmrPtr<TestInstance>> spares;
  std::vector<std::string> spareKeys;
  std::vector<Shared> spareShared;
};

struct FlatCache : Cache {
  explicit FlatCache(std::size_t count) {
    const TOVString className = "KEST_Disk";
    enumerated = className;
    manager().registerClass(classes.make(className));
    objects.reserve(count);
    baseline.reserve(count);
    hitNames.reserve(count);
    hitKeys.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
      hitNames.push_back(add(className, "disk", i));
      hitKeys.push_back(keyOf(hitNames.back()));
    }
    addMisses(className);
    addSpares(className);
  }
};

struct TreeCache : Cache {
  explicit TreeCache(std::size_t count) {
    const std::vector<TOVString> levels{"KEST_Level0", "KEST_Level1", "KEST_Level2", "KEST_Level3"};
    // Each level's objects have keys of their own.
    const std::vector<const char*> prefixes{"top", "mid", "low", "leaf"};
    const std::size_t perLevel = count / levels.size();
    enumerated = levels[0];
    TOVSmrPtr<kest::pf::Class> above;
    for (const TOVString& level : levels) {
      const TOVSmrPtr<kest::pf::Class> cls = classes.make(level);
      manager().registerClass(cls);
      if (above) classes.link(above, cls);
      above = cls;
    }
    objects.reserve(count);
    baseline.reserve(count);
    for (std::size_t l = 0; l < levels.size(); ++l) {
      for (std::size_t i = 0; i < perLevel; ++i) add(levels[l], prefixes[l], i);
    }
    hitNames.reserve(perLevel);
    hitKeys.reserve(perLevel);
    for (std::size_t i = 0; i < perLevel; ++i) {
      hitNames.push_back(nameOf(levels[0], prefixes[1], i));
      hitKeys.push_back(keyOf(nameOf(levels[1], prefixes[1], i)));
    }
    addMisses(levels[0]);
    addSpares(levels[3]);
  }
};

// Built on first use and kept (deliberately never freed) for the whole run.
template <typename Layout>
Layout& cacheOf(const benchmark::State& state) {
  static std::map<std::size_t, Layout*> caches;
  const auto count = static_cast<std::size_t>(state.range(0));
  Layout*& cache = caches[count];
  if (cache == nullptr) {
    cache = new Layout(count);
    // Every hit name must hit and every miss name must miss.
    const TOVSmrPtr<ITovaObject> hit = cache->manager().getInstance(cache->hitNames[0]);
    if (!hit || cache->baseline.count(cache->hitKeys[0]) != 1 ||
        cache->manager().getInstance(cache->missNames[0])) {
      std::abort();
    }
  }
  return *cache;
}

// --- lookups ----------------------------------------------------------------

template <typename Layout>
void BM_GetInstanceHit(benchmark::State& state) {
  Layout& cache = cacheOf<Layout>(state);
  const std::size_t count = cache.hitNames.size();
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(cache.manager().getInstance(cache.hitNames[i]).get());
    i = (i + kStride) % count;
  }
}

template <typename Layout>
void BM_GetInstanceHit_Baseline(benchmark::State& state) {
  Layout& cache = cacheOf<Layout>(state);
  const std::size_t count = cache.hitKeys.size();
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(cache.baseline.find(cache.hitKeys[i])->second.get());
    i = (i + kStride) % count;
  }
}

template <typename Layout>
void BM_GetInstanceMiss(benchmark::State& state) {
  Layout& cache = cacheOf<Layout>(state);
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(cache.manager().getInstance(cache.missNames[i]).get());
    i = (i + 1) % kMisses;
  }
}

template <typename Layout>
void BM_GetInstanceMiss_Baseline(benchmark::State& state) {
  Layout& cache = cacheOf<Layout>(state);
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(cache.baseline.find(cache.missKeys[i]) == cache.baseline.end());
    i = (i + 1) % kMisses;
  }
}

// --- enumerations -----------------------------------------------------------

template <typename Layout>
void BM_EnumerateInstances(benchmark::State& state) {
  Layout& cache = cacheOf<Layout>(state);
  for (auto _ : state) {
    VectorCollector<TOVSmrPtr<ITovaObject>> results;
    cache.manager().enumerateInstances(results, cache.enumerated);
    benchmark::DoNotOptimize(results.rep.data());
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(cache.objects.size()));
}

template <typename Layout>
void BM_EnumerateInstancesList(benchmark::State& state) {
  Layout& cache = cacheOf<Layout>(state);
  for (auto _ : state) {
    const InstanceManager::ObjectList list = cache.manager().enumerateInstances(cache.enumerated);
    benchmark::DoNotOptimize(list.get());
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(cache.objects.size()));
}

template <typename Layout>
void BM_EnumerateInstances_Baseline(benchmark::State& state) {
  Layout& cache = cacheOf<Layout>(state);
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

template <typename Layout>
void BM_RegisterInstance(benchmark::State& state) {
  Layout& cache = cacheOf<Layout>(state);
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

template <typename Layout>
void BM_RegisterInstance_Baseline(benchmark::State& state) {
  Layout& cache = cacheOf<Layout>(state);
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

template <typename Layout>
void BM_DeregisterInstance(benchmark::State& state) {
  Layout& cache = cacheOf<Layout>(state);
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

template <typename Layout>
void BM_DeregisterInstance_Baseline(benchmark::State& state) {
  Layout& cache = cacheOf<Layout>(state);
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

// Sizes: 1,000, 100,000 and 1,000,000 cached objects; short runs.
void sizes(benchmark::internal::Benchmark* b) {
  b->Arg(1000)->Arg(100000)->Arg(1000000)->MinTime(0.1);
}
void enumerationSizes(benchmark::internal::Benchmark* b) {
  sizes(b);
  b->Unit(benchmark::kMicrosecond);
}

// Each operation next to its baseline, first for the flat layout, then for
// the tree.
#define KEST_CACHE_BENCHMARKS(Layout)                                                  \
  BENCHMARK_TEMPLATE(BM_GetInstanceHit, Layout)->Apply(sizes);                         \
  BENCHMARK_TEMPLATE(BM_GetInstanceHit_Baseline, Layout)->Apply(sizes);                \
  BENCHMARK_TEMPLATE(BM_GetInstanceMiss, Layout)->Apply(sizes);                        \
  BENCHMARK_TEMPLATE(BM_GetInstanceMiss_Baseline, Layout)->Apply(sizes);               \
  BENCHMARK_TEMPLATE(BM_EnumerateInstances, Layout)->Apply(enumerationSizes);          \
  BENCHMARK_TEMPLATE(BM_EnumerateInstancesList, Layout)->Apply(enumerationSizes);      \
  BENCHMARK_TEMPLATE(BM_EnumerateInstances_Baseline, Layout)->Apply(enumerationSizes); \
  BENCHMARK_TEMPLATE(BM_RegisterInstance, Layout)->Apply(sizes);                       \
  BENCHMARK_TEMPLATE(BM_RegisterInstance_Baseline, Layout)->Apply(sizes);              \
  BENCHMARK_TEMPLATE(BM_DeregisterInstance, Layout)->Apply(sizes);                     \
  BENCHMARK_TEMPLATE(BM_DeregisterInstance_Baseline, Layout)->Apply(sizes)

KEST_CACHE_BENCHMARKS(FlatCache);
KEST_CACHE_BENCHMARKS(TreeCache);

}  // namespace
