#include "framework/InstanceManager.h"

#include <set>

#include "framework/Class.h"
#include "framework/Exception.h"
#include "framework/Instance.h"
#include "framework/InstanceDirectory.h"
#include "framework/InstanceName.h"
#include "framework/MessageTable.h"
#include "framework/Provider.h"
#include "framework/Reference.h"
#include "host/CimType.h"
#include "host/Exception.h"
#include "host/IndicationServices.h"
#include "host/Log.h"
#include "host/Property.h"
#include "host/ProviderContext.h"
#include "host/Repository.h"
#include "streaming/MultiResponseCollection.h"
#include "streaming/MultiResponseCollector.h"
#include "streaming/MultiResponseWriter.h"
#include "streaming/VectorCollector.h"

namespace kest::pf {

namespace {

constexpr int kUndeclaredClassCode = 17665;  // 0x4501

[[noreturn]] void throwUndeclared(const char* where, const TOVString& className) {
  throw Exception(where, MessageTable::E_PFPROVIDER_ERROR_UNDECLARED_CLASS + " " + className,
                  kUndeclaredClassCode);
}

const TOVString kPurgeLogSource("PFInstanceManager::purge");

void logPurge(const TOVString& message) {
  TOVLog::log(kPurgeLogSource, message, 1, 2, 0, TOVLog::CIMOMLOG);
}

// Runs query with a collector that feeds a fresh, unbounded response
// collection, then drains the collection into a new list, in the order the
// results were added.
template <typename T, typename Query>
TOVSmrPtr<TOVValSlist<T>> collectedList(Query query) {
  TOVSmrPtr<TOVValSlist<T>> list(new TOVValSlist<T>());
  const TOVSmrPtr<MultiResponseCollection<T>> collection =
      MultiResponseCollection<T>::newCollection(0, -1);
  {
    TOVSmrPtr<IMultiResponse<T>> writer(new MultiResponseWriter<T>(collection));
    MultiResponseCollector<T> collector(writer);
    collection->allowComplete();
    query(collector);
  }  // releasing the collector and the writer closes the writer
  while (collection->hasNext()) list->append(collection->next());
  return list;
}

// The source of a traversal, compared with the many names the traversal
// meets by the host's name equality. The source's canonical text is taken
// once, at the first comparison, and each other name is tested against it in
// place (ITovaInstanceName::hasCanonicalText), so comparing builds no text
// for names that keep theirs. A null source raises the host's null-pointer
// error at the first comparison, as dereferencing it would.
class SourceName {
 public:
  explicit SourceName(const TOVSmrPtr<ITovaInstanceName>& name) : _name(name) {}

  bool isNamedBy(const ITovaInstanceName& other) {
    if (!_taken) {
      _text = _name->toString();
      _taken = true;
    }
    return other.hasCanonicalText(_text);
  }
  // A null name names nothing.
  bool isNamedBy(const TOVSmrPtr<ITovaInstanceName>& other) { return other && isNamedBy(*other); }

 private:
  const TOVSmrPtr<ITovaInstanceName>& _name;
  TOVString _text;
  bool _taken = false;
};

bool isReferenceProperty(const TOVSmrPtr<ITovaProperty>& property) {
  if (!property) return false;
  const TOVSmrPtr<ITovaType> type = property->getType();
  return type && type->isReference();
}

// Whether property is a reference property (and not atomic) whose referenced
// name is the source's. A missing property, type, value or name refers to
// nothing.
bool refersTo(const TOVSmrPtr<ITovaProperty>& property, SourceName& source) {
  if (!property) return false;
  const TOVSmrPtr<ITovaType> type = property->getType();
  if (!type || !type->isReference() || type->isAtomic()) return false;
  const TOVSmrPtr<ITovaValue> value = property->getValue();
  return value && source.isNamedBy(value->getReference());
}

// The name an end of a two-ended association names: the reference a
// reference value holds, or the instance name of the object an embedded
// object value holds. Anything else (a missing property or value, an atomic
// or array value, an empty object value) names nothing.
TOVSmrPtr<ITovaInstanceName> endName(const TOVSmrPtr<ITovaProperty>& property) {
  if (!property) return TOVSmrPtr<ITovaInstanceName>();
  const TOVSmrPtr<ITovaValue> value = property->getValue();
  if (!value) return TOVSmrPtr<ITovaInstanceName>();
  const TOVSmrPtr<ITovaType> type = value->getType();
  if (!type) return TOVSmrPtr<ITovaInstanceName>();
  if (type->isReference()) return value->getReference();
  if (type->isAtomic() || type->isArray()) return TOVSmrPtr<ITovaInstanceName>();
  const TOVSmrPtr<ITovaObject> object = value->getObject();
  return object ? object->getInstanceName() : TOVSmrPtr<ITovaInstanceName>();
}

// One request of the full associator traversal: the source, the filters and
// where the far ends go. Both ways of following association objects to their
// far ends live here.
class AssociatorWalk {
 public:
  AssociatorWalk(InstanceManager& manager, ICollector<TOVSmrPtr<ITovaValue>>& results,
                 const TOVString& nameSpace, const TOVSmrPtr<ITovaInstanceName>& instanceName,
                 const TOVString& role, const TOVString& resultRole,
                 const TOVString& resultClassName, const TOVSmrPtr<ITovaRepository>& repository)
      : _manager(manager),
        _results(results),
        _nameSpace(nameSpace),
        _source(instanceName),
        _role(role),
        _resultRole(resultRole),
        _resultClassName(resultClassName),
        _repository(repository) {}

  // The associations a reference scan found: each one's result property (see
  // resultPropertyOf) gives one far end, added once per lower-cased text.
  void addDistinctFarEnds(const VectorCollector<TOVSmrPtr<ITovaObject>>& associations) {
    std::set<TOVString> uniqResults;
    for (const TOVSmrPtr<ITovaObject>& association : associations) {
      const TOVSmrPtr<ITovaProperty> resultProperty = resultPropertyOf(*association);
      if (!resultProperty) continue;
      const TOVSmrPtr<ITovaValue> value = resultProperty->getValue();
      TOVString key = value->toString();
      key.toLower();
      if (!uniqResults.insert(key).second) continue;
      // Only reference properties are ever chosen.
      addResolved(value->getReference());
    }
  }

  // Associations a hook or the reference list gave: from the source end
  // (with a role: the one named role), every other qualifying reference
  // property is a far end; duplicates are kept.
  void addEveryFarEnd(const TOVValSlist<TOVSmrPtr<ITovaObject>>& associations) {
    for (const TOVSmrPtr<ITovaObject>& association : associations) {
      TOVString sourceRoleName;
      if (findSourceRole(*association, sourceRoleName)) {
        addFarEndsBesides(*association, sourceRoleName);
      }
    }
  }

 private:
  // The far-end property of one association: scanning the properties in
  // order, past the source's own reference, the last reference property that
  // passes the result role and result class filters; a reference property
  // that fails one ends the scan, keeping what was chosen before. Null when
  // none qualifies.
  TOVSmrPtr<ITovaProperty> resultPropertyOf(const ITovaObject& association) {
    TOVSmrPtr<ITovaProperty> chosen;
    const unsigned long count = association.getNumberOfProperties(true);
    for (unsigned long i = 0; i < count; ++i) {
      const TOVSmrPtr<ITovaProperty> property = association.getPropertyAt(i, true);
      if (!isReferenceProperty(property)) continue;
      const TOVSmrPtr<ITovaInstanceName> ref = property->getValue()->getReference();
      if (_source.isNamedBy(ref)) continue;
      if (!_resultRole.isNull() && _resultRole.compareTo(property->getName(), 0) != 0) break;
      if (!_resultClassName.isNull()) {
        const TOVString refClassName = ref->getClassname();
        if (_resultClassName.compareTo(refClassName, 0) != 0 &&
            !_repository->isSubclass(_nameSpace, refClassName, _resultClassName)) {
          break;
        }
      }
      chosen = property;
    }
    return chosen;
  }

  // The first property that refers to the source (with a role: and is named
  // role). Every property up to it is compared by dereferencing its
  // reference, so one that is not a reference raises the host's null-pointer
  // error. Sets sourceRoleName and returns true when found.
  bool findSourceRole(const ITovaObject& association, TOVString& sourceRoleName) {
    const unsigned long count = association.getNumberOfProperties(true);
    for (unsigned long i = 0; i < count; ++i) {
      const TOVSmrPtr<ITovaProperty> property = association.getPropertyAt(i, true);
      TOVSmrPtr<ITovaInstanceName> ref;
      if (isReferenceProperty(property)) ref = property->getValue()->getReference();
      if (!_source.isNamedBy(*ref)) continue;
      const TOVString name = property->getName();
      if (_role.isNull() || _role.compareTo(name, 0) == 0) {
        sourceRoleName = name;
        return true;
      }
    }
    return false;
  }

  void addFarEndsBesides(const ITovaObject& association, const TOVString& sourceRoleName) {
    const unsigned long count = association.getNumberOfProperties(true);
    for (unsigned long i = 0; i < count; ++i) {
      const TOVSmrPtr<ITovaProperty> property = association.getPropertyAt(i, true);
      const TOVString name = property->getName();
      if (name.compareTo(sourceRoleName, 0) == 0) continue;
      if (!_resultRole.isNull() && _resultRole.compareTo(name, 0) != 0) continue;
      if (!isReferenceProperty(property)) continue;
      const TOVSmrPtr<ITovaInstanceName> ref = property->getValue()->getReference();
      // The class the reference is declared to point to, then the class of
      // the name it holds.
      if (!_resultClassName.isNull() &&
          !_repository->isSubclass(_nameSpace, property->getType()->getName(), _resultClassName) &&
          _resultClassName.compareTo(ref->getClassname(), 0) != 0) {
        continue;
      }
      addResolved(ref);
    }
  }

  // Adds the cached object named name, or the name when it is not cached.
  void addResolved(const TOVSmrPtr<ITovaInstanceName>& name) {
    const TOVSmrPtr<ITovaObject> object = _manager.getInstance(name);
    if (object) {
      _results.add(TOVSmrPtr<ITovaValue>(new CTovaValue(object)));
    } else {
      _results.add(TOVSmrPtr<ITovaValue>(new CTovaValue(name)));
    }
  }

  InstanceManager& _manager;
  ICollector<TOVSmrPtr<ITovaValue>>& _results;
  const TOVString& _nameSpace;
  SourceName _source;
  const TOVString& _role;
  const TOVString& _resultRole;
  const TOVString& _resultClassName;
  const TOVSmrPtr<ITovaRepository>& _repository;
};

// Replaces value, when resolve is set, by a Reference holding the object it
// names: the cached one, else a new one from its class's create function.
void resolveEnd(InstanceManager& manager, TOVSmrPtr<ITovaValue>& value, bool resolve) {
  if (!resolve) return;
  const TOVSmrPtr<ITovaInstanceName> name = value->getReference();
  TOVSmrPtr<ITovaObject> object = manager.getInstance(name);
  if (!object) object = manager.createInstance(name);
  if (object) value = TOVSmrPtr<ITovaValue>(new Reference(object));
}

// The framework Instance value holds, or null (a name, or an object of
// another implementation).
TOVSmrPtr<Instance> instanceHeldBy(const TOVSmrPtr<ITovaValue>& value) {
  return value->getObject().dynamicCast<Instance>();
}

}  // namespace

InstanceManager::InstanceManager() : _provider(nullptr) {}

InstanceManager::~InstanceManager() = default;

Provider& InstanceManager::provider() const {
  if (_provider == nullptr) throw TOVNullPointerException();
  return *_provider;
}

void InstanceManager::registerClass(const TOVSmrPtr<Class>& cls) {
  TOVSmrPtr<InstanceDirectory> directory(new InstanceDirectory(cls->isAssociation()));
  _classDirectory.insert(cls->getClassName(), directory, cls);
}

TOVSmrPtr<Class> InstanceManager::lookupClass(const TOVString& className) const {
  return _classDirectory.lookupClassDeclaration(className);
}

TOVSmrPtr<Instance> InstanceManager::createInstance(
    const TOVSmrPtr<ITovaInstanceName>& name) const {
  if (!name) return TOVSmrPtr<Instance>();
  const TOVSmrPtr<Class> cls = lookupClass(name->getClassname());
  if (!cls) return TOVSmrPtr<Instance>();
  return cls->createInstance();
}

TOVSmrPtr<ITovaObject> InstanceManager::getInstance(
    const TOVSmrPtr<ITovaInstanceName>& name) const {
  if (!name) return TOVSmrPtr<ITovaObject>();
  const TOVString className = name->getClassname();
  const TOVSmrPtr<InstanceDirectory> directory = _classDirectory.lookupInstanceDirectory(className);
  if (!directory) return TOVSmrPtr<ITovaObject>();
  TOVSmrPtr<Instance> found = directory->lookup(name, nullptr);
  if (found) return found;

  // An object cached under a direct child class: look it up with the same
  // keys under the child's class name.
  const TOVSmrPtr<Class> cls = _classDirectory.lookupClassDeclaration(className);
  if (!cls) return TOVSmrPtr<ITovaObject>();
  const TOVSmrPtr<TOVValSlist<TOVSmrPtr<Class>>> children = cls->getChildClasses();
  for (const TOVSmrPtr<Class>& child : *children) {
    const TOVSmrPtr<InstanceDirectory> childDirectory =
        _classDirectory.lookupInstanceDirectory(child->getClassName());
    TOVPropertyList keys(new TOVValSlist<TOVSmrPtr<ITovaProperty>>());
    const unsigned long count = name->getNumberOfKeyProperties();
    keys->reserve(count);
    for (unsigned long i = 0; i < count; ++i) keys->append(name->getKeyPropertyAt(i));
    const TOVSmrPtr<ITovaInstanceName> childName(
        new CTovaInstanceName(child->getClassName(), keys, TOVSmrPtr<ITovaNameSpacePath>()));
    found = childDirectory->lookup(childName, nullptr);
    if (found) return found;
  }
  return TOVSmrPtr<ITovaObject>();
}

TOVSmrPtr<Instance> InstanceManager::getPFInstance(const TOVSmrPtr<ITovaInstanceName>& name,
                                                   Instance* pfInstancePtr) const {
  const TOVString className = name->getClassname();
  const TOVSmrPtr<InstanceDirectory> directory = _classDirectory.lookupInstanceDirectory(className);
  if (!directory) return TOVSmrPtr<Instance>();
  const TOVSmrPtr<Instance> found = directory->lookup(name, pfInstancePtr);
  if (found) return found;

  // Only the first direct child class is tried (unlike getInstance).
  const TOVSmrPtr<Class> cls = _classDirectory.lookupClassDeclaration(className);
  if (!cls) return TOVSmrPtr<Instance>();
  const TOVSmrPtr<TOVValSlist<TOVSmrPtr<Class>>> children = cls->getChildClasses();
  if (children->isEmpty()) return TOVSmrPtr<Instance>();
  const TOVSmrPtr<Class>& child = children->at(0);
  const TOVSmrPtr<InstanceDirectory> childDirectory =
      _classDirectory.lookupInstanceDirectory(child->getClassName());
  const TOVSmrPtr<ITovaInstanceName> childName(new CTovaInstanceName(
      child->getClassName(), name->getKeyProperties(), TOVSmrPtr<ITovaNameSpacePath>()));
  return childDirectory->lookup(childName, pfInstancePtr);
}

void InstanceManager::enumerateInstances(ICollector<TOVSmrPtr<ITovaObject>>& results,
                                         const TOVString& className) const {
  const TOVSmrPtr<InstanceDirectory> directory = _classDirectory.lookupInstanceDirectory(className);
  if (!directory) return;
  const InstanceDirectory::InstanceList instances = directory->getAllInstances();
  for (const TOVSmrPtr<Instance>& instance : *instances) {
    results.add(TOVSmrPtr<ITovaObject>(instance));
  }
  const TOVSmrPtr<Class> cls = _classDirectory.lookupClassDeclaration(className);
  if (!cls) return;
  const TOVSmrPtr<TOVValSlist<TOVSmrPtr<Class>>> children = cls->getChildClasses();
  for (const TOVSmrPtr<Class>& child : *children) {
    enumerateInstances(results, child->getClassName());
  }
}

InstanceManager::ObjectList InstanceManager::enumerateInstances(const TOVString& className) const {
  return collectedList<TOVSmrPtr<ITovaObject>>([&](ICollector<TOVSmrPtr<ITovaObject>>& collector) {
    enumerateInstances(collector, className);
  });
}

void InstanceManager::registerInstance(const TOVSmrPtr<Instance>& instance) {
  const TOVString className = instance->getClassName();
  const TOVSmrPtr<InstanceDirectory> directory = _classDirectory.lookupInstanceDirectory(className);
  if (!directory) throwUndeclared("kest::pf::InstanceManager::registerInstance", className);
  directory->insert(instance);
  if (provider().getIndicationsEnabled()) generateIndications(instance, true);
}

bool InstanceManager::deregisterInstance(const TOVSmrPtr<Instance>& instance) {
  if (!instance) return false;
  const TOVString className = instance->getClassName();
  const TOVSmrPtr<InstanceDirectory> directory = _classDirectory.lookupInstanceDirectory(className);
  if (!directory) throwUndeclared("kest::pf::InstanceManager::deregisterInstance", className);
  const bool removed = directory->remove(instance);
  if (removed) {
    const TOVSmrPtr<Class> cls = lookupClass(className);
    if (cls) removeAssociations(instance, cls, directory);
    if (provider().getIndicationsEnabled()) generateIndications(instance, false);
  }
  return removed;
}

void InstanceManager::associate(TOVSmrPtr<ITovaValue>& instanceValue1,
                                TOVSmrPtr<ITovaValue>& instanceValue2,
                                const TOVSmrPtr<Instance>& associationInstance,
                                const TOVString& assocClassName, bool resolveInstance1,
                                bool resolveInstance2) {
  resolveEnd(*this, instanceValue1, resolveInstance1);
  resolveEnd(*this, instanceValue2, resolveInstance2);
  if (const TOVSmrPtr<Instance> instance1 = instanceHeldBy(instanceValue1)) {
    instance1->associate(assocClassName, associationInstance);
  }
  if (const TOVSmrPtr<Instance> instance2 = instanceHeldBy(instanceValue2)) {
    instance2->associate(assocClassName, associationInstance);
  }
}

void InstanceManager::disAssociate(const TOVSmrPtr<ITovaValue>& assocInstanceValue,
                                   const TOVSmrPtr<Instance>& associationInstance,
                                   const TOVString& assocClassName) const {
  if (const TOVSmrPtr<Instance> instance = instanceHeldBy(assocInstanceValue)) {
    instance->disAssociate(assocClassName, associationInstance);
  }
}

TOVSmrPtr<Instance> InstanceManager::getAssociation(
    const TOVString& className, const TOVString& propertyNameLeft,
    const TOVString& propertyNameRight, const TOVSmrPtr<ITovaInstanceName>& instanceNameLeft,
    const TOVSmrPtr<ITovaInstanceName>& instanceNameRight) {
  TOVPropertyList keyProperties(new TOVValSlist<TOVSmrPtr<ITovaProperty>>());
  keyProperties->append(TOVSmrPtr<ITovaProperty>(new CTovaProperty(
      propertyNameLeft, TOVSmrPtr<ITovaValue>(new CTovaValue(instanceNameLeft)), false)));
  keyProperties->append(TOVSmrPtr<ITovaProperty>(new CTovaProperty(
      propertyNameRight, TOVSmrPtr<ITovaValue>(new CTovaValue(instanceNameRight)), false)));
  const TOVSmrPtr<ITovaInstanceName> associationInstanceName(
      new InstanceName(className, keyProperties, TOVSmrPtr<ITovaNameSpacePath>()));
  return getPFInstance(associationInstanceName, nullptr);
}

void InstanceManager::addAssociation(const TOVString& className,
                                     const TOVString& associationClassName) {
  const TOVSmrPtr<InstanceDirectory> directory = _classDirectory.lookupInstanceDirectory(className);
  const TOVSmrPtr<InstanceDirectory> associationDirectory =
      _classDirectory.lookupInstanceDirectory(associationClassName);
  if (directory && associationDirectory) directory->addAssociation(associationDirectory);
}

void InstanceManager::removeAssociations(const TOVSmrPtr<Instance>& instance,
                                         const TOVSmrPtr<Class>& classOfInstance,
                                         const TOVSmrPtr<InstanceDirectory>& instanceDirectory) {
  const TOVValSlist<TOVSmrPtr<InstanceDirectory>>* associationList =
      instanceDirectory->getAssociationList();
  if (associationList != nullptr) {
    const TOVString emptyString("");
    const TOVSmrPtr<ITovaInstanceName> instanceName = instance->getInstanceName();
    for (const TOVSmrPtr<InstanceDirectory>& associationDirectory : *associationList) {
      // A snapshot: a destroy() override may deregister the association.
      const InstanceDirectory::InstanceList associations = associationDirectory->getAllInstances();
      if (!associations) continue;
      for (const TOVSmrPtr<Instance>& association : *associations) {
        const unsigned long count = association->getNumberOfProperties(true);
        for (unsigned long i = 0; i < count; ++i) {
          const TOVSmrPtr<ITovaValue> value = association->getPropertyAt(i, true)->getValue();
          if (value->getType()->isReference() && *value->getReference() == *instanceName) {
            association->destroy(emptyString);
          }
        }
      }
    }
  }
  const TOVSmrPtr<Class> baseClass = classOfInstance->getBaseClass();
  if (baseClass) {
    removeAssociations(instance, baseClass,
                       _classDirectory.lookupInstanceDirectory(baseClass->getClassName()));
  }
}

void InstanceManager::associators(ICollector<TOVSmrPtr<ITovaValue>>& results,
                                  const TOVString& nameSpace,
                                  const TOVSmrPtr<ITovaInstanceName>& instanceName,
                                  const TOVString& assocClassName, const TOVString& role,
                                  const TOVString& resultRole, const TOVString& resultClassName,
                                  const TOVSmrPtr<ITovaRepository>& tovaRepository) {
  AssociatorWalk walk(*this, results, nameSpace, instanceName, role, resultRole, resultClassName,
                      tovaRepository);
  ObjectList associatedObjectList(new TOVValSlist<TOVSmrPtr<ITovaObject>>());
  bool handled = false;

  const TOVSmrPtr<ITovaObject> sourceObject = getInstance(instanceName);
  if (sourceObject) {
    // Every object the cache hands out is an Instance.
    associatedObjectList = sourceObject.staticCast<Instance>()->associators(
        assocClassName, resultClassName, handled, nullptr);
    if (!handled) {
      VectorCollector<TOVSmrPtr<ITovaObject>> associations;
      references(associations, instanceName, assocClassName, role);
      walk.addDistinctFarEnds(associations);
      handled = true;
    }
  }

  if (!handled) {
    const TOVSmrPtr<Class> pfClass = _classDirectory.lookupClassDeclaration(assocClassName);
    if (pfClass) {
      bool classHandled = false;
      associatedObjectList =
          pfClass->associators(instanceName, nameSpace, nullptr, classHandled, resultClassName);
      if (!classHandled) associatedObjectList = references(instanceName, assocClassName, role);
    }
  }

  if (associatedObjectList) walk.addEveryFarEnd(*associatedObjectList);
}

void InstanceManager::associators(ICollector<TOVSmrPtr<ITovaValue>>& results,
                                  const TOVSmrPtr<ITovaInstanceName>& instanceName,
                                  const TOVString& assocClassName,
                                  const TOVString& resultClassName) {
  if (assocClassName.isNull()) return;
  VectorCollector<TOVSmrPtr<ITovaObject>> associations;
  enumerateInstances(associations, assocClassName);
  SourceName source(instanceName);
  for (const TOVSmrPtr<ITovaObject>& association : associations) {
    const TOVSmrPtr<ITovaInstanceName> first = endName(association->getPropertyAt(0, true));
    const TOVSmrPtr<ITovaInstanceName> second = endName(association->getPropertyAt(1, true));
    TOVSmrPtr<ITovaInstanceName> candidate;
    if (source.isNamedBy(first)) {
      candidate = second;
    } else if (source.isNamedBy(second)) {
      candidate = first;
    }
    if (!candidate) continue;
    // The one comparison of class names that keeps case.
    if (resultClassName.isNull() || resultClassName == candidate->getClassname()) {
      results.add(TOVSmrPtr<ITovaValue>(new CTovaValue(candidate)));
    }
  }
}

InstanceManager::ValueList InstanceManager::associators(TOVSmrPtr<ITovaInstanceName> instanceName,
                                                        const TOVString& assocClassName,
                                                        const TOVString& resultClassName) {
  return collectedList<TOVSmrPtr<ITovaValue>>([&](ICollector<TOVSmrPtr<ITovaValue>>& collector) {
    associators(collector, instanceName, assocClassName, resultClassName);
  });
}

InstanceManager::ValueList InstanceManager::associators(
    const TOVString& /*nameSpace*/, const TOVSmrPtr<ITovaInstanceName>& /*instanceName*/,
    const TOVString& /*assocClassName*/, const TOVString& /*role*/, const TOVString& /*resultRole*/,
    const TOVString& /*resultClassName*/, const TOVSmrPtr<ITovaRepository>& /*tovaRepository*/) {
  return ValueList(new TOVValSlist<TOVSmrPtr<ITovaValue>>());
}

void InstanceManager::references(ICollector<TOVSmrPtr<ITovaObject>>& results,
                                 const TOVSmrPtr<ITovaInstanceName>& instanceName,
                                 const TOVString& resultClassName, const TOVString& role) {
  if (!resultClassName.isNull()) {
    const TOVSmrPtr<Class> cls = _classDirectory.lookupClassDeclaration(resultClassName);
    if (!cls) return;
    const Class::ClassList classes = cls->getDeepChildClasses(true);
    for (const TOVSmrPtr<Class>& each : *classes) {
      _findReferenceObjects(instanceName, each->getClassName(), role, results);
    }
    return;
  }
  const Class::ClassList classes = _classDirectory.getClassDeclarations();
  for (const TOVSmrPtr<Class>& each : *classes) {
    if (each->isAssociation()) {
      _findReferenceObjects(instanceName, each->getClassName(), role, results);
    }
  }
}

InstanceManager::ObjectList InstanceManager::references(TOVSmrPtr<ITovaInstanceName> instanceName,
                                                        const TOVString& resultClassName,
                                                        const TOVString& role) {
  return collectedList<TOVSmrPtr<ITovaObject>>([&](ICollector<TOVSmrPtr<ITovaObject>>& collector) {
    references(collector, instanceName, resultClassName, role);
  });
}

void InstanceManager::_findReferenceObjects(const TOVSmrPtr<ITovaInstanceName>& instanceName,
                                            const TOVString& resultClassName, const TOVString& role,
                                            ICollector<TOVSmrPtr<ITovaObject>>& objects) {
  const TOVSmrPtr<InstanceDirectory> directory =
      _classDirectory.lookupInstanceDirectory(resultClassName);
  if (!directory) return;
  const InstanceDirectory::InstanceList instances = directory->getAllInstances();
  if (!instances || instances->isEmpty()) return;
  SourceName source(instanceName);
  for (const TOVSmrPtr<Instance>& instance : *instances) {
    if (!role.isNull()) {
      if (refersTo(instance->getPropertyByName(role, true), source)) objects.add(instance);
      continue;
    }
    const unsigned long count = instance->getNumberOfProperties(true);
    for (unsigned long i = 0; i < count; ++i) {
      if (refersTo(instance->getPropertyAt(i, true), source)) {
        objects.add(instance);
        break;
      }
    }
  }
}

void InstanceManager::purge(TOVSmrPtr<Instance> pfInstance, long timeStamp, bool isPrune,
                            bool useIsAssocFlag, bool isAssoc) {
  if (!pfInstance) return;
  if (pfInstance->getUpdateStamp() == timeStamp) return;
  const bool isAssociation =
      useIsAssocFlag ? isAssoc : lookupClass(pfInstance->getClassName())->isAssociation();
  if (isAssociation) {
    pfInstance->destroy(TOVString(""));
    return;
  }
  if (isPrune) {
    logPurge("pruning: " + pfInstance->getInstanceName()->toString());
    pfInstance->prune(timeStamp);
  }
  deregisterInstance(pfInstance);
  pfInstance->destroy();
}

void InstanceManager::purge(TOVSmrPtr<TOVValSlist<TOVSmrPtr<ITovaValue>>>& instances,
                            long timeStamp) {
  if (!instances) return;
  for (const TOVSmrPtr<ITovaValue>& value : *instances) {
    if (!value) continue;
    TOVSmrPtr<ITovaObject> object;
    try {
      if (value->getType()->isReference()) {
        const TOVSmrPtr<ITovaInstanceName> name = value->getReference();
        if (name) object = getInstance(name);
      } else {
        object = value->getObject();
      }
    } catch (...) {
      logPurge("Exception caught");
      object.reset();
    }
    if (!object) continue;
    // Every object the cache hands out is an Instance.
    purge(object.staticCast<Instance>(), timeStamp, true, false, false);
  }
}

void InstanceManager::purge(const TOVString& className, long timeStamp) {
  const TOVSmrPtr<InstanceDirectory> directory = _classDirectory.lookupInstanceDirectory(className);
  if (!directory) throwUndeclared("kest::pf::InstanceManager::purge", className);
  const bool isAssociation = lookupClass(className)->isAssociation();
  const TOVString emptyString("");
  // A snapshot: deregistering and destroy() overrides change the directory.
  const InstanceDirectory::InstanceList instances = directory->getAllInstances();
  for (const TOVSmrPtr<Instance>& instance : *instances) {
    if (instance->getUpdateStamp() == timeStamp) continue;
    if (isAssociation) {
      instance->destroy(emptyString);
    } else {
      deregisterInstance(instance);
      instance->destroy();
    }
  }
}

void InstanceManager::generateIndications(const TOVSmrPtr<Instance>& instance, bool isCreate) {
  const TOVSmrPtr<ITovaObject> object(new CTovaClientObject(*instance, true));
  Provider& owner = provider();
  const TOVString& indicationClass = isCreate ? kest::SMISIndicationFactory::CIM_INST_CREATION
                                              : kest::SMISIndicationFactory::CIM_INST_DELETION;
  if (owner.hasActiveSubscribers(indicationClass, object)) {
    const TOVString id = owner.getNextIndicationIdentifier();
    const TOVSmrPtr<CTovaObject> smis =
        isCreate ? kest::SMISIndicationFactory::createInstCreation(id, object)
                 : kest::SMISIndicationFactory::createInstDeletion(id, object);
    owner.getProviderContext()->deliverIndication(ITovaObject::getLocalNameSpace(object),
                                                  CTovaObject::iPtr(smis));
  }
  const TOVSmrPtr<ITovaIndication> legacy(new CTovaIndication(
      object,
      isCreate ? ITovaIndication::IndicationCreation : ITovaIndication::IndicationDestruction,
      TOVSmrPtr<TOVValSlist<TOVString>>(), nullptr, 1, TOVSmrPtr<TOVValSlist<TOVString>>(), false));
  owner.getProviderContext()->deliverLegacyIndication(legacy);
}

}  // namespace kest::pf
