#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <shared_mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "host/Ascii.h"
#include "host/String.h"
#include "server/repository/ClassDefinition.h"

namespace kest::repository {

using ClassPointer = std::shared_ptr<const ClassDefinition>;

// The classes and qualifier declarations that MOF compilations have added,
// per namespace: what the server's class operations (GetClass,
// EnumerateClasses, EnumerateClassNames), typed method calls and subclass
// tests read.
//
// Namespaces and class names are matched ignoring ASCII case and keep the
// spelling they were first given. Classes of a namespace are kept in the
// order they were added (definition order), which is the order of every
// enumeration; a class's superclass always comes before it. Classes are
// immutable once added and shared with the callers (ClassPointer).
//
// Classes come from MofCompiler (which adds the classes of a compilation all
// at once, or none) and from declareClass (a class known only by name and
// superclass, for classes that a provider serves without MOF).
//
// Threads: every operation may be called from any thread; additions take an
// exclusive lock, lookups a shared one. Nothing here throws except
// std::bad_alloc.
class ClassRepository {
 public:
  ClassRepository();
  ~ClassRepository();
  ClassRepository(const ClassRepository&) = delete;
  ClassRepository& operator=(const ClassRepository&) = delete;

  // Namespaces. A namespace exists once it has been added or something has
  // been compiled into it.
  void addNameSpace(const TOVString& nameSpace);
  bool hasNameSpace(const TOVString& nameSpace) const;
  // In order of creation.
  std::vector<TOVString> nameSpaces() const;

  // The class as defined: every property, method and qualifier, inherited
  // ones included. Null when the namespace or the class is unknown.
  ClassPointer findClass(const TOVString& nameSpace, const TOVString& className) const;
  // GetClass: the class filtered by options (ClassDefinition::filtered);
  // nullopt when the namespace or the class is unknown.
  std::optional<ClassDefinition> getClass(const TOVString& nameSpace, const TOVString& className,
                                          const ClassRequestOptions& options) const;
  // EnumerateClasses, unfiltered (apply ClassDefinition::filtered to each).
  // With an empty className: every class when deepInheritance is set, else
  // the root classes (no superclass, or a superclass unknown in the
  // namespace). With a className: its subclasses, all of them or only the
  // direct ones; the class itself is not included. In definition order;
  // nullopt when the namespace is unknown or className is given and unknown.
  std::optional<std::vector<ClassPointer>> enumerateClasses(const TOVString& nameSpace,
                                                            const TOVString& className,
                                                            bool deepInheritance) const;
  // The classes below className in tree order: its direct subclasses, or
  // with deep every descendant; for an empty className the top-level
  // classes (no superclass, or one unknown in the namespace), or with deep
  // every class reachable from them. Depth first, each class before its
  // subclasses, siblings by case-insensitive name. Empty when the namespace
  // or className is unknown. The tree is kept up to date as classes are
  // added, so a request walks only what it returns.
  std::vector<ClassPointer> subclassTree(const TOVString& nameSpace, const TOVString& className,
                                         bool deep) const;
  // EnumerateClassNames: the names of the same classes.
  std::optional<std::vector<TOVString>> enumerateClassNames(const TOVString& nameSpace,
                                                            const TOVString& className,
                                                            bool deepInheritance) const;
  // True when className is known in nameSpace and either equals
  // superClassName (ignoring case) or has it among its ancestors (the chain
  // of superclass names, followed while the classes are known).
  bool isSubclass(const TOVString& nameSpace, const TOVString& className,
                  const TOVString& superClassName) const;
  std::size_t classCount(const TOVString& nameSpace) const;

  // Adds a class known only by name and superclass (defined false) unless
  // the namespace already has a class of that name; returns whether it was
  // added. It inherits the properties, methods and qualifiers of its
  // superclass when that is known now; the superclass need not be known. An
  // association that inherits no Association qualifier gets one.
  bool declareClass(const TOVString& nameSpace, const TOVString& className,
                    const TOVString& superClassName, bool association = false);

  // The qualifier declaration in effect in nameSpace: the one compiled into
  // it, else the standard one; nullopt when there is neither.
  std::optional<QualifierDeclaration> findQualifierDeclaration(const TOVString& nameSpace,
                                                               const TOVString& name) const;
  // Every declaration in effect in nameSpace: the standard ones (replaced by
  // the namespace's own where it redeclares them) and then the namespace's
  // other ones, in declaration order.
  std::vector<QualifierDeclaration> qualifierDeclarations(const TOVString& nameSpace) const;

  // What one compilation adds, in order.
  struct Update {
    struct ClassEntry {
      TOVString nameSpace;
      ClassPointer definition;
    };
    struct QualifierEntry {
      TOVString nameSpace;
      QualifierDeclaration declaration;
    };
    std::vector<TOVString> nameSpaces;
    std::vector<QualifierEntry> qualifiers;
    std::vector<ClassEntry> classes;
  };
  // Adds everything in update, or nothing when one of its classes is already
  // in the repository (added meanwhile by someone else); then returns that
  // class. A qualifier declaration replaces the namespace's declaration of
  // the same name. Used by MofCompiler.
  std::optional<Update::ClassEntry> apply(const Update& update);

 private:
  // Keyed by names in any case, looked up without copying the name.
  template <typename T>
  using NameIndex =
      std::unordered_map<std::string, T, kest::ascii::HashIgnoreCase, kest::ascii::EqualIgnoreCase>;

  struct NameSpace {
    TOVString name;
    std::vector<ClassPointer> classes;
    // Class name (any case) -> position in classes.
    NameIndex<std::size_t> classIndex;
    // Superclass name (any case; "" for none) -> positions of its
    // subclasses, sorted by case-insensitive class name. A superclass need
    // not be known.
    NameIndex<std::vector<std::size_t>> children;
    std::vector<QualifierDeclaration> qualifiers;
    // Lower-cased qualifier name -> position in qualifiers.
    std::unordered_map<std::string, std::size_t> qualifierIndex;

    ClassPointer find(const TOVString& className) const;
    bool isSubclass(const TOVString& className, const TOVString& superClassName) const;
    bool inherits(const ClassDefinition& cls, const TOVString& ancestor, bool directOnly) const;
  };

  const NameSpace* findNameSpace(const TOVString& nameSpace) const;
  NameSpace& nameSpaceFor(const TOVString& nameSpace);
  void addClass(NameSpace& space, ClassPointer definition);
  void walkTree(const NameSpace& space, const std::vector<std::size_t>& level, bool deep,
                std::size_t& budget, std::vector<ClassPointer>& out) const;
  std::vector<ClassPointer> selectClasses(const NameSpace& space, const TOVString& className,
                                          bool deepInheritance) const;

  mutable std::shared_mutex _mutex;
  // Lower-cased namespace name -> namespace. Guarded by _mutex.
  std::map<std::string, NameSpace> _nameSpaces;
  // Namespace keys in order of creation. Guarded by _mutex.
  std::vector<std::string> _nameSpaceOrder;
};

}  // namespace kest::repository
