// The server's front end driven by a client on loopback, against an
// in-process mock provider: what the provider receives for a request, how
// its failures reach the client, and that refused requests never reach it.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "host/Exception.h"
#include "host/InstanceName.h"
#include "host/Log.h"
#include "host/Object.h"
#include "host/Property.h"
#include "host/Value.h"
#include "server/CimError.h"
#include "server/ProviderLoader.h"
#include "server/Server.h"
#include "tests/server/HttpTestSupport.h"
#include "tests/server/MockProvider.h"
#include "tests/server/ServerTestSupport.h"

using kest::server::CimError;
using kest::server::DeclaredClass;
using kest::server::ProviderSpec;
using kest::server::Server;
using kest::server::ServerSettings;
using kest::server::testing::allowLifecycleCalls;
using kest::server::testing::cimPost;
using kest::server::testing::dtdErrors;
using kest::server::testing::HttpResponse;
using kest::server::testing::instanceNameXml;
using kest::server::testing::intrinsicCall;
using kest::server::testing::MockProvider;
using kest::server::testing::parameter;
using kest::server::testing::RawConnection;
using ::testing::_;
using ::testing::NiceMock;
using ::testing::SetArgReferee;
using ::testing::StrictMock;

namespace {

// The value of the key property key of an instance name, as text; "" when
// the name has no such key.
std::string keyText(const ITovaInstanceName& name, const char* key) {
  for (unsigned long i = 0; i < name.getNumberOfKeyProperties(); ++i) {
    const TOVSmrPtr<ITovaProperty> property = name.getKeyPropertyAt(i);
    if (property && property->getName().compareTo(key, 0) == 0 && property->getValue()) {
      return property->getValue()->getAsString().toStdString();
    }
  }
  return "";
}

// The name Test_Widget.Name="w1",Count=7.
MATCHER(NamesWidgetW1, "names Test_Widget.Name=\"w1\",Count=7") {
  return arg && arg->getClassname() == TOVString("Test_Widget") &&
         arg->getNumberOfKeyProperties() == 2 && keyText(*arg, "Name") == "w1" &&
         keyText(*arg, "Count") == "7";
}

const std::string kGetWidget = intrinsicCall(
    "GetInstance",
    parameter("InstanceName", instanceNameXml("Test_Widget", {{"Name", "string", "w1"},
                                                              {"Count", "numeric", "7"}})));

TOVSmrPtr<ITovaObject> widgetW1() {
  TOVPropertyList keys(new TOVValSlist<TOVSmrPtr<ITovaProperty>>());
  keys->append(TOVSmrPtr<ITovaProperty>(
      new CTovaProperty("Name", TOVSmrPtr<ITovaValue>(new CTovaValue("w1")), false)));
  TOVSmrPtr<CTovaObject> widget(new CTovaObject("Test_Widget"));
  widget->setInstanceName(TOVSmrPtr<ITovaInstanceName>(
      new CTovaInstanceName("Test_Widget", keys, TOVSmrPtr<ITovaNameSpacePath>())));
  widget->setProperty("Name", TOVSmrPtr<ITovaValue>(new CTovaValue("w1")));
  widget->setProperty("Colour", TOVSmrPtr<ITovaValue>(new CTovaValue("teal")));
  return CTovaObject::iPtr(widget);
}

// An in-process server on a free loopback port whose only provider is the
// mock, serving Test_Widget in root/cimv2.
class HttpFrontEndMockProviderTest : public ::testing::Test {
 protected:
  void start(std::shared_ptr<MockProvider> mock) {
    ServerSettings settings;
    settings.http.port = 0;
    settings.providers = {ProviderSpec("widgets", "root/cimv2", std::move(mock),
                                       {DeclaredClass{"Test_Widget", "", false}})};
    _server = std::make_unique<Server>(settings);
    _port = _server->start();
  }

  HttpResponse exchange(const std::string& request) const {
    RawConnection connection(_port);
    connection.send(request);
    return connection.receive();
  }

  TOVScopedLogCapture _capture;
  std::unique_ptr<Server> _server;
  int _port = 0;
};

}  // namespace

TEST_F(HttpFrontEndMockProviderTest, GetInstanceReachesTheProviderWithTheNamespaceClassAndKeys) {
  auto mock = std::make_shared<NiceMock<MockProvider>>();
  EXPECT_CALL(*mock, getInstance(_, TOVString("root/cimv2"), NamesWidgetW1(), _, _))
      .WillOnce(SetArgReferee<0>(widgetW1()));
  start(mock);
  const HttpResponse response = exchange(cimPost("GetInstance", kGetWidget));
  EXPECT_EQ(response.status, 200);
  EXPECT_NE(response.body.find("<IRETURNVALUE><INSTANCE CLASSNAME=\"Test_Widget\">"),
            std::string::npos)
      << response.body;
  EXPECT_NE(response.body.find("<VALUE>teal</VALUE>"), std::string::npos) << response.body;
  EXPECT_EQ(dtdErrors(response.body), "");
}

TEST_F(HttpFrontEndMockProviderTest, AnExceptionOfTheProviderBecomesTheCimErrorOfTheResponse) {
  auto mock = std::make_shared<NiceMock<MockProvider>>();
  EXPECT_CALL(*mock, getInstance(_, _, _, _, _)).WillOnce([](auto&&...) {
    throw CimError(kest::server::CIM_ERR_ACCESS_DENIED, "widgets are private");
  });
  EXPECT_CALL(*mock, enumerateInstanceNames(_, _, _, _)).WillOnce([](auto&&...) {
    throw TovaBaseException("Test", "enumerateInstanceNames", "widgets", "the store broke", 0);
  });
  start(mock);

  const HttpResponse single = exchange(cimPost("GetInstance", kGetWidget));
  EXPECT_EQ(single.status, 200);
  EXPECT_NE(single.body.find("<ERROR CODE=\"2\" DESCRIPTION=\"widgets are private\""),
            std::string::npos)
      << single.body;
  EXPECT_EQ(dtdErrors(single.body), "");

  // A streamed response carries the error in its trailer.
  const HttpResponse streamed =
      exchange(cimPost("EnumerateInstanceNames",
                       intrinsicCall("EnumerateInstanceNames",
                                     parameter("ClassName", "<CLASSNAME NAME=\"Test_Widget\"/>"))));
  EXPECT_EQ(streamed.status, 200);
  EXPECT_EQ(streamed.trailer("CIMStatusCode"), "1");
  EXPECT_EQ(streamed.trailer("CIMStatusCodeDescription"), "the%20store%20broke");
}

TEST_F(HttpFrontEndMockProviderTest, ARequestTheServerRefusesNeverReachesTheProvider) {
  auto mock = std::make_shared<StrictMock<MockProvider>>();
  allowLifecycleCalls(*mock);
  // Only the well-formed request that follows the refused one reaches it.
  EXPECT_CALL(*mock, startTransaction(_));
  EXPECT_CALL(*mock, getInstance(_, _, NamesWidgetW1(), _, _))
      .WillOnce(SetArgReferee<0>(widgetW1()));
  EXPECT_CALL(*mock, endTransaction(_));
  start(mock);

  std::string refused = cimPost("GetInstance", kGetWidget);
  refused.replace(refused.find("CIMOperation: MethodCall"), 24, "CIMOperation: MethodReply");
  const HttpResponse refusal = exchange(refused);
  EXPECT_EQ(refusal.status, 400);
  EXPECT_EQ(refusal.header("CIMError"), "unsupported-operation");

  EXPECT_EQ(exchange(cimPost("GetInstance", kGetWidget)).status, 200);
}
