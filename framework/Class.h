#pragma once

#include "host/List.h"
#include "host/Object.h"
#include "host/SmartPointer.h"
#include "host/String.h"

namespace kest::pf {

class Context;
class Instance;

// Class: a provider's declaration of one CIM class it serves: the name (case
// kept as written), whether it is an association, its place in the class tree
// and up to three factory functions.
//
// The tree holds strong pointers both ways (child list and base pointer);
// setBaseClass and setChildClass are independent, so a provider calls both to
// link a pair. A tree linked both ways is never freed before the process ends
// unless the provider unlinks it.
//
// Threads: not synchronised; declare and link classes before requests come.
class Class {
 public:
  using InstanceList = TOVSmrPtr<TOVValSlist<TOVSmrPtr<Instance>>>;
  using ObjectList = TOVSmrPtr<TOVValSlist<TOVSmrPtr<ITovaObject>>>;
  using ClassList = TOVSmrPtr<TOVValSlist<TOVSmrPtr<Class>>>;
  using CreateAllInstancesFunction = InstanceList (*)();
  using CreateInstanceFunction = TOVSmrPtr<Instance> (*)();
  using AssociatorsFunction = ObjectList (*)(const TOVSmrPtr<ITovaInstanceName>& instanceName,
                                             const TOVString& nameSpace, Context* context,
                                             bool& handled, const TOVString& resultClassName);

  // Any function may be null. The class starts unlinked, with an empty child
  // list.
  Class(const TOVString& className, CreateAllInstancesFunction createAllInstances,
        CreateInstanceFunction createInstance, bool isAssociation, AssociatorsFunction associators);
  // Copies name, flag and functions; shares the base pointer and the child
  // list object with other.
  Class(const Class& other);
  Class& operator=(const Class&) = delete;

  const TOVString& getClassName() const { return _className; }
  bool isAssociation() const { return _isAssociation; }

  TOVSmrPtr<Class> getBaseClass() const { return _baseClass; }
  void setBaseClass(const TOVSmrPtr<Class>& baseClass) { _baseClass = baseClass; }
  // The live list of direct children, in the order added (never null).
  ClassList getChildClasses() const { return _childClasses; }
  // Appends childClass; no duplicate check.
  void setChildClass(const TOVSmrPtr<Class>& childClass);

  // What the create function returns; null without one.
  TOVSmrPtr<Instance> createInstance() const;
  // What the create-all function returns; null without one.
  InstanceList createAllInstances() const;
  // Always null: lookups go through the instance manager.
  TOVSmrPtr<Instance> getInstance(const TOVSmrPtr<ITovaInstanceName>& instanceName) const;

  // A new list of the classes below this one, depth first, post-order (each
  // child's own descendants before the child), children in list order; with
  // includeSelf, a copy of this class (copy constructor) comes first. A class
  // reachable along two paths is listed twice. The tree must be acyclic.
  ClassList getDeepChildClasses(bool includeSelf) const;

  // Calls the associators function with these arguments and returns its
  // list; without one, returns null and leaves handled untouched.
  ObjectList associators(const TOVSmrPtr<ITovaInstanceName>& instanceName,
                         const TOVString& nameSpace, Context* context, bool& handled,
                         const TOVString& resultClassName) const;

 private:
  TOVString _className;
  TOVSmrPtr<Class> _baseClass;
  ClassList _childClasses;
  bool _isAssociation;
  CreateAllInstancesFunction _createAllInstances;
  CreateInstanceFunction _createInstance;
  AssociatorsFunction _associators;
};

}  // namespace kest::pf
