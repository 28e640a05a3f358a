#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "host/CimType.h"
#include "host/Repository.h"
#include "host/SmartPointer.h"
#include "host/String.h"
#include "server/repository/ClassDefinition.h"
#include "server/repository/ClassRepository.h"

namespace kest::server {

// ClassCatalog: the server's class registry, one per server. Every class the
// server knows is a kest::repository::ClassDefinition in one class
// repository, per namespace: the classes compiled from MOF (full
// definitions, defined true) and the classes that providers only declare
// (name, superclass and association flag, defined false, inheriting what a
// known superclass defines). Class requests (GetClass, EnumerateClasses,
// EnumerateClassNames), the subclass test that providers get through
// repository(), the routing of enumerations to subclasses and the typing of
// untyped request values (key values, property values, method parameters)
// all read it.
//
// Compile MOF before providers declare their classes: a class declared
// first is a duplicate class for the MOF compiler. A declaration of a class
// the catalog knows already changes nothing.
//
// Lookups that every request needs are prepared when classes are added: the
// repository keeps each namespace's subclass tree and each class's feature
// index, so a request walks only what it returns.
//
// Names of classes and namespaces are matched ASCII case-insensitively; an
// empty namespace means the default namespace given at construction.
//
// Threads: every member may be called from any thread (the repository takes
// its own lock); classes, once added, are immutable and shared.
class ClassCatalog {
 public:
  explicit ClassCatalog(const TOVString& defaultNameSpace);
  ClassCatalog(const ClassCatalog&) = delete;
  ClassCatalog& operator=(const ClassCatalog&) = delete;

  // Compiles MOF files (as one compilation, each file starting in the
  // default namespace) into the catalog. Returns the compiler's warnings,
  // one text each ("file:line:column: warning: message"). Throws
  // std::runtime_error listing every diagnostic, one a line, when the
  // compilation has errors; the catalog is then unchanged.
  std::vector<std::string> compileMof(const std::vector<std::string>& files);
  // The same for MOF text, read as a file named sourceName.
  std::vector<std::string> compileMofText(const std::string& sourceName, std::string_view text);

  // Compiles the server's own schema text into nameSpace, as built-in
  // classes: a later compilation may replace them (see
  // kest::repository::CompileOptions::builtIn). Returns and throws as
  // compileMof.
  std::vector<std::string> compileSchema(const std::string& sourceName, std::string_view text,
                                         const TOVString& nameSpace);
  // What a provider declares: a class it serves.
  void declare(const TOVString& nameSpace, const TOVString& className, const TOVString& superClass,
               bool association);

  // Null when the class is unknown in nameSpace.
  kest::repository::ClassPointer find(const TOVString& nameSpace,
                                      const TOVString& className) const;
  // True when className equals superClass ignoring case (and is known), or
  // superClass is an ancestor of className; false for an unknown class.
  bool isSubclass(const TOVString& nameSpace, const TOVString& className,
                  const TOVString& superClass) const;
  // The classes of nameSpace below className (its direct subclasses, or with
  // deep every descendant), or, for an empty className, the top-level classes
  // (or with deep every class). A class whose superclass is unknown counts as
  // top-level. Order: depth first, parents before their subclasses, siblings
  // by case-insensitive name.
  std::vector<kest::repository::ClassPointer> subclasses(const TOVString& nameSpace,
                                                         const TOVString& className,
                                                         bool deep) const;

  // The host type of a property, or of a method parameter (see
  // kest::repository::Property::hostType); null when the class, the feature
  // or its definition is unknown.
  TOVSmrPtr<ITovaType> propertyType(const TOVString& nameSpace, const TOVString& className,
                                    const TOVString& propertyName) const;
  TOVSmrPtr<ITovaType> parameterType(const TOVString& nameSpace, const TOVString& className,
                                     const TOVString& methodName,
                                     const TOVString& parameterName) const;

  // The subclass test as the host's repository interface, for providers
  // (ITovaRepository::isSubclass behaves as isSubclass above). It refers to
  // this catalog, which must outlive it.
  TOVSmrPtr<ITovaRepository> repository() const;

  const TOVString& defaultNameSpace() const { return _defaultNameSpace; }
  const kest::repository::ClassRepository& classRepository() const { return _repository; }

 private:
  const TOVString& resolved(const TOVString& nameSpace) const;

  const TOVString _defaultNameSpace;
  kest::repository::ClassRepository _repository;
};

}  // namespace kest::server
