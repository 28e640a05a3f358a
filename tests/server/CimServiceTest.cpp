#include "server/CimService.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "host/CimType.h"
#include "host/Log.h"
#include "server/ClassCatalog.h"
#include "server/Dispatcher.h"
#include "server/ProviderSet.h"
#include "server/RequestParser.h"
#include "tests/server/ServerTestSupport.h"

using kest::server::CimError;
using kest::server::CimHttpRequest;
using kest::server::CimResponse;
using kest::server::CimService;
using kest::server::ClassCatalog;
using kest::server::ClientGone;
using kest::server::Dispatcher;
using kest::server::ProviderSet;
using kest::server::ProviderSpec;
using kest::server::RequestParser;
using kest::server::ResponseBody;
using kest::server::StringBody;
using kest::server::testing::dtdErrors;
using kest::server::testing::instanceNameXml;
using kest::server::testing::intrinsicCall;
using kest::server::testing::KeyText;
using kest::server::testing::localNameSpacePath;
using kest::server::testing::methodCall;
using kest::server::testing::multipleRequestMessage;
using kest::server::testing::parameter;

namespace {

// What the service answered.
struct Answer {
  int status = 0;
  std::string cimError;
  std::string detail;
  bool streamed = false;
  std::string body;
  int code = -1;  // the final CIM status
  std::string description;
};

std::size_t count(const std::string& text, const std::string& part) {
  std::size_t n = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++n;
  return n;
}

std::string fooName(const char* name = "abc", const char* id = "42") {
  return instanceNameXml("Test_Foo", {{"Name", "string", name}, {"Id", "numeric", id}});
}

std::string className(const char* name) {
  return "<CLASSNAME NAME=\"" + std::string(name) + "\"/>";
}

// The service over the test and throwing providers, with the classes of mof
// (when given) compiled before the providers declare theirs.
struct ServiceRig {
  explicit ServiceRig(const std::string& mof = std::string())
      : catalog("root/cimv2"),
        parser(catalog, 64),
        dispatcher(providers, catalog, {"root/cimv2", "root/interop"}),
        service(parser, dispatcher) {
    if (!mof.empty()) catalog.compileMofText("classes.mof", mof);
    providers.start({ProviderSpec{KEST_TEST_PROVIDER, "root/cimv2"},
                     ProviderSpec{KEST_THROWING_PROVIDER, "root/cimv2"}},
                    catalog.repository(), "", catalog);
  }
  ClassCatalog catalog;
  ProviderSet providers;
  RequestParser parser;
  Dispatcher dispatcher;
  CimService service;
};

class CimServiceTest : public ::testing::Test {
 protected:
  CimServiceTest() : _rig(std::make_unique<ServiceRig>()) {}

  // Serves the classes of mof from now on.
  void serveClasses(const std::string& mof) {
    _rig.reset();
    _rig = std::make_unique<ServiceRig>(mof);
  }

  Answer askWith(const std::map<std::string, std::string>& headers, const std::string& body) const {
    CimHttpRequest request;
    request.header = [&headers](const char* name) -> std::optional<std::string> {
      for (const auto& [key, value] : headers) {
        if (TOVString(key).compareTo(name, 0) == 0) return value;
      }
      return std::nullopt;
    };
    request.body = body;
    request.host = "myhost";
    const CimResponse response = _rig->service.handle(request);
    Answer answer;
    answer.status = response.httpStatus;
    answer.cimError = response.cimError;
    answer.detail = response.detail;
    answer.streamed = response.streamed;
    if (response.writeBody) {
      StringBody text;
      const CimError status = response.writeBody(text);
      answer.body = text.text();
      answer.code = status.code();
      answer.description = status.description();
    }
    return answer;
  }

  Answer ask(const std::string& method, const std::string& body,
             const std::string& object = "root%2Fcimv2") const {
    return askWith({{"CIMOperation", "MethodCall"},
                    {"CIMMethod", method},
                    {"CIMObject", object},
                    {"CIMProtocolVersion", "1.0"}},
                   body);
  }

  Answer intrinsic(const std::string& method, const std::string& parameters,
                   const std::string& nameSpace = "root/cimv2") const {
    return ask(method, intrinsicCall(method, parameters, nameSpace), nameSpace);
  }

  TOVScopedLogCapture _capture;
  std::unique_ptr<ServiceRig> _rig;
};

// "<code>: <description>" of the ERROR element, or "" without one.
std::string errorOf(const Answer& answer) {
  const std::size_t at = answer.body.find("<ERROR CODE=\"");
  if (at == std::string::npos) return "";
  const std::size_t code = at + 13;
  const std::size_t codeEnd = answer.body.find('"', code);
  const std::size_t description = answer.body.find("DESCRIPTION=\"", codeEnd) + 13;
  return answer.body.substr(code, codeEnd - code) + ": " +
         answer.body.substr(description, answer.body.find('"', description) - description);
}

}  // namespace

// --- instance operations ----------------------------------------------------------

TEST_F(CimServiceTest, EnumerateInstancesStreamsTheClassAndItsSubclasses) {
  const Answer answer =
      intrinsic("EnumerateInstances", parameter("ClassName", className("Test_Foo")));
  EXPECT_EQ(answer.status, 200);
  EXPECT_TRUE(answer.streamed);
  EXPECT_EQ(answer.code, 0);
  EXPECT_EQ(count(answer.body, "<VALUE.NAMEDINSTANCE>"), 3u);
  EXPECT_NE(answer.body.find("<INSTANCE CLASSNAME=\"Test_FooChild\">"), std::string::npos);
  EXPECT_NE(answer.body.find("<PROPERTY NAME=\"Descr\" TYPE=\"string\"><VALUE>hello &amp; "
                             "&lt;world&gt;</VALUE></PROPERTY>"),
            std::string::npos);
  EXPECT_EQ(dtdErrors(answer.body), "");
}

TEST_F(CimServiceTest, EnumerateInstanceNamesOfABaseClassReachesItsSubclasses) {
  const Answer answer =
      intrinsic("EnumerateInstanceNames", parameter("ClassName", className("TEST_BASE")));
  EXPECT_EQ(count(answer.body, "<INSTANCENAME "), 3u);
  EXPECT_NE(answer.body.find("<INSTANCENAME CLASSNAME=\"Test_FooChild\"><KEYBINDING NAME=\"Name\">"
                             "<KEYVALUE VALUETYPE=\"string\" TYPE=\"string\">kid</KEYVALUE>"),
            std::string::npos);
  EXPECT_EQ(dtdErrors(answer.body), "");
}

TEST_F(CimServiceTest, PropertyListKeepsOnlyTheNamedProperties) {
  const Answer answer = intrinsic(
      "EnumerateInstances",
      parameter("ClassName", className("Test_Foo")) +
          parameter("PropertyList",
                    "<VALUE.ARRAY><VALUE>name</VALUE><VALUE>Extra</VALUE></VALUE.ARRAY>"));
  EXPECT_EQ(count(answer.body, "<PROPERTY "), 4u);
  EXPECT_EQ(count(answer.body, "<PROPERTY NAME=\"Name\""), 3u);
  EXPECT_EQ(count(answer.body, "<PROPERTY NAME=\"Extra\""), 1u);
  // Keys stay in the instance names.
  EXPECT_EQ(count(answer.body, "<KEYBINDING NAME=\"Id\">"), 3u);
}

TEST_F(CimServiceTest, GetInstanceReturnsTheInstanceOrNotFound) {
  const Answer found = intrinsic("GetInstance", parameter("InstanceName", fooName()));
  EXPECT_FALSE(found.streamed);
  EXPECT_EQ(found.code, 0);
  EXPECT_NE(found.body.find("<IRETURNVALUE><INSTANCE CLASSNAME=\"Test_Foo\">"), std::string::npos);
  EXPECT_EQ(dtdErrors(found.body), "");
  const Answer missing = intrinsic("GetInstance", parameter("InstanceName", fooName("none", "9")));
  EXPECT_EQ(errorOf(missing), "6: Instance not found: test_foo.id=9,name=&quot;none&quot;");
  EXPECT_EQ(missing.code, 6);
  EXPECT_EQ(dtdErrors(missing.body), "");
}

TEST_F(CimServiceTest, GetPropertyReturnsTheValueNothingForNullOrNoSuchProperty) {
  const auto get = [this](const char* property) {
    return intrinsic("GetProperty",
                     parameter("InstanceName", fooName()) +
                         parameter("PropertyName", std::string("<VALUE>") + property + "</VALUE>"));
  };
  EXPECT_NE(get("descr").body.find("<IRETURNVALUE><VALUE>hello &amp; &lt;world&gt;</VALUE>"
                                   "</IRETURNVALUE>"),
            std::string::npos);
  EXPECT_NE(get("Nothing").body.find("<IRETURNVALUE></IRETURNVALUE>"), std::string::npos);
  EXPECT_EQ(errorOf(get("Missing")), "12: The instance has no property Missing");
}

TEST_F(CimServiceTest, WritingOperationsAreRefusedByTheFramework) {
  EXPECT_EQ(
      errorOf(intrinsic("CreateInstance", parameter("NewInstance",
                                                    "<INSTANCE CLASSNAME=\"Test_Foo\">"
                                                    "<PROPERTY NAME=\"Name\" TYPE=\"string\">"
                                                    "<VALUE>n</VALUE></PROPERTY></INSTANCE>"))),
      "7: CreateInstance is not supported for the class Test_Foo: its provider created no "
      "instance");
  EXPECT_EQ(
      errorOf(intrinsic("ModifyInstance",
                        parameter("ModifiedInstance", "<VALUE.NAMEDINSTANCE>" + fooName() +
                                                          "<INSTANCE CLASSNAME=\"Test_Foo\">"
                                                          "</INSTANCE></VALUE.NAMEDINSTANCE>"))),
      "7: ModifyInstance intrinsic not supported");
  EXPECT_EQ(errorOf(intrinsic("DeleteInstance", parameter("InstanceName", fooName()))),
            "7: DeleteInstance intrinsic not supported");
  EXPECT_EQ(errorOf(intrinsic("SetProperty", parameter("InstanceName", fooName()) +
                                                 parameter("PropertyName", "<VALUE>Descr</VALUE>") +
                                                 parameter("NewValue", "<VALUE>x</VALUE>"))),
            "7: intrinsic not supported");
}

TEST_F(CimServiceTest, MethodCallReturnsItsValueAndOutputParameters) {
  const Answer answer = ask("DoIt",
                            methodCall("DoIt", fooName(),
                                       "<PARAMVALUE NAME=\"S\"><VALUE>hi</VALUE></PARAMVALUE>"
                                       "<PARAMVALUE NAME=\"N\"><VALUE>7</VALUE></PARAMVALUE>"),
                            "root%2Fcimv2%3ATest_Foo.Name=\"abc\",Id=42");
  EXPECT_EQ(answer.code, 0);
  EXPECT_NE(answer.body.find("<METHODRESPONSE NAME=\"DoIt\"><RETURNVALUE PARAMTYPE=\"uint32\">"
                             "<VALUE>0</VALUE></RETURNVALUE><PARAMVALUE NAME=\"Result\" "
                             "PARAMTYPE=\"string\"><VALUE>done: hi/7</VALUE></PARAMVALUE>"
                             "</METHODRESPONSE>"),
            std::string::npos)
      << answer.body;
  EXPECT_EQ(dtdErrors(answer.body), "");
  const Answer missing =
      ask("DoIt", methodCall("DoIt", fooName("none", "1"), ""), "root%2Fcimv2%3ATest_Foo");
  EXPECT_EQ(errorOf(missing),
            "6: The requested object could not be found. It may not exist or it may have been "
            "removed at an earlier time.");
}

TEST_F(CimServiceTest, AssociatorsFetchReferencedObjectsFromTheProviderOfTheirClass) {
  const Answer answer =
      intrinsic("Associators",
                parameter("ObjectName", instanceNameXml("Test_Slow", {{"Id", "numeric", "1"}})));
  EXPECT_EQ(answer.code, 0);
  EXPECT_EQ(count(answer.body, "<VALUE.OBJECTWITHPATH>"), 1u);
  EXPECT_NE(answer.body.find("<INSTANCE CLASSNAME=\"Test_Bar\"><PROPERTY NAME=\"Tag\" "
                             "TYPE=\"string\"><VALUE>b1</VALUE></PROPERTY><PROPERTY NAME=\"Size\" "
                             "TYPE=\"uint64\"><VALUE>1024</VALUE></PROPERTY></INSTANCE>"),
            std::string::npos)
      << answer.body;
  EXPECT_EQ(_capture.sink().count("Associators: test_bar.tag=\"none\" cannot be fetched; left out"),
            1u);
  EXPECT_EQ(dtdErrors(answer.body), "");
}

TEST_F(CimServiceTest, AssociationRequestsOnAClassAreNotSupported) {
  EXPECT_EQ(errorOf(intrinsic("AssociatorNames", parameter("ObjectName", className("Test_Foo")))),
            "7: Association requests on a class are not supported");
}

TEST_F(CimServiceTest, EveryCimTypePassesThroughAMethodCallBothWays) {
  const std::string bar =
      "<INSTANCEPATH><NAMESPACEPATH><HOST>h</HOST>" +
      kest::server::testing::localNameSpacePath("root/cimv2") +
      "</NAMESPACEPATH><INSTANCENAME CLASSNAME=\"Test_Bar\"><KEYBINDING NAME=\"Tag\"><KEYVALUE "
      "VALUETYPE=\"string\" "
      "TYPE=\"string\">b1</KEYVALUE></KEYBINDING></INSTANCENAME></INSTANCEPATH>";
  const std::string embedded =
      "&lt;INSTANCE CLASSNAME=&quot;Test_E&quot;&gt;&lt;PROPERTY NAME=&quot;S&quot; "
      "TYPE=&quot;string&quot;&gt;&lt;VALUE&gt;x&amp;amp;y&lt;/VALUE&gt;&lt;/PROPERTY&gt;"
      "&lt;/INSTANCE&gt;";
  // Each parameter as sent, which Echo sends back unchanged.
  const std::vector<std::string> parameters = {
      "<PARAMVALUE NAME=\"B\" PARAMTYPE=\"boolean\"><VALUE>TRUE</VALUE></PARAMVALUE>",
      "<PARAMVALUE NAME=\"U8\" PARAMTYPE=\"uint8\"><VALUE>255</VALUE></PARAMVALUE>",
      "<PARAMVALUE NAME=\"S8\" PARAMTYPE=\"sint8\"><VALUE>-128</VALUE></PARAMVALUE>",
      "<PARAMVALUE NAME=\"U16\" PARAMTYPE=\"uint16\"><VALUE>65535</VALUE></PARAMVALUE>",
      "<PARAMVALUE NAME=\"S16\" PARAMTYPE=\"sint16\"><VALUE>-32768</VALUE></PARAMVALUE>",
      "<PARAMVALUE NAME=\"U32\" PARAMTYPE=\"uint32\"><VALUE>4294967295</VALUE></PARAMVALUE>",
      "<PARAMVALUE NAME=\"S32\" PARAMTYPE=\"sint32\"><VALUE>-2147483648</VALUE></PARAMVALUE>",
      "<PARAMVALUE NAME=\"U64\" "
      "PARAMTYPE=\"uint64\"><VALUE>18446744073709551615</VALUE></PARAMVALUE>",
      "<PARAMVALUE NAME=\"S64\" "
      "PARAMTYPE=\"sint64\"><VALUE>-9223372036854775808</VALUE></PARAMVALUE>",
      "<PARAMVALUE NAME=\"R32\" PARAMTYPE=\"real32\"><VALUE>0.5</VALUE></PARAMVALUE>",
      "<PARAMVALUE NAME=\"R64\" PARAMTYPE=\"real64\"><VALUE>-2.5e-300</VALUE></PARAMVALUE>",
      "<PARAMVALUE NAME=\"C\" PARAMTYPE=\"char16\"><VALUE>\xC3\xA9</VALUE></PARAMVALUE>",
      "<PARAMVALUE NAME=\"S\" PARAMTYPE=\"string\"><VALUE>a &lt;b&gt; &amp; c</VALUE></PARAMVALUE>",
      "<PARAMVALUE NAME=\"D\" "
      "PARAMTYPE=\"datetime\"><VALUE>20240102030405.000000+060</VALUE></PARAMVALUE>",
      "<PARAMVALUE NAME=\"R\" PARAMTYPE=\"reference\"><VALUE.REFERENCE>" + bar +
          "</VALUE.REFERENCE></PARAMVALUE>",
      "<PARAMVALUE NAME=\"E\" PARAMTYPE=\"string\" EmbeddedObject=\"instance\"><VALUE>" + embedded +
          "</VALUE></PARAMVALUE>",
      "<PARAMVALUE NAME=\"A\" PARAMTYPE=\"uint16\"><VALUE.ARRAY><VALUE>1</VALUE><VALUE>2</VALUE>"
      "</VALUE.ARRAY></PARAMVALUE>",
      "<PARAMVALUE NAME=\"RA\" PARAMTYPE=\"reference\"><VALUE.REFARRAY><VALUE.REFERENCE>" + bar +
          "</VALUE.REFERENCE></VALUE.REFARRAY></PARAMVALUE>",
  };
  std::string sent;
  for (const std::string& parameter : parameters) sent += parameter;
  const Answer answer =
      ask("Echo",
          methodCall("Echo", fooName(),
                     sent + "<PARAMVALUE NAME=\"Null\" PARAMTYPE=\"uint8\"></PARAMVALUE>"),
          "root%2Fcimv2%3ATest_Foo");
  EXPECT_EQ(answer.code, 0);
  EXPECT_NE(answer.body.find("<METHODRESPONSE NAME=\"Echo\"><RETURNVALUE PARAMTYPE=\"uint32\">"
                             "<VALUE>19</VALUE></RETURNVALUE>" +
                             sent + "</METHODRESPONSE>"),
            std::string::npos)
      << answer.body;
  EXPECT_EQ(dtdErrors(answer.body), "");
}

// --- routing --------------------------------------------------------------------

TEST_F(CimServiceTest, ANamespaceTheServerDoesNotServeIsInvalidNamespace) {
  const Answer answer =
      intrinsic("EnumerateInstances", parameter("ClassName", className("Test_Foo")), "root/other");
  EXPECT_FALSE(answer.streamed);
  EXPECT_EQ(errorOf(answer), "3: The namespace root/other is not served");
}

TEST_F(CimServiceTest, AClassTheServerDoesNotKnowIsInvalidClass) {
  EXPECT_EQ(
      errorOf(intrinsic("EnumerateInstances", parameter("ClassName", className("Test_Nothing")))),
      "5: The class Test_Nothing does not exist in namespace root/cimv2");
  EXPECT_EQ(errorOf(intrinsic("GetInstance",
                              parameter("InstanceName", instanceNameXml("Test_Nothing", {})))),
            "5: The class Test_Nothing does not exist in namespace root/cimv2");
  EXPECT_EQ(errorOf(intrinsic("EnumerateInstances", parameter("ClassName", className("Test_Foo")),
                              "root/interop")),
            "5: The class Test_Foo does not exist in namespace root/interop");
}

// --- class operations -------------------------------------------------------------

TEST_F(CimServiceTest, ClassRequestsAreAnsweredFromTheDeclaredClasses) {
  const Answer cls = intrinsic("GetClass", parameter("ClassName", className("test_foo")));
  EXPECT_NE(cls.body.find("<IRETURNVALUE><CLASS NAME=\"Test_Foo\" SUPERCLASS=\"Test_Base\">"
                          "</CLASS></IRETURNVALUE>"),
            std::string::npos);
  EXPECT_EQ(dtdErrors(cls.body), "");
  EXPECT_EQ(errorOf(intrinsic("GetClass", parameter("ClassName", className("Test_Nothing")))),
            "6: The class Test_Nothing does not exist in namespace root/cimv2");
  const Answer link = intrinsic("GetClass", parameter("ClassName", className("Test_FooBar")));
  EXPECT_NE(link.body.find("<CLASS NAME=\"Test_FooBar\"><QUALIFIER NAME=\"Association\""),
            std::string::npos);

  const Answer names =
      intrinsic("EnumerateClassNames", parameter("ClassName", className("Test_Base")) +
                                           parameter("DeepInheritance", "<VALUE>TRUE</VALUE>"));
  EXPECT_TRUE(names.streamed);
  EXPECT_NE(names.body.find("<IRETURNVALUE><CLASSNAME NAME=\"Test_Foo\"/><CLASSNAME "
                            "NAME=\"Test_FooChild\"/></IRETURNVALUE>"),
            std::string::npos);
  const Answer top = intrinsic("EnumerateClassNames", "");
  EXPECT_EQ(count(top.body, "<CLASSNAME "), 16u);  // 3 root classes here, 13 of the throwing one
  EXPECT_EQ(dtdErrors(top.body), "");
  const Answer classes =
      intrinsic("EnumerateClasses", parameter("ClassName", className("Test_Foo")));
  EXPECT_NE(classes.body.find("<IRETURNVALUE><CLASS NAME=\"Test_FooChild\" SUPERCLASS=\"Test_Foo\">"
                              "</CLASS></IRETURNVALUE>"),
            std::string::npos);
  EXPECT_EQ(errorOf(intrinsic("EnumerateClassNames", parameter("ClassName", className("Nope")))),
            "5: The class Nope does not exist in namespace root/cimv2");
}

TEST_F(CimServiceTest, FullClassDefinitionsDriveDeepInheritanceLocalOnlyAndClassOrigin) {
  serveClasses(
      "class Test_Base { [Key] string Name; };\n"
      "class Test_Foo : Test_Base { uint32 Id; };\n"
      "class Test_FooChild : Test_Foo { string Extra; };\n");
  const std::string name = parameter("ClassName", className("Test_Foo"));

  const Answer shallow =
      intrinsic("EnumerateInstances", name + parameter("DeepInheritance", "<VALUE>FALSE</VALUE>"));
  EXPECT_EQ(count(shallow.body, "<PROPERTY NAME=\"Extra\""), 0u);
  EXPECT_EQ(count(shallow.body, "<PROPERTY NAME=\"Descr\""), 0u);
  EXPECT_EQ(count(shallow.body, "<PROPERTY NAME=\"Name\""), 3u);

  const Answer local =
      intrinsic("EnumerateInstances", name + parameter("LocalOnly", "<VALUE>TRUE</VALUE>"));
  EXPECT_EQ(count(local.body, "<PROPERTY NAME=\"Name\""), 0u);
  EXPECT_EQ(count(local.body, "<PROPERTY NAME=\"Id\""), 3u);
  EXPECT_EQ(count(local.body, "<PROPERTY NAME=\"Extra\""), 0u);

  const Answer origins = intrinsic("EnumerateInstances",
                                   name + parameter("IncludeClassOrigin", "<VALUE>TRUE</VALUE>"));
  EXPECT_EQ(
      count(origins.body, "<PROPERTY NAME=\"Name\" TYPE=\"string\" CLASSORIGIN=\"Test_Base\">"),
      3u);
  EXPECT_EQ(count(origins.body,
                  "<PROPERTY NAME=\"Extra\" TYPE=\"string\" "
                  "CLASSORIGIN=\"Test_FooChild\">"),
            1u);
  EXPECT_EQ(dtdErrors(origins.body), "");
}

// --- provider errors ----------------------------------------------------------------

TEST_F(CimServiceTest, EveryProviderErrorBecomesItsCimErrorAndTheServiceCarriesOn) {
  const std::vector<std::pair<const char*, std::string>> cases = {
      {"Test_ErrNotSupported", "7: not supported here"},
      {"Test_ErrParameter", "4: Missing parameter X"},
      {"Test_ErrClass", "5: Undeclared class Y"},
      {"Test_ErrNotFound", "6: object not cached"},
      {"Test_ErrFailed", "1: wrong value type"},
      {"Test_ErrHost", "1: host failure"},
      {"Test_ErrFatal", "1: ! &quot;provider assertion&quot;"},
      {"Test_ErrStd", "1: standard failure"},
      {"Test_ErrUnknown", "1: unknown exception"},
  };
  for (const auto& [cls, expected] : cases) {
    EXPECT_EQ(errorOf(intrinsic(
                  "GetInstance",
                  parameter("InstanceName", instanceNameXml(cls, {{"Id", "numeric", "1"}})))),
              expected)
        << cls;
    const Answer enumeration =
        intrinsic("EnumerateInstances", parameter("ClassName", className(cls)));
    EXPECT_EQ(errorOf(enumeration), expected) << cls;
    EXPECT_EQ(dtdErrors(enumeration.body), "") << cls;
  }
  EXPECT_EQ(intrinsic("GetInstance", parameter("InstanceName", fooName())).code, 0);
}

TEST_F(CimServiceTest, AnErrorBeforeAnythingWasSentReplacesThePartialResultsWithTheError) {
  const Answer answer =
      intrinsic("EnumerateInstances", parameter("ClassName", className("Test_MidwaySmall")));
  EXPECT_EQ(count(answer.body, "<VALUE.NAMEDINSTANCE>"), 0u);
  EXPECT_EQ(errorOf(answer), "1: standard failure");
  EXPECT_EQ(answer.code, 1);
}

TEST_F(CimServiceTest, AnErrorAfterResultsWereSentCompletesTheDocumentAndReportsTheStatus) {
  const Answer answer =
      intrinsic("EnumerateInstances", parameter("ClassName", className("Test_Midway")));
  EXPECT_EQ(answer.status, 200);
  EXPECT_EQ(count(answer.body, "<VALUE.NAMEDINSTANCE>"), 2000u);
  EXPECT_EQ(errorOf(answer), "");
  EXPECT_EQ(answer.code, 1);
  EXPECT_EQ(answer.description, "standard failure");
  EXPECT_EQ(dtdErrors(answer.body), "");
}

TEST_F(CimServiceTest, AClientThatGoesAwayStopsTheStream) {
  class GoneBody : public ResponseBody {
   public:
    bool write(std::string_view) override { return false; }
  };
  CimHttpRequest request;
  const std::map<std::string, std::string> headers{{"CIMOperation", "MethodCall"},
                                                   {"CIMMethod", "EnumerateInstances"},
                                                   {"CIMObject", "root/cimv2"}};
  request.header = [&headers](const char* name) -> std::optional<std::string> {
    const auto it = headers.find(name);
    if (it == headers.end()) return std::nullopt;
    return it->second;
  };
  const std::string body =
      intrinsicCall("EnumerateInstances", parameter("ClassName", className("Test_Midway")));
  request.body = body;
  request.host = "h";
  const CimResponse response = _rig->service.handle(request);
  GoneBody gone;
  EXPECT_THROW(response.writeBody(gone), ClientGone);
}

TEST_F(CimServiceTest, FailuresAreLoggedWarningsForServerFailuresInformationOtherwise) {
  intrinsic("GetInstance", parameter("InstanceName", fooName("none", "9")));
  intrinsic("GetInstance",
            parameter("InstanceName", instanceNameXml("Test_ErrStd", {{"Id", "numeric", "1"}})));
  ask("GetClass", "<CIM/>");
  std::vector<std::string> records;
  for (const TOVLogRecord& record : _capture.records()) {
    if (record.source != TOVString("kest::server::CimService")) continue;
    records.push_back(std::to_string(record.severity) + " " + record.message.toStdString());
    EXPECT_EQ(record.category, TOVLog::CIMOMLOG);
  }
  EXPECT_EQ(records,
            (std::vector<std::string>{
                "3 GetInstance failed: CIM_ERR_NOT_FOUND: Instance not found: "
                "test_foo.id=9,name=\"none\"",
                "2 GetInstance failed: CIM_ERR_FAILED: standard failure",
                "2 request refused: 400 request-not-valid: element CIM lacks its CIMVERSION "
                "attribute"}));
}

// --- HTTP-level refusals --------------------------------------------------------------

TEST_F(CimServiceTest, CimHeadersAreChecked) {
  const std::string body = intrinsicCall("EnumerateClassNames", "");
  const auto refusal = [&](std::map<std::string, std::string> headers) {
    const Answer answer = askWith(headers, body);
    return std::to_string(answer.status) + " " + answer.cimError + ": " + answer.detail;
  };
  EXPECT_EQ(refusal({{"CIMMethod", "EnumerateClassNames"}, {"CIMObject", "root/cimv2"}}),
            "400 unsupported-operation: the request has no CIMOperation header");
  EXPECT_EQ(refusal({{"CIMOperation", "MethodResponse"},
                     {"CIMMethod", "EnumerateClassNames"},
                     {"CIMObject", "root/cimv2"}}),
            "400 unsupported-operation: CIMOperation MethodResponse is not MethodCall");
  EXPECT_EQ(refusal({{"CIMOperation", "MethodCall"},
                     {"CIMProtocolVersion", "2.0"},
                     {"CIMMethod", "EnumerateClassNames"},
                     {"CIMObject", "root/cimv2"}}),
            "501 unsupported-protocol-version: CIMProtocolVersion 2.0 is not supported");
  EXPECT_EQ(refusal({{"CIMOperation", "MethodCall"}, {"CIMObject", "root/cimv2"}}),
            "400 header-mismatch: the request has no CIMMethod header");
  EXPECT_EQ(refusal({{"CIMOperation", "MethodCall"}, {"CIMMethod", "EnumerateClassNames"}}),
            "400 header-mismatch: the request has no CIMObject header");
  EXPECT_EQ(
      refusal(
          {{"CIMOperation", "MethodCall"}, {"CIMMethod", "GetClass"}, {"CIMObject", "root/cimv2"}}),
      "400 header-mismatch: CIMMethod GetClass does not match the method EnumerateClassNames");
  EXPECT_EQ(refusal({{"CIMOperation", "MethodCall"},
                     {"CIMMethod", "EnumerateClassNames"},
                     {"CIMObject", "root%2Finterop"}}),
            "400 header-mismatch: CIMObject root/interop does not name the namespace root/cimv2");
  EXPECT_EQ(refusal({{"CIMOperation", "methodcall"},
                     {"CIMMethod", "enumerateclassnames"},
                     {"CIMObject", "ROOT%2FCIMV2"}}),
            "200 : ");
}

TEST_F(CimServiceTest, AMultipleRequestGets501WhateverCimHeadersItCarries) {
  const std::string call = "<IMETHODCALL NAME=\"EnumerateClassNames\">" +
                           localNameSpacePath("root/cimv2") + "</IMETHODCALL>";
  const std::string body = multipleRequestMessage({call, call});
  const auto refusal = [&](std::map<std::string, std::string> headers) {
    const Answer answer = askWith(headers, body);
    return std::to_string(answer.status) + " " + answer.cimError;
  };
  // What a client sends with a multiple request: no CIMMethod, no CIMObject.
  EXPECT_EQ(refusal({{"CIMOperation", "MethodCall"}, {"CIMProtocolVersion", "1.0"}}),
            "501 multiple-requests-unsupported");
  EXPECT_EQ(refusal({{"CIMOperation", "MethodCall"},
                     {"CIMMethod", "EnumerateClassNames"},
                     {"CIMObject", "root/cimv2"}}),
            "501 multiple-requests-unsupported");
}

TEST_F(CimServiceTest, MethodCallObjectHeaderMustNameTheNamespaceAndClass) {
  const std::string body = methodCall("DoIt", fooName(), "");
  EXPECT_EQ(ask("DoIt", body, "root%2Fcimv2%3ATest_Foo.Name=\"abc\",Id=42").status, 200);
  const Answer wrongClass = ask("DoIt", body, "root%2Fcimv2%3ATest_Bar.Tag=\"b1\"");
  EXPECT_EQ(wrongClass.status, 400);
  EXPECT_EQ(wrongClass.detail,
            "CIMObject root/cimv2:Test_Bar.Tag=\"b1\" does not name the class Test_Foo");
  EXPECT_EQ(ask("DoIt", body, "root%2Fcimv2").detail, "CIMObject root/cimv2 names no object path");
}

TEST_F(CimServiceTest, RequestsTheParserRefusesKeepItsStatusAndCimError) {
  const Answer answer = ask("GetInstance", "<CIM><broken></CIM>");
  EXPECT_EQ(answer.status, 400);
  EXPECT_EQ(answer.cimError, "request-not-well-formed");
  EXPECT_TRUE(answer.body.empty());
}

TEST_F(CimServiceTest, AnUnsupportedOperationIsACimErrorInTheResponse) {
  const Answer answer = intrinsic("ExecQuery", "");
  EXPECT_EQ(answer.status, 200);
  EXPECT_EQ(errorOf(answer), "7: the operation ExecQuery is not supported");
  EXPECT_NE(answer.body.find("<MESSAGE ID=\"4711\" PROTOCOLVERSION=\"1.0\"><SIMPLERSP>"
                             "<IMETHODRESPONSE NAME=\"ExecQuery\"><ERROR"),
            std::string::npos);
  EXPECT_EQ(dtdErrors(answer.body), "");
}
