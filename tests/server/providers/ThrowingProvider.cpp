// A provider that is not built on the framework and fails every request: a
// direct kest::IProvider that declares its classes through
// kest_provider_declare_classes. The class a request addresses picks the
// error it throws (Test_Slow alone succeeds, slowly):
//   Test_ErrNotSupported  kest::pf::Exception code 7
//   Test_ErrParameter     kest::pf::Exception code 17664
//   Test_ErrClass         kest::pf::Exception code 17665
//   Test_ErrNotFound      kest::pf::Exception code 17666
//   Test_ErrFailed        kest::pf::Exception code 17667
//   Test_ErrHost          TovaBaseException code 7
//   Test_ErrFatal         CI_ExFatal code 51458
//   Test_ErrStd           std::runtime_error
//   Test_ErrUnknown       an int
//   Test_Midway           EnumerateInstances adds 2000 instances first, then
//                         throws std::runtime_error
//   Test_MidwaySmall      the same after 2 instances
//   Test_Slow             EnumerateInstances adds 3 instances and returns;
//                         a test may hold it first (SlowEnumerationHold.h).
//                         Associators returns two references, to
//                         Test_Bar.Tag="b1" (which the test provider serves)
//                         and to Test_Bar.Tag="none"
//   Test_Stuck            EnumerateInstances never returns (for stopping a
//                         server whose provider hangs, in another process)
// With KEST_TEST_HANG_IN_SHUTDOWN set in its environment, shutdown() never
// returns either.
// Every other class throws an int too.

#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <iosfwd>
#include <mutex>
#include <stdexcept>

#include "framework/Exception.h"
#include "host/Exception.h"
#include "host/Fatal.h"
#include "host/Object.h"
#include "host/Provider.h"
#include "host/ProviderAbi.h"
#include "host/Value.h"
#include "support/ObjectModelBuilders.h"
#include "tests/server/providers/SlowEnumerationHold.h"

namespace {

using kest::testing::make;
using kest::testing::makeName;

const char* const kClasses[] = {
    "Test_ErrNotSupported", "Test_ErrParameter", "Test_ErrClass",    "Test_ErrNotFound",
    "Test_ErrFailed",       "Test_ErrHost",      "Test_ErrFatal",    "Test_ErrStd",
    "Test_ErrUnknown",      "Test_Midway",       "Test_MidwaySmall", "Test_Slow",
    "Test_Stuck",
};

bool is(const TOVString& className, const char* name) { return className.compareTo(name, 0) == 0; }

[[noreturn]] void fail(const TOVString& className) {
  if (is(className, "Test_ErrNotSupported")) {
    throw kest::pf::Exception("test", "not supported here", 7);
  }
  if (is(className, "Test_ErrParameter"))
    throw kest::pf::Exception("test", "Missing parameter X", 17664);
  if (is(className, "Test_ErrClass"))
    throw kest::pf::Exception("test", "Undeclared class Y", 17665);
  if (is(className, "Test_ErrNotFound"))
    throw kest::pf::Exception("test", "object not cached", 17666);
  if (is(className, "Test_ErrFailed")) throw kest::pf::Exception("test", "wrong value type", 17667);
  if (is(className, "Test_ErrHost"))
    throw TovaBaseException("Host", "test", "who", "host failure", 7);
  if (is(className, "Test_ErrFatal")) {
    CI_ExFatal("! \"provider assertion\"", 51458, __FILE__, __LINE__).throwThis();
  }
  if (is(className, "Test_ErrStd") || is(className, "Test_Midway") ||
      is(className, "Test_MidwaySmall")) {
    throw std::runtime_error("standard failure");
  }
  throw 42;
}

// The hold on enumerations of Test_Slow (see SlowEnumerationHold.h).
class SlowEnumerationHold {
 public:
  static SlowEnumerationHold& instance() {
    static SlowEnumerationHold hold;
    return hold;
  }

  void hold() {
    const std::lock_guard<std::mutex> lock(_mutex);
    _holding = true;
    _started = 0;
    _awaited = 0;
  }
  bool awaitStart() {
    std::unique_lock<std::mutex> lock(_mutex);
    if (!_changed.wait_for(lock, std::chrono::seconds(30),
                           [this] { return _started > _awaited; })) {
      return false;
    }
    ++_awaited;
    return true;
  }
  void release() {
    const std::lock_guard<std::mutex> lock(_mutex);
    _holding = false;
    _changed.notify_all();
  }
  // Called by an enumeration of Test_Slow: waits while held.
  void pass() {
    std::unique_lock<std::mutex> lock(_mutex);
    if (!_holding) return;
    ++_started;
    _changed.notify_all();
    _changed.wait(lock, [this] { return !_holding; });
  }

 private:
  std::mutex _mutex;
  std::condition_variable _changed;
  bool _holding = false;  // guarded by _mutex
  int _started = 0;       // enumerations held since hold(); guarded by _mutex
  int _awaited = 0;       // of those, the ones awaitStart() has returned for; guarded by _mutex
};

// Never returns: what a hung provider call looks like to the server.
[[noreturn]] void hang() {
  static std::mutex mutex;
  static std::condition_variable never;
  std::unique_lock<std::mutex> lock(mutex);
  while (true) never.wait(lock);
}

TOVString classOf(const TOVSmrPtr<ITovaInstanceName>& name) {
  return name ? name->getClassname() : TOVString();
}

class ThrowingProvider : public kest::IProvider {
 public:
  void setProperty(const TOVString&, const TOVSmrPtr<ITovaInstanceName>& name, const TOVString&,
                   const TOVSmrPtr<ITovaValue>&, const TOVSmrPtr<ITovaTransaction>&) override {
    fail(classOf(name));
  }
  void enumerateInstanceNames(kest::ICollector<TOVSmrPtr<ITovaInstanceName>>&, const TOVString&,
                              const TOVString& className,
                              const TOVSmrPtr<ITovaTransaction>&) override {
    fail(className);
  }
  void referenceNames(kest::ICollector<TOVSmrPtr<ITovaInstanceName>>&, const TOVString&,
                      const TOVSmrPtr<ITovaInstanceName>& name, const TOVSmrPtr<ITovaTransaction>&,
                      const TOVString&, const TOVString&) override {
    fail(classOf(name));
  }
  void associatorNames(kest::ICollector<TOVSmrPtr<ITovaInstanceName>>&, const TOVString&,
                       const TOVSmrPtr<ITovaInstanceName>& name, const TOVSmrPtr<ITovaTransaction>&,
                       const TOVString&, const TOVString&, const TOVString&,
                       const TOVString&) override {
    fail(classOf(name));
  }
  void enumerateClassNames(kest::ICollector<TOVString>&, const TOVString&) override { fail(""); }
  void enumerateClasses(kest::ICollector<TOVSmrPtr<ITovaClass>>&, const TOVString&) override {
    fail("");
  }
  TOVSmrPtr<ITovaClass> getClass(const TOVString&, const TOVString& className) override {
    fail(className);
  }
  void startTransaction(const TOVSmrPtr<ITovaTransaction>&) override {}
  void endTransaction(const TOVSmrPtr<ITovaTransaction>&) override {}
  TOVSmrPtr<ITovaObject> getInstance(TOVString, TOVSmrPtr<ITovaInstanceName> name,
                                     TOVSmrPtr<ITovaTransaction>) override {
    fail(classOf(name));
  }
  void getInstance(TOVSmrPtr<ITovaObject>&, const TOVString&, TOVSmrPtr<ITovaInstanceName> name,
                   TOVSmrPtr<ITovaTransaction>, const PropertyList&) override {
    fail(classOf(name));
  }
  ObjectList enumerateInstances(TOVString, TOVString className,
                                TOVSmrPtr<ITovaTransaction>) override {
    fail(className);
  }
  void enumerateInstances(kest::ICollector<TOVSmrPtr<ITovaObject>>& results, const TOVString&,
                          const TOVString& className, const TOVSmrPtr<ITovaTransaction>&,
                          const PropertyList&) override {
    if (is(className, "Test_Stuck")) hang();
    const bool slow = is(className, "Test_Slow");
    if (slow) SlowEnumerationHold::instance().pass();
    const int count = is(className, "Test_Midway")        ? 2000
                      : is(className, "Test_MidwaySmall") ? 2
                      : slow                              ? 3
                                                          : 0;
    for (int i = 0; i < count; ++i) {
      TOVSmrPtr<CTovaObject> object(new CTovaObject(className));
      object->setInstanceName(makeName(className.c_str(), "Id", make(TOVuint32(i))));
      object->setProperty("Id", make(TOVuint32(i)));
      object->setProperty("Padding", make("some text to make the instance longer"));
      results.add(CTovaObject::iPtr(object));
    }
    if (!slow) fail(className);
  }
  void references(kest::ICollector<TOVSmrPtr<ITovaObject>>&, const TOVString&,
                  const TOVSmrPtr<ITovaInstanceName>& name, const TOVSmrPtr<ITovaTransaction>&,
                  const TOVString&, const TOVString&, const PropertyList&) override {
    fail(classOf(name));
  }
  ObjectList references(TOVString, TOVSmrPtr<ITovaInstanceName> name, TOVSmrPtr<ITovaTransaction>,
                        TOVString, TOVString) override {
    fail(classOf(name));
  }
  ValueList associators(TOVString, TOVSmrPtr<ITovaInstanceName> name, TOVSmrPtr<ITovaTransaction>,
                        TOVString, TOVString, TOVString, TOVString) override {
    fail(classOf(name));
  }
  void associators(kest::ICollector<TOVSmrPtr<ITovaValue>>& results, const TOVString&,
                   const TOVSmrPtr<ITovaInstanceName>& name, const TOVSmrPtr<ITovaTransaction>&,
                   const TOVString&, const TOVString&, const TOVString&, const TOVString&,
                   const PropertyList&) override {
    if (!is(classOf(name), "Test_Slow")) fail(classOf(name));
    for (const char* tag : {"b1", "none"})
      results.add(make(makeName("Test_Bar", "Tag", make(tag))));
  }
  TOVSmrPtr<ITovaInstanceName> createInstance(TOVString, TOVSmrPtr<ITovaObject> instance,
                                              TOVSmrPtr<ITovaTransaction>) override {
    fail(instance ? instance->getClassName() : TOVString());
  }
  void deleteInstance(const TOVString&, const TOVSmrPtr<ITovaInstanceName>& name,
                      const TOVSmrPtr<ITovaTransaction>&) override {
    fail(classOf(name));
  }
  void modifyInstance(const TOVString&, const TOVSmrPtr<ITovaObject>& instance, const PropertyList&,
                      const TOVSmrPtr<ITovaTransaction>&) override {
    fail(instance ? instance->getClassName() : TOVString());
  }
  TOVSmrPtr<ITovaValue> executeMethod(TOVString, TOVSmrPtr<ITovaInstanceName> name, TOVString,
                                      ParameterList, ParameterList,
                                      TOVSmrPtr<ITovaTransaction>) override {
    fail(classOf(name));
  }
  TOVSmrPtr<ITovaValue> registerObserver(TOVSmrPtr<ITovaInstanceName> name,
                                         TOVSmrPtr<ITovaSubscriber>,
                                         ITovaIndication::IndicationType,
                                         TOVSmrPtr<ITovaSubscriptionFilter>,
                                         TOVSmrPtr<ITovaTransaction>) override {
    fail(classOf(name));
  }
  TOVSmrPtr<ITovaValue> deregisterObserver(TOVSmrPtr<ITovaInstanceName> name,
                                           TOVSmrPtr<ITovaSubscriber>,
                                           ITovaIndication::IndicationType,
                                           TOVSmrPtr<ITovaSubscriptionFilter>,
                                           TOVSmrPtr<ITovaTransaction>) override {
    fail(classOf(name));
  }
  void processHTTPRequest(TOVGenericHTTPIStream&, TOVGenericHTTPOStream&, TOVHTTPRequest&, bool&,
                          TOVSmrPtr<ITovaTransaction>) override {}
  void startup() override {}
  void postStartup() override {}
  void postStartupIsComplete() override {}
  void shutdown() override {
    if (std::getenv("KEST_TEST_HANG_IN_SHUTDOWN") != nullptr) hang();
  }
  TOVString getVersion() override { return "1.0"; }
  void initialize(TOVSmrPtr<ITovaRepository>) override {}
  void setWorkArea(const TOVString&) override {}
  TOVString getProviderName() const override { return "Throwing"; }
  void debugDump(unsigned int, std::ostream&) override {}
  TOVSmrPtr<ITovaSubscriber> getStaticSubscriber() override { return TOVSmrPtr<ITovaSubscriber>(); }
  void setStaticSubscriber(TOVSmrPtr<ITovaSubscriber>) override {}
  int authorizeSubscription(const TOVSmrPtr<ITovaInstanceName>&, const ClassList&,
                            const TOVSmrPtr<IQueryStatement>&) override {
    return 0;
  }
  int activateSubscription(const TOVSmrPtr<ITovaInstanceName>&, const ClassList&,
                           const TOVSmrPtr<IQueryStatement>&) override {
    return 0;
  }
  int deactivateSubscription(const TOVSmrPtr<ITovaInstanceName>&, const ClassList&,
                             const TOVSmrPtr<IQueryStatement>&) override {
    return 0;
  }
  int enableIndications() override { return 0; }
  int disableIndications() override { return 0; }
  void setProviderContext(const TOVSmrPtr<kest::IProviderContext>& context) override {
    _context = context;
  }
  TOVSmrPtr<kest::IProviderContext> getProviderContext() const override { return _context; }

 private:
  TOVSmrPtr<kest::IProviderContext> _context;
};

}  // namespace

KEST_PROVIDER_OBJECT_ENTRY_POINTS(ThrowingProvider)

extern "C" __attribute__((visibility("default"))) void kest_test_hold_slow_enumerations() {
  SlowEnumerationHold::instance().hold();
}

extern "C" __attribute__((visibility("default"))) bool kest_test_await_slow_enumeration() {
  return SlowEnumerationHold::instance().awaitStart();
}

extern "C" __attribute__((visibility("default"))) void kest_test_release_slow_enumerations() {
  SlowEnumerationHold::instance().release();
}

KEST_PROVIDER_EXPORT void kest_provider_declare_classes(kest::IProvider*,
                                                        KestDeclareClassFunction declare,
                                                        void* context) {
  for (const char* name : kClasses) declare(context, name, nullptr, 0);
}
