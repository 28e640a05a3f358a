// Class requests (GetClass, EnumerateClasses, EnumerateClassNames) over HTTP
// against an in-process server whose classes come from the test MOF file,
// with each operation's options. Every response must validate against the
// CIM DTD.

#include <gtest/gtest.h>

#include <string>

#include "host/Log.h"
#include "server/Server.h"
#include "tests/server/HttpTestSupport.h"
#include "tests/server/ServerTestSupport.h"

using kest::server::ProviderSpec;
using kest::server::Server;
using kest::server::ServerSettings;
using kest::server::testing::cimPost;
using kest::server::testing::dtdErrors;
using kest::server::testing::HttpResponse;
using kest::server::testing::intrinsicCall;
using kest::server::testing::parameter;
using kest::server::testing::RawConnection;

namespace {

std::string boolean(const char* name, bool value) {
  return parameter(name, value ? "<VALUE>TRUE</VALUE>" : "<VALUE>FALSE</VALUE>");
}

std::string classNameParameter(const std::string& name) {
  return parameter("ClassName", "<CLASSNAME NAME=\"" + name + "\"/>");
}

std::string count(const std::string& text, const std::string& part) {
  std::size_t n = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++n;
  return std::to_string(n);
}

const char* const kKey =
    "<QUALIFIER NAME=\"Key\" TYPE=\"boolean\" "
    "OVERRIDABLE=\"false\"><VALUE>TRUE</VALUE></QUALIFIER>";

class ClassOperationsTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    _capture = new TOVScopedLogCapture();
    ServerSettings settings;
    settings.http.port = 0;
    settings.providers = {ProviderSpec{KEST_TEST_PROVIDER, ""}};
    settings.mofFiles = {kest::server::testing::dataPath("test.mof"),
                         kest::server::testing::dataPath("embedded.mof")};
    _server = new Server(settings);
    // A class that a provider would declare and no MOF defines.
    _server->catalog().declare("root/cimv2", "Test_Undefined", "Test_Foo", false);
    _port = _server->start();
  }

  static void TearDownTestSuite() {
    delete _server;
    delete _capture;
  }

  // The content of IRETURNVALUE (or the ERROR element) of the answer to an
  // intrinsic call; the whole body must be valid.
  static std::string ask(const std::string& method, const std::string& parameters) {
    RawConnection connection(_port);
    connection.send(cimPost(method, intrinsicCall(method, parameters)));
    const HttpResponse response = connection.receive();
    EXPECT_EQ(response.status, 200);
    EXPECT_EQ(dtdErrors(response.body), "") << response.body;
    const std::size_t error = response.body.find("<ERROR");
    if (error != std::string::npos) {
      return response.body.substr(error, response.body.find("/>", error) + 2 - error);
    }
    const std::size_t begin = response.body.find("<IRETURNVALUE>");
    const std::size_t end = response.body.find("</IRETURNVALUE>");
    if (begin == std::string::npos || end == std::string::npos) return response.body;
    return response.body.substr(begin + 14, end - begin - 14);
  }

  static std::string getClass(const std::string& name, bool localOnly, bool qualifiers,
                              bool classOrigin, const std::string& more = "") {
    return ask("GetClass", classNameParameter(name) + boolean("LocalOnly", localOnly) +
                               boolean("IncludeQualifiers", qualifiers) +
                               boolean("IncludeClassOrigin", classOrigin) + more);
  }

  static TOVScopedLogCapture* _capture;
  static Server* _server;
  static int _port;
};

TOVScopedLogCapture* ClassOperationsTest::_capture = nullptr;
Server* ClassOperationsTest::_server = nullptr;
int ClassOperationsTest::_port = 0;

}  // namespace

TEST_F(ClassOperationsTest, GetClassWritesTheCompiledClassWithQualifiersAndDefaults) {
  EXPECT_EQ(
      getClass("Test_Bar", false, true, true),
      "<CLASS NAME=\"Test_Bar\"><PROPERTY NAME=\"Tag\" TYPE=\"string\" "
      "CLASSORIGIN=\"Test_Bar\">" +
          std::string(kKey) +
          "</PROPERTY><PROPERTY NAME=\"Size\" TYPE=\"uint64\" CLASSORIGIN=\"Test_Bar\">"
          "<QUALIFIER NAME=\"Units\" TYPE=\"string\" TRANSLATABLE=\"true\"><VALUE>Bytes</VALUE>"
          "</QUALIFIER><VALUE>0</VALUE></PROPERTY></CLASS>");
}

TEST_F(ClassOperationsTest, GetClassWithoutQualifiersOrClassOriginLeavesThemOut) {
  EXPECT_EQ(getClass("Test_Bar", false, false, false),
            "<CLASS NAME=\"Test_Bar\"><PROPERTY NAME=\"Tag\" TYPE=\"string\"></PROPERTY>"
            "<PROPERTY NAME=\"Size\" TYPE=\"uint64\"><VALUE>0</VALUE></PROPERTY></CLASS>");
}

TEST_F(ClassOperationsTest, LocalOnlyLeavesOutWhatTheClassInherits) {
  EXPECT_EQ(getClass("Test_FooChild", true, true, true),
            "<CLASS NAME=\"Test_FooChild\" SUPERCLASS=\"Test_Foo\"><PROPERTY NAME=\"Extra\" "
            "TYPE=\"string\" CLASSORIGIN=\"Test_FooChild\"></PROPERTY></CLASS>");
  const std::string all = getClass("Test_FooChild", false, true, true);
  EXPECT_EQ(count(all, "<PROPERTY"), "8");
  EXPECT_EQ(count(all, "<METHOD "), "3");
  EXPECT_NE(all.find("<PROPERTY NAME=\"Name\" TYPE=\"string\" CLASSORIGIN=\"Test_Foo\" "
                     "PROPAGATED=\"true\"><QUALIFIER NAME=\"Key\" TYPE=\"boolean\" "
                     "PROPAGATED=\"true\" OVERRIDABLE=\"false\"><VALUE>TRUE</VALUE></QUALIFIER>"),
            std::string::npos)
      << all;
  EXPECT_NE(all.find("<METHOD NAME=\"DoIt\" TYPE=\"uint32\" CLASSORIGIN=\"Test_Foo\" "
                     "PROPAGATED=\"true\">"),
            std::string::npos)
      << all;
}

TEST_F(ClassOperationsTest, TheClassQualifiersAreEscaped) {
  const std::string foo = getClass("Test_Foo", false, true, false);
  EXPECT_EQ(foo.rfind("<CLASS NAME=\"Test_Foo\" SUPERCLASS=\"Test_Base\"><QUALIFIER "
                      "NAME=\"Description\" TYPE=\"string\" TRANSLATABLE=\"true\"><VALUE>A class "
                      "with keys, &quot;quoted&quot; text &amp; every kind of feature.</VALUE>"
                      "</QUALIFIER><PROPERTY NAME=\"Name\" TYPE=\"string\">",
                      0),
            0u)
      << foo;
  EXPECT_NE(foo.find("<PROPERTY.ARRAY NAME=\"Vals\" TYPE=\"uint16\"><VALUE.ARRAY><VALUE>1</VALUE>"
                     "<VALUE>2</VALUE></VALUE.ARRAY></PROPERTY.ARRAY>"),
            std::string::npos);
  EXPECT_NE(foo.find("<PARAMETER.REFERENCE NAME=\"R\" REFERENCECLASS=\"Test_Bar\">"),
            std::string::npos);
  EXPECT_NE(foo.find("<PARAMETER.ARRAY NAME=\"NA\" TYPE=\"uint8\">"), std::string::npos);
  EXPECT_EQ(foo.find("CLASSORIGIN"), std::string::npos);
}

TEST_F(ClassOperationsTest, EmbeddedObjectPropertiesAreMarkedOnScalarsOnly) {
  EXPECT_EQ(getClass("Test_Holder", false, false, false),
            "<CLASS NAME=\"Test_Holder\"><PROPERTY NAME=\"Id\" TYPE=\"string\"></PROPERTY>"
            "<PROPERTY NAME=\"Held\" TYPE=\"string\" EmbeddedObject=\"instance\"></PROPERTY>"
            "<PROPERTY NAME=\"Any\" TYPE=\"string\" EmbeddedObject=\"object\"></PROPERTY>"
            "<PROPERTY.ARRAY NAME=\"Many\" TYPE=\"string\"></PROPERTY.ARRAY></CLASS>");
  EXPECT_NE(
      getClass("Test_Holder", false, true, false)
          .find("<QUALIFIER NAME=\"EmbeddedInstance\" TYPE=\"string\"><VALUE>Test_Bar</VALUE>"),
      std::string::npos);
}

TEST_F(ClassOperationsTest, APropertyListKeepsOnlyTheNamedProperties) {
  const std::string list = "<VALUE.ARRAY><VALUE>tag</VALUE><VALUE>Unknown</VALUE></VALUE.ARRAY>";
  EXPECT_EQ(getClass("Test_Bar", false, false, false, parameter("PropertyList", list)),
            "<CLASS NAME=\"Test_Bar\"><PROPERTY NAME=\"Tag\" TYPE=\"string\"></PROPERTY></CLASS>");
  EXPECT_EQ(getClass("Test_Bar", false, false, false,
                     parameter("PropertyList", "<VALUE.ARRAY></VALUE.ARRAY>")),
            "<CLASS NAME=\"Test_Bar\"></CLASS>");
}

TEST_F(ClassOperationsTest, AClassNoMofDefinesIsServedByNameAndSuperclass) {
  EXPECT_EQ(getClass("Test_Undefined", false, true, true),
            "<CLASS NAME=\"Test_Undefined\" SUPERCLASS=\"Test_Foo\"></CLASS>");
  EXPECT_EQ(ask("EnumerateClassNames",
                classNameParameter("Test_Foo") + boolean("DeepInheritance", false)),
            "<CLASSNAME NAME=\"Test_FooChild\"/><CLASSNAME NAME=\"Test_Undefined\"/>");
}

TEST_F(ClassOperationsTest, AnUnknownClassIsNotFoundOrInvalid) {
  EXPECT_EQ(getClass("Test_Nothing", false, false, false),
            "<ERROR CODE=\"6\" DESCRIPTION=\"The class Test_Nothing does not exist in namespace "
            "root/cimv2\"/>");
  EXPECT_EQ(ask("EnumerateClasses", classNameParameter("Test_Nothing")),
            "<ERROR CODE=\"5\" DESCRIPTION=\"The class Test_Nothing does not exist in namespace "
            "root/cimv2\"/>");
}

TEST_F(ClassOperationsTest, EnumerateClassesFollowsDeepInheritance) {
  const std::string direct =
      ask("EnumerateClasses", classNameParameter("Test_Base") + boolean("DeepInheritance", false) +
                                  boolean("LocalOnly", true));
  EXPECT_EQ(count(direct, "<CLASS "), "1");
  EXPECT_EQ(direct.rfind("<CLASS NAME=\"Test_Foo\" SUPERCLASS=\"Test_Base\">", 0), 0u) << direct;
  const std::string deep =
      ask("EnumerateClasses", classNameParameter("Test_Base") + boolean("DeepInheritance", true) +
                                  boolean("LocalOnly", true));
  EXPECT_EQ(count(deep, "<CLASS "), "3");
  EXPECT_NE(deep.find("<CLASS NAME=\"Test_FooChild\" SUPERCLASS=\"Test_Foo\"><PROPERTY "
                      "NAME=\"Extra\" TYPE=\"string\"></PROPERTY></CLASS>"),
            std::string::npos)
      << deep;
  EXPECT_EQ(ask("EnumerateClassNames", boolean("DeepInheritance", false)),
            "<CLASSNAME NAME=\"Test_Bar\"/><CLASSNAME NAME=\"Test_Base\"/>"
            "<CLASSNAME NAME=\"Test_FooBar\"/><CLASSNAME NAME=\"Test_Holder\"/>");
  EXPECT_EQ(ask("EnumerateClassNames", boolean("DeepInheritance", true)),
            "<CLASSNAME NAME=\"Test_Bar\"/><CLASSNAME NAME=\"Test_Base\"/>"
            "<CLASSNAME NAME=\"Test_Foo\"/><CLASSNAME NAME=\"Test_FooChild\"/>"
            "<CLASSNAME NAME=\"Test_Undefined\"/><CLASSNAME NAME=\"Test_FooBar\"/>"
            "<CLASSNAME NAME=\"Test_Holder\"/>");
}

TEST_F(ClassOperationsTest, TheSubclassTestKnowsCompiledAndDeclaredClasses) {
  const TOVSmrPtr<ITovaRepository> repository = _server->catalog().repository();
  EXPECT_TRUE(repository->isSubclass("root/cimv2", "Test_FooChild", "test_base"));
  EXPECT_TRUE(repository->isSubclass("", "Test_Undefined", "Test_Base"));
  EXPECT_FALSE(repository->isSubclass("root/cimv2", "Test_Bar", "Test_Base"));
  EXPECT_FALSE(repository->isSubclass("root/interop", "Test_FooChild", "Test_Base"));
}
