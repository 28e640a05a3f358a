#include "framework/ClassDirectory.h"

#include <cstddef>
#include <utility>

#include "framework/Class.h"
#include "framework/InstanceDirectory.h"

namespace kest::pf {

namespace {

constexpr std::size_t kBuckets = 150;

// Class names are keys in upper case; the caller's text is left as given.
TOVString keyOf(const TOVString& className) {
  TOVString key(className);
  key.toUpper();
  return key;
}

}  // namespace

ClassDirectory::ClassDirectoryEntry::ClassDirectoryEntry(
    TOVSmrPtr<::kest::pf::InstanceDirectory> instanceDirectory, TOVSmrPtr<Class> classDeclaration)
    : InstanceDirectory(std::move(instanceDirectory)),
      ClassDeclaration(std::move(classDeclaration)) {}

ClassDirectory::ClassDirectoryEntry::~ClassDirectoryEntry() = default;

ClassDirectory::ClassDirectory() : _hashDict(hashKeyTOVString, kBuckets) {}

void ClassDirectory::insert(const TOVString& className,
                            const TOVSmrPtr<::kest::pf::InstanceDirectory>& directory,
                            const TOVSmrPtr<Class>& declaration) {
  _hashDict.insert(keyOf(className),
                   TOVSmrPtr<ClassDirectoryEntry>(new ClassDirectoryEntry(directory, declaration)));
}

bool ClassDirectory::remove(const TOVString& className) {
  return _hashDict.remove(keyOf(className));
}

TOVSmrPtr<ClassDirectory::ClassDirectoryEntry> ClassDirectory::lookupEntry(
    const TOVString& className) const {
  return _hashDict.lookup(keyOf(className));
}

TOVSmrPtr<Class> ClassDirectory::lookupClassDeclaration(const TOVString& className) const {
  const TOVSmrPtr<ClassDirectoryEntry> entry = lookupEntry(className);
  if (!entry) return TOVSmrPtr<Class>();
  return entry->ClassDeclaration;
}

TOVSmrPtr<::kest::pf::InstanceDirectory> ClassDirectory::lookupInstanceDirectory(
    const TOVString& className) const {
  const TOVSmrPtr<ClassDirectoryEntry> entry = lookupEntry(className);
  if (!entry) return TOVSmrPtr<::kest::pf::InstanceDirectory>();
  return entry->InstanceDirectory;
}

TOVSmrPtr<TOVValSlist<TOVSmrPtr<Class>>> ClassDirectory::getClassDeclarations() const {
  TOVSmrPtr<TOVValSlist<TOVSmrPtr<Class>>> result(new TOVValSlist<TOVSmrPtr<Class>>());
  result->reserve(_hashDict.entries());
  for (const auto& entry : _hashDict) {
    const TOVSmrPtr<ClassDirectoryEntry>& held = entry.value();
    result->append(held ? held->ClassDeclaration : TOVSmrPtr<Class>());
  }
  return result;
}

}  // namespace kest::pf
