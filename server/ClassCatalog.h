#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "host/CimType.h"
#include "host/Repository.h"
#include "host/SmartPointer.h"
#include "host/String.h"
#include "server/repository/ClassRepository.h"

namespace kest::server {

// What the server knows about one property of a class.
struct PropertyDefinition {
  TOVString name;
  // The CIM type: scalar or array, a reference (getName() the referenced
  // class) or an embedded object.
  TOVSmrPtr<ITovaType> type;
  bool key = false;
  // The class that defines the property (the class itself or an ancestor).
  TOVString classOrigin;
};

// One parameter of a method.
struct ParameterDefinition {
  TOVString name;
  TOVSmrPtr<ITovaType> type;
  bool in = true;
  bool out = false;
};

// One method of a class.
struct MethodDefinition {
  TOVString name;
  // Null for a method without a declared return type.
  TOVSmrPtr<ITovaType> returnType;
  TOVString classOrigin;
  std::vector<ParameterDefinition> parameters;
};

// A class as the server knows it. A class that a provider only declares has
// a name, a superclass and the association flag; hasFeatures is then false
// and the lists are empty. A full definition (hasFeatures true) lists every
// property and method, inherited ones included, each with its class origin.
struct ClassDefinition {
  TOVString name;
  TOVString superClass;  // empty for a class without a superclass
  bool association = false;
  bool hasFeatures = false;
  std::vector<PropertyDefinition> properties;
  std::vector<MethodDefinition> methods;
  // The definition compiled from MOF that this one was made from (with its
  // qualifiers and default values); null for any other class.
  kest::repository::ClassPointer compiled;

  // Case-insensitive lookups; null when absent.
  const PropertyDefinition* findProperty(const TOVString& propertyName) const;
  const MethodDefinition* findMethod(const TOVString& methodName) const;
};

// ClassCatalog: the server's single source of class definitions, per
// namespace. Class requests (GetClass, EnumerateClasses,
// EnumerateClassNames), the subclass test that providers get through
// repository(), the routing of enumerations to subclasses and the typing of
// untyped request values (key values, property values, method parameters)
// all read it.
//
// Two kinds of entries: declare() records what a provider declares (name,
// superclass, association flag); define() records a full definition (the
// kind a class repository compiled from MOF supplies). A full definition of
// a class replaces its declaration, whichever comes first.
//
// The catalog keeps a class repository (classRepository()) that knows every
// class of the catalog at least by name and superclass: MOF is compiled into
// it (see defineMofClasses), and declare() and define() add the classes it
// does not know yet. The subclass test (isSubclass, repository()) is the
// repository's.
//
// Names of classes and namespaces are matched ASCII case-insensitively; an
// empty namespace means the default namespace given at construction.
//
// Threads: fill it before requests are served; afterwards any number of
// threads may read it concurrently (no member changes it then).
class ClassCatalog {
 public:
  using ClassPtr = std::shared_ptr<const ClassDefinition>;

  explicit ClassCatalog(const TOVString& defaultNameSpace);
  ~ClassCatalog();
  ClassCatalog(const ClassCatalog&) = delete;
  ClassCatalog& operator=(const ClassCatalog&) = delete;

  void declare(const TOVString& nameSpace, const TOVString& className, const TOVString& superClass,
               bool association);
  void define(const TOVString& nameSpace, const ClassDefinition& definition);

  // Null when the class is unknown in nameSpace.
  ClassPtr find(const TOVString& nameSpace, const TOVString& className) const;
  // True when className equals superClass ignoring case (and is known), or
  // superClass is an ancestor of className; false for an unknown class.
  bool isSubclass(const TOVString& nameSpace, const TOVString& className,
                  const TOVString& superClass) const;
  // The classes of nameSpace below className (its direct subclasses, or with
  // deep every descendant), or, for an empty className, the top-level classes
  // (or with deep every class). A class whose superclass is unknown counts as
  // top-level. Order: depth first, parents before their subclasses, siblings
  // by case-insensitive name.
  std::vector<ClassPtr> subclasses(const TOVString& nameSpace, const TOVString& className,
                                   bool deep) const;

  // The declared type of a property, or of a method parameter; null when the
  // class, the feature or its definition is unknown.
  TOVSmrPtr<ITovaType> propertyType(const TOVString& nameSpace, const TOVString& className,
                                    const TOVString& propertyName) const;
  TOVSmrPtr<ITovaType> parameterType(const TOVString& nameSpace, const TOVString& className,
                                     const TOVString& methodName,
                                     const TOVString& parameterName) const;

  // The subclass test as the host's repository interface, for providers: a
  // RepositoryAdapter over classRepository() (ITovaRepository::isSubclass
  // behaves as isSubclass above). It refers to this catalog, which must
  // outlive it.
  TOVSmrPtr<ITovaRepository> repository() const;

  const TOVString& defaultNameSpace() const { return _defaultNameSpace; }
  kest::repository::ClassRepository& classRepository() { return _repository; }
  const kest::repository::ClassRepository& classRepository() const { return _repository; }

 private:
  struct NameSpaceClasses;
  const NameSpaceClasses* classesOf(const TOVString& nameSpace) const;
  NameSpaceClasses& mutableClassesOf(const TOVString& nameSpace);
  static std::string folded(const TOVString& text);

  const TOVString _defaultNameSpace;
  kest::repository::ClassRepository _repository;
  std::map<std::string, std::unique_ptr<NameSpaceClasses>> _nameSpaces;  // by folded name
};

}  // namespace kest::server
