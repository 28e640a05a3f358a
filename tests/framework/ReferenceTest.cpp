#include "framework/Reference.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "framework/Exception.h"
#include "framework/MessageTable.h"
#include "framework/ReferenceType.h"
#include "host/CimType.h"
#include "host/Exception.h"
#include "host/InstanceName.h"
#include "host/Object.h"
#include "host/Types.h"
#include "host/Value.h"
#include "support/ObjectModelBuilders.h"

using kest::pf::Reference;
using kest::pf::ReferenceType;
using kest::testing::make;
using kest::testing::makeName;
namespace MessageTable = kest::pf::MessageTable;

namespace {

// Gives tests the protected constructor that takes a type and holds nothing.
class ReferenceProbe : public Reference {
 public:
  explicit ReferenceProbe(const TOVSmrPtr<ReferenceType>& type) : Reference(type) {}
};

// A reference type that says it is not one.
class NotAReferenceType : public ReferenceType {
 public:
  NotAReferenceType() : ReferenceType("CIM_Foo", true, false) {}
  bool isReference() const override { return false; }
};

// A value that answers getType(), getReference() and getObject() as told;
// its other accessors are never read by Reference.
class FakeValue : public ITovaValue {
 public:
  FakeValue(const TOVSmrPtr<ITovaType>& type, const TOVSmrPtr<ITovaInstanceName>& name,
            const TOVSmrPtr<ITovaObject>& object)
      : _type(type), _name(name), _object(object) {}

  TOVSmrPtr<ITovaType> getType() const override { return _type; }
  TOVString getAsString() const override { return TOVString(); }
  TOVsint32 getAsInt() const override { return 0; }
  TOVuint64 getAsUInt64() const override { return 0; }
  TOVuint32 getAsUInt() const override { return 0; }
  TOVreal64 getAsDouble() const override { return 0; }
  bool getAsBool() const override { return false; }
  TOVSmrPtr<ITovaObject> getObject() const override { return _object; }
  TOVSmrPtr<ITovaInstanceName> getReference() const override { return _name; }
  TOVSmrPtr<TOVValSlist<TOVSmrPtr<ITovaValue>>> getArray() const override { return nullptr; }
  TOVString toString() const override { return TOVString(); }

 private:
  TOVSmrPtr<ITovaType> _type;
  TOVSmrPtr<ITovaInstanceName> _name;
  TOVSmrPtr<ITovaObject> _object;
};

TOVSmrPtr<ITovaInstanceName> fooName() {
  return makeName("CIM_Foo", {{"Name", make("A")}, {"CreationClassName", make("CIM_Foo")}});
}

// An object of class CIM_Derived whose instance name is of class CIM_Foo.
TOVSmrPtr<ITovaObject> fooObject() {
  TOVSmrPtr<CTovaObject> object(new CTovaObject("CIM_Derived"));
  object->setInstanceName(fooName());
  object->setProperty("Name", make("A"));
  object->setProperty("Size", make(TOVuint32{42}));
  return CTovaObject::iPtr(object);
}

TOVSmrPtr<ReferenceType> referenceType(const TOVSmrPtr<ITovaType>& type) {
  return type.dynamicCast<ReferenceType>();
}

void expectAccessError(const std::function<void()>& call, const char* where,
                       const TOVString& message) {
  try {
    call();
    ADD_FAILURE() << "no error; expected one from " << where;
  } catch (const kest::pf::Exception& e) {
    EXPECT_EQ(e.getType(), "Provider");
    EXPECT_EQ(e.getWhere(), where);
    EXPECT_EQ(e.getMessage(), message);
    EXPECT_EQ(e.getCode(), 17667);
  }
}

void expectEmpty(const Reference& reference) {
  EXPECT_TRUE(reference.getType().isNull());
  EXPECT_EQ(reference.toString(), "");
  EXPECT_EQ(reference.getAsString(), "");
}

struct AccessRow {
  const char* where;
  const char* suffix;
  std::function<void(const Reference&)> call;
};

const std::vector<AccessRow>& typedAccessorRows() {
  static const std::vector<AccessRow> rows = {
      {"kest::pf::Reference::getArray()", "--non-array value as array",
       [](const Reference& r) { r.getArray(); }},
      {"kest::pf::Reference::getAsBool()", "--non-bool value as bool",
       [](const Reference& r) { r.getAsBool(); }},
      {"kest::pf::Reference::getAsDouble()", "--non-real64 value as real64",
       [](const Reference& r) { r.getAsDouble(); }},
      {"kest::pf::Reference::getAsUInt64()", "--non-uint64 value as uint64",
       [](const Reference& r) { r.getAsUInt64(); }},
      {"kest::pf::Reference::getAsUInt()", "--non-uint32 value as uint32",
       [](const Reference& r) { r.getAsUInt(); }},
      {"kest::pf::Reference::getAsInt()", "--non-sint32 value as sint32",
       [](const Reference& r) { r.getAsInt(); }},
  };
  return rows;
}

}  // namespace

TEST(ReferenceTest, FromNullNameIsEmpty) { expectEmpty(Reference(TOVSmrPtr<ITovaInstanceName>())); }

TEST(ReferenceTest, FromNullObjectIsEmpty) { expectEmpty(Reference(TOVSmrPtr<ITovaObject>())); }

TEST(ReferenceTest, FromNameSharesItAsInstanceNameReferenceToItsClass) {
  const TOVSmrPtr<ITovaInstanceName> name = fooName();
  const Reference reference(name);
  const TOVSmrPtr<ReferenceType> type = referenceType(reference.getType());
  ASSERT_FALSE(type.isNull());
  EXPECT_TRUE(type->isInstanceNameRef());
  EXPECT_EQ(type->getName(), "CIM_Foo");
  EXPECT_TRUE(reference.getReference() == name);
}

TEST(ReferenceTest, ToStringIsTheNamesCanonicalText) {
  const TOVSmrPtr<ITovaInstanceName> name = fooName();
  EXPECT_EQ(Reference(name).toString(), name->toString());
}

TEST(ReferenceTest, GetAsStringIsTheTextOfTheFirstKeyInGivenOrder) {
  const Reference nameFirst(makeName("CIM_Foo", {{"Name", make("A")}, {"Id", make("B")}}));
  const Reference idFirst(makeName("CIM_Foo", {{"Id", make("B")}, {"Name", make("A")}}));
  const Reference numeric(makeName("CIM_Foo", "Id", make(TOVuint32{7})));
  EXPECT_EQ(nameFirst.getAsString(), "A");
  EXPECT_EQ(idFirst.getAsString(), "B");
  EXPECT_EQ(numeric.getAsString(), "7");
}

TEST(ReferenceTest, GetAsStringOfKeylessNameRaisesNullPointerError) {
  const Reference reference(makeName("CIM_Foo", {}));
  EXPECT_THROW(reference.getAsString(), TOVNullPointerException);
}

TEST(ReferenceTest, GetObjectOfInstanceNameReferenceIsNull) {
  EXPECT_TRUE(Reference(fooName()).getObject().isNull());
}

TEST(ReferenceTest, FromObjectSharesItAsObjectReferenceToItsNamesClass) {
  const TOVSmrPtr<ITovaObject> object = fooObject();
  const Reference reference(object);
  const TOVSmrPtr<ReferenceType> type = referenceType(reference.getType());
  ASSERT_FALSE(type.isNull());
  EXPECT_TRUE(type->isObjectRef());
  EXPECT_EQ(type->getName(), "CIM_Foo");
  EXPECT_TRUE(reference.getObject() == object);
}

TEST(ReferenceTest, GetReferenceOfObjectReferenceIsTheObjectsOwnName) {
  const TOVSmrPtr<ITovaObject> object = fooObject();
  const Reference reference(object);
  EXPECT_TRUE(reference.getReference() == object->getInstanceName());
}

TEST(ReferenceTest, TextOfObjectReferenceComesFromTheObjectsName) {
  const TOVSmrPtr<ITovaObject> object = fooObject();
  const Reference reference(object);
  EXPECT_EQ(reference.toString(), object->getInstanceName()->toString());
  EXPECT_EQ(reference.getAsString(), "A");
}

TEST(ReferenceTest, FromObjectWithoutInstanceNameRaisesNullPointerError) {
  const TOVSmrPtr<ITovaObject> object(new CTovaObject("CIM_Foo"));
  EXPECT_THROW(Reference{object}, TOVNullPointerException);
}

TEST(ReferenceTest, GetReferenceAndGetObjectOfEmptyReferenceRaiseNullPointerError) {
  const Reference empty(TOVSmrPtr<ITovaInstanceName>{});
  EXPECT_THROW(empty.getReference(), TOVNullPointerException);
  EXPECT_THROW(empty.getObject(), TOVNullPointerException);
}

TEST(ReferenceTest, TypedAccessorsRaiseAccessErrorWhateverIsHeld) {
  const Reference nameReference(fooName());
  const Reference objectReference(fooObject());
  const Reference empty(TOVSmrPtr<ITovaObject>{});
  for (const Reference* reference : {&nameReference, &objectReference, &empty}) {
    for (const AccessRow& row : typedAccessorRows()) {
      SCOPED_TRACE(row.where);
      expectAccessError([&] { row.call(*reference); }, row.where,
                        MessageTable::E_PFPROVIDER_ERROR_ACCESS_VALUE + row.suffix);
    }
  }
}

TEST(ReferenceTest, GetReferenceAndGetObjectOfNonReferenceTypeRaiseAccessError) {
  const ReferenceProbe reference(TOVSmrPtr<ReferenceType>(new NotAReferenceType()));
  const std::vector<AccessRow> rows = {
      {"kest::pf::Reference::getReference()", "--non-reference value as reference",
       [](const Reference& r) { r.getReference(); }},
      {"kest::pf::Reference::getObject()", "--non-object value as object",
       [](const Reference& r) { r.getObject(); }},
  };
  for (const AccessRow& row : rows) {
    SCOPED_TRACE(row.where);
    expectAccessError([&] { row.call(reference); }, row.where,
                      MessageTable::E_PFPROVIDER_ERROR_ACCESS_VALUE + row.suffix);
  }
}

TEST(ReferenceTest, NonReferenceTypeHasNoTextAndRaisesAccessErrorOnReadAndCopy) {
  const ReferenceProbe reference(TOVSmrPtr<ReferenceType>(new NotAReferenceType()));
  EXPECT_EQ(reference.toString(), "");
  expectAccessError([&] { reference.getAsString(); }, "kest::pf::Reference::Reference",
                    MessageTable::E_PFPROVIDER_ERROR_ACCESS_VALUE);
  expectAccessError([&] { const Reference copy(static_cast<const Reference&>(reference)); },
                    "kest::pf::Reference::Reference",
                    MessageTable::E_PFPROVIDER_ERROR_ACCESS_VALUE);
}

TEST(ReferenceTest, TypeOfNeitherKindHoldsNothing) {
  const TOVSmrPtr<ReferenceType> type(new ReferenceType("CIM_Foo", false, false));
  const ReferenceProbe reference(type);
  EXPECT_TRUE(reference.getType() == type);
  EXPECT_EQ(reference.toString(), "");
  EXPECT_TRUE(reference.getReference().isNull());
  EXPECT_TRUE(reference.getObject().isNull());
  expectAccessError([&] { reference.getAsString(); }, "kest::pf::Reference::Reference",
                    MessageTable::E_PFPROVIDER_ERROR_ACCESS_VALUE);
}

TEST(ReferenceTest, CopyOfNeitherKindCopiesTheTypeAndHoldsNothing) {
  const TOVSmrPtr<ReferenceType> type(new ReferenceType("CIM_Foo", false, false));
  const ReferenceProbe reference(type);
  const Reference copy(static_cast<const Reference&>(reference));
  const TOVSmrPtr<ReferenceType> copiedType = referenceType(copy.getType());
  ASSERT_FALSE(copiedType.isNull());
  EXPECT_FALSE(copiedType == type);
  EXPECT_EQ(copiedType->getName(), "CIM_Foo");
  EXPECT_FALSE(copiedType->isInstanceNameRef());
  EXPECT_FALSE(copiedType->isObjectRef());
  EXPECT_TRUE(copy.getReference().isNull());
  expectAccessError([&] { copy.getAsString(); }, "kest::pf::Reference::Reference",
                    MessageTable::E_PFPROVIDER_ERROR_ACCESS_VALUE);
}

TEST(ReferenceTest, InstanceNameTypeWithoutNameReadsNullNameAndFailsOnItsText) {
  const ReferenceProbe reference(
      TOVSmrPtr<ReferenceType>(new ReferenceType("CIM_Foo", true, false)));
  const Reference copy(static_cast<const Reference&>(reference));
  for (const Reference* r : {static_cast<const Reference*>(&reference), &copy}) {
    EXPECT_TRUE(referenceType(r->getType())->isInstanceNameRef());
    EXPECT_TRUE(r->getReference().isNull());
    EXPECT_TRUE(r->getObject().isNull());
    EXPECT_THROW(r->toString(), TOVNullPointerException);
    EXPECT_THROW(r->getAsString(), TOVNullPointerException);
  }
}

TEST(ReferenceTest, ObjectTypeWithoutObjectReadsNullObjectAndFailsOnItsName) {
  const ReferenceProbe reference(
      TOVSmrPtr<ReferenceType>(new ReferenceType("CIM_Foo", false, true)));
  const Reference copy(static_cast<const Reference&>(reference));
  for (const Reference* r : {static_cast<const Reference*>(&reference), &copy}) {
    EXPECT_TRUE(referenceType(r->getType())->isObjectRef());
    EXPECT_TRUE(r->getObject().isNull());
    EXPECT_THROW(r->getReference(), TOVNullPointerException);
    EXPECT_THROW(r->toString(), TOVNullPointerException);
    EXPECT_THROW(r->getAsString(), TOVNullPointerException);
  }
}

TEST(ReferenceTest, ProtectedConstructorWithNullTypeIsEmpty) {
  expectEmpty(ReferenceProbe(TOVSmrPtr<ReferenceType>()));
}

TEST(ReferenceTest, CopyOfObjectReferenceIsAnIndependentDeepCopy) {
  const TOVSmrPtr<ITovaObject> object = fooObject();
  auto source = std::make_unique<Reference>(object);
  const Reference copy(*source);
  const TOVSmrPtr<ITovaType> sourceType = source->getType();
  source.reset();

  const TOVSmrPtr<ITovaObject> copied = copy.getObject();
  ASSERT_FALSE(copied.isNull());
  EXPECT_FALSE(copied == object);
  EXPECT_FALSE(copied.dynamicCast<CTovaClientObject>().isNull());
  EXPECT_EQ(copied->getClassName(), "CIM_Derived");
  EXPECT_FALSE(copied->getInstanceName() == object->getInstanceName());
  EXPECT_EQ(copied->getInstanceName()->toString(), object->getInstanceName()->toString());
  EXPECT_FALSE(copied->getPropertyByName("Size", true)->getValue() ==
               object->getPropertyByName("Size", true)->getValue());
  EXPECT_EQ(copied->getPropertyByName("Size", true)->getValue()->getAsUInt(), 42u);

  const TOVSmrPtr<ReferenceType> type = referenceType(copy.getType());
  ASSERT_FALSE(type.isNull());
  EXPECT_FALSE(copy.getType() == sourceType);
  EXPECT_TRUE(type->isObjectRef());
  EXPECT_EQ(type->getName(), "CIM_Foo");
}

TEST(ReferenceTest, CopyOfNameReferenceSharesNothingWithTheSource) {
  const TOVSmrPtr<ITovaInstanceName> name = fooName();
  auto source = std::make_unique<Reference>(name);
  const Reference copy(*source);
  const TOVSmrPtr<ITovaType> sourceType = source->getType();
  source.reset();

  const TOVSmrPtr<ITovaInstanceName> copied = copy.getReference();
  ASSERT_FALSE(copied.isNull());
  EXPECT_FALSE(copied == name);
  EXPECT_EQ(copied->toString(), name->toString());
  EXPECT_FALSE(copied->getKeyProperties() == name->getKeyProperties());
  EXPECT_FALSE(copied->getKeyPropertyAt(0) == name->getKeyPropertyAt(0));
  EXPECT_FALSE(copy.getType() == sourceType);
  EXPECT_TRUE(referenceType(copy.getType())->isInstanceNameRef());
  EXPECT_EQ(copy.getAsString(), "A");
}

TEST(ReferenceTest, CopyOfEmptyReferenceIsEmpty) {
  const Reference empty(TOVSmrPtr<ITovaInstanceName>{});
  expectEmpty(Reference(empty));
}

TEST(ReferenceTest, FromHostReferenceValueCopiesTheName) {
  const TOVSmrPtr<ITovaInstanceName> name = fooName();
  const CTovaValue value(name);
  const Reference reference(static_cast<const ITovaValue&>(value));
  const TOVSmrPtr<ReferenceType> type = referenceType(reference.getType());
  ASSERT_FALSE(type.isNull());
  EXPECT_TRUE(type->isInstanceNameRef());
  EXPECT_EQ(type->getName(), "CIM_Foo");
  const TOVSmrPtr<ITovaInstanceName> held = reference.getReference();
  ASSERT_FALSE(held.isNull());
  EXPECT_FALSE(held == name);
  EXPECT_EQ(held->toString(), name->toString());
}

TEST(ReferenceTest, FromValueKeepsTheTypesClassNameOverTheNames) {
  const FakeValue value(CTovaType::reference("CIM_Base"), fooName(), nullptr);
  const Reference reference(static_cast<const ITovaValue&>(value));
  const TOVSmrPtr<ReferenceType> type = referenceType(reference.getType());
  ASSERT_FALSE(type.isNull());
  EXPECT_TRUE(type->isInstanceNameRef());
  EXPECT_EQ(type->getName(), "CIM_Base");
  EXPECT_EQ(reference.getReference()->getClassname(), "CIM_Foo");
}

TEST(ReferenceTest, FromEmbeddedObjectValueDeepCopiesTheObject) {
  const TOVSmrPtr<ITovaObject> object = fooObject();
  const CTovaValue value(object);
  const Reference reference(static_cast<const ITovaValue&>(value));
  const TOVSmrPtr<ReferenceType> type = referenceType(reference.getType());
  ASSERT_FALSE(type.isNull());
  EXPECT_TRUE(type->isObjectRef());
  EXPECT_EQ(type->getName(), value.getType()->getName());
  const TOVSmrPtr<ITovaObject> held = reference.getObject();
  ASSERT_FALSE(held.isNull());
  EXPECT_FALSE(held == object);
  EXPECT_FALSE(held.dynamicCast<CTovaClientObject>().isNull());
  EXPECT_EQ(held->getInstanceName()->toString(), object->getInstanceName()->toString());
}

TEST(ReferenceTest, FromAtomicOrArrayValueRaisesAccessError) {
  const TOVSmrPtr<TOVValSlist<TOVSmrPtr<ITovaValue>>> elements(
      new TOVValSlist<TOVSmrPtr<ITovaValue>>());
  elements->append(TOVSmrPtr<ITovaValue>(new CTovaValue(fooName())));
  const std::vector<TOVSmrPtr<ITovaValue>> values = {
      make(TOVuint32{7}),
      make("CIM_Foo"),
      TOVSmrPtr<ITovaValue>(
          new CTovaValue(CTovaType::arrayOf(CimTypeCode::Reference, "CIM_Foo"), elements)),
  };
  for (const TOVSmrPtr<ITovaValue>& value : values) {
    SCOPED_TRACE(value->getType()->getName().c_str());
    expectAccessError([&] { const Reference reference(*value); }, "kest::pf::Reference::Reference",
                      MessageTable::E_PFPROVIDER_ERROR_ACCESS_VALUE);
  }
}

TEST(ReferenceTest, FromValueWithoutTypeIsEmpty) {
  const FakeValue value(nullptr, fooName(), fooObject());
  expectEmpty(Reference(static_cast<const ITovaValue&>(value)));
}

TEST(ReferenceTest, FromValueHoldingNoNameOrObjectIsEmpty) {
  const CTovaValue nullName{TOVSmrPtr<ITovaInstanceName>()};
  const CTovaValue nullObject{TOVSmrPtr<ITovaObject>()};
  expectEmpty(Reference(static_cast<const ITovaValue&>(nullName)));
  expectEmpty(Reference(static_cast<const ITovaValue&>(nullObject)));
}

TEST(ReferenceTest, ObjectReferenceReadAsAnyValueGivesInstanceNameReferenceToACopyOfItsName) {
  const TOVSmrPtr<ITovaObject> object = fooObject();
  const Reference source(object);
  const Reference reference(static_cast<const ITovaValue&>(source));
  EXPECT_TRUE(referenceType(reference.getType())->isInstanceNameRef());
  EXPECT_TRUE(reference.getObject().isNull());
  const TOVSmrPtr<ITovaInstanceName> held = reference.getReference();
  ASSERT_FALSE(held.isNull());
  EXPECT_FALSE(held == object->getInstanceName());
  EXPECT_EQ(held->toString(), object->getInstanceName()->toString());
}
