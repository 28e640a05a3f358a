#include "server/repository/MofParser.h"

#include <gtest/gtest.h>

#include <string>
#include <variant>
#include <vector>

#include "tests/server/repository/MofTestSupport.h"

using kest::repository::ClassSyntax;
using kest::repository::MofLexer;
using kest::repository::MofParser;
using kest::repository::PragmaSyntax;
using kest::repository::Production;
using kest::repository::QualifierDeclarationSyntax;
using kest::repository::ScopeAny;
using kest::repository::ScopeMethod;
using kest::repository::ScopeProperty;
using kest::repository::ValueSyntax;
using kest::testing::diagnosticsOf;

namespace {

std::vector<Production> parseAll(const std::string& text) {
  MofLexer lexer("p.mof", text);
  MofParser parser(lexer);
  std::vector<Production> productions;
  while (auto production = parser.next()) productions.push_back(std::move(*production));
  return productions;
}

TEST(MofParserTest, ReadsAClassWithItsFeaturesInOrder) {
  const std::vector<Production> productions = parseAll(R"(
    [Description("d")] class CIM_Foo as $foo : CIM_Base {
      [Key] string Name;
      uint8 Bytes[4] = {1, 2};
      CIM_Bar REF Peer = "CIM_Bar.Tag=\"b\"";
      uint32 DoIt([In] string S = "x", CIM_Bar ref R[], sint8 Many[]);
      real64 Ratio;
    };)");
  ASSERT_EQ(productions.size(), 1u);
  const auto& cls = std::get<ClassSyntax>(productions[0]);
  EXPECT_EQ(cls.name, "CIM_Foo");
  EXPECT_EQ(cls.superClassName, "CIM_Base");
  ASSERT_EQ(cls.qualifiers.size(), 1u);
  EXPECT_EQ(cls.qualifiers[0].value->text, "d");
  ASSERT_EQ(cls.properties.size(), 4u);
  EXPECT_EQ(cls.properties[1].type.type.arraySize, 4u);
  EXPECT_EQ(cls.properties[1].defaultValue->elements.size(), 2u);
  EXPECT_EQ(cls.properties[2].type.type.code, CimTypeCode::Reference);
  EXPECT_EQ(cls.properties[2].type.type.referenceClass, "CIM_Bar");
  EXPECT_EQ(cls.properties[3].name, "Ratio");
  ASSERT_EQ(cls.methods.size(), 1u);
  const auto& parameters = cls.methods[0].parameters;
  ASSERT_EQ(parameters.size(), 3u);
  EXPECT_EQ(parameters[0].defaultValue->text, "x");
  EXPECT_TRUE(parameters[1].type.type.isArray);
  EXPECT_EQ(parameters[1].type.type.code, CimTypeCode::Reference);
  EXPECT_EQ(parameters[2].type.type.arraySize, 0u);
  EXPECT_EQ(cls.methods[0].location.line, 6u);
  EXPECT_EQ(cls.methods[0].location.column, 14u);
}

TEST(MofParserTest, ReadsQualifierDeclarationsInBothForms) {
  const std::vector<Production> productions = parseAll(
      "Qualifier A : string[] = {\"x\"}, Scope(property, method), Flavor(Restricted, "
      "Translatable);\n"
      "qualifier B : uint32 Scope(any) Policy(DisableOverride);\n"
      "QUALIFIER C : boolean, SCOPE(Class);");
  ASSERT_EQ(productions.size(), 3u);
  const auto& a = std::get<QualifierDeclarationSyntax>(productions[0]);
  EXPECT_TRUE(a.type.type.isArray);
  EXPECT_EQ(a.scopes, static_cast<unsigned>(ScopeProperty | ScopeMethod));
  EXPECT_EQ(a.flavors.size(), 2u);
  const auto& b = std::get<QualifierDeclarationSyntax>(productions[1]);
  EXPECT_EQ(b.scopes, static_cast<unsigned>(ScopeAny));
  EXPECT_EQ(b.flavors.size(), 1u);
  EXPECT_FALSE(std::get<QualifierDeclarationSyntax>(productions[2]).defaultValue.has_value());
}

TEST(MofParserTest, ReadsPragmasWithConcatenatedValues) {
  const std::vector<Production> productions =
      parseAll("#pragma include (\"a/\" \"b.mof\")\n#  PRAGMA locale(\"en\")");
  ASSERT_EQ(productions.size(), 2u);
  EXPECT_EQ(std::get<PragmaSyntax>(productions[0]).value, "a/b.mof");
  EXPECT_EQ(std::get<PragmaSyntax>(productions[1]).name, "locale");
}

TEST(MofParserTest, ReadsQualifierValuesInEveryForm) {
  const std::vector<Production> productions = parseAll(
      "[A, B(NULL), C(-3), D{\"x\", \"y\"}, E('c'), F(1.5) : DisableOverride Restricted, G(true), "
      "H($a)] "
      "class X {};");
  const auto& qualifiers = std::get<ClassSyntax>(productions[0]).qualifiers;
  ASSERT_EQ(qualifiers.size(), 8u);
  EXPECT_FALSE(qualifiers[0].value.has_value());
  EXPECT_EQ(qualifiers[1].value->kind, ValueSyntax::Kind::Null);
  EXPECT_TRUE(qualifiers[2].value->negative);
  EXPECT_EQ(qualifiers[3].value->kind, ValueSyntax::Kind::Array);
  EXPECT_EQ(qualifiers[4].value->kind, ValueSyntax::Kind::Char);
  EXPECT_EQ(qualifiers[5].flavors.size(), 2u);
  EXPECT_TRUE(qualifiers[6].value->boolean);
  EXPECT_EQ(qualifiers[7].value->kind, ValueSyntax::Kind::Alias);
}

struct SyntaxCase {
  const char* mof;
  const char* error;
};

// Each malformed text gives exactly one error, naming where and what was
// expected.
TEST(MofParserTest, SyntaxErrorsNameTheExpectedToken) {
  const std::vector<SyntaxCase> cases = {
      {"class A {\n  string Name\n};", "test.mof:3:1: expected ';' after property declaration"},
      {"class A { A REF r };", "test.mof:1:19: expected ';' after reference declaration"},
      {"class A { uint32 M() };", "test.mof:1:22: expected ';' after method declaration"},
      {"class A { }", "test.mof:1:12: expected ';' after class declaration"},
      {"class A { string x; ", "test.mof:1:21: expected '}' to end the body of class 'A'"},
      {"class A : { };", "test.mof:1:11: expected superclass name after ':'"},
      {"class { };", "test.mof:1:7: expected class name after 'class'"},
      {"class A string x; };", "test.mof:1:9: expected '{' to begin the body of class 'A'"},
      {"class A as B { };", "test.mof:1:12: expected an alias after 'as'"},
      {"class A { strng x; };", "test.mof:1:11: unknown data type 'strng'"},
      {"class A { 42 x; };", "test.mof:1:11: expected a property or method declaration"},
      {"class A { string ; };", "test.mof:1:18: expected property or method name"},
      {"class A { B REF ; };", "test.mof:1:17: expected reference name"},
      {"class A { B REF M(); };", "test.mof:1:11: a method cannot return a reference"},
      {"class A { B REF r[]; };", "test.mof:1:18: a reference property cannot be an array"},
      {"class A { uint8 a[0]; };", "test.mof:1:19: array size must be a positive integer"},
      {"class A { uint8 a[-2]; };", "test.mof:1:19: array size must be a positive integer"},
      {"class A { uint8 a[x]; };", "test.mof:1:19: expected an array size or ']'"},
      {"class A { uint8 a[2; };", "test.mof:1:20: expected ']' after array size"},
      {"class A { uint8 a = ; };", "test.mof:1:21: expected a value"},
      {"class A { uint8 a[] = {1 2}; };", "test.mof:1:26: expected ',' or '}' in array value"},
      {"class A { uint8 a[] = {{1}}; };", "test.mof:1:24: expected a value"},
      {"class A { uint8 a = yes; };", "test.mof:1:21: expected a value"},
      {"class A { uint32 M(string); };", "test.mof:1:26: expected parameter name"},
      {"class A { uint32 M(string s; };", "test.mof:1:28: expected ',' or ')' in parameter list"},
      {"class A { uint32 M(,); };", "test.mof:1:20: expected a parameter declaration"},
      {"[Key class A {};", "test.mof:1:6: expected ',' or ']' in qualifier list"},
      {"[] class A {};", "test.mof:1:2: expected qualifier name"},
      {"[Description(\"x\" class A {};", "test.mof:1:18: expected ')' after qualifier value"},
      {"[Key : ] class A {};", "test.mof:1:8: expected a flavor after ':'"},
      {"[Key] qualifier X : boolean;",
       "test.mof:1:7: expected 'class' or 'instance' after qualifier list"},
      {"string x;",
       "test.mof:1:1: expected a class, qualifier or instance declaration or a pragma"},
      {"};", "test.mof:1:1: expected a class, qualifier or instance declaration or a pragma"},
      {"Qualifier : boolean, Scope(any);", "test.mof:1:11: expected qualifier name"},
      {"Qualifier Q boolean, Scope(any);", "test.mof:1:13: expected ':' after qualifier name"},
      {"Qualifier Q : ;", "test.mof:1:15: expected a data type for qualifier 'Q'"},
      {"Qualifier Q : CIM_Foo REF, Scope(any);", "test.mof:1:15: unknown data type 'CIM_Foo'"},
      {"Qualifier Q : object, Scope(any);", "test.mof:1:15: a qualifier cannot be of type object"},
      {"Qualifier Q : boolean;",
       "test.mof:1:22: expected 'Scope' in the declaration of qualifier 'Q'"},
      {"Qualifier Q : boolean, Scope any;", "test.mof:1:30: expected '(' after 'Scope'"},
      {"Qualifier Q : boolean, Scope(anything);", "test.mof:1:30: unknown scope 'anything'"},
      {"Qualifier Q : boolean, Scope(class property);",
       "test.mof:1:36: expected ',' or ')' in scope list"},
      {"Qualifier Q : boolean, Scope();", "test.mof:1:30: expected a scope name"},
      {"Qualifier Q : boolean, Scope(any), ;", "test.mof:1:36: expected 'Flavor' after ','"},
      {"Qualifier Q : boolean, Scope(any), Flavor(Sticky);",
       "test.mof:1:43: unknown flavor 'Sticky'"},
      {"Qualifier Q : boolean, Scope(any), Flavor();", "test.mof:1:43: expected a flavor name"},
      {"Qualifier Q : boolean, Scope(any), Flavor(Restricted;",
       "test.mof:1:53: expected ',' or ')' in flavor list"},
      {"Qualifier Q : boolean, Scope(any)",
       "test.mof:1:34: expected ';' after qualifier declaration"},
      {"#include \"x.mof\"", "test.mof:1:2: expected 'pragma' after '#'"},
      {"#pragma (\"x\")", "test.mof:1:9: expected pragma name"},
      {"#pragma include \"x\"", "test.mof:1:17: expected '(' after pragma name"},
      {"#pragma include (x)", "test.mof:1:18: expected a string value in pragma"},
      {"#pragma include (\"x\"", "test.mof:1:21: expected ')' after pragma value"},
      {"instance A { };", "test.mof:1:10: expected 'of' after 'instance'"},
      {"instance of { };", "test.mof:1:13: expected class name after 'instance of'"},
      {"instance of A as { };", "test.mof:1:18: expected an alias after 'as'"},
      {"instance of A x = 1; };", "test.mof:1:15: expected '{' to begin the instance of 'A'"},
      {"instance of A { x = { 1 };", "test.mof:1:27: expected '}' to end the instance of 'A'"},
      {"instance of A { x = 1; }", "test.mof:1:25: expected ';' after instance declaration"},
  };
  for (const SyntaxCase& c : cases) {
    SCOPED_TRACE(c.mof);
    EXPECT_EQ(diagnosticsOf(c.mof), std::vector<std::string>{c.error});
  }
}

TEST(MofParserTest, ASyntaxErrorStopsTheCompilation) {
  const auto messages = diagnosticsOf("class A { x };\nclass B : Unknown { };");
  EXPECT_EQ(messages, std::vector<std::string>{"test.mof:1:11: unknown data type 'x'"});
}

}  // namespace
