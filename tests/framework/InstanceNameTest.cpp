#include "framework/InstanceName.h"

#include <gtest/gtest.h>

#include "host/Exception.h"
#include "host/InstanceName.h"
#include "host/Types.h"
#include "support/ObjectModelBuilders.h"

using kest::pf::InstanceName;
using kest::testing::Key;
using kest::testing::keyList;
using kest::testing::make;
using kest::testing::makeName;
using kest::testing::makePath;

namespace {

// Exposes what provider subclasses may use: the key and _buildString().
class InstanceNameProbe : public InstanceName {
 public:
  using InstanceName::_buildString;
  using InstanceName::InstanceName;
  const TOVString& key() const { return _key; }
};

InstanceNameProbe fooNamed(const char* name) {
  return InstanceNameProbe("CIM_Foo", keyList({{"Name", make(name)}}), nullptr);
}

}  // namespace

TEST(InstanceNameTest, ConstructorStoresClassNamePathAndKeyList) {
  const TOVPropertyList keys = keyList({{"Name", make("A")}});
  const TOVSmrPtr<ITovaNameSpacePath> path = makePath("server", "root/cimv2");
  const InstanceNameProbe name("CIM_Foo", keys, path);
  EXPECT_EQ(name.getClassname(), "CIM_Foo");
  EXPECT_TRUE(name.getNameSpacePath() == path);
  EXPECT_TRUE(name.getKeyProperties() == keys);
  EXPECT_EQ(name.getNumberOfKeyProperties(), 1u);
}

TEST(InstanceNameTest, FreshNameKeyIsClassNameAndDotWithCaseKept) {
  const InstanceNameProbe name("CIM_Foo", keyList({{"Name", make("A")}}), nullptr);
  EXPECT_EQ(name.key(), "CIM_Foo.");
}

TEST(InstanceNameTest, NameSpacePathMayBeNullAndIsReplacedBySetNameSpacePath) {
  InstanceNameProbe name("CIM_Foo", keyList({}), nullptr);
  EXPECT_TRUE(name.getNameSpacePath().isNull());
  const TOVSmrPtr<ITovaNameSpacePath> path = makePath("server", "root/cimv2");
  name.setNameSpacePath(path);
  EXPECT_TRUE(name.getNameSpacePath() == path);
  name.setNameSpacePath(nullptr);
  EXPECT_TRUE(name.getNameSpacePath().isNull());
}

TEST(InstanceNameTest, KeyPropertyAtReturnsEntriesInGivenOrderAndNullPastTheEnd) {
  const TOVPropertyList keys = keyList({{"Name", make("A")}, {"CreationClassName", make("X")}});
  const InstanceNameProbe name("CIM_Foo", keys, nullptr);
  EXPECT_TRUE(name.getKeyPropertyAt(0) == keys->at(0));
  EXPECT_TRUE(name.getKeyPropertyAt(1) == keys->at(1));
  EXPECT_TRUE(name.getKeyPropertyAt(2).isNull());
  EXPECT_TRUE(name.getKeyPropertyAt(1000).isNull());
}

TEST(InstanceNameTest, KeyListIsSharedSoLaterAppendsAreSeen) {
  const TOVPropertyList keys = keyList({{"Name", make("A")}});
  const InstanceNameProbe name("CIM_Foo", keys, nullptr);
  const TOVSmrPtr<ITovaProperty> added(new CTovaProperty("Extra", make("B"), false));
  keys->append(added);
  EXPECT_EQ(name.getNumberOfKeyProperties(), 2u);
  EXPECT_TRUE(name.getKeyPropertyAt(1) == added);
}

TEST(InstanceNameTest, NullKeyListRaisesNullPointerErrorWhenCounted) {
  const InstanceNameProbe name("CIM_Foo", nullptr, nullptr);
  EXPECT_THROW(name.getNumberOfKeyProperties(), TOVNullPointerException);
  EXPECT_TRUE(name.getKeyProperties().isNull());
}

TEST(InstanceNameTest, NamesOfOneClassWithDifferentKeyValuesAreEqualWhileKeysAreUnbuilt) {
  const InstanceNameProbe a = fooNamed("A");
  const InstanceNameProbe b = fooNamed("B");
  const InstanceName& left = a;
  const InstanceName& right = b;
  EXPECT_TRUE(left == right);
}

TEST(InstanceNameTest, KeysAreComparedIgnoringCase) {
  const InstanceNameProbe upper("CIM_FOO", keyList({}), nullptr);
  const InstanceNameProbe lower("cim_foo", keyList({}), nullptr);
  const InstanceName& left = upper;
  const InstanceName& right = lower;
  EXPECT_TRUE(left == right);
}

TEST(InstanceNameTest, NamesOfDifferentClassesAreUnequal) {
  const InstanceNameProbe foo("CIM_Foo", keyList({}), nullptr);
  const InstanceNameProbe bar("CIM_Bar", keyList({}), nullptr);
  const InstanceName& left = foo;
  const InstanceName& right = bar;
  EXPECT_FALSE(left == right);
}

TEST(InstanceNameTest, BuiltKeysTellDifferentKeyValuesApart) {
  InstanceNameProbe a = fooNamed("A");
  InstanceNameProbe otherA = fooNamed("a");
  InstanceNameProbe b = fooNamed("B");
  a._buildString();
  otherA._buildString();
  b._buildString();
  const InstanceName& left = a;
  EXPECT_FALSE(left == static_cast<const InstanceName&>(b));
  EXPECT_TRUE(left == static_cast<const InstanceName&>(otherA));
}

TEST(InstanceNameTest, ComparisonWithAnyInstanceNameInterfaceIsFalse) {
  const InstanceNameProbe probe = fooNamed("A");
  const InstanceName& name = probe;
  const TOVSmrPtr<ITovaInstanceName> host = makeName("CIM_Foo", "Name", make("A"));
  ASSERT_EQ(host->toString(), name.toString());

  const ITovaInstanceName& sameTextHostName = *host;
  const ITovaInstanceName& itself = name;
  EXPECT_FALSE(name == sameTextHostName);
  EXPECT_FALSE(name == itself);
}

TEST(InstanceNameTest, MixedComparisonIsUnequalInEitherOrderAndWithNotEqual) {
  const InstanceNameProbe probe = fooNamed("A");
  const InstanceName& name = probe;
  const TOVSmrPtr<ITovaInstanceName> host = makeName("CIM_Foo", "Name", make("A"));
  const ITovaInstanceName& sameText = *host;
  ASSERT_EQ(sameText.toString(), name.toString());

  EXPECT_FALSE(sameText == name);
  EXPECT_TRUE(name != sameText);
  EXPECT_TRUE(sameText != name);
}

TEST(InstanceNameTest, NotEqualBetweenInstanceNamesFollowsTheKeys) {
  const InstanceNameProbe a = fooNamed("A");
  const InstanceNameProbe b = fooNamed("B");
  const InstanceNameProbe bar("CIM_Bar", keyList({}), nullptr);
  const InstanceName& left = a;
  EXPECT_FALSE(left != static_cast<const InstanceName&>(b));
  EXPECT_TRUE(left != static_cast<const InstanceName&>(bar));
}

TEST(InstanceNameTest, InterfaceReferencesCompareByCanonicalText) {
  const InstanceNameProbe probe = fooNamed("A");
  const ITovaInstanceName& name = probe;
  const TOVSmrPtr<ITovaInstanceName> sameText = makeName("cim_foo", "name", make("A"));
  const TOVSmrPtr<ITovaInstanceName> otherText = makeName("CIM_Foo", "Name", make("B"));
  const ITovaInstanceName& same = *sameText;
  const ITovaInstanceName& other = *otherText;
  EXPECT_TRUE(name == same);
  EXPECT_FALSE(name == other);
}

TEST(InstanceNameTest, BuildStringSortsKeysByName) {
  InstanceNameProbe name("CIM_Foo", keyList({{"B", make("2")}, {"A", make("1")}, {"C", make("3")}}),
                         nullptr);
  name._buildString();
  EXPECT_EQ(name.key(), "cim_foo.a=\"1\",b=\"2\",c=\"3\",");
}

TEST(InstanceNameTest, BuildStringSortsNamesIgnoringCase) {
  InstanceNameProbe name("CIM_Foo", keyList({{"b", make("2")}, {"A", make("1")}}), nullptr);
  name._buildString();
  EXPECT_EQ(name.key(), "cim_foo.a=\"1\",b=\"2\",");
}

TEST(InstanceNameTest, BuildStringKeepsGivenOrderOfEqualNames) {
  InstanceNameProbe xFirst("CIM_Foo", keyList({{"Name", make("x")}, {"NAME", make("y")}}), nullptr);
  InstanceNameProbe yFirst("CIM_Foo", keyList({{"NAME", make("y")}, {"Name", make("x")}}), nullptr);
  xFirst._buildString();
  yFirst._buildString();
  EXPECT_EQ(xFirst.key(), "cim_foo.name=\"x\",name=\"y\",");
  EXPECT_EQ(yFirst.key(), "cim_foo.name=\"y\",name=\"x\",");
}

TEST(InstanceNameTest, BuildStringOfEmptyKeyListLowerCasesClassAndDot) {
  InstanceNameProbe name("CIM_Foo", keyList({}), nullptr);
  name._buildString();
  EXPECT_EQ(name.key(), "cim_foo.");
}

TEST(InstanceNameTest, BuildStringOfNullKeyListLeavesKeyUntouched) {
  InstanceNameProbe name("CIM_Foo", nullptr, nullptr);
  name._buildString();
  EXPECT_EQ(name.key(), "CIM_Foo.");
}

TEST(InstanceNameTest, BuildStringGivesLowerCasedQuotedKeysEachEndingInComma) {
  InstanceNameProbe name(
      "CIM_Foo", keyList({{"Name", make("A")}, {"CreationClassName", make("CIM_Foo")}}), nullptr);
  name._buildString();
  EXPECT_EQ(name.key(), "cim_foo.creationclassname=\"cim_foo\",name=\"a\",");
}

TEST(InstanceNameTest, BuildStringWritesValuesByTheirTextUnescaped) {
  InstanceNameProbe name(
      "CIM_Foo", keyList({{"Id", make(TOVuint32{7})}, {"Name", make("say \"hi\"\\")}}), nullptr);
  name._buildString();
  EXPECT_EQ(name.key(), "cim_foo.id=\"7\",name=\"say \"hi\"\\\",");
}

TEST(InstanceNameTest, HostTextFormsAreTheCanonicalTextNotTheKey) {
  InstanceNameProbe name("CIM_Foo",
                         keyList({{"Name", make("A")}, {"CreationClassName", make("CIM_Foo")}}),
                         makePath("server", "root/cimv2"));
  name._buildString();
  EXPECT_EQ(name.toString(), "cim_foo.creationclassname=\"CIM_Foo\",name=\"A\"");
  EXPECT_EQ(name.toKeyString(), "creationclassname=\"CIM_Foo\",name=\"A\"");
  EXPECT_EQ(name.toFullPathString(),
            "//server/root/cimv2:cim_foo.creationclassname=\"CIM_Foo\",name=\"A\"");
  EXPECT_FALSE(name.isClass());
}
