#include "host/RecordingProviderContext.h"

#include <utility>

namespace kest {

void RecordingProviderContext::deliverIndication(const TOVString& nameSpace,
                                                 const TOVSmrPtr<ITovaObject>& indication) {
  Call call{CallKind::Indication, nameSpace, indication, nullptr};
  std::lock_guard<std::mutex> lock(_mutex);
  _calls.push_back(std::move(call));
}

void RecordingProviderContext::deliverLegacyIndication(
    const TOVSmrPtr<ITovaIndication>& indication) {
  Call call{CallKind::LegacyIndication, TOVString(), nullptr, indication};
  std::lock_guard<std::mutex> lock(_mutex);
  _calls.push_back(std::move(call));
}

std::vector<RecordingProviderContext::DeliveredIndication> RecordingProviderContext::indications()
    const {
  std::vector<DeliveredIndication> result;
  std::lock_guard<std::mutex> lock(_mutex);
  for (const Call& call : _calls) {
    if (call.kind == CallKind::Indication) result.push_back({call.nameSpace, call.indication});
  }
  return result;
}

std::vector<TOVSmrPtr<ITovaIndication>> RecordingProviderContext::legacyIndications() const {
  std::vector<TOVSmrPtr<ITovaIndication>> result;
  std::lock_guard<std::mutex> lock(_mutex);
  for (const Call& call : _calls) {
    if (call.kind == CallKind::LegacyIndication) result.push_back(call.legacyIndication);
  }
  return result;
}

std::vector<RecordingProviderContext::Call> RecordingProviderContext::calls() const {
  std::lock_guard<std::mutex> lock(_mutex);
  return _calls;
}

std::size_t RecordingProviderContext::callCount() const {
  std::lock_guard<std::mutex> lock(_mutex);
  return _calls.size();
}

void RecordingProviderContext::clear() {
  std::vector<Call> dropped;
  {
    std::lock_guard<std::mutex> lock(_mutex);
    dropped.swap(_calls);
  }
  // The recorded objects are released here, outside the lock.
}

}  // namespace kest
