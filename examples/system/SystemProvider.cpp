#include "examples/system/SystemProvider.h"

#include <chrono>
#include <thread>
#include <utility>

#include "examples/system/SystemClasses.h"
#include "framework/InstanceManager.h"
#include "host/Config.h"
#include "host/Log.h"

namespace kest::examples {

namespace {

constexpr const char* kProviderName = "SystemProvider";

}  // namespace

SystemProvider::SystemProvider() : SystemProvider(SystemProviderOptions()) {}

SystemProvider::SystemProvider(SystemProviderOptions options)
    : _reader(std::move(options.reader)),
      _pollInterval(options.pollInterval),
      _polling(options.polling) {
  declareClasses();
  _refresh = std::make_unique<SystemRefresh>(*this, _reader);
}

SystemProvider::~SystemProvider() {
  shutdown();
  for (const TOVSmrPtr<kest::pf::Class>& cls : _classes) {
    cls->setBaseClass(TOVSmrPtr<kest::pf::Class>());
    cls->getChildClasses()->clear();
  }
}

void SystemProvider::declareClasses() {
  kest::pf::InstanceManager& cache = getInstanceManager();
  const auto declare = [&](const char* className, bool isAssociation) {
    const TOVSmrPtr<kest::pf::Class> cls(
        new kest::pf::Class(className, nullptr, nullptr, isAssociation, nullptr));
    cache.registerClass(cls);
    _classes.push_back(cls);
    return cls;
  };
  const auto link = [](const TOVSmrPtr<kest::pf::Class>& base,
                       const TOVSmrPtr<kest::pf::Class>& child) {
    child->setBaseClass(base);
    base->setChildClass(child);
  };

  declare(kComputerSystemClass, false);
  const TOVSmrPtr<kest::pf::Class> element = declare(kLogicalElementClass, false);
  link(element, declare(kProcessClass, false));
  link(element, declare(kFileSystemClass, false));
  link(element, declare(kNetworkInterfaceClass, false));
  const TOVSmrPtr<kest::pf::Class> component = declare(kSystemComponentClass, true);
  link(component, declare(kSystemProcessClass, true));
  link(component, declare(kSystemFileSystemClass, true));
  link(component, declare(kSystemNetworkInterfaceClass, true));
  declare(kParentProcessClass, true);

  // An object that leaves the cache takes the associations of these classes
  // that name it with it.
  for (const char* association :
       {kSystemProcessClass, kSystemFileSystemClass, kSystemNetworkInterfaceClass}) {
    cache.addAssociation(kComputerSystemClass, association);
  }
  cache.addAssociation(kProcessClass, kSystemProcessClass);
  cache.addAssociation(kProcessClass, kParentProcessClass);
  cache.addAssociation(kFileSystemClass, kSystemFileSystemClass);
  cache.addAssociation(kNetworkInterfaceClass, kSystemNetworkInterfaceClass);
}

void SystemProvider::startTransaction(const TOVSmrPtr<ITovaTransaction>& /*tovaTransaction*/) {}
void SystemProvider::endTransaction(const TOVSmrPtr<ITovaTransaction>& /*tovaTransaction*/) {}

void SystemProvider::startup() {
  refreshNow();
  if (!_pollInterval) _pollInterval = configuredPollInterval();
  if (!_polling || _pollManager) return;
  _pollManager = std::make_unique<kest::pf::PollManager>(*_refresh, kProviderName, *_pollInterval);
  _pollManager->start();
}

void SystemProvider::postStartup() {}

void SystemProvider::shutdown() {
  if (!_pollManager) return;
  // A stop request that comes before the thread has begun polling is lost
  // (the poll loop clears it when it starts), so repeat it until the thread
  // has ended.
  while (_pollManager->isRunning()) {
    _pollManager->stopPolling();
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  _pollManager->join();
  _pollManager.reset();
}

TOVString SystemProvider::getVersion() { return "1.0.0"; }

TOVString SystemProvider::getProviderName() const { return kProviderName; }

void SystemProvider::logAuditInfo(TOVSmrPtr<ITovaValue> returnValue,
                                  TOVSmrPtr<ITovaTransaction> /*tovaTransaction*/,
                                  TOVSmrPtr<ITovaInstanceName> instanceName, TOVString methodName) {
  TOVLog::log(kProviderName,
              "Method " + methodName + " of " + instanceName->toString() + " returned " +
                  (returnValue ? returnValue->toString() : TOVString("nothing")),
              TOVLog::SEVERITY_DEBUG, 2, 0, TOVLog::CIMOMLOG);
}

void SystemProvider::refreshNow() {
  TOVSmrPtr<kest::pf::Context> context = _refresh->poll();
  _refresh->update(context);
}

bool SystemProvider::isPolling() const { return _pollManager && _pollManager->isRunning(); }

unsigned int SystemProvider::pollInterval() const {
  return _pollInterval ? *_pollInterval : configuredPollInterval();
}

unsigned int SystemProvider::configuredPollInterval() {
  const KESTConfigManager* config = KESTConfigManager::getInstance();
  if (config == nullptr) return kDefaultPollInterval;
  TOVString text;
  if (!config->getString("KEST", "SystemPollInterval", text)) return kDefaultPollInterval;
  TOVsint32 value = 0;
  if (config->getSint32("KEST", "SystemPollInterval", value) && value > 0) {
    return static_cast<unsigned int>(value);
  }
  TOVLog::log(kProviderName,
              "SystemPollInterval \"" + text +
                  "\" is not a positive number of milliseconds; polling every " +
                  TOVString::fromUInt(kDefaultPollInterval),
              TOVLog::SEVERITY_WARNING, 2, 0, TOVLog::CIMOMLOG);
  return kDefaultPollInterval;
}

}  // namespace kest::examples
