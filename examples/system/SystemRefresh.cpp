#include "examples/system/SystemRefresh.h"

#include <utility>

#include "examples/system/SystemClasses.h"
#include "examples/system/SystemSchema.h"
#include "framework/InstanceManager.h"
#include "host/Value.h"

namespace kest::examples {

namespace {

// The objects of one class: each record refreshes its cached object when
// sameObject says the object is still the one the record describes, and
// otherwise makes a new one (retiring the old). onRefreshed(object,
// previous) sees every refreshed object; created receives the new ones.
template <typename Index, typename Records, typename KeyOf, typename SameObject, typename Make,
          typename OnRefreshed, typename Retire>
void refreshClass(kest::pf::InstanceManager& cache, Index& index, const Records& records,
                  long stamp, KeyOf keyOf, SameObject sameObject, Make make,
                  OnRefreshed onRefreshed, Retire retire,
                  std::vector<TOVSmrPtr<kest::pf::Instance>>& created) {
  for (const auto& record : records) {
    const auto key = keyOf(record);
    const auto it = index.find(key);
    if (it != index.end()) {
      if (sameObject(*it->second->record(), record)) {
        const auto previous = it->second->refresh(record);
        it->second->setUpdateStamp(stamp);
        onRefreshed(*it->second, *previous);
        continue;
      }
      retire(it->second);
      index.erase(it);
    }
    const auto object = make(record);
    object->setUpdateStamp(stamp);
    cache.registerInstance(object);
    index.emplace(key, object);
    created.push_back(object);
  }
}

// Drops the index entries of objects the cycle did not stamp (purged).
template <typename Index>
void sweep(Index& index, long stamp) {
  for (auto it = index.begin(); it != index.end();) {
    if (it->second->getUpdateStamp() != stamp) {
      it = index.erase(it);
    } else {
      ++it;
    }
  }
}

bool sameSystem(const TOVString& a, const TOVString& b) { return a == b; }

}  // namespace

TOVString SystemSnapshot::GetClassName() const { return "kest::examples::SystemSnapshot"; }

SystemRefresh::SystemRefresh(kest::pf::SynchronizedProvider& provider, const SystemReader& reader)
    : kest::pf::InstanceFactory(provider.getProviderName()), _provider(provider), _reader(reader) {}

SystemRefresh::~SystemRefresh() = default;

TOVSmrPtr<kest::pf::Context> SystemRefresh::poll() {
  return TOVSmrPtr<kest::pf::Context>(new SystemSnapshot(_reader.read()));
}

void SystemRefresh::update(TOVSmrPtr<kest::pf::Context>& context) {
  const SystemReading& reading = dynamic_cast<const SystemSnapshot&>(*context).reading;
  const kest::pf::SynchronizedProvider::UpdateGuard guard(_provider);
  long stamp = static_cast<long>(context->getCurrentTimeStamp());
  if (stamp == _lastStamp) stamp = _lastStamp + 1;
  _lastStamp = stamp;

  refreshComputerSystem(reading.computerSystem, stamp);
  std::vector<Created> created;
  refreshProcesses(reading.processes, stamp, created);
  refreshFileSystems(reading.fileSystems, stamp, created);
  refreshNetworkInterfaces(reading.networkInterfaces, stamp, created);
  for (const Created& entry : created) {
    link(entry.linkClass, kGroupComponentRole, _system, kPartComponentRole, entry.element, stamp);
  }
  linkParents(reading.processes, stamp);
  purge(stamp);
}

void SystemRefresh::refreshComputerSystem(const ComputerSystemRecord& record, long stamp) {
  if (_system && _system->record()->name == record.name) {
    _system->refresh(record);
    _system->setUpdateStamp(stamp);
    return;
  }
  // A new host name is a new system; the old one is purged with its links.
  _system = TOVSmrPtr<ComputerSystemInstance>(
      new ComputerSystemInstance(_provider.getInstanceManager(), record));
  _system->setUpdateStamp(stamp);
  _provider.getInstanceManager().registerInstance(_system);
}

void SystemRefresh::refreshProcesses(const std::vector<ProcessRecord>& records, long stamp,
                                     std::vector<Created>& created) {
  std::vector<TOVSmrPtr<kest::pf::Instance>> made;
  _moved.clear();
  refreshClass(
      _provider.getInstanceManager(), _processes, records, stamp,
      [](const ProcessRecord& r) { return r.processId; },
      [](const ProcessRecord& cached, const ProcessRecord& r) {
        return sameSystem(cached.systemName, r.systemName) && cached.startTicks == r.startTicks;
      },
      [&](const ProcessRecord& r) {
        return TOVSmrPtr<ProcessInstance>(
            new ProcessInstance(_provider.getInstanceManager(), r, _reader));
      },
      [&](ProcessInstance& process, const ProcessRecord& previous) {
        const TOVuint32 parent = process.record()->parentProcessId;
        if (parent != previous.parentProcessId) {
          _moved.emplace_back(previous.processId, previous.parentProcessId);
        }
      },
      [&](const TOVSmrPtr<kest::pf::Instance>& old) { retire(old); }, made);
  for (const TOVSmrPtr<kest::pf::Instance>& element : made) {
    created.push_back(Created{element, kSystemProcessClass});
  }
}

void SystemRefresh::refreshFileSystems(const std::vector<FileSystemRecord>& records, long stamp,
                                       std::vector<Created>& created) {
  std::vector<TOVSmrPtr<kest::pf::Instance>> made;
  refreshClass(
      _provider.getInstanceManager(), _fileSystems, records, stamp,
      [](const FileSystemRecord& r) { return r.name.toStdString(); },
      [](const FileSystemRecord& cached, const FileSystemRecord& r) {
        return sameSystem(cached.systemName, r.systemName);
      },
      [&](const FileSystemRecord& r) {
        return TOVSmrPtr<FileSystemInstance>(
            new FileSystemInstance(_provider.getInstanceManager(), r, _reader));
      },
      [](FileSystemInstance&, const FileSystemRecord&) {},
      [&](const TOVSmrPtr<kest::pf::Instance>& old) { retire(old); }, made);
  for (const TOVSmrPtr<kest::pf::Instance>& element : made) {
    created.push_back(Created{element, kSystemFileSystemClass});
  }
}

void SystemRefresh::refreshNetworkInterfaces(const std::vector<NetworkInterfaceRecord>& records,
                                             long stamp, std::vector<Created>& created) {
  std::vector<TOVSmrPtr<kest::pf::Instance>> made;
  refreshClass(
      _provider.getInstanceManager(), _networkInterfaces, records, stamp,
      [](const NetworkInterfaceRecord& r) { return r.name.toStdString(); },
      [](const NetworkInterfaceRecord& cached, const NetworkInterfaceRecord& r) {
        return sameSystem(cached.systemName, r.systemName);
      },
      [&](const NetworkInterfaceRecord& r) {
        return TOVSmrPtr<NetworkInterfaceInstance>(
            new NetworkInterfaceInstance(_provider.getInstanceManager(), r));
      },
      [](NetworkInterfaceInstance&, const NetworkInterfaceRecord&) {},
      [&](const TOVSmrPtr<kest::pf::Instance>& old) { retire(old); }, made);
  for (const TOVSmrPtr<kest::pf::Instance>& element : made) {
    created.push_back(Created{element, kSystemNetworkInterfaceClass});
  }
}

void SystemRefresh::linkParents(const std::vector<ProcessRecord>& records, long stamp) {
  kest::pf::InstanceManager& cache = _provider.getInstanceManager();
  // A process that moved to another parent leaves its old one first. The old
  // link is looked up by the two names it joins.
  for (const auto& [child, oldParent] : _moved) {
    const TOVSmrPtr<ProcessInstance>& process = _processes.at(child);
    ProcessRecord parentName;
    parentName.systemName = process->record()->systemName;
    parentName.creationClassName = kProcessClass;
    parentName.name = TOVString::fromUInt(oldParent);
    const TOVSmrPtr<kest::pf::Instance> old = cache.getAssociation(
        kParentProcessClass, kParentRole, kChildRole,
        processTable().instanceName(kProcessClass, parentName), process->getInstanceName());
    if (old) old->destroy(TOVString(""));
  }
  for (const ProcessRecord& record : records) {
    const TOVSmrPtr<ProcessInstance>& process = _processes.at(record.processId);
    if (process->hasParentLink() || record.parentProcessId == record.processId) continue;
    const auto parent = _processes.find(record.parentProcessId);
    if (parent == _processes.end()) continue;
    link(kParentProcessClass, kParentRole, parent->second, kChildRole, process, stamp);
  }
}

void SystemRefresh::purge(long stamp) {
  kest::pf::InstanceManager& cache = _provider.getInstanceManager();
  cache.purge(kComputerSystemClass, stamp);
  cache.purge(kProcessClass, stamp);
  cache.purge(kFileSystemClass, stamp);
  cache.purge(kNetworkInterfaceClass, stamp);
  sweep(_processes, stamp);
  sweep(_fileSystems, stamp);
  sweep(_networkInterfaces, stamp);
}

void SystemRefresh::link(const char* className, const char* leftRole,
                         const TOVSmrPtr<kest::pf::Instance>& left, const char* rightRole,
                         const TOVSmrPtr<kest::pf::Instance>& right, long stamp) {
  kest::pf::InstanceManager& cache = _provider.getInstanceManager();
  const TOVSmrPtr<SystemAssociation> association(new SystemAssociation(
      cache, className, leftRole, left->getInstanceName(), rightRole, right->getInstanceName()));
  association->setUpdateStamp(stamp);
  cache.registerInstance(association);
  TOVSmrPtr<ITovaValue> leftEnd(new CTovaValue(left->getInstanceName()));
  TOVSmrPtr<ITovaValue> rightEnd(new CTovaValue(right->getInstanceName()));
  cache.associate(leftEnd, rightEnd, association, className, true, true);
}

void SystemRefresh::retire(const TOVSmrPtr<kest::pf::Instance>& instance) {
  _provider.getInstanceManager().deregisterInstance(instance);
  instance->destroy();
}

}  // namespace kest::examples
