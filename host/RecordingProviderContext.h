#pragma once

#include <cstddef>
#include <mutex>
#include <vector>

#include "host/Indication.h"
#include "host/Object.h"
#include "host/ProviderContext.h"
#include "host/SmartPointer.h"
#include "host/String.h"

namespace kest {

// RecordingProviderContext: a provider context that keeps every delivery made
// through it, in call order, for tests to examine. Nothing is forwarded.
//
// The accessors return copies taken under the lock, so a test may read them
// while other threads keep delivering.
// Threads: safe for concurrent use.
class RecordingProviderContext : public IProviderContext {
 public:
  enum class CallKind {
    Indication,        // deliverIndication
    LegacyIndication,  // deliverLegacyIndication
  };

  // One deliverIndication call.
  struct DeliveredIndication {
    TOVString nameSpace;
    TOVSmrPtr<ITovaObject> indication;
  };

  // One call of either kind. For CallKind::Indication, nameSpace and
  // indication are set and legacyIndication is null; for
  // CallKind::LegacyIndication only legacyIndication is set.
  struct Call {
    CallKind kind;
    TOVString nameSpace;
    TOVSmrPtr<ITovaObject> indication;
    TOVSmrPtr<ITovaIndication> legacyIndication;
  };

  RecordingProviderContext() = default;
  RecordingProviderContext(const RecordingProviderContext&) = delete;
  RecordingProviderContext& operator=(const RecordingProviderContext&) = delete;

  void deliverIndication(const TOVString& nameSpace,
                         const TOVSmrPtr<ITovaObject>& indication) override;
  void deliverLegacyIndication(const TOVSmrPtr<ITovaIndication>& indication) override;

  // The deliverIndication calls, oldest first.
  std::vector<DeliveredIndication> indications() const;
  // The deliverLegacyIndication arguments, oldest first.
  std::vector<TOVSmrPtr<ITovaIndication>> legacyIndications() const;
  // Every call of either kind, oldest first.
  std::vector<Call> calls() const;
  // Number of calls of either kind recorded so far.
  std::size_t callCount() const;
  // Forgets everything recorded so far.
  void clear();

  // The description getServerDescription() hands out (not owned; null by
  // default). Set it before the provider that uses it starts.
  void setServerDescription(const ServerDescription* description) { _description = description; }
  const ServerDescription* getServerDescription() const override { return _description; }

 private:
  mutable std::mutex _mutex;
  std::vector<Call> _calls;  // guarded by _mutex
  const ServerDescription* _description = nullptr;
};

}  // namespace kest
