#pragma once

#include <vector>

#include "streaming/ICollector.h"

namespace kest {

// VectorCollector<T>: a collector that keeps every item it is given, as a
// copy, in the order added (duplicates included), in its public vector rep.
// begin()/end() iterate over rep read-only. A collector that received nothing
// has begin() == end().
// Threads: not synchronised; add() and reading must not overlap.
// Throws only what copying a T or growing the vector throws.
template <typename T>
class VectorCollector : public ICollector<T> {
 public:
  using const_iterator = typename std::vector<T>::const_iterator;

  VectorCollector() = default;
  ~VectorCollector() override = default;

  void add(const T& item) override { rep.push_back(item); }

  const_iterator begin() const { return rep.cbegin(); }
  const_iterator end() const { return rep.cend(); }

  // The items received, in order.
  std::vector<T> rep;
};

}  // namespace kest
