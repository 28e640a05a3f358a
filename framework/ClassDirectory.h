#pragma once

#include "host/List.h"
#include "host/Map.h"
#include "host/SmartPointer.h"
#include "host/String.h"

namespace kest::pf {

class Class;
class InstanceDirectory;

// ClassDirectory: maps each declared class, by its upper-cased name, to its
// declaration and its instance directory. Every operation upper-cases the name
// it is given (ASCII), so class lookups are case-insensitive while
// Class::getClassName() keeps the provider's spelling.
//
// Threads: not thread-safe; the provider serialises refresh against requests.
class ClassDirectory {
 public:
  // One entry: the class's instance directory and its declaration.
  class ClassDirectoryEntry {
   public:
    ClassDirectoryEntry(TOVSmrPtr<::kest::pf::InstanceDirectory> instanceDirectory,
                        TOVSmrPtr<Class> classDeclaration);
    ~ClassDirectoryEntry();

    TOVSmrPtr<::kest::pf::InstanceDirectory> InstanceDirectory;
    TOVSmrPtr<Class> ClassDeclaration;
  };

  // Empty map (hashKeyTOVString, 150 buckets).
  ClassDirectory();

  // Inserts a new entry under the upper-cased name; an entry already held
  // under that name (in any case) is replaced, declaration and directory alike.
  void insert(const TOVString& className, const TOVSmrPtr<::kest::pf::InstanceDirectory>& directory,
              const TOVSmrPtr<Class>& declaration);
  // Removes the entry; returns whether there was one.
  bool remove(const TOVString& className);
  // The entry's declaration / directory; null when the class is not declared.
  TOVSmrPtr<Class> lookupClassDeclaration(const TOVString& className) const;
  TOVSmrPtr<::kest::pf::InstanceDirectory> lookupInstanceDirectory(
      const TOVString& className) const;
  // A new list of every entry's declaration, in the map's order (neither
  // sorted nor in order of insertion).
  TOVSmrPtr<TOVValSlist<TOVSmrPtr<Class>>> getClassDeclarations() const;

 private:
  TOVSmrPtr<ClassDirectoryEntry> lookupEntry(const TOVString& className) const;

  TOVValMap<TOVString, TOVSmrPtr<ClassDirectoryEntry>> _hashDict;
};

}  // namespace kest::pf
