// Costs of keeping a provider's cache fresh with indications switched on: the
// indications one registration raises (native only, and with one SMI-S
// subscription as well), a whole refresh cycle of 100,000 objects of which
// 1% have disappeared, and modification indications to 1 and 100 observers.
//
// Run: build/bench/refresh_bench (well under a minute).
#include <benchmark/benchmark.h>

#include <atomic>
#include <cstddef>
#include <memory>
#include <vector>

#include "framework/Class.h"
#include "framework/Instance.h"
#include "framework/InstanceManager.h"
#include "host/Indication.h"
#include "host/InstanceName.h"
#include "host/List.h"
#include "host/Property.h"
#include "host/Provider.h"
#include "host/ProviderContext.h"
#include "host/SmartPointer.h"
#include "host/String.h"
#include "host/Value.h"
#include "support/TestInstances.h"
#include "support/TestProvider.h"

namespace {

using kest::pf::InstanceManager;
using kest::testing::ClassTree;
using kest::testing::TestInstance;
using kest::testing::TestProvider;

constexpr const char* kDisk = "KEST_Disk";

TOVSmrPtr<ITovaInstanceName> nameOf(std::size_t i) {
  TOVPropertyList keys(new TOVValSlist<TOVSmrPtr<ITovaProperty>>());
  keys->append(makeTOVSmrPtr<CTovaProperty>(
      "DeviceID", makeTOVSmrPtr<CTovaValue>(TOVString("disk") + TOVString::fromUInt(i)), false));
  return makeTOVSmrPtr<CTovaInstanceName>(kDisk, keys, TOVSmrPtr<ITovaNameSpacePath>());
}

// Counts deliveries and keeps nothing.
class CountingContext : public kest::IProviderContext {
 public:
  void deliverIndication(const TOVString& /*nameSpace*/,
                         const TOVSmrPtr<ITovaObject>& /*indication*/) override {
    ++indications;
  }
  void deliverLegacyIndication(const TOVSmrPtr<ITovaIndication>& /*indication*/) override {
    ++legacyIndications;
  }
  std::size_t indications = 0;
  std::size_t legacyIndications = 0;
};

class CountingSubscriber : public ITovaSubscriber {
 public:
  void notify(const TOVSmrPtr<ITovaIndication>& /*indication*/) override { ++notified; }
  std::size_t notified = 0;
};

// A disk that reports its own modifications.
class ChangingDisk : public TestInstance {
 public:
  using TestInstance::TestInstance;
  bool changed(const TOVValSlist<TOVString>& items) {
    return _fireIndications(ITovaIndication::IndicationChange, items, TOVSmrPtr<ITovaObject>());
  }
};

// A provider with one declared class, indications on, deliveries counted.
struct Setup {
  explicit Setup(bool subscribed) : host(provider), context(new CountingContext()) {
    provider.getInstanceManager().registerClass(classes.make(kDisk));
    host.setProviderContext(context);
    host.enableIndications();
    if (subscribed) host.activateSubscription(nullptr, nullptr, nullptr);
  }
  TestProvider provider;
  kest::IProvider& host;
  TOVSmrPtr<CountingContext> context;
  ClassTree classes;
};

// One registration and one deregistration per iteration, two indications of
// each kind in play.
void BM_RegisterAndDeregisterWithIndications(benchmark::State& state) {
  Setup setup(state.range(0) != 0);
  InstanceManager& manager = setup.provider.getInstanceManager();
  const TOVSmrPtr<TestInstance> disk(new TestInstance(manager, kDisk, nameOf(0)));
  for (auto _ : state) {
    manager.registerInstance(disk);
    benchmark::DoNotOptimize(manager.deregisterInstance(disk));
  }
  state.counters["indications/iter"] = benchmark::Counter(
      static_cast<double>(setup.context->indications + setup.context->legacyIndications) /
      static_cast<double>(state.iterations()));
  state.SetLabel(state.range(0) != 0 ? "native + SMI-S" : "native only");
}
BENCHMARK(BM_RegisterAndDeregisterWithIndications)->Arg(0)->Arg(1);

// A refresh of 100,000 cached objects where 1% have disappeared: stamp the
// survivors, purge the class (the stale objects leave with their deletion
// indications). Re-adding the lost objects is not timed.
void BM_RefreshCycle100kOnePercentGone(benchmark::State& state) {
  constexpr std::size_t kCount = 100000;
  Setup setup(false);
  InstanceManager& manager = setup.provider.getInstanceManager();
  std::vector<TOVSmrPtr<TestInstance>> disks;
  disks.reserve(kCount);
  for (std::size_t i = 0; i < kCount; ++i) {
    disks.emplace_back(new TestInstance(manager, kDisk, nameOf(i)));
    manager.registerInstance(disks.back());
  }
  long stamp = 1;
  std::size_t deletions = 0;
  for (auto _ : state) {
    ++stamp;
    for (std::size_t i = 0; i < kCount; ++i) {
      if (i % 100 != 0) disks[i]->setUpdateStamp(stamp);
    }
    const std::size_t before = setup.context->legacyIndications;
    manager.purge(kDisk, stamp);
    state.PauseTiming();
    deletions += setup.context->legacyIndications - before;
    for (std::size_t i = 0; i < kCount; i += 100) manager.registerInstance(disks[i]);
    state.ResumeTiming();
  }
  state.counters["deletions/cycle"] =
      static_cast<double>(deletions) / static_cast<double>(state.iterations());
}
BENCHMARK(BM_RefreshCycle100kOnePercentGone)->Unit(benchmark::kMillisecond)->Iterations(10);

// One modification raised on a cached object with range(0) observers.
void BM_FireIndicationsToObservers(benchmark::State& state) {
  Setup setup(false);
  InstanceManager& manager = setup.provider.getInstanceManager();
  const TOVSmrPtr<ChangingDisk> disk(new ChangingDisk(manager, kDisk, nameOf(0)));
  manager.registerInstance(disk);
  std::vector<TOVSmrPtr<CountingSubscriber>> subscribers;
  for (long i = 0; i < state.range(0); ++i) {
    subscribers.emplace_back(new CountingSubscriber());
    disk->registerObserver(subscribers.back(), ITovaIndication::IndicationChange,
                           TOVSmrPtr<ITovaSubscriptionFilter>());
  }
  TOVValSlist<TOVString> items;
  items.append(TOVString("OperationalStatus"));
  for (auto _ : state) benchmark::DoNotOptimize(disk->changed(items));
  std::size_t notified = 0;
  for (const TOVSmrPtr<CountingSubscriber>& subscriber : subscribers) {
    notified += subscriber->notified;
  }
  state.counters["notifications/iter"] =
      static_cast<double>(notified) / static_cast<double>(state.iterations());
}
BENCHMARK(BM_FireIndicationsToObservers)->Arg(1)->Arg(100);

}  // namespace
