#include "support/ClassTableRepository.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/SubclassContract.h"

namespace {

// The hierarchy of the subclass contract (tests/support/SubclassContract.h).
class ClassTableRepositoryTest : public ::testing::Test {
 protected:
  ClassTableRepositoryTest() : repository("root/cimv2") {
    repository.addClass("root/cimv2", "CIM_ManagedElement", "");
    repository.addClass("root/cimv2", "CIM_LogicalElement", "CIM_ManagedElement");
    repository.addClass("root/cimv2", "CIM_LogicalDevice", "CIM_LogicalElement");
    repository.addClass("root/cimv2", "ACME_Disk", "CIM_LogicalDevice");
    repository.addClass("root/cimv2", "ACME_Orphan", "ACME_Undeclared");
    repository.addClass("root/other", "ACME_Disk", "");
  }

  kest::testing::ClassTableRepository repository;
};

TEST_F(ClassTableRepositoryTest, IsSubclassFollowsTheSuperclassChain) {
  kest::testing::expectSubclassContract(repository);
}

TEST_F(ClassTableRepositoryTest, HasClassIgnoresCaseAndResolvesTheDefaultNameSpace) {
  EXPECT_TRUE(repository.hasClass("root/cimv2", "acme_disk"));
  EXPECT_TRUE(repository.hasClass("", "CIM_LogicalDevice"));
  EXPECT_TRUE(repository.hasClass("Root/Other", "ACME_DISK"));
  EXPECT_FALSE(repository.hasClass("root/other", "CIM_LogicalDevice"));
  EXPECT_FALSE(repository.hasClass("root/cimv2", "ACME_Undeclared"));
}

TEST_F(ClassTableRepositoryTest, GetSuperClassNameGivesTheDeclaredName) {
  EXPECT_EQ(repository.getSuperClassName("root/cimv2", "acme_disk"), "CIM_LogicalDevice");
  EXPECT_TRUE(repository.getSuperClassName("root/cimv2", "CIM_ManagedElement").isNull());
  EXPECT_FALSE(repository.getSuperClassName("root/cimv2", "CIM_ManagedElement").isNullBuffer());
  EXPECT_TRUE(repository.getSuperClassName("root/cimv2", "ACME_Unknown").isNullBuffer());
}

TEST_F(ClassTableRepositoryTest, RedeclaringAClassReplacesItsSuperclass) {
  repository.addClass("ROOT/cimv2", "acme_disk", "CIM_ManagedElement");
  EXPECT_EQ(repository.getSuperClassName("", "ACME_Disk"), "CIM_ManagedElement");
  EXPECT_FALSE(repository.isSubclass("", "ACME_Disk", "CIM_LogicalDevice"));
  EXPECT_TRUE(repository.isSubclass("", "ACME_Disk", "CIM_ManagedElement"));
}

TEST_F(ClassTableRepositoryTest, CyclicDeclarationsEndTheWalk) {
  repository.addClass("", "Loop_A", "Loop_B");
  repository.addClass("", "Loop_B", "Loop_A");
  EXPECT_TRUE(repository.isSubclass("", "Loop_A", "Loop_B"));
  EXPECT_FALSE(repository.isSubclass("", "Loop_A", "CIM_ManagedElement"));
  repository.addClass("", "Self", "self");
  EXPECT_FALSE(repository.isSubclass("", "Self", "Other"));
}

TEST_F(ClassTableRepositoryTest, ClassesMayBeAddedWhileOthersAreQueried) {
  std::atomic<bool> stop{false};
  std::atomic<int> wrong{0};
  std::vector<std::thread> readers;
  for (int t = 0; t < 3; ++t) {
    readers.emplace_back([&] {
      while (!stop.load()) {
        if (!repository.isSubclass("", "ACME_Disk", "CIM_ManagedElement")) ++wrong;
        if (repository.isSubclass("", "CIM_ManagedElement", "ACME_Disk")) ++wrong;
      }
    });
  }
  for (int i = 0; i < 500; ++i) {
    const std::string name = "ACME_Extra" + std::to_string(i);
    repository.addClass("", name.c_str(), "ACME_Disk");
  }
  stop = true;
  for (auto& reader : readers) reader.join();
  EXPECT_EQ(wrong.load(), 0);
  EXPECT_TRUE(repository.isSubclass("", "ACME_Extra499", "CIM_LogicalElement"));
}

}  // namespace
