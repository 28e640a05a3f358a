// Qualifier declarations and the checks of qualifiers where they are used.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "server/repository/StandardQualifiers.h"
#include "tests/server/repository/MofTestSupport.h"

using kest::repository::ClassPointer;
using kest::repository::findStandardQualifierDeclaration;
using kest::repository::Flavor;
using kest::repository::QualifierDeclaration;
using kest::repository::ScopeAny;
using kest::repository::ScopeClass;
using kest::repository::ScopeParameter;
using kest::repository::ScopeProperty;
using kest::repository::ScopeReference;
using kest::repository::standardQualifierDeclarations;
using kest::testing::Compiled;
using kest::testing::compileMof;
using kest::testing::diagnosticsOf;

namespace {

TEST(QualifierCheckTest, StandardQualifiersNeedNoDeclaration) {
  const Compiled compiled = compileMof(R"(
    [Abstract, Description("d"), Version("1.0.0"), UMLPackagePath("P"), ClassConstraint{"x"}]
    class CIM_Base {
      [Key, MaxLen(64), Description("k"), ModelCorrespondence{"CIM_Base.Other"}] string Id;
      [ValueMap{"0", "1"}, Values{"Off", "On"}, Units("Bits"), PUnit("bit"), Counter, Write] uint16 State;
      [Required, Deprecated{"No value"}, Experimental, OctetString] uint8 Data[];
      [EmbeddedInstance("CIM_Base")] string Nested;
      [Static, Description("m")] uint32 Go([In, Out, Required, MinValue(0), MaxValue(9)] sint64 N,
                                          [In(false), Out, EmbeddedObject] string Result);
    };
    [Association, Aggregation, Version("2")] class CIM_Link {
      [Key, Aggregate, Min(1), Max(2)] CIM_Base REF Whole;
      [Key, Weak] CIM_Base REF Part;
    };
    [Indication, Exception] class CIM_Event { [Propagated("CIM_Base.Id")] string Source; };
  )");
  EXPECT_TRUE(compiled.result.succeeded()) << ::testing::PrintToString(compiled.messages());
  EXPECT_EQ(compiled.result.warningCount, 0u);
}

TEST(QualifierCheckTest, StandardDeclarationsKeepTheirTypesScopesAndFlavors) {
  const QualifierDeclaration* key = findStandardQualifierDeclaration("key");
  ASSERT_NE(key, nullptr);
  EXPECT_EQ(key->name, "Key");
  EXPECT_EQ(key->type.code, CimTypeCode::Boolean);
  EXPECT_EQ(key->defaultValue->toString(), "false");
  EXPECT_EQ(key->scopes, static_cast<unsigned>(ScopeProperty | ScopeReference));
  EXPECT_EQ(key->flavor, (Flavor{false, true, false}));
  const QualifierDeclaration* in = findStandardQualifierDeclaration("IN");
  EXPECT_EQ(in->defaultValue->toString(), "true");
  EXPECT_EQ(in->scopes, static_cast<unsigned>(ScopeParameter));
  const QualifierDeclaration* description = findStandardQualifierDeclaration("Description");
  EXPECT_EQ(description->scopes, static_cast<unsigned>(ScopeAny));
  EXPECT_EQ(description->flavor, (Flavor{true, true, true}));
  EXPECT_TRUE(description->defaultValue->isNullValue());
  const QualifierDeclaration* values = findStandardQualifierDeclaration("Values");
  EXPECT_TRUE(values->type.isArray);
  EXPECT_EQ(findStandardQualifierDeclaration("Abstract")->flavor, (Flavor{true, false, false}));
  EXPECT_EQ(findStandardQualifierDeclaration("Abstract")->scopes & ScopeClass,
            static_cast<unsigned>(ScopeClass));
  EXPECT_EQ(findStandardQualifierDeclaration("MaxLen")->type.code, CimTypeCode::UInt32);
  EXPECT_EQ(findStandardQualifierDeclaration("Nonsense"), nullptr);
  EXPECT_GE(standardQualifierDeclarations().size(), 60u);
  for (const QualifierDeclaration& declaration : standardQualifierDeclarations()) {
    EXPECT_FALSE(declaration.location.isKnown()) << declaration.name;
  }
}

TEST(QualifierCheckTest, QualifierValuesAreTypedByTheirDeclaration) {
  const Compiled compiled = compileMof(
      "[Description(\"a\" \"b\")] class T { [Key, MaxLen(8), ValueMap(\"1\"), Values{\"x\", "
      "\"y\"}] string S; };");
  ASSERT_TRUE(compiled.result.succeeded());
  const ClassPointer cls = compiled.cls("T");
  EXPECT_EQ(cls->qualifiers.find("description")->value->getAsString(), "ab");
  const auto& qualifiers = cls->findProperty("S")->qualifiers;
  ASSERT_EQ(qualifiers.size(), 4u);
  EXPECT_EQ(qualifiers.items()[0].name, "Key");
  EXPECT_EQ(qualifiers.items()[0].value->toString(), "true");
  EXPECT_FALSE(qualifiers.items()[0].flavor.overridable);
  EXPECT_EQ(qualifiers.items()[1].value->getType()->getName(), "uint32");
  EXPECT_EQ(qualifiers.items()[2].value->toString(), "{1}");
  EXPECT_TRUE(qualifiers.items()[2].value->getType()->isArray());
  EXPECT_EQ(qualifiers.items()[3].value->toString(), "{x,y}");
  EXPECT_TRUE(qualifiers.items()[3].flavor.translatable);
}

TEST(QualifierCheckTest, QualifiersWrittenWithoutValue) {
  const Compiled compiled = compileMof(
      "Qualifier Colour : string = \"red\", Scope(property);\n"
      "Qualifier Shade : string, Scope(property);\n"
      "class T { [Key, Colour, Shade] string S; };");
  ASSERT_TRUE(compiled.result.succeeded());
  const auto& qualifiers = compiled.cls("T")->findProperty("S")->qualifiers;
  EXPECT_EQ(qualifiers.find("Key")->value->toString(), "true");
  EXPECT_EQ(qualifiers.find("Colour")->value->getAsString(), "red");
  EXPECT_FALSE(qualifiers.find("Shade")->value);
}

TEST(QualifierCheckTest, FlavorsGivenAtTheUseChangeTheDeclaredOnes) {
  const Compiled compiled = compileMof(
      "class T { [Description(\"x\") : DisableOverride Restricted, Units(\"u\"): ToSubclass "
      "Translatable] uint8 P; };");
  ASSERT_TRUE(compiled.result.succeeded());
  const auto& qualifiers = compiled.cls("T")->findProperty("P")->qualifiers;
  EXPECT_EQ(qualifiers.find("Description")->flavor, (Flavor{false, false, true}));
  EXPECT_EQ(qualifiers.find("Units")->flavor, (Flavor{true, true, true}));
}

TEST(QualifierCheckTest, DeclaredQualifiersAreUsableAndStored) {
  const Compiled compiled = compileMof(
      "Qualifier Colour : string[] = {\"red\"}, Scope(class, property), Flavor(DisableOverride, "
      "Restricted);\n"
      "[Colour{\"blue\"}] class T { [Colour] string S; };");
  ASSERT_TRUE(compiled.result.succeeded()) << compiled.messages()[0];
  EXPECT_EQ(compiled.result.qualifierCount, 1u);
  const auto declaration = compiled.repository->findQualifierDeclaration("ROOT/CIMV2", "colour");
  ASSERT_TRUE(declaration);
  EXPECT_EQ(declaration->name, "Colour");
  EXPECT_EQ(declaration->flavor, (Flavor{false, false, false}));
  EXPECT_EQ(declaration->location.toString(), "test.mof:1:11");
  EXPECT_EQ(compiled.cls("T")->findProperty("S")->qualifiers.find("Colour")->value->toString(),
            "{red}");
  EXPECT_FALSE(compiled.repository->findQualifierDeclaration("root/other", "Colour"));
}

TEST(QualifierCheckTest, RedeclaringAStandardQualifierReplacesItInTheNamespace) {
  const Compiled compiled = compileMof(
      "Qualifier Description : string = \"none\", Scope(class), Flavor(Restricted);\n"
      "[Description] class T {};");
  ASSERT_TRUE(compiled.result.succeeded());
  EXPECT_EQ(compiled.cls("T")->qualifiers.find("Description")->value->getAsString(), "none");
  const auto all = compiled.repository->qualifierDeclarations("root/cimv2");
  EXPECT_EQ(all.size(), standardQualifierDeclarations().size());
  const auto own = compiled.repository->findQualifierDeclaration("root/cimv2", "Description");
  EXPECT_EQ(own->scopes, static_cast<unsigned>(ScopeClass));
  EXPECT_EQ(compiled.repository->findQualifierDeclaration("root/other", "Description")->scopes,
            static_cast<unsigned>(ScopeAny));
}

TEST(QualifierCheckTest, IdenticalRedeclarationIsAccepted) {
  const char* declaration = "Qualifier Q : uint32 = 3, Scope(property), Flavor(Translatable);\n";
  const Compiled compiled =
      compileMof(std::string(declaration) + declaration + "class T { [Q] uint8 P; };");
  EXPECT_TRUE(compiled.result.succeeded());
  EXPECT_EQ(compiled.result.qualifierCount, 1u);
}

struct QualifierErrorCase {
  const char* mof;
  std::vector<std::string> errors;
};

TEST(QualifierCheckTest, MisusedQualifiersAreErrors) {
  const std::vector<QualifierErrorCase> cases = {
      {"class T { [Colour] string S; };", {"test.mof:1:12: unknown qualifier 'Colour'"}},
      {"[Key] class T {};", {"test.mof:1:2: qualifier 'Key' cannot be used on a class"}},
      {"class T { [In] string S; };",
       {"test.mof:1:12: qualifier 'In' cannot be used on a property"}},
      {"class T { [Key] uint32 M(); };",
       {"test.mof:1:12: qualifier 'Key' cannot be used on a method"}},
      {"class T { uint32 M([Key] string S); };",
       {"test.mof:1:21: qualifier 'Key' cannot be used on a parameter"}},
      {"class T { [Max(1)] uint32 P; };",
       {"test.mof:1:12: qualifier 'Max' cannot be used on a property"}},
      {"class T { [Weak] T REF R; };", {}},
      {"class T { [Write] T REF R; };",
       {"test.mof:1:12: qualifier 'Write' cannot be used on a reference"}},
      {"[Association] class A { [Key] T REF a; [Key] T REF b; }; class T { [Aggregation] uint8 P; "
       "};",
       {"test.mof:1:69: qualifier 'Aggregation' cannot be used on a property"}},
      {"[Aggregation] class T {};",
       {"test.mof:1:2: qualifier 'Aggregation' cannot be used on a class"}},
      {"class T { [MaxLen(\"x\")] string S; };",
       {"test.mof:1:19: value of qualifier 'MaxLen': expected a uint32 value, found a string"}},
      {"class T { [MaxLen(-1)] string S; };",
       {"test.mof:1:19: value of qualifier 'MaxLen': -1 is out of range for uint32"}},
      {"class T { [Key(1)] string S; };",
       {"test.mof:1:16: value of qualifier 'Key': expected a boolean value, found an integer"}},
      {"class T { [Description{\"a\", \"b\"}] string S; };",
       {"test.mof:1:23: value of qualifier 'Description': expected a string value, found an "
        "array"}},
      {"class T { [Values{1}] string S; };",
       {"test.mof:1:18: value of qualifier 'Values': expected a string value, found an integer"}},
      {"class T { [Key, key] string S; };", {"test.mof:1:17: qualifier 'Key' is given twice"}},
      {"class T { [Description(\"x\"): EnableOverride DisableOverride] string S; };",
       {"test.mof:1:45: conflicting flavors 'EnableOverride' and 'DisableOverride'"}},
      {"class T { [Description(\"x\"): Restricted ToSubclass] string S; };",
       {"test.mof:1:41: conflicting flavors 'Restricted' and 'ToSubclass'"}},
      {"Qualifier Q : boolean, Scope(any), Flavor(ToSubclass, Restricted);",
       {"test.mof:1:55: conflicting flavors 'ToSubclass' and 'Restricted'"}},
      {"Qualifier Q : uint8 = 300, Scope(any);",
       {"test.mof:1:23: default value of qualifier 'Q': 300 is out of range for uint8"}},
      {"Qualifier Q : uint8 = 3, Scope(any);\nQualifier Q : uint8 = 4, Scope(any);",
       {"test.mof:2:11: qualifier 'Q' is already declared differently at test.mof:1:11"}},
      {"Qualifier Q : uint8, Scope(any);\nQualifier q : uint8, Scope(property);",
       {"test.mof:2:11: qualifier 'q' is already declared differently at test.mof:1:11"}},
      {"class T { [EmbeddedObject] uint32 P; };",
       {"test.mof:1:35: qualifier 'EmbeddedObject' needs a string; property 'T.P' is uint32"}},
      {"class T { uint32 M([EmbeddedInstance(\"T\")] sint8 P); };",
       {"test.mof:1:50: qualifier 'EmbeddedInstance' needs a string; parameter 'P' of method 'T.M' "
        "is sint8"}},
  };
  for (const QualifierErrorCase& c : cases) {
    SCOPED_TRACE(c.mof);
    EXPECT_EQ(diagnosticsOf(c.mof), c.errors);
  }
}

TEST(QualifierCheckTest, ClassScopeCoversAssociationsAndIndications) {
  const Compiled compiled = compileMof(
      "Qualifier OnClass : boolean = false, Scope(class);\n"
      "class CIM_E {};\n"
      "[Association, OnClass] class A { [Key] CIM_E REF a; [Key] CIM_E REF b; };\n"
      "[Indication, OnClass] class I {};");
  EXPECT_TRUE(compiled.result.succeeded()) << compiled.messages()[0];
}

TEST(QualifierCheckTest, AssociationScopeDoesNotCoverOrdinaryClasses) {
  EXPECT_EQ(
      diagnosticsOf(
          "Qualifier OnAssoc : boolean = false, Scope(association);\n[OnAssoc] class T {};"),
      std::vector<std::string>{"test.mof:2:2: qualifier 'OnAssoc' cannot be used on a class"});
}

TEST(QualifierCheckTest, EmbeddedQualifiersMarkTheElements) {
  const Compiled compiled = compileMof(
      "class T { [EmbeddedObject] string O; [EmbeddedInstance(\"T\")] string I[]; object Plain;"
      " uint32 M([EmbeddedInstance(\"T\"), Out] string P); };");
  ASSERT_TRUE(compiled.result.succeeded());
  const ClassPointer cls = compiled.cls("T");
  using kest::repository::EmbeddedKind;
  EXPECT_EQ(cls->findProperty("O")->embedded, EmbeddedKind::Object);
  EXPECT_EQ(cls->findProperty("I")->embedded, EmbeddedKind::Instance);
  EXPECT_EQ(cls->findProperty("I")->embeddedClassName, "T");
  EXPECT_EQ(cls->findProperty("Plain")->embedded, EmbeddedKind::Object);
  EXPECT_EQ(cls->findMethod("M")->findParameter("p")->embedded, EmbeddedKind::Instance);
}

}  // namespace
