// The provider of the server benchmark: Bench_Item objects (as many as the
// environment variable KEST_BENCH_INSTANCES says, 10000 by default), each
// with 11 string and integer properties, and one Bench_Hub object linked to
// the first 1000 items by Bench_Link associations.

#include <cstdlib>
#include <string>

#include "framework/Class.h"
#include "framework/InstanceManager.h"
#include "framework/Provider.h"
#include "host/Log.h"
#include "host/Value.h"
#include "framework/ProviderEntryPoints.h"
#include "support/ObjectModelBuilders.h"
#include "support/TestInstances.h"

namespace {

using kest::pf::Class;
using kest::testing::Key;
using kest::testing::make;
using kest::testing::makeName;
using kest::testing::TestInstance;

constexpr std::size_t kLinks = 1000;

std::size_t instanceCount() {
  const char* text = std::getenv("KEST_BENCH_INSTANCES");
  return text != nullptr ? std::strtoul(text, nullptr, 10) : 10000;
}

class BenchProvider : public kest::pf::Provider {
 public:
  void startTransaction(const TOVSmrPtr<ITovaTransaction>&) override {}
  void endTransaction(const TOVSmrPtr<ITovaTransaction>&) override {}
  TOVString getVersion() override { return "1.0"; }
  TOVString getProviderName() const override { return "Bench"; }
  void logAuditInfo(TOVSmrPtr<ITovaValue>, TOVSmrPtr<ITovaTransaction>,
                    TOVSmrPtr<ITovaInstanceName>, TOVString) override {}
  void postStartup() override {}
  void shutdown() override {}

  void startup() override {
    kest::pf::InstanceManager& manager = getInstanceManager();
    for (const char* name : {"Bench_Item", "Bench_Hub"}) {
      manager.registerClass(TOVSmrPtr<Class>(new Class(name, nullptr, nullptr, false, nullptr)));
    }
    manager.registerClass(
        TOVSmrPtr<Class>(new Class("Bench_Link", nullptr, nullptr, true, nullptr)));
    manager.addAssociation("Bench_Item", "Bench_Link");
    manager.addAssociation("Bench_Hub", "Bench_Link");

    const TOVSmrPtr<ITovaInstanceName> hubName = makeName("Bench_Hub", "Name", make("hub"));
    const TOVSmrPtr<TestInstance> hub(new TestInstance(manager, "Bench_Hub", hubName));
    hub->setProperty("Name", make("hub"));
    manager.registerInstance(hub);

    const std::size_t count = instanceCount();
    for (std::size_t i = 0; i < count; ++i) {
      const TOVString id = TOVString::fromUInt(i);
      const TOVSmrPtr<ITovaInstanceName> name =
          makeName("Bench_Item",
                   {Key{"Id", make(static_cast<TOVuint32>(i))}, Key{"Name", make("item-" + id)}});
      const TOVSmrPtr<TestInstance> item(new TestInstance(manager, "Bench_Item", name));
      item->setProperty("Id", make(static_cast<TOVuint32>(i)));
      item->setProperty("Name", make("item-" + id));
      item->setProperty("Caption", make("Benchmark item number " + id));
      item->setProperty("Description",
                        make(TOVString("A synthetic object served by the benchmark")));
      item->setProperty("Vendor", make(TOVString("Kest Storage Systems")));
      item->setProperty("Model", make(TOVString("KS-4000")));
      item->setProperty("SerialNumber", make("SN-" + TOVString::fromUInt(1000000 + i)));
      item->setProperty("Capacity", make(static_cast<unsigned long long>(i) * 4096ull));
      item->setProperty("BlockSize", make(TOVuint32(512)));
      item->setProperty("Temperature", make(static_cast<TOVsint16>(i % 80)));
      item->setProperty("Status", make(TOVuint16(2)));
      manager.registerInstance(item);
      if (i < kLinks) {
        const TOVSmrPtr<ITovaInstanceName> linkName = makeName(
            "Bench_Link", {Key{"Antecedent", make(hubName)}, Key{"Dependent", make(name)}});
        const TOVSmrPtr<TestInstance> link(new TestInstance(manager, "Bench_Link", linkName));
        link->setProperty("Antecedent", make(hubName));
        link->setProperty("Dependent", make(name));
        manager.registerInstance(link);
      }
    }
    TOVLog::log("BenchProvider", "serving " + TOVString::fromUInt(count) + " items",
                TOVLog::SEVERITY_INFO, 2, 0, TOVLog::CIMOMLOG);
  }
};

}  // namespace

KEST_PROVIDER_ENTRY_POINTS(BenchProvider)
