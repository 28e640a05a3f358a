// Instance declarations: what the compiler builds from them and the checks
// against their classes.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/NameSpacePath.h"
#include "server/repository/ObjectPath.h"
#include "tests/server/repository/MofTestSupport.h"

using kest::repository::ClassRepository;
using kest::repository::CompileResult;
using kest::repository::InstancePointer;
using kest::repository::MofCompiler;
using kest::repository::parseObjectPath;
using kest::testing::Compiled;
using kest::testing::compileMof;
using kest::testing::diagnosticsOf;
using kest::testing::messagesOf;

namespace {

const char* const kClasses = R"(
[Abstract] class Test_Element { string Caption = "none"; };
class Test_Widget : Test_Element {
  [Key] string Name;
  [Key] uint32 Id = 7;
  boolean On;
  sint8 Level = -1;
  real64 Ratio;
  char16 Letter;
  datetime When;
  uint16 Sizes[];
  string Tags[2];
};
class Test_Gadget : Test_Widget { string Extra; };
class Test_Other { [Key] string Name; };
[Association] class Test_Link {
  [Key] Test_Widget REF Left;
  [Key] Test_Widget REF Right;
  string Note;
};
class Test_Holder {
  [Key] string Name;
  object Any;
  [EmbeddedInstance("Test_Other")] string Typed;
  [EmbeddedObject] string Items[];
};
)";

Compiled compileWithClasses(const std::string& instances) {
  return compileMof(std::string(kClasses) + instances);
}

// The instance of nameSpace named by path (an object path text).
InstancePointer find(const Compiled& compiled, const char* path,
                     const char* nameSpace = "root/cimv2") {
  const TOVSmrPtr<ITovaInstanceName> name = parseObjectPath(path);
  return name ? compiled.repository->findInstance(nameSpace, *name) : nullptr;
}

TOVSmrPtr<ITovaValue> valueOf(const InstancePointer& instance, const char* property) {
  const TOVSmrPtr<ITovaProperty> found = instance->object->getPropertyByName(property, true);
  return found ? found->getValue() : TOVSmrPtr<ITovaValue>();
}

// The location of line and column of the text after kClasses (which takes
// 26 lines) as a message gives it.
std::string at(int line, int column) {
  return "test.mof:" + std::to_string(line + 26) + ":" + std::to_string(column) + ": ";
}

TEST(MofInstanceTest, AnInstanceHoldsEveryPropertyOfItsClassInClassOrder) {
  const Compiled compiled = compileWithClasses(
      "instance of test_widget { Name = \"w\"; On = true; Ratio = 2; Letter = 'x';\n"
      "  When = \"20261121123000.000000+000\"; Sizes = {1, 2}; Tags = {\"a\"}; Caption = NULL; "
      "};\n");
  ASSERT_TRUE(compiled.result.succeeded()) << testing::PrintToString(compiled.messages());
  EXPECT_EQ(compiled.result.instanceCount, 1u);
  const InstancePointer widget = find(compiled, "Test_Widget.Name=\"w\",Id=7");
  ASSERT_TRUE(widget);
  EXPECT_EQ(widget->className(), "Test_Widget");
  EXPECT_EQ(widget->location.toString(), "test.mof:27:1");
  const std::vector<std::string> expected = {"Caption", "Name",   "Id",   "On",    "Level",
                                             "Ratio",   "Letter", "When", "Sizes", "Tags"};
  ASSERT_EQ(widget->object->getNumberOfProperties(true), expected.size());
  for (unsigned long i = 0; i < expected.size(); ++i)
    EXPECT_EQ(widget->object->getPropertyAt(i, true)->getName(), expected[i].c_str());
  EXPECT_TRUE(valueOf(widget, "Caption")->isNullValue());
  EXPECT_EQ(valueOf(widget, "Id")->getAsUInt(), 7u);
  EXPECT_EQ(valueOf(widget, "Level")->getAsInt(), -1);
  EXPECT_TRUE(valueOf(widget, "On")->getAsBool());
  EXPECT_EQ(valueOf(widget, "Ratio")->getAsDouble(), 2.0);
  EXPECT_EQ(CTovaType::codeOf(*valueOf(widget, "Letter")->getType()), CimTypeCode::Char16);
  EXPECT_EQ(CTovaType::codeOf(*valueOf(widget, "When")->getType()), CimTypeCode::DateTime);
  EXPECT_EQ(valueOf(widget, "Sizes")->getArray()->entries(), 2u);
  EXPECT_EQ(CTovaType::codeOf(*widget->object->getPropertyByName("Level", true)->getType()),
            CimTypeCode::SInt8);
}

TEST(MofInstanceTest, UnsetPropertiesTakeTheClassDefaultElseNull) {
  const Compiled compiled = compileWithClasses("instance of Test_Gadget { Name = \"g\"; };\n");
  ASSERT_TRUE(compiled.result.succeeded()) << testing::PrintToString(compiled.messages());
  const InstancePointer gadget = find(compiled, "Test_Gadget.Id=7,Name=\"g\"");
  ASSERT_TRUE(gadget);
  EXPECT_EQ(valueOf(gadget, "Caption")->getAsString(), "none");
  EXPECT_EQ(valueOf(gadget, "Level")->getAsInt(), -1);
  ASSERT_TRUE(valueOf(gadget, "Extra"));
  EXPECT_TRUE(valueOf(gadget, "Extra")->isNullValue());
  EXPECT_EQ(CTovaType::codeOf(*valueOf(gadget, "Extra")->getType()), CimTypeCode::String);
  EXPECT_TRUE(valueOf(gadget, "Sizes")->isNullValue());
}

TEST(MofInstanceTest, TheNameHasTheKeysInClassOrderAndTheNamespace) {
  const Compiled compiled = compileWithClasses(
      "instance of Test_Widget { Id = 3; Name = \"w\"; };\n"
      "#pragma namespace(\"root/else\")\n"
      "class Test_Else { [Key] uint8 K; };\ninstance of Test_Else { K = 1; };\n");
  ASSERT_TRUE(compiled.result.succeeded()) << testing::PrintToString(compiled.messages());
  const InstancePointer widget = find(compiled, "Test_Widget.Name=\"w\",Id=3");
  ASSERT_TRUE(widget);
  const TOVSmrPtr<ITovaInstanceName> name = widget->name();
  ASSERT_EQ(name->getNumberOfKeyProperties(), 2u);
  EXPECT_EQ(name->getKeyPropertyAt(0)->getName(), "Name");
  EXPECT_EQ(name->getKeyPropertyAt(1)->getName(), "Id");
  EXPECT_EQ(name->getNameSpacePath()->getNameSpace(), "root/cimv2");
  EXPECT_TRUE(name->getNameSpacePath()->getHost().isNull());
  const InstancePointer other = find(compiled, "Test_Else.K=1", "root/else");
  ASSERT_TRUE(other);
  EXPECT_EQ(other->name()->getNameSpacePath()->getNameSpace(), "root/else");
  EXPECT_FALSE(find(compiled, "Test_Else.K=1"));
  EXPECT_EQ(compiled.repository->instanceCount("root/else"), 1u);
}

TEST(MofInstanceTest, AliasesMayBeUsedBeforeTheyAreDeclared) {
  const Compiled compiled = compileWithClasses(
      "instance of Test_Link { Left = $a; Right = $B; Note = \"n\"; };\n"
      "instance of Test_Widget as $a { Name = \"a\"; };\n"
      "instance of Test_Gadget as $b { Name = \"b\"; };\n");
  ASSERT_TRUE(compiled.result.succeeded()) << testing::PrintToString(compiled.messages());
  const std::vector<InstancePointer> links =
      compiled.repository->instancesOf("root/cimv2", "Test_Link", false);
  ASSERT_EQ(links.size(), 1u);
  const InstancePointer link = links[0];
  EXPECT_EQ(link->name()->toString(),
            R"(test_link.left="test_widget.id=7,name=\"a\"",right="test_gadget.id=7,name=\"b\"")");
  EXPECT_EQ(compiled.repository->findInstance("root/cimv2", *link->name()), link);
  const TOVSmrPtr<ITovaInstanceName> left = valueOf(link, "Left")->getReference();
  ASSERT_TRUE(left);
  EXPECT_EQ(left->toString(), "test_widget.id=7,name=\"a\"");
  EXPECT_EQ(left->getNameSpacePath()->getNameSpace(), "root/cimv2");
  EXPECT_EQ(CTovaType::codeOf(*link->object->getPropertyByName("Left", true)->getType()),
            CimTypeCode::Reference);
}

TEST(MofInstanceTest, AliasesReachInstancesOfOtherNamespaces) {
  const Compiled compiled = compileMof(
      "class Test_Thing { [Key] string Name; };\n"
      "class Test_Pointer { [Key] string Name; Test_Thing REF To; };\n"
      "instance of Test_Pointer { Name = \"p\"; To = $there; };\n"
      "#pragma namespace(\"root/there\")\n"
      "class Test_Thing { [Key] string Name; };\n"
      "instance of Test_Thing as $there { Name = \"t\"; };\n");
  ASSERT_TRUE(compiled.result.succeeded()) << testing::PrintToString(compiled.messages());
  const InstancePointer pointer = find(compiled, "Test_Pointer.Name=\"p\"");
  ASSERT_TRUE(pointer);
  EXPECT_EQ(valueOf(pointer, "To")->getReference()->toFullPathString(),
            "root/there:test_thing.name=\"t\"");
}

TEST(MofInstanceTest, ObjectPathsGiveReferencesWithTypedKeys) {
  const Compiled compiled = compileWithClasses(
      "instance of Test_Link {\n"
      "  Left = \"Test_Widget.Name=\\\"a\\\",Id=1\";\n"
      "  Right = \"//h/root/cimv2:Test_Gadget.Name=\\\"b\\\",Id=2\"; };\n"
      "class Test_Meta { [Key] Test_Link REF Of; };\n"
      "instance of Test_Meta { Of = "
      R"("Test_Link.Left=\"Test_Widget.Name=\\\"a\\\",Id=1\",Right=\"Test_Gadget.Name=\\\"b\\\",Id=2\"")"
      "; };\n");
  ASSERT_TRUE(compiled.result.succeeded()) << testing::PrintToString(compiled.messages());
  const std::vector<InstancePointer> links =
      compiled.repository->instancesOf("root/cimv2", "Test_Link", false);
  ASSERT_EQ(links.size(), 1u);
  const InstancePointer link = links[0];
  EXPECT_EQ(link->name()->toString(),
            R"(test_link.left="test_widget.id=1,name=\"a\"",right="test_gadget.id=2,name=\"b\"")");
  EXPECT_EQ(valueOf(link, "Right")->getReference()->getNameSpacePath()->getHost(), "h");
  const std::vector<InstancePointer> metas =
      compiled.repository->instancesOf("root/cimv2", "Test_Meta", false);
  ASSERT_EQ(metas.size(), 1u);
  // The nested path became a reference, so its canonical text is that of the
  // link's name.
  const TOVSmrPtr<ITovaInstanceName> of = valueOf(metas[0], "Of")->getReference();
  EXPECT_TRUE(*of == *link->name());
  EXPECT_EQ(CTovaType::codeOf(*of->getKeyPropertyAt(0)->getValue()->getType()),
            CimTypeCode::Reference);
}

TEST(MofInstanceTest, EmbeddedInstancesAreObjectValues) {
  const Compiled compiled = compileWithClasses(
      "instance of Test_Holder { Name = \"h\";\n"
      "  Any = instance of Test_Gadget { Name = \"in\"; Extra = \"e\"; };\n"
      "  Typed = instance of Test_Other { };\n"
      "  Items = { instance of Test_Other { Name = \"1\"; }, instance of Test_Other { } }; };\n");
  ASSERT_TRUE(compiled.result.succeeded()) << testing::PrintToString(compiled.messages());
  const InstancePointer holder = find(compiled, "Test_Holder.Name=\"h\"");
  ASSERT_TRUE(holder);
  const TOVSmrPtr<ITovaObject> any = valueOf(holder, "Any")->getObject();
  ASSERT_TRUE(any);
  EXPECT_EQ(any->getClassName(), "Test_Gadget");
  EXPECT_EQ(any->getPropertyByName("Extra", true)->getValue()->getAsString(), "e");
  EXPECT_EQ(any->getPropertyByName("Caption", true)->getValue()->getAsString(), "none");
  EXPECT_EQ(valueOf(holder, "Typed")->getObject()->getClassName(), "Test_Other");
  EXPECT_EQ(valueOf(holder, "Items")->getArray()->entries(), 2u);
}

TEST(MofInstanceTest, InstanceAndPropertyQualifiersAreReadAndNotKept) {
  const Compiled compiled = compileWithClasses(
      "[Description(\"d\")] instance of Test_Other { [Description(\"p\")] Name = \"q\"; };\n");
  ASSERT_TRUE(compiled.result.succeeded()) << testing::PrintToString(compiled.messages());
  EXPECT_TRUE(find(compiled, "Test_Other.Name=\"q\""));
}

struct InstanceErrorCase {
  const char* text;
  std::string error;
};

TEST(MofInstanceTest, InstancesThatDoNotFitTheirClassAreErrors) {
  const std::vector<InstanceErrorCase> cases = {
      {"instance of Test_None { };", at(1, 13) + "unknown class 'Test_None' of an instance in "
                                                 "'root/cimv2'"},
      {"instance of Test_Element { };",
       at(1, 13) + "class 'Test_Element' is abstract and cannot have instances"},
      {"instance of Test_Other { Name = \"a\"; Size = 1; };",
       at(1, 38) + "class 'Test_Other' has no property 'Size'"},
      {"instance of Test_Other { Name = 1; };",
       at(1, 33) + "property 'Name' of the instance of 'Test_Other': expected a string value, "
                   "found an integer"},
      {"instance of Test_Widget { Name = \"a\"; Level = 300; };",
       at(1, 47) + "property 'Level' of the instance of 'Test_Widget': 300 is out of range for "
                   "sint8"},
      {"instance of Test_Widget { Name = \"a\"; Sizes = 1; };",
       at(1, 47) + "property 'Sizes' of the instance of 'Test_Widget': expected an array of "
                   "uint16, found an integer"},
      {"instance of Test_Other { Name = \"a\"; name = \"b\"; };",
       at(1, 38) + "property 'Name' of the instance of 'Test_Other' is given twice"},
      {"instance of Test_Other { };",
       at(1, 1) + "key property 'Name' of the instance of 'Test_Other' has no value"},
      {"instance of Test_Widget { Name = \"a\"; Id = NULL; };",
       at(1, 44) + "key property 'Id' of the instance of 'Test_Widget' has no value"},
      {"instance of Test_Other { Name = \"a\"; };\ninstance of Test_Other { Name = \"a\"; };",
       at(2, 1) + "an instance 'test_other.name=\"a\"' is already declared at " +
           at(1, 1).substr(0, at(1, 1).size() - 2)},
      {"instance of Test_Link { Left = $nobody; Right = $nobody; };",
       at(1, 32) + "unknown alias $nobody"},
      {"instance of Test_Other as $x { Name = \"a\"; };\ninstance of Test_Other as $X { Name = "
       "\"b\"; };",
       at(2, 27) + "alias $X is already declared at " + at(1, 27).substr(0, at(1, 27).size() - 2)},
      {"instance of Test_Other as $x { Name = $x; };",
       at(1, 39) + "alias $x given for property 'Name' of the instance of 'Test_Other', which is "
                   "not a reference"},
      {"instance of Test_Other as $o { Name = \"o\"; };\n"
       "instance of Test_Link { Left = $o; Right = \"Test_Widget.Name=\\\"b\\\",Id=1\"; };",
       at(2, 32) + "property 'Left' of the instance of 'Test_Link' refers to an instance of "
                   "'Test_Other', which is not a 'Test_Widget'"},
      {"instance of Test_Link { Left = \"Test_Other.Name=\\\"b\\\"\"; Right = NULL; };",
       at(1, 32) + "property 'Left' of the instance of 'Test_Link' refers to an instance of "
                   "'Test_Other', which is not a 'Test_Widget'"},
      {"instance of Test_Link { Left = \"Test_Nope.Name=\\\"b\\\"\"; Right = NULL; };",
       at(1, 32) + "property 'Left' of the instance of 'Test_Link': unknown class 'Test_Nope' in "
                   "object path 'Test_Nope.Name=\"b\"'"},
      {"instance of Test_Link { Left = \"not a path\"; Right = NULL; };",
       at(1, 32) + "property 'Left' of the instance of 'Test_Link': 'not a path' is not a valid "
                   "object path"},
      {"instance of Test_Other { Name = instance of Test_Other { }; };",
       at(1, 33) + "property 'Name' of the instance of 'Test_Other': expected a string value, "
                   "found an embedded instance"},
      {"instance of Test_Holder { Name = \"h\"; Typed = instance of Test_Widget { }; };",
       at(1, 59) + "property 'Typed' of the instance of 'Test_Holder' holds instances of "
                   "'Test_Other', not of 'Test_Widget'"},
      {"instance of Test_Holder { Name = \"h\"; Any = \"text\"; };",
       at(1, 45) + "property 'Any' of the instance of 'Test_Holder': expected an embedded "
                   "instance"},
      {"instance of Test_Holder { Name = \"h\"; Any = instance of Test_Other as $e { }; };",
       at(1, 71) + "an embedded instance cannot have an alias"},
  };
  for (const InstanceErrorCase& c : cases) {
    SCOPED_TRACE(c.text);
    const Compiled compiled = compileWithClasses(std::string(c.text) + "\n");
    EXPECT_EQ(compiled.messages(), std::vector<std::string>{c.error});
    EXPECT_EQ(compiled.result.instanceCount, 0u);
    EXPECT_EQ(compiled.repository->instanceCount("root/cimv2"), 0u);
  }
}

TEST(MofInstanceTest, KeysThatReferToEachOtherThroughAliasesAreErrors) {
  const std::vector<std::string> messages = diagnosticsOf(
      "[Association] class A_Loop { [Key] A_Loop REF Me; [Key] A_Loop REF Other; };\n"
      "instance of A_Loop as $one { Me = $two; Other = $two; };\n"
      "instance of A_Loop as $two { Me = $one; Other = $one; };\n");
  ASSERT_FALSE(messages.empty());
  EXPECT_EQ(messages.front(), "test.mof:3:35: alias $one refers back to the instance that uses it");
}

TEST(MofInstanceTest, AnInstanceAlreadyInTheRepositoryIsAnError) {
  ClassRepository repository;
  MofCompiler compiler(repository);
  ASSERT_TRUE(compiler
                  .compileText("a.mof",
                               "class Test_Other { [Key] string Name; };\n"
                               "instance of Test_Other { Name = \"a\"; };\n")
                  .succeeded());
  const CompileResult again = compiler.compileText("b.mof",
                                                   "instance of Test_Other { Name = \"a\"; };\n"
                                                   "instance of Test_Other { Name = \"b\"; };\n");
  EXPECT_EQ(messagesOf(again),
            std::vector<std::string>{"b.mof:1:1: an instance 'test_other.name=\"a\"' is already "
                                     "in namespace 'root/cimv2' (declared at a.mof:2:1)"});
  EXPECT_EQ(repository.instanceCount("root/cimv2"), 1u);
}

TEST(MofInstanceTest, ARepositoryListsInstancesByClassInDeclarationOrder) {
  const Compiled compiled = compileWithClasses(
      "instance of Test_Gadget { Name = \"g1\"; };\n"
      "instance of Test_Widget { Name = \"w1\"; };\n"
      "instance of Test_Other { Name = \"o\"; };\n"
      "instance of Test_Gadget { Name = \"g2\"; };\n"
      "instance of Test_Widget { Name = \"w2\"; };\n");
  ASSERT_TRUE(compiled.result.succeeded()) << testing::PrintToString(compiled.messages());
  const ClassRepository& repository = *compiled.repository;
  const auto names = [&](const char* className, bool deep) {
    std::vector<std::string> result;
    for (const InstancePointer& instance : repository.instancesOf("root/cimv2", className, deep))
      result.push_back(valueOf(instance, "Name")->getAsString().toStdString());
    return result;
  };
  EXPECT_EQ(names("Test_Widget", false), (std::vector<std::string>{"w1", "w2"}));
  EXPECT_EQ(names("test_widget", true), (std::vector<std::string>{"g1", "w1", "g2", "w2"}));
  EXPECT_EQ(names("Test_Element", true), (std::vector<std::string>{"g1", "w1", "g2", "w2"}));
  EXPECT_EQ(names("Test_Element", false), std::vector<std::string>{});
  EXPECT_EQ(names("Test_Missing", true), std::vector<std::string>{});
  EXPECT_TRUE(repository.instancesOf("root/none", "Test_Widget", true).empty());

  EXPECT_TRUE(repository.hasInstances("root/cimv2", "TEST_WIDGET", false));
  EXPECT_TRUE(repository.hasInstances("root/cimv2", "Test_Element", true));
  EXPECT_FALSE(repository.hasInstances("root/cimv2", "Test_Element", false));
  EXPECT_FALSE(repository.hasInstances("root/cimv2", "Test_Link", true));
  EXPECT_FALSE(repository.hasInstances("root/none", "Test_Widget", true));

  EXPECT_TRUE(find(compiled, "test_widget.NAME=\"w2\",id=7"));
  EXPECT_FALSE(find(compiled, "Test_Widget.Name=\"W2\",Id=7"));
  EXPECT_FALSE(find(compiled, "Test_Widget.Name=\"w2\",Id=7", "root/none"));
}

}  // namespace

TEST(MofInstanceTest, TheRepositoryKeepsTheAssociationInstancesApart) {
  const Compiled compiled = compileWithClasses(
      "instance of Test_Widget as $a { Name = \"a\"; Id = 1; };\n"
      "instance of Test_Widget as $b { Name = \"b\"; Id = 2; };\n"
      "instance of Test_Link { Left = $a; Right = $b; };\n"
      "instance of Test_Other { Name = \"o\"; };\n"
      "instance of Test_Link { Left = $b; Right = $a; };\n");
  ASSERT_TRUE(compiled.result.succeeded()) << compiled.messages()[0];
  const std::vector<InstancePointer> links =
      compiled.repository->associationInstances("root/cimv2");
  ASSERT_EQ(links.size(), 2u);
  for (const InstancePointer& link : links) EXPECT_EQ(link->className(), TOVString("Test_Link"));
  EXPECT_NE(valueOf(links[0], "Left")->toString(), valueOf(links[1], "Left")->toString());
  EXPECT_TRUE(compiled.repository->associationInstances("root/nowhere").empty());
}
