// End-to-end tests: the real wbemcli against an in-process kest-server with
// the test providers, through a proxy that records every response so that
// each body is validated against the CIM DTD.

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "host/Log.h"
#include "server/Server.h"
#include "tests/server/HttpTestSupport.h"
#include "tests/server/ServerTestSupport.h"
#include "tests/server/WbemcliRunner.h"

using kest::server::ProviderSpec;
using kest::server::Server;
using kest::server::ServerSettings;
using kest::server::testing::cimPost;
using kest::server::testing::dtdErrors;
using kest::server::testing::HttpResponse;
using kest::server::testing::instanceNameXml;
using kest::server::testing::methodCall;
using kest::server::testing::RawConnection;
using kest::server::testing::RecordingProxy;
using kest::server::testing::replaced;
using kest::server::testing::runWbemcli;
using kest::server::testing::WbemcliRun;

namespace {

class WbemcliTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    _capture = new TOVScopedLogCapture();
    ServerSettings settings;
    settings.http.port = 0;
    settings.providers = {ProviderSpec{KEST_TEST_PROVIDER, ""},
                          ProviderSpec{KEST_THROWING_PROVIDER, ""}};
    // wbemcli reads the class before ci, sp and cm: the MOF file defines it.
    settings.mofFiles = {kest::server::testing::dataPath("test.mof")};
    _server = new Server(settings);
    _port = _server->start();
    _proxy = new RecordingProxy(_port);
  }

  static void TearDownTestSuite() {
    delete _proxy;
    delete _server;
    delete _capture;
  }

  // Runs wbemcli with args (see runWbemcli).
  static WbemcliRun wbemcli(const std::vector<std::string>& args) {
    return runWbemcli(*_proxy, args);
  }

  static std::string cimError(int code, const std::string& name, const std::string& text) {
    return "*\n* wbemcli: Cim: (" + std::to_string(code) + ") " + name + ": " + text + "\n*\n";
  }

  // Sends a raw method call with parameters (PARAMVALUE elements) to the
  // server; returns the response body.
  static std::string rawCall(const std::string& method, const std::string& parameters) {
    RawConnection connection(_port);
    connection.send(cimPost(method,
                            methodCall(method,
                                       instanceNameXml("Test_Foo", {{"Name", "string", "abc"},
                                                                    {"Id", "numeric", "42"}}),
                                       parameters),
                            "root%2Fcimv2%3ATest_Foo.Name=\"abc\",Id=42"));
    return connection.receive().body;
  }

  static TOVScopedLogCapture* _capture;
  static int _port;
  static Server* _server;
  static RecordingProxy* _proxy;
};

TOVScopedLogCapture* WbemcliTest::_capture = nullptr;
int WbemcliTest::_port = 0;
Server* WbemcliTest::_server = nullptr;
RecordingProxy* WbemcliTest::_proxy = nullptr;

const char* const kAbc = "URL/root/cimv2:Test_Foo.Name=\"abc\",Id=42";
const char* const kAbcLine =
    "HOST/root/cimv2:Test_Foo.Name=\"abc\",Id=42 Name=\"abc\",Id=42,Flag=TRUE,"
    "Descr=\"hello & <world>\",Count=-5,Vals=1,2,Tags=\"t1\",\"t,2\","
    "Peer=HOST/root/cimv2Test_Bar.Tag=\"b1\",U8=255,S8=-128,U16=65535,S16=-32768,"
    "S32=-2147483648,U64=18446744073709551615,R32=0.25,R64=1.5e+10,C16=x,"
    "When=20240102030405.000000+000,Obj=\"<INSTANCE CLASSNAME=\\\"Test_Bar\\\"><PROPERTY "
    "NAME=\\\"Tag\\\" TYPE=\\\"string\\\"><VALUE>e</VALUE></PROPERTY></INSTANCE>\",Nothing=";

}  // namespace

TEST_F(WbemcliTest, EnumerateInstancesPrintsEveryInstanceOfTheClassTree) {
  const WbemcliRun run = wbemcli({"ei", "URL/root/cimv2:Test_Foo"});
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(
      run.out,
      "HOST/root/cimv2:Test_Foo.Name=\"x y\\\"z\",Id=7 Name=\"x y\\\"z\",Id=7,Flag=FALSE,Descr=\n" +
          std::string(kAbcLine) +
          "\nHOST/root/cimv2:Test_FooChild.Name=\"kid\",Id=1 Name=\"kid\",Id=1,Extra=\"child "
          "only\"\n");
  ASSERT_EQ(run.responses.size(), 1u);
  EXPECT_TRUE(run.responses[0].chunked);
  EXPECT_EQ(run.responses[0].trailer("CIMStatusCode"), "0");
}

TEST_F(WbemcliTest, EnumerateInstancesWithAPropertyList) {
  const WbemcliRun run = wbemcli({"ei", "URL/root/cimv2:Test_Base", "Name,Extra"});
  EXPECT_EQ(run.out,
            "HOST/root/cimv2:Test_Foo.Name=\"x y\\\"z\",Id=7 Name=\"x y\\\"z\"\n"
            "HOST/root/cimv2:Test_Foo.Name=\"abc\",Id=42 Name=\"abc\"\n"
            "HOST/root/cimv2:Test_FooChild.Name=\"kid\",Id=1 Name=\"kid\",Extra=\"child only\"\n");
}

TEST_F(WbemcliTest, EnumerateInstanceNamesPrintsEveryName) {
  const WbemcliRun run = wbemcli({"ein", "URL/root/cimv2:Test_Foo"});
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(run.out,
            "HOST/root/cimv2:Test_Foo.Name=\"x y\\\"z\",Id=7\n"
            "HOST/root/cimv2:Test_Foo.Name=\"abc\",Id=42\n"
            "HOST/root/cimv2:Test_FooChild.Name=\"kid\",Id=1\n");
  const WbemcliRun bars = wbemcli({"ein", "URL/root/cimv2:Test_Bar"});
  EXPECT_EQ(bars.out, "HOST/root/cimv2:Test_Bar.Tag=\"b1\"\nHOST/root/cimv2:Test_Bar.Tag=\"b2\"\n");
}

TEST_F(WbemcliTest, GetInstancePrintsTheInstance) {
  const WbemcliRun run = wbemcli({"gi", kAbc});
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(run.out, replaced(std::string(kAbcLine) + "\n", "Test_Foo.Name=\"abc\",Id=42 ",
                              "Test_Foo.Name=\"abc\",Id=\"42\" "));
}

TEST_F(WbemcliTest, GetInstanceWithAPropertyList) {
  const WbemcliRun run = wbemcli({"gi", kAbc, "Descr,Count"});
  EXPECT_EQ(run.out,
            "HOST/root/cimv2:Test_Foo.Name=\"abc\",Id=\"42\" Descr=\"hello & <world>\",Count=-5\n");
}

TEST_F(WbemcliTest, GetInstanceOfAMissingObjectIsNotFound) {
  const WbemcliRun run = wbemcli({"gi", "URL/root/cimv2:Test_Foo.Name=\"none\",Id=1"});
  EXPECT_EQ(run.exitCode, 16);
  EXPECT_EQ(run.err,
            cimError(6, "CIM_ERR_NOT_FOUND", "Instance not found: test_foo.id=1,name=\"none\""));
}

TEST_F(WbemcliTest, AnUnescapedKeyValueGetsRequestNotWellFormed) {
  const WbemcliRun run = wbemcli({"gi", "URL/root/cimv2:Test_Foo.Name=\"a&b<c>d\",Id=42"});
  EXPECT_EQ(run.exitCode, 16);
  EXPECT_EQ(run.err, "*\n* wbemcli: Http Exception: HTTP response code said error\n*\n");
  ASSERT_EQ(run.responses.size(), 1u);
  EXPECT_EQ(run.responses[0].status, 400);
  EXPECT_EQ(run.responses[0].header("CIMError"), "request-not-well-formed");
  // The server goes on serving.
  EXPECT_EQ(wbemcli({"gi", kAbc}).exitCode, 0);
}

TEST_F(WbemcliTest, ModifyInstanceIsRefused) {
  const WbemcliRun run = wbemcli({"mi", kAbc, "Descr=\"changed\""});
  EXPECT_EQ(run.exitCode, 16);
  EXPECT_EQ(run.err,
            cimError(7, "CIM_ERR_NOT_SUPPORTED", "ModifyInstance intrinsic not supported"));
  EXPECT_EQ(run.responses.size(), 2u);  // GetInstance, then ModifyInstance
}

TEST_F(WbemcliTest, CreateInstanceIsRefused) {
  const WbemcliRun run = wbemcli({"ci", "URL/root/cimv2:Test_Foo.Name=\"new\",Id=5",
                                  "Name=\"new\",Id=5,Descr=\"made\",Vals=1,2"});
  EXPECT_EQ(run.exitCode, 16);
  EXPECT_EQ(run.err, cimError(7, "CIM_ERR_NOT_SUPPORTED",
                              "CreateInstance is not supported for the class Test_Foo: its "
                              "provider created no instance"));
  EXPECT_EQ(run.responses.size(), 2u);  // GetClass, then CreateInstance
}

TEST_F(WbemcliTest, DeleteInstanceIsRefused) {
  const WbemcliRun run = wbemcli({"di", kAbc});
  EXPECT_EQ(run.exitCode, 16);
  EXPECT_EQ(run.err,
            cimError(7, "CIM_ERR_NOT_SUPPORTED", "DeleteInstance intrinsic not supported"));
}

TEST_F(WbemcliTest, SetPropertyIsRefused) {
  const WbemcliRun run = wbemcli({"sp", kAbc, "Descr=\"changed\""});
  EXPECT_EQ(run.exitCode, 16);
  EXPECT_EQ(run.err, cimError(7, "CIM_ERR_NOT_SUPPORTED", "intrinsic not supported"));
}

TEST_F(WbemcliTest, GetPropertyPrintsTheValue) {
  const WbemcliRun run = wbemcli({"gp", kAbc, "Descr"});
  EXPECT_EQ(run.out, "hello & <world>\n");
}

TEST_F(WbemcliTest, MethodCallPassesParametersAndPrintsTheResults) {
  const WbemcliRun run = wbemcli({"cm", kAbc, "DoIt.S=\"hello world\",N=7"});
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(run.out,
            "HOST/root/cimv2:Test_Foo.Name=\"abc\",Id=42 DoIt: 0, Result (string): done: hello "
            "world/7\n");
}

TEST_F(WbemcliTest, GetClassPrintsTheDefinedProperties) {
  const WbemcliRun run = wbemcli({"gc", "URL/root/cimv2:Test_Foo"});
  EXPECT_EQ(run.out, "HOST/root/cimv2:Test_Foo Name=,Id=,Flag=,Descr=,Count=,Vals=,Tags=\n");
}

TEST_F(WbemcliTest, EnumerateClassNamesListsTheDeclaredClasses) {
  const WbemcliRun run = wbemcli({"ecn", "URL/root/cimv2:Test_Base"});
  EXPECT_EQ(run.out, "HOST/root/cimv2:Test_Foo\nHOST/root/cimv2:Test_FooChild\n");
  const WbemcliRun all = wbemcli({"ecn", "URL/root/cimv2"});
  EXPECT_NE(all.out.find("HOST/root/cimv2:Test_FooBar\n"), std::string::npos);
  EXPECT_NE(all.out.find("HOST/root/cimv2:Test_ErrStd\n"), std::string::npos);
  // The interop namespace holds the server's own schema, not the provider's.
  const std::string interop = wbemcli({"ecn", "URL/root/interop"}).out;
  EXPECT_NE(interop.find("HOST/root/interop:CIM_ObjectManager\n"), std::string::npos);
  EXPECT_NE(interop.find("HOST/root/interop:CIM_IndicationSubscription\n"), std::string::npos);
  EXPECT_EQ(interop.find("Test_"), std::string::npos);
}

TEST_F(WbemcliTest, EveryProviderErrorReachesTheClientAsItsCimError) {
  const std::vector<std::pair<const char*, std::string>> cases = {
      {"Test_ErrNotSupported", cimError(7, "CIM_ERR_NOT_SUPPORTED", "not supported here")},
      {"Test_ErrParameter", cimError(4, "CIM_ERR_INVALID_PARAMETER", "Missing parameter X")},
      {"Test_ErrClass", cimError(5, "CIM_ERR_INVALID_CLASS", "Undeclared class Y")},
      {"Test_ErrNotFound", cimError(6, "CIM_ERR_NOT_FOUND", "object not cached")},
      {"Test_ErrFailed", cimError(1, "CIM_ERR_FAILED", "wrong value type")},
      {"Test_ErrHost", cimError(1, "CIM_ERR_FAILED", "host failure")},
      {"Test_ErrFatal", cimError(1, "CIM_ERR_FAILED", "! \"provider assertion\"")},
      {"Test_ErrStd", cimError(1, "CIM_ERR_FAILED", "standard failure")},
      {"Test_ErrUnknown", cimError(1, "CIM_ERR_FAILED", "unknown exception")},
  };
  for (const auto& [cls, expected] : cases) {
    const WbemcliRun run = wbemcli({"ei", std::string("URL/root/cimv2:") + cls});
    EXPECT_EQ(run.exitCode, 16) << cls;
    EXPECT_EQ(run.err, expected) << cls;
  }
  // A provider that failed every request leaves the server serving.
  EXPECT_EQ(wbemcli({"ein", "URL/root/cimv2:Test_Bar"}).exitCode, 0);
}

TEST_F(WbemcliTest, ServerSideErrorsReachTheClient) {
  EXPECT_EQ(wbemcli({"ei", "URL/root/other:Test_Foo"}).err,
            cimError(3, "CIM_ERR_INVALID_NAMESPACE", "The namespace root/other is not served"));
  EXPECT_EQ(wbemcli({"ei", "URL/root/cimv2:Test_Nothing"}).err,
            cimError(5, "CIM_ERR_INVALID_CLASS",
                     "The class Test_Nothing does not exist in namespace root/cimv2"));
}

TEST_F(WbemcliTest, AnErrorAfterStreamingBeganTravelsInTheTrailers) {
  const WbemcliRun run = wbemcli({"ei", "URL/root/cimv2:Test_Midway"});
  EXPECT_EQ(run.exitCode, 16);
  EXPECT_EQ(run.err, cimError(1, "CIM_ERR_FAILED", "standard failure"));
  ASSERT_EQ(run.responses.size(), 1u);
  const HttpResponse& response = run.responses[0];
  EXPECT_TRUE(response.chunked);
  EXPECT_EQ(response.header("Trailer"),
            "CIMStatusCode, CIMStatusCodeDescription, CIMStatusDescription");
  EXPECT_EQ(response.trailer("CIMStatusCode"), "1");
  EXPECT_EQ(response.trailer("CIMStatusCodeDescription"), "standard%20failure");
  EXPECT_EQ(response.body.find("<ERROR"), std::string::npos);
}

namespace {

const char* const kBarB1 = "HOST/root/cimv2:Test_Bar.Tag=\"b1\"";
const char* const kBarB2 = "HOST/root/cimv2:Test_Bar.Tag=\"b2\"";

// The Test_FooBar object from abc to the Test_Bar tagged tag, as a path and
// with its properties.
std::string fooBarPath(const std::string& tag) {
  return "HOST/root/cimv2:Test_FooBar.Antecedent=HOST/root/cimv2Test_Foo.Name=\"abc\",Id=42,"
         "Dependent=HOST/root/cimv2Test_Bar.Tag=\"" +
         tag + "\"";
}
std::string fooBarLine(const std::string& tag, int weight) {
  return fooBarPath(tag) +
         " Antecedent=HOST/root/cimv2Test_Foo.Name=\"abc\",Id=42,"
         "Dependent=HOST/root/cimv2Test_Bar.Tag=\"" +
         tag + "\",Weight=" + std::to_string(weight) + "\n";
}

struct AssociationCase {
  std::vector<std::string> args;  // the command, its filter options, then the object
  std::string expected;
};

}  // namespace

TEST_F(WbemcliTest, AssociatorsPrintEveryAssociatedObjectWithItsProperties) {
  const WbemcliRun run = wbemcli({"ai", kAbc});
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(run.out,
            std::string(kBarB1) + " Tag=\"b1\",Size=1024\n" + kBarB2 + " Tag=\"b2\",Size=2048\n");
  ASSERT_EQ(run.responses.size(), 1u);
  EXPECT_TRUE(run.responses[0].chunked);
  const WbemcliRun sizes = wbemcli({"ai", kAbc, "Size"});
  EXPECT_EQ(sizes.out, std::string(kBarB1) + " Size=1024\n" + kBarB2 + " Size=2048\n");
  const WbemcliRun weights = wbemcli({"ri", kAbc, "Weight"});
  EXPECT_EQ(weights.out, fooBarPath("b1") + " Weight=3\n" + fooBarPath("b2") + " Weight=4\n");
}

TEST_F(WbemcliTest, AssociatorsLeaveOutAnObjectThatCannotBeFetched) {
  const WbemcliRun run = wbemcli({"ai", "URL/root/cimv2:Test_FooChild.Name=\"kid\",Id=1"});
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(run.out, std::string(kBarB1) + " Tag=\"b1\",Size=1024\n");
  const WbemcliRun names = wbemcli({"ain", "URL/root/cimv2:Test_FooChild.Name=\"kid\",Id=1"});
  EXPECT_EQ(names.out, std::string(kBarB1) + "\nHOST/root/cimv2:Test_Bar.Tag=\"ghost\"\n");
}

TEST_F(WbemcliTest, AssociatorsHonourEveryFilter) {
  const std::string both =
      std::string(kBarB1) + " Tag=\"b1\",Size=1024\n" + kBarB2 + " Tag=\"b2\",Size=2048\n";
  const std::vector<AssociationCase> cases = {
      {{"ai", "-ac", "Test_FooBar"}, both},
      {{"ai", "-ac", "Test_Unrelated"}, ""},
      {{"ai", "-arc", "Test_Bar"}, both},
      {{"ai", "-arc", "Test_Foo"}, ""},
      {{"ai", "-ar", "Antecedent"}, both},
      {{"ai", "-ar", "Dependent"}, ""},
      {{"ai", "-arr", "Dependent"}, both},
      {{"ai", "-arr", "Antecedent"}, ""},
      {{"ai", "-ac", "Test_FooBar", "-arc", "Test_Bar", "-ar", "Antecedent", "-arr", "Dependent"},
       both},
  };
  for (AssociationCase c : cases) {
    c.args.push_back(kAbc);
    const WbemcliRun run = wbemcli(c.args);
    EXPECT_EQ(run.exitCode, 0) << c.args[2] << " " << c.args[3] << ": " << run.err;
    EXPECT_EQ(run.out, c.expected) << c.args[2] << " " << c.args[3];
  }
}

TEST_F(WbemcliTest, AssociatorNamesHonourEveryFilter) {
  const std::string both = std::string(kBarB1) + "\n" + kBarB2 + "\n";
  const std::vector<AssociationCase> cases = {
      {{"ain"}, both},
      {{"ain", "-ac", "Test_FooBar"}, both},
      {{"ain", "-ac", "Test_Unrelated"}, ""},
      {{"ain", "-arc", "Test_Bar"}, both},
      {{"ain", "-arc", "Test_FooChild"}, ""},
      {{"ain", "-ar", "Antecedent"}, both},
      {{"ain", "-ar", "Dependent"}, ""},
      {{"ain", "-arr", "Dependent"}, both},
      {{"ain", "-arr", "Antecedent"}, ""},
  };
  for (AssociationCase c : cases) {
    c.args.push_back(kAbc);
    const WbemcliRun run = wbemcli(c.args);
    EXPECT_EQ(run.exitCode, 0) << c.args.size() << ": " << run.err;
    EXPECT_EQ(run.out, c.expected) << (c.args.size() > 2 ? c.args[1] + " " + c.args[2] : "");
  }
  // From the other end, subclasses included.
  EXPECT_EQ(wbemcli({"ain", "URL/root/cimv2:Test_Bar.Tag=\"b1\""}).out,
            "HOST/root/cimv2:Test_Foo.Name=\"abc\",Id=42\n"
            "HOST/root/cimv2:Test_FooChild.Name=\"kid\",Id=1\n");
  EXPECT_EQ(wbemcli({"ain", "-arc", "Test_FooChild", "URL/root/cimv2:Test_Bar.Tag=\"b1\""}).out,
            "HOST/root/cimv2:Test_FooChild.Name=\"kid\",Id=1\n");
}

TEST_F(WbemcliTest, ReferencesHonourEveryFilter) {
  const std::string both = fooBarLine("b1", 3) + fooBarLine("b2", 4);
  const std::vector<AssociationCase> cases = {
      {{"ri"}, both},
      {{"ri", "-arc", "Test_FooBar"}, both},
      {{"ri", "-arc", "Test_Bar"}, ""},
      {{"ri", "-ar", "Antecedent"}, both},
      {{"ri", "-ar", "Dependent"}, ""},
  };
  for (AssociationCase c : cases) {
    c.args.push_back(kAbc);
    const WbemcliRun run = wbemcli(c.args);
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(run.out, c.expected) << (c.args.size() > 2 ? c.args[1] + " " + c.args[2] : "");
  }
}

TEST_F(WbemcliTest, ReferenceNamesHonourEveryFilter) {
  const std::string both = fooBarPath("b1") + "\n" + fooBarPath("b2") + "\n";
  const std::vector<AssociationCase> cases = {
      {{"rin"}, both},
      {{"rin", "-arc", "Test_FooBar"}, both},
      {{"rin", "-arc", "Test_Bar"}, ""},
      {{"rin", "-ar", "Antecedent"}, both},
      {{"rin", "-ar", "Dependent"}, ""},
  };
  for (AssociationCase c : cases) {
    c.args.push_back(kAbc);
    const WbemcliRun run = wbemcli(c.args);
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(run.out, c.expected) << (c.args.size() > 2 ? c.args[1] + " " + c.args[2] : "");
  }
}

TEST_F(WbemcliTest, AssociationRequestsForAnUnservedClassAreInvalidClass) {
  for (const char* command : {"ai", "ain", "ri", "rin"}) {
    const WbemcliRun run = wbemcli({command, "URL/root/cimv2:Test_Nothing.Id=1"});
    EXPECT_EQ(run.exitCode, 16) << command;
    EXPECT_EQ(run.err,
              cimError(5, "CIM_ERR_INVALID_CLASS",
                       "The class Test_Nothing does not exist in namespace root/cimv2"))
        << command;
  }
}

TEST_F(WbemcliTest, GetClassShowsKeysArraysReferencesAndAPropertyList) {
  EXPECT_EQ(wbemcli({"gc", "-t", "URL/root/cimv2:Test_Foo"}).out,
            "HOST/root/cimv2:Test_Foo Name#=,Id#=,Flag=,Descr=,Count=,Vals[]=,Tags[]=\n");
  EXPECT_EQ(wbemcli({"gc", "-t", "URL/root/cimv2:Test_FooBar"}).out,
            "HOST/root/cimv2:Test_FooBar Antecedent&#=,Dependent&#=,Weight=\n");
  EXPECT_EQ(wbemcli({"gc", "URL/root/cimv2:Test_FooChild", "Extra,Name"}).out,
            "HOST/root/cimv2:Test_FooChild Name=,Extra=\n");
}

TEST_F(WbemcliTest, GetClassRawPrintsTheClassWithItsDefaultValues) {
  const WbemcliRun run = wbemcli({"gcd", "URL/root/cimv2:Test_Bar"});
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(run.out,
            "<CLASS NAME=\"Test_Bar\"><PROPERTY NAME=\"Tag\" TYPE=\"string\"></PROPERTY><PROPERTY "
            "NAME=\"Size\" TYPE=\"uint64\"><VALUE>0</VALUE></PROPERTY></CLASS>\n");
}

TEST_F(WbemcliTest, AClassOnlyAProviderDeclaresIsServedByName) {
  EXPECT_EQ(wbemcli({"gc", "URL/root/cimv2:Test_ErrStd"}).out, "HOST/root/cimv2:Test_ErrStd \n");
  EXPECT_EQ(wbemcli({"gcd", "URL/root/cimv2:Test_ErrStd"}).out,
            "<CLASS NAME=\"Test_ErrStd\"></CLASS>\n");
}

TEST_F(WbemcliTest, GetClassOfAnUnknownClassIsNotFound) {
  const WbemcliRun run = wbemcli({"gc", "URL/root/cimv2:Test_Nothing"});
  EXPECT_EQ(run.exitCode, 16);
  EXPECT_EQ(run.err, cimError(6, "CIM_ERR_NOT_FOUND",
                              "The class Test_Nothing does not exist in namespace root/cimv2"));
}

TEST_F(WbemcliTest, EnumerateClassesPrintsEveryClassBelowTheOneNamed) {
  const WbemcliRun run = wbemcli({"ec", "URL/root/cimv2:Test_Base"});
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(run.out,
            "HOST/root/cimv2:Test_Foo Name=,Id=,Flag=,Descr=,Count=,Vals=,Tags=\n"
            "HOST/root/cimv2:Test_FooChild Name=,Id=,Flag=,Descr=,Count=,Vals=,Tags=,Extra=\n");
  EXPECT_EQ(wbemcli({"ec", "URL/root/cimv2:Test_Bar"}).out, "");
  const WbemcliRun all = wbemcli({"ec", "URL/root/cimv2"});
  EXPECT_NE(all.out.find("HOST/root/cimv2:Test_Bar Tag=,Size=\n"), std::string::npos) << all.out;
  EXPECT_NE(all.out.find("HOST/root/cimv2:Test_ErrStd \n"), std::string::npos) << all.out;
  EXPECT_EQ(wbemcli({"ecn", "URL/root/cimv2:Test_Foo"}).out, "HOST/root/cimv2:Test_FooChild\n");
}

TEST_F(WbemcliTest, MethodCallTypesEveryInputParameterFromItsDeclaration) {
  const WbemcliRun run = wbemcli(
      {"cm", kAbc,
       "Echo.S=\"hello world\",I=-7,B=true,A=\"x\",\"y z\",NA=1,2,3,R=Test_Bar.Tag=\"b1\""});
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(run.out,
            "HOST/root/cimv2:Test_Foo.Name=\"abc\",Id=42 Echo: 6, S (string): hello world, "
            "I (sint16): -7, B (boolean): TRUE, A (string): x,y z, NA (uint8): 1,2,3, "
            "R (reference): 127.0.0.1/root/cimv2Test_Bar.Tag=\"b1\"\n");
  ASSERT_EQ(run.responses.size(), 2u);  // GetClass, then the method call
  EXPECT_NE(run.responses[1].body.find("<PARAMVALUE NAME=\"NA\" PARAMTYPE=\"uint8\"><VALUE.ARRAY>"),
            std::string::npos);
}

TEST_F(WbemcliTest, AnInputValueThatDoesNotFitTheDeclarationIsAnInvalidParameter) {
  const std::vector<std::pair<const char*, std::string>> cases = {
      {"DoIt.N=-1", "parameter N: \"-1\" is not a uint32 value"},
      {"Echo.I=40000", "parameter I: \"40000\" is not a sint16 value"},
      {"Echo.B=maybe", "parameter B: \"maybe\" is not a boolean value"},
      {"Echo.NA=1,300", "parameter NA: \"300\" is not a uint8 value"},
  };
  for (const auto& [call, message] : cases) {
    const WbemcliRun run = wbemcli({"cm", kAbc, call});
    EXPECT_EQ(run.exitCode, 16) << call;
    EXPECT_EQ(run.err, cimError(4, "CIM_ERR_INVALID_PARAMETER", message)) << call;
  }
}

TEST_F(WbemcliTest, AMethodResultThatDoesNotConvertToItsDeclaredTypeIsAFailedCallAndLogged) {
  // Typed answers every result as a string: Small "300" is no sint8.
  const std::size_t before = _capture->records().size();
  const WbemcliRun run = wbemcli({"cm", kAbc, "Typed"});
  EXPECT_EQ(run.exitCode, 16);
  EXPECT_EQ(run.err, cimError(1, "CIM_ERR_FAILED",
                              "The output parameter Small of Typed does not convert to the "
                              "declared type sint8"));
  std::vector<std::string> warnings;
  const std::vector<TOVLogRecord> records = _capture->records();
  for (std::size_t i = before; i < records.size(); ++i) {
    const TOVLogRecord& record = records[i];
    if (record.source == TOVString("kest::server::MethodCheck")) {
      warnings.push_back(std::to_string(record.severity) + " " + record.message.toStdString());
    }
  }
  EXPECT_EQ(warnings, (std::vector<std::string>{
                          "2 The output parameter Small of Typed does not convert to the declared "
                          "type sint8; the provider's result is not sent"}));
}

TEST_F(WbemcliTest, AMethodTheClassDoesNotDeclareIsMethodNotFound) {
  const WbemcliRun run = wbemcli({"cm", kAbc, "Explode"});
  EXPECT_EQ(run.exitCode, 16);
  EXPECT_EQ(run.err,
            cimError(17, "CIM_ERR_METHOD_NOT_FOUND", "The class Test_Foo has no method Explode"));
}

TEST_F(WbemcliTest, AnInheritedMethodTheObjectDoesNotImplementIsMethodNotAvailable) {
  const WbemcliRun run =
      wbemcli({"cm", "URL/root/cimv2:Test_FooChild.Name=\"kid\",Id=1", "DoIt.S=\"x\",N=1"});
  EXPECT_EQ(run.exitCode, 16);
  EXPECT_EQ(run.err, cimError(16, "CIM_ERR_METHOD_NOT_AVAILABLE",
                              "The method DoIt is not available: its provider does not implement "
                              "it for this object"));
}

TEST_F(WbemcliTest, TypedInputParametersAreHeldAgainstTheDeclaration) {
  const auto value = [](const char* name, const char* type, const char* text) {
    return std::string("<PARAMVALUE NAME=\"") + name + "\" PARAMTYPE=\"" + type + "\"><VALUE>" +
           text + "</VALUE></PARAMVALUE>";
  };
  const std::vector<std::pair<std::string, std::string>> cases = {
      {value("S", "string", "hi") + value("N", "string", "7"),
       "<PARAMVALUE NAME=\"Result\" PARAMTYPE=\"string\"><VALUE>done: hi/7</VALUE>"},
      {value("S", "uint32", "5"),
       "<PARAMVALUE NAME=\"Result\" PARAMTYPE=\"string\"><VALUE>done: 5/0</VALUE>"},
      {value("S", "string", "hi") + value("N", "string", "abc"),
       "<ERROR CODE=\"4\" DESCRIPTION=\"parameter N: &quot;abc&quot; is not a uint32 value\""},
      {value("N", "sint32", "-1"),
       "<ERROR CODE=\"4\" DESCRIPTION=\"parameter N: &quot;-1&quot; is not a uint32 value\""},
      {"<PARAMVALUE NAME=\"N\" PARAMTYPE=\"uint32\"><VALUE.ARRAY><VALUE>1</VALUE></VALUE.ARRAY>"
       "</PARAMVALUE>",
       "<ERROR CODE=\"4\" DESCRIPTION=\"parameter N: an array where uint32 is declared\""},
      {value("Bogus", "string", "x"),
       "<ERROR CODE=\"4\" DESCRIPTION=\"parameter Bogus: DoIt has no such parameter\""},
  };
  for (const auto& [parameters, expected] : cases) {
    const std::string body = rawCall("DoIt", parameters);
    EXPECT_NE(body.find(expected), std::string::npos) << parameters << "\n" << body;
    EXPECT_EQ(dtdErrors(body), "") << parameters;
  }
}

TEST_F(WbemcliTest, PropertiesTheClassDoesNotDeclareAreSentAndLoggedOncePerClass) {
  EXPECT_EQ(wbemcli({"gi", kAbc}).exitCode, 0);
  EXPECT_EQ(wbemcli({"ei", "URL/root/cimv2:Test_Foo"}).exitCode, 0);
  std::vector<std::string> messages;
  const std::vector<TOVLogRecord> records = _capture->records();
  for (const TOVLogRecord& record : records) {
    if (record.message.toStdString().find("the class does not declare") != std::string::npos) {
      messages.push_back(std::to_string(record.severity) + " " + record.message.toStdString());
    }
  }
  EXPECT_EQ(messages, (std::vector<std::string>{
                          "2 Instances of Test_Foo carry properties that the class does not "
                          "declare: Peer, U8, S8, U16, S16, S32, U64, R32, R64, C16, When, Obj, "
                          "Nothing"}));
}
