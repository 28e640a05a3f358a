#include "host/Object.h"

#include <gtest/gtest.h>

#include <vector>

#include "host/ActualParameter.h"
#include "host/Exception.h"
#include "support/ObjectModelBuilders.h"

using namespace kest::testing;

namespace {

using ValuePtr = TOVSmrPtr<ITovaValue>;
using NamePtr = TOVSmrPtr<ITovaInstanceName>;
using PropertyPtr = TOVSmrPtr<ITovaProperty>;

// The least an object must provide; every other member is the interface's
// default.
class MinimalObject : public ITovaObject {
 public:
  explicit MinimalObject(NamePtr name = {}) : _name(std::move(name)) {}
  const TOVString& getClassName() const override { return _className; }
  NamePtr getInstanceName() const override { return _name; }
  unsigned long getNumberOfProperties(bool) const override { return 0; }
  PropertyPtr getPropertyAt(unsigned long, bool) const override { return {}; }
  PropertyPtr getPropertyByName(const TOVString&, bool) const override { return {}; }

 private:
  TOVString _className = "Minimal";
  NamePtr _name;
};

// An object whose full property list (all == true) differs from its local
// one and holds a gap (a null entry), as a class-backed object might.
class LayeredObject : public ITovaObject {
 public:
  LayeredObject() {
    _all.push_back(PropertyPtr(new CTovaProperty("Inherited", make("base"), true)));
    _all.push_back(PropertyPtr());
    _all.push_back(
        PropertyPtr(new CTovaProperty("Local", CTovaType::uint64, make(TOVuint8{4}), false)));
  }
  const TOVString& getClassName() const override { return _className; }
  NamePtr getInstanceName() const override { return _name; }
  unsigned long getNumberOfProperties(bool all) const override {
    return all ? static_cast<unsigned long>(_all.size()) : 1;
  }
  PropertyPtr getPropertyAt(unsigned long index, bool all) const override {
    if (!all) return index == 0 ? _all[2] : PropertyPtr();
    return index < _all.size() ? _all[index] : PropertyPtr();
  }
  PropertyPtr getPropertyByName(const TOVString&, bool) const override { return {}; }

  TOVString _className = "Layered";
  NamePtr _name;
  std::vector<PropertyPtr> _all;
};

// ---------------------------------------------------------------------------

TEST(ITovaObjectTest, BaseClassesDefaultToAnEmptyList) {
  const MinimalObject object;
  const auto classes = object.getBaseClasses();
  ASSERT_TRUE(classes);
  EXPECT_TRUE(classes->isEmpty());
}

TEST(ITovaObjectTest, ExecuteMethodDefaultThrowsNotSupported) {
  MinimalObject object;
  ITovaObject::ParameterList in(new TOVValSlist<TOVParameter>());
  ITovaObject::ParameterList out;
  try {
    object.executeMethod("Reset", in, out);
    ADD_FAILURE() << "executeMethod returned";
  } catch (const TovaBaseException& error) {
    EXPECT_EQ(error.getCode(), 7);
    EXPECT_EQ(error.getWhere(), "ITovaObject::executeMethod");
    EXPECT_EQ(error.getMessage(), "method calls are not supported by this object");
    EXPECT_TRUE(error.getType().isNull());
  }
  EXPECT_TRUE(out.isNull());
}

TEST(ITovaObjectTest, ObserverRegistrationDefaultsToFalse) {
  MinimalObject object;
  EXPECT_FALSE(object.registerObserver({}, ITovaIndication::IndicationChange, {}));
  EXPECT_FALSE(object.deregisterObserver({}, ITovaIndication::IndicationChange, {}));
}

struct NameSpaceCase {
  const char* label;
  TOVSmrPtr<ITovaObject> object;
  const char* nameSpace;
};

TEST(ITovaObjectTest, LocalNameSpaceIsTheInstanceNamePathNameSpace) {
  const std::vector<NameSpaceCase> cases = {
      {"no object", TOVSmrPtr<ITovaObject>(), ""},
      {"no instance name", TOVSmrPtr<ITovaObject>(new MinimalObject()), ""},
      {"name without path", TOVSmrPtr<ITovaObject>(new MinimalObject(makeName("C", "k", make(1)))),
       ""},
      {"path with namespace",
       TOVSmrPtr<ITovaObject>(new MinimalObject(
           makeName("C", "k", make(1),
                    TOVSmrPtr<ITovaNameSpacePath>(new CTovaNameSpacePath("h", "root/interop"))))),
       "root/interop"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.label);
    EXPECT_EQ(ITovaObject::getLocalNameSpace(c.object), c.nameSpace);
  }
}

// ---------------------------------------------------------------------------

TEST(CTovaObjectTest, StartsWithClassNameAndNothingElse) {
  const CTovaObject object("CIM_Fan");
  EXPECT_EQ(object.getClassName(), "CIM_Fan");
  EXPECT_TRUE(object.getInstanceName().isNull());
  EXPECT_EQ(object.getNumberOfProperties(true), 0u);
  EXPECT_TRUE(object.getPropertyAt(0, true).isNull());
}

TEST(CTovaObjectTest, PropertiesKeepTheOrderOfFirstSetting) {
  CTovaObject object("C");
  object.setProperty("B", make(1));
  object.setProperty("A", make(2));
  object.setProperty("C", make(3));
  ASSERT_EQ(object.getNumberOfProperties(false), 3u);
  EXPECT_EQ(object.getPropertyAt(0, false)->getName(), "B");
  EXPECT_EQ(object.getPropertyAt(1, false)->getName(), "A");
  EXPECT_EQ(object.getPropertyAt(2, false)->getName(), "C");
  EXPECT_TRUE(object.getPropertyAt(3, false).isNull());
}

TEST(CTovaObjectTest, SetPropertyReplacesASameNamedPropertyInPlaceIgnoringCase) {
  CTovaObject object("C");
  object.setProperty("First", make(1));
  object.setProperty("Speed", make(2));
  object.setProperty("Last", make(3));
  const PropertyPtr replacement(new CTovaProperty("SPEED", make(20), true));
  object.setProperty(replacement);
  ASSERT_EQ(object.getNumberOfProperties(true), 3u);
  EXPECT_TRUE(object.getPropertyAt(1, true) == replacement);
  EXPECT_EQ(object.getPropertyByName("speed", true)->getValue()->getAsInt(), 20);
}

TEST(CTovaObjectTest, SetPropertyByNameAndValueMakesALocalProperty) {
  CTovaObject object("C");
  const ValuePtr value = make("x");
  object.setProperty("Name", value);
  const PropertyPtr property = object.getPropertyByName("Name", false);
  ASSERT_TRUE(property);
  EXPECT_TRUE(property->getValue() == value);
  EXPECT_FALSE(property->isPropagated());
  EXPECT_TRUE(property->getType() == CTovaType::string);
}

TEST(CTovaObjectTest, SetPropertyRejectsANullProperty) {
  CTovaObject object("C");
  EXPECT_THROW(object.setProperty(PropertyPtr()), TOVNullPointerException);
}

TEST(CTovaObjectTest, GetPropertyByNameIgnoresCase) {
  CTovaObject object("C");
  object.setProperty("ElementName", make("e"));
  for (const char* name : {"ElementName", "elementname", "ELEMENTNAME", "eLeMeNtNaMe"}) {
    SCOPED_TRACE(name);
    ASSERT_TRUE(object.getPropertyByName(name, true));
    EXPECT_EQ(object.getPropertyByName(name, true)->getName(), "ElementName");
  }
  EXPECT_TRUE(object.getPropertyByName("Element", true).isNull());
}

TEST(CTovaObjectTest, AllFlagMakesNoDifferenceAsEveryPropertyIsLocal) {
  CTovaObject object("C");
  object.setProperty(PropertyPtr(new CTovaProperty("Inherited", make(1), true)));
  object.setProperty("Own", make(2));
  EXPECT_EQ(object.getNumberOfProperties(true), object.getNumberOfProperties(false));
  for (unsigned long i = 0; i < 2; ++i) {
    EXPECT_TRUE(object.getPropertyAt(i, true) == object.getPropertyAt(i, false));
  }
  EXPECT_TRUE(object.getPropertyByName("inherited", false) ==
              object.getPropertyByName("inherited", true));
}

TEST(CTovaObjectTest, RemovePropertyReportsWhetherItExisted) {
  CTovaObject object("C");
  object.setProperty("A", make(1));
  object.setProperty("B", make(2));
  EXPECT_TRUE(object.removeProperty("a"));
  EXPECT_FALSE(object.removeProperty("a"));
  ASSERT_EQ(object.getNumberOfProperties(true), 1u);
  EXPECT_EQ(object.getPropertyAt(0, true)->getName(), "B");
}

TEST(CTovaObjectTest, InstanceNameIsSharedAsSet) {
  CTovaObject object("C");
  const NamePtr name = makeName("C", "k", make(1));
  object.setInstanceName(name);
  EXPECT_TRUE(object.getInstanceName() == name);
}

TEST(CTovaObjectTest, IPtrSharesTheObjectAndItsCount) {
  const TOVSmrPtr<CTovaObject> object(new CTovaObject("C"));
  EXPECT_EQ(object.useCount(), 1);
  const TOVSmrPtr<ITovaObject> view = CTovaObject::iPtr(object);
  EXPECT_EQ(object.useCount(), 2);
  EXPECT_EQ(view.get(), static_cast<ITovaObject*>(object.get()));
}

// ---------------------------------------------------------------------------

TEST(CTovaClientObjectTest, ReadsEveryPropertyThroughTheVirtualAccessors) {
  LayeredObject source;
  const CTovaClientObject copy(source, false);
  EXPECT_EQ(copy.getClassName(), "Layered");
  ASSERT_EQ(copy.getNumberOfProperties(true), 2u);
  EXPECT_EQ(copy.getPropertyAt(0, true)->getName(), "Inherited");
  EXPECT_TRUE(copy.getPropertyAt(0, true)->isPropagated());
  EXPECT_EQ(copy.getPropertyAt(1, true)->getName(), "Local");
  EXPECT_TRUE(copy.getPropertyAt(1, true)->getType() == CTovaType::uint64);
  EXPECT_FALSE(copy.getPropertyAt(1, true)->isPropagated());
}

TEST(CTovaClientObjectTest, ShallowCopySharesValuesButNotProperties) {
  LayeredObject source;
  const CTovaClientObject copy(source, false);
  EXPECT_NE(copy.getPropertyAt(0, true).get(), source._all[0].get());
  EXPECT_TRUE(copy.getPropertyAt(0, true)->getValue() == source._all[0]->getValue());
  EXPECT_TRUE(copy.getPropertyAt(1, true)->getValue() == source._all[2]->getValue());
}

TEST(CTovaClientObjectTest, InstanceNameIsCopiedDeeplyAndNullStaysNull) {
  LayeredObject source;
  EXPECT_TRUE(CTovaClientObject(source, false).getInstanceName().isNull());
  source._name = makeName("Layered", "Id", make("l1"),
                          TOVSmrPtr<ITovaNameSpacePath>(new CTovaNameSpacePath("", "ns")));
  for (bool deep : {false, true}) {
    SCOPED_TRACE(deep);
    const CTovaClientObject copy(source, deep);
    ASSERT_TRUE(copy.getInstanceName());
    EXPECT_NE(copy.getInstanceName().get(), source._name.get());
    EXPECT_TRUE(*copy.getInstanceName() == *source._name);
    EXPECT_NE(copy.getInstanceName()->getKeyPropertyAt(0).get(),
              source._name->getKeyPropertyAt(0).get());
  }
}

TEST(CTovaClientObjectTest, DeepCopySharesNothingWithTheSource) {
  TOVSmrPtr<CTovaObject> inner(new CTovaObject("Inner"));
  inner->setInstanceName(makeName("Inner", "Id", make(1)));
  inner->setProperty("Id", make(1));
  const NamePtr referenced = makeName("Target", "Id", make("t"));
  TOVSmrPtr<TOVValSlist<ValuePtr>> elements(new TOVValSlist<ValuePtr>());
  elements->append(make("a"));
  elements->append(make("b"));

  CTovaObject source("Outer");
  source.setProperty("Text", make("hello"));
  source.setProperty("Embedded", make(CTovaObject::iPtr(inner)));
  source.setProperty("Ref", make(referenced));
  source.setProperty("List",
                     ValuePtr(new CTovaValue(CTovaType::arrayOf(CimTypeCode::String), elements)));
  source.setProperty("Missing", ValuePtr());

  const CTovaClientObject copy(source, true);
  ASSERT_EQ(copy.getNumberOfProperties(true), 5u);
  for (unsigned long i = 0; i < 4; ++i) {
    SCOPED_TRACE(i);
    const auto mine = copy.getPropertyAt(i, true);
    const auto theirs = source.getPropertyAt(i, true);
    EXPECT_EQ(mine->getName(), theirs->getName());
    EXPECT_NE(mine.get(), theirs.get());
    EXPECT_NE(mine->getValue().get(), theirs->getValue().get());
    EXPECT_EQ(mine->getValue()->toString(), theirs->getValue()->toString());
  }
  EXPECT_TRUE(copy.getPropertyByName("Missing", true)->getValue().isNull());

  const auto copiedInner = copy.getPropertyByName("embedded", true)->getValue()->getObject();
  EXPECT_NE(copiedInner.get(), inner.get());
  EXPECT_NE(copiedInner->getPropertyAt(0, true).get(), inner->getPropertyAt(0, true).get());
  EXPECT_NE(copiedInner->getPropertyAt(0, true)->getValue().get(),
            inner->getPropertyAt(0, true)->getValue().get());

  const auto copiedName = copy.getPropertyByName("ref", true)->getValue()->getReference();
  EXPECT_NE(copiedName.get(), referenced.get());
  EXPECT_TRUE(*copiedName == *referenced);

  const auto copiedList = copy.getPropertyByName("list", true)->getValue()->getArray();
  EXPECT_NE(copiedList.get(), elements.get());
  ASSERT_EQ(copiedList->entries(), 2u);
  EXPECT_NE(copiedList->at(0).get(), elements->at(0).get());
  EXPECT_EQ(copiedList->at(1)->getAsString(), "b");
}

}  // namespace
