#pragma once

// The subclass test every ITovaRepository implementation must pass, over one
// class hierarchy that each test fixture builds its own way:
//   CIM_ManagedElement <- CIM_LogicalElement <- CIM_LogicalDevice <- ACME_Disk
//   in root/cimv2 (the repository's default namespace); ACME_Disk also in
//   root/other with no superclass; ACME_Orphan in root/cimv2 with the
//   superclass ACME_Undeclared, which is never declared.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/Repository.h"

namespace kest::testing {

struct SubclassCase {
  const char* nameSpace;
  const char* className;
  const char* superClassName;
  bool expected;
};

inline const std::vector<SubclassCase>& subclassContractCases() {
  static const std::vector<SubclassCase> cases = {
      {"root/cimv2", "ACME_Disk", "ACME_Disk", true},
      {"root/cimv2", "ACME_Disk", "acme_disk", true},
      {"root/cimv2", "ACME_Disk", "CIM_LogicalDevice", true},
      {"root/cimv2", "ACME_Disk", "CIM_LogicalElement", true},
      {"root/cimv2", "ACME_Disk", "cim_managedelement", true},
      {"root/cimv2", "acme_disk", "CIM_ManagedElement", true},
      {"root/cimv2", "CIM_LogicalDevice", "ACME_Disk", false},
      {"root/cimv2", "ACME_Disk", "CIM_Unrelated", false},
      {"root/cimv2", "CIM_ManagedElement", "", false},
      {"root/cimv2", "ACME_Unknown", "ACME_Unknown", false},
      {"root/cimv2", "ACME_Unknown", "CIM_ManagedElement", false},
      {"root/cimv2", "ACME_Orphan", "ACME_Undeclared", true},
      {"root/cimv2", "ACME_Orphan", "CIM_ManagedElement", false},
      {"ROOT/CIMV2", "ACME_Disk", "CIM_LogicalDevice", true},
      {"", "ACME_Disk", "CIM_LogicalDevice", true},
      {"root/other", "ACME_Disk", "CIM_LogicalDevice", false},
      {"root/other", "ACME_Disk", "ACME_Disk", true},
      {"root/none", "ACME_Disk", "ACME_Disk", false},
  };
  return cases;
}

// Checks every contract case against repository.
inline void expectSubclassContract(ITovaRepository& repository) {
  for (const SubclassCase& c : subclassContractCases()) {
    SCOPED_TRACE(std::string(c.nameSpace) + " " + c.className + " " + c.superClassName);
    EXPECT_EQ(repository.isSubclass(c.nameSpace, c.className, c.superClassName), c.expected);
  }
}

}  // namespace kest::testing
