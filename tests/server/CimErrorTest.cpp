#include "server/CimError.h"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "framework/Exception.h"
#include "host/Exception.h"
#include "host/Fatal.h"

using kest::server::CimError;
using kest::server::cimStatusName;
using kest::server::errorFromCurrentException;

namespace {

struct MappingCase {
  const char* label;
  std::function<void()> thrower;
  int code;
  std::string description;
};

CimError mapped(const std::function<void()>& thrower) {
  try {
    thrower();
  } catch (...) {
    return errorFromCurrentException();
  }
  throw std::logic_error("nothing was thrown");
}

}  // namespace

TEST(CimErrorTest, ProviderErrorsMapToTheirCimStatus) {
  const std::vector<MappingCase> cases = {
      {"framework code 7",
       [] {
         throw kest::pf::Exception("deleteInstance", "DeleteInstance intrinsic not supported", 7);
       },
       7, "DeleteInstance intrinsic not supported"},
      {"framework code 17664", [] { throw kest::pf::Exception("w", "missing parameter", 17664); },
       4, "missing parameter"},
      {"framework code 17665", [] { throw kest::pf::Exception("w", "Undeclared class X", 17665); },
       5, "Undeclared class X"},
      {"framework code 17666", [] { throw kest::pf::Exception("w", "not cached", 17666); }, 6,
       "not cached"},
      {"framework code 17667", [] { throw kest::pf::Exception("w", "wrong type", 17667); }, 1,
       "wrong type"},
      {"framework with who",
       [] {
         throw kest::pf::Exception("kest::pf::Provider", "setProperty", "intrinsic not supported",
                                   7);
       },
       7, "intrinsic not supported"},
      {"host error with code 7",
       [] { throw TovaBaseException("T", "w", "who", "host failure", 7); }, 1, "host failure"},
      {"null pointer", [] { throw TOVNullPointerException(); }, 1, "null pointer dereferenced"},
      {"fatal assertion",
       [] {
         CI_ExFatal("! \"getClass (not) implemented\"", 51458, __FILE__, __LINE__).throwThis();
       },
       1, "! \"getClass (not) implemented\""},
      {"standard exception", [] { throw std::runtime_error("boom"); }, 1, "boom"},
      {"anything else", [] { throw 42; }, 1, "unknown exception"},
      {"server error", [] { throw CimError(3, "no such namespace"); }, 3, "no such namespace"},
  };
  for (const MappingCase& item : cases) {
    const CimError error = mapped(item.thrower);
    EXPECT_EQ(error.code(), item.code) << item.label;
    EXPECT_EQ(error.description(), item.description) << item.label;
  }
}

TEST(CimErrorTest, StatusNamesFollowTheCimTable) {
  EXPECT_EQ(cimStatusName(1), "CIM_ERR_FAILED");
  EXPECT_EQ(cimStatusName(3), "CIM_ERR_INVALID_NAMESPACE");
  EXPECT_EQ(cimStatusName(6), "CIM_ERR_NOT_FOUND");
  EXPECT_EQ(cimStatusName(17), "CIM_ERR_METHOD_NOT_FOUND");
  EXPECT_EQ(cimStatusName(42), "CIM_ERR_42");
}
