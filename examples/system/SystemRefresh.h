#pragma once

#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "examples/system/SystemInstances.h"
#include "examples/system/SystemReader.h"
#include "examples/system/SystemRecords.h"
#include "framework/Context.h"
#include "framework/InstanceFactory.h"
#include "framework/SynchronizedProvider.h"

namespace kest::examples {

// SystemSnapshot: one reading of the system, stamped when it was taken.
class SystemSnapshot : public kest::pf::Context {
 public:
  explicit SystemSnapshot(SystemReading reading) : reading(std::move(reading)) {}
  // "kest::examples::SystemSnapshot".
  TOVString GetClassName() const override;

  SystemReading reading;
};

// SystemRefresh: the system provider's factory. poll() reads the system
// (without the provider's lock: reading /proc takes long); update() brings
// the cache in line with that reading while it holds the provider's
// UpdateGuard:
//   1. the computer system, then processes, file systems and network
//      interfaces: an object already cached (same key, same system, and for
//      a process the same start, so that a reused process id is a new
//      process) takes the new record (RecordInstance::refresh, which reports
//      changed properties) and the cycle's stamp; anything else is
//      registered as a new object with the stamp (a cached object it
//      replaces is deregistered first);
//   2. every new element is linked to the computer system (KEST_SystemProcess,
//      KEST_SystemFileSystem, KEST_SystemNetworkInterface); a process whose
//      parent id changed loses its old KEST_ParentProcess link (found with
//      getAssociation), and a process without a parent link gets one when its
//      parent is cached. Links are registered and announced to both ends
//      (associate);
//   3. each class is purged of what the cycle did not stamp: a purged object
//      takes its links with it (their destroy("") deregisters them).
// With indications on, registrations and deregistrations raise lifecycle
// indications and refreshed objects report their changes; the
// SynchronizedProvider delivers them once update() has released the lock.
//
// The cycle's stamp is the context's, or the previous cycle's plus one when
// the clock has not moved on since (stamps only need to differ).
//
// Threads: poll() and update() run on one thread at a time (the poll
// thread, or the provider's start-up before the poll thread starts).
class SystemRefresh : public kest::pf::InstanceFactory {
 public:
  // provider and reader must outlive the factory.
  SystemRefresh(kest::pf::SynchronizedProvider& provider, const SystemReader& reader);
  ~SystemRefresh() override;

  TOVSmrPtr<kest::pf::Context> poll() override;
  // context must be a SystemSnapshot (std::bad_cast otherwise).
  void update(TOVSmrPtr<kest::pf::Context>& context) override;

  // The stamp of the last update; 0 before the first.
  long lastStamp() const { return _lastStamp; }

 private:
  struct Created {
    TOVSmrPtr<kest::pf::Instance> element;
    const char* linkClass;
  };

  void refreshComputerSystem(const ComputerSystemRecord& record, long stamp);
  void refreshProcesses(const std::vector<ProcessRecord>& records, long stamp,
                        std::vector<Created>& created);
  void refreshFileSystems(const std::vector<FileSystemRecord>& records, long stamp,
                          std::vector<Created>& created);
  void refreshNetworkInterfaces(const std::vector<NetworkInterfaceRecord>& records, long stamp,
                                std::vector<Created>& created);
  void linkParents(const std::vector<ProcessRecord>& records, long stamp);
  void purge(long stamp);
  // Registers an association of className between left and right and
  // announces it to both.
  void link(const char* className, const char* leftRole, const TOVSmrPtr<kest::pf::Instance>& left,
            const char* rightRole, const TOVSmrPtr<kest::pf::Instance>& right, long stamp);
  // Takes a replaced object out of the cache.
  void retire(const TOVSmrPtr<kest::pf::Instance>& instance);

  kest::pf::SynchronizedProvider& _provider;
  const SystemReader& _reader;
  long _lastStamp = 0;
  // What the cache holds, by key; changed only by update().
  TOVSmrPtr<ComputerSystemInstance> _system;
  std::unordered_map<TOVuint32, TOVSmrPtr<ProcessInstance>> _processes;
  std::unordered_map<std::string, TOVSmrPtr<FileSystemInstance>> _fileSystems;
  std::unordered_map<std::string, TOVSmrPtr<NetworkInterfaceInstance>> _networkInterfaces;
  // Process ids whose parent id changed in this cycle, with the old one.
  std::vector<std::pair<TOVuint32, TOVuint32>> _moved;
};

}  // namespace kest::examples
