#include "server/repository/ClassRepository.h"

#include <algorithm>
#include <mutex>

#include "server/repository/ClassBuilder.h"
#include "server/repository/Names.h"
#include "server/repository/StandardQualifiers.h"

namespace kest::repository {

ClassRepository::ClassRepository() = default;
ClassRepository::~ClassRepository() = default;

ClassPointer ClassRepository::NameSpace::find(const TOVString& className) const {
  const auto found = classIndex.find(className.view());
  return found == classIndex.end() ? nullptr : classes[found->second];
}

// Walks the superclass names; a walk longer than the number of classes has
// met a cycle (possible only between declared classes) and stops.
bool ClassRepository::NameSpace::isSubclass(const TOVString& className,
                                            const TOVString& superClassName) const {
  ClassPointer current = find(className);
  for (std::size_t steps = 0; current && steps <= classes.size(); ++steps) {
    if (current->name.compareTo(superClassName, 0) == 0) return true;
    if (current->superClassName.isNull()) return false;
    if (current->superClassName.compareTo(superClassName, 0) == 0) return true;
    current = find(current->superClassName);
  }
  return false;
}

bool ClassRepository::NameSpace::inherits(const ClassDefinition& cls, const TOVString& ancestor,
                                          bool directOnly) const {
  if (cls.superClassName.isNull()) return false;
  if (directOnly) return cls.superClassName.compareTo(ancestor, 0) == 0;
  return isSubclass(cls.superClassName, ancestor) || cls.superClassName.compareTo(ancestor, 0) == 0;
}

const ClassRepository::NameSpace* ClassRepository::findNameSpace(const TOVString& nameSpace) const {
  const auto found = _nameSpaces.find(foldName(nameSpace));
  return found == _nameSpaces.end() ? nullptr : &found->second;
}

ClassRepository::NameSpace& ClassRepository::nameSpaceFor(const TOVString& nameSpace) {
  const std::string key = foldName(nameSpace);
  const auto [position, added] = _nameSpaces.try_emplace(key);
  if (added) {
    position->second.name = nameSpace;
    _nameSpaceOrder.push_back(key);
  }
  return position->second;
}

void ClassRepository::addClass(NameSpace& space, ClassPointer definition) {
  const std::size_t position = space.classes.size();
  const std::string_view name = definition->name.view();
  std::vector<std::size_t>& siblings = space.children[definition->superClassName.toStdString()];
  const auto before = std::lower_bound(
      siblings.begin(), siblings.end(), name,
      [&space](std::size_t sibling, std::string_view wanted) {
        return kest::ascii::compareIgnoreCase(space.classes[sibling]->name.view(), wanted) < 0;
      });
  siblings.insert(before, position);
  space.classIndex.emplace(std::string(name), position);
  space.classes.push_back(std::move(definition));
}

// A walk longer than the number of classes has met a superclass cycle
// (possible only between declared classes) and stops.
void ClassRepository::walkTree(const NameSpace& space, const std::vector<std::size_t>& level,
                               bool deep, std::size_t& budget,
                               std::vector<ClassPointer>& out) const {
  for (const std::size_t position : level) {
    if (budget == 0) return;
    --budget;
    const ClassPointer& cls = space.classes[position];
    out.push_back(cls);
    if (!deep) continue;
    const auto below = space.children.find(cls->name.view());
    if (below != space.children.end()) walkTree(space, below->second, deep, budget, out);
  }
}

std::vector<ClassPointer> ClassRepository::subclassTree(const TOVString& nameSpace,
                                                        const TOVString& className,
                                                        bool deep) const {
  std::shared_lock lock(_mutex);
  std::vector<ClassPointer> result;
  const NameSpace* space = findNameSpace(nameSpace);
  if (space == nullptr) return result;
  std::size_t budget = space->classes.size();
  if (!className.isNull()) {
    if (!space->find(className)) return result;
    const auto below = space->children.find(className.view());
    if (below != space->children.end()) walkTree(*space, below->second, deep, budget, result);
    return result;
  }
  std::vector<std::size_t> topLevel;
  for (const auto& [parent, positions] : space->children) {
    if (parent.empty() || space->classIndex.count(parent) == 0) {
      topLevel.insert(topLevel.end(), positions.begin(), positions.end());
    }
  }
  std::sort(topLevel.begin(), topLevel.end(), [space](std::size_t a, std::size_t b) {
    return kest::ascii::compareIgnoreCase(space->classes[a]->name.view(),
                                          space->classes[b]->name.view()) < 0;
  });
  walkTree(*space, topLevel, deep, budget, result);
  return result;
}

void ClassRepository::addNameSpace(const TOVString& nameSpace) {
  std::unique_lock lock(_mutex);
  nameSpaceFor(nameSpace);
}

bool ClassRepository::hasNameSpace(const TOVString& nameSpace) const {
  std::shared_lock lock(_mutex);
  return findNameSpace(nameSpace) != nullptr;
}

std::vector<TOVString> ClassRepository::nameSpaces() const {
  std::shared_lock lock(_mutex);
  std::vector<TOVString> names;
  for (const std::string& key : _nameSpaceOrder) names.push_back(_nameSpaces.at(key).name);
  return names;
}

ClassPointer ClassRepository::findClass(const TOVString& nameSpace,
                                        const TOVString& className) const {
  std::shared_lock lock(_mutex);
  const NameSpace* space = findNameSpace(nameSpace);
  return space != nullptr ? space->find(className) : nullptr;
}

std::optional<ClassDefinition> ClassRepository::getClass(const TOVString& nameSpace,
                                                         const TOVString& className,
                                                         const ClassRequestOptions& options) const {
  const ClassPointer cls = findClass(nameSpace, className);
  if (!cls) return std::nullopt;
  return cls->filtered(options);
}

std::vector<ClassPointer> ClassRepository::selectClasses(const NameSpace& space,
                                                         const TOVString& className,
                                                         bool deepInheritance) const {
  std::vector<ClassPointer> selected;
  for (const ClassPointer& cls : space.classes) {
    bool wanted = false;
    if (!className.isNull()) {
      wanted = space.inherits(*cls, className, !deepInheritance);
    } else {
      wanted = deepInheritance || cls->superClassName.isNull() || !space.find(cls->superClassName);
    }
    if (wanted) selected.push_back(cls);
  }
  return selected;
}

std::optional<std::vector<ClassPointer>> ClassRepository::enumerateClasses(
    const TOVString& nameSpace, const TOVString& className, bool deepInheritance) const {
  std::shared_lock lock(_mutex);
  const NameSpace* space = findNameSpace(nameSpace);
  if (space == nullptr || (!className.isNull() && !space->find(className))) return std::nullopt;
  return selectClasses(*space, className, deepInheritance);
}

std::optional<std::vector<TOVString>> ClassRepository::enumerateClassNames(
    const TOVString& nameSpace, const TOVString& className, bool deepInheritance) const {
  const std::optional<std::vector<ClassPointer>> classes =
      enumerateClasses(nameSpace, className, deepInheritance);
  if (!classes) return std::nullopt;
  std::vector<TOVString> names;
  names.reserve(classes->size());
  for (const ClassPointer& cls : *classes) names.push_back(cls->name);
  return names;
}

bool ClassRepository::isSubclass(const TOVString& nameSpace, const TOVString& className,
                                 const TOVString& superClassName) const {
  std::shared_lock lock(_mutex);
  const NameSpace* space = findNameSpace(nameSpace);
  return space != nullptr && space->isSubclass(className, superClassName);
}

std::size_t ClassRepository::classCount(const TOVString& nameSpace) const {
  std::shared_lock lock(_mutex);
  const NameSpace* space = findNameSpace(nameSpace);
  return space != nullptr ? space->classes.size() : 0;
}

bool ClassRepository::declareClass(const TOVString& nameSpace, const TOVString& className,
                                   const TOVString& superClassName, bool association) {
  std::unique_lock lock(_mutex);
  NameSpace& space = nameSpaceFor(nameSpace);
  if (space.find(className)) return false;
  const ClassPointer superClass = superClassName.isNull() ? nullptr : space.find(superClassName);
  addClass(space, declaredClass(className, superClassName, superClass.get(), association));
  return true;
}

std::optional<QualifierDeclaration> ClassRepository::findQualifierDeclaration(
    const TOVString& nameSpace, const TOVString& name) const {
  {
    std::shared_lock lock(_mutex);
    if (const NameSpace* space = findNameSpace(nameSpace)) {
      const auto found = space->qualifierIndex.find(foldName(name));
      if (found != space->qualifierIndex.end()) return space->qualifiers[found->second];
    }
  }
  if (const QualifierDeclaration* standard = findStandardQualifierDeclaration(name))
    return *standard;
  return std::nullopt;
}

std::vector<QualifierDeclaration> ClassRepository::qualifierDeclarations(
    const TOVString& nameSpace) const {
  std::shared_lock lock(_mutex);
  static const NameSpace kEmpty;
  const NameSpace* found = findNameSpace(nameSpace);
  const NameSpace& space = found != nullptr ? *found : kEmpty;
  std::vector<QualifierDeclaration> declarations;
  std::vector<bool> replaced(space.qualifiers.size(), false);
  for (const QualifierDeclaration& standard : standardQualifierDeclarations()) {
    const auto own = space.qualifierIndex.find(foldName(standard.name));
    if (own == space.qualifierIndex.end()) {
      declarations.push_back(standard);
      continue;
    }
    declarations.push_back(space.qualifiers[own->second]);
    replaced[own->second] = true;
  }
  for (std::size_t i = 0; i < replaced.size(); ++i) {
    if (!replaced[i]) declarations.push_back(space.qualifiers[i]);
  }
  return declarations;
}

void ClassRepository::replaceClass(NameSpace& space, ClassPointer definition) {
  const auto found = space.classIndex.find(definition->name.view());
  space.classes[found->second] = std::move(definition);
}

void ClassRepository::addInstance(NameSpace& space, InstancePointer instance) {
  const std::size_t position = space.instances.size();
  space.instanceIndex.emplace(instance->name()->toString().toStdString(), position);
  space.instancesByClass[instance->className().toStdString()].push_back(position);
  ClassPointer cls = space.find(instance->className());
  if (cls && cls->association) space.associationInstances.push_back(position);
  // A walk longer than the number of classes has met a superclass cycle.
  for (std::size_t steps = 0; cls && steps <= space.classes.size(); ++steps) {
    ++space.instancesBelow[cls->name.toStdString()];
    if (cls->superClassName.isNull()) break;
    cls = space.find(cls->superClassName);
  }
  space.instances.push_back(std::move(instance));
}

std::vector<InstancePointer> ClassRepository::instancesOf(const TOVString& nameSpace,
                                                          const TOVString& className,
                                                          bool deep) const {
  std::shared_lock lock(_mutex);
  std::vector<InstancePointer> result;
  const NameSpace* space = findNameSpace(nameSpace);
  if (space == nullptr) return result;
  std::vector<std::size_t> positions;
  const auto collect = [&](const TOVString& name) {
    const auto own = space->instancesByClass.find(name.view());
    if (own != space->instancesByClass.end())
      positions.insert(positions.end(), own->second.begin(), own->second.end());
  };
  collect(className);
  if (deep && space->instancesBelow.count(className.view()) != 0) {
    std::vector<ClassPointer> below;
    std::size_t budget = space->classes.size();
    const auto children = space->children.find(className.view());
    if (children != space->children.end()) walkTree(*space, children->second, true, budget, below);
    for (const ClassPointer& cls : below) collect(cls->name);
    std::sort(positions.begin(), positions.end());
  }
  result.reserve(positions.size());
  for (const std::size_t position : positions) result.push_back(space->instances[position]);
  return result;
}

InstancePointer ClassRepository::findInstance(const TOVString& nameSpace,
                                              const ITovaInstanceName& name) const {
  const std::string text = name.toString().toStdString();
  std::shared_lock lock(_mutex);
  const NameSpace* space = findNameSpace(nameSpace);
  if (space == nullptr) return nullptr;
  const auto found = space->instanceIndex.find(text);
  return found == space->instanceIndex.end() ? nullptr : space->instances[found->second];
}

bool ClassRepository::hasInstances(const TOVString& nameSpace, const TOVString& className,
                                   bool deep) const {
  std::shared_lock lock(_mutex);
  const NameSpace* space = findNameSpace(nameSpace);
  if (space == nullptr) return false;
  if (deep) return space->instancesBelow.count(className.view()) != 0;
  return space->instancesByClass.count(className.view()) != 0;
}

std::size_t ClassRepository::instanceCount(const TOVString& nameSpace) const {
  std::shared_lock lock(_mutex);
  const NameSpace* space = findNameSpace(nameSpace);
  return space != nullptr ? space->instances.size() : 0;
}

std::vector<InstancePointer> ClassRepository::associationInstances(
    const TOVString& nameSpace) const {
  std::shared_lock lock(_mutex);
  std::vector<InstancePointer> result;
  const NameSpace* space = findNameSpace(nameSpace);
  if (space == nullptr) return result;
  result.reserve(space->associationInstances.size());
  for (const std::size_t position : space->associationInstances)
    result.push_back(space->instances[position]);
  return result;
}

std::optional<ClassRepository::Conflict> ClassRepository::apply(const Update& update) {
  std::unique_lock lock(_mutex);
  for (const Update::ClassEntry& entry : update.classes) {
    const NameSpace* space = findNameSpace(entry.nameSpace);
    const ClassPointer existing = space != nullptr ? space->find(entry.definition->name) : nullptr;
    if (existing && !(entry.replaces && existing->builtIn))
      return Conflict{entry.nameSpace, entry.definition, nullptr};
  }
  for (const Update::InstanceEntry& entry : update.instances) {
    const NameSpace* space = findNameSpace(entry.nameSpace);
    if (space != nullptr &&
        space->instanceIndex.count(entry.instance->name()->toString().toStdString()) != 0) {
      return Conflict{entry.nameSpace, nullptr, entry.instance};
    }
  }
  for (const TOVString& nameSpace : update.nameSpaces) nameSpaceFor(nameSpace);
  for (const Update::QualifierEntry& entry : update.qualifiers) {
    NameSpace& space = nameSpaceFor(entry.nameSpace);
    const auto [position, added] =
        space.qualifierIndex.try_emplace(foldName(entry.declaration.name), space.qualifiers.size());
    if (added) {
      space.qualifiers.push_back(entry.declaration);
    } else {
      space.qualifiers[position->second] = entry.declaration;
    }
  }
  for (const Update::ClassEntry& entry : update.classes) {
    NameSpace& space = nameSpaceFor(entry.nameSpace);
    if (entry.replaces && space.find(entry.definition->name)) {
      replaceClass(space, entry.definition);
    } else {
      addClass(space, entry.definition);
    }
  }
  for (const Update::InstanceEntry& entry : update.instances)
    addInstance(nameSpaceFor(entry.nameSpace), entry.instance);
  return std::nullopt;
}

}  // namespace kest::repository
