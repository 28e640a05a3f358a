#include "host/Config.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

namespace {

// Files are named after the process too, so that test programs of several
// builds running at once do not share them.
std::string tempPath(const std::string& name) {
  return ::testing::TempDir() + std::to_string(getpid()) + "_" + name;
}

}  // namespace

class KESTConfigManagerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    unsetenv("KEST_CONFIG");
    manager = KESTConfigManager::install();
  }
  void TearDown() override {
    KESTConfigManager::uninstall();
    unsetenv("KEST_CONFIG");
    for (const std::string& path : _files) std::remove(path.c_str());
  }

  // Writes text to a new temporary file, removed after the test.
  std::string writeFile(const std::string& name, const std::string& text) {
    const std::string path = tempPath(name);
    std::ofstream out(path, std::ios::out | std::ios::binary | std::ios::trunc);
    out << text;
    _files.push_back(path);
    return path;
  }

  KESTConfigManager* manager = nullptr;

 private:
  std::vector<std::string> _files;
};

TEST_F(KESTConfigManagerTest, InstallMakesAnEmptyManagerCurrent) {
  ASSERT_NE(manager, nullptr);
  EXPECT_EQ(KESTConfigManager::getInstance(), manager);
  TOVString value = "unchanged";
  EXPECT_FALSE(manager->getString("KEST", "PollInterval", value));
  EXPECT_EQ(value, TOVString("unchanged"));
}

TEST_F(KESTConfigManagerTest, GetInstanceIsNullWhenUninstalled) {
  KESTConfigManager::uninstall();
  EXPECT_EQ(KESTConfigManager::getInstance(), nullptr);
  KESTConfigManager::uninstall();  // a second uninstall is harmless
  EXPECT_EQ(KESTConfigManager::getInstance(), nullptr);
}

TEST_F(KESTConfigManagerTest, InstallReplacesTheCurrentManager) {
  manager->set("KEST", "Key", "old");
  KESTConfigManager* fresh = KESTConfigManager::install();
  EXPECT_EQ(KESTConfigManager::getInstance(), fresh);
  TOVString value;
  EXPECT_FALSE(fresh->getString("KEST", "Key", value));
}

TEST_F(KESTConfigManagerTest, GetStringFindsAPresentValue) {
  manager->set("KEST", "Namespace", "root/cimv2");
  TOVString value;
  EXPECT_TRUE(manager->getString("KEST", "Namespace", value));
  EXPECT_EQ(value, TOVString("root/cimv2"));
}

TEST_F(KESTConfigManagerTest, MissingKeyLeavesTheValueAlone) {
  manager->set("KEST", "Namespace", "root/cimv2");
  TOVString value = "before";
  EXPECT_FALSE(manager->getString("KEST", "Other", value));
  EXPECT_EQ(value, TOVString("before"));
  TOVsint32 number = 17;
  EXPECT_FALSE(manager->getSint32("KEST", "Other", number));
  EXPECT_EQ(number, 17);
}

TEST_F(KESTConfigManagerTest, KeyInAnotherSectionIsNotFound) {
  manager->set("Other", "PollInterval", "5");
  TOVsint32 number = 17;
  EXPECT_FALSE(manager->getSint32("KEST", "PollInterval", number));
  EXPECT_EQ(number, 17);
  EXPECT_TRUE(manager->getSint32("Other", "PollInterval", number));
  EXPECT_EQ(number, 5);
}

TEST_F(KESTConfigManagerTest, SectionAndKeyAreCaseSensitive) {
  manager->set("KEST", "PollInterval", "5");
  TOVString value = "before";
  EXPECT_FALSE(manager->getString("kest", "PollInterval", value));
  EXPECT_FALSE(manager->getString("KEST", "pollinterval", value));
  EXPECT_EQ(value, TOVString("before"));
}

TEST_F(KESTConfigManagerTest, GetSint32ReadsDecimalIntegers) {
  TOVsint32 number = 0;
  manager->set("KEST", "N", "42");
  EXPECT_TRUE(manager->getSint32("KEST", "N", number));
  EXPECT_EQ(number, 42);
  manager->set("KEST", "N", "-7");
  EXPECT_TRUE(manager->getSint32("KEST", "N", number));
  EXPECT_EQ(number, -7);
  manager->set("KEST", "N", "+15");
  EXPECT_TRUE(manager->getSint32("KEST", "N", number));
  EXPECT_EQ(number, 15);
  manager->set("KEST", "N", "007");
  EXPECT_TRUE(manager->getSint32("KEST", "N", number));
  EXPECT_EQ(number, 7);
}

TEST_F(KESTConfigManagerTest, GetSint32AcceptsTheLimitsOfTheRange) {
  TOVsint32 number = 0;
  manager->set("KEST", "N", "2147483647");
  EXPECT_TRUE(manager->getSint32("KEST", "N", number));
  EXPECT_EQ(number, 2147483647);
  manager->set("KEST", "N", "-2147483648");
  EXPECT_TRUE(manager->getSint32("KEST", "N", number));
  EXPECT_EQ(number, -2147483647 - 1);
}

TEST_F(KESTConfigManagerTest, GetSint32RejectsTextThatIsNotAnInt32AndLeavesTheValue) {
  const char* const rejected[] = {
      "",  "abc", "12abc", "1.5",  " 12",        "12 ",         "+",
      "-", "--1", "+-1",   "0x10", "2147483648", "-2147483649", "99999999999999999999999",
  };
  for (const char* text : rejected) {
    SCOPED_TRACE(std::string("value \"") + text + "\"");
    manager->set("KEST", "N", text);
    TOVsint32 number = 99;
    EXPECT_FALSE(manager->getSint32("KEST", "N", number));
    EXPECT_EQ(number, 99);
  }
}

TEST_F(KESTConfigManagerTest, ValuesAreReadAtEveryCall) {
  TOVsint32 number = 0;
  manager->set("KEST", "N", "1");
  EXPECT_TRUE(manager->getSint32("KEST", "N", number));
  EXPECT_EQ(number, 1);
  manager->set("KEST", "N", "2");
  EXPECT_TRUE(manager->getSint32("KEST", "N", number));
  EXPECT_EQ(number, 2);
  EXPECT_TRUE(manager->remove("KEST", "N"));
  EXPECT_FALSE(manager->getSint32("KEST", "N", number));
  EXPECT_EQ(number, 2);
  EXPECT_FALSE(manager->remove("KEST", "N"));
}

TEST_F(KESTConfigManagerTest, LoadFileReadsSectionsKeysAndTrimmedValues) {
  const std::string path = writeFile("kest_config_good.ini",
                                     "; a comment\n"
                                     "# another comment\n"
                                     "\n"
                                     "[KEST]\n"
                                     "  PollInterval   =   30  \n"
                                     "Namespace=root/cimv2\n"
                                     "Empty =\n"
                                     "Equation = a=b ; c\n"
                                     "\t[ Other ]\r\n"
                                     "PollInterval = 5\r\n"
                                     "   ; indented comment\n");
  std::string error;
  ASSERT_TRUE(manager->loadFile(path, error)) << error;
  TOVsint32 number = 0;
  TOVString text;
  EXPECT_TRUE(manager->getSint32("KEST", "PollInterval", number));
  EXPECT_EQ(number, 30);
  EXPECT_TRUE(manager->getString("KEST", "Namespace", text));
  EXPECT_EQ(text, TOVString("root/cimv2"));
  EXPECT_TRUE(manager->getString("KEST", "Empty", text));
  EXPECT_EQ(text, TOVString(""));
  EXPECT_TRUE(manager->getString("KEST", "Equation", text));
  EXPECT_EQ(text, TOVString("a=b ; c"));
  EXPECT_TRUE(manager->getSint32("Other", "PollInterval", number));
  EXPECT_EQ(number, 5);
  EXPECT_FALSE(manager->getString("KEST", "; a comment", text));
}

TEST_F(KESTConfigManagerTest, LoadFileLastRepeatedKeyWinsAndKeepsOtherValues) {
  manager->set("KEST", "Kept", "yes");
  manager->set("KEST", "N", "1");
  const std::string path = writeFile("kest_config_repeat.ini", "[KEST]\nN = 2\nN = 3\n");
  std::string error;
  ASSERT_TRUE(manager->loadFile(path, error)) << error;
  TOVString text;
  EXPECT_TRUE(manager->getString("KEST", "N", text));
  EXPECT_EQ(text, TOVString("3"));
  EXPECT_TRUE(manager->getString("KEST", "Kept", text));
  EXPECT_EQ(text, TOVString("yes"));
}

TEST_F(KESTConfigManagerTest, LineWithoutEqualsFailsWithPathAndLineNumber) {
  manager->set("KEST", "Before", "kept");
  const std::string path =
      writeFile("kest_config_noeq.ini", "[KEST]\nGood = 1\n\nthis line is wrong\n");
  std::string error;
  EXPECT_FALSE(manager->loadFile(path, error));
  EXPECT_EQ(error.rfind(path + ":4: ", 0), 0u) << error;
  TOVString text;
  EXPECT_FALSE(manager->getString("KEST", "Good", text));
  EXPECT_TRUE(manager->getString("KEST", "Before", text));
  EXPECT_EQ(text, TOVString("kept"));
}

TEST_F(KESTConfigManagerTest, UnterminatedSectionHeaderFailsWithItsLineNumber) {
  const std::string path = writeFile("kest_config_header.ini", "[KEST]\nA = 1\n[Other\nB = 2\n");
  std::string error;
  EXPECT_FALSE(manager->loadFile(path, error));
  EXPECT_EQ(error, path + ":3: unterminated section header");
  TOVString text;
  EXPECT_FALSE(manager->getString("KEST", "A", text));
}

TEST_F(KESTConfigManagerTest, KeyBeforeAnySectionFails) {
  const std::string path = writeFile("kest_config_nosection.ini", "A = 1\n[KEST]\n");
  std::string error;
  EXPECT_FALSE(manager->loadFile(path, error));
  EXPECT_EQ(error.rfind(path + ":1: ", 0), 0u) << error;
}

TEST_F(KESTConfigManagerTest, EmptyKeyOrSectionNameFails) {
  std::string error;
  EXPECT_FALSE(manager->loadFile(writeFile("kest_config_emptykey.ini", "[KEST]\n = 1\n"), error));
  EXPECT_NE(error.find(":2: "), std::string::npos) << error;
  EXPECT_FALSE(manager->loadFile(writeFile("kest_config_emptysection.ini", "[ ]\n"), error));
  EXPECT_NE(error.find(":1: "), std::string::npos) << error;
  EXPECT_FALSE(manager->loadFile(writeFile("kest_config_trailing.ini", "[KEST] extra\n"), error));
  EXPECT_NE(error.find(":1: "), std::string::npos) << error;
}

TEST_F(KESTConfigManagerTest, MissingFileFailsWithThePath) {
  const std::string path = tempPath("kest_config_does_not_exist.ini");
  std::string error;
  EXPECT_FALSE(manager->loadFile(path, error));
  EXPECT_EQ(error.rfind(path + ": ", 0), 0u) << error;
}

TEST_F(KESTConfigManagerTest, InstallFromEnvironmentLoadsTheNamedFile) {
  KESTConfigManager::uninstall();
  const std::string path = writeFile("kest_config_env.ini", "[KEST]\nPollInterval = 12\n");
  setenv("KEST_CONFIG", path.c_str(), 1);
  std::string error;
  ASSERT_TRUE(KESTConfigManager::installFromEnvironment(error)) << error;
  KESTConfigManager* loaded = KESTConfigManager::getInstance();
  ASSERT_NE(loaded, nullptr);
  TOVsint32 number = 0;
  EXPECT_TRUE(loaded->getSint32("KEST", "PollInterval", number));
  EXPECT_EQ(number, 12);
}

TEST_F(KESTConfigManagerTest, InstallFromEnvironmentWithoutTheVariableDoesNothing) {
  KESTConfigManager::uninstall();
  std::string error;
  EXPECT_TRUE(KESTConfigManager::installFromEnvironment(error));
  EXPECT_EQ(KESTConfigManager::getInstance(), nullptr);
}

TEST_F(KESTConfigManagerTest, InstallFromEnvironmentWithABadFileFailsAndKeepsTheCurrent) {
  manager->set("KEST", "Kept", "yes");
  const std::string path = writeFile("kest_config_envbad.ini", "[KEST]\nbroken\n");
  setenv("KEST_CONFIG", path.c_str(), 1);
  std::string error;
  EXPECT_FALSE(KESTConfigManager::installFromEnvironment(error));
  EXPECT_EQ(error.rfind(path + ":2: ", 0), 0u) << error;
  EXPECT_EQ(KESTConfigManager::getInstance(), manager);
  TOVString text;
  EXPECT_TRUE(manager->getString("KEST", "Kept", text));
}

TEST_F(KESTConfigManagerTest, ConcurrentReadsAndWritesAreSafe) {
  manager->set("KEST", "N", "0");
  std::thread writer([this] {
    for (int i = 1; i <= 500; ++i) manager->set("KEST", "N", TOVString::fromInt(i));
  });
  int bad = 0;
  for (int i = 0; i < 500; ++i) {
    TOVsint32 number = -1;
    if (!manager->getSint32("KEST", "N", number) || number < 0 || number > 500) ++bad;
  }
  writer.join();
  EXPECT_EQ(bad, 0);
  TOVsint32 number = -1;
  EXPECT_TRUE(manager->getSint32("KEST", "N", number));
  EXPECT_EQ(number, 500);
}
