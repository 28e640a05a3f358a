#include "server/repository/ClassDefinition.h"

#include "server/repository/MofValues.h"

namespace kest::repository {

namespace {

bool sameName(const TOVString& a, const TOVString& b) { return a.compareTo(b, 0) == 0; }

template <typename T>
const T* findByName(const std::vector<T>& items, const TOVString& name) {
  for (const T& item : items) {
    if (sameName(item.name, name)) return &item;
  }
  return nullptr;
}

template <typename T, typename Index>
const T* findIndexed(const std::vector<T>& items, const Index& index, const TOVString& name) {
  if (!index.empty()) {
    const auto found = index.find(name.view());
    if (found != index.end() && found->second < items.size() &&
        sameName(items[found->second].name, name)) {
      return &items[found->second];
    }
  }
  return findByName(items, name);
}

template <typename T, typename Index>
void buildIndex(const std::vector<T>& items, Index& index) {
  index.clear();
  for (std::size_t position = 0; position < items.size(); ++position) {
    index.emplace(items[position].name.toStdString(), position);
  }
}

TOVSmrPtr<ITovaType> embeddingType(const DataType& type, EmbeddedKind embedded,
                                   const TOVString& embeddedClass) {
  if (embedded != EmbeddedKind::None && type.code == CimTypeCode::String) {
    return type.isArray ? CTovaType::arrayOf(CimTypeCode::Object, embeddedClass)
                        : CTovaType::object(embeddedClass);
  }
  return type.hostType();
}

void dropQualifiers(ClassDefinition& cls) {
  cls.qualifiers.items().clear();
  for (Property& property : cls.properties) property.qualifiers.items().clear();
  for (Method& method : cls.methods) {
    method.qualifiers.items().clear();
    for (Parameter& parameter : method.parameters) parameter.qualifiers.items().clear();
  }
}

template <typename T>
void dropPropagated(std::vector<T>& items) {
  std::erase_if(items, [](const T& item) { return item.propagated; });
}

}  // namespace

TOVSmrPtr<ITovaType> DataType::hostType() const {
  if (isArray) return CTovaType::arrayOf(code, referenceClass);
  if (code == CimTypeCode::Reference) return CTovaType::reference(referenceClass);
  if (code == CimTypeCode::Object) return CTovaType::object(referenceClass);
  return CTovaType::scalar(code);
}

TOVString DataType::toMof() const {
  TOVString text = code == CimTypeCode::Reference ? referenceClass + " REF"
                                                  : TOVString(CTovaType::codeName(code));
  if (isArray) {
    text += '[';
    if (arraySize != 0) text += TOVString::fromUInt(arraySize);
    text += ']';
  }
  return text;
}

bool DataType::operator==(const DataType& other) const {
  return code == other.code && isArray == other.isArray && arraySize == other.arraySize &&
         sameName(referenceClass, other.referenceClass);
}

bool QualifierDeclaration::sameDefinitionAs(const QualifierDeclaration& other) const {
  return sameName(name, other.name) && type == other.type &&
         sameValue(defaultValue, other.defaultValue) && scopes == other.scopes &&
         flavor == other.flavor;
}

const Qualifier* QualifierList::find(const TOVString& name) const {
  return findByName(_items, name);
}

bool QualifierList::booleanValue(const TOVString& name, bool fallback) const {
  const Qualifier* qualifier = find(name);
  if (qualifier == nullptr || !qualifier->value || qualifier->value->isNullValue() ||
      qualifier->type.code != CimTypeCode::Boolean || qualifier->type.isArray) {
    return fallback;
  }
  return qualifier->value->getAsBool();
}

TOVSmrPtr<ITovaType> Property::hostType() const {
  return embeddingType(type, embedded, embeddedClassName);
}

TOVSmrPtr<ITovaType> Parameter::hostType() const {
  return embeddingType(type, embedded, embeddedClassName);
}

const Parameter* Method::findParameter(const TOVString& name) const {
  return findByName(parameters, name);
}

const Property* ClassDefinition::findProperty(const TOVString& name) const {
  return findIndexed(properties, _propertyIndex, name);
}

const Method* ClassDefinition::findMethod(const TOVString& name) const {
  return findIndexed(methods, _methodIndex, name);
}

void ClassDefinition::indexFeatures() {
  buildIndex(properties, _propertyIndex);
  buildIndex(methods, _methodIndex);
}

std::vector<TOVString> ClassDefinition::keyNames() const {
  std::vector<TOVString> names;
  for (const Property& property : properties) {
    if (property.key) names.push_back(property.name);
  }
  return names;
}

ClassDefinition ClassDefinition::filtered(const ClassRequestOptions& options) const {
  ClassDefinition copy(*this);
  copy._propertyIndex.clear();
  copy._methodIndex.clear();
  if (options.localOnly) {
    dropPropagated(copy.properties);
    dropPropagated(copy.methods);
    dropPropagated(copy.qualifiers.items());
  }
  if (options.propertyList) {
    const std::vector<TOVString>& wanted = *options.propertyList;
    std::erase_if(copy.properties, [&wanted](const Property& property) {
      for (const TOVString& name : wanted) {
        if (sameName(name, property.name)) return false;
      }
      return true;
    });
  }
  if (!options.includeQualifiers) dropQualifiers(copy);
  if (!options.includeClassOrigin) {
    for (Property& property : copy.properties) property.classOrigin = TOVString();
    for (Method& method : copy.methods) method.classOrigin = TOVString();
  }
  return copy;
}

}  // namespace kest::repository
