#pragma once

#include "framework/ClassDirectory.h"
#include "host/Collector.h"
#include "host/InstanceName.h"
#include "host/List.h"
#include "host/Object.h"
#include "host/SmartPointer.h"
#include "host/String.h"
#include "host/Value.h"

class ITovaRepository;

namespace kest::pf {

class Class;
class Instance;
class InstanceDirectory;
class Provider;

// InstanceManager: the provider's object cache. It owns the class directory,
// which maps each declared class (case-insensitively) to its declaration and
// its instance directory. Provider code declares classes (registerClass, and
// links base and child classes) before it registers their instances; the
// request front end answers getInstance, enumerateInstances and method calls
// from here.
//
// Cache misses are not errors: lookups return null. Undeclared classes are
// errors only where an instance is registered or deregistered (Exception,
// code 17665).
//
// Associations are ordinary cached instances of classes declared as
// associations; their reference properties name the objects they join. The
// association operations (associate to getAssociation) announce, find and
// remove them; the traversals (associators, references) answer the CIM
// association requests by scanning the cached associations, and report no
// error or log record of their own: an unknown class or an uncached object
// gives an empty result. Role, result role and class-name filters compare
// ASCII case-insensitively (except in the two-ended associators form); a
// null or empty filter is absent. What hooks, the repository or a collector
// throw passes through, and results already added stay added.
//
// Threads: takes no lock and is not thread-safe; a provider that refreshes the
// cache from a poll thread while requests are served serialises the two
// itself.
class InstanceManager {
 public:
  using ObjectList = TOVSmrPtr<TOVValSlist<TOVSmrPtr<ITovaObject>>>;
  using ValueList = TOVSmrPtr<TOVValSlist<TOVSmrPtr<ITovaValue>>>;

  InstanceManager();
  ~InstanceManager();
  InstanceManager(const InstanceManager&) = delete;
  InstanceManager& operator=(const InstanceManager&) = delete;

  // The owning provider (not owned); null until setProvider.
  Provider* getProvider() { return _provider; }
  const Provider* getProvider() const { return _provider; }
  void setProvider(Provider* provider) { _provider = provider; }

  // Declares cls with a new, empty instance directory; declaring a name again
  // (in any case) replaces the first declaration and its directory.
  void registerClass(const TOVSmrPtr<Class>& cls);
  // Null when undeclared.
  TOVSmrPtr<Class> lookupClass(const TOVString& className) const;
  // Every declared class, as a new list in the class directory's order (read
  // only: hosts use it to learn which classes the provider serves).
  TOVSmrPtr<TOVValSlist<TOVSmrPtr<Class>>> getClassDeclarations() const {
    return _classDirectory.getClassDeclarations();
  }

  // A new, unregistered instance from the create function of name's class;
  // null for a null name, an undeclared class or a class without one.
  TOVSmrPtr<Instance> createInstance(const TOVSmrPtr<ITovaInstanceName>& name) const;
  // The cached object named name: in its class's directory, else in each
  // direct child class's directory (the keys under the child's class name).
  // Null for a null name, an undeclared class or a miss.
  TOVSmrPtr<ITovaObject> getInstance(const TOVSmrPtr<ITovaInstanceName>& name) const;
  // Like getInstance but tries only the first direct child class, and passes
  // pfInstancePtr on (association classes find that very object).
  TOVSmrPtr<Instance> getPFInstance(const TOVSmrPtr<ITovaInstanceName>& name,
                                    Instance* pfInstancePtr) const;

  // Adds every cached instance of className, then of each child class's
  // subtree in child-list order (depth first, pre-order). An undeclared class
  // reports nothing.
  void enumerateInstances(ICollector<TOVSmrPtr<ITovaObject>>& results,
                          const TOVString& className) const;
  // The same as a new list, streamed through a response collection.
  ObjectList enumerateInstances(const TOVString& className) const;

  // Caches instance in its class's directory and, with indications enabled,
  // raises its creation indication. Throws Exception (where
  // "kest::pf::InstanceManager::registerInstance", "Undeclared class <name>",
  // 17665) for an undeclared class, and the host's null-pointer error when no
  // provider is set.
  void registerInstance(const TOVSmrPtr<Instance>& instance);
  // Removes instance from its directory; if it was there, destroys the cached
  // associations that refer to it and, with indications enabled, raises its
  // deletion indication. Returns whether it was removed (false for null).
  // Throws as registerInstance (where
  // "kest::pf::InstanceManager::deregisterInstance").
  bool deregisterInstance(const TOVSmrPtr<Instance>& instance);

  // Tells both ends that associationInstance now links them. With a resolve
  // flag set, that end is first looked up by the name its value refers to
  // (getInstance, then createInstance) and, when an object is found or
  // made, the caller's value is replaced by a Reference holding the object.
  // An end whose value then holds a framework Instance is told
  // associate(assocClassName, associationInstance); the first end before the
  // second. Nothing checks that associationInstance joins the two. A null
  // value raises the host's null-pointer error.
  void associate(TOVSmrPtr<ITovaValue>& instanceValue1, TOVSmrPtr<ITovaValue>& instanceValue2,
                 const TOVSmrPtr<Instance>& associationInstance, const TOVString& assocClassName,
                 bool resolveInstance1, bool resolveInstance2);
  // Tells the Instance held by assocInstanceValue (if any) that
  // associationInstance no longer links it; the cache is unchanged.
  void disAssociate(const TOVSmrPtr<ITovaValue>& assocInstanceValue,
                    const TOVSmrPtr<Instance>& associationInstance,
                    const TOVString& assocClassName) const;
  // The cached association of className (or of its first child class)
  // between the two named objects, or null. The names are looked up as the
  // two references of an InstanceName; an association directory matches
  // them against any reference properties, so the property names are not
  // compared and exchanging left and right finds the same association.
  TOVSmrPtr<Instance> getAssociation(const TOVString& className, const TOVString& propertyNameLeft,
                                     const TOVString& propertyNameRight,
                                     const TOVSmrPtr<ITovaInstanceName>& instanceNameLeft,
                                     const TOVSmrPtr<ITovaInstanceName>& instanceNameRight);

  // Ties className's directory to associationClassName's so that instances
  // leaving the former destroy the associations of the latter that refer to
  // them. Nothing happens when either class is undeclared.
  void addAssociation(const TOVString& className, const TOVString& associationClassName);
  // Calls destroy("") on every cached association, in the directories tied to
  // classOfInstance or any of its ancestors, with a reference property equal
  // to instance's name (once per such property).
  void removeAssociations(const TOVSmrPtr<Instance>& instance,
                          const TOVSmrPtr<Class>& classOfInstance,
                          const TOVSmrPtr<InstanceDirectory>& instanceDirectory);

  // The objects associated with the object named instanceName, added as
  // values: each far end as a value holding the cached object, or holding
  // its name when the object is not cached.
  //  - Cached source: the object's Instance::associators(assocClassName,
  //    resultClassName, handled, null) hook is asked first. Unless it sets
  //    handled, the associations that references(instanceName,
  //    assocClassName, role) finds are followed: per association, the last
  //    reference property (in property order) that does not name the source
  //    and passes the filters is its far end, and the first property that
  //    fails resultRole, or resultClassName (by name, else by the
  //    repository's subclass test of the held class), ends the search; each
  //    far end (by lower-cased text) is added once.
  //  - Uncached source: the association class's associators function (Class::
  //    associators) is asked; unless it sets handled, the list form of
  //    references is used.
  //  - Then every association of the hook's or function's list is followed:
  //    the first reference property that names the source (with role: that
  //    is also named role) is the source end, and every other reference
  //    property that passes resultRole and resultClassName (the repository's
  //    subclass test of the declared reference class, else the held class's
  //    name) is added, duplicates kept. A property before the source end that
  //    is not a reference raises the host's null-pointer error.
  // A needed subclass test with a null repository raises the host's
  // null-pointer error.
  void associators(ICollector<TOVSmrPtr<ITovaValue>>& results, const TOVString& nameSpace,
                   const TOVSmrPtr<ITovaInstanceName>& instanceName,
                   const TOVString& assocClassName, const TOVString& role,
                   const TOVString& resultRole, const TOVString& resultClassName,
                   const TOVSmrPtr<ITovaRepository>& tovaRepository);
  // The far ends, by name only, of the cached associations of assocClassName
  // and its subclasses (enumeration order): the ends are the properties at
  // index 0 and 1 (a reference, or an embedded object's name); when one names
  // the source the other is added, if resultClassName is absent or equals its
  // class name exactly (case-sensitive). When both name the source, the
  // second is added. An end that holds neither names nothing, so such an
  // association adds nothing. Nothing is added without assocClassName.
  // Duplicates are kept.
  void associators(ICollector<TOVSmrPtr<ITovaValue>>& results,
                   const TOVSmrPtr<ITovaInstanceName>& instanceName,
                   const TOVString& assocClassName, const TOVString& resultClassName);
  // The two-ended form as a new list, streamed through a response
  // collection; never null.
  ValueList associators(TOVSmrPtr<ITovaInstanceName> instanceName, const TOVString& assocClassName,
                        const TOVString& resultClassName);
  // A new empty list, whatever the arguments.
  ValueList associators(const TOVString& nameSpace,
                        const TOVSmrPtr<ITovaInstanceName>& instanceName,
                        const TOVString& assocClassName, const TOVString& role,
                        const TOVString& resultRole, const TOVString& resultClassName,
                        const TOVSmrPtr<ITovaRepository>& tovaRepository);
  // The cached associations that refer to the object named instanceName
  // through a reference property (with role: through the property named
  // role), each added once, in order of a scan of the cache. With
  // resultClassName, the instances of that class and of every class below it
  // (the class first, then its descendants depth first, post-order), whether
  // declared as associations or not; without, the instances of every class
  // declared as an association, in the class directory's order. Only what is
  // cached is scanned; no factory is called.
  void references(ICollector<TOVSmrPtr<ITovaObject>>& results,
                  const TOVSmrPtr<ITovaInstanceName>& instanceName,
                  const TOVString& resultClassName, const TOVString& role);
  // The same as a new list, streamed through a response collection; never
  // null.
  ObjectList references(TOVSmrPtr<ITovaInstanceName> instanceName, const TOVString& resultClassName,
                        const TOVString& role);

  // Purging drops stale objects: those whose update stamp differs from
  // timeStamp (an older or a newer stamp alike).
  //
  // A stale pfInstance (null: nothing) leaves the cache. An association
  // object (isAssoc when useIsAssocFlag, else its class's declaration
  // decides; an undeclared class raises the host's null-pointer error) is
  // only told destroy(""), its override removing it. An ordinary object is,
  // in prune mode, logged and told prune(timeStamp), then deregistered and
  // told destroy().
  void purge(TOVSmrPtr<Instance> pfInstance, long timeStamp, bool isPrune, bool useIsAssocFlag,
             bool isAssoc);
  // Purges, in prune mode, each cached object the values name: a reference
  // value through getInstance (child classes included), any other value
  // through its embedded object. Null values and names of no cached object
  // are skipped; a value that cannot be read is logged and skipped. A null
  // list does nothing.
  void purge(TOVSmrPtr<TOVValSlist<TOVSmrPtr<ITovaValue>>>& instances, long timeStamp);
  // Purges the stale objects cached under className itself (not its child
  // classes), without pruning or logging. Throws Exception (where
  // "kest::pf::InstanceManager::purge", "Undeclared class <name>", 17665)
  // for an undeclared class.
  void purge(const TOVString& className, long timeStamp);

  // Delivers instance's creation (isCreate) or deletion indication: the SMI-S
  // form when the provider has active subscribers, and the host's native form
  // always, both through the provider's context, about a snapshot copy of the
  // instance.
  void generateIndications(const TOVSmrPtr<Instance>& instance, bool isCreate);

 private:
  // The provider; the host's null-pointer error when none is set.
  Provider& provider() const;

  // Adds the cached instances of resultClassName alone that refer to
  // instanceName (see references).
  void _findReferenceObjects(const TOVSmrPtr<ITovaInstanceName>& instanceName,
                             const TOVString& resultClassName, const TOVString& role,
                             ICollector<TOVSmrPtr<ITovaObject>>& objects);

  Provider* _provider;
  ClassDirectory _classDirectory;
};

}  // namespace kest::pf
