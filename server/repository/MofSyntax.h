#pragma once

// The MOF compiler's syntax tree: what the parser read, before names are
// checked against qualifier declarations and classes. Internal to the
// repository library.

#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

#include "server/repository/ClassDefinition.h"
#include "server/repository/Diagnostic.h"

namespace kest::repository {

// A syntax error: where and what was expected. Thrown by the lexer and the
// parser, caught by the compiler, which reports it and stops.
class MofSyntaxError : public std::runtime_error {
 public:
  MofSyntaxError(SourceLocation location, const std::string& message)
      : std::runtime_error(message), _location(std::move(location)) {}
  const SourceLocation& location() const { return _location; }

 private:
  SourceLocation _location;
};

struct InstanceSyntax;

// A literal value as written: a constant, an alias, an array of constants or
// an embedded instance.
//   Integer: magnitude and sign (the literal text kept for messages);
//   String: the concatenated, unescaped UTF-8 text;
//   Alias: the name after "$";
//   Instance: "instance of Class { ... }" written as the value (instance).
struct ValueSyntax {
  enum class Kind { Null, Boolean, Integer, Real, String, Char, Alias, Array, Instance };
  Kind kind = Kind::Null;
  SourceLocation location;
  bool boolean = false;
  bool negative = false;
  std::uint64_t magnitude = 0;
  double real = 0;
  char16_t character = 0;
  std::string text;
  std::vector<ValueSyntax> elements;
  std::shared_ptr<const InstanceSyntax> instance;
};

struct FlavorSyntax {
  enum class Kind { EnableOverride, DisableOverride, ToSubclass, Restricted, Translatable };
  Kind kind;
  SourceLocation location;
};

struct QualifierSyntax {
  std::string name;
  SourceLocation location;
  std::optional<ValueSyntax> value;
  std::vector<FlavorSyntax> flavors;
};

struct TypeSyntax {
  DataType type;
  // The referenced class's name for references, the type keyword otherwise.
  SourceLocation location;
};

// A property, reference or parameter.
struct FeatureSyntax {
  std::vector<QualifierSyntax> qualifiers;
  TypeSyntax type;
  std::string name;
  SourceLocation location;
  std::optional<ValueSyntax> defaultValue;
};

struct MethodSyntax {
  std::vector<QualifierSyntax> qualifiers;
  TypeSyntax returnType;
  std::string name;
  SourceLocation location;
  std::vector<FeatureSyntax> parameters;
};

struct ClassSyntax {
  std::vector<QualifierSyntax> qualifiers;
  std::string name;
  SourceLocation location;
  std::string superClassName;
  SourceLocation superClassLocation;
  std::vector<FeatureSyntax> properties;
  std::vector<MethodSyntax> methods;
};

struct QualifierDeclarationSyntax {
  std::string name;
  SourceLocation location;
  TypeSyntax type;
  std::optional<ValueSyntax> defaultValue;
  unsigned scopes = 0;
  std::vector<FlavorSyntax> flavors;
};

// "#pragma name("value")".
struct PragmaSyntax {
  std::string name;
  std::string value;
  SourceLocation location;
  SourceLocation valueLocation;
};

// "Name = value;" in an instance declaration. Qualifiers written before it
// are read and not kept (instances carry no qualifiers here).
struct PropertyValueSyntax {
  std::string name;
  SourceLocation location;
  ValueSyntax value;
};

// "instance of Class [as $Alias] { ... };" (or, as a value, without the
// final ";"). Qualifiers written before it are read and not kept.
//   alias: the name after "$", empty when none is given.
struct InstanceSyntax {
  std::string className;
  SourceLocation location;
  SourceLocation classLocation;
  std::string alias;
  SourceLocation aliasLocation;
  std::vector<PropertyValueSyntax> properties;
};

using Production =
    std::variant<PragmaSyntax, QualifierDeclarationSyntax, ClassSyntax, InstanceSyntax>;

}  // namespace kest::repository
