#include "server/repository/MofCompiler.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/server/repository/MofTestSupport.h"

using kest::repository::ClassRepository;
using kest::repository::CompileOptions;
using kest::repository::CompileResult;
using kest::repository::MofCompiler;
using kest::testing::Compiled;
using kest::testing::compileMof;
using kest::testing::messagesOf;
using kest::testing::TemporaryDirectory;

namespace {

class MofCompilerTest : public ::testing::Test {
 protected:
  CompileResult compileFiles(const std::vector<std::string>& paths, CompileOptions options = {}) {
    return MofCompiler(repository, std::move(options)).compileFiles(paths);
  }
  std::vector<std::string> namesIn(const char* nameSpace) {
    std::vector<std::string> names;
    const auto found = repository.enumerateClassNames(nameSpace, "", true);
    if (!found) return {"no namespace"};
    for (const TOVString& name : *found) {
      names.push_back(name.toStdString());
    }
    return names;
  }

  TemporaryDirectory directory;
  ClassRepository repository;
};

TEST_F(MofCompilerTest, IncludesAreRelativeToTheIncludingFile) {
  directory.write("schema/qualifiers.mof", "Qualifier Colour : string, Scope(any);\n");
  directory.write("schema/core/base.mof",
                  "[Colour(\"red\")] class CIM_Base { [Key] string Id; };\n");
  directory.write("schema/all.mof",
                  "#pragma include (\"qualifiers.mof\")\n#pragma include(\"core/base.mof\")\n");
  const std::string provider =
      directory.write("provider/acme.mof",
                      "#pragma include (\"../schema/all.mof\")\nclass ACME_Disk : CIM_Base {};\n");
  const CompileResult result = compileFiles({provider});
  ASSERT_TRUE(result.succeeded()) << messagesOf(result)[0];
  EXPECT_EQ(result.classCount, 2u);
  EXPECT_EQ(result.qualifierCount, 1u);
  EXPECT_EQ(namesIn("root/cimv2"), (std::vector<std::string>{"CIM_Base", "ACME_Disk"}));
  EXPECT_EQ(repository.findClass("root/cimv2", "ACME_Disk")
                ->qualifiers.find("Colour")
                ->value->getAsString(),
            "red");
}

TEST_F(MofCompilerTest, ErrorsInIncludedFilesNameThatFile) {
  directory.write("lib/bad.mof", "class A {\n  uint8 x\n};\n");
  const std::string top =
      directory.write("top.mof", "class Z {};\n#pragma include(\"lib/bad.mof\")\n");
  EXPECT_EQ(messagesOf(compileFiles({top})),
            std::vector<std::string>{directory.path("lib/bad.mof") +
                                     ":3:1: expected ';' after property declaration"});
}

TEST_F(MofCompilerTest, AbsoluteIncludesAreUsedAsGiven) {
  const std::string base = directory.write("elsewhere/base.mof", "class Base {};\n");
  const std::string top =
      directory.write("top.mof", "#pragma include(\"" + base + "\")\nclass Sub : Base {};\n");
  EXPECT_TRUE(compileFiles({top}).succeeded());
}

TEST_F(MofCompilerTest, IncludeCyclesAreErrors) {
  const std::string a = directory.write("a.mof", "class A {};\n#pragma include(\"b.mof\")\n");
  directory.write("b.mof", "class B {};\n#pragma include(\"./sub/../a.mof\")\n");
  const CompileResult result = compileFiles({a});
  EXPECT_EQ(messagesOf(result),
            std::vector<std::string>{directory.path("b.mof") + ":2:1: include cycle: " + a +
                                     " -> " + directory.path("b.mof") + " -> " + a});
  EXPECT_FALSE(repository.findClass("root/cimv2", "A"));
}

TEST_F(MofCompilerTest, AFileIncludingItselfIsACycle) {
  const std::string self = directory.write("self.mof", "#pragma include(\"self.mof\")\n");
  EXPECT_EQ(messagesOf(compileFiles({self})),
            std::vector<std::string>{self + ":1:1: include cycle: " + self + " -> " + self});
}

TEST_F(MofCompilerTest, TheSameFileMayBeIncludedTwiceWithoutACycle) {
  directory.write("q.mof", "Qualifier Colour : string, Scope(any);\n");
  const std::string top =
      directory.write("top.mof", "#pragma include(\"q.mof\")\n#pragma include(\"q.mof\")\n");
  EXPECT_TRUE(compileFiles({top}).succeeded());
}

TEST_F(MofCompilerTest, UnreadableFilesAreErrors) {
  const std::string missing = directory.path("missing.mof");
  const std::string top =
      directory.write("top.mof", "class A {};\n  #pragma include(\"nothere.mof\")\n");
  directory.write("dir.mof/x", "");
  const CompileResult result = compileFiles({missing, top, directory.path("dir.mof")});
  EXPECT_EQ(messagesOf(result),
            (std::vector<std::string>{
                missing + ": cannot read file: No such file or directory",
                top + ":2:3: cannot read included file '" + directory.path("nothere.mof") +
                    "': No such file or directory",
                directory.path("dir.mof") + ": cannot read file: not a regular file"}));
}

TEST_F(MofCompilerTest, NamespacePragmaSwitchesTheNamespaceForTheRestOfTheFile) {
  directory.write("inc.mof",
                  "class InIncluded {};\n#pragma namespace(\"root/inner\")\nclass Inner {};\n");
  const std::string first = directory.write(
      "first.mof",
      "class InDefault {};\n#pragma namespace(\"root/interop\")\nclass InInterop {};\n"
      "#pragma include(\"inc.mof\")\nclass AfterInclude {};\n");
  const std::string second = directory.write("second.mof", "class SecondFile {};\n");
  ASSERT_TRUE(compileFiles({first, second}).succeeded());
  EXPECT_EQ(namesIn("root/cimv2"), (std::vector<std::string>{"InDefault", "SecondFile"}));
  EXPECT_EQ(namesIn("root/interop"),
            (std::vector<std::string>{"InInterop", "InIncluded", "AfterInclude"}));
  EXPECT_EQ(namesIn("root/inner"), (std::vector<std::string>{"Inner"}));
  EXPECT_EQ(repository.nameSpaces(),
            (std::vector<TOVString>{"root/cimv2", "root/interop", "root/inner"}));
}

TEST_F(MofCompilerTest, TheDefaultNamespaceIsAnOption) {
  const std::string file = directory.write("a.mof", "class A {};\n");
  ASSERT_TRUE(compileFiles({file}, CompileOptions{"root/PG_InterOp"}).succeeded());
  EXPECT_TRUE(repository.findClass("ROOT/pg_interop", "a"));
  EXPECT_EQ(repository.nameSpaces(), std::vector<TOVString>{"root/PG_InterOp"});
}

TEST_F(MofCompilerTest, ClassesOfOneNamespaceAreUnknownInAnother) {
  const std::string file =
      directory.write("a.mof", "class A {};\n#pragma namespace(\"root/other\")\nclass B : A {};\n");
  EXPECT_EQ(messagesOf(compileFiles({file})),
            std::vector<std::string>{file + ":3:11: unknown superclass 'A' of class 'B'"});
}

TEST_F(MofCompilerTest, InvalidNamespaceNamesAreErrors) {
  for (const char* bad : {"", "/root", "root/", "root//x", "root x", "root.x"}) {
    SCOPED_TRACE(bad);
    const std::string text = std::string("#pragma namespace(\"") + bad + "\")\n";
    EXPECT_EQ(compileMof(text).messages(),
              std::vector<std::string>{"test.mof:1:19: invalid namespace name '" +
                                       std::string(bad) + "'"});
  }
}

TEST_F(MofCompilerTest, LocalePragmasForEnglishAreSilent) {
  const Compiled compiled = compileMof(
      "#pragma locale(\"en_US\")\n#pragma locale(\"EN-us\")\n#pragma instancelocale(\"en_us\")\n"
      "class A {};\n");
  EXPECT_TRUE(compiled.result.succeeded());
  EXPECT_EQ(compiled.messages(), std::vector<std::string>{});
  EXPECT_EQ(compiled.result.classCount, 1u);
}

TEST_F(MofCompilerTest, OtherLocalesAreWarnedAboutAndNotApplied) {
  const Compiled compiled =
      compileMof("#pragma locale(\"de_DE\")\n#pragma instancelocale(\"en_GB\")\nclass A {};\n");
  EXPECT_TRUE(compiled.result.succeeded());
  EXPECT_EQ(compiled.messages(),
            (std::vector<std::string>{
                "test.mof:1:16: warning: qualifier texts are served as written; locale 'de_DE' is "
                "not applied",
                "test.mof:2:24: warning: qualifier texts are served as written; locale 'en_GB' is "
                "not applied"}));
}

TEST_F(MofCompilerTest, SourcePragmasAreWarnedAboutAndIgnored) {
  const Compiled compiled = compileMof(
      "#pragma source(\"//h/root\")\n#pragma sourcetype(\"wbem\")\n#pragma nonlocal(\"//h/root\")\n"
      "#pragma NonLocalType(\"wbem\")\nclass A {};\n");
  EXPECT_TRUE(compiled.result.succeeded());
  EXPECT_EQ(compiled.result.classCount, 1u);
  EXPECT_EQ(
      compiled.messages(),
      (std::vector<std::string>{
          "test.mof:1:1: warning: pragma 'source' is ignored: instances are served from this "
          "server only",
          "test.mof:2:1: warning: pragma 'sourcetype' is ignored: instances are served from this "
          "server only",
          "test.mof:3:1: warning: pragma 'nonlocal' is ignored: instances are served from this "
          "server only",
          "test.mof:4:1: warning: pragma 'NonLocalType' is ignored: instances are served from "
          "this server only"}));
}

TEST_F(MofCompilerTest, UnknownPragmasAreWarnedAboutAndIgnored) {
  const Compiled compiled = compileMof("#pragma comment(\"x\")\nclass A {};\n");
  EXPECT_TRUE(compiled.result.succeeded());
  EXPECT_EQ(compiled.messages(),
            std::vector<std::string>{
                "test.mof:1:1: warning: pragma 'comment' is not supported and is ignored"});
}

TEST_F(MofCompilerTest, EmptyIncludeNameIsAnError) {
  EXPECT_EQ(compileMof("#pragma include(\"\")").messages(),
            std::vector<std::string>{"test.mof:1:17: empty file name in pragma include"});
}

TEST_F(MofCompilerTest, Utf16FilesAreCompiled) {
  std::string bytes = "\xFF\xFE";
  for (const char c : std::string("class Wide { string S = \"w\"; };")) {
    bytes.push_back(c);
    bytes.push_back('\0');
  }
  const std::string file = directory.write("wide.mof", bytes);
  ASSERT_TRUE(compileFiles({file}).succeeded());
  EXPECT_EQ(
      repository.findClass("root/cimv2", "Wide")->findProperty("S")->defaultValue->getAsString(),
      "w");
}

TEST_F(MofCompilerTest, MalformedUtf16IsReportedForTheFile) {
  const std::string file = directory.write("odd.mof", std::string("\xFF\xFE"
                                                                  "c",
                                                                  3));
  EXPECT_EQ(messagesOf(compileFiles({file})),
            std::vector<std::string>{file + ": UTF-16 text has an odd number of bytes"});
}

TEST_F(MofCompilerTest, LaterCompilationsBuildOnEarlierOnes) {
  const std::string base =
      directory.write("base.mof", "Qualifier Colour : string, Scope(any);\nclass Base {};\n");
  const std::string sub = directory.write("sub.mof", "[Colour(\"x\")] class Sub : Base {};\n");
  ASSERT_TRUE(compileFiles({base}).succeeded());
  ASSERT_TRUE(compileFiles({sub}).succeeded());
  EXPECT_TRUE(repository.isSubclass("root/cimv2", "Sub", "Base"));
  const CompileResult again = compileFiles({base});
  EXPECT_EQ(
      messagesOf(again),
      std::vector<std::string>{base + ":2:7: class 'Base' is already defined at " + base + ":2:7"});
}

TEST_F(MofCompilerTest, FilesOfOneCompilationSeeEachOther) {
  const std::string a = directory.write("a.mof", "class A {};\n");
  const std::string b = directory.write("b.mof", "class B : A {};\n");
  const CompileResult result = compileFiles({a, b});
  EXPECT_TRUE(result.succeeded());
  EXPECT_EQ(result.classCount, 2u);
}

TEST_F(MofCompilerTest, DiagnosticsWithoutLocationShowOnlyTheMessage) {
  kest::repository::Diagnostic diagnostic{kest::repository::Severity::Warning, {}, "plain"};
  EXPECT_EQ(diagnostic.toString(), "warning: plain");
  diagnostic.location = kest::repository::SourceLocation{"f.mof", 0, 0};
  EXPECT_EQ(diagnostic.toString(), "f.mof: warning: plain");
}

}  // namespace
