// Basic costs of the host types that sit under every request: map lookups at
// a million entries, list append and iteration, smart-pointer copies against
// std::shared_ptr, and instance-name text and equality.
#include <benchmark/benchmark.h>

#include <memory>
#include <vector>

#include "host/Host.h"

namespace {

constexpr int kMillion = 1000000;

// Keys shaped like the cache's: the canonical text of an instance name.
TOVString keyOf(int i) {
  return TOVString("kest_process.handle=\"") + TOVString::fromInt(i) + "\"";
}

const std::vector<TOVString>& keys() {
  static const std::vector<TOVString> all = [] {
    std::vector<TOVString> result;
    result.reserve(kMillion);
    for (int i = 0; i < kMillion; ++i) result.push_back(keyOf(i));
    return result;
  }();
  return all;
}

TOVValMap<TOVString, int>& millionMap() {
  static TOVValMap<TOVString, int>* map = [] {
    auto* m = new TOVValMap<TOVString, int>(hashKeyTOVString, 150);
    for (int i = 0; i < kMillion; ++i) m->insert(keys()[i], i);
    return m;
  }();
  return *map;
}

void BM_MapLookupHit_1M(benchmark::State& state) {
  auto& map = millionMap();
  const auto& k = keys();
  std::size_t i = 0;
  int out = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(map.find(k[i], out));
    i = (i + 7919) % kMillion;
  }
  state.counters["buckets"] = static_cast<double>(map.buckets());
}
BENCHMARK(BM_MapLookupHit_1M);

void BM_MapLookupMiss_1M(benchmark::State& state) {
  auto& map = millionMap();
  std::vector<TOVString> misses;
  for (int i = 0; i < 1024; ++i) misses.push_back(keyOf(kMillion + i));
  std::size_t i = 0;
  int out = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(map.find(misses[i], out));
    i = (i + 1) & 1023;
  }
}
BENCHMARK(BM_MapLookupMiss_1M);

void BM_MapInsert_1M(benchmark::State& state) {
  const auto& k = keys();
  for (auto _ : state) {
    TOVValMap<TOVString, int> map(hashKeyTOVString, 150);
    for (int i = 0; i < kMillion; ++i) map.insert(k[i], i);
    benchmark::DoNotOptimize(map.entries());
  }
  state.SetItemsProcessed(state.iterations() * kMillion);
}
BENCHMARK(BM_MapInsert_1M)->Unit(benchmark::kMillisecond);

void BM_ListAppend_1M(benchmark::State& state) {
  TOVSmrPtr<int> item(new int(1));
  for (auto _ : state) {
    TOVValSlist<TOVSmrPtr<int>> list;
    for (int i = 0; i < kMillion; ++i) list.append(item);
    benchmark::DoNotOptimize(list.entries());
  }
  state.SetItemsProcessed(state.iterations() * kMillion);
}
BENCHMARK(BM_ListAppend_1M)->Unit(benchmark::kMillisecond);

void BM_ListIterate_1M(benchmark::State& state) {
  TOVValSlist<TOVSmrPtr<int>> list;
  for (int i = 0; i < kMillion; ++i) list.append(TOVSmrPtr<int>(new int(i)));
  for (auto _ : state) {
    long long sum = 0;
    for (const auto& item : list) sum += *item;
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * kMillion);
}
BENCHMARK(BM_ListIterate_1M)->Unit(benchmark::kMillisecond);

void BM_SmrPtrCopy(benchmark::State& state) {
  TOVSmrPtr<int> source(new int(1));
  for (auto _ : state) {
    TOVSmrPtr<int> copy = source;
    benchmark::DoNotOptimize(copy.get());
  }
}
BENCHMARK(BM_SmrPtrCopy);

void BM_StdSharedPtrCopy(benchmark::State& state) {
  auto source = std::make_shared<int>(1);
  for (auto _ : state) {
    std::shared_ptr<int> copy = source;
    benchmark::DoNotOptimize(copy.get());
  }
}
BENCHMARK(BM_StdSharedPtrCopy);

TOVSmrPtr<ITovaInstanceName> processName(int handle, const char* className) {
  TOVPropertyList keys(new TOVValSlist<TOVSmrPtr<ITovaProperty>>);
  keys->append(TOVSmrPtr<ITovaProperty>(new CTovaProperty(
      "Handle", TOVSmrPtr<ITovaValue>(new CTovaValue(TOVString::fromInt(handle))), false)));
  keys->append(TOVSmrPtr<ITovaProperty>(new CTovaProperty(
      "CreationClassName", TOVSmrPtr<ITovaValue>(new CTovaValue(className)), false)));
  return TOVSmrPtr<ITovaInstanceName>(new CTovaInstanceName(className, keys, nullptr));
}

void BM_InstanceNameBuild(benchmark::State& state) {
  int i = 0;
  for (auto _ : state) benchmark::DoNotOptimize(processName(++i, "KEST_Process").get());
}
BENCHMARK(BM_InstanceNameBuild);

void BM_InstanceNameToString(benchmark::State& state) {
  auto name = processName(42, "KEST_Process");
  for (auto _ : state) benchmark::DoNotOptimize(name->toString().length());
}
BENCHMARK(BM_InstanceNameToString);

void BM_InstanceNameEquality(benchmark::State& state) {
  auto a = processName(42, "KEST_Process");
  auto b = processName(42, "kest_process");
  for (auto _ : state) benchmark::DoNotOptimize(*a == *b);
}
BENCHMARK(BM_InstanceNameEquality);

}  // namespace
