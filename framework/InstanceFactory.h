#pragma once

#include "framework/Context.h"
#include "host/SmartPointer.h"
#include "host/String.h"

namespace kest::pf {

// InstanceFactory: what a provider's poll manager drives. Each cycle the poll
// manager calls poll(), which examines the managed system and returns a new
// stamped Context describing what it found, then update() with that context,
// which brings the cache in line with it (registering, re-stamping and purging
// what the cycle did not touch).
//
// poll() and update() run on the poll manager's thread; a provider that also
// serves requests from the cache serialises update() with them itself.
//
// Lifetime: a factory must outlive the poll manager bound to it.
class InstanceFactory {
 public:
  explicit InstanceFactory(const TOVString& providerName);
  virtual ~InstanceFactory();
  InstanceFactory(const InstanceFactory&) = delete;
  InstanceFactory& operator=(const InstanceFactory&) = delete;

  // Examines the managed system; the returned context is handed to update().
  virtual TOVSmrPtr<Context> poll() = 0;
  // Brings the cache in line with what poll() found.
  virtual void update(TOVSmrPtr<Context>& context) = 0;
  // The name given at construction; the poll manager's thread name and log
  // source derive from it.
  virtual const TOVString& getProviderName() const;

 protected:
  const TOVString _providerName;
};

}  // namespace kest::pf
