// A framework provider that fails where the environment variable
// KEST_TEST_PROVIDER_FAULT says, for the tests of provider loading:
//   create-null         kest_provider_create returns null;
//   create-throws       kest_provider_create throws;
//   startup-throws      startup() throws;
//   postStartup-throws  postStartup() throws;
//   shutdown-throws     shutdown() throws;
//   duplicate           it declares Test_Foo (which the test provider serves);
//   no-classes          it declares no class;
// anything else: it declares Test_Faulty and works. Lifecycle calls are logged
// (source "FaultyProvider", severity 3). Built without kest_provider_destroy
// when KEST_TEST_NO_DESTROY is defined, without kest_provider_declare_classes
// when KEST_TEST_NO_DECLARE is defined.

#include <cstdlib>
#include <stdexcept>
#include <string>

#include "framework/Class.h"
#include "framework/Exception.h"
#include "framework/InstanceManager.h"
#include "framework/Provider.h"
#include "host/Log.h"
#include "framework/ProviderEntryPoints.h"

namespace {

std::string fault() {
  const char* value = std::getenv("KEST_TEST_PROVIDER_FAULT");
  return value != nullptr ? value : "";
}

void logStep(const char* step) {
  TOVLog::log("FaultyProvider", step, TOVLog::SEVERITY_INFO, 2, 0, TOVLog::CIMOMLOG);
}

class FaultyProvider : public kest::pf::Provider {
 public:
  void startTransaction(const TOVSmrPtr<ITovaTransaction>&) override {}
  void endTransaction(const TOVSmrPtr<ITovaTransaction>&) override {}
  TOVString getVersion() override { return "1.0"; }
  TOVString getProviderName() const override { return "Faulty"; }
  void logAuditInfo(TOVSmrPtr<ITovaValue>, TOVSmrPtr<ITovaTransaction>,
                    TOVSmrPtr<ITovaInstanceName>, TOVString) override {}

  void startup() override {
    logStep("startup");
    if (fault() == "startup-throws") {
      throw kest::pf::Exception("startup", "the managed device is missing", 1);
    }
    if (fault() == "no-classes") return;
    const char* name = fault() == "duplicate" ? "TEST_FOO" : "Test_Faulty";
    getInstanceManager().registerClass(
        TOVSmrPtr<kest::pf::Class>(new kest::pf::Class(name, nullptr, nullptr, false, nullptr)));
  }
  void postStartup() override {
    logStep("postStartup");
    if (fault() == "postStartup-throws") throw std::runtime_error("late failure");
  }
  void shutdown() override {
    logStep("shutdown");
    if (fault() == "shutdown-throws") throw std::runtime_error("cannot let go");
  }
};

}  // namespace

extern "C" __attribute__((visibility("default"))) kest::IProvider* kest_provider_create() {
  if (fault() == "create-null") return nullptr;
  if (fault() == "create-throws") throw std::runtime_error("no licence for the faulty provider");
  return new FaultyProvider();
}

#ifndef KEST_TEST_NO_DESTROY
extern "C" __attribute__((visibility("default"))) void kest_provider_destroy(
    kest::IProvider* provider) {
  delete provider;
}
#endif

#ifndef KEST_TEST_NO_DECLARE
KEST_PROVIDER_DECLARE_CLASSES_ENTRY_POINT(FaultyProvider)
#endif
