#pragma once

#include "host/InstanceName.h"
#include "host/List.h"
#include "host/Map.h"
#include "host/SmartPointer.h"
#include "host/String.h"

namespace kest::pf {

class Instance;

// InstanceDirectory: the cached instances of one declared class, in one of two
// modes fixed at construction:
//   ordinary classes: a hash map keyed by the text of each instance's name
//     (ITovaInstanceName::toString(), exactly as produced); a second instance
//     with the same name replaces the first;
//   association classes: a list in insertion order (no duplicate check),
//     searched by the two objects an association joins.
// It also keeps the directories of the association classes that refer to its
// class (addAssociation), read when an instance leaves the cache.
//
// Threads: not thread-safe; the provider serialises refresh against requests.
class InstanceDirectory {
 public:
  using InstanceList = TOVSmrPtr<TOVValSlist<TOVSmrPtr<Instance>>>;

  explicit InstanceDirectory(bool isAssociation);
  ~InstanceDirectory();
  InstanceDirectory(const InstanceDirectory&) = delete;
  InstanceDirectory& operator=(const InstanceDirectory&) = delete;

  void insert(const TOVSmrPtr<Instance>& instance);
  // Ordinary mode: removes the entry under instance's name text, whichever
  // object is stored there. Association mode: removes this very object.
  // Returns whether something was removed.
  bool remove(const TOVSmrPtr<Instance>& instance);
  // Ordinary mode only: the instance stored under key, or null.
  TOVSmrPtr<Instance> lookup(const TOVString& key) const;
  // Ordinary mode: by name text (pfInstancePtr ignored). Association mode:
  // with pfInstancePtr, the entry that is that very object; without, the
  // first association (insertion order) with a reference property equal to
  // the referenced name of key 0 and one equal to that of key 1 (both keys
  // must hold references, else null). Null when nothing matches.
  TOVSmrPtr<Instance> lookup(const TOVSmrPtr<ITovaInstanceName>& instancename,
                             Instance* pfInstancePtr) const;
  // A new list (never null): ordinary mode in the map's order, association
  // mode in insertion order.
  InstanceList getAllInstances() const;

  bool containsAllInstances() const { return _containsAllInstances; }
  void setContainsAllInstances(bool value) { _containsAllInstances = value; }

  // Appends an association class's directory (no duplicate check).
  void addAssociation(const TOVSmrPtr<InstanceDirectory>& associationDirectory);
  // The list itself; null until the first addAssociation.
  TOVValSlist<TOVSmrPtr<InstanceDirectory>>* getAssociationList() const { return _associationList; }

  bool isAssociation() const { return _isAssociation; }

 private:
  TOVValMap<TOVString, TOVSmrPtr<Instance>> _hashDict;
  TOVValSlist<TOVSmrPtr<Instance>>* _objectList;
  TOVValSlist<TOVSmrPtr<InstanceDirectory>>* _associationList;
  bool _containsAllInstances;
  bool _isAssociation;
};

}  // namespace kest::pf
