#include "host/Repository.h"

#include <string>

CTovaRepository::CTovaRepository(const TOVString& defaultNameSpace)
    : _defaultNameSpace(defaultNameSpace), _superClasses(hashKeyTOVString, 64) {}

TOVString CTovaRepository::folded(const TOVString& text) {
  TOVString copy(text);
  copy.toLower();
  return copy;
}

TOVString CTovaRepository::nameSpaceKey(const TOVString& nameSpace) const {
  TOVString key = folded(nameSpace.isNull() ? _defaultNameSpace : nameSpace);
  key += ':';
  return key;
}

void CTovaRepository::addClass(const TOVString& nameSpace, const TOVString& className,
                               const TOVString& superClassName) {
  const TOVString key = nameSpaceKey(nameSpace) + folded(className);
  std::unique_lock lock(_mutex);
  _superClasses.insert(key, superClassName);
}

bool CTovaRepository::hasClass(const TOVString& nameSpace, const TOVString& className) const {
  const TOVString key = nameSpaceKey(nameSpace) + folded(className);
  std::shared_lock lock(_mutex);
  return _superClasses.contains(key);
}

TOVString CTovaRepository::getSuperClassName(const TOVString& nameSpace,
                                             const TOVString& className) const {
  const TOVString key = nameSpaceKey(nameSpace) + folded(className);
  std::shared_lock lock(_mutex);
  TOVString superClass;
  if (!_superClasses.find(key, superClass)) return TOVString();
  return superClass;
}

// Walks className's superclass chain. A chain longer than the number of
// declared classes has a cycle; the walk stops there.
bool CTovaRepository::isSubclass(const TOVString& nameSpace, const TOVString& className,
                                 const TOVString& superClassName) {
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
