#pragma once

#include "framework/ClassDirectory.h"
#include "host/Collector.h"
#include "host/InstanceName.h"
#include "host/List.h"
#include "host/Object.h"
#include "host/SmartPointer.h"
#include "host/String.h"
#include "host/Value.h"

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
// Threads: takes no lock and is not thread-safe; a provider that refreshes the
// cache from a poll thread while requests are served serialises the two
// itself.
class InstanceManager {
 public:
  using ObjectList = TOVSmrPtr<TOVValSlist<TOVSmrPtr<ITovaObject>>>;

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

  Provider* _provider;
  ClassDirectory _classDirectory;
};

}  // namespace kest::pf
