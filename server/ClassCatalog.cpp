#include "server/ClassCatalog.h"

#include <algorithm>
#include <functional>

#include "server/repository/RepositoryAdapter.h"

namespace kest::server {

namespace {

bool sameName(const TOVString& a, const TOVString& b) { return a.compareTo(b, 0) == 0; }

}  // namespace

const PropertyDefinition* ClassDefinition::findProperty(const TOVString& propertyName) const {
  for (const PropertyDefinition& property : properties) {
    if (sameName(property.name, propertyName)) return &property;
  }
  return nullptr;
}

const MethodDefinition* ClassDefinition::findMethod(const TOVString& methodName) const {
  for (const MethodDefinition& method : methods) {
    if (sameName(method.name, methodName)) return &method;
  }
  return nullptr;
}

struct ClassCatalog::NameSpaceClasses {
  std::map<std::string, ClassPtr> byName;  // by folded class name
};

ClassCatalog::ClassCatalog(const TOVString& defaultNameSpace)
    : _defaultNameSpace(defaultNameSpace) {}

ClassCatalog::~ClassCatalog() = default;

std::string ClassCatalog::folded(const TOVString& text) {
  std::string result = text.toStdString();
  for (char& c : result) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return result;
}

const ClassCatalog::NameSpaceClasses* ClassCatalog::classesOf(const TOVString& nameSpace) const {
  const auto it = _nameSpaces.find(folded(nameSpace.isNull() ? _defaultNameSpace : nameSpace));
  return it == _nameSpaces.end() ? nullptr : it->second.get();
}

ClassCatalog::NameSpaceClasses& ClassCatalog::mutableClassesOf(const TOVString& nameSpace) {
  std::unique_ptr<NameSpaceClasses>& entry =
      _nameSpaces[folded(nameSpace.isNull() ? _defaultNameSpace : nameSpace)];
  if (!entry) entry = std::make_unique<NameSpaceClasses>();
  return *entry;
}

void ClassCatalog::declare(const TOVString& nameSpace, const TOVString& className,
                           const TOVString& superClass, bool association) {
  _repository.declareClass(nameSpace.isNull() ? _defaultNameSpace : nameSpace, className,
                           superClass);
  NameSpaceClasses& classes = mutableClassesOf(nameSpace);
  ClassPtr& entry = classes.byName[folded(className)];
  if (entry && entry->hasFeatures) return;
  auto declared = std::make_shared<ClassDefinition>();
  declared->name = className;
  declared->superClass = superClass;
  declared->association = association;
  entry = std::move(declared);
}

void ClassCatalog::define(const TOVString& nameSpace, const ClassDefinition& definition) {
  _repository.declareClass(nameSpace.isNull() ? _defaultNameSpace : nameSpace, definition.name,
                           definition.superClass);
  auto defined = std::make_shared<ClassDefinition>(definition);
  defined->hasFeatures = true;
  mutableClassesOf(nameSpace).byName[folded(definition.name)] = std::move(defined);
}

ClassCatalog::ClassPtr ClassCatalog::find(const TOVString& nameSpace,
                                          const TOVString& className) const {
  const NameSpaceClasses* classes = classesOf(nameSpace);
  if (classes == nullptr) return nullptr;
  const auto it = classes->byName.find(folded(className));
  return it == classes->byName.end() ? nullptr : it->second;
}

bool ClassCatalog::isSubclass(const TOVString& nameSpace, const TOVString& className,
                              const TOVString& superClass) const {
  return _repository.isSubclass(nameSpace.isNull() ? _defaultNameSpace : nameSpace, className,
                                superClass);
}

std::vector<ClassCatalog::ClassPtr> ClassCatalog::subclasses(const TOVString& nameSpace,
                                                             const TOVString& className,
                                                             bool deep) const {
  std::vector<ClassPtr> result;
  const NameSpaceClasses* classes = classesOf(nameSpace);
  if (classes == nullptr) return result;

  // Children by folded parent name; "" holds the top-level classes.
  std::map<std::string, std::vector<ClassPtr>> children;
  for (const auto& [name, cls] : classes->byName) {
    std::string parent = folded(cls->superClass);
    if (!parent.empty() && classes->byName.count(parent) == 0) parent.clear();
    children[parent].push_back(cls);
  }
  for (auto& [parent, list] : children) {
    std::sort(list.begin(), list.end(), [](const ClassPtr& a, const ClassPtr& b) {
      return folded(a->name) < folded(b->name);
    });
  }

  std::size_t guard = classes->byName.size();
  std::function<void(const std::string&)> walk = [&](const std::string& parent) {
    const auto it = children.find(parent);
    if (it == children.end()) return;
    for (const ClassPtr& cls : it->second) {
      if (guard-- == 0) return;  // a superclass cycle
      result.push_back(cls);
      if (deep) walk(folded(cls->name));
    }
  };
  walk(folded(className));
  return result;
}

TOVSmrPtr<ITovaType> ClassCatalog::propertyType(const TOVString& nameSpace,
                                                const TOVString& className,
                                                const TOVString& propertyName) const {
  const ClassPtr cls = find(nameSpace, className);
  if (!cls) return TOVSmrPtr<ITovaType>();
  const PropertyDefinition* property = cls->findProperty(propertyName);
  return property != nullptr ? property->type : TOVSmrPtr<ITovaType>();
}

TOVSmrPtr<ITovaType> ClassCatalog::parameterType(const TOVString& nameSpace,
                                                 const TOVString& className,
                                                 const TOVString& methodName,
                                                 const TOVString& parameterName) const {
  const ClassPtr cls = find(nameSpace, className);
  if (!cls) return TOVSmrPtr<ITovaType>();
  const MethodDefinition* method = cls->findMethod(methodName);
  if (method == nullptr) return TOVSmrPtr<ITovaType>();
  for (const ParameterDefinition& parameter : method->parameters) {
    if (sameName(parameter.name, parameterName)) return parameter.type;
  }
  return TOVSmrPtr<ITovaType>();
}

TOVSmrPtr<ITovaRepository> ClassCatalog::repository() const {
  return TOVSmrPtr<ITovaRepository>(
      new kest::repository::RepositoryAdapter(_repository, _defaultNameSpace));
}

}  // namespace kest::server
