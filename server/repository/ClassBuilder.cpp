#include "server/repository/ClassBuilder.h"

#include <utility>
#include <vector>

#include "server/repository/MofValues.h"
#include "server/repository/StandardQualifiers.h"

namespace kest::repository {

namespace {

enum class ElementKind { Class, Association, Indication, Property, Reference, Method, Parameter };

const char* kindPhrase(ElementKind kind) {
  switch (kind) {
    case ElementKind::Class:
      return "a class";
    case ElementKind::Association:
      return "an association";
    case ElementKind::Indication:
      return "an indication";
    case ElementKind::Property:
      return "a property";
    case ElementKind::Reference:
      return "a reference";
    case ElementKind::Method:
      return "a method";
    case ElementKind::Parameter:
      return "a parameter";
  }
  return "";
}

unsigned scopeBit(ElementKind kind) {
  switch (kind) {
    case ElementKind::Class:
      return ScopeClass;
    case ElementKind::Association:
      return ScopeAssociation | ScopeClass;
    case ElementKind::Indication:
      return ScopeIndication | ScopeClass;
    case ElementKind::Property:
      return ScopeProperty;
    case ElementKind::Reference:
      return ScopeReference;
    case ElementKind::Method:
      return ScopeMethod;
    case ElementKind::Parameter:
      return ScopeParameter;
  }
  return 0;
}

bool sameName(const TOVString& a, const TOVString& b) { return a.compareTo(b, 0) == 0; }

std::string quoted(const TOVString& text) { return "'" + text.toStdString() + "'"; }
std::string quoted(const std::string& text) { return "'" + text + "'"; }

const char* flavorName(FlavorSyntax::Kind kind) {
  switch (kind) {
    case FlavorSyntax::Kind::EnableOverride:
      return "EnableOverride";
    case FlavorSyntax::Kind::DisableOverride:
      return "DisableOverride";
    case FlavorSyntax::Kind::ToSubclass:
      return "ToSubclass";
    case FlavorSyntax::Kind::Restricted:
      return "Restricted";
    case FlavorSyntax::Kind::Translatable:
      return "Translatable";
  }
  return "";
}

// base changed by the flavors given; two opposite flavors in one list are an
// error.
Flavor applyFlavors(BuildContext& context, Flavor base, const std::vector<FlavorSyntax>& flavors) {
  const FlavorSyntax* overrideGiven = nullptr;
  const FlavorSyntax* propagationGiven = nullptr;
  for (const FlavorSyntax& flavor : flavors) {
    const FlavorSyntax** given = nullptr;
    switch (flavor.kind) {
      case FlavorSyntax::Kind::EnableOverride:
      case FlavorSyntax::Kind::DisableOverride:
        given = &overrideGiven;
        base.overridable = flavor.kind == FlavorSyntax::Kind::EnableOverride;
        break;
      case FlavorSyntax::Kind::ToSubclass:
      case FlavorSyntax::Kind::Restricted:
        given = &propagationGiven;
        base.toSubclass = flavor.kind == FlavorSyntax::Kind::ToSubclass;
        break;
      case FlavorSyntax::Kind::Translatable:
        base.translatable = true;
        break;
    }
    if (given == nullptr) continue;
    if (*given != nullptr && (*given)->kind != flavor.kind) {
      context.report(Severity::Error, flavor.location,
                     std::string("conflicting flavors '") + flavorName((*given)->kind) + "' and '" +
                         flavorName(flavor.kind) + "'");
    }
    *given = &flavor;
  }
  return base;
}

// The qualifiers of an inherited element: those that propagate, marked
// propagated.
QualifierList propagate(const QualifierList& from) {
  QualifierList result;
  for (const Qualifier& qualifier : from.items()) {
    if (!qualifier.flavor.toSubclass) continue;
    result.items().push_back(qualifier);
    result.items().back().propagated = true;
  }
  return result;
}

template <typename T>
std::vector<T> propagateAll(const std::vector<T>& from) {
  std::vector<T> result = from;
  for (T& item : result) {
    item.propagated = true;
    item.qualifiers = propagate(item.qualifiers);
  }
  return result;
}

template <typename T>
T* findNamed(std::vector<T>& items, const TOVString& name) {
  for (T& item : items) {
    if (sameName(item.name, name)) return &item;
  }
  return nullptr;
}

// Copies the properties and methods of superClass into cls, as propagated.
void inheritFeatures(ClassDefinition& cls, const ClassDefinition& superClass) {
  cls.properties = propagateAll(superClass.properties);
  cls.methods = propagateAll(superClass.methods);
  for (Method& method : cls.methods) {
    for (Parameter& parameter : method.parameters)
      parameter.qualifiers = propagate(parameter.qualifiers);
  }
}

// A qualifier as given on an element, with what its declaration says.
struct ResolvedQualifier {
  Qualifier qualifier;
  unsigned scopes = 0;
  Flavor declaredFlavor;
  TOVSmrPtr<ITovaValue> declaredDefault;
  SourceLocation location;
};

class ClassBuilder {
 public:
  ClassBuilder(BuildContext& context, TOVString nameSpace, const ClassSyntax& syntax)
      : _context(context), _nameSpace(std::move(nameSpace)), _syntax(syntax) {}

  std::shared_ptr<ClassDefinition> build();

 private:
  void error(const SourceLocation& location, const std::string& message) {
    _context.report(Severity::Error, location, message);
  }

  std::vector<ResolvedQualifier> resolveQualifiers(const std::vector<QualifierSyntax>& syntaxes);
  void checkScopes(const std::vector<ResolvedQualifier>& qualifiers, ElementKind kind);
  QualifierList merge(const QualifierList* inherited, const std::vector<ResolvedQualifier>& local,
                      const std::string& what);
  // A class whose superclass is not an association (an indication) cannot
  // become one: the kind of a class is fixed where its hierarchy starts.
  void checkKindKeptFromSuperclass(const std::vector<ResolvedQualifier>& local);
  // The element named by an Override qualifier among qualifiers, checked
  // against the element's name; false when there is none.
  bool checkOverrideQualifier(const std::vector<ResolvedQualifier>& qualifiers,
                              const std::string& name, const std::string& what);
  // Records name among the element names declared locally in this class;
  // false (and an error) when it is already there.
  bool claimLocalName(std::vector<TOVString>& declared, const char* kind, const std::string& name,
                      const SourceLocation& location);
  // Warns that what redefines an element inherited from classOrigin without
  // the Override qualifier.
  void warnUnmarkedOverride(const SourceLocation& location, const std::string& what,
                            const TOVString& classOrigin);
  TOVSmrPtr<ITovaValue> defaultValue(const std::optional<ValueSyntax>& literal,
                                     const DataType& type, const std::string& what);
  template <typename T>
  void resolveEmbedded(T& element, const std::string& what);
  bool isSubclassOf(const TOVString& className, const TOVString& ancestor) const;

  void addProperty(const FeatureSyntax& syntax);
  void addMethod(const MethodSyntax& syntax);
  Parameter buildParameter(const FeatureSyntax& syntax, const Parameter* inherited,
                           const std::string& method);
  void checkOverriddenType(const DataType& inherited, const FeatureSyntax& syntax,
                           const std::string& what);
  void checkNameClashes();
  // Errors when the class differs from the built-in class it replaces in its
  // superclass or its keys.
  void checkReplacement(const ClassDefinition& builtIn);

  BuildContext& _context;
  const TOVString _nameSpace;
  const ClassSyntax& _syntax;
  std::shared_ptr<const ClassDefinition> _superClass;
  std::shared_ptr<ClassDefinition> _class;
  std::vector<TOVString> _localProperties;
  std::vector<TOVString> _localMethods;
};

std::vector<ResolvedQualifier> ClassBuilder::resolveQualifiers(
    const std::vector<QualifierSyntax>& syntaxes) {
  std::vector<ResolvedQualifier> resolved;
  for (const QualifierSyntax& syntax : syntaxes) {
    const std::optional<QualifierDeclaration> declaration =
        _context.findQualifierDeclaration(_nameSpace, TOVString(syntax.name));
    if (!declaration) {
      error(syntax.location, "unknown qualifier " + quoted(syntax.name));
      continue;
    }
    bool duplicate = false;
    for (const ResolvedQualifier& other : resolved)
      duplicate |= sameName(other.qualifier.name, declaration->name);
    if (duplicate) {
      error(syntax.location, "qualifier " + quoted(declaration->name) + " is given twice");
      continue;
    }
    ResolvedQualifier qualifier;
    qualifier.qualifier.name = declaration->name;
    qualifier.qualifier.type = declaration->type;
    if (syntax.value) {
      ValueResult value = convertValue(*syntax.value, declaration->type, true);
      if (!value.value) {
        error(syntax.value->location,
              "value of qualifier " + quoted(declaration->name) + ": " + value.error);
        continue;
      }
      qualifier.qualifier.value = value.value;
    } else if (declaration->type.code == CimTypeCode::Boolean && !declaration->type.isArray) {
      qualifier.qualifier.value = TOVSmrPtr<ITovaValue>(new CTovaValue(true));
    } else {
      qualifier.qualifier.value = declaration->defaultValue;
    }
    qualifier.qualifier.flavor = applyFlavors(_context, declaration->flavor, syntax.flavors);
    qualifier.scopes = declaration->scopes;
    qualifier.declaredFlavor = declaration->flavor;
    qualifier.declaredDefault = declaration->defaultValue;
    qualifier.location = syntax.location;
    resolved.push_back(std::move(qualifier));
  }
  return resolved;
}

void ClassBuilder::checkScopes(const std::vector<ResolvedQualifier>& qualifiers, ElementKind kind) {
  for (const ResolvedQualifier& qualifier : qualifiers) {
    if ((qualifier.scopes & scopeBit(kind)) == 0) {
      error(qualifier.location, "qualifier " + quoted(qualifier.qualifier.name) +
                                    " cannot be used on " + kindPhrase(kind));
    }
  }
}

// The inherited qualifiers that propagate, overridden by the local ones. A
// DisableOverride qualifier keeps the value it inherits. Only values that
// reach the element restrict it: a qualifier that no superclass element
// carries (not given there, or Restricted) may be given any value, whatever
// its declaration's default and flavor.
QualifierList ClassBuilder::merge(const QualifierList* inherited,
                                  const std::vector<ResolvedQualifier>& local,
                                  const std::string& what) {
  QualifierList result = inherited != nullptr ? propagate(*inherited) : QualifierList();
  for (const ResolvedQualifier& resolved : local) {
    const Qualifier& qualifier = resolved.qualifier;
    if (Qualifier* old = findNamed(result.items(), qualifier.name)) {
      if (!old->flavor.overridable && !sameValue(old->value, qualifier.value)) {
        error(resolved.location, "qualifier " + quoted(qualifier.name) + " of " + what +
                                     " cannot change the value it inherits: it is DisableOverride");
      }
      *old = qualifier;
      continue;
    }
    result.items().push_back(qualifier);
  }
  return result;
}

bool ClassBuilder::checkOverrideQualifier(const std::vector<ResolvedQualifier>& qualifiers,
                                          const std::string& name, const std::string& what) {
  for (const ResolvedQualifier& resolved : qualifiers) {
    if (!sameName(resolved.qualifier.name, "Override")) continue;
    const TOVSmrPtr<ITovaValue>& value = resolved.qualifier.value;
    if (value && !value->isNullValue() && value->getType()->isAtomic() &&
        !sameName(value->getAsString(), TOVString(name))) {
      error(resolved.location, "Override(\"" + value->getAsString().toStdString() + "\") of " +
                                   what + " must name the element itself");
    }
    return true;
  }
  return false;
}

TOVSmrPtr<ITovaValue> ClassBuilder::defaultValue(const std::optional<ValueSyntax>& literal,
                                                 const DataType& type, const std::string& what) {
  if (!literal) return TOVSmrPtr<ITovaValue>();
  ValueResult value = convertValue(*literal, type, false);
  if (!value.value) error(literal->location, "default value of " + what + ": " + value.error);
  return value.value;
}

template <typename T>
void ClassBuilder::resolveEmbedded(T& element, const std::string& what) {
  const Qualifier* instance = element.qualifiers.find("EmbeddedInstance");
  const bool hasInstance =
      instance != nullptr && instance->value && !instance->value->isNullValue();
  const bool hasObject = element.qualifiers.booleanValue("EmbeddedObject", false);
  if (element.type.code == CimTypeCode::Object) element.embedded = EmbeddedKind::Object;
  if (!hasInstance && !hasObject) return;
  if (element.type.code != CimTypeCode::String && element.type.code != CimTypeCode::Object) {
    error(element.location,
          std::string("qualifier '") + (hasInstance ? "EmbeddedInstance" : "EmbeddedObject") +
              "' needs a string; " + what + " is " + element.type.toMof().toStdString());
    return;
  }
  if (hasInstance && instance->type.code == CimTypeCode::String && !instance->type.isArray) {
    element.embedded = EmbeddedKind::Instance;
    element.embeddedClassName = instance->value->getAsString();
  } else {
    element.embedded = EmbeddedKind::Object;
  }
}

bool ClassBuilder::isSubclassOf(const TOVString& className, const TOVString& ancestor) const {
  TOVString current = className;
  for (int steps = 0; steps < 1000 && !current.isNull(); ++steps) {
    if (sameName(current, ancestor)) return true;
    const std::shared_ptr<const ClassDefinition> cls = _context.findClass(_nameSpace, current);
    if (!cls) return false;
    current = cls->superClassName;
  }
  return false;
}

void ClassBuilder::checkOverriddenType(const DataType& inherited, const FeatureSyntax& syntax,
                                       const std::string& what) {
  const DataType& type = syntax.type.type;
  if (type.code != inherited.code || type.isArray != inherited.isArray ||
      type.arraySize != inherited.arraySize) {
    error(syntax.type.location, what + " overrides an element of type " +
                                    inherited.toMof().toStdString() + " with type " +
                                    type.toMof().toStdString());
    return;
  }
  if (type.code != CimTypeCode::Reference ||
      sameName(type.referenceClass, inherited.referenceClass))
    return;
  if (_context.findClass(_nameSpace, type.referenceClass) &&
      !isSubclassOf(type.referenceClass, inherited.referenceClass)) {
    error(syntax.type.location, what + " overrides a reference to " +
                                    quoted(inherited.referenceClass) + " with one to " +
                                    quoted(type.referenceClass) + ", which is not its subclass");
  }
}

bool ClassBuilder::claimLocalName(std::vector<TOVString>& declared, const char* kind,
                                  const std::string& name, const SourceLocation& location) {
  const TOVString wanted(name);
  for (const TOVString& seen : declared) {
    if (sameName(seen, wanted)) {
      error(location, std::string(kind) + " " + quoted(name) + " is declared twice in class " +
                          quoted(_class->name));
      return false;
    }
  }
  declared.push_back(wanted);
  return true;
}

void ClassBuilder::warnUnmarkedOverride(const SourceLocation& location, const std::string& what,
                                        const TOVString& classOrigin) {
  _context.report(Severity::Warning, location,
                  what + " redefines the element inherited from " + quoted(classOrigin) +
                      " without the Override qualifier");
}

void ClassBuilder::addProperty(const FeatureSyntax& syntax) {
  const TOVString name(syntax.name);
  const bool reference = syntax.type.type.code == CimTypeCode::Reference;
  const std::string what = std::string(reference ? "reference " : "property ") +
                           quoted(_class->name.toStdString() + "." + syntax.name);
  if (!claimLocalName(_localProperties, "property", syntax.name, syntax.location)) return;
  const std::vector<ResolvedQualifier> qualifiers = resolveQualifiers(syntax.qualifiers);
  checkScopes(qualifiers, reference ? ElementKind::Reference : ElementKind::Property);
  if (reference)
    _context.requireClass(_nameSpace, syntax.type.type.referenceClass, syntax.type.location, what);

  Property property;
  property.name = name;
  property.type = syntax.type.type;
  property.classOrigin = _class->name;
  property.location = syntax.location;
  Property* inherited = findNamed(_class->properties, name);
  const bool hasOverride = checkOverrideQualifier(qualifiers, syntax.name, what);
  if (inherited != nullptr) {
    if (!hasOverride) warnUnmarkedOverride(syntax.location, what, inherited->classOrigin);
    checkOverriddenType(inherited->type, syntax, what);
    property.qualifiers = merge(&inherited->qualifiers, qualifiers, what);
    property.defaultValue = syntax.defaultValue
                                ? defaultValue(syntax.defaultValue, property.type, what)
                                : inherited->defaultValue;
  } else {
    if (hasOverride) {
      error(syntax.location, what + " overrides nothing: no superclass of " + quoted(_class->name) +
                                 " has a property " + quoted(syntax.name));
    }
    property.qualifiers = merge(nullptr, qualifiers, what);
    property.defaultValue = defaultValue(syntax.defaultValue, property.type, what);
  }
  property.key = property.qualifiers.booleanValue("Key", false);
  const bool inheritedKey = inherited != nullptr && inherited->key;
  if (property.key && !inheritedKey && _superClass && !_superClass->keyNames().empty()) {
    error(syntax.location, "class " + quoted(_class->name) + " cannot add key property " +
                               quoted(syntax.name) + ": its superclass " +
                               quoted(_superClass->name) + " already has keys");
  }
  if (property.key && property.type.isArray)
    error(syntax.location, "key " + what + " cannot be an array");
  resolveEmbedded(property, what);
  if (inherited != nullptr) {
    *inherited = std::move(property);
  } else {
    _class->properties.push_back(std::move(property));
  }
}

Parameter ClassBuilder::buildParameter(const FeatureSyntax& syntax, const Parameter* inherited,
                                       const std::string& method) {
  const std::string what = "parameter " + quoted(syntax.name) + " of " + method;
  const std::vector<ResolvedQualifier> qualifiers = resolveQualifiers(syntax.qualifiers);
  checkScopes(qualifiers, ElementKind::Parameter);
  Parameter parameter;
  parameter.name = TOVString(syntax.name);
  parameter.type = syntax.type.type;
  parameter.location = syntax.location;
  if (parameter.isReference()) {
    _context.requireClass(_nameSpace, parameter.type.referenceClass, syntax.type.location, what);
  }
  parameter.qualifiers =
      merge(inherited != nullptr ? &inherited->qualifiers : nullptr, qualifiers, what);
  parameter.defaultValue = defaultValue(syntax.defaultValue, parameter.type, what);
  parameter.in = parameter.qualifiers.booleanValue("In", true);
  parameter.out = parameter.qualifiers.booleanValue("Out", false);
  resolveEmbedded(parameter, what);
  return parameter;
}

bool sameSignature(const Method& inherited, const MethodSyntax& syntax) {
  if (!(inherited.returnType == syntax.returnType.type) ||
      inherited.parameters.size() != syntax.parameters.size()) {
    return false;
  }
  for (std::size_t i = 0; i < syntax.parameters.size(); ++i) {
    const Parameter& parameter = inherited.parameters[i];
    if (!sameName(parameter.name, TOVString(syntax.parameters[i].name)) ||
        !(parameter.type == syntax.parameters[i].type.type)) {
      return false;
    }
  }
  return true;
}

void ClassBuilder::addMethod(const MethodSyntax& syntax) {
  const TOVString name(syntax.name);
  const std::string what = "method " + quoted(_class->name.toStdString() + "." + syntax.name);
  if (!claimLocalName(_localMethods, "method", syntax.name, syntax.location)) return;
  const std::vector<ResolvedQualifier> qualifiers = resolveQualifiers(syntax.qualifiers);
  checkScopes(qualifiers, ElementKind::Method);

  Method method;
  method.name = name;
  method.returnType = syntax.returnType.type;
  method.classOrigin = _class->name;
  method.location = syntax.location;
  Method* inherited = findNamed(_class->methods, name);
  const bool hasOverride = checkOverrideQualifier(qualifiers, syntax.name, what);
  if (inherited != nullptr) {
    if (!hasOverride) warnUnmarkedOverride(syntax.location, what, inherited->classOrigin);
    if (!sameSignature(*inherited, syntax)) {
      error(syntax.location,
            what + " must keep the return type and parameters of the method it overrides");
      inherited = nullptr;
    }
  } else if (hasOverride) {
    error(syntax.location, what + " overrides nothing: no superclass of " + quoted(_class->name) +
                               " has a method " + quoted(syntax.name));
  }
  Method* target = findNamed(_class->methods, name);
  method.qualifiers =
      merge(inherited != nullptr ? &inherited->qualifiers : nullptr, qualifiers, what);
  for (std::size_t i = 0; i < syntax.parameters.size(); ++i) {
    const FeatureSyntax& parameter = syntax.parameters[i];
    if (method.findParameter(TOVString(parameter.name)) != nullptr) {
      error(parameter.location,
            "parameter " + quoted(parameter.name) + " is declared twice in " + what);
      continue;
    }
    method.parameters.push_back(buildParameter(
        parameter, inherited != nullptr ? &inherited->parameters[i] : nullptr, what));
  }
  if (target != nullptr) {
    *target = std::move(method);
  } else {
    _class->methods.push_back(std::move(method));
  }
}

void ClassBuilder::checkKindKeptFromSuperclass(const std::vector<ResolvedQualifier>& local) {
  if (!_superClass) return;
  const auto check = [&](const char* qualifierName, bool becomes, bool was, const char* kind) {
    if (!becomes || was) return;
    SourceLocation location = _syntax.location;
    for (const ResolvedQualifier& resolved : local) {
      if (sameName(resolved.qualifier.name, qualifierName)) location = resolved.location;
    }
    error(location, "class " + quoted(_syntax.name) + " cannot be " + kind + ": its superclass " +
                        quoted(_superClass->name) + " is not");
  };
  check("Association", _class->association, _superClass->association, "an association");
  check("Indication", _class->indication, _superClass->indication, "an indication");
}

void ClassBuilder::checkNameClashes() {
  for (const Method& method : _class->methods) {
    const Property* property = _class->findProperty(method.name);
    if (property == nullptr || (method.propagated && property->propagated)) continue;
    const SourceLocation& location = method.propagated ? property->location : method.location;
    error(location, quoted(method.name) + " is both a property and a method of class " +
                        quoted(_class->name));
  }
}

std::shared_ptr<ClassDefinition> ClassBuilder::build() {
  const TOVString name(_syntax.name);
  const std::shared_ptr<const ClassDefinition> existing = _context.findClass(_nameSpace, name);
  if (existing && !_context.replaceable(_nameSpace, *existing)) {
    std::string message = "class " + quoted(_syntax.name) + " is already defined";
    if (existing->location.isKnown()) message += " at " + existing->location.toString();
    error(_syntax.location, message);
    return nullptr;
  }
  _class = std::make_shared<ClassDefinition>();
  _class->name = name;
  _class->superClassName = TOVString(_syntax.superClassName);
  _class->location = _syntax.location;
  if (!_syntax.superClassName.empty()) {
    _superClass = _context.findClass(_nameSpace, _class->superClassName);
    if (!_superClass) {
      error(_syntax.superClassLocation, "unknown superclass " + quoted(_syntax.superClassName) +
                                            " of class " + quoted(_syntax.name));
    }
  }
  const std::string what = "class " + quoted(_syntax.name);
  const std::vector<ResolvedQualifier> qualifiers = resolveQualifiers(_syntax.qualifiers);
  _class->qualifiers = merge(_superClass ? &_superClass->qualifiers : nullptr, qualifiers, what);
  _class->association = _class->qualifiers.booleanValue("Association", false) ||
                        (_superClass && _superClass->association);
  _class->indication = _class->qualifiers.booleanValue("Indication", false) ||
                       (_superClass && _superClass->indication);
  _class->abstract = _class->qualifiers.booleanValue("Abstract", false);
  checkKindKeptFromSuperclass(qualifiers);
  checkScopes(qualifiers, _class->association  ? ElementKind::Association
                          : _class->indication ? ElementKind::Indication
                                               : ElementKind::Class);
  if (_superClass) inheritFeatures(*_class, *_superClass);
  for (const FeatureSyntax& property : _syntax.properties) addProperty(property);
  for (const MethodSyntax& method : _syntax.methods) addMethod(method);
  checkNameClashes();
  if (_class->association && !_superClass) {
    std::size_t references = 0;
    for (const Property& property : _class->properties)
      references += property.isReference() ? 1 : 0;
    if (references < 2)
      error(_syntax.location,
            "association " + quoted(_syntax.name) + " must have at least two references");
  }
  _class->indexFeatures();
  if (existing) checkReplacement(*existing);
  return _class;
}

std::string keyList(const std::vector<const Property*>& keys) {
  if (keys.empty()) return "none";
  std::string text;
  for (const Property* key : keys) {
    if (!text.empty()) text += ", ";
    text += key->name.toStdString() + " (" + key->type.toMof().toStdString() + ")";
  }
  return text;
}

std::vector<const Property*> keysOf(const ClassDefinition& cls) {
  std::vector<const Property*> keys;
  for (const Property& property : cls.properties) {
    if (property.key) keys.push_back(&property);
  }
  return keys;
}

void ClassBuilder::checkReplacement(const ClassDefinition& builtIn) {
  const std::string prefix =
      "class " + quoted(_syntax.name) + " conflicts with the built-in definition: ";
  const auto superName = [](const TOVString& name) {
    return name.isNull() ? std::string("none") : quoted(name);
  };
  if (!sameName(builtIn.superClassName, _class->superClassName) &&
      !(builtIn.superClassName.isNull() && _class->superClassName.isNull())) {
    error(_syntax.location, prefix + "superclass " + superName(_class->superClassName) +
                                " instead of " + superName(builtIn.superClassName));
    return;
  }
  const std::vector<const Property*> builtInKeys = keysOf(builtIn);
  const std::vector<const Property*> keys = keysOf(*_class);
  bool same = builtInKeys.size() == keys.size();
  for (const Property* key : builtInKeys) {
    const Property* own = _class->findProperty(key->name);
    same = same && own != nullptr && own->key && own->type == key->type;
  }
  if (!same) {
    error(_syntax.location,
          prefix + "keys " + keyList(keys) + " instead of " + keyList(builtInKeys));
  }
}

}  // namespace

std::optional<QualifierDeclaration> buildQualifierDeclaration(
    BuildContext& context, const QualifierDeclarationSyntax& syntax) {
  QualifierDeclaration declaration;
  declaration.name = TOVString(syntax.name);
  declaration.type = syntax.type.type;
  declaration.scopes = syntax.scopes;
  declaration.location = syntax.location;
  if (syntax.defaultValue) {
    ValueResult value = convertValue(*syntax.defaultValue, declaration.type, false);
    if (!value.value) {
      context.report(Severity::Error, syntax.defaultValue->location,
                     "default value of qualifier " + quoted(syntax.name) + ": " + value.error);
      return std::nullopt;
    }
    declaration.defaultValue = value.value;
  }
  declaration.flavor = applyFlavors(context, Flavor{}, syntax.flavors);
  return declaration;
}

std::shared_ptr<ClassDefinition> buildClass(BuildContext& context, const TOVString& nameSpace,
                                            const ClassSyntax& syntax) {
  return ClassBuilder(context, nameSpace, syntax).build();
}

std::shared_ptr<ClassDefinition> declaredClass(const TOVString& className,
                                               const TOVString& superClassName,
                                               const ClassDefinition* superClass,
                                               bool association) {
  auto cls = std::make_shared<ClassDefinition>();
  cls->name = className;
  cls->superClassName = superClassName;
  cls->defined = false;
  if (superClass != nullptr) {
    cls->qualifiers = propagate(superClass->qualifiers);
    cls->association = superClass->association;
    cls->indication = superClass->indication;
    inheritFeatures(*cls, *superClass);
  }
  if (association && !cls->association) {
    cls->association = true;
    const QualifierDeclaration* declaration = findStandardQualifierDeclaration("Association");
    Qualifier qualifier;
    qualifier.name = declaration->name;
    qualifier.type = declaration->type;
    qualifier.value = TOVSmrPtr<ITovaValue>(new CTovaValue(true));
    qualifier.flavor = declaration->flavor;
    cls->qualifiers.items().push_back(std::move(qualifier));
  }
  cls->indexFeatures();
  return cls;
}

}  // namespace kest::repository
