#include "framework/ReferenceType.h"

#include <gtest/gtest.h>

#include <memory>

#include "framework/Exception.h"
#include "framework/MessageTable.h"
#include "host/CimType.h"

using kest::pf::ReferenceType;
namespace MessageTable = kest::pf::MessageTable;

namespace {

void expectReferencePredicates(const ITovaType& type) {
  EXPECT_TRUE(type.isReference());
  EXPECT_FALSE(type.isAtomic());
  EXPECT_FALSE(type.isArray());
  EXPECT_FALSE(type.isClass());
  EXPECT_FALSE(type.isObject());
  EXPECT_FALSE(type.isImported());
}

void expectAccessErrorFrom(const ITovaType& type) {
  try {
    const ReferenceType converted(type);
    ADD_FAILURE() << "no error for " << type.getName();
  } catch (const kest::pf::Exception& e) {
    EXPECT_EQ(e.getType(), "Provider");
    EXPECT_EQ(e.getWhere(), "kest::pf::ReferenceType::ReferenceType");
    EXPECT_EQ(e.getMessage(), MessageTable::E_PFPROVIDER_ERROR_ACCESS_VALUE);
    EXPECT_EQ(e.getCode(), 17667);
  }
}

}  // namespace

TEST(ReferenceTypeTest, KindConstantsAreOneAndTwo) {
  EXPECT_EQ(ReferenceType::InstanceNameRef, 1);
  EXPECT_EQ(ReferenceType::ObjectRef, 2);
}

TEST(ReferenceTypeTest, InstanceNameFlagGivesInstanceNameReference) {
  const ReferenceType type("CIM_Foo", true, false);
  EXPECT_TRUE(type.isInstanceNameRef());
  EXPECT_FALSE(type.isObjectRef());
}

TEST(ReferenceTypeTest, ObjectFlagGivesObjectReference) {
  const ReferenceType type("CIM_Foo", false, true);
  EXPECT_TRUE(type.isObjectRef());
  EXPECT_FALSE(type.isInstanceNameRef());
}

TEST(ReferenceTypeTest, BothFlagsGiveObjectReference) {
  const ReferenceType type("CIM_Foo", true, true);
  EXPECT_TRUE(type.isObjectRef());
  EXPECT_FALSE(type.isInstanceNameRef());
}

TEST(ReferenceTypeTest, NoFlagGivesNeitherKind) {
  const ReferenceType type("CIM_Foo", false, false);
  EXPECT_FALSE(type.isObjectRef());
  EXPECT_FALSE(type.isInstanceNameRef());
}

TEST(ReferenceTypeTest, EveryKindIsAReferenceAndNothingElse) {
  expectReferencePredicates(ReferenceType("CIM_Foo", true, false));
  expectReferencePredicates(ReferenceType("CIM_Foo", false, true));
  expectReferencePredicates(ReferenceType("CIM_Foo", false, false));
}

TEST(ReferenceTypeTest, NameIsTheGivenClassNameWithCaseKept) {
  EXPECT_EQ(ReferenceType("CIM_Foo", true, false).getName(), "CIM_Foo");
  EXPECT_EQ(ReferenceType("", true, false).getName(), "");
}

TEST(ReferenceTypeTest, NameIsCopiedNotBorrowed) {
  TOVString name("CIM_Foo");
  const ReferenceType type(name, true, false);
  name = "CIM_Bar";
  EXPECT_EQ(type.getName(), "CIM_Foo");
}

TEST(ReferenceTypeTest, HostReferenceTypeGivesInstanceNameReferenceToItsClass) {
  const ReferenceType type(*CTovaType::reference("CIM_Foo"));
  EXPECT_EQ(type.getName(), "CIM_Foo");
  EXPECT_TRUE(type.isInstanceNameRef());
  EXPECT_FALSE(type.isObjectRef());
  expectReferencePredicates(type);
}

TEST(ReferenceTypeTest, ObjectReferenceTypeReadAsAnyTypeGivesInstanceNameReference) {
  const ReferenceType objectRef("CIM_Foo", false, true);
  const ReferenceType type(static_cast<const ITovaType&>(objectRef));
  EXPECT_EQ(type.getName(), "CIM_Foo");
  EXPECT_TRUE(type.isInstanceNameRef());
}

TEST(ReferenceTypeTest, NonReferenceTypeRaisesAccessError) {
  expectAccessErrorFrom(*CTovaType::uint32);
  expectAccessErrorFrom(*CTovaType::string);
  expectAccessErrorFrom(*CTovaType::object("CIM_Foo"));
  expectAccessErrorFrom(*CTovaType::arrayOf(CimTypeCode::Reference, "CIM_Foo"));
}

TEST(ReferenceTypeTest, CopyKeepsNameAndKindAndOutlivesTheOriginal) {
  auto original = std::make_unique<ReferenceType>("CIM_Foo", false, true);
  const ReferenceType copy(*original);
  original.reset();
  EXPECT_EQ(copy.getName(), "CIM_Foo");
  EXPECT_TRUE(copy.isObjectRef());
  EXPECT_FALSE(copy.isInstanceNameRef());
}
