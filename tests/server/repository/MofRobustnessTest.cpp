// Malformed MOF never escapes the compiler as anything but diagnostics:
// every truncation and many mutations of a valid text are compiled.

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "tests/server/repository/MofTestSupport.h"

using kest::repository::ClassRepository;
using kest::repository::CompileResult;
using kest::repository::Diagnostic;
using kest::repository::MofCompiler;
using kest::testing::TemporaryDirectory;

namespace {

// Uses every construct the compiler reads.
const char* const kValidMof = R"(// header comment
/* block
   comment */
#pragma locale("en_US")
Qualifier Colour : string[] = {"red", "green"}, Scope(class, property, method, parameter),
    Flavor(EnableOverride, ToSubclass, Translatable);
Qualifier Weight : real32 = 1.5 Scope(property) Policy(DisableOverride);
[Abstract, Description("Root" " class"), Colour{"blue"}]
class CIM_Root as $root {
  [Key, MaxLen(16) : DisableOverride] string Id = "id\t\"q\"\x41";
  boolean B = TRUE;
  uint8 U8 = 0x7F;
  sint8 S8 = -12;
  uint16 U16 = 0777;
  sint16 S16 = -101b;
  uint32 U32[] = {1, 2, 3};
  sint32 S32[4] = {-1};
  uint64 U64 = 18446744073709551615;
  sint64 S64 = -9223372036854775808;
  real32 R32 = 1.25e2;
  real64 R64 = -.5;
  char16 C = '\x263A';
  datetime D = "20261121123000.000000+000";
  object O;
  [Weight(2.0)] string W = NULL;
  [Description("m")] uint32 Do([In] string S, [In, Out] uint32 N[], [In] CIM_Root REF R,
                               [In] CIM_Root REF RA[], [In(false), Out, EmbeddedObject] string E);
};
[Association, Description("link")]
class CIM_Link {
  [Key] CIM_Root REF Left = "root/cimv2:CIM_Root.Id=\"a\"";
  [Key] CIM_Root REF Right;
};
class CIM_Leaf : CIM_Root {
  [Override("U8"), Colour("x")] uint8 U8 = 1;
  [Override("Do")] uint32 Do([In] string S, [In, Out] uint32 N[], [In] CIM_Root REF R,
                             [In] CIM_Root REF RA[], [In(false), Out, EmbeddedObject] string E);
};
[Description("two")] instance of CIM_Link { Left = $leaf; Right = "CIM_Leaf.Id=\"y\""; };
instance of CIM_Leaf as $leaf { Id = "x"; [Colour("x")] U32 = {1, 2}; O = instance of CIM_Leaf { Id = "n"; }; };
#pragma namespace("root/other")
class Other_Thing { string Name; };
instance of Other_Thing { Name = "n"; };
)";

// Compiles text into a fresh repository and checks what must hold whatever
// the text: nothing thrown, counts that match the diagnostics, the
// repository changed only on success.
void compileAndCheck(const std::string& text) {
  ClassRepository repository;
  CompileResult result;
  ASSERT_NO_THROW(result = MofCompiler(repository).compileText("fuzz.mof", text));
  std::size_t errors = 0;
  for (const Diagnostic& diagnostic : result.diagnostics) {
    errors += diagnostic.isError() ? 1 : 0;
    ASSERT_FALSE(diagnostic.message.empty());
    ASSERT_EQ(diagnostic.message.find("internal error"), std::string::npos) << diagnostic.message;
  }
  ASSERT_EQ(errors, result.errorCount);
  std::size_t stored = 0;
  for (const TOVString& nameSpace : repository.nameSpaces())
    stored += repository.classCount(nameSpace);
  std::size_t instances = 0;
  for (const TOVString& nameSpace : repository.nameSpaces())
    instances += repository.instanceCount(nameSpace);
  if (result.succeeded()) {
    ASSERT_EQ(stored, result.classCount);
    ASSERT_EQ(instances, result.instanceCount);
  } else {
    ASSERT_EQ(stored, 0u);
    ASSERT_EQ(instances, 0u);
    ASSERT_EQ(result.classCount, 0u);
  }
}

TEST(MofRobustnessTest, TheValidTextCompiles) {
  ClassRepository repository;
  const CompileResult result = MofCompiler(repository).compileText("fuzz.mof", kValidMof);
  EXPECT_TRUE(result.succeeded()) << ::testing::PrintToString(kest::testing::messagesOf(result));
  EXPECT_EQ(result.classCount, 4u);
  EXPECT_EQ(result.instanceCount, 3u);
  EXPECT_EQ(result.warningCount, 0u);
}

TEST(MofRobustnessTest, EveryTruncationGivesDiagnostics) {
  const std::string text = kValidMof;
  for (std::size_t length = 0; length < text.size(); ++length) {
    SCOPED_TRACE(length);
    compileAndCheck(text.substr(0, length));
    if (::testing::Test::HasFatalFailure()) return;
  }
}

// A small deterministic generator, so that failures repeat.
class Random {
 public:
  explicit Random(std::uint64_t seed) : _state(seed) {}
  std::uint64_t next() {
    _state ^= _state << 13;
    _state ^= _state >> 7;
    _state ^= _state << 17;
    return _state;
  }
  std::size_t below(std::size_t bound) { return static_cast<std::size_t>(next() % bound); }

 private:
  std::uint64_t _state;
};

TEST(MofRobustnessTest, MutationsGiveDiagnostics) {
  const std::string text = kValidMof;
  static constexpr char kInteresting[] = "{}[]();,:=#$\"'\\/*\n x9-.+\0\xFF\xC3";
  const std::string interesting(kInteresting, sizeof kInteresting - 1);
  Random random(0x9E3779B97F4A7C15ull);
  for (int round = 0; round < 1000; ++round) {
    std::string mutated = text;
    const int edits = 1 + static_cast<int>(random.below(3));
    for (int e = 0; e < edits && !mutated.empty(); ++e) {
      const std::size_t at = random.below(mutated.size());
      const char c = interesting[random.below(interesting.size())];
      switch (random.below(4)) {
        case 0:
          mutated[at] = c;
          break;
        case 1:
          mutated.erase(at, 1 + random.below(8));
          break;
        case 2:
          mutated.insert(at, 1, c);
          break;
        default: {
          const std::size_t from = random.below(mutated.size());
          mutated.insert(at, mutated.substr(from, 1 + random.below(40)));
          break;
        }
      }
    }
    SCOPED_TRACE(mutated);
    compileAndCheck(mutated);
    if (::testing::Test::HasFatalFailure()) return;
  }
}

TEST(MofRobustnessTest, PathologicalInputs) {
  const std::vector<std::string> inputs = {
      std::string(100000, '['),
      std::string(100000, '{'),
      "instance of A " + std::string(50000, '{'),
      "class A { string S = " + std::string(20000, '"') + "; };",
      "class A { uint8 P[] = {" + std::string(30000, ',') + "}; };",
      "class A { string S = \"" + std::string(200000, 'x') + "\"; };",
      std::string("class A {\0};", 12),
      "\xEF\xBB\xBF",
      "\xFF\xFE",
      "#pragma include(\"/dev/null\")",
      "#pragma include(\"/\")",
  };
  for (const std::string& input : inputs) {
    SCOPED_TRACE(input.substr(0, 40));
    compileAndCheck(input);
  }
}

TEST(MofRobustnessTest, TruncatedIncludedFilesGiveDiagnostics) {
  TemporaryDirectory directory;
  const std::string text = kValidMof;
  const std::string top =
      directory.write("top.mof", "#pragma include(\"part.mof\")\nclass Z_After {};\n");
  for (std::size_t length = 0; length < text.size(); length += 7) {
    SCOPED_TRACE(length);
    directory.write("part.mof", text.substr(0, length));
    ClassRepository repository;
    CompileResult result;
    ASSERT_NO_THROW(result = MofCompiler(repository).compileFiles({top}));
    for (const Diagnostic& diagnostic : result.diagnostics) {
      if (diagnostic.isError()) {
        EXPECT_EQ(diagnostic.location.file, directory.path("part.mof"));
      }
    }
  }
}

TEST(MofRobustnessTest, DeepIncludeChainsStop) {
  TemporaryDirectory directory;
  for (int i = 0; i < 70; ++i) {
    directory.write("f" + std::to_string(i) + ".mof",
                    "#pragma include(\"f" + std::to_string(i + 1) + ".mof\")\n");
  }
  directory.write("f70.mof", "class Deep {};\n");
  ClassRepository repository;
  const CompileResult result = MofCompiler(repository).compileFiles({directory.path("f0.mof")});
  ASSERT_EQ(result.errorCount, 1u);
  EXPECT_EQ(result.diagnostics[0].toString(),
            directory.path("f63.mof") + ":1:1: includes are nested more than 64 deep");
}

}  // namespace
