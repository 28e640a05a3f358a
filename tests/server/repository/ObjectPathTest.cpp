#include "server/repository/ObjectPath.h"

#include <gtest/gtest.h>

#include "host/InstanceName.h"
#include "host/NameSpacePath.h"

using kest::repository::parseObjectPath;

namespace {

TEST(ObjectPathTest, AClassNameAloneHasNoKeysAndNoNamespace) {
  const TOVSmrPtr<ITovaInstanceName> name = parseObjectPath("CIM_Foo");
  ASSERT_TRUE(name);
  EXPECT_EQ(name->getClassname(), "CIM_Foo");
  EXPECT_EQ(name->getNumberOfKeyProperties(), 0u);
  EXPECT_FALSE(name->getNameSpacePath());
  EXPECT_EQ(name->toString(), "cim_foo");
}

TEST(ObjectPathTest, KeysKeepTheirOrderAndTakeTheirTypeFromTheText) {
  const TOVSmrPtr<ITovaInstanceName> name =
      parseObjectPath("CIM_Foo.S=\"x\",B=TRUE,F=false,U=3,N=-3,P=+4,R=1.5");
  ASSERT_TRUE(name);
  ASSERT_EQ(name->getNumberOfKeyProperties(), 7u);
  const auto codeAt = [&](unsigned long i) {
    return CTovaType::codeOf(*name->getKeyPropertyAt(i)->getValue()->getType());
  };
  EXPECT_EQ(name->getKeyPropertyAt(0)->getName(), "S");
  EXPECT_EQ(codeAt(0), CimTypeCode::String);
  EXPECT_EQ(codeAt(1), CimTypeCode::Boolean);
  EXPECT_TRUE(name->getKeyPropertyAt(1)->getValue()->getAsBool());
  EXPECT_FALSE(name->getKeyPropertyAt(2)->getValue()->getAsBool());
  EXPECT_EQ(codeAt(3), CimTypeCode::UInt64);
  EXPECT_EQ(codeAt(4), CimTypeCode::SInt64);
  EXPECT_EQ(name->getKeyPropertyAt(4)->getValue()->toString(), "-3");
  EXPECT_EQ(codeAt(5), CimTypeCode::UInt64);
  EXPECT_EQ(codeAt(6), CimTypeCode::Real64);
  EXPECT_EQ(name->toString(), "cim_foo.b=true,f=false,n=-3,p=4,r=1.5,s=\"x\",u=3");
}

TEST(ObjectPathTest, NamespaceAndHostArePartOfThePath) {
  const TOVSmrPtr<ITovaInstanceName> local = parseObjectPath("root/cimv2:CIM_Foo.K=1");
  ASSERT_TRUE(local);
  ASSERT_TRUE(local->getNameSpacePath());
  EXPECT_EQ(local->getNameSpacePath()->getNameSpace(), "root/cimv2");
  EXPECT_TRUE(local->getNameSpacePath()->getHost().isNull());

  const TOVSmrPtr<ITovaInstanceName> remote =
      parseObjectPath("//example.net:5989/root/interop:CIM_Foo.K=\"a\"");
  ASSERT_TRUE(remote);
  EXPECT_EQ(remote->getNameSpacePath()->getHost(), "example.net:5989");
  EXPECT_EQ(remote->getNameSpacePath()->getNameSpace(), "root/interop");
  EXPECT_EQ(remote->toFullPathString(), "//example.net:5989/root/interop:cim_foo.k=\"a\"");
}

TEST(ObjectPathTest, QuotedValuesMayHoldSeparatorsAndEscapes) {
  const TOVSmrPtr<ITovaInstanceName> name =
      parseObjectPath(R"(CIM_Foo.K="a:b.c,d=e",Q="say \"hi\" \\ ok")");
  ASSERT_TRUE(name);
  EXPECT_EQ(name->getKeyPropertyAt(0)->getValue()->getAsString(), "a:b.c,d=e");
  EXPECT_EQ(name->getKeyPropertyAt(1)->getValue()->getAsString(), R"(say "hi" \ ok)");
}

TEST(ObjectPathTest, APathInsideAQuotedKeyStaysAString) {
  const TOVSmrPtr<ITovaInstanceName> name =
      parseObjectPath(R"(CIM_Link.Left="CIM_Foo.Name=\"x\"")");
  ASSERT_TRUE(name);
  const TOVSmrPtr<ITovaValue> left = name->getKeyPropertyAt(0)->getValue();
  EXPECT_EQ(CTovaType::codeOf(*left->getType()), CimTypeCode::String);
  EXPECT_EQ(left->getAsString(), "CIM_Foo.Name=\"x\"");
  EXPECT_TRUE(parseObjectPath(left->getAsString().view()));
}

TEST(ObjectPathTest, ASingletonIsWrittenWithAnAtSign) {
  const TOVSmrPtr<ITovaInstanceName> name = parseObjectPath("root/x:CIM_Only=@");
  ASSERT_TRUE(name);
  EXPECT_EQ(name->getNumberOfKeyProperties(), 0u);
  EXPECT_EQ(name->toString(), "cim_only");
}

TEST(ObjectPathTest, MalformedPathsGiveNull) {
  for (const char* bad :
       {"", ".K=1", "CIM_Foo.", "CIM_Foo.K", "CIM_Foo.K=", "CIM_Foo.K=\"open", "CIM_Foo.K=x",
        "CIM_Foo K=1", "//host", "///x:C", ":CIM_Foo", "CIM_Foo.K=1,", "CIM_Foo.K=1,k=2",
        "//host/CIM_Foo.K=1", "root//x:CIM_Foo", "CIM_Foo.K=\"a\"x", "CIM_Foo=@x",
        "CIM_Foo.K=1.5.2", "CIM_Foo.K=--1"}) {
    SCOPED_TRACE(bad);
    EXPECT_FALSE(parseObjectPath(bad));
  }
}

}  // namespace
