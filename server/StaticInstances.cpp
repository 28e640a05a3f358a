#include "server/StaticInstances.h"

#include <set>
#include <utility>

#include "host/Ascii.h"
#include "host/Property.h"
#include "server/CimError.h"

namespace kest::server {

namespace {

using kest::repository::InstancePointer;

bool sameName(const TOVString& a, const TOVString& b) {
  return kest::ascii::equalsIgnoreCase(a.view(), b.view());
}

// The referenced name of a non-null reference value; null otherwise.
TOVSmrPtr<ITovaInstanceName> referenceIn(const TOVSmrPtr<ITovaProperty>& property) {
  if (!property) return TOVSmrPtr<ITovaInstanceName>();
  const TOVSmrPtr<ITovaValue> value = property->getValue();
  if (!value || value->isNullValue()) return TOVSmrPtr<ITovaInstanceName>();
  const TOVSmrPtr<ITovaType> type = value->getType();
  if (!type || !type->isReference() || type->isArray()) return TOVSmrPtr<ITovaInstanceName>();
  return value->getReference();
}

// The namespace a referenced name lives in: its own path's, else the
// request's.
TOVString nameSpaceOf(const ITovaInstanceName& name, const TOVString& nameSpace) {
  const TOVSmrPtr<ITovaNameSpacePath> path = name.getNameSpacePath();
  if (path && !path->getNameSpace().isNull()) return path->getNameSpace();
  return nameSpace;
}

std::string readOnly(const kest::repository::CompiledInstance& instance,
                     const std::string& operation) {
  std::string where = instance.location.toString();
  return operation + " refused: the instance " + instance.name()->toString().toStdString() +
         " is read-only: it was compiled from MOF" + (where.empty() ? "" : " (" + where + ")");
}

}  // namespace

StaticInstances::StaticInstances(const ClassCatalog& catalog) : _catalog(catalog) {}

bool StaticInstances::hasInstances(const TOVString& nameSpace, const TOVString& className) const {
  return _catalog.classRepository().hasInstances(nameSpace, className, true);
}

std::vector<TOVSmrPtr<ITovaObject>> StaticInstances::instances(const TOVString& nameSpace,
                                                               const TOVString& className) const {
  std::vector<TOVSmrPtr<ITovaObject>> result;
  if (!hasInstances(nameSpace, className)) return result;
  for (const InstancePointer& instance :
       _catalog.classRepository().instancesOf(nameSpace, className, true)) {
    result.push_back(instance->object);
  }
  return result;
}

std::vector<TOVSmrPtr<ITovaInstanceName>> StaticInstances::instanceNames(
    const TOVString& nameSpace, const TOVString& className) const {
  std::vector<TOVSmrPtr<ITovaInstanceName>> result;
  if (!hasInstances(nameSpace, className)) return result;
  for (const InstancePointer& instance :
       _catalog.classRepository().instancesOf(nameSpace, className, true)) {
    result.push_back(instance->name());
  }
  return result;
}

TOVSmrPtr<ITovaObject> StaticInstances::find(const TOVString& nameSpace,
                                             const TOVSmrPtr<ITovaInstanceName>& name) const {
  if (!name) return TOVSmrPtr<ITovaObject>();
  const kest::repository::ClassRepository& repository = _catalog.classRepository();
  if (!repository.hasInstances(nameSpace, name->getClassname(), false)) {
    return TOVSmrPtr<ITovaObject>();
  }
  const InstancePointer instance = repository.findInstance(nameSpace, *name);
  return instance ? instance->object : TOVSmrPtr<ITovaObject>();
}

void StaticInstances::refuseChange(const TOVString& nameSpace,
                                   const TOVSmrPtr<ITovaInstanceName>& name,
                                   const std::string& operation) const {
  if (!name) return;
  const kest::repository::ClassRepository& repository = _catalog.classRepository();
  if (!repository.hasInstances(nameSpace, name->getClassname(), false)) return;
  const InstancePointer instance = repository.findInstance(nameSpace, *name);
  if (instance) throw CimError(CIM_ERR_NOT_SUPPORTED, readOnly(*instance, operation));
}

void StaticInstances::refuseCreate(const TOVString& nameSpace,
                                   const TOVSmrPtr<ITovaObject>& instance) const {
  if (!instance) return;
  const TOVString& className = instance->getClassName();
  if (!_catalog.classRepository().hasInstances(nameSpace, className, false)) return;
  const kest::repository::ClassPointer cls = _catalog.find(nameSpace, className);
  if (!cls) return;
  TOVPropertyList keys(new TOVValSlist<TOVSmrPtr<ITovaProperty>>());
  for (const TOVString& key : cls->keyNames()) {
    const TOVSmrPtr<ITovaProperty> property = instance->getPropertyByName(key, true);
    if (!property || !property->getValue()) return;
    keys->append(TOVSmrPtr<ITovaProperty>(new CTovaProperty(key, property->getValue(), false)));
  }
  const TOVSmrPtr<ITovaInstanceName> name(
      new CTovaInstanceName(className, keys, TOVSmrPtr<ITovaNameSpacePath>()));
  refuseChange(nameSpace, name, "CreateInstance");
}

std::vector<StaticInstances::Link> StaticInstances::links(
    const TOVString& nameSpace, const TOVSmrPtr<ITovaInstanceName>& object,
    const TOVString& assocClass, const TOVString& role) const {
  std::vector<Link> result;
  if (!object) return result;
  const std::vector<InstancePointer> candidates =
      _catalog.classRepository().associationInstances(nameSpace);
  if (candidates.empty()) return result;
  const TOVString text = object->toString();
  for (const InstancePointer& association : candidates) {
    if (!assocClass.isNull() &&
        !_catalog.isSubclass(nameSpace, association->className(), assocClass)) {
      continue;
    }
    const ITovaObject& instance = *association->object;
    const unsigned long count = instance.getNumberOfProperties(true);
    for (unsigned long i = 0; i < count; ++i) {
      const TOVSmrPtr<ITovaProperty> property = instance.getPropertyAt(i, true);
      if (!role.isNull() && (!property || !sameName(property->getName(), role))) continue;
      const TOVSmrPtr<ITovaInstanceName> referenced = referenceIn(property);
      if (referenced && referenced->hasCanonicalText(text)) {
        result.push_back(Link{association, property->getName()});
      }
    }
  }
  return result;
}

std::vector<TOVSmrPtr<ITovaObject>> StaticInstances::references(
    const TOVString& nameSpace, const TOVSmrPtr<ITovaInstanceName>& object,
    const TOVString& resultClass, const TOVString& role) const {
  std::vector<TOVSmrPtr<ITovaObject>> result;
  const kest::repository::CompiledInstance* last = nullptr;
  for (const Link& link : links(nameSpace, object, resultClass, role)) {
    // Links of one association are adjacent: each association once.
    if (link.association.get() == last) continue;
    last = link.association.get();
    result.push_back(link.association->object);
  }
  return result;
}

std::vector<TOVSmrPtr<ITovaInstanceName>> StaticInstances::referenceNames(
    const TOVString& nameSpace, const TOVSmrPtr<ITovaInstanceName>& object,
    const TOVString& resultClass, const TOVString& role) const {
  std::vector<TOVSmrPtr<ITovaInstanceName>> result;
  for (const TOVSmrPtr<ITovaObject>& association :
       references(nameSpace, object, resultClass, role)) {
    result.push_back(association->getInstanceName());
  }
  return result;
}

std::vector<TOVSmrPtr<ITovaInstanceName>> StaticInstances::farEnds(
    const TOVString& nameSpace, const TOVSmrPtr<ITovaInstanceName>& object,
    const TOVString& assocClass, const TOVString& resultClass, const TOVString& role,
    const TOVString& resultRole) const {
  std::vector<TOVSmrPtr<ITovaInstanceName>> result;
  std::set<std::string> seen;
  for (const Link& link : links(nameSpace, object, assocClass, role)) {
    const ITovaObject& instance = *link.association->object;
    const unsigned long count = instance.getNumberOfProperties(true);
    for (unsigned long i = 0; i < count; ++i) {
      const TOVSmrPtr<ITovaProperty> property = instance.getPropertyAt(i, true);
      if (!property || sameName(property->getName(), link.role)) continue;
      if (!resultRole.isNull() && !sameName(property->getName(), resultRole)) continue;
      const TOVSmrPtr<ITovaInstanceName> farEnd = referenceIn(property);
      if (!farEnd) continue;
      if (!resultClass.isNull() && !_catalog.isSubclass(nameSpaceOf(*farEnd, nameSpace),
                                                        farEnd->getClassname(), resultClass)) {
        continue;
      }
      if (seen.insert(farEnd->toString().toStdString()).second) result.push_back(farEnd);
    }
  }
  return result;
}

std::vector<TOVSmrPtr<ITovaValue>> StaticInstances::associators(
    const TOVString& nameSpace, const TOVSmrPtr<ITovaInstanceName>& object,
    const TOVString& assocClass, const TOVString& resultClass, const TOVString& role,
    const TOVString& resultRole) const {
  std::vector<TOVSmrPtr<ITovaValue>> result;
  for (const TOVSmrPtr<ITovaInstanceName>& farEnd :
       farEnds(nameSpace, object, assocClass, resultClass, role, resultRole)) {
    const TOVSmrPtr<ITovaObject> compiled = find(nameSpaceOf(*farEnd, nameSpace), farEnd);
    result.push_back(compiled ? TOVSmrPtr<ITovaValue>(new CTovaValue(compiled))
                              : TOVSmrPtr<ITovaValue>(new CTovaValue(farEnd)));
  }
  return result;
}

std::vector<TOVSmrPtr<ITovaInstanceName>> StaticInstances::associatorNames(
    const TOVString& nameSpace, const TOVSmrPtr<ITovaInstanceName>& object,
    const TOVString& assocClass, const TOVString& resultClass, const TOVString& role,
    const TOVString& resultRole) const {
  return farEnds(nameSpace, object, assocClass, resultClass, role, resultRole);
}

}  // namespace kest::server
