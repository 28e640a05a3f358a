#pragma once

#include "host/SmartPointer.h"
#include "streaming/ICollector.h"
#include "streaming/IResponse.h"

namespace kest {

// MultiResponseCollectorBase<T, U>: a collector that feeds the items it gets
// into a multi-response of U. It holds a shared reference to the response for
// its own lifetime (so the response's writer stays open at least as long as
// the collector). Derived classes decide how a T becomes a U.
// Threads: as safe as the response's add().
template <typename T, typename U>
class MultiResponseCollectorBase : public ICollector<T> {
 public:
  explicit MultiResponseCollectorBase(const TOVSmrPtr<IMultiResponse<U>>& response)
      : response(response) {}
  ~MultiResponseCollectorBase() override = default;

 protected:
  TOVSmrPtr<IMultiResponse<U>> response;
};

// MultiResponseCollector<T>: passes every item unchanged to the response:
// add(item) calls response->add(copy of item, true). The result of the
// response's add is not looked at: a response that refuses the item throws
// (throwOnAbort is true), and that exception reaches the caller of add()
// unchanged, for example the collection's TovaBaseException "Addition of
// elements not permitted if no writers are registered." A null response throws
// TOVNullPointerException from add().
template <typename T>
class MultiResponseCollector : public MultiResponseCollectorBase<T, T> {
 public:
  explicit MultiResponseCollector(const TOVSmrPtr<IMultiResponse<T>>& response)
      : MultiResponseCollectorBase<T, T>(response) {}
  ~MultiResponseCollector() override = default;

  void add(const T& item) override { this->response->add(T(item), true); }
};

}  // namespace kest
