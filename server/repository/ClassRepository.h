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
#include "server/repository/CompiledInstance.h"

namespace kest::repository {

using ClassPointer = std::shared_ptr<const ClassDefinition>;

// The classes, qualifier declarations and instances that MOF compilations
// have added, per namespace: what the server's class operations (GetClass,
// EnumerateClasses, EnumerateClassNames), typed method calls and subclass
// tests read, and the instances declared in MOF.
//
// Namespaces and class names are matched ignoring ASCII case and keep the
// spelling they were first given. Classes of a namespace are kept in the
// order they were added (definition order), which is the order of every
// enumeration; a class's superclass always comes before it. Classes are
// immutable once added and shared with the callers (ClassPointer).
//
// Classes come from MofCompiler (which adds the classes of a compilation all
// at once, or none) and from declareClass (a class known only by name and
// superclass, for classes that a provider serves without MOF). A class
// marked builtIn may be replaced in place by a later compilation (see
// apply). Instances come with the classes of a compilation; like classes
// they are immutable and shared (InstancePointer), kept in declaration
// order, and each namespace holds at most one instance of a name (the
// host's equality of instance names: their canonical text).
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

  // The instances of className (any case) in nameSpace, and with deep those
  // of its subclasses too, in declaration order. Empty when the namespace or
  // the class is unknown or has none.
  std::vector<InstancePointer> instancesOf(const TOVString& nameSpace, const TOVString& className,
                                           bool deep) const;
  // The instance of nameSpace whose name equals name (canonical text; the
  // namespace path of name is not looked at); null when there is none. A
  // hash lookup.
  InstancePointer findInstance(const TOVString& nameSpace, const ITovaInstanceName& name) const;
  // Whether instancesOf(nameSpace, className, deep) would be non-empty,
  // without building it: a hash lookup.
  bool hasInstances(const TOVString& nameSpace, const TOVString& className, bool deep) const;
  std::size_t instanceCount(const TOVString& nameSpace) const;
  // The instances of association classes in nameSpace, in declaration
  // order; empty for an unknown namespace.
  std::vector<InstancePointer> associationInstances(const TOVString& nameSpace) const;

  // What one compilation adds, in order.
  //   ClassEntry::replaces: the class replaces a built-in class of the same
  //     name (ClassDefinition::builtIn) in its place.
  struct Update {
    struct ClassEntry {
      TOVString nameSpace;
      ClassPointer definition;
      bool replaces = false;
    };
    struct QualifierEntry {
      TOVString nameSpace;
      QualifierDeclaration declaration;
    };
    struct InstanceEntry {
      TOVString nameSpace;
      InstancePointer instance;
    };
    std::vector<TOVString> nameSpaces;
    std::vector<QualifierEntry> qualifiers;
    std::vector<ClassEntry> classes;
    std::vector<InstanceEntry> instances;
  };
  // Why apply refused an update: the class (definition) or the instance that
  // is already there, with its namespace.
  struct Conflict {
    TOVString nameSpace;
    ClassPointer definition;
    InstancePointer instance;
  };
  // Adds everything in update, or nothing when something else got there
  // first (someone else's compilation meanwhile): a class that is already
  // in the repository and is not a built-in class that the entry replaces,
  // or an instance whose name is already in its namespace; then returns
  // what conflicts. A replacing class takes the built-in class's place: its
  // position in definition order and in the subclass tree (its superclass
  // is the same). A qualifier declaration replaces the namespace's
  // declaration of the same name. Used by MofCompiler.
  std::optional<Conflict> apply(const Update& update);

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
    std::vector<InstancePointer> instances;
    // Canonical instance name -> position in instances.
    std::unordered_map<std::string, std::size_t> instanceIndex;
    // Class name (any case) -> positions of its own instances, ascending.
    NameIndex<std::vector<std::size_t>> instancesByClass;
    // Class name (any case) -> how many instances the class and its
    // subclasses have (only classes with some are present).
    NameIndex<std::size_t> instancesBelow;
    // Positions of the instances of association classes, ascending.
    std::vector<std::size_t> associationInstances;

    ClassPointer find(const TOVString& className) const;
    bool isSubclass(const TOVString& className, const TOVString& superClassName) const;
    bool inherits(const ClassDefinition& cls, const TOVString& ancestor, bool directOnly) const;
  };

  const NameSpace* findNameSpace(const TOVString& nameSpace) const;
  NameSpace& nameSpaceFor(const TOVString& nameSpace);
  void addClass(NameSpace& space, ClassPointer definition);
  void replaceClass(NameSpace& space, ClassPointer definition);
  void addInstance(NameSpace& space, InstancePointer instance);
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
