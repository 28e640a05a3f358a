#include "server/repository/MofParser.h"

#include <array>
#include <memory>
#include <optional>
#include <utility>

#include "host/CimType.h"

namespace kest::repository {

namespace {

struct NamedScope {
  const char* keyword;
  unsigned bits;
};

// Scopes of other metamodel elements (schemas, qualifiers, structures,
// enumerations, interfaces) are accepted; such elements never carry
// qualifiers here.
constexpr std::array<NamedScope, 14> kScopes = {{
    {"class", ScopeClass},
    {"association", ScopeAssociation},
    {"indication", ScopeIndication},
    {"property", ScopeProperty},
    {"reference", ScopeReference},
    {"method", ScopeMethod},
    {"parameter", ScopeParameter},
    {"any", ScopeAny},
    {"schema", 0},
    {"qualifier", 0},
    {"structure", 0},
    {"enumeration", 0},
    {"enumerationvalue", 0},
    {"interface", 0},
}};

struct NamedFlavor {
  const char* keyword;
  FlavorSyntax::Kind kind;
};

constexpr std::array<NamedFlavor, 5> kFlavors = {{
    {"enableoverride", FlavorSyntax::Kind::EnableOverride},
    {"disableoverride", FlavorSyntax::Kind::DisableOverride},
    {"tosubclass", FlavorSyntax::Kind::ToSubclass},
    {"restricted", FlavorSyntax::Kind::Restricted},
    {"translatable", FlavorSyntax::Kind::Translatable},
}};

const NamedFlavor* flavorNamed(const Token& token) {
  for (const NamedFlavor& flavor : kFlavors) {
    if (token.isKeyword(flavor.keyword)) return &flavor;
  }
  return nullptr;
}

}  // namespace

void MofParser::failAt(const Token& token, const std::string& message) const {
  throw MofSyntaxError(_lexer.locationOf(token), message);
}

void MofParser::expect(char c, const std::string& message) {
  if (!_lexer.peek().is(c)) failAt(_lexer.peek(), message);
  _lexer.next();
}

bool MofParser::accept(char c) {
  if (!_lexer.peek().is(c)) return false;
  _lexer.next();
  return true;
}

std::string MofParser::expectIdentifier(const std::string& message) {
  if (_lexer.peek().kind != Token::Kind::Identifier) failAt(_lexer.peek(), message);
  return _lexer.next().text;
}

std::optional<Production> MofParser::next() {
  const Token& token = _lexer.peek();
  if (token.kind == Token::Kind::End) return std::nullopt;
  if (token.is('#')) return parsePragma();
  if (token.isKeyword("qualifier")) return parseQualifierDeclaration();
  if (token.isKeyword("class")) return parseClass({});
  if (token.isKeyword("instance")) return parseInstanceDeclaration();
  if (token.is('[')) {
    std::vector<QualifierSyntax> qualifiers = parseQualifierList();
    if (_lexer.peek().isKeyword("class")) return parseClass(std::move(qualifiers));
    if (_lexer.peek().isKeyword("instance")) return parseInstanceDeclaration();
    failAt(_lexer.peek(), "expected 'class' or 'instance' after qualifier list");
  }
  failAt(token, "expected a class, qualifier or instance declaration or a pragma");
}

PragmaSyntax MofParser::parsePragma() {
  PragmaSyntax pragma;
  pragma.location = here();
  _lexer.next();
  if (!_lexer.peek().isKeyword("pragma")) failAt(_lexer.peek(), "expected 'pragma' after '#'");
  _lexer.next();
  pragma.name = expectIdentifier("expected pragma name");
  expect('(', "expected '(' after pragma name");
  if (_lexer.peek().kind != Token::Kind::String)
    failAt(_lexer.peek(), "expected a string value in pragma");
  pragma.valueLocation = here();
  while (_lexer.peek().kind == Token::Kind::String) pragma.value += _lexer.next().text;
  expect(')', "expected ')' after pragma value");
  return pragma;
}

QualifierDeclarationSyntax MofParser::parseQualifierDeclaration() {
  QualifierDeclarationSyntax declaration;
  _lexer.next();
  declaration.location = here();
  declaration.name = expectIdentifier("expected qualifier name");
  expect(':', "expected ':' after qualifier name");
  declaration.type = parseType(false, "a data type for qualifier '" + declaration.name + "'");
  if (declaration.type.type.code == CimTypeCode::Object) {
    throw MofSyntaxError(declaration.type.location, "a qualifier cannot be of type object");
  }
  if (_lexer.peek().is('[')) parseArraySuffix(declaration.type.type);
  if (accept('=')) declaration.defaultValue = parseValue(true);
  accept(',');
  if (!_lexer.peek().isKeyword("scope")) {
    failAt(_lexer.peek(),
           "expected 'Scope' in the declaration of qualifier '" + declaration.name + "'");
  }
  _lexer.next();
  declaration.scopes = parseScopeList();
  const bool comma = accept(',');
  if (_lexer.peek().isKeyword("flavor") || _lexer.peek().isKeyword("policy")) {
    _lexer.next();
    declaration.flavors = parseFlavorList();
  } else if (comma) {
    failAt(_lexer.peek(), "expected 'Flavor' after ','");
  }
  expect(';', "expected ';' after qualifier declaration");
  return declaration;
}

unsigned MofParser::parseScopeList() {
  expect('(', "expected '(' after 'Scope'");
  unsigned scopes = 0;
  do {
    const Token token = _lexer.next();
    if (token.kind != Token::Kind::Identifier) failAt(token, "expected a scope name");
    const NamedScope* found = nullptr;
    for (const NamedScope& scope : kScopes) {
      if (token.isKeyword(scope.keyword)) found = &scope;
    }
    if (found == nullptr) failAt(token, "unknown scope '" + token.text + "'");
    scopes |= found->bits;
  } while (accept(','));
  expect(')', "expected ',' or ')' in scope list");
  return scopes;
}

std::vector<FlavorSyntax> MofParser::parseFlavorList() {
  expect('(', "expected '(' after 'Flavor'");
  std::vector<FlavorSyntax> flavors;
  do {
    const Token token = _lexer.next();
    if (token.kind != Token::Kind::Identifier) failAt(token, "expected a flavor name");
    const NamedFlavor* flavor = flavorNamed(token);
    if (flavor == nullptr) failAt(token, "unknown flavor '" + token.text + "'");
    flavors.push_back(FlavorSyntax{flavor->kind, _lexer.locationOf(token)});
  } while (accept(','));
  expect(')', "expected ',' or ')' in flavor list");
  return flavors;
}

ClassSyntax MofParser::parseClass(std::vector<QualifierSyntax> qualifiers) {
  ClassSyntax cls;
  cls.qualifiers = std::move(qualifiers);
  _lexer.next();
  cls.location = here();
  cls.name = expectIdentifier("expected class name after 'class'");
  if (_lexer.peek().isKeyword("as")) {
    _lexer.next();
    if (_lexer.peek().kind != Token::Kind::Alias)
      failAt(_lexer.peek(), "expected an alias after 'as'");
    _lexer.next();
  }
  if (accept(':')) {
    cls.superClassLocation = here();
    cls.superClassName = expectIdentifier("expected superclass name after ':'");
  }
  expect('{', "expected '{' to begin the body of class '" + cls.name + "'");
  while (!accept('}')) {
    if (_lexer.peek().kind == Token::Kind::End) {
      failAt(_lexer.peek(), "expected '}' to end the body of class '" + cls.name + "'");
    }
    parseFeature(cls);
  }
  expect(';', "expected ';' after class declaration");
  return cls;
}

InstanceSyntax MofParser::parseInstance() {
  InstanceSyntax instance;
  instance.location = here();
  _lexer.next();
  if (!_lexer.peek().isKeyword("of")) failAt(_lexer.peek(), "expected 'of' after 'instance'");
  _lexer.next();
  instance.classLocation = here();
  instance.className = expectIdentifier("expected class name after 'instance of'");
  if (_lexer.peek().isKeyword("as")) {
    _lexer.next();
    if (_lexer.peek().kind != Token::Kind::Alias)
      failAt(_lexer.peek(), "expected an alias after 'as'");
    instance.aliasLocation = here();
    instance.alias = _lexer.next().text;
  }
  const std::string what = "the instance of '" + instance.className + "'";
  expect('{', "expected '{' to begin " + what);
  while (!accept('}')) {
    if (_lexer.peek().kind == Token::Kind::End)
      failAt(_lexer.peek(), "expected '}' to end " + what);
    if (_lexer.peek().is('[')) parseQualifierList();
    PropertyValueSyntax property;
    property.location = here();
    property.name = expectIdentifier("expected a property name or '}' in " + what);
    expect('=', "expected '=' after property name '" + property.name + "'");
    property.value = parseValue(true);
    expect(';', "expected ';' after the value of property '" + property.name + "'");
    instance.properties.push_back(std::move(property));
  }
  return instance;
}

InstanceSyntax MofParser::parseInstanceDeclaration() {
  InstanceSyntax instance = parseInstance();
  expect(';', "expected ';' after instance declaration");
  return instance;
}

TypeSyntax MofParser::parseType(bool allowReference, const std::string& what) {
  const Token token = _lexer.peek();
  if (token.kind != Token::Kind::Identifier) failAt(token, "expected " + what);
  TypeSyntax type;
  type.location = _lexer.locationOf(token);
  // A reference is written "Class REF"; "reference" is no type keyword in MOF.
  const std::optional<CimTypeCode> code = CTovaType::codeNamedIgnoringCase(token.text);
  if (code && *code != CimTypeCode::Reference) {
    _lexer.next();
    type.type.code = *code;
    return type;
  }
  if (!allowReference || !_lexer.peek(1).isKeyword("ref"))
    failAt(token, "unknown data type '" + token.text + "'");
  _lexer.next();
  _lexer.next();
  type.type.code = CimTypeCode::Reference;
  type.type.referenceClass = token.text;
  return type;
}

void MofParser::parseArraySuffix(DataType& type) {
  _lexer.next();
  type.isArray = true;
  const Token token = _lexer.peek();
  if (token.kind == Token::Kind::Integer) {
    if (token.negative || token.text[0] == '+' || token.magnitude == 0 ||
        token.magnitude > 0xFFFFFFFFu) {
      failAt(token, "array size must be a positive integer");
    }
    type.arraySize = static_cast<unsigned>(token.magnitude);
    _lexer.next();
    expect(']', "expected ']' after array size");
  } else if (!accept(']')) {
    failAt(token, "expected an array size or ']'");
  }
}

void MofParser::parseFeature(ClassSyntax& cls) {
  std::vector<QualifierSyntax> qualifiers;
  if (_lexer.peek().is('[')) qualifiers = parseQualifierList();
  const TypeSyntax type = parseType(true, "a property or method declaration");
  const bool reference = type.type.code == CimTypeCode::Reference;
  const SourceLocation location = here();
  std::string name =
      expectIdentifier(reference ? "expected reference name" : "expected property or method name");
  if (_lexer.peek().is('(')) {
    if (reference) throw MofSyntaxError(type.location, "a method cannot return a reference");
    MethodSyntax method{std::move(qualifiers), type, std::move(name), location, {}};
    method.parameters = parseParameters();
    expect(';', "expected ';' after method declaration");
    cls.methods.push_back(std::move(method));
    return;
  }
  FeatureSyntax property{std::move(qualifiers), type, std::move(name), location, std::nullopt};
  if (_lexer.peek().is('[')) {
    if (reference) failAt(_lexer.peek(), "a reference property cannot be an array");
    parseArraySuffix(property.type.type);
  }
  if (accept('=')) property.defaultValue = parseValue(true);
  expect(';', reference ? "expected ';' after reference declaration"
                        : "expected ';' after property declaration");
  cls.properties.push_back(std::move(property));
}

std::vector<FeatureSyntax> MofParser::parseParameters() {
  _lexer.next();
  std::vector<FeatureSyntax> parameters;
  if (accept(')')) return parameters;
  do {
    FeatureSyntax parameter;
    if (_lexer.peek().is('[')) parameter.qualifiers = parseQualifierList();
    parameter.type = parseType(true, "a parameter declaration");
    parameter.location = here();
    parameter.name = expectIdentifier("expected parameter name");
    if (_lexer.peek().is('[')) parseArraySuffix(parameter.type.type);
    if (accept('=')) parameter.defaultValue = parseValue(true);
    parameters.push_back(std::move(parameter));
  } while (accept(','));
  expect(')', "expected ',' or ')' in parameter list");
  return parameters;
}

std::vector<QualifierSyntax> MofParser::parseQualifierList() {
  _lexer.next();
  std::vector<QualifierSyntax> qualifiers;
  do {
    QualifierSyntax qualifier;
    qualifier.location = here();
    qualifier.name = expectIdentifier("expected qualifier name");
    if (accept('(')) {
      qualifier.value = parseValue(false);
      expect(')', "expected ')' after qualifier value");
    } else if (_lexer.peek().is('{')) {
      qualifier.value = parseValue(true);
    }
    if (accept(':')) {
      if (flavorNamed(_lexer.peek()) == nullptr)
        failAt(_lexer.peek(), "expected a flavor after ':'");
      while (const NamedFlavor* flavor = flavorNamed(_lexer.peek())) {
        qualifier.flavors.push_back(FlavorSyntax{flavor->kind, here()});
        _lexer.next();
      }
    }
    qualifiers.push_back(std::move(qualifier));
  } while (accept(','));
  expect(']', "expected ',' or ']' in qualifier list");
  return qualifiers;
}

ValueSyntax MofParser::parseValue(bool allowArray) {
  ValueSyntax value;
  value.location = here();
  if (_lexer.peek().isKeyword("instance") && _lexer.peek(1).isKeyword("of")) {
    value.kind = ValueSyntax::Kind::Instance;
    value.instance = std::make_shared<const InstanceSyntax>(parseInstance());
    return value;
  }
  const Token token = _lexer.next();
  switch (token.kind) {
    case Token::Kind::String:
      value.kind = ValueSyntax::Kind::String;
      value.text = token.text;
      while (_lexer.peek().kind == Token::Kind::String) value.text += _lexer.next().text;
      return value;
    case Token::Kind::Integer:
      value.kind = ValueSyntax::Kind::Integer;
      value.negative = token.negative;
      value.magnitude = token.magnitude;
      value.text = token.text;
      return value;
    case Token::Kind::Real:
      value.kind = ValueSyntax::Kind::Real;
      value.real = token.real;
      value.text = token.text;
      return value;
    case Token::Kind::Char:
      value.kind = ValueSyntax::Kind::Char;
      value.character = token.character;
      value.text = token.text;
      return value;
    case Token::Kind::Alias:
      value.kind = ValueSyntax::Kind::Alias;
      value.text = token.text;
      return value;
    case Token::Kind::Identifier:
      if (token.isKeyword("true") || token.isKeyword("false")) {
        value.kind = ValueSyntax::Kind::Boolean;
        value.boolean = token.isKeyword("true");
        return value;
      }
      if (token.isKeyword("null")) return value;
      break;
    case Token::Kind::Punctuation:
      if (token.is('{') && allowArray) {
        value.kind = ValueSyntax::Kind::Array;
        if (accept('}')) return value;
        do {
          value.elements.push_back(parseValue(false));
        } while (accept(','));
        expect('}', "expected ',' or '}' in array value");
        return value;
      }
      break;
    case Token::Kind::End:
      break;
  }
  failAt(token, "expected a value");
}

}  // namespace kest::repository
