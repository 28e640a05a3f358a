// Cost of one refresh cycle of the system provider (read the system, bring
// the cache in line, purge), in time and in heap allocations per cycle:
//   - on the machine the benchmark runs on;
//   - on a generated fixture machine with 10,000 processes (a tree: each
//     process's parent is an earlier one), split into the reading (poll) and
//     the cache update as well.
// Cycles after the first find everything already cached, as a running
// provider does; the fixture's processes change their CPU times between
// cycles so that every process object takes a new record.
//
// Allocations are counted by this program's replacement of the global
// operator new; "allocs" and "alloc_bytes" are per cycle.
//
// Run: build/bench/system_bench (a minute or two; the fixture is written
// under the temporary directory and removed afterwards).
#include <benchmark/benchmark.h>

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <new>
#include <string>

#include "examples/system/SystemProvider.h"
#include "examples/system/SystemRefresh.h"
#include "support/SystemFixture.h"

namespace {

std::atomic<std::size_t> allocations{0};
std::atomic<std::size_t> allocatedBytes{0};

void* allocate(std::size_t size) {
  allocations.fetch_add(1, std::memory_order_relaxed);
  allocatedBytes.fetch_add(size, std::memory_order_relaxed);
  if (void* p = std::malloc(size == 0 ? 1 : size)) return p;
  throw std::bad_alloc();
}

void* allocateAligned(std::size_t size, std::align_val_t alignment) {
  allocations.fetch_add(1, std::memory_order_relaxed);
  allocatedBytes.fetch_add(size, std::memory_order_relaxed);
  const std::size_t align = static_cast<std::size_t>(alignment);
  const std::size_t rounded = (size + align - 1) / align * align;
  if (void* p = std::aligned_alloc(align, rounded == 0 ? align : rounded)) return p;
  throw std::bad_alloc();
}

}  // namespace

void* operator new(std::size_t size) { return allocate(size); }
void* operator new[](std::size_t size) { return allocate(size); }
void* operator new(std::size_t size, std::align_val_t alignment) {
  return allocateAligned(size, alignment);
}
void* operator new[](std::size_t size, std::align_val_t alignment) {
  return allocateAligned(size, alignment);
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }
void operator delete(void* p, std::align_val_t) noexcept { std::free(p); }
void operator delete[](void* p, std::align_val_t) noexcept { std::free(p); }
void operator delete(void* p, std::size_t, std::align_val_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t, std::align_val_t) noexcept { std::free(p); }

namespace {

using kest::examples::SystemProvider;
using kest::examples::SystemProviderOptions;
using kest::testing::FixtureProcess;
using kest::testing::SystemFixture;

constexpr unsigned kFixtureProcesses = 10000;

// Measures what the loop body does between the two calls of each iteration.
class AllocationCounter {
 public:
  void start() {
    _count = allocations.load(std::memory_order_relaxed);
    _bytes = allocatedBytes.load(std::memory_order_relaxed);
  }
  void stop() {
    _totalCount += allocations.load(std::memory_order_relaxed) - _count;
    _totalBytes += allocatedBytes.load(std::memory_order_relaxed) - _bytes;
  }
  void report(benchmark::State& state) const {
    state.counters["allocs"] =
        benchmark::Counter(static_cast<double>(_totalCount), benchmark::Counter::kAvgIterations);
    state.counters["alloc_bytes"] =
        benchmark::Counter(static_cast<double>(_totalBytes), benchmark::Counter::kAvgIterations);
  }

 private:
  std::size_t _count = 0, _bytes = 0, _totalCount = 0, _totalBytes = 0;
};

// The fixture machine: SystemFixture's small machine plus processes
// 1000 .. 1000 + count - 1.
class LargeMachine {
 public:
  explicit LargeMachine(unsigned count) : _count(count) {
    _fixture.populate();
    for (unsigned i = 0; i < _count; ++i) _fixture.addProcess(process(i, 0), 0);
  }

  // Rewrites the stat file of every generated process with cpu times
  // advanced by generation.
  void advance(unsigned long long generation) const {
    for (unsigned i = 0; i < _count; ++i) _fixture.writeStat(process(i, generation));
  }

  SystemProviderOptions options() const { return _fixture.providerOptions(); }

 private:
  static FixtureProcess process(unsigned i, unsigned long long generation) {
    FixtureProcess p;
    p.pid = 1000 + i;
    p.comm = "worker" + std::to_string(i % 50);
    p.ppid = i == 0 ? 1 : 1000 + i / 2;
    p.utime = 10 + generation;
    p.stime = 5 + generation;
    p.starttime = 1000 + i;
    p.vsize = 10000000 + i;
    p.rss = 500 + i % 100;
    p.cmdline = std::string("/usr/bin/worker\0--id\0", 21) + std::to_string(i) + '\0';
    return p;
  }

  SystemFixture _fixture;
  unsigned _count;
};

void BM_RefreshCycleLiveMachine(benchmark::State& state) {
  SystemProviderOptions options;
  options.polling = false;
  SystemProvider provider(options);
  provider.startup();
  AllocationCounter counter;
  for (auto _ : state) {
    counter.start();
    provider.refreshNow();
    counter.stop();
  }
  counter.report(state);
  state.counters["processes"] = static_cast<double>(provider.reader().read().processes.size());
}
BENCHMARK(BM_RefreshCycleLiveMachine)->Unit(benchmark::kMillisecond);

// Which part of the cycle a fixture benchmark times.
enum class Part { Whole, Poll, Update };

void refreshFixture(benchmark::State& state, Part part) {
  // Written once, shared by the fixture benchmarks.
  static const LargeMachine machine(kFixtureProcesses);
  SystemProvider provider(machine.options());
  provider.startup();
  kest::examples::SystemRefresh& refresh = provider.refresh();
  AllocationCounter counter;
  static unsigned long long generation = 0;
  TOVSmrPtr<kest::pf::Context> snapshot;
  for (auto _ : state) {
    state.PauseTiming();
    machine.advance(++generation);
    if (part == Part::Update) snapshot = refresh.poll();
    state.ResumeTiming();
    counter.start();
    switch (part) {
      case Part::Whole:
        provider.refreshNow();
        break;
      case Part::Poll:
        snapshot = refresh.poll();
        break;
      case Part::Update:
        refresh.update(snapshot);
        break;
    }
    counter.stop();
  }
  counter.report(state);
  state.counters["processes"] = kFixtureProcesses + 4;
}

void BM_RefreshCycleFixture10000(benchmark::State& state) { refreshFixture(state, Part::Whole); }
void BM_PollFixture10000(benchmark::State& state) { refreshFixture(state, Part::Poll); }
void BM_UpdateFixture10000(benchmark::State& state) { refreshFixture(state, Part::Update); }
BENCHMARK(BM_RefreshCycleFixture10000)->Unit(benchmark::kMillisecond)->Iterations(10);
BENCHMARK(BM_PollFixture10000)->Unit(benchmark::kMillisecond)->Iterations(10);
BENCHMARK(BM_UpdateFixture10000)->Unit(benchmark::kMillisecond)->Iterations(10);

}  // namespace
