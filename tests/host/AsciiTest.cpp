#include "host/Ascii.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <unordered_map>
#include <vector>

using kest::ascii::compareIgnoreCase;
using kest::ascii::equalsIgnoreCase;
using kest::ascii::folded;

TEST(AsciiTest, ToLowerAndToUpperChangeOnlyAsciiLetters) {
  struct Case {
    char in;
    char lower;
    char upper;
  };
  const std::vector<Case> cases = {
      {'A', 'a', 'A'}, {'Z', 'z', 'Z'}, {'a', 'a', 'A'},          {'z', 'z', 'Z'},
      {'@', '@', '@'}, {'[', '[', '['}, {'`', '`', '`'},          {'{', '{', '{'},
      {'0', '0', '0'}, {'_', '_', '_'}, {'\xC4', '\xC4', '\xC4'}, {'\xE4', '\xE4', '\xE4'},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(static_cast<int>(static_cast<unsigned char>(c.in)));
    EXPECT_EQ(kest::ascii::toLower(c.in), c.lower);
    EXPECT_EQ(kest::ascii::toUpper(c.in), c.upper);
  }
}

TEST(AsciiTest, FoldedLowersLettersAndKeepsOtherBytes) {
  struct Case {
    std::string in;
    std::string out;
  };
  const std::vector<Case> cases = {
      {"", ""},
      {"CIM_ComputerSystem", "cim_computersystem"},
      {"root/CIMV2", "root/cimv2"},
      {"already lower", "already lower"},
      {"\xC3\x84rger", "\xC3\x84rger"},  // the UTF-8 bytes of a non-ASCII letter stay
  };
  for (const Case& c : cases) EXPECT_EQ(folded(c.in), c.out) << c.in;
}

TEST(AsciiTest, EqualsAndCompareIgnoreCaseAgree) {
  struct Case {
    const char* a;
    const char* b;
    int order;  // sign of the comparison
  };
  const std::vector<Case> cases = {
      {"", "", 0},
      {"Name", "nAME", 0},
      {"CIM_Foo", "cim_foo", 0},
      {"abc", "abd", -1},
      {"ABD", "abc", 1},
      {"ab", "ABC", -1},
      {"abc", "AB", 1},
      {"_", "a", -1},  // '_' orders before the lower-case letters, not between the cases
      {"\xC3\xA4", "\xC3\x84", 1},  // bytes >= 0x80 compare as unsigned and are not folded
      {"z", "\xC3\xA4", -1},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.a) + " / " + c.b);
    const auto sign = [](int value) { return (value > 0) - (value < 0); };
    EXPECT_EQ(sign(compareIgnoreCase(c.a, c.b)), c.order);
    EXPECT_EQ(sign(compareIgnoreCase(c.b, c.a)), -c.order);
    EXPECT_EQ(equalsIgnoreCase(c.a, c.b), c.order == 0);
  }
}

TEST(AsciiTest, OrderedMapFindsKeysInAnyCase) {
  std::map<std::string, int, kest::ascii::LessIgnoreCase> byName;
  byName.emplace("CIM_System", 1);
  byName.emplace("cim_system", 2);  // the same key: not added
  byName.emplace("CIM_Process", 3);
  EXPECT_EQ(byName.size(), 2u);
  EXPECT_EQ(byName.find(std::string_view("CIM_SYSTEM"))->second, 1);
  EXPECT_EQ(byName.find(std::string_view("cim_process"))->second, 3);
  EXPECT_EQ(byName.find(std::string_view("cim_proc")), byName.end());
}

TEST(AsciiTest, HashedMapFindsKeysInAnyCase) {
  std::unordered_map<std::string, int, kest::ascii::HashIgnoreCase, kest::ascii::EqualIgnoreCase>
      byName;
  byName.emplace("Root/CIMv2", 1);
  byName.emplace("ROOT/cimv2", 2);  // the same key: not added
  byName.emplace("root/interop", 3);
  EXPECT_EQ(byName.size(), 2u);
  EXPECT_EQ(byName.at("root/cimv2"), 1);
  EXPECT_EQ(byName.at("Root/Interop"), 3);
  EXPECT_EQ(byName.count("root"), 0u);
  const kest::ascii::HashIgnoreCase hash;
  EXPECT_EQ(hash("MixedCase"), hash("mixedcase"));
}
