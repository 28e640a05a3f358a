#include "server/repository/RepositoryAdapter.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/server/repository/MofTestSupport.h"
#include "tests/support/SubclassContract.h"

using kest::repository::ClassRepository;
using kest::repository::MofCompiler;
using kest::repository::RepositoryAdapter;

namespace {

// The hierarchy of the subclass contract (tests/support/SubclassContract.h),
// compiled from MOF; ACME_Orphan is declared by name and superclass.
class RepositoryAdapterTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const auto result = MofCompiler(repository).compileText("adapter.mof", R"(
      class CIM_ManagedElement {};
      class CIM_LogicalElement : CIM_ManagedElement {};
      class CIM_LogicalDevice : CIM_LogicalElement {};
      class ACME_Disk : CIM_LogicalDevice {};
      #pragma namespace("root/other")
      class ACME_Disk {};)");
    ASSERT_TRUE(result.succeeded());
    repository.declareClass("root/cimv2", "ACME_Orphan", "ACME_Undeclared");
  }

  ClassRepository repository;
  RepositoryAdapter adapter{repository, "root/cimv2"};
};

TEST_F(RepositoryAdapterTest, IsSubclassAnswersFromTheRepository) {
  kest::testing::expectSubclassContract(adapter);
}

TEST_F(RepositoryAdapterTest, WorksThroughTheHostInterface) {
  ITovaRepository& host = adapter;
  EXPECT_TRUE(host.isSubclass(TOVString(), "ACME_Disk", "CIM_ManagedElement"));
  RepositoryAdapter otherDefault(repository, "root/other");
  EXPECT_FALSE(otherDefault.isSubclass("", "ACME_Disk", "CIM_ManagedElement"));
  EXPECT_TRUE(otherDefault.isSubclass("", "ACME_Disk", "ACME_Disk"));
}

TEST_F(RepositoryAdapterTest, SeesClassesAddedLater) {
  EXPECT_FALSE(adapter.isSubclass("", "ACME_Late", "CIM_ManagedElement"));
  ASSERT_TRUE(MofCompiler(repository)
                  .compileText("late.mof", "class ACME_Late : ACME_Disk {};")
                  .succeeded());
  EXPECT_TRUE(adapter.isSubclass("", "ACME_Late", "CIM_ManagedElement"));
}

}  // namespace
