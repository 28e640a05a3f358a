#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "host/Ascii.h"
#include "host/CimType.h"
#include "host/SmartPointer.h"
#include "host/String.h"
#include "host/Value.h"
#include "server/repository/Diagnostic.h"

namespace kest::repository {

// The declared type of a property, parameter, method result or qualifier.
//   code: the CIM type; Reference for REF declarations (referenceClass names
//     the referenced class), Object for the MOF type "object" (an embedded
//     object; a string with the EmbeddedObject or EmbeddedInstance qualifier
//     stays String, see Property::embedded);
//   isArray, arraySize: an array; arraySize is the fixed size of "[n]" and 0
//     for a variable-length array "[]" (and for scalars).
struct DataType {
  CimTypeCode code = CimTypeCode::String;
  bool isArray = false;
  unsigned arraySize = 0;
  TOVString referenceClass;

  // The host's type: CTovaType's shared scalar or array type, or a
  // reference (array) type naming referenceClass.
  TOVSmrPtr<ITovaType> hostType() const;
  // As MOF writes it: "uint32", "string[]", "uint8[4]", "CIM_Bar REF",
  // "CIM_Bar REF[]".
  TOVString toMof() const;
  // Same code, array form and size, and (ignoring case) reference class.
  bool operator==(const DataType& other) const;
};

// Where a qualifier may be used (a bit set). Class covers associations and
// indications too; Property does not cover references.
enum ScopeBits : unsigned {
  ScopeClass = 1u << 0,
  ScopeAssociation = 1u << 1,
  ScopeIndication = 1u << 2,
  ScopeProperty = 1u << 3,
  ScopeReference = 1u << 4,
  ScopeMethod = 1u << 5,
  ScopeParameter = 1u << 6,
  ScopeAny = (1u << 7) - 1,
};

// How a qualifier value behaves under inheritance.
//   overridable: false for DisableOverride (a subclass may not change the
//     value it inherits);
//   toSubclass: false for Restricted (the value is not propagated to
//     subclasses);
//   translatable: Translatable.
struct Flavor {
  bool overridable = true;
  bool toSubclass = true;
  bool translatable = false;

  bool operator==(const Flavor& other) const = default;
};

// A qualifier type declaration ("Qualifier Key : boolean = false, ...").
// defaultValue is null when the declaration gives none (CIM NULL).
struct QualifierDeclaration {
  TOVString name;
  DataType type;
  TOVSmrPtr<ITovaValue> defaultValue;
  unsigned scopes = 0;
  Flavor flavor;
  // Unknown for the built-in standard declarations.
  SourceLocation location;

  // Same name (ignoring case), type, default value, scopes and flavor.
  bool sameDefinitionAs(const QualifierDeclaration& other) const;
};

// A qualifier value on a class, property, method or parameter.
//   name: the declaration's spelling;
//   type: the declaration's type;
//   value: the given value; a boolean qualifier written without a value is
//     TRUE, another one written without a value has the declaration's
//     default (a null pointer when that is NULL);
//   flavor: the declaration's flavor, changed by flavors given at the use;
//   propagated: inherited unchanged from the superclass's element.
struct Qualifier {
  TOVString name;
  DataType type;
  TOVSmrPtr<ITovaValue> value;
  Flavor flavor;
  bool propagated = false;
};

// The qualifiers of one element, in order: inherited ones in their
// superclass order (with local overrides in place), then local ones in
// source order.
class QualifierList {
 public:
  const std::vector<Qualifier>& items() const { return _items; }
  std::vector<Qualifier>& items() { return _items; }
  bool empty() const { return _items.empty(); }
  std::size_t size() const { return _items.size(); }

  // The qualifier named name (ignoring case); null when absent.
  const Qualifier* find(const TOVString& name) const;
  // The value of a boolean qualifier; fallback when it is absent, NULL or
  // not a boolean.
  bool booleanValue(const TOVString& name, bool fallback) const;

 private:
  std::vector<Qualifier> _items;
};

// What kind of embedded value a string or object element holds.
//   None: an ordinary value; Object: EmbeddedObject, or the type "object";
//   Instance: EmbeddedInstance("Class") (the class is in embeddedClassName).
enum class EmbeddedKind { None, Object, Instance };

// A property or reference of a class.
//   defaultValue: null when none is declared (nor inherited);
//   classOrigin: the class that defines the property, or that overrides it
//     last; empty in a copy made with includeClassOrigin false;
//   propagated: inherited unchanged from the superclass;
//   key: the Key qualifier's value (kept when qualifiers are filtered out).
struct Property {
  TOVString name;
  DataType type;
  TOVSmrPtr<ITovaValue> defaultValue;
  QualifierList qualifiers;
  TOVString classOrigin;
  bool propagated = false;
  bool key = false;
  EmbeddedKind embedded = EmbeddedKind::None;
  TOVString embeddedClassName;
  SourceLocation location;

  bool isReference() const { return type.code == CimTypeCode::Reference; }
  // The type a value of the property has in the host's object model: the
  // declared type, except that a string marked EmbeddedObject or
  // EmbeddedInstance is an embedded object (of embeddedClassName).
  TOVSmrPtr<ITovaType> hostType() const;
};

// A method parameter. in and out are the effective In and Out qualifier
// values (In defaults to true, Out to false), kept when qualifiers are
// filtered out. defaultValue is a MOF default ("= value"), null when none.
struct Parameter {
  TOVString name;
  DataType type;
  TOVSmrPtr<ITovaValue> defaultValue;
  QualifierList qualifiers;
  bool in = true;
  bool out = false;
  EmbeddedKind embedded = EmbeddedKind::None;
  TOVString embeddedClassName;
  SourceLocation location;

  bool isReference() const { return type.code == CimTypeCode::Reference; }
  // As Property::hostType.
  TOVSmrPtr<ITovaType> hostType() const;
};

// A method: its return type (a scalar, never a reference), its parameters in
// declaration order, qualifiers, class origin and propagated flag as for
// Property.
struct Method {
  TOVString name;
  DataType returnType;
  std::vector<Parameter> parameters;
  QualifierList qualifiers;
  TOVString classOrigin;
  bool propagated = false;
  SourceLocation location;

  // The parameter named name (ignoring case); null when absent.
  const Parameter* findParameter(const TOVString& name) const;
};

// The options of the class operations (GetClass, EnumerateClasses).
//   localOnly: leave out inherited (propagated) properties, methods and
//     class qualifiers;
//   includeQualifiers: false leaves out every qualifier (of the class, its
//     properties, methods and parameters);
//   includeClassOrigin: false empties every classOrigin;
//   propertyList: when set, only the properties named in it (ignoring case;
//     unknown names are ignored, an empty list keeps none).
struct ClassRequestOptions {
  bool localOnly = true;
  bool includeQualifiers = true;
  bool includeClassOrigin = false;
  std::optional<std::vector<TOVString>> propertyList;
};

// A resolved class: its own and inherited properties, methods and
// qualifiers. This is the server's one model of a class: compiled from MOF,
// or declared by a provider (defined false). Classes in a ClassRepository are
// immutable and shared (std::shared_ptr<const ClassDefinition>), so they may
// be read by any number of threads.
//   superClassName: empty for a root class;
//   defined: false for a class that the repository knows only by name and
//     superclass (ClassRepository::declareClass); such a class has no
//     properties, methods or qualifiers of its own;
//   association, indication, abstract: the effective Association, Indication
//     and Abstract qualifier values;
//   builtIn: compiled as a built-in class (CompileOptions::builtIn), which a
//     later compilation may replace by a class of the same name, superclass
//     and keys.
struct ClassDefinition {
  TOVString name;
  TOVString superClassName;
  QualifierList qualifiers;
  std::vector<Property> properties;
  std::vector<Method> methods;
  bool defined = true;
  bool association = false;
  bool indication = false;
  bool abstract = false;
  bool builtIn = false;
  SourceLocation location;

  // Lookups by name, ignoring case; null when absent. They use the index
  // that indexFeatures() built, and search the lists when the name is not in
  // it (a class changed since, or never indexed).
  const Property* findProperty(const TOVString& name) const;
  const Method* findMethod(const TOVString& name) const;
  // Builds the name index of the properties and methods. The repository
  // calls it on every class it adds, so that lookups during requests do not
  // search; a copy made by filtered() is not indexed.
  void indexFeatures();
  // The key properties' names, in property order.
  std::vector<TOVString> keyNames() const;

  // A copy with options applied (see ClassRequestOptions).
  ClassDefinition filtered(const ClassRequestOptions& options) const;

 private:
  // Name (any case) -> position in properties or methods; looked up without
  // copying the name.
  using FeatureIndex = std::unordered_map<std::string, std::size_t, kest::ascii::HashIgnoreCase,
                                          kest::ascii::EqualIgnoreCase>;
  FeatureIndex _propertyIndex;
  FeatureIndex _methodIndex;
};

}  // namespace kest::repository
