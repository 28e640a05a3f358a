#include "host/Value.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "host/Exception.h"
#include "host/InstanceName.h"
#include "host/Object.h"
#include "support/ObjectModelBuilders.h"

using namespace kest::testing;

namespace {

using ValuePtr = TOVSmrPtr<ITovaValue>;
using ValueList = TOVValSlist<ValuePtr>;

ValuePtr makeArray(CimTypeCode code, std::vector<ValuePtr> elements) {
  TOVSmrPtr<ValueList> list(new ValueList());
  for (auto& element : elements) list->append(element);
  return ValuePtr(new CTovaValue(CTovaType::arrayOf(code), list));
}

TOVSmrPtr<ITovaObject> makeObject(const char* className, const char* key, const char* id) {
  TOVSmrPtr<CTovaObject> object(new CTovaObject(className));
  object->setInstanceName(makeName(className, key, make(id)));
  object->setProperty(key, make(id));
  return CTovaObject::iPtr(object);
}

// Runs read and returns the TovaBaseException it throws; records a failure
// when it throws none.
TovaBaseException thrownBy(const std::function<void()>& read) {
  try {
    read();
  } catch (const TovaBaseException& error) {
    return error;
  }
  ADD_FAILURE() << "no TovaBaseException thrown";
  return TovaBaseException();
}

struct TypeCase {
  const char* label;
  std::function<ValuePtr()> make;
  const char* typeName;
};

TEST(CTovaValueTest, EachConstructorGivesTheMatchingCimType) {
  const std::vector<TypeCase> cases = {
      {"bool", [] { return make(true); }, "boolean"},
      {"uint8", [] { return make(TOVuint8{1}); }, "uint8"},
      {"sint8", [] { return make(TOVsint8{-1}); }, "sint8"},
      {"uint16", [] { return make(TOVuint16{1}); }, "uint16"},
      {"sint16", [] { return make(TOVsint16{-1}); }, "sint16"},
      {"uint32", [] { return make(TOVuint32{1}); }, "uint32"},
      {"sint32", [] { return make(TOVsint32{-1}); }, "sint32"},
      {"unsigned long", [] { return make(1UL); }, "uint64"},
      {"long", [] { return make(-1L); }, "sint64"},
      {"unsigned long long", [] { return make(1ULL); }, "uint64"},
      {"long long", [] { return make(-1LL); }, "sint64"},
      {"float", [] { return make(1.5f); }, "real32"},
      {"double", [] { return make(1.5); }, "real64"},
      {"TOVString", [] { return make(TOVString("x")); }, "string"},
      {"const char*", [] { return make("x"); }, "string"},
      {"char16", [] { return CTovaValue::char16(u'x'); }, "char16"},
      {"datetime", [] { return CTovaValue::dateTime("20261121123000.000000+000"); }, "datetime"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.label);
    const ValuePtr value = c.make();
    ASSERT_TRUE(value->getType());
    EXPECT_EQ(value->getType()->getName(), c.typeName);
    EXPECT_TRUE(value->getType()->isAtomic());
    EXPECT_FALSE(value->isNullValue());
  }
}

TEST(CTovaValueTest, ScalarValuesUseTheSharedTypeInstances) {
  EXPECT_TRUE(make(TOVuint32{7})->getType() == CTovaType::uint32);
  EXPECT_TRUE(make(true)->getType() == CTovaType::boolean);
  EXPECT_TRUE(make("s")->getType() == CTovaType::string);
  EXPECT_TRUE(CTovaValue::char16(u'c')->getType() == CTovaType::char16);
}

TEST(CTovaValueTest, ReferenceValueSharesTheNameAndPointsToItsClass) {
  const auto name = makeName("CIM_Disk", "Id", make("d1"));
  const ValuePtr value = make(name);
  const auto type = value->getType();
  EXPECT_TRUE(type->isReference());
  EXPECT_FALSE(type->isAtomic());
  EXPECT_EQ(type->getName(), "CIM_Disk");
  EXPECT_TRUE(value->getReference() == name);
  EXPECT_TRUE(value->getObject().isNull());
  EXPECT_FALSE(value->isNullValue());
  EXPECT_EQ(value->getAsString(), name->toString());
  EXPECT_EQ(value->toString(), "cim_disk.id=\"d1\"");
}

TEST(CTovaValueTest, NullNameGivesANullReferenceWithEmptyClassName) {
  const ValuePtr value = make(TOVSmrPtr<ITovaInstanceName>());
  EXPECT_TRUE(value->getType()->isReference());
  EXPECT_TRUE(value->getType()->getName().isNull());
  EXPECT_TRUE(value->getReference().isNull());
  EXPECT_TRUE(value->isNullValue());
  EXPECT_TRUE(value->toString().isNull());
}

TEST(CTovaValueTest, EmbeddedObjectValueSharesTheObject) {
  const auto object = makeObject("CIM_Fan", "Tag", "f1");
  const ValuePtr value = make(object);
  const auto type = value->getType();
  EXPECT_TRUE(type->isObject());
  EXPECT_FALSE(type->isAtomic());
  EXPECT_FALSE(type->isReference());
  EXPECT_EQ(type->getName(), "CIM_Fan");
  EXPECT_TRUE(value->getObject() == object);
  EXPECT_TRUE(value->getReference() == object->getInstanceName());
  EXPECT_EQ(value->toString(), "cim_fan.tag=\"f1\"");
}

TEST(CTovaValueTest, NullObjectGivesANullEmbeddedObject) {
  const ValuePtr value = make(TOVSmrPtr<ITovaObject>());
  EXPECT_TRUE(value->getType()->isObject());
  EXPECT_TRUE(value->isNullValue());
  EXPECT_TRUE(value->getObject().isNull());
  EXPECT_TRUE(value->getReference().isNull());
}

TEST(CTovaValueTest, ObjectWithoutInstanceNameHasEmptyText) {
  const ValuePtr value = make(CTovaObject::iPtr(TOVSmrPtr<CTovaObject>(new CTovaObject("X"))));
  EXPECT_TRUE(value->toString().isNull());
  EXPECT_TRUE(value->getReference().isNull());
}

TEST(CTovaValueTest, ArrayValueHoldsItsElements) {
  TOVSmrPtr<ValueList> list(new ValueList());
  list->append(make(TOVuint32{1}));
  list->append(make(TOVuint32{2}));
  const ValuePtr value(new CTovaValue(CTovaType::arrayOf(CimTypeCode::UInt32), list));
  EXPECT_TRUE(value->getType()->isArray());
  EXPECT_EQ(value->getType()->getName(), "uint32");
  EXPECT_TRUE(value->getArray() == list);
  EXPECT_EQ(value->toString(), "{1,2}");
  EXPECT_FALSE(value->isNullValue());
}

TEST(CTovaValueTest, ArrayWithoutElementsIsANullArray) {
  const ValuePtr value(
      new CTovaValue(CTovaType::arrayOf(CimTypeCode::String), TOVSmrPtr<ValueList>()));
  EXPECT_TRUE(value->isNullValue());
  EXPECT_TRUE(value->getArray().isNull());
  EXPECT_TRUE(value->getAsString().isNullBuffer());
}

TEST(CTovaValueTest, ArrayConstructorRejectsMissingOrScalarType) {
  TOVSmrPtr<ValueList> list(new ValueList());
  EXPECT_THROW(CTovaValue(CTovaType::uint32, list), TovaBaseException);
  EXPECT_THROW(CTovaValue(TOVSmrPtr<ITovaType>(), list), TovaBaseException);
}

TEST(CTovaValueTest, NullOfKeepsTheTypeAndHoldsNothing) {
  const auto type = CTovaType::sint32;
  const ValuePtr value = CTovaValue::nullOf(type);
  EXPECT_TRUE(value->isNullValue());
  EXPECT_TRUE(value->getType() == type);
  EXPECT_TRUE(value->getAsString().isNullBuffer());
  EXPECT_TRUE(value->toString().isNull());
  EXPECT_THROW(CTovaValue::nullOf(TOVSmrPtr<ITovaType>()), TovaBaseException);
}

TEST(CTovaValueTest, ValuesThatHoldSomethingAreNotNull) {
  EXPECT_FALSE(make(TOVString())->isNullValue());
  EXPECT_FALSE(make(false)->isNullValue());
  EXPECT_FALSE(make(0)->isNullValue());
}

struct IntCase {
  const char* label;
  std::function<ValuePtr()> make;
  TOVsint32 expected;
};

TEST(CTovaValueTest, GetAsIntReadsIntegersAndDecimalStringsInRange) {
  const std::vector<IntCase> cases = {
      {"uint8 200", [] { return make(TOVuint8{200}); }, 200},
      {"sint8 -5", [] { return make(TOVsint8{-5}); }, -5},
      {"uint16 65535", [] { return make(TOVuint16{65535}); }, 65535},
      {"uint32 max sint32", [] { return make(TOVuint32{2147483647}); }, 2147483647},
      {"sint64 min sint32", [] { return make(-2147483648LL); },
       std::numeric_limits<TOVsint32>::min()},
      {"uint64 7", [] { return make(7ULL); }, 7},
      {"string -42", [] { return make("-42"); }, -42},
      {"string 2147483647", [] { return make("2147483647"); }, 2147483647},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.label);
    EXPECT_EQ(c.make()->getAsInt(), c.expected);
  }
}

struct FailCase {
  const char* label;
  std::function<ValuePtr()> make;
};

std::vector<FailCase> nonNumericValues() {
  return {
      {"boolean", [] { return make(true); }},
      {"char16", [] { return CTovaValue::char16(u'7'); }},
      {"datetime", [] { return CTovaValue::dateTime("20260101000000.000000+000"); }},
      {"reference", [] { return make(makeName("C", "k", make(1))); }},
      {"object", [] { return make(makeObject("C", "k", "1")); }},
      {"array", [] { return makeArray(CimTypeCode::UInt8, {make(TOVuint8{1})}); }},
      {"string not a number", [] { return make("12a"); }},
      {"empty string", [] { return make(""); }},
      {"string with blank", [] { return make(" 1"); }},
  };
}

TEST(CTovaValueTest, GetAsIntThrowsForEverythingElse) {
  std::vector<FailCase> cases = nonNumericValues();
  cases.push_back({"uint32 above sint32", [] { return make(TOVuint32{2147483648U}); }});
  cases.push_back({"sint64 below sint32", [] { return make(-2147483649LL); }});
  cases.push_back({"string above sint32", [] { return make("2147483648"); }});
  cases.push_back({"real64", [] { return make(1.0); }});
  cases.push_back({"NULL sint32", [] { return CTovaValue::nullOf(CTovaType::sint32); }});
  for (const auto& c : cases) {
    SCOPED_TRACE(c.label);
    const ValuePtr value = c.make();
    const TovaBaseException error = thrownBy([&] { value->getAsInt(); });
    EXPECT_EQ(error.getWhere(), "CTovaValue::getAsInt()");
    EXPECT_EQ(error.getCode(), 0);
  }
}

TEST(CTovaValueTest, ConversionErrorNamesWantedAndActualType) {
  const TovaBaseException error = thrownBy([] { make(2.5)->getAsInt(); });
  EXPECT_TRUE(error.getType().isNull());
  EXPECT_EQ(error.getWhere(), "CTovaValue::getAsInt()");
  EXPECT_TRUE(error.getWho().isNull());
  EXPECT_EQ(error.getMessage(), "cannot read a real64 value as sint32");
  EXPECT_EQ(error.getCode(), 0);
}

TEST(CTovaValueTest, ConversionErrorOfANullValueSaysNull) {
  const TovaBaseException error =
      thrownBy([] { CTovaValue::nullOf(CTovaType::uint8)->getAsUInt(); });
  EXPECT_EQ(error.getWhere(), "CTovaValue::getAsUInt()");
  EXPECT_EQ(error.getMessage(), "cannot read a NULL uint8 value as uint32");
}

TEST(CTovaValueTest, OutOfRangeErrorNamesBothTypes) {
  const TovaBaseException error = thrownBy([] { make(-1)->getAsUInt64(); });
  EXPECT_EQ(error.getWhere(), "CTovaValue::getAsUInt64()");
  EXPECT_EQ(error.getMessage().view().substr(0, 34), "cannot read a sint32 value as uint");
}

struct UIntCase {
  const char* label;
  std::function<ValuePtr()> make;
  TOVuint32 expected;
};

TEST(CTovaValueTest, GetAsUIntReadsIntegersAndStringsUpTo32Bits) {
  const std::vector<UIntCase> cases = {
      {"uint16 300", [] { return make(TOVuint16{300}); }, 300},
      {"sint32 300", [] { return make(TOVsint32{300}); }, 300},
      {"sint8 0", [] { return make(TOVsint8{0}); }, 0},
      {"uint64 max uint32", [] { return make(4294967295ULL); }, 4294967295U},
      {"sint64 max uint32", [] { return make(4294967295LL); }, 4294967295U},
      {"string 4294967295", [] { return make("4294967295"); }, 4294967295U},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.label);
    EXPECT_EQ(c.make()->getAsUInt(), c.expected);
  }
}

TEST(CTovaValueTest, GetAsUIntThrowsForNegativeTooLargeOrNonIntegers) {
  std::vector<FailCase> cases = nonNumericValues();
  cases.push_back({"sint32 -1", [] { return make(-1); }});
  cases.push_back({"uint64 2^32", [] { return make(4294967296ULL); }});
  cases.push_back({"string -1", [] { return make("-1"); }});
  cases.push_back({"string 2^32", [] { return make("4294967296"); }});
  cases.push_back({"real32", [] { return make(1.0f); }});
  for (const auto& c : cases) {
    SCOPED_TRACE(c.label);
    const ValuePtr value = c.make();
    EXPECT_EQ(thrownBy([&] { value->getAsUInt(); }).getWhere(), "CTovaValue::getAsUInt()");
  }
}

struct UInt64Case {
  const char* label;
  std::function<ValuePtr()> make;
  TOVuint64 expected;
};

TEST(CTovaValueTest, GetAsUInt64ReadsEveryNonNegativeInteger) {
  const std::vector<UInt64Case> cases = {
      {"uint64 max", [] { return make(std::numeric_limits<unsigned long long>::max()); },
       std::numeric_limits<TOVuint64>::max()},
      {"sint64 max", [] { return make(std::numeric_limits<long long>::max()); },
       static_cast<TOVuint64>(std::numeric_limits<long long>::max())},
      {"sint8 5", [] { return make(TOVsint8{5}); }, 5},
      {"string uint64 max", [] { return make("18446744073709551615"); },
       std::numeric_limits<TOVuint64>::max()},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.label);
    EXPECT_EQ(c.make()->getAsUInt64(), c.expected);
  }
}

TEST(CTovaValueTest, GetAsUInt64ThrowsForNegativeOrNonIntegers) {
  std::vector<FailCase> cases = nonNumericValues();
  cases.push_back({"sint64 -1", [] { return make(-1LL); }});
  cases.push_back({"string -1", [] { return make("-1"); }});
  cases.push_back({"string beyond uint64", [] { return make("18446744073709551616"); }});
  cases.push_back({"real64", [] { return make(3.0); }});
  for (const auto& c : cases) {
    SCOPED_TRACE(c.label);
    const ValuePtr value = c.make();
    EXPECT_EQ(thrownBy([&] { value->getAsUInt64(); }).getWhere(), "CTovaValue::getAsUInt64()");
  }
}

struct DoubleCase {
  const char* label;
  std::function<ValuePtr()> make;
  double expected;
};

TEST(CTovaValueTest, GetAsDoubleReadsRealsIntegersAndDecimalStrings) {
  const std::vector<DoubleCase> cases = {
      {"real64", [] { return make(2.5); }, 2.5},
      {"real32", [] { return make(0.5f); }, 0.5},
      {"sint32", [] { return make(-3); }, -3.0},
      {"uint64", [] { return make(1ULL << 40); }, 1099511627776.0},
      {"string exponent", [] { return make("2.5e3"); }, 2500.0},
      {"string negative fraction", [] { return make("-0.125"); }, -0.125},
      {"string integer", [] { return make("42"); }, 42.0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.label);
    EXPECT_DOUBLE_EQ(c.make()->getAsDouble(), c.expected);
  }
}

TEST(CTovaValueTest, GetAsDoubleThrowsForIncompleteNumbersAndOtherTypes) {
  const std::vector<FailCase> cases = {
      {"trailing text", [] { return make("2.5x"); }},
      {"empty", [] { return make(""); }},
      {"boolean", [] { return make(false); }},
      {"char16", [] { return CTovaValue::char16(u'1'); }},
      {"NULL real64", [] { return CTovaValue::nullOf(CTovaType::real64); }},
      {"array", [] { return makeArray(CimTypeCode::Real64, {make(1.0)}); }},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.label);
    const ValuePtr value = c.make();
    EXPECT_EQ(thrownBy([&] { value->getAsDouble(); }).getWhere(), "CTovaValue::getAsDouble()");
  }
}

struct BoolCase {
  const char* label;
  std::function<ValuePtr()> make;
  bool expected;
};

TEST(CTovaValueTest, GetAsBoolReadsBooleansAndTrueFalseInAnyCase) {
  const std::vector<BoolCase> cases = {
      {"true", [] { return make(true); }, true},
      {"false", [] { return make(false); }, false},
      {"string TRUE", [] { return make("TRUE"); }, true},
      {"string False", [] { return make("False"); }, false},
      {"string true", [] { return make("true"); }, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.label);
    EXPECT_EQ(c.make()->getAsBool(), c.expected);
  }
}

TEST(CTovaValueTest, GetAsBoolThrowsForOtherTextAndTypes) {
  const std::vector<FailCase> cases = {
      {"yes", [] { return make("yes"); }},
      {"truex", [] { return make("truex"); }},
      {"uint8 1", [] { return make(TOVuint8{1}); }},
      {"NULL boolean", [] { return CTovaValue::nullOf(CTovaType::boolean); }},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.label);
    const ValuePtr value = c.make();
    const TovaBaseException error = thrownBy([&] { value->getAsBool(); });
    EXPECT_EQ(error.getWhere(), "CTovaValue::getAsBool()");
    EXPECT_NE(std::string(error.getMessage().c_str()).find("as boolean"), std::string::npos);
  }
}

struct TextCase {
  const char* label;
  std::function<ValuePtr()> make;
  const char* text;
};

TEST(CTovaValueTest, GetAsStringGivesCanonicalText) {
  const std::vector<TextCase> cases = {
      {"uint16", [] { return make(TOVuint16{5}); }, "5"},
      {"sint64 min", [] { return make(std::numeric_limits<long long>::min()); },
       "-9223372036854775808"},
      {"uint64 max", [] { return make(std::numeric_limits<unsigned long long>::max()); },
       "18446744073709551615"},
      {"sint8", [] { return make(TOVsint8{-9}); }, "-9"},
      {"real64 0.1", [] { return make(0.1); }, "0.1"},
      {"real32 0.1", [] { return make(0.1f); }, "0.1"},
      {"real64 large", [] { return make(1e300); }, "1e+300"},
      {"real64 integral", [] { return make(2.0); }, "2"},
      {"true", [] { return make(true); }, "true"},
      {"false", [] { return make(false); }, "false"},
      {"string", [] { return make("Say \"hi\""); }, "Say \"hi\""},
      {"char16 ascii", [] { return CTovaValue::char16(u'A'); }, "A"},
      {"char16 latin", [] { return CTovaValue::char16(u'\u00e9'); }, "\xc3\xa9"},
      {"char16 euro", [] { return CTovaValue::char16(u'\u20ac'); }, "\xe2\x82\xac"},
      {"datetime", [] { return CTovaValue::dateTime("20261121123000.000000+000"); },
       "20261121123000.000000+000"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.label);
    const ValuePtr value = c.make();
    EXPECT_EQ(value->getAsString(), c.text);
    EXPECT_EQ(value->toString(), c.text);
  }
}

TEST(CTovaValueTest, RealTextReadsBackToTheSameValue) {
  for (double number : {0.1, 1.0 / 3.0, -2.5e-300, 123456789.123456789}) {
    const ValuePtr value = make(number);
    EXPECT_EQ(make(value->getAsString())->getAsDouble(), number);
  }
}

TEST(CTovaValueTest, GetAsStringOfNullIsTheNoBufferString) {
  EXPECT_TRUE(CTovaValue::nullOf(CTovaType::string)->getAsString().isNullBuffer());
  EXPECT_TRUE(CTovaValue::nullOf(CTovaType::uint64)->getAsString().isNullBuffer());
  EXPECT_FALSE(make("")->getAsString().isNullBuffer());
}

TEST(CTovaValueTest, GetAsStringThrowsForObjectsAndArrays) {
  const ValuePtr object = make(makeObject("C", "k", "1"));
  const ValuePtr array = makeArray(CimTypeCode::String, {make("a")});
  EXPECT_EQ(thrownBy([&] { object->getAsString(); }).getMessage(),
            "cannot read an object value as string");
  EXPECT_EQ(thrownBy([&] { array->getAsString(); }).getMessage(),
            "cannot read a string[] value as string");
}

TEST(CTovaValueTest, GetObjectGetReferenceAndGetArrayRejectOtherKinds) {
  const ValuePtr text = make("x");
  EXPECT_EQ(thrownBy([&] { text->getObject(); }).getWhere(), "CTovaValue::getObject()");
  EXPECT_EQ(thrownBy([&] { text->getReference(); }).getWhere(), "CTovaValue::getReference()");
  EXPECT_EQ(thrownBy([&] { text->getArray(); }).getWhere(), "CTovaValue::getArray()");
  const ValuePtr references = makeArray(CimTypeCode::Reference, {});
  EXPECT_THROW(references->getReference(), TovaBaseException);
  EXPECT_THROW(references->getObject(), TovaBaseException);
  EXPECT_THROW(make(makeObject("C", "k", "1"))->getArray(), TovaBaseException);
}

TEST(CTovaValueTest, ToStringOfArrayJoinsElementTexts) {
  EXPECT_EQ(makeArray(CimTypeCode::String, {make("a"), make("b c")})->toString(), "{a,b c}");
  EXPECT_EQ(makeArray(CimTypeCode::Boolean, {})->toString(), "{}");
}

TEST(CTovaValueTest, DeepCopyOfScalarIsANewEqualValue) {
  const std::vector<TextCase> cases = {
      {"uint8", [] { return make(TOVuint8{250}); }, "250"},
      {"sint64", [] { return make(-5000000000LL); }, "-5000000000"},
      {"real32", [] { return make(0.1f); }, "0.1"},
      {"char16", [] { return CTovaValue::char16(u'\u20ac'); }, "\xe2\x82\xac"},
      {"string", [] { return make("Abc"); }, "Abc"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.label);
    const ValuePtr source = c.make();
    const ValuePtr copy = CTovaValue::deepCopy(*source);
    EXPECT_NE(copy.get(), source.get());
    EXPECT_EQ(copy->toString(), c.text);
    EXPECT_EQ(copy->getType()->getName(), source->getType()->getName());
  }
}

TEST(CTovaValueTest, DeepCopyOfArrayOfReferencesSharesNothing) {
  const auto name = makeName("C_A", "Id", make("a"));
  const ValuePtr source = makeArray(CimTypeCode::Reference, {make(name), ValuePtr()});
  const ValuePtr copy = CTovaValue::deepCopy(*source);
  ASSERT_TRUE(copy->getArray());
  EXPECT_NE(copy->getArray().get(), source->getArray().get());
  ASSERT_EQ(copy->getArray()->entries(), 2u);
  const ValuePtr element = copy->getArray()->at(0);
  EXPECT_NE(element.get(), source->getArray()->at(0).get());
  EXPECT_NE(element->getReference().get(), name.get());
  EXPECT_TRUE(*element->getReference() == *name);
  EXPECT_TRUE(copy->getArray()->at(1).isNull());
}

TEST(CTovaValueTest, DeepCopyOfEmbeddedObjectCopiesTheObject) {
  const auto object = makeObject("C_Obj", "Key", "k1");
  const ValuePtr copy = CTovaValue::deepCopy(*make(object));
  ASSERT_TRUE(copy->getObject());
  EXPECT_NE(copy->getObject().get(), object.get());
  EXPECT_EQ(copy->getObject()->getClassName(), "C_Obj");
  EXPECT_EQ(copy->toString(), "c_obj.key=\"k1\"");
}

TEST(CTovaValueTest, DeepCopyOfNullKeepsTypeAndNull) {
  const ValuePtr copy = CTovaValue::deepCopy(*CTovaValue::nullOf(CTovaType::real32));
  EXPECT_TRUE(copy->isNullValue());
  EXPECT_EQ(copy->getType()->getName(), "real32");
}

// A value of another implementation: a sint64 that can only be read as
// text beyond 32 bits.
class TextOnlySint64 : public ITovaValue {
 public:
  TOVSmrPtr<ITovaType> getType() const override { return CTovaType::sint64; }
  TOVString getAsString() const override { return "-9000000000"; }
  TOVsint32 getAsInt() const override { throw TovaBaseException(); }
  TOVuint64 getAsUInt64() const override { throw TovaBaseException(); }
  TOVuint32 getAsUInt() const override { throw TovaBaseException(); }
  TOVreal64 getAsDouble() const override { return -9e9; }
  bool getAsBool() const override { throw TovaBaseException(); }
  TOVSmrPtr<ITovaObject> getObject() const override { throw TovaBaseException(); }
  TOVSmrPtr<ITovaInstanceName> getReference() const override { throw TovaBaseException(); }
  TOVSmrPtr<ValueList> getArray() const override { throw TovaBaseException(); }
  TOVString toString() const override { return getAsString(); }
};

TEST(CTovaValueTest, DeepCopyReadsOtherImplementationsThroughTheInterface) {
  const TextOnlySint64 source;
  const ValuePtr copy = CTovaValue::deepCopy(source);
  EXPECT_EQ(copy->getType()->getName(), "sint64");
  EXPECT_EQ(copy->getAsString(), "-9000000000");
  EXPECT_NE(dynamic_cast<CTovaValue*>(copy.get()), nullptr);
}

}  // namespace
