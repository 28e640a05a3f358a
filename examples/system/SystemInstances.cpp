#include "examples/system/SystemInstances.h"

#include <algorithm>
#include <utility>

#include "examples/system/SystemClasses.h"
#include "examples/system/SystemSchema.h"
#include "framework/Class.h"
#include "framework/Exception.h"
#include "framework/Helper.h"
#include "framework/MessageTable.h"
#include "framework/Provider.h"
#include "framework/Reference.h"
#include "host/ActualParameter.h"
#include "host/IndicationServices.h"

namespace kest::examples {

namespace {

using kest::pf::Helper;
using ParameterList = kest::pf::Instance::ParameterList;

bool sameName(const TOVString& a, const TOVString& b) { return a.compareTo(b, 0) == 0; }

TOVSmrPtr<ITovaValue> uint32Value(TOVuint32 value) {
  return TOVSmrPtr<ITovaValue>(new CTovaValue(value));
}

// Sets output parameter name: replaces a parameter of that name or appends
// one (the host hands in an empty list; a null one is created).
void setOutput(ParameterList& out, const TOVString& name, const TOVSmrPtr<ITovaValue>& value) {
  if (!out) out = ParameterList(new TOVValSlist<TOVSmrPtr<ITovaActualParameter>>());
  const TOVSmrPtr<ITovaActualParameter> parameter(new CTovaActualParameter(name, value));
  if (!Helper::updateParameter(parameter, name, out)) out->append(parameter);
}

// The value of the required parameter name: the framework's missing-parameter
// error when it is absent, or when it or its value is NULL.
TOVSmrPtr<ITovaValue> requiredValue(const TOVString& name, const ParameterList& in) {
  const TOVParameter parameter = Helper::getParameterByName(name, in);
  TOVSmrPtr<ITovaValue> value = parameter->getValue();
  if (!value || value->isNullValue()) Helper::NullStringParameterHandler(name, TOVString());
  return value;
}

[[noreturn]] void throwInvalid(const char* where, const TOVString& name) {
  throw kest::pf::Exception(
      where, kest::pf::MessageTable::E_PFPROVIDER_ERROR_INVALDE_PARAMETER + " " + name, 17664);
}

[[noreturn]] void throwUnknownMethod(const char* where, const TOVString& method,
                                     const char* className) {
  throw kest::pf::Exception(where, method + " is not a method of " + className, 7);
}

}  // namespace

// --- LinkedInstance ---------------------------------------------------------------

void LinkedInstance::associate(const TOVString& /*assocClassName*/,
                               TOVSmrPtr<kest::pf::Instance> associationInstance) {
  if (associationInstance) _links.push_back(std::move(associationInstance));
}

void LinkedInstance::disAssociate(const TOVString& /*assocClassName*/,
                                  TOVSmrPtr<kest::pf::Instance> associationInstance) {
  const auto it = std::find(_links.begin(), _links.end(), associationInstance);
  if (it != _links.end()) _links.erase(it);
}

kest::pf::Instance::ObjectList LinkedInstance::associators(const TOVString& assocClassName,
                                                           const TOVString& /*resultClassName*/,
                                                           bool& handled,
                                                           kest::pf::Context* /*context*/) {
  handled = true;
  ObjectList list(new TOVValSlist<TOVSmrPtr<ITovaObject>>());
  for (const TOVSmrPtr<kest::pf::Instance>& link : _links) {
    bool wanted = assocClassName.isNull();
    for (TOVSmrPtr<kest::pf::Class> cls = getInstanceManager().lookupClass(link->getClassName());
         !wanted && cls; cls = cls->getBaseClass()) {
      wanted = sameName(cls->getClassName(), assocClassName);
    }
    if (wanted) list->append(link);
  }
  return list;
}

void LinkedInstance::destroy() { _links.clear(); }

// --- RecordInstance ---------------------------------------------------------------

template <typename Record>
RecordInstance<Record>::RecordInstance(kest::pf::InstanceManager& manager,
                                       const TOVString& className,
                                       const PropertyTable<Record>& table, Record record)
    : LinkedInstance(manager),
      _table(table),
      _record(std::make_shared<const Record>(std::move(record))) {
  _className = className;
  setInstanceName(_table.instanceName(className, *_record));
}

template <typename Record>
std::shared_ptr<const Record> RecordInstance<Record>::record() const {
  const std::lock_guard<std::mutex> lock(_recordMutex);
  return _record;
}

template <typename Record>
unsigned long RecordInstance<Record>::getNumberOfProperties(bool /*all*/) const {
  return static_cast<unsigned long>(_table.size());
}

template <typename Record>
TOVSmrPtr<ITovaProperty> RecordInstance<Record>::getPropertyAt(unsigned long index,
                                                               bool /*all*/) const {
  if (index >= _table.size()) return TOVSmrPtr<ITovaProperty>();
  return _table.propertyAt(index, *record());
}

template <typename Record>
TOVSmrPtr<ITovaProperty> RecordInstance<Record>::getPropertyByName(const TOVString& name,
                                                                   bool /*all*/) const {
  const std::size_t index = _table.indexOf(name);
  if (index >= _table.size()) return TOVSmrPtr<ITovaProperty>();
  return _table.propertyAt(index, *record());
}

template <typename Record>
std::shared_ptr<const Record> RecordInstance<Record>::refresh(Record next) {
  std::shared_ptr<const Record> previous = record();
  if (!_table.differs(*previous, next)) return previous;
  {
    auto replacement = std::make_shared<const Record>(std::move(next));
    const std::lock_guard<std::mutex> lock(_recordMutex);
    _record = std::move(replacement);
  }
  if (someoneListens()) {
    const TOVSmrPtr<ITovaObject> before(
        new RecordInstance<Record>(getInstanceManager(), getClassName(), _table, *previous));
    _fireIndications(ITovaIndication::IndicationChange, _table.changedNames(*previous, *record()),
                     before);
  }
  return previous;
}

template <typename Record>
bool RecordInstance<Record>::someoneListens() {
  const kest::pf::Provider* provider = getInstanceManager().getProvider();
  if (provider == nullptr || !provider->getIndicationsEnabled()) return false;
  if (!_notificationSubscriptions.isEmpty()) return true;
  return provider->hasActiveSubscribers(kest::SMISIndicationFactory::CIM_INST_MODIFICATION,
                                        getSmartThis());
}

template class RecordInstance<ComputerSystemRecord>;
template class RecordInstance<ProcessRecord>;
template class RecordInstance<FileSystemRecord>;
template class RecordInstance<NetworkInterfaceRecord>;

// --- The classes ------------------------------------------------------------------

ComputerSystemInstance::ComputerSystemInstance(kest::pf::InstanceManager& manager,
                                               ComputerSystemRecord record)
    : RecordInstance(manager, kComputerSystemClass, computerSystemTable(), std::move(record)) {}

NetworkInterfaceInstance::NetworkInterfaceInstance(kest::pf::InstanceManager& manager,
                                                   NetworkInterfaceRecord record)
    : RecordInstance(manager, kNetworkInterfaceClass, networkInterfaceTable(), std::move(record)) {}

ProcessInstance::ProcessInstance(kest::pf::InstanceManager& manager, ProcessRecord record,
                                 const SystemReader& reader)
    : RecordInstance(manager, kProcessClass, processTable(), std::move(record)), _reader(reader) {}

TOVSmrPtr<ITovaValue> ProcessInstance::executeMethod(const TOVString& method, ParameterList in,
                                                     ParameterList& out,
                                                     TOVSmrPtr<ITovaTransaction>& /*transaction*/) {
  const TOVuint32 processId = record()->processId;
  if (sameName(method, "GetOpenFileCount")) {
    const std::optional<TOVuint32> count = _reader.openFileCount(processId);
    if (!count) return uint32Value(1);
    setOutput(out, "Count", uint32Value(*count));
    return uint32Value(0);
  }
  if (sameName(method, "GetStatusField")) {
    const TOVString field = requiredValue("Field", in)->getAsString();
    Helper::NullStringParameterHandler("Field", field);
    const std::optional<TOVString> value = _reader.statusField(processId, field);
    if (!value) return uint32Value(1);
    setOutput(out, "Value", TOVSmrPtr<ITovaValue>(new CTovaValue(*value)));
    return uint32Value(0);
  }
  throwUnknownMethod("kest::examples::ProcessInstance::executeMethod", method, kProcessClass);
}

void ProcessInstance::associate(const TOVString& assocClassName,
                                TOVSmrPtr<kest::pf::Instance> associationInstance) {
  if (sameName(assocClassName, kParentProcessClass) && associationInstance) {
    const auto* link = dynamic_cast<const SystemAssociation*>(associationInstance.get());
    const TOVSmrPtr<ITovaInstanceName> child = link ? link->end(kChildRole) : nullptr;
    if (child && *child == *getInstanceName()) _parentLink = associationInstance;
  }
  RecordInstance::associate(assocClassName, std::move(associationInstance));
}

void ProcessInstance::disAssociate(const TOVString& assocClassName,
                                   TOVSmrPtr<kest::pf::Instance> associationInstance) {
  if (_parentLink == associationInstance) _parentLink.reset();
  RecordInstance::disAssociate(assocClassName, std::move(associationInstance));
}

void ProcessInstance::destroy() {
  _parentLink.reset();
  RecordInstance::destroy();
}

FileSystemInstance::FileSystemInstance(kest::pf::InstanceManager& manager, FileSystemRecord record,
                                       const SystemReader& reader)
    : RecordInstance(manager, kFileSystemClass, fileSystemTable(), std::move(record)),
      _reader(reader) {}

TOVSmrPtr<ITovaValue> FileSystemInstance::executeMethod(
    const TOVString& method, ParameterList in, ParameterList& out,
    TOVSmrPtr<ITovaTransaction>& /*transaction*/) {
  static constexpr const char* kWhere = "kest::examples::FileSystemInstance::executeMethod";
  const std::shared_ptr<const FileSystemRecord> current = record();
  const bool getUsage = sameName(method, "GetUsage");
  if (!getUsage && !sameName(method, "HasFreeSpace")) {
    throwUnknownMethod(kWhere, method, kFileSystemClass);
  }

  unsigned long long bytes = 0;
  unsigned int reservePercent = 0;
  if (!getUsage) {
    requiredValue("Bytes", in);
    if (!Helper::getOptionalParameterByName("Bytes", in, bytes, 0ULL)) {
      throwInvalid(kWhere, "Bytes");
    }
    TOVSmrPtr<ITovaValue> reserve;
    if (Helper::getOptionalParameterByName("ReservePercent", in, reserve) && reserve &&
        !reserve->isNullValue() &&
        (!Helper::getOptionalParameterByName("ReservePercent", in, reservePercent, 0u) ||
         reservePercent > 100)) {
      throwInvalid(kWhere, "ReservePercent");
    }
  }

  std::optional<VolumeUsage> usage;
  if (current->fileSystemType != "autofs") usage = _reader.volumeUsage(current->name.toStdString());
  if (!usage) return uint32Value(1);
  if (getUsage) {
    const TOVuint64 used = usage->totalBytes - usage->freeBytes;
    const TOVuint64 basis = used + usage->availableBytes;
    setOutput(out, "TotalBytes", TOVSmrPtr<ITovaValue>(new CTovaValue(usage->totalBytes)));
    setOutput(out, "UsedBytes", TOVSmrPtr<ITovaValue>(new CTovaValue(used)));
    setOutput(out, "AvailableBytes", TOVSmrPtr<ITovaValue>(new CTovaValue(usage->availableBytes)));
    setOutput(out, "PercentUsed",
              TOVSmrPtr<ITovaValue>(
                  new CTovaValue(basis == 0 ? 0.0 : static_cast<TOVreal64>(used) * 100.0 / basis)));
    return uint32Value(0);
  }
  const TOVuint64 reserved =
      usage->totalBytes / 100 * reservePercent + usage->totalBytes % 100 * reservePercent / 100;
  const bool sufficient =
      usage->availableBytes >= reserved && usage->availableBytes - reserved >= bytes;
  setOutput(out, "Sufficient", TOVSmrPtr<ITovaValue>(new CTovaValue(sufficient)));
  setOutput(out, "AvailableBytes", TOVSmrPtr<ITovaValue>(new CTovaValue(usage->availableBytes)));
  return uint32Value(0);
}

// --- SystemAssociation ------------------------------------------------------------

SystemAssociation::SystemAssociation(kest::pf::InstanceManager& manager, const TOVString& className,
                                     const TOVString& leftRole,
                                     const TOVSmrPtr<ITovaInstanceName>& left,
                                     const TOVString& rightRole,
                                     const TOVSmrPtr<ITovaInstanceName>& right)
    : kest::pf::Instance(manager) {
  _className = className;
  _ends[0] = TOVSmrPtr<ITovaProperty>(
      new CTovaProperty(leftRole, TOVSmrPtr<ITovaValue>(new CTovaValue(left)), false));
  _ends[1] = TOVSmrPtr<ITovaProperty>(
      new CTovaProperty(rightRole, TOVSmrPtr<ITovaValue>(new CTovaValue(right)), false));
  TOVPropertyList keys(new TOVValSlist<TOVSmrPtr<ITovaProperty>>());
  keys->append(_ends[0]);
  keys->append(_ends[1]);
  setInstanceName(TOVSmrPtr<ITovaInstanceName>(
      new CTovaInstanceName(className, keys, TOVSmrPtr<ITovaNameSpacePath>())));
}

unsigned long SystemAssociation::getNumberOfProperties(bool /*all*/) const { return 2; }

TOVSmrPtr<ITovaProperty> SystemAssociation::getPropertyAt(unsigned long index, bool /*all*/) const {
  return index < 2 ? _ends[index] : TOVSmrPtr<ITovaProperty>();
}

TOVSmrPtr<ITovaProperty> SystemAssociation::getPropertyByName(const TOVString& name,
                                                              bool /*all*/) const {
  for (const TOVSmrPtr<ITovaProperty>& end : _ends) {
    if (sameName(end->getName(), name)) return end;
  }
  return TOVSmrPtr<ITovaProperty>();
}

TOVSmrPtr<ITovaInstanceName> SystemAssociation::end(const TOVString& role) const {
  const TOVSmrPtr<ITovaProperty> property = getPropertyByName(role, true);
  return property ? property->getValue()->getReference() : TOVSmrPtr<ITovaInstanceName>();
}

void SystemAssociation::destroy(const TOVString& /*reason*/) {
  const TOVSmrPtr<kest::pf::Instance> self = getSmartThis();
  if (!self) return;
  kest::pf::InstanceManager& cache = getInstanceManager();
  cache.deregisterInstance(self);
  for (const TOVSmrPtr<ITovaProperty>& end : _ends) {
    const TOVSmrPtr<ITovaObject> object = cache.getInstance(end->getValue()->getReference());
    if (object) {
      cache.disAssociate(TOVSmrPtr<ITovaValue>(new kest::pf::Reference(object)), self,
                         getClassName());
    }
  }
}

}  // namespace kest::examples
