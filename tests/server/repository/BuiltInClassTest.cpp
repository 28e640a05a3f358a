// Built-in classes (CompileOptions::builtIn) and their replacement by a
// later compilation.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/server/repository/MofTestSupport.h"

using kest::repository::ClassPointer;
using kest::repository::ClassRepository;
using kest::repository::CompileOptions;
using kest::repository::CompileResult;
using kest::repository::MofCompiler;
using kest::testing::messagesOf;

namespace {

const char* const kBuiltIn = R"(
class CIM_Base { string Old; };
class CIM_Managed : CIM_Base { string Caption; };
class CIM_Service : CIM_Managed { [Key] string Id; [Key] uint32 Number; };
class CIM_Sub : CIM_Service { string Extra; };
class CIM_Zeta : CIM_Managed {};
)";

class BuiltInClassTest : public ::testing::Test {
 protected:
  void SetUp() override {
    CompileOptions options;
    options.builtIn = true;
    const CompileResult result =
        MofCompiler(repository, options).compileText("builtin.mof", kBuiltIn);
    ASSERT_TRUE(result.succeeded()) << testing::PrintToString(messagesOf(result));
  }
  CompileResult compile(const std::string& text) {
    return MofCompiler(repository).compileText("user.mof", text);
  }
  std::vector<std::string> names(const char* className = "", bool deep = true) {
    std::vector<std::string> result;
    const auto found = repository.enumerateClasses("root/cimv2", className, deep);
    if (!found) return result;
    for (const ClassPointer& cls : *found) result.push_back(cls->name.toStdString());
    return result;
  }
  std::vector<std::string> tree() {
    std::vector<std::string> result;
    for (const ClassPointer& cls : repository.subclassTree("root/cimv2", "", true))
      result.push_back(cls->name.toStdString());
    return result;
  }

  ClassRepository repository;
};

TEST_F(BuiltInClassTest, BuiltInClassesAreMarked) {
  EXPECT_TRUE(repository.findClass("root/cimv2", "CIM_Managed")->builtIn);
  ClassRepository plain;
  ASSERT_TRUE(MofCompiler(plain).compileText("a.mof", "class A {};").succeeded());
  EXPECT_FALSE(plain.findClass("root/cimv2", "A")->builtIn);
}

TEST_F(BuiltInClassTest, AClassWithTheSameSuperclassAndKeysReplacesTheBuiltInOneInPlace) {
  const std::vector<std::string> before = names();
  const std::vector<std::string> treeBefore = tree();
  const CompileResult result = compile(
      "class cim_managed : CIM_BASE { string Caption; string Added; };\n"
      "class CIM_User : CIM_Managed {};\n");
  ASSERT_TRUE(result.succeeded()) << testing::PrintToString(messagesOf(result));
  EXPECT_EQ(result.classCount, 2u);
  const ClassPointer managed = repository.findClass("root/cimv2", "CIM_Managed");
  ASSERT_TRUE(managed);
  EXPECT_EQ(managed->name, "cim_managed");
  EXPECT_FALSE(managed->builtIn);
  EXPECT_TRUE(managed->findProperty("Added"));
  EXPECT_EQ(managed->location.file, "user.mof");
  std::vector<std::string> expected = before;
  expected[1] = "cim_managed";
  expected.push_back("CIM_User");
  EXPECT_EQ(names(), expected);
  EXPECT_EQ(names("CIM_Managed", false),
            (std::vector<std::string>{"CIM_Service", "CIM_Zeta", "CIM_User"}));
  EXPECT_EQ(tree(), (std::vector<std::string>{"CIM_Base", "cim_managed", "CIM_Service", "CIM_Sub",
                                              "CIM_User", "CIM_Zeta"}));
  EXPECT_EQ(treeBefore.size() + 1, tree().size());
  EXPECT_TRUE(repository.isSubclass("root/cimv2", "CIM_User", "CIM_Base"));
  EXPECT_TRUE(repository.findClass("root/cimv2", "CIM_User")->findProperty("Added"));
}

TEST_F(BuiltInClassTest, BuiltInSubclassesThatAreNotRedefinedKeepWhatTheyInherited) {
  ASSERT_TRUE(compile("class CIM_Managed : CIM_Base { string Renamed; };").succeeded());
  const ClassPointer service = repository.findClass("root/cimv2", "CIM_Service");
  EXPECT_TRUE(service->builtIn);
  EXPECT_TRUE(service->findProperty("Caption"));
  EXPECT_FALSE(service->findProperty("Renamed"));
}

TEST_F(BuiltInClassTest, AReplacingClassIsNotReplaceableItself) {
  ASSERT_TRUE(compile("class CIM_Zeta : CIM_Managed {};").succeeded());
  EXPECT_EQ(messagesOf(compile("class CIM_Zeta : CIM_Managed {};")),
            std::vector<std::string>{
                "user.mof:1:7: class 'CIM_Zeta' is already defined at user.mof:1:7"});
}

TEST_F(BuiltInClassTest, AnotherSuperclassIsAConflict) {
  EXPECT_EQ(messagesOf(compile("class CIM_Service : CIM_Base { [Key] string Id; [Key] uint32 "
                               "Number; };")),
            std::vector<std::string>{
                "user.mof:1:7: class 'CIM_Service' conflicts with the built-in definition: "
                "superclass 'CIM_Base' instead of 'CIM_Managed'"});
  EXPECT_EQ(messagesOf(compile("class CIM_Zeta {};")),
            std::vector<std::string>{"user.mof:1:7: class 'CIM_Zeta' conflicts with the built-in "
                                     "definition: superclass none instead of 'CIM_Managed'"});
}

TEST_F(BuiltInClassTest, OtherKeysAreAConflict) {
  const std::string prefix =
      "user.mof:1:7: class 'CIM_Service' conflicts with the built-in definition: keys ";
  EXPECT_EQ(messagesOf(compile(
                "class CIM_Service : CIM_Managed { [Key] string Id; [Key] uint64 Number; };")),
            std::vector<std::string>{prefix + "Id (string), Number (uint64) instead of Id "
                                              "(string), Number (uint32)"});
  EXPECT_EQ(
      messagesOf(compile("class CIM_Service : CIM_Managed { [Key] string Id; uint32 Number; };")),
      std::vector<std::string>{prefix + "Id (string) instead of Id (string), Number "
                                        "(uint32)"});
  EXPECT_EQ(messagesOf(compile(
                "class CIM_Service : CIM_Managed { [Key] string id; [Key] uint32 number; };")),
            std::vector<std::string>{});
  EXPECT_EQ(repository.findClass("root/cimv2", "CIM_Service")->findProperty("Number")->name,
            "number");
}

TEST_F(BuiltInClassTest, AClassDefinedTwiceInOneCompilationIsStillAnError) {
  EXPECT_EQ(
      messagesOf(compile("class CIM_Zeta : CIM_Managed {};\nclass CIM_Zeta : CIM_Managed {};")),
      std::vector<std::string>{
          "user.mof:2:7: class 'CIM_Zeta' is already defined at user.mof:1:7"});
  EXPECT_TRUE(repository.findClass("root/cimv2", "CIM_Zeta")->builtIn);
}

TEST_F(BuiltInClassTest, ReplacementIsPerNamespace) {
  const CompileResult result =
      compile("#pragma namespace(\"root/other\")\nclass CIM_Zeta { [Key] uint8 K; };");
  EXPECT_TRUE(result.succeeded()) << testing::PrintToString(messagesOf(result));
  EXPECT_TRUE(repository.findClass("root/cimv2", "CIM_Zeta")->builtIn);
}

}  // namespace
