#include "host/CimType.h"

#include <gtest/gtest.h>

#include <optional>
#include <vector>

namespace {

struct ScalarCase {
  const TOVSmrPtr<ITovaType>* shared;
  CimTypeCode code;
  const char* name;
};

const std::vector<ScalarCase>& scalarCases() {
  static const std::vector<ScalarCase> cases = {
      {&CTovaType::boolean, CimTypeCode::Boolean, "boolean"},
      {&CTovaType::uint8, CimTypeCode::UInt8, "uint8"},
      {&CTovaType::sint8, CimTypeCode::SInt8, "sint8"},
      {&CTovaType::uint16, CimTypeCode::UInt16, "uint16"},
      {&CTovaType::sint16, CimTypeCode::SInt16, "sint16"},
      {&CTovaType::uint32, CimTypeCode::UInt32, "uint32"},
      {&CTovaType::sint32, CimTypeCode::SInt32, "sint32"},
      {&CTovaType::uint64, CimTypeCode::UInt64, "uint64"},
      {&CTovaType::sint64, CimTypeCode::SInt64, "sint64"},
      {&CTovaType::real32, CimTypeCode::Real32, "real32"},
      {&CTovaType::real64, CimTypeCode::Real64, "real64"},
      {&CTovaType::char16, CimTypeCode::Char16, "char16"},
      {&CTovaType::string, CimTypeCode::String, "string"},
      {&CTovaType::datetime, CimTypeCode::DateTime, "datetime"},
  };
  return cases;
}

TEST(CTovaTypeTest, SharedScalarInstancesAreAtomicAndNamedByCimTypeName) {
  for (const auto& c : scalarCases()) {
    SCOPED_TRACE(c.name);
    const ITovaType& type = **c.shared;
    EXPECT_EQ(type.getName(), c.name);
    EXPECT_TRUE(type.isAtomic());
    EXPECT_FALSE(type.isReference());
    EXPECT_FALSE(type.isArray());
    EXPECT_FALSE(type.isObject());
    EXPECT_FALSE(type.isClass());
    EXPECT_FALSE(type.isImported());
    EXPECT_EQ(dynamic_cast<const CTovaType&>(type).getCode(), c.code);
  }
}

TEST(CTovaTypeTest, ScalarFactoryReturnsTheSharedInstance) {
  for (const auto& c : scalarCases()) {
    SCOPED_TRACE(c.name);
    EXPECT_TRUE(CTovaType::scalar(c.code) == *c.shared);
  }
}

TEST(CTovaTypeTest, CodeNameGivesTheCimSpelling) {
  for (const auto& c : scalarCases()) EXPECT_STREQ(CTovaType::codeName(c.code), c.name);
  EXPECT_STREQ(CTovaType::codeName(CimTypeCode::Reference), "reference");
  EXPECT_STREQ(CTovaType::codeName(CimTypeCode::Object), "object");
}

TEST(CTovaTypeTest, CodeNamedIsTheReverseOfCodeNameForEveryCode) {
  for (int i = 0; i <= static_cast<int>(CimTypeCode::Object); ++i) {
    const auto code = static_cast<CimTypeCode>(i);
    SCOPED_TRACE(CTovaType::codeName(code));
    EXPECT_EQ(CTovaType::codeNamed(CTovaType::codeName(code)), code);
    EXPECT_EQ(CTovaType::codeNamedIgnoringCase(CTovaType::codeName(code)), code);
  }
}

TEST(CTovaTypeTest, CodeNamedLooksNamesUpExactlyAndTheIgnoringCaseFormInAnyCase) {
  struct Case {
    const char* name;
    std::optional<CimTypeCode> exact;
    std::optional<CimTypeCode> anyCase;
  };
  const std::vector<Case> cases = {
      {"uint32", CimTypeCode::UInt32, CimTypeCode::UInt32},
      {"UInt32", std::nullopt, CimTypeCode::UInt32},
      {"DATETIME", std::nullopt, CimTypeCode::DateTime},
      {"Reference", std::nullopt, CimTypeCode::Reference},
      {"object", CimTypeCode::Object, CimTypeCode::Object},
      {"uint", std::nullopt, std::nullopt},
      {"uint322", std::nullopt, std::nullopt},
      {"", std::nullopt, std::nullopt},
      {"instance", std::nullopt, std::nullopt},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(CTovaType::codeNamed(c.name), c.exact);
    EXPECT_EQ(CTovaType::codeNamedIgnoringCase(c.name), c.anyCase);
  }
}

TEST(CTovaTypeTest, ReferenceTypeIsNamedByItsClassAndIsNotAtomic) {
  const auto type = CTovaType::reference("CIM_ComputerSystem");
  EXPECT_EQ(type->getName(), "CIM_ComputerSystem");
  EXPECT_TRUE(type->isReference());
  EXPECT_FALSE(type->isAtomic());
  EXPECT_FALSE(type->isArray());
  EXPECT_FALSE(type->isObject());
  EXPECT_FALSE(type->isClass());
  EXPECT_FALSE(type->isImported());
}

TEST(CTovaTypeTest, ObjectTypeIsNamedByItsClassAndIsNotAtomic) {
  const auto type = CTovaType::object("CIM_Error");
  EXPECT_EQ(type->getName(), "CIM_Error");
  EXPECT_TRUE(type->isObject());
  EXPECT_FALSE(type->isAtomic());
  EXPECT_FALSE(type->isReference());
  EXPECT_FALSE(type->isArray());
  EXPECT_FALSE(type->isClass());
}

TEST(CTovaTypeTest, ArrayTypeCarriesTheElementNameAndOnlyTheArrayFlag) {
  for (const auto& c : scalarCases()) {
    SCOPED_TRACE(c.name);
    const auto type = CTovaType::arrayOf(c.code);
    EXPECT_EQ(type->getName(), c.name);
    EXPECT_TRUE(type->isArray());
    EXPECT_FALSE(type->isAtomic());
    EXPECT_FALSE(type->isReference());
    EXPECT_FALSE(type->isObject());
    EXPECT_FALSE(type->isClass());
  }
}

TEST(CTovaTypeTest, ArraysOfReferencesAndObjectsAreNeitherReferenceNorObject) {
  const auto references = CTovaType::arrayOf(CimTypeCode::Reference, "CIM_Disk");
  EXPECT_EQ(references->getName(), "CIM_Disk");
  EXPECT_TRUE(references->isArray());
  EXPECT_FALSE(references->isReference());
  const auto objects = CTovaType::arrayOf(CimTypeCode::Object, "CIM_Error");
  EXPECT_EQ(objects->getName(), "CIM_Error");
  EXPECT_TRUE(objects->isArray());
  EXPECT_FALSE(objects->isObject());
}

TEST(CTovaTypeTest, ElementTypeDropsTheArrayFlag) {
  const auto intArray = CTovaType::arrayOf(CimTypeCode::UInt16);
  EXPECT_TRUE(dynamic_cast<const CTovaType&>(*intArray).elementType() == CTovaType::uint16);

  const auto refArray = CTovaType::arrayOf(CimTypeCode::Reference, "CIM_Disk");
  const auto element = dynamic_cast<const CTovaType&>(*refArray).elementType();
  EXPECT_TRUE(element->isReference());
  EXPECT_FALSE(element->isArray());
  EXPECT_EQ(element->getName(), "CIM_Disk");
}

TEST(CTovaTypeTest, ElementTypeOfAScalarIsTheSameType) {
  const auto& scalar = dynamic_cast<const CTovaType&>(*CTovaType::string);
  EXPECT_TRUE(scalar.elementType() == CTovaType::string);
  const CTovaType object(CimTypeCode::Object, false, "CIM_Error");
  EXPECT_TRUE(object.elementType()->isObject());
  EXPECT_EQ(object.elementType()->getName(), "CIM_Error");
}

TEST(CTovaTypeTest, ClassNameIsIgnoredForIntrinsicTypes) {
  const CTovaType type(CimTypeCode::UInt8, false, "Ignored");
  EXPECT_EQ(type.getName(), "uint8");
}

TEST(CTovaTypeTest, ScalarReferenceAndObjectHaveEmptyClassName) {
  EXPECT_TRUE(CTovaType::scalar(CimTypeCode::Reference)->getName().isNull());
  EXPECT_TRUE(CTovaType::scalar(CimTypeCode::Reference)->isReference());
  EXPECT_TRUE(CTovaType::scalar(CimTypeCode::Object)->getName().isNull());
  EXPECT_TRUE(CTovaType::scalar(CimTypeCode::Object)->isObject());
}

}  // namespace
