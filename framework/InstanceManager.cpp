#include "framework/InstanceManager.h"

#include "framework/Class.h"
#include "framework/Exception.h"
#include "framework/Instance.h"
#include "framework/InstanceDirectory.h"
#include "framework/MessageTable.h"
#include "framework/Provider.h"
#include "host/Exception.h"
#include "host/IndicationServices.h"
#include "host/Log.h"
#include "host/ProviderContext.h"
#include "streaming/MultiResponseCollection.h"
#include "streaming/MultiResponseCollector.h"
#include "streaming/MultiResponseWriter.h"

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
  ObjectList list(new TOVValSlist<TOVSmrPtr<ITovaObject>>());
  const TOVSmrPtr<MultiResponseCollection<TOVSmrPtr<ITovaObject>>> collection =
      MultiResponseCollection<TOVSmrPtr<ITovaObject>>::newCollection(0, -1);
  {
    TOVSmrPtr<IMultiResponse<TOVSmrPtr<ITovaObject>>> writer(
        new MultiResponseWriter<TOVSmrPtr<ITovaObject>>(collection));
    MultiResponseCollector<TOVSmrPtr<ITovaObject>> collector(writer);
    collection->allowComplete();
    enumerateInstances(collector, className);
  }  // releasing the collector and the writer closes the writer
  while (collection->hasNext()) list->append(collection->next());
  return list;
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
