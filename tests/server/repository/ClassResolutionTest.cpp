// Inheritance: what a class gets from its superclass, and the class checks.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/server/repository/MofTestSupport.h"

using kest::repository::ClassPointer;
using kest::repository::Method;
using kest::repository::Property;
using kest::repository::Qualifier;
using kest::testing::Compiled;
using kest::testing::compileMof;
using kest::testing::diagnosticsOf;

namespace {

std::vector<std::string> propertyNames(const ClassPointer& cls) {
  std::vector<std::string> names;
  for (const Property& property : cls->properties) names.push_back(property.name.toStdString());
  return names;
}

std::vector<std::string> qualifierNames(const kest::repository::QualifierList& qualifiers) {
  std::vector<std::string> names;
  for (const Qualifier& qualifier : qualifiers.items())
    names.push_back(qualifier.name.toStdString());
  return names;
}

const char* const kHierarchy = R"(
  [Abstract, Description("root"), Version("1")]
  class CIM_Element {
    [Key, Description("id")] string Id;
    [Description("caption"), MaxLen(64)] string Caption = "none";
    uint32 Ping([In] uint32 Count, [Out] string Log);
  };
  [Description("device")]
  class CIM_Device : CIM_Element {
    [Override("Caption"), MaxLen(32)] string Caption;
    uint64 Size;
    [Override("Ping")] uint32 Ping([In, Description("how many")] uint32 Count, [Out] string Log);
  };
  class CIM_Disk : CIM_Device {
    [Override("Size")] uint64 Size = 512;
    boolean Removable;
  };
)";

TEST(ClassResolutionTest, PropertiesAreInheritedInSuperclassOrderThenLocalOnes) {
  const Compiled compiled = compileMof(kHierarchy);
  ASSERT_TRUE(compiled.result.succeeded()) << compiled.messages()[0];
  EXPECT_EQ(propertyNames(compiled.cls("CIM_Disk")),
            (std::vector<std::string>{"Id", "Caption", "Size", "Removable"}));
  EXPECT_EQ(compiled.cls("cim_disk")->superClassName, "CIM_Device");
  EXPECT_EQ(compiled.cls("CIM_Element")->superClassName, "");
}

TEST(ClassResolutionTest, ClassOriginAndPropagatedFollowTheDefiningClass) {
  const Compiled compiled = compileMof(kHierarchy);
  const ClassPointer disk = compiled.cls("CIM_Disk");
  struct Expected {
    const char* name;
    const char* origin;
    bool propagated;
  };
  for (const Expected& e : std::vector<Expected>{{"Id", "CIM_Element", true},
                                                 {"Caption", "CIM_Device", true},
                                                 {"Size", "CIM_Disk", false},
                                                 {"Removable", "CIM_Disk", false}}) {
    SCOPED_TRACE(e.name);
    const Property* property = disk->findProperty(e.name);
    EXPECT_EQ(property->classOrigin, e.origin);
    EXPECT_EQ(property->propagated, e.propagated);
  }
  const ClassPointer device = compiled.cls("CIM_Device");
  EXPECT_FALSE(device->findProperty("Caption")->propagated);
  EXPECT_EQ(device->findProperty("Caption")->classOrigin, "CIM_Device");
  EXPECT_TRUE(device->findProperty("Id")->propagated);
  EXPECT_EQ(device->findMethod("Ping")->classOrigin, "CIM_Device");
  EXPECT_FALSE(device->findMethod("Ping")->propagated);
  EXPECT_EQ(disk->findMethod("ping")->classOrigin, "CIM_Device");
  EXPECT_TRUE(disk->findMethod("Ping")->propagated);
}

TEST(ClassResolutionTest, DefaultsAreInheritedUnlessOverridden) {
  const Compiled compiled = compileMof(kHierarchy);
  EXPECT_EQ(compiled.cls("CIM_Device")->findProperty("Caption")->defaultValue->getAsString(),
            "none");
  EXPECT_FALSE(compiled.cls("CIM_Device")->findProperty("Size")->defaultValue);
  EXPECT_EQ(compiled.cls("CIM_Disk")->findProperty("Size")->defaultValue->toString(), "512");
}

TEST(ClassResolutionTest, QualifiersPropagatePerTheirFlavors) {
  const Compiled compiled = compileMof(kHierarchy);
  const ClassPointer element = compiled.cls("CIM_Element");
  const ClassPointer device = compiled.cls("CIM_Device");
  const ClassPointer disk = compiled.cls("CIM_Disk");
  EXPECT_TRUE(element->abstract);
  // Abstract and Version are Restricted; Description propagates (ToSubclass)
  // and the subclass's own value replaces it in place.
  EXPECT_EQ(qualifierNames(element->qualifiers),
            (std::vector<std::string>{"Abstract", "Description", "Version"}));
  EXPECT_EQ(qualifierNames(device->qualifiers), (std::vector<std::string>{"Description"}));
  EXPECT_FALSE(device->abstract);
  EXPECT_FALSE(device->qualifiers.find("Description")->propagated);
  EXPECT_EQ(device->qualifiers.find("Description")->value->getAsString(), "device");
  EXPECT_TRUE(disk->qualifiers.find("Description")->propagated);
  EXPECT_EQ(disk->qualifiers.find("Description")->value->getAsString(), "device");

  // Property qualifiers: inherited ones marked propagated, overridden ones
  // replaced, Override (Restricted) not passed on.
  const Property* caption = device->findProperty("Caption");
  EXPECT_EQ(qualifierNames(caption->qualifiers),
            (std::vector<std::string>{"Description", "MaxLen", "Override"}));
  EXPECT_TRUE(caption->qualifiers.find("Description")->propagated);
  EXPECT_FALSE(caption->qualifiers.find("MaxLen")->propagated);
  EXPECT_EQ(caption->qualifiers.find("MaxLen")->value->toString(), "32");
  EXPECT_EQ(qualifierNames(disk->findProperty("Caption")->qualifiers),
            (std::vector<std::string>{"Description", "MaxLen"}));
  const Property* id = disk->findProperty("Id");
  EXPECT_TRUE(id->key);
  EXPECT_TRUE(id->qualifiers.find("Key")->propagated);
  EXPECT_EQ(disk->keyNames(), std::vector<TOVString>{"Id"});
}

TEST(ClassResolutionTest, MethodParametersKeepTypesAndInOut) {
  const Compiled compiled = compileMof(kHierarchy);
  const Method* ping = compiled.cls("CIM_Disk")->findMethod("PING");
  ASSERT_NE(ping, nullptr);
  EXPECT_EQ(ping->returnType.code, CimTypeCode::UInt32);
  ASSERT_EQ(ping->parameters.size(), 2u);
  const auto* count = ping->findParameter("count");
  EXPECT_TRUE(count->in);
  EXPECT_FALSE(count->out);
  EXPECT_EQ(count->type.code, CimTypeCode::UInt32);
  EXPECT_EQ(qualifierNames(count->qualifiers), (std::vector<std::string>{"In", "Description"}));
  EXPECT_TRUE(count->qualifiers.find("In")->propagated);
  const auto* log = ping->findParameter("Log");
  EXPECT_TRUE(log->in);
  EXPECT_TRUE(log->out);
  EXPECT_EQ(ping->findParameter("Missing"), nullptr);
}

TEST(ClassResolutionTest, EveryParameterForm) {
  const Compiled compiled = compileMof(R"(
    class CIM_Bar { [Key] string Tag; };
    class CIM_Foo {
      uint32 DoIt([In] string S, [In] uint32 N, [In] boolean B, [In] string A[], [In] uint32 NA[3],
                  [In] CIM_Bar REF R, [In] CIM_Bar REF RA[], [In(false), Out] string Result,
                  sint8 Plain = -1);
      string NoParameters();
    };)");
  ASSERT_TRUE(compiled.result.succeeded()) << compiled.messages()[0];
  const Method* doIt = compiled.cls("CIM_Foo")->findMethod("DoIt");
  ASSERT_EQ(doIt->parameters.size(), 9u);
  EXPECT_EQ(doIt->findParameter("A")->type.toMof(), "string[]");
  EXPECT_EQ(doIt->findParameter("NA")->type.toMof(), "uint32[3]");
  EXPECT_EQ(doIt->findParameter("R")->type.toMof(), "CIM_Bar REF");
  EXPECT_EQ(doIt->findParameter("RA")->type.toMof(), "CIM_Bar REF[]");
  EXPECT_TRUE(doIt->findParameter("RA")->isReference());
  EXPECT_FALSE(doIt->findParameter("Result")->in);
  EXPECT_TRUE(doIt->findParameter("Result")->out);
  EXPECT_TRUE(doIt->findParameter("Plain")->in);
  EXPECT_EQ(doIt->findParameter("Plain")->defaultValue->toString(), "-1");
  EXPECT_TRUE(compiled.cls("CIM_Foo")->findMethod("NoParameters")->parameters.empty());
  EXPECT_EQ(compiled.cls("CIM_Foo")->findMethod("NoParameters")->returnType.code,
            CimTypeCode::String);
}

TEST(ClassResolutionTest, AssociationsAndIndicationsAreInherited) {
  const Compiled compiled = compileMof(R"(
    class CIM_E { [Key] string Id; };
    class CIM_F : CIM_E {};
    [Association] class CIM_Link { [Key] CIM_E REF A; [Key] CIM_E REF B; };
    class CIM_SubLink : CIM_Link { [Override("A")] CIM_F REF A; };
    [Indication] class CIM_Ev {};
    class CIM_SubEv : CIM_Ev {};)");
  ASSERT_TRUE(compiled.result.succeeded()) << compiled.messages()[0];
  const ClassPointer sub = compiled.cls("CIM_SubLink");
  EXPECT_TRUE(sub->association);
  EXPECT_TRUE(sub->qualifiers.find("Association")->propagated);
  EXPECT_EQ(sub->findProperty("A")->type.referenceClass, "CIM_F");
  EXPECT_TRUE(sub->findProperty("A")->key);
  EXPECT_EQ(sub->findProperty("B")->type.referenceClass, "CIM_E");
  EXPECT_TRUE(compiled.cls("CIM_SubEv")->indication);
  EXPECT_FALSE(compiled.cls("CIM_E")->association);
}

TEST(ClassResolutionTest, RedefinitionWithoutOverrideWarnsAndOverrides) {
  const Compiled compiled = compileMof(
      "class A { string P; uint8 M(); };\nclass B : A { string P = \"x\"; uint8 M(); };");
  ASSERT_TRUE(compiled.result.succeeded());
  EXPECT_EQ(compiled.messages(),
            (std::vector<std::string>{"test.mof:2:22: warning: property 'B.P' redefines the "
                                      "element inherited from 'A' without the "
                                      "Override qualifier",
                                      "test.mof:2:37: warning: method 'B.M' redefines the element "
                                      "inherited from 'A' without the "
                                      "Override qualifier"}));
  EXPECT_EQ(compiled.cls("B")->findProperty("P")->classOrigin, "B");
  EXPECT_EQ(compiled.cls("B")->properties.size(), 1u);
}

struct ClassErrorCase {
  const char* mof;
  std::vector<std::string> errors;
};

TEST(ClassResolutionTest, ClassChecksAreCompileErrors) {
  const std::vector<ClassErrorCase> cases = {
      {"class B : A {};", {"test.mof:1:11: unknown superclass 'A' of class 'B'"}},
      {"class A {};\nclass a {};", {"test.mof:2:7: class 'a' is already defined at test.mof:1:7"}},
      {"class A { CIM_Nowhere REF R; };",
       {"test.mof:1:11: unknown class 'CIM_Nowhere' in reference 'A.R'"}},
      {"class A { uint8 M(CIM_Nowhere REF R[]); };",
       {"test.mof:1:19: unknown class 'CIM_Nowhere' in parameter 'R' of method 'A.M'"}},
      {"class A { string P; uint8 p; };",
       {"test.mof:1:27: property 'p' is declared twice in class 'A'"}},
      {"class A { uint8 M(); uint8 m(); };",
       {"test.mof:1:28: method 'm' is declared twice in class 'A'"}},
      {"class A { uint8 M(string a, uint8 A); };",
       {"test.mof:1:35: parameter 'A' is declared twice in method 'A.M'"}},
      {"class A { string N; uint8 n(); };",
       {"test.mof:1:27: 'n' is both a property and a method of class 'A'"}},
      {"class A { uint8 N(); };\nclass B : A { string n; };",
       {"test.mof:2:22: 'N' is both a property and a method of class 'B'"}},
      {"class A { [Override(\"P\")] string P; };",
       {"test.mof:1:34: property 'A.P' overrides nothing: no superclass of 'A' has a property "
        "'P'"}},
      {"class A {};\nclass B : A { [Override(\"M\")] uint8 M(); };",
       {"test.mof:2:37: method 'B.M' overrides nothing: no superclass of 'B' has a method 'M'"}},
      {"class A { string P; };\nclass B : A { [Override(\"Q\")] string P; };",
       {"test.mof:2:16: Override(\"Q\") of property 'B.P' must name the element itself"}},
      {"class A { string P; };\nclass B : A { [Override(\"P\")] uint8 P; };",
       {"test.mof:2:31: property 'B.P' overrides an element of type string with type uint8"}},
      {"class A { string P[]; };\nclass B : A { [Override(\"P\")] string P; };",
       {"test.mof:2:31: property 'B.P' overrides an element of type string[] with type string"}},
      {"class A { uint8 M(string S); };\nclass B : A { [Override(\"M\")] uint8 M(uint8 S); };",
       {"test.mof:2:37: method 'B.M' must keep the return type and parameters of the method it "
        "overrides"}},
      {"class A { uint8 M(); };\nclass B : A { [Override(\"M\")] uint16 M(); };",
       {"test.mof:2:38: method 'B.M' must keep the return type and parameters of the method it "
        "overrides"}},
      {"class X {}; class Y {};\n[Association] class A { [Key] X REF L; [Key] X REF R; };\n"
       "class B : A { [Override(\"L\")] Y REF L; };",
       {"test.mof:3:31: reference 'B.L' overrides a reference to 'X' with one to 'Y', which is not "
        "its subclass"}},
      {"class A { [Key] string K; };\nclass B : A { [Key] string Extra; };",
       {"test.mof:2:28: class 'B' cannot add key property 'Extra': its superclass 'A' already has "
        "keys"}},
      {"class A { [Key] string K; };\nclass B : A { [Override(\"K\"), Key(false)] string K; };",
       {"test.mof:2:31: qualifier 'Key' of property 'B.K' cannot change the value it inherits: it "
        "is "
        "DisableOverride"}},
      {"class A { [Key] string K; string P; };\nclass B : A { [Override(\"P\"), Key] string P; };",
       {"test.mof:2:43: class 'B' cannot add key property 'P': its superclass 'A' already has "
        "keys"}},
      {"class A { uint8 M([In, Out] string S); };\n"
       "class B : A { [Override(\"M\")] uint8 M([In, Out(false)] string S); };",
       {"test.mof:2:44: qualifier 'Out' of parameter 'S' of method 'B.M' cannot change the value "
        "it "
        "inherits: it is DisableOverride"}},
      {"class A {};\n[Indication] class B : A {};",
       {"test.mof:2:2: class 'B' cannot be an indication: its superclass 'A' is not"}},
      {"class A {};\n[Association] class B : A {};",
       {"test.mof:2:2: class 'B' cannot be an association: its superclass 'A' is not"}},
      {"class A { [Key] string K[]; };", {"test.mof:1:24: key property 'A.K' cannot be an array"}},
      {"class X {};\n[Association] class A { [Key] X REF Only; };",
       {"test.mof:2:21: association 'A' must have at least two references"}},
  };
  for (const ClassErrorCase& c : cases) {
    SCOPED_TRACE(c.mof);
    EXPECT_EQ(diagnosticsOf(c.mof), c.errors);
  }
}

TEST(ClassResolutionTest, KeysMayBeRestatedInSubclasses) {
  const Compiled compiled = compileMof(
      "class A { [Key] string K; };\nclass B : A { [Override(\"K\"), Key, Description(\"again\")] "
      "string K; };\n"
      "class C { string P; };\nclass D : C { [Key] string K; };");
  EXPECT_TRUE(compiled.result.succeeded()) << compiled.messages()[0];
  EXPECT_TRUE(compiled.cls("B")->findProperty("K")->key);
  EXPECT_EQ(compiled.cls("D")->keyNames(), std::vector<TOVString>{"K"});
}

TEST(ClassResolutionTest, SubclassesMayGiveDisableOverrideQualifiersNoSuperclassCarries) {
  const Compiled compiled = compileMof(
      "class X {};\n"
      "[Association] class Link { [Key] X REF A; [Key] X REF B; };\n"
      "[Aggregation] class Part : Link { [Override(\"A\"), Aggregate] X REF A; };\n"
      "[Composition] class Whole : Part {};\n"
      "[Composition(false)] class Loose : Link {};");
  ASSERT_TRUE(compiled.result.succeeded()) << compiled.messages()[0];
  EXPECT_FALSE(compiled.cls("Link")->qualifiers.find("Composition"));
  EXPECT_TRUE(compiled.cls("Part")->qualifiers.booleanValue("Aggregation", false));
  EXPECT_TRUE(compiled.cls("Whole")->qualifiers.booleanValue("Composition", false));
  EXPECT_TRUE(compiled.cls("Whole")->qualifiers.find("Aggregation")->propagated);
  EXPECT_FALSE(compiled.cls("Loose")->qualifiers.booleanValue("Composition", true));
}

TEST(ClassResolutionTest, QualifiersGivenOnASuperclassKeepTheirValueBelowIt) {
  EXPECT_EQ(diagnosticsOf("class X {};\n"
                          "[Association, Composition] class Link { [Key] X REF A; [Key] X REF B; };\n"
                          "class Mid : Link {};\n[Composition(false)] class Leaf : Mid {};"),
            std::vector<std::string>{"test.mof:4:2: qualifier 'Composition' of class 'Leaf' cannot "
                                     "change the value it inherits: it is DisableOverride"});
}

TEST(ClassResolutionTest, OverridesMayAddDisableOverrideQualifiersTheyDidNotInherit) {
  const Compiled compiled = compileMof(
      "class A { string P; uint8 M([In] string S); };\n"
      "class B : A { [Override(\"P\"), Key, Required] string P;\n"
      "  [Override(\"M\")] uint8 M([In, Out] string S); };");
  ASSERT_TRUE(compiled.result.succeeded()) << compiled.messages()[0];
  EXPECT_EQ(compiled.cls("B")->keyNames(), std::vector<TOVString>{"P"});
  EXPECT_TRUE(compiled.cls("B")->findMethod("M")->findParameter("S")->out);
}

TEST(ClassResolutionTest, ReferencesMayNameClassesDefinedLater) {
  const Compiled compiled = compileMof(
      "[Association] class A { [Key] Later REF L; [Key] Later REF R; };\n"
      "class Holder { Later REF Ref; uint8 M(Later REF P); };\nclass Later {};");
  EXPECT_TRUE(compiled.result.succeeded()) << compiled.messages()[0];
}

TEST(ClassResolutionTest, SubclassesOfBrokenClassesDoNotCascade) {
  EXPECT_EQ(diagnosticsOf("class A { [Nope] string P; };\nclass B : A {};"),
            std::vector<std::string>{"test.mof:1:12: unknown qualifier 'Nope'"});
}

TEST(ClassResolutionTest, ErrorsLeaveTheRepositoryUnchanged) {
  const Compiled compiled = compileMof("class Good {};\nclass Bad : Missing {};");
  EXPECT_FALSE(compiled.result.succeeded());
  EXPECT_EQ(compiled.result.classCount, 0u);
  EXPECT_FALSE(compiled.cls("Good"));
  EXPECT_FALSE(compiled.repository->hasNameSpace("root/cimv2"));
}

}  // namespace
