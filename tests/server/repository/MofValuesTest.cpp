#include "server/repository/MofValues.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/InstanceName.h"
#include "tests/server/repository/MofTestSupport.h"

using kest::repository::ClassPointer;
using kest::repository::DataType;
using kest::repository::Property;
using kest::testing::Compiled;
using kest::testing::compileMof;
using kest::testing::diagnosticsOf;

namespace {

struct TypeCase {
  const char* declaration;
  CimTypeCode code;
  const char* defaultText;
};

// Every CIM type, scalar, with a default value, as the repository keeps it.
TEST(MofValuesTest, EveryCimTypeKeepsItsTypeAndDefault) {
  const std::vector<TypeCase> cases = {
      {"boolean P = true", CimTypeCode::Boolean, "true"},
      {"uint8 P = 255", CimTypeCode::UInt8, "255"},
      {"sint8 P = -128", CimTypeCode::SInt8, "-128"},
      {"uint16 P = 0xFFFF", CimTypeCode::UInt16, "65535"},
      {"sint16 P = -32768", CimTypeCode::SInt16, "-32768"},
      {"uint32 P = 4294967295", CimTypeCode::UInt32, "4294967295"},
      {"sint32 P = -2147483648", CimTypeCode::SInt32, "-2147483648"},
      {"uint64 P = 18446744073709551615", CimTypeCode::UInt64, "18446744073709551615"},
      {"sint64 P = -9223372036854775808", CimTypeCode::SInt64, "-9223372036854775808"},
      {"sint64 P = 017", CimTypeCode::SInt64, "15"},
      {"uint8 P = 1010b", CimTypeCode::UInt8, "10"},
      {"real32 P = 1.5", CimTypeCode::Real32, "1.5"},
      {"real64 P = -2.5e-3", CimTypeCode::Real64, "-0.0025"},
      {"real64 P = 7", CimTypeCode::Real64, "7"},
      {"char16 P = 'x'", CimTypeCode::Char16, "x"},
      {"char16 P = 65", CimTypeCode::Char16, "A"},
      {"string P = \"a\\\"b\" \"c\"", CimTypeCode::String, "a\"bc"},
      {"datetime P = \"20261121123000.000000+060\"", CimTypeCode::DateTime,
       "20261121123000.000000+060"},
      {"datetime P = \"00000001020304.000000:000\"", CimTypeCode::DateTime,
       "00000001020304.000000:000"},
      {"datetime P = \"2026112112****.******+000\"", CimTypeCode::DateTime,
       "2026112112****.******+000"},
  };
  for (const TypeCase& c : cases) {
    SCOPED_TRACE(c.declaration);
    const Compiled compiled = compileMof(std::string("class T { ") + c.declaration + "; };");
    ASSERT_TRUE(compiled.result.succeeded()) << compiled.messages()[0];
    const Property* property = compiled.cls("T")->findProperty("P");
    ASSERT_NE(property, nullptr);
    EXPECT_EQ(property->type.code, c.code);
    EXPECT_FALSE(property->type.isArray);
    ASSERT_TRUE(property->defaultValue);
    EXPECT_EQ(CTovaType::codeOf(*property->defaultValue->getType()), c.code);
    EXPECT_EQ(property->defaultValue->toString(), c.defaultText);
  }
}

TEST(MofValuesTest, PropertiesWithoutDefaultHaveNone) {
  const Compiled compiled = compileMof("class T { string S; object O; uint32 A[]; };");
  ASSERT_TRUE(compiled.result.succeeded());
  for (const Property& property : compiled.cls("T")->properties)
    EXPECT_FALSE(property.defaultValue);
  EXPECT_EQ(compiled.cls("T")->findProperty("O")->type.code, CimTypeCode::Object);
}

TEST(MofValuesTest, NullDefaultsAreTypedNulls) {
  const Compiled compiled = compileMof("class T { uint32 N = NULL; string A[] = null; };");
  ASSERT_TRUE(compiled.result.succeeded());
  const auto& n = compiled.cls("T")->findProperty("N")->defaultValue;
  ASSERT_TRUE(n);
  EXPECT_TRUE(n->isNullValue());
  EXPECT_EQ(n->getType()->getName(), "uint32");
  EXPECT_TRUE(compiled.cls("T")->findProperty("A")->defaultValue->isNullValue());
}

TEST(MofValuesTest, ArraysKeepTheirFormAndElements) {
  const Compiled compiled = compileMof(
      "class T { uint16 V[] = {1, 2, 3}; string Fixed[3] = {\"a\", \"b\"}; boolean Empty[] = {};"
      " datetime D[] = {\"20260101000000.000000+000\"}; real32 R[2]; };");
  ASSERT_TRUE(compiled.result.succeeded()) << compiled.messages()[0];
  const ClassPointer cls = compiled.cls("T");
  const Property* v = cls->findProperty("V");
  EXPECT_TRUE(v->type.isArray);
  EXPECT_EQ(v->type.arraySize, 0u);
  EXPECT_TRUE(v->defaultValue->getType()->isArray());
  EXPECT_EQ(v->defaultValue->toString(), "{1,2,3}");
  EXPECT_EQ(v->defaultValue->getArray()->at(0)->getType()->getName(), "uint16");
  const Property* fixed = cls->findProperty("Fixed");
  EXPECT_EQ(fixed->type.arraySize, 3u);
  EXPECT_EQ(fixed->defaultValue->toString(), "{a,b}");
  EXPECT_EQ(cls->findProperty("Empty")->defaultValue->getArray()->entries(), 0u);
  EXPECT_EQ(cls->findProperty("D")->defaultValue->getArray()->at(0)->getType()->getName(),
            "datetime");
  EXPECT_EQ(cls->findProperty("R")->type.toMof(), "real32[2]");
}

TEST(MofValuesTest, StringEscapesAreDecoded) {
  const Compiled compiled =
      compileMof(R"(class T { string S = "tab\tnl\nq\"bs\\x\x41\X263a"; char16 C = '\x263A'; };)");
  ASSERT_TRUE(compiled.result.succeeded());
  EXPECT_EQ(compiled.cls("T")->findProperty("S")->defaultValue->getAsString(),
            "tab\tnl\nq\"bs\\xA\xE2\x98\xBA");
  EXPECT_EQ(compiled.cls("T")->findProperty("C")->defaultValue->getAsString(), "\xE2\x98\xBA");
}

TEST(MofValuesTest, ReferenceDefaultsAreObjectPaths) {
  const Compiled compiled = compileMof(
      "class CIM_Bar { [Key] string Tag; [Key] uint32 N; };"
      "class T { CIM_Bar REF R = \"//host/root/x:CIM_Bar.Tag=\\\"a,\\\\\\\"b\\\",N=7\"; };");
  ASSERT_TRUE(compiled.result.succeeded()) << compiled.messages()[0];
  const auto& value = compiled.cls("T")->findProperty("R")->defaultValue;
  ASSERT_TRUE(value);
  const TOVSmrPtr<ITovaInstanceName> name = value->getReference();
  ASSERT_TRUE(name);
  EXPECT_EQ(name->getClassname(), "CIM_Bar");
  EXPECT_EQ(name->getNameSpacePath()->getHost(), "host");
  EXPECT_EQ(name->getNameSpacePath()->getNameSpace(), "root/x");
  EXPECT_EQ(name->toString(), "cim_bar.n=7,tag=\"a,\\\"b\"");
}

struct ValueErrorCase {
  const char* declaration;
  const char* error;
};

TEST(MofValuesTest, ValuesThatDoNotFitTheTypeAreErrors) {
  const std::vector<ValueErrorCase> cases = {
      {"uint8 P = 256",
       "test.mof:1:21: default value of property 'T.P': 256 is out of range for uint8"},
      {"uint8 P = -1",
       "test.mof:1:21: default value of property 'T.P': -1 is out of range for uint8"},
      {"sint8 P = -129",
       "test.mof:1:21: default value of property 'T.P': -129 is out of range for sint8"},
      {"sint8 P = 128",
       "test.mof:1:21: default value of property 'T.P': 128 is out of range for sint8"},
      {"uint16 P = 0x10000",
       "test.mof:1:22: default value of property 'T.P': 0x10000 is out of range for uint16"},
      {"sint16 P = 32768",
       "test.mof:1:22: default value of property 'T.P': 32768 is out of range for sint16"},
      {"uint32 P = 4294967296",
       "test.mof:1:22: default value of property 'T.P': 4294967296 is out of range for uint32"},
      {"sint32 P = 2147483648",
       "test.mof:1:22: default value of property 'T.P': 2147483648 is out of range for sint32"},
      {"sint64 P = 9223372036854775808",
       "test.mof:1:22: default value of property 'T.P': 9223372036854775808 is out of range for "
       "sint64"},
      {"uint64 P = -1",
       "test.mof:1:22: default value of property 'T.P': -1 is out of range for uint64"},
      {"real32 P = 1.0e39",
       "test.mof:1:22: default value of property 'T.P': 1.0e39 is out of range for real32"},
      {"char16 P = 65536",
       "test.mof:1:22: default value of property 'T.P': 65536 is out of range for char16"},
      {"uint32 P = 1.5",
       "test.mof:1:22: default value of property 'T.P': expected a uint32 value, found a real "
       "number"},
      {"uint32 P = \"7\"",
       "test.mof:1:22: default value of property 'T.P': expected a uint32 value, found a string"},
      {"boolean P = 1",
       "test.mof:1:23: default value of property 'T.P': expected a boolean value, found an "
       "integer"},
      {"string P = true",
       "test.mof:1:22: default value of property 'T.P': expected a string value, found a boolean"},
      {"string P = 'c'",
       "test.mof:1:22: default value of property 'T.P': expected a string value, found a "
       "character"},
      {"char16 P = \"c\"",
       "test.mof:1:22: default value of property 'T.P': expected a char16 value, found a string"},
      {"real64 P = false",
       "test.mof:1:22: default value of property 'T.P': expected a real64 value, found a boolean"},
      {"string P = $a",
       "test.mof:1:22: default value of property 'T.P': aliases are not supported"},
      {"string P = {\"a\"}",
       "test.mof:1:22: default value of property 'T.P': expected a string value, found an array"},
      {"string P[] = \"a\"",
       "test.mof:1:24: default value of property 'T.P': expected an array of string, found a "
       "string"},
      {"string P[2] = {\"a\", \"b\", \"c\"}",
       "test.mof:1:25: default value of property 'T.P': 3 elements given for an array of at most "
       "2"},
      {"uint8 P[] = {1, NULL}",
       "test.mof:1:23: default value of property 'T.P': array elements cannot be NULL"},
      {"uint8 P[] = {1, 300}",
       "test.mof:1:23: default value of property 'T.P': 300 is out of range for uint8"},
      {"datetime P = \"2026\"",
       "test.mof:1:24: default value of property 'T.P': '2026' is not a valid datetime"},
      {"datetime P = \"20261321123000.000000+000\"",
       "test.mof:1:24: default value of property 'T.P': '20261321123000.000000+000' is not a valid "
       "datetime"},
      {"object P = \"x\"",
       "test.mof:1:22: default value of property 'T.P': an embedded object cannot be given a value "
       "in MOF"},
      {"T REF P = \"not a path!\"",
       "test.mof:1:21: default value of reference 'T.P': 'not a path!' is not a valid object path"},
  };
  for (const ValueErrorCase& c : cases) {
    SCOPED_TRACE(c.declaration);
    EXPECT_EQ(diagnosticsOf(std::string("class T { ") + c.declaration + "; };"),
              std::vector<std::string>{c.error});
  }
}

TEST(MofValuesTest, SameValueComparesTypeAndText) {
  using kest::repository::sameValue;
  const TOVSmrPtr<ITovaValue> one32(new CTovaValue(TOVuint32(1)));
  const TOVSmrPtr<ITovaValue> other32(new CTovaValue(TOVuint32(1)));
  const TOVSmrPtr<ITovaValue> one8(new CTovaValue(TOVuint8(1)));
  EXPECT_TRUE(sameValue(one32, other32));
  EXPECT_FALSE(sameValue(one32, one8));
  EXPECT_TRUE(sameValue(TOVSmrPtr<ITovaValue>(), CTovaValue::nullOf(CTovaType::uint32)));
  EXPECT_FALSE(sameValue(one32, TOVSmrPtr<ITovaValue>()));
}

TEST(MofValuesTest, DataTypeNamesAndHostTypes) {
  DataType type;
  type.code = CimTypeCode::Reference;
  type.referenceClass = "CIM_Bar";
  EXPECT_EQ(type.toMof(), "CIM_Bar REF");
  EXPECT_TRUE(type.hostType()->isReference());
  EXPECT_EQ(type.hostType()->getName(), "CIM_Bar");
  type.isArray = true;
  EXPECT_EQ(type.toMof(), "CIM_Bar REF[]");
  EXPECT_TRUE(type.hostType()->isArray());
  EXPECT_EQ(type.hostType()->getName(), "CIM_Bar");
  const DataType fixed{CimTypeCode::UInt8, true, 4, TOVString()};
  EXPECT_EQ(fixed.toMof(), "uint8[4]");
  EXPECT_EQ(fixed.hostType(), CTovaType::arrayOf(CimTypeCode::UInt8));
  EXPECT_EQ(DataType{}.hostType(), CTovaType::string);
  EXPECT_TRUE((DataType{CimTypeCode::Object, false, 0, TOVString()}.hostType()->isObject()));
}

}  // namespace
