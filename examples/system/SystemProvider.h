#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "examples/system/SystemReader.h"
#include "examples/system/SystemRefresh.h"
#include "framework/Class.h"
#include "framework/PollManager.h"
#include "framework/SynchronizedProvider.h"

namespace kest::examples {

// How a SystemProvider runs.
//   reader: where and how it reads the system (the live machine by default);
//   pollInterval: milliseconds between refreshes; unset: the configured
//     interval (configuredPollInterval());
//   polling: whether startup() starts the poll thread (tests refresh by hand
//     with refreshNow()).
struct SystemProviderOptions {
  SystemReaderOptions reader;
  std::optional<unsigned int> pollInterval;
  bool polling = true;
};

// SystemProvider: serves the machine it runs on: one KEST_ComputerSystem,
// its processes, mounted file systems and network interfaces (subclasses of
// the abstract KEST_LogicalElement), the associations KEST_SystemProcess,
// KEST_SystemFileSystem and KEST_SystemNetworkInterface (below the abstract
// KEST_SystemComponent) and KEST_ParentProcess, and the methods of
// kest-system.mof.
//
// Life: the constructor declares the classes (base and child classes linked
// both ways, association directories tied to the classes of their ends);
// startup() fills the cache with a first refresh on the calling thread and
// then starts the poll thread (a PollManager over a SystemRefresh);
// shutdown() stops and joins it. The destructor shuts down and unlinks the
// class tree. The cache is served by SynchronizedProvider, whose lock keeps
// the refresh apart from requests.
//
// Configuration: the key "SystemPollInterval" of section "KEST", read by
// startup(): the interval between refreshes in milliseconds, a positive
// integer; 5000 when it is missing; a value that is not a positive integer is
// ignored with a warning.
//
// Threads: requests from any thread; startup(), shutdown() and refreshNow()
// from the host's control thread.
class SystemProvider : public kest::pf::SynchronizedProvider {
 public:
  static constexpr unsigned int kDefaultPollInterval = 5000;

  // The live machine, the configured interval, polling on.
  SystemProvider();
  explicit SystemProvider(SystemProviderOptions options);
  ~SystemProvider() override;

  void startTransaction(const TOVSmrPtr<ITovaTransaction>& tovaTransaction) override;
  void endTransaction(const TOVSmrPtr<ITovaTransaction>& tovaTransaction) override;
  void startup() override;
  void postStartup() override;
  void shutdown() override;
  // "1.0.0".
  TOVString getVersion() override;
  // "SystemProvider".
  TOVString getProviderName() const override;
  // Logs "Method <method> of <instance name> returned <value>" (progress,
  // severity 4).
  void logAuditInfo(TOVSmrPtr<ITovaValue> returnValue, TOVSmrPtr<ITovaTransaction> tovaTransaction,
                    TOVSmrPtr<ITovaInstanceName> instanceName, TOVString methodName) override;

  // One refresh cycle (poll and update) on the calling thread.
  void refreshNow();
  // Whether the poll thread runs.
  bool isPolling() const;
  // The interval startup() uses (after the first startup(), the one in use).
  unsigned int pollInterval() const;

  const SystemReader& reader() const { return _reader; }
  const SystemRefresh& refresh() const { return *_refresh; }
  SystemRefresh& refresh() { return *_refresh; }

  // "SystemPollInterval" of section "KEST" (see above).
  static unsigned int configuredPollInterval();

 private:
  void declareClasses();

  SystemReader _reader;
  std::optional<unsigned int> _pollInterval;
  bool _polling;
  std::vector<TOVSmrPtr<kest::pf::Class>> _classes;
  std::unique_ptr<SystemRefresh> _refresh;
  std::unique_ptr<kest::pf::PollManager> _pollManager;
};

}  // namespace kest::examples
