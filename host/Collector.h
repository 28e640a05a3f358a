#pragma once

namespace kest {

// ICollector<T>: where a query puts its results: add() is called once per
// result, in result order. Queries never return containers; they push into a
// collector. The host passes its own collectors into the provider's requests;
// the framework has its own implementations.
// Threads: an implementation states whether add() may be called concurrently.
template <typename T>
class ICollector {
 public:
  virtual void add(const T& item) = 0;
  virtual ~ICollector() = default;
};

}  // namespace kest
