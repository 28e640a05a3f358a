#pragma once

#include <memory>
#include <mutex>
#include <vector>

#include "examples/system/PropertyTable.h"
#include "examples/system/SystemReader.h"
#include "examples/system/SystemRecords.h"
#include "framework/Instance.h"
#include "framework/InstanceManager.h"

namespace kest::examples {

// The cached objects of the system provider.
//
// Threads: the provider changes these objects (refresh, associate,
// disAssociate, destroy) only while it holds its lock exclusively, and
// requests run under the lock shared. Property reads may also come after a
// request has returned (the host writes the objects it was handed): they read
// an immutable record that refresh() replaces under a small lock of the
// object's own, so every read sees one whole record.

// LinkedInstance: an object that keeps the association objects linking it,
// as the instance manager's associate and disAssociate announce them, and
// answers associator requests from that list instead of a scan of every
// cached association.
class LinkedInstance : public kest::pf::Instance {
 public:
  using kest::pf::Instance::Instance;

  void associate(const TOVString& assocClassName,
                 TOVSmrPtr<kest::pf::Instance> associationInstance) override;
  void disAssociate(const TOVString& assocClassName,
                    TOVSmrPtr<kest::pf::Instance> associationInstance) override;
  // Takes over (handled = true): the linking associations of assocClassName
  // or a class below it (all of them without assocClassName); the framework
  // then follows their far ends with the request's role and result filters.
  ObjectList associators(const TOVString& assocClassName, const TOVString& resultClassName,
                         bool& handled, kest::pf::Context* context) override;
  // Drops the links when the object has left the cache.
  void destroy() override;
  using kest::pf::Instance::destroy;

  // The linking associations, in the order they were announced.
  const std::vector<TOVSmrPtr<kest::pf::Instance>>& links() const { return _links; }

 private:
  std::vector<TOVSmrPtr<kest::pf::Instance>> _links;
};

// RecordInstance: an object of one class whose properties are the columns
// of its table over its current record; its instance name is made from the
// key columns at construction and never changes.
template <typename Record>
class RecordInstance : public LinkedInstance {
 public:
  RecordInstance(kest::pf::InstanceManager& manager, const TOVString& className,
                 const PropertyTable<Record>& table, Record record);

  unsigned long getNumberOfProperties(bool all) const override;
  TOVSmrPtr<ITovaProperty> getPropertyAt(unsigned long index, bool all) const override;
  TOVSmrPtr<ITovaProperty> getPropertyByName(const TOVString& name, bool all) const override;

  // The current record (shared, immutable).
  std::shared_ptr<const Record> record() const;

  // Replaces the record with next and returns the one it replaced. When a
  // property changed, indications are on and someone listens (an observer
  // of this object, or active subscriptions), the change is reported with
  // _fireIndications(IndicationChange, the changed property names, a
  // detached object holding the previous record).
  std::shared_ptr<const Record> refresh(Record next);

 protected:
  const PropertyTable<Record>& table() const { return _table; }

 private:
  bool someoneListens();

  const PropertyTable<Record>& _table;
  mutable std::mutex _recordMutex;
  std::shared_ptr<const Record> _record;  // guarded by _recordMutex
};

class ComputerSystemInstance : public RecordInstance<ComputerSystemRecord> {
 public:
  ComputerSystemInstance(kest::pf::InstanceManager& manager, ComputerSystemRecord record);
};

// A process. Methods (see kest-system.mof):
//   GetOpenFileCount(OUT uint32 Count): 0 and Count, or 1 when /proc/<pid>/fd
//     cannot be read;
//   GetStatusField(IN string Field, OUT string Value): 0 and Value, or 1
//     when the status file or the field is missing.
// A missing Field is the framework's missing-parameter error (code 17664),
// and so is a NULL one. Another method name is Exception(where
// "kest::examples::ProcessInstance::executeMethod", "<method> is not a method
// of KEST_Process", 7).
// The object notes whether a parent-process association names it as the
// child (hasParentLink).
class ProcessInstance : public RecordInstance<ProcessRecord> {
 public:
  ProcessInstance(kest::pf::InstanceManager& manager, ProcessRecord record,
                  const SystemReader& reader);

  TOVSmrPtr<ITovaValue> executeMethod(const TOVString& method, ParameterList in, ParameterList& out,
                                      TOVSmrPtr<ITovaTransaction>& transaction) override;
  using RecordInstance<ProcessRecord>::executeMethod;
  void associate(const TOVString& assocClassName,
                 TOVSmrPtr<kest::pf::Instance> associationInstance) override;
  void disAssociate(const TOVString& assocClassName,
                    TOVSmrPtr<kest::pf::Instance> associationInstance) override;

  void destroy() override;
  using RecordInstance<ProcessRecord>::destroy;

  bool hasParentLink() const { return !_parentLink.isNull(); }

 private:
  const SystemReader& _reader;
  // The association that names this process as the child, if any.
  TOVSmrPtr<kest::pf::Instance> _parentLink;
};

// A mounted file system. Methods (see kest-system.mof):
//   GetUsage(OUT uint64 TotalBytes, UsedBytes, AvailableBytes, OUT real64
//     PercentUsed): 0 and the figures of statvfs now, or 1 when they cannot
//     be read;
//   HasFreeSpace(IN uint64 Bytes, IN uint8 ReservePercent (default 0), OUT
//     boolean Sufficient, OUT uint64 AvailableBytes): 0 with Sufficient true
//     when Bytes fit in the available space while ReservePercent of the size
//     stays free, or 1 when the figures cannot be read.
// A missing Bytes is the framework's missing-parameter error (code 17664);
// and so is a NULL one; a Bytes that is not an unsigned integer, and a
// ReservePercent that is not one in 0..100, are Exception(where
// "kest::examples::FileSystemInstance::executeMethod", "Invalide input
// parameter <name>", 17664). Another method name is Exception(where as
// above, "<method> is not a method of KEST_FileSystem", 7).
class FileSystemInstance : public RecordInstance<FileSystemRecord> {
 public:
  FileSystemInstance(kest::pf::InstanceManager& manager, FileSystemRecord record,
                     const SystemReader& reader);

  TOVSmrPtr<ITovaValue> executeMethod(const TOVString& method, ParameterList in, ParameterList& out,
                                      TOVSmrPtr<ITovaTransaction>& transaction) override;
  using RecordInstance<FileSystemRecord>::executeMethod;

 private:
  const SystemReader& _reader;
};

class NetworkInterfaceInstance : public RecordInstance<NetworkInterfaceRecord> {
 public:
  NetworkInterfaceInstance(kest::pf::InstanceManager& manager, NetworkInterfaceRecord record);
};

// SystemAssociation: an association object joining two cached objects: two
// reference properties, the roles, which are also its keys (left first).
// destroy("") (the framework's call when an end leaves the cache or the
// association is purged) deregisters it and tells the ends that are still
// cached (disAssociate).
class SystemAssociation : public kest::pf::Instance {
 public:
  SystemAssociation(kest::pf::InstanceManager& manager, const TOVString& className,
                    const TOVString& leftRole, const TOVSmrPtr<ITovaInstanceName>& left,
                    const TOVString& rightRole, const TOVSmrPtr<ITovaInstanceName>& right);

  unsigned long getNumberOfProperties(bool all) const override;
  TOVSmrPtr<ITovaProperty> getPropertyAt(unsigned long index, bool all) const override;
  TOVSmrPtr<ITovaProperty> getPropertyByName(const TOVString& name, bool all) const override;
  void destroy(const TOVString& reason) override;
  using kest::pf::Instance::destroy;

  // The name the property of role refers to; null for another role.
  TOVSmrPtr<ITovaInstanceName> end(const TOVString& role) const;

 private:
  TOVSmrPtr<ITovaProperty> _ends[2];
};

}  // namespace kest::examples
