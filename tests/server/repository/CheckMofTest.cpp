#include "server/repository/CheckMof.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "tests/server/repository/MofTestSupport.h"

using kest::repository::checkMofFiles;
using kest::repository::CompileOptions;
using kest::testing::TemporaryDirectory;

namespace {

class CheckMofTest : public ::testing::Test {
 protected:
  int check(const std::vector<std::string>& paths, CompileOptions options = {}) {
    out.str("");
    return checkMofFiles(paths, out, options);
  }

  TemporaryDirectory directory;
  std::ostringstream out;
};

TEST_F(CheckMofTest, ValidFilesPassWithASummary) {
  const std::string a = directory.write("a.mof", "class A { [Key] string K; };\nclass B : A {};\n");
  const std::string c = directory.write("c.mof", "class C {};\n");
  EXPECT_EQ(check({a, c}), 0);
  EXPECT_EQ(out.str(), "2 files checked: 3 classes, 0 instances, 0 errors, 0 warnings\n");
}

TEST_F(CheckMofTest, WarningsAreShownButDoNotFail) {
  const std::string a = directory.write(
      "a.mof",
      "class A { [Key] string K; };\ninstance of A { K = \"a\"; };\n#pragma source(\"x\")\n");
  EXPECT_EQ(check({a}), 0);
  EXPECT_EQ(out.str(), a + ":3:1: warning: pragma 'source' is ignored: instances are served from "
                           "this server only\n"
                           "1 file checked: 1 class, 1 instance, 0 errors, 1 warning\n");
}

TEST_F(CheckMofTest, ErrorsAreListedAndFail) {
  const std::string a = directory.write("a.mof", "class A : Missing {\n  [Nope] string P;\n};\n");
  EXPECT_EQ(check({a}), 1);
  EXPECT_EQ(out.str(), a + ":1:11: unknown superclass 'Missing' of class 'A'\n" + a +
                           ":2:4: unknown qualifier 'Nope'\n1 file checked: 0 classes, 0 "
                           "instances, 2 errors, 0 warnings\n");
}

TEST_F(CheckMofTest, SyntaxErrorsNameWhatWasExpected) {
  const std::string a = directory.write("a.mof", "class A {\n  uint32 Size\n};\n");
  EXPECT_EQ(check({a}), 1);
  EXPECT_EQ(out.str(), a + ":3:1: expected ';' after property declaration\n"
                           "1 file checked: 0 classes, 0 instances, 1 error, 0 warnings\n");
}

TEST_F(CheckMofTest, MissingFilesFail) {
  const std::string missing = directory.path("missing.mof");
  EXPECT_EQ(check({missing}), 1);
  EXPECT_EQ(out.str(), missing +
                           ": cannot read file: No such file or directory\n"
                           "1 file checked: 0 classes, 0 instances, 1 error, 0 warnings\n");
}

TEST_F(CheckMofTest, NoFilesIsAnError) {
  EXPECT_EQ(check({}), 1);
  EXPECT_EQ(out.str(), "no MOF files to check\n");
}

TEST_F(CheckMofTest, UsesTheGivenDefaultNamespace) {
  const std::string a =
      directory.write("a.mof", "class A {};\n#pragma namespace(\"root/x\")\nclass B : A {};\n");
  EXPECT_EQ(check({a}, CompileOptions{"root/x"}), 0);
}

}  // namespace
