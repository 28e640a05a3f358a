#include "host/InstanceName.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "host/Object.h"
#include "support/ObjectModelBuilders.h"

using namespace kest::testing;

namespace {

using ValuePtr = TOVSmrPtr<ITovaValue>;
using NamePtr = TOVSmrPtr<ITovaInstanceName>;
using PathPtr = TOVSmrPtr<ITovaNameSpacePath>;

// An instance name of another implementation, which relies on every default
// of ITovaInstanceName (its text is built on each call).
class PlainInstanceName : public ITovaInstanceName {
 public:
  PlainInstanceName(const char* className, const std::vector<Key>& keys, PathPtr path = {})
      : _className(className), _keys(keyList(keys)), _path(std::move(path)) {}

  TOVString getClassname() const override { return _className; }
  PathPtr getNameSpacePath() const override { return _path; }
  unsigned long getNumberOfKeyProperties() const override { return _keys->entries(); }
  TOVSmrPtr<ITovaProperty> getKeyPropertyAt(unsigned long index) const override {
    return index < _keys->entries() ? _keys->at(index) : TOVSmrPtr<ITovaProperty>();
  }
  TOVPropertyList getKeyProperties() const override { return _keys; }
  void setNameSpacePath(const PathPtr& path) override { _path = path; }

 private:
  TOVString _className;
  TOVPropertyList _keys;
  PathPtr _path;
};

// The shape of the framework's own instance names: its own equality next to
// the base class's, which must not make comparisons ambiguous.
class OwnEqualityName : public PlainInstanceName {
 public:
  explicit OwnEqualityName(const char* className) : PlainInstanceName(className, {}) {}

  bool operator==(const OwnEqualityName&) const {
    ++sameTypeCalls;
    return true;
  }
  bool operator==(const ITovaInstanceName&) const {
    ++baseTypeCalls;
    return false;
  }

  mutable int sameTypeCalls = 0;
  mutable int baseTypeCalls = 0;
};

// Counts how often its text is asked for.
class CountingPlainName : public PlainInstanceName {
 public:
  using PlainInstanceName::PlainInstanceName;
  TOVString toString() const override {
    ++toStringCalls;
    return PlainInstanceName::toString();
  }
  mutable int toStringCalls = 0;
};

// A host name that counts how often its text is asked for through toString().
class CountingHostName : public CTovaInstanceName {
 public:
  CountingHostName(const char* className, const std::vector<Key>& keys)
      : CTovaInstanceName(className, keyList(keys), PathPtr()) {}
  TOVString toString() const override {
    ++toStringCalls;
    return CTovaInstanceName::toString();
  }
  mutable int toStringCalls = 0;
};

// ---------------------------------------------------------------------------

TEST(CTovaNameSpacePathTest, ReportsHostAndNameSpace) {
  const CTovaNameSpacePath path("server1", "root/cimv2");
  EXPECT_EQ(path.getHost(), "server1");
  EXPECT_EQ(path.getNameSpace(), "root/cimv2");
}

TEST(CTovaNameSpacePathTest, KeepsEmptyParts) {
  const CTovaNameSpacePath path(TOVString(), "");
  EXPECT_TRUE(path.getHost().isNullBuffer());
  EXPECT_TRUE(path.getNameSpace().isNull());
  EXPECT_FALSE(path.getNameSpace().isNullBuffer());
}

// ---------------------------------------------------------------------------

struct TextCase {
  const char* label;
  std::function<NamePtr()> make;
  const char* text;
};

TEST(CTovaInstanceNameTest, ToStringGivesTheCanonicalText) {
  const std::vector<TextCase> cases = {
      {"keyless class alone", [] { return makeName("CIM_Root", {}); }, "cim_root"},
      {"class and key names lower-cased",
       [] {
         return makeName("ACME_Disk", {{"DeviceID", make("Sda")}});
       },
       "acme_disk.deviceid=\"Sda\""},
      {"keys sorted by lower-cased name",
       [] {
         return makeName("C", {{"zeta", make(1)}, {"Alpha", make(2)}, {"beta", make(3)}});
       },
       "c.alpha=2,beta=3,zeta=1"},
      {"string escapes backslash and quote",
       [] {
         return makeName("C", {{"k", make("a\\b\"c")}});
       },
       "c.k=\"a\\\\b\\\"c\""},
      {"char16 quoted",
       [] {
         return makeName("C", {{"k", CTovaValue::char16(u'Q')}});
       },
       "c.k=\"Q\""},
      {"datetime quoted",
       [] {
         return makeName("C", {{"k", CTovaValue::dateTime("20260101000000.000000+000")}});
       },
       "c.k=\"20260101000000.000000+000\""},
      {"unsigned integer",
       [] {
         return makeName("C", {{"k", make(TOVuint16{5})}});
       },
       "c.k=5"},
      {"negative integer",
       [] {
         return makeName("C", {{"k", make(-12LL)}});
       },
       "c.k=-12"},
      {"uint64 max",
       [] {
         return makeName("C", {{"k", make(18446744073709551615ULL)}});
       },
       "c.k=18446744073709551615"},
      {"sint64 min",
       [] {
         return makeName("C", {{"k", make(-9223372036854775807LL - 1)}});
       },
       "c.k=-9223372036854775808"},
      {"real64 shortest",
       [] {
         return makeName("C", {{"k", make(0.1)}});
       },
       "c.k=0.1"},
      {"real32 shortest",
       [] {
         return makeName("C", {{"k", make(0.1f)}});
       },
       "c.k=0.1"},
      {"booleans",
       [] {
         return makeName("C", {{"a", make(true)}, {"b", make(false)}});
       },
       "c.a=true,b=false"},
      {"CIM NULL unquoted",
       [] {
         return makeName("C", {{"k", CTovaValue::nullOf(CTovaType::string)}});
       },
       "c.k=NULL"},
      {"missing value unquoted",
       [] {
         return makeName("C", {{"k", ValuePtr()}});
       },
       "c.k=NULL"},
      {"null reference unquoted",
       [] {
         return makeName("C", {{"k", make(NamePtr())}});
       },
       "c.k=NULL"},
      {"reference quoted and escaped",
       [] {
         return makeName("Assoc", {{"Ref", make(makeName("Sys", {{"Name", make("x\"y")}}))}});
       },
       "assoc.ref=\"sys.name=\\\"x\\\\\\\"y\\\"\""},
      {"nested reference",
       [] {
         const NamePtr inner = makeName("In", {{"Id", make(1)}});
         const NamePtr middle = makeName("Mid", {{"R", make(inner)}});
         return makeName("Out", {{"R", make(middle)}});
       },
       "out.r=\"mid.r=\\\"in.id=1\\\"\""},
      {"array elements in braces",
       [] {
         TOVSmrPtr<TOVValSlist<ValuePtr>> list(new TOVValSlist<ValuePtr>());
         list->append(make("one"));
         list->append(make("two"));
         return makeName(
             "C", {{"k", ValuePtr(new CTovaValue(CTovaType::arrayOf(CimTypeCode::String), list))}});
       },
       "c.k={\"one\",\"two\"}"},
      {"embedded object by its instance name",
       [] {
         TOVSmrPtr<CTovaObject> object(new CTovaObject("Emb"));
         object->setInstanceName(makeName("Emb", {{"K", make("v")}}));
         return makeName("C", {{"O", make(CTovaObject::iPtr(object))}});
       },
       "c.o=\"emb.k=\\\"v\\\"\""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.label);
    const NamePtr name = c.make();
    EXPECT_EQ(name->toString(), c.text);
  }
}

TEST(CTovaInstanceNameTest, KeysWithEqualNamesKeepTheirOrder) {
  EXPECT_EQ(makeName("C", {{"K", make(1)}, {"k", make(2)}})->toString(), "c.k=1,k=2");
  EXPECT_EQ(makeName("C", {{"k", make(2)}, {"K", make(1)}})->toString(), "c.k=2,k=1");
}

TEST(CTovaInstanceNameTest, NameSpaceAndHostAreNotPartOfTheText) {
  EXPECT_EQ(makeName("C", {{"k", make(1)}}, makePath("h", "root/x"))->toString(), "c.k=1");
}

TEST(CTovaInstanceNameTest, ToKeyStringIsThePartAfterTheClassName) {
  EXPECT_EQ(makeName("Cls", {{"B", make("x")}, {"a", make(1)}})->toKeyString(), "a=1,b=\"x\"");
  EXPECT_TRUE(makeName("Cls", {})->toKeyString().isNull());
}

struct PathCase {
  const char* label;
  PathPtr path;
  const char* text;
};

TEST(CTovaInstanceNameTest, ToFullPathStringPrefixesTheSetPathParts) {
  const std::vector<PathCase> cases = {
      {"host and namespace", makePath("srv", "root/cimv2"), "//srv/root/cimv2:c.k=1"},
      {"namespace only", makePath("", "root/cimv2"), "root/cimv2:c.k=1"},
      {"host only", makePath("srv", ""), "//srv/c.k=1"},
      {"empty path", makePath("", ""), "c.k=1"},
      {"no path", PathPtr(), "c.k=1"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.label);
    EXPECT_EQ(makeName("C", {{"K", make(1)}}, c.path)->toFullPathString(), c.text);
  }
}

TEST(CTovaInstanceNameTest, IsNeverAClass) { EXPECT_FALSE(makeName("C", {})->isClass()); }

struct EqualityCase {
  const char* label;
  NamePtr left;
  NamePtr right;
  bool equal;
};

TEST(CTovaInstanceNameTest, EqualityComparesCanonicalTexts) {
  const std::vector<EqualityCase> cases = {
      {"class name case ignored", makeName("CIM_Disk", {{"Id", make(1)}}),
       makeName("cim_disk", {{"Id", make(1)}}), true},
      {"key name case ignored", makeName("C", {{"DeviceID", make(1)}}),
       makeName("C", {{"deviceid", make(1)}}), true},
      {"key order ignored", makeName("C", {{"a", make(1)}, {"b", make(2)}}),
       makeName("C", {{"b", make(2)}, {"a", make(1)}}), true},
      {"string value case matters", makeName("C", {{"k", make("Abc")}}),
       makeName("C", {{"k", make("abc")}}), false},
      {"integer width and sign ignored", makeName("C", {{"k", make(TOVuint16{5})}}),
       makeName("C", {{"k", make(5LL)}}), true},
      {"reference keys by referenced name",
       makeName("A", {{"r", make(makeName("CIM_X", {{"Id", make("q")}}))}}),
       makeName("A", {{"R", make(makeName("cim_x", {{"ID", make("q")}}))}}), true},
      {"different referenced names", makeName("A", {{"r", make(makeName("X", {{"i", make(1)}}))}}),
       makeName("A", {{"r", make(makeName("X", {{"i", make(2)}}))}}), false},
      {"namespaces ignored", makeName("C", {{"k", make(1)}}, makePath("h1", "root/a")),
       makeName("C", {{"k", make(1)}}, makePath("h2", "root/b")), true},
      {"different class", makeName("C1", {{"k", make(1)}}), makeName("C2", {{"k", make(1)}}),
       false},
      {"different value", makeName("C", {{"k", make(1)}}), makeName("C", {{"k", make(2)}}), false},
      {"string 5 is not integer 5", makeName("C", {{"k", make("5")}}),
       makeName("C", {{"k", make(5)}}), false},
      {"extra key", makeName("C", {{"k", make(1)}}),
       makeName("C", {{"k", make(1)}, {"j", make(1)}}), false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.label);
    EXPECT_EQ(*c.left == *c.right, c.equal);
    EXPECT_EQ(*c.right == *c.left, c.equal);
    EXPECT_EQ(*c.left != *c.right, !c.equal);
  }
}

TEST(CTovaInstanceNameTest, TextIsComputedOnceAtConstruction) {
  const TOVPropertyList keys = keyList({{"k", make(1)}});
  const CTovaInstanceName name("C", keys, PathPtr());
  const TOVString before = name.toString();
  keys->append(TOVSmrPtr<ITovaProperty>(new CTovaProperty("j", make(2), false)));
  EXPECT_EQ(name.getNumberOfKeyProperties(), 2u);
  EXPECT_EQ(name.toString(), "c.k=1");
  EXPECT_EQ(name.toString().c_str(), before.c_str());
}

TEST(CTovaInstanceNameTest, HasCanonicalTextComparesExactlyWithTheText) {
  const NamePtr name = makeName("CIM_Disk", {{"Id", make("a")}});
  EXPECT_TRUE(name->hasCanonicalText("cim_disk.id=\"a\""));
  EXPECT_TRUE(name->hasCanonicalText(name->toString()));
  EXPECT_FALSE(name->hasCanonicalText("CIM_Disk.id=\"a\""));
  EXPECT_FALSE(name->hasCanonicalText("cim_disk.id=\"A\""));
  EXPECT_FALSE(name->hasCanonicalText("cim_disk.id=\""));
  EXPECT_FALSE(name->hasCanonicalText(""));
  EXPECT_FALSE(name->hasCanonicalText(TOVString()));
  EXPECT_TRUE(makeName("", {})->hasCanonicalText(TOVString()));
}

TEST(CTovaInstanceNameTest, EqualityAndTextTestReadTheKeptTextInPlace) {
  const CountingHostName disk("CIM_Disk", {{"Id", make(1)}});
  const CountingHostName same("cim_disk", {{"ID", make(1)}});
  const CountingHostName other("CIM_Disk", {{"Id", make(2)}});
  const ITovaInstanceName& a = disk;
  const ITovaInstanceName& b = same;
  const ITovaInstanceName& c = other;

  EXPECT_TRUE(a == b);
  EXPECT_FALSE(a == c);
  EXPECT_TRUE(c != b);
  EXPECT_TRUE(a.hasCanonicalText("cim_disk.id=1"));
  EXPECT_FALSE(c.hasCanonicalText("cim_disk.id=1"));

  EXPECT_EQ(disk.toStringCalls + same.toStringCalls + other.toStringCalls, 0);
}

TEST(CTovaInstanceNameTest, StoresTheKeyListAsGiven) {
  const TOVPropertyList keys = keyList({{"k", make(1)}, {"j", make(2)}});
  const CTovaInstanceName name("C", keys, PathPtr());
  EXPECT_TRUE(name.getKeyProperties() == keys);
  EXPECT_EQ(name.getNumberOfKeyProperties(), 2u);
  EXPECT_TRUE(name.getKeyPropertyAt(0) == keys->at(0));
  EXPECT_TRUE(name.getKeyPropertyAt(1) == keys->at(1));
  EXPECT_TRUE(name.getKeyPropertyAt(2).isNull());
  EXPECT_EQ(name.getClassname(), "C");
}

TEST(CTovaInstanceNameTest, NullKeyListBecomesAnEmptyList) {
  const CTovaInstanceName name("C", TOVPropertyList(), PathPtr());
  ASSERT_TRUE(name.getKeyProperties());
  EXPECT_TRUE(name.getKeyProperties()->isEmpty());
  EXPECT_EQ(name.getNumberOfKeyProperties(), 0u);
  EXPECT_TRUE(name.getKeyPropertyAt(0).isNull());
  EXPECT_EQ(name.toString(), "c");
}

TEST(CTovaInstanceNameTest, SetNameSpacePathChangesThePathButNotTheText) {
  CTovaInstanceName name("C", keyList({{"k", make(1)}}), makePath("h", "ns1"));
  const PathPtr other = makePath("", "ns2");
  name.setNameSpacePath(other);
  EXPECT_TRUE(name.getNameSpacePath() == other);
  EXPECT_EQ(name.toString(), "c.k=1");
  EXPECT_EQ(name.toFullPathString(), "ns2:c.k=1");
}

TEST(CTovaInstanceNameTest, CopyConstructorSharesNothingButComparesEqual) {
  TOVSmrPtr<CTovaObject> embedded(new CTovaObject("Emb"));
  embedded->setInstanceName(makeName("Emb", {{"K", make("v")}}));
  const NamePtr referenced = makeName("Ref", {{"Id", make(7)}}, makePath("h", "ns"));
  const NamePtr source = makeName(
      "Src",
      {{"Name", make("n")}, {"R", make(referenced)}, {"O", make(CTovaObject::iPtr(embedded))}},
      makePath("host", "root/src"));

  const CTovaInstanceName copy(*source);

  EXPECT_TRUE(copy == *source);
  EXPECT_EQ(copy.toString(), source->toString());
  EXPECT_EQ(copy.toFullPathString(), "//host/root/src:" + source->toString());
  EXPECT_NE(copy.getKeyProperties().get(), source->getKeyProperties().get());
  ASSERT_EQ(copy.getNumberOfKeyProperties(), 3u);
  for (unsigned long i = 0; i < 3; ++i) {
    SCOPED_TRACE(i);
    const auto mine = copy.getKeyPropertyAt(i);
    const auto theirs = source->getKeyPropertyAt(i);
    EXPECT_NE(mine.get(), theirs.get());
    EXPECT_NE(mine->getValue().get(), theirs->getValue().get());
    EXPECT_EQ(mine->getName(), theirs->getName());
  }
  const NamePtr copiedReference = copy.getKeyPropertyAt(1)->getValue()->getReference();
  EXPECT_NE(copiedReference.get(), referenced.get());
  EXPECT_TRUE(*copiedReference == *referenced);
  EXPECT_NE(copiedReference->getKeyProperties().get(), referenced->getKeyProperties().get());
  EXPECT_NE(copiedReference->getNameSpacePath().get(), referenced->getNameSpacePath().get());
  const auto copiedObject = copy.getKeyPropertyAt(2)->getValue()->getObject();
  EXPECT_NE(copiedObject.get(), embedded.get());
  EXPECT_NE(copiedObject->getInstanceName().get(), embedded->getInstanceName().get());
  ASSERT_TRUE(copy.getNameSpacePath());
  EXPECT_NE(copy.getNameSpacePath().get(), source->getNameSpacePath().get());
  EXPECT_EQ(copy.getNameSpacePath()->getHost(), "host");
  EXPECT_EQ(copy.getNameSpacePath()->getNameSpace(), "root/src");
}

TEST(CTovaInstanceNameTest, CopyOfANameWithoutPathHasNoPath) {
  const CTovaInstanceName copy(*makeName("C", {{"k", make(1)}}));
  EXPECT_TRUE(copy.getNameSpacePath().isNull());
  EXPECT_EQ(copy.toString(), "c.k=1");
}

TEST(CTovaInstanceNameTest, CopyReadsOtherImplementationsThroughTheInterface) {
  const PlainInstanceName source("Plain", {{"A", make(TOVsint8{-3})}}, makePath("", "ns"));
  const CTovaInstanceName copy(source);
  EXPECT_TRUE(copy == source);
  EXPECT_EQ(copy.getClassname(), "Plain");
  EXPECT_EQ(copy.getNameSpacePath()->getNameSpace(), "ns");
  EXPECT_NE(copy.getKeyPropertyAt(0).get(), source.getKeyPropertyAt(0).get());
}

TEST(CTovaInstanceNameTest, ConcurrentReadersSeeTheSameText) {
  const NamePtr name =
      makeName("C", {{"k", make("v")}, {"r", make(makeName("D", {{"i", make(1)}}))}});
  const TOVString expected = name->toString();
  std::vector<std::thread> readers;
  std::vector<int> mismatches(4, 0);
  for (int t = 0; t < 4; ++t) {
    readers.emplace_back([&, t] {
      for (int i = 0; i < 2000; ++i) {
        const CTovaInstanceName copy(*name);
        if (!(copy == *name) || name->toString() != expected) ++mismatches[t];
      }
    });
  }
  for (auto& reader : readers) reader.join();
  for (int count : mismatches) EXPECT_EQ(count, 0);
}

// ---------------------------------------------------------------------------
// The defaults of the interface, seen through an implementation that
// overrides none of them.

TEST(ITovaInstanceNameTest, DefaultTextFormsAreBuiltFromTheAccessors) {
  const PlainInstanceName name("Plain_Class", {{"Z", make("z")}, {"a", make(1)}},
                               makePath("h", "root/p"));
  EXPECT_EQ(name.toString(), "plain_class.a=1,z=\"z\"");
  EXPECT_EQ(name.toKeyString(), "a=1,z=\"z\"");
  EXPECT_EQ(name.toFullPathString(), "//h/root/p:plain_class.a=1,z=\"z\"");
  EXPECT_FALSE(name.isClass());
}

TEST(ITovaInstanceNameTest, KeylessDefaultTextIsTheClassName) {
  const PlainInstanceName name("Solo", {});
  EXPECT_EQ(name.toString(), "solo");
  EXPECT_TRUE(name.toKeyString().isNull());
  EXPECT_EQ(name.toFullPathString(), "solo");
}

TEST(ITovaInstanceNameTest, EqualityHoldsAcrossImplementations) {
  const PlainInstanceName plain("X", {{"K", make(TOVuint8{9})}});
  const NamePtr host = makeName("x", {{"k", make(9LL)}});
  const ITovaInstanceName& left = plain;
  const ITovaInstanceName& right = *host;
  EXPECT_TRUE(left == right);
  EXPECT_TRUE(right == left);
  EXPECT_FALSE(left != right);
  EXPECT_FALSE(left == *makeName("x", {{"k", make(8)}}));
}

TEST(ITovaInstanceNameTest, HasCanonicalTextBuildsTheTextOfANameThatKeepsNone) {
  const CountingPlainName plain("X", {{"K", make(TOVuint8{9})}});

  EXPECT_TRUE(plain.hasCanonicalText("x.k=9"));
  EXPECT_FALSE(plain.hasCanonicalText("X.k=9"));
  EXPECT_EQ(plain.toStringCalls, 2);
}

TEST(ITovaInstanceNameTest, MixedEqualityBuildsOnlyTheTextOfTheNameThatKeepsNone) {
  const CountingPlainName plain("X", {{"K", make(TOVuint8{9})}});
  const CountingHostName host("x", {{"k", make(9LL)}});
  const ITovaInstanceName& left = plain;
  const ITovaInstanceName& right = host;

  EXPECT_TRUE(left == right);
  EXPECT_TRUE(right == left);
  EXPECT_EQ(plain.toStringCalls, 2);
  EXPECT_EQ(host.toStringCalls, 0);
  EXPECT_TRUE(left == left);
  EXPECT_EQ(plain.toStringCalls, 2);
}

TEST(ITovaInstanceNameTest, DerivedOwnEqualityIsPickedWithoutAmbiguity) {
  const OwnEqualityName a("A");
  const OwnEqualityName b("B");

  EXPECT_TRUE(a == b);  // OwnEqualityName == OwnEqualityName
  EXPECT_EQ(a.sameTypeCalls, 1);
  EXPECT_EQ(a.baseTypeCalls, 0);

  const ITovaInstanceName& baseB = b;
  EXPECT_FALSE(a == baseB);  // OwnEqualityName == ITovaInstanceName&
  EXPECT_EQ(a.sameTypeCalls, 1);
  EXPECT_EQ(a.baseTypeCalls, 1);

  const ITovaInstanceName& baseA = a;
  EXPECT_FALSE(baseA == baseB);  // the interface's member: "a" vs "b"
  const OwnEqualityName otherA("a");
  EXPECT_TRUE(baseA == static_cast<const ITovaInstanceName&>(otherA));
  EXPECT_EQ(a.sameTypeCalls, 1);
  EXPECT_EQ(a.baseTypeCalls, 1);
  EXPECT_EQ(otherA.sameTypeCalls + otherA.baseTypeCalls, 0);
}

TEST(ITovaInstanceNameTest, DefaultTextIsSafeForConcurrentReaders) {
  const PlainInstanceName name("P", {{"k", make("v")}, {"n", make(3)}});
  std::vector<std::thread> readers;
  std::vector<int> mismatches(4, 0);
  for (int t = 0; t < 4; ++t) {
    readers.emplace_back([&, t] {
      for (int i = 0; i < 2000; ++i) {
        if (name.toString() != "p.k=\"v\",n=3") ++mismatches[t];
      }
    });
  }
  for (auto& reader : readers) reader.join();
  for (int count : mismatches) EXPECT_EQ(count, 0);
}

}  // namespace
