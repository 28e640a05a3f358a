#pragma once

#include <mutex>
#include <shared_mutex>

#include "host/Map.h"
#include "host/Repository.h"
#include "host/SmartPointer.h"
#include "host/String.h"

namespace kest::testing {

// ClassTableRepository: the host's repository interface answered from class
// declarations (name and superclass) per namespace, for tests and
// benchmarks that run providers without a server. The server's own
// repository is its class catalog.
// Threads: safe for concurrent use; declarations may be added while requests
// ask the subclass test.
class ClassTableRepository : public ITovaRepository {
 public:
  // defaultNameSpace is what an empty namespace argument means.
  explicit ClassTableRepository(const TOVString& defaultNameSpace)
      : _defaultNameSpace(defaultNameSpace), _superClasses(hashKeyTOVString, 64) {}

  // Declares (or redeclares) className in nameSpace with its superclass
  // (empty for none). The superclass need not be declared yet.
  void addClass(const TOVString& nameSpace, const TOVString& className,
                const TOVString& superClassName) {
    const TOVString key = nameSpaceKey(nameSpace) + folded(className);
    std::unique_lock lock(_mutex);
    _superClasses.insert(key, superClassName);
  }

  bool hasClass(const TOVString& nameSpace, const TOVString& className) const {
    const TOVString key = nameSpaceKey(nameSpace) + folded(className);
    std::shared_lock lock(_mutex);
    return _superClasses.contains(key);
  }

  // The declared superclass; the no-buffer string when className is unknown.
  TOVString getSuperClassName(const TOVString& nameSpace, const TOVString& className) const {
    const TOVString key = nameSpaceKey(nameSpace) + folded(className);
    std::shared_lock lock(_mutex);
    TOVString superClass;
    if (!_superClasses.find(key, superClass)) return TOVString();
    return superClass;
  }

  // Walks className's superclass chain. A chain longer than the number of
  // declared classes has a cycle; the walk stops there.
  bool isSubclass(const TOVString& nameSpace, const TOVString& className,
                  const TOVString& superClassName) override {
    const TOVString prefix = nameSpaceKey(nameSpace);
    std::shared_lock lock(_mutex);
    TOVString current;
    if (!_superClasses.find(prefix + folded(className), current)) return false;
    if (className.compareTo(superClassName, 0) == 0) return true;
    for (std::size_t steps = 0; steps <= _superClasses.entries(); ++steps) {
      if (current.isNull()) return false;
      if (current.compareTo(superClassName, 0) == 0) return true;
      TOVString next;
      if (!_superClasses.find(prefix + folded(current), next)) return false;
      current = next;
    }
    return false;
  }

 private:
  static TOVString folded(const TOVString& text) {
    TOVString copy(text);
    copy.toLower();
    return copy;
  }

  TOVString nameSpaceKey(const TOVString& nameSpace) const {
    TOVString key = folded(nameSpace.isNull() ? _defaultNameSpace : nameSpace);
    key += ':';
    return key;
  }

  const TOVString _defaultNameSpace;
  mutable std::shared_mutex _mutex;
  // Key: lower-cased namespace + ":" + lower-cased class name; value: the
  // superclass name as declared. Guarded by _mutex.
  TOVValMap<TOVString, TOVString> _superClasses;
};

}  // namespace kest::testing
