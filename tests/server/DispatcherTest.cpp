// Unit tests of the dispatcher: routing and running CIM operations against
// in-process mock providers and the class catalog, with the response written
// into a string.

#include "server/Dispatcher.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "host/ActualParameter.h"
#include "host/CimType.h"
#include "host/Exception.h"
#include "host/InstanceName.h"
#include "host/List.h"
#include "host/Log.h"
#include "host/Object.h"
#include "host/Property.h"
#include "host/Value.h"
#include "server/CimError.h"
#include "server/CimRequest.h"
#include "server/CimXmlWriter.h"
#include "server/ClassCatalog.h"
#include "server/ProviderLoader.h"
#include "server/ProviderSet.h"
#include "server/repository/ObjectPath.h"
#include "tests/server/MockProvider.h"
#include "tests/server/ServerTestSupport.h"

using kest::server::CimError;
using kest::server::CimOperation;
using kest::server::CimRequest;
using kest::server::CimXmlWriter;
using kest::server::ClassCatalog;
using kest::server::DeclaredClass;
using kest::server::Dispatcher;
using kest::server::ProviderSet;
using kest::server::ProviderSpec;
using kest::server::StringBody;
using kest::server::testing::allowLifecycleCalls;
using kest::server::testing::dtdErrors;
using kest::server::testing::MockProvider;
using ::testing::_;
using ::testing::InSequence;
using ::testing::NiceMock;
using ::testing::Return;
using ::testing::SaveArg;
using ::testing::StrictMock;

namespace {

const TOVString kNameSpace("root/cimv2");

std::size_t count(const std::string& text, const std::string& part) {
  std::size_t n = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++n;
  return n;
}

DeclaredClass declared(const char* name, const char* superClass = "", bool association = false) {
  return DeclaredClass{name, superClass, association};
}

ProviderSpec inProcess(const std::string& name, std::shared_ptr<MockProvider> mock,
                       std::vector<DeclaredClass> classes) {
  return ProviderSpec(name, kNameSpace, std::move(mock), std::move(classes));
}

// The name className.Name="key", without a namespace path.
TOVSmrPtr<ITovaInstanceName> nameOf(const char* className, const char* key) {
  TOVPropertyList keys(new TOVValSlist<TOVSmrPtr<ITovaProperty>>());
  keys->append(TOVSmrPtr<ITovaProperty>(
      new CTovaProperty("Name", TOVSmrPtr<ITovaValue>(new CTovaValue(key)), false)));
  return TOVSmrPtr<ITovaInstanceName>(
      new CTovaInstanceName(className, keys, TOVSmrPtr<ITovaNameSpacePath>()));
}

// An instance of className named by nameOf(className, key), with its key
// property.
TOVSmrPtr<ITovaObject> instanceOf(const char* className, const char* key) {
  TOVSmrPtr<CTovaObject> object(new CTovaObject(className));
  object->setInstanceName(nameOf(className, key));
  object->setProperty("Name", TOVSmrPtr<ITovaValue>(new CTovaValue(key)));
  return CTovaObject::iPtr(object);
}

CimRequest requestFor(CimOperation operation, const char* methodName, const char* className) {
  CimRequest request;
  request.messageId = "1";
  request.operation = operation;
  request.methodName = methodName;
  request.nameSpace = kNameSpace;
  request.className = className;
  return request;
}

CimRequest getInstanceOf(const char* className, const char* key) {
  CimRequest request = requestFor(CimOperation::GetInstance, "GetInstance", className);
  request.instanceName = nameOf(className, key);
  return request;
}

// One response message being written, as the service opens it: a
// CimXmlWriter over a StringBody with the IMETHODRESPONSE (or, for method
// calls, the METHODRESPONSE) open.
class Response {
 public:
  explicit Response(const CimRequest& request,
                    std::size_t flushThreshold = CimXmlWriter::kDefaultFlushThreshold)
      : _writer(_body, "myhost", request.nameSpace, flushThreshold) {
    _writer.beginMessage(request.messageId);
    if (request.operation == CimOperation::MethodCall) {
      _writer.beginMethodResponse(request.methodName);
    } else {
      _writer.beginIMethodResponse(request.methodName);
    }
  }
  CimXmlWriter& writer() { return _writer; }
  // What the body has received so far.
  const std::string& received() const { return _body.text(); }
  // Closes the message and returns all of it.
  const std::string& finished() {
    _writer.finish();
    return _body.text();
  }

 private:
  StringBody _body;
  CimXmlWriter _writer;
};

class DispatcherTest : public ::testing::Test {
 protected:
  DispatcherTest() : _dispatcher(_providers, _catalog, {"root/cimv2", "root/interop"}) {}

  // Full class definitions; call before serve().
  void compile(const std::string& mof) { _catalog.compileMofText("classes.mof", mof); }
  void serve(const std::vector<ProviderSpec>& specs) {
    _providers.start(specs, _catalog.repository(), "", _catalog);
  }

  // Routes and runs request; returns the whole response message.
  std::string answer(const CimRequest& request) {
    Response response(request);
    _dispatcher.run(request, _dispatcher.route(request), response.writer());
    return response.finished();
  }

  // The CIM status route() refuses request with; 0 when it routes it.
  int refusal(const CimRequest& request) const {
    try {
      _dispatcher.route(request);
    } catch (const CimError& error) {
      return error.code();
    }
    return 0;
  }

  TOVScopedLogCapture _capture;
  ClassCatalog _catalog{kNameSpace};
  ProviderSet _providers;
  Dispatcher _dispatcher;
};

}  // namespace

// --- route() ------------------------------------------------------------------------

TEST_F(DispatcherTest, RouteRefusesANamespaceTheServerDoesNotServe) {
  auto mock = std::make_shared<NiceMock<MockProvider>>();
  serve({inProcess("widgets", mock, {declared("Test_Widget")})});
  CimRequest request = getInstanceOf("Test_Widget", "w1");
  EXPECT_EQ(refusal(request), 0);
  request.nameSpace = "root/elsewhere";
  EXPECT_EQ(refusal(request), kest::server::CIM_ERR_INVALID_NAMESPACE);
  CimRequest classRequest = requestFor(CimOperation::GetClass, "GetClass", "Test_Widget");
  classRequest.nameSpace = "root/elsewhere";
  EXPECT_EQ(refusal(classRequest), kest::server::CIM_ERR_INVALID_NAMESPACE);
}

TEST_F(DispatcherTest, RouteRefusesOnlyClassesTheServerDoesNotKnow) {
  compile("class Test_Orphan { [Key] string Name; uint32 Run(); };\n");
  auto mock = std::make_shared<NiceMock<MockProvider>>();
  serve({inProcess("widgets", mock, {declared("Test_Widget")})});
  EXPECT_EQ(refusal(getInstanceOf("Test_Nowhere", "n1")), kest::server::CIM_ERR_INVALID_CLASS);
  EXPECT_EQ(
      refusal(requestFor(CimOperation::EnumerateInstances, "EnumerateInstances", "Test_Nowhere")),
      kest::server::CIM_ERR_INVALID_CLASS);
  EXPECT_EQ(refusal(getInstanceOf("Test_Orphan", "o1")), 0);
  EXPECT_EQ(refusal(getInstanceOf("Test_Widget", "w1")), 0);
}

TEST_F(DispatcherTest, AKnownClassNoProviderServesHasNoInstances) {
  compile("class Test_Orphan { [Key] string Name; uint32 Run(); };\n"
          "[Association] class Test_OrphanLink { [Key] Test_Orphan REF A; [Key] Test_Orphan REF B; };\n");
  auto mock = std::make_shared<NiceMock<MockProvider>>();
  serve({inProcess("widgets", mock, {declared("Test_Widget")})});
  const auto codeOf = [&](const CimRequest& request) {
    try {
      answer(request);
    } catch (const CimError& error) {
      return error.code();
    }
    return 0;
  };
  EXPECT_EQ(codeOf(getInstanceOf("Test_Orphan", "o1")), kest::server::CIM_ERR_NOT_FOUND);
  CimRequest remove = requestFor(CimOperation::DeleteInstance, "DeleteInstance", "Test_Orphan");
  remove.instanceName = getInstanceOf("Test_Orphan", "o1").instanceName;
  EXPECT_EQ(codeOf(remove), kest::server::CIM_ERR_NOT_FOUND);
  CimRequest call = requestFor(CimOperation::MethodCall, "Run", "Test_Orphan");
  call.instanceName = remove.instanceName;
  EXPECT_EQ(codeOf(call), kest::server::CIM_ERR_NOT_FOUND);
  for (const auto& [operation, methodName] :
       std::vector<std::pair<CimOperation, const char*>>{
           {CimOperation::Associators, "Associators"},
           {CimOperation::AssociatorNames, "AssociatorNames"},
           {CimOperation::References, "References"},
           {CimOperation::ReferenceNames, "ReferenceNames"}}) {
    CimRequest request = requestFor(operation, methodName, "Test_Orphan");
    request.instanceName = remove.instanceName;
    const std::string body = answer(request);
    EXPECT_NE(body.find("<IRETURNVALUE></IRETURNVALUE>"), std::string::npos)
        << methodName << ": " << body;
  }
}

TEST_F(DispatcherTest, RouteRefusesGetClassOfAnUnknownClass) {
  auto mock = std::make_shared<NiceMock<MockProvider>>();
  serve({inProcess("widgets", mock, {declared("Test_Widget")})});
  EXPECT_EQ(refusal(requestFor(CimOperation::GetClass, "GetClass", "Test_Unknown")),
            kest::server::CIM_ERR_NOT_FOUND);
  EXPECT_EQ(refusal(requestFor(CimOperation::GetClass, "GetClass", "test_widget")), 0);
}

TEST_F(DispatcherTest, RouteRefusesAssociationRequestsOnAClass) {
  auto mock = std::make_shared<NiceMock<MockProvider>>();
  serve({inProcess("widgets", mock, {declared("Test_Widget")})});
  for (const auto& [operation, methodName] :
       {std::pair{CimOperation::Associators, "Associators"},
        std::pair{CimOperation::AssociatorNames, "AssociatorNames"},
        std::pair{CimOperation::References, "References"},
        std::pair{CimOperation::ReferenceNames, "ReferenceNames"}}) {
    CimRequest request = requestFor(operation, methodName, "Test_Widget");
    request.objectIsClass = true;
    EXPECT_EQ(refusal(request), kest::server::CIM_ERR_NOT_SUPPORTED) << methodName;
    request.objectIsClass = false;
    request.instanceName = nameOf("Test_Widget", "w1");
    EXPECT_EQ(refusal(request), 0) << methodName;
  }
}

TEST_F(DispatcherTest, EnumerateInstancesGoesToTheTopmostClassOfEachProvider) {
  auto first = std::make_shared<NiceMock<MockProvider>>();
  auto second = std::make_shared<NiceMock<MockProvider>>();
  serve({inProcess("first", first,
                   {declared("Test_Base"), declared("Test_A", "Test_Base"),
                    declared("Test_A1", "Test_A")}),
         inProcess("second", second,
                   {declared("Test_B", "Test_Base"), declared("Test_B1", "Test_B")})});
  const CimRequest request =
      requestFor(CimOperation::EnumerateInstances, "EnumerateInstances", "Test_Base");

  const Dispatcher::Route route = _dispatcher.route(request);
  ASSERT_EQ(route.size(), 2u);
  EXPECT_EQ(&route[0].provider->provider(), first.get());
  EXPECT_EQ(route[0].className, TOVString("Test_Base"));
  EXPECT_EQ(&route[1].provider->provider(), second.get());
  EXPECT_EQ(route[1].className, TOVString("Test_B"));

  // Each provider is asked once, for its topmost class only.
  EXPECT_CALL(*first, enumerateInstances(_, kNameSpace, TOVString("Test_Base"), _, _));
  EXPECT_CALL(*second, enumerateInstances(_, kNameSpace, TOVString("Test_B"), _, _));
  Response response(request);
  _dispatcher.run(request, route, response.writer());
}

// --- run() --------------------------------------------------------------------------

TEST_F(DispatcherTest, EveryProviderCallIsBracketedByATransactionOfItsOwn) {
  auto mock = std::make_shared<NiceMock<MockProvider>>();
  serve({inProcess("widgets", mock, {declared("Test_Widget")})});
  TOVSmrPtr<ITovaTransaction> first;
  TOVSmrPtr<ITovaTransaction> second;
  {
    InSequence order;
    EXPECT_CALL(*mock, startTransaction(_)).WillOnce(SaveArg<0>(&first));
    EXPECT_CALL(*mock, getInstance(_, _, _, _, _))
        .WillOnce([&](TOVSmrPtr<ITovaObject>& result, auto&&, auto&&,
                      const TOVSmrPtr<ITovaTransaction>& transaction, auto&&) {
          EXPECT_TRUE(transaction == first);
          result = instanceOf("Test_Widget", "w1");
        });
    EXPECT_CALL(*mock, endTransaction(_)).WillOnce([&](const TOVSmrPtr<ITovaTransaction>& t) {
      EXPECT_TRUE(t == first);
    });
    EXPECT_CALL(*mock, startTransaction(_)).WillOnce(SaveArg<0>(&second));
    EXPECT_CALL(*mock, deleteInstance(_, _, _))
        .WillOnce([&](auto&&, auto&&, const TOVSmrPtr<ITovaTransaction>& transaction) {
          EXPECT_TRUE(transaction == second);
        });
    EXPECT_CALL(*mock, endTransaction(_)).WillOnce([&](const TOVSmrPtr<ITovaTransaction>& t) {
      EXPECT_TRUE(t == second);
    });
  }
  answer(getInstanceOf("Test_Widget", "w1"));
  CimRequest remove = requestFor(CimOperation::DeleteInstance, "DeleteInstance", "Test_Widget");
  remove.instanceName = nameOf("Test_Widget", "w1");
  answer(remove);
  EXPECT_FALSE(first.isNull());
  EXPECT_FALSE(second.isNull());
  EXPECT_FALSE(first == second);
}

TEST_F(DispatcherTest, AProviderThatThrowsStillHasItsTransactionEnded) {
  auto mock = std::make_shared<NiceMock<MockProvider>>();
  serve({inProcess("widgets", mock, {declared("Test_Widget")})});
  {
    InSequence order;
    EXPECT_CALL(*mock, startTransaction(_));
    EXPECT_CALL(*mock, enumerateInstanceNames(_, _, _, _)).WillOnce([](auto&&...) {
      throw CimError(kest::server::CIM_ERR_ACCESS_DENIED, "no");
    });
    EXPECT_CALL(*mock, endTransaction(_));
  }
  EXPECT_THROW(answer(requestFor(CimOperation::EnumerateInstanceNames, "EnumerateInstanceNames",
                                 "Test_Widget")),
               CimError);
}

TEST_F(DispatcherTest, EnumeratedInstancesAreWrittenAfterEachProviderCallReturns) {
  auto first = std::make_shared<NiceMock<MockProvider>>();
  auto second = std::make_shared<NiceMock<MockProvider>>();
  serve({inProcess("first", first, {declared("Test_Base")}),
         inProcess("second", second, {declared("Test_Sub", "Test_Base")})});
  const CimRequest request =
      requestFor(CimOperation::EnumerateInstances, "EnumerateInstances", "Test_Base");
  // A threshold of one byte passes every written instance on at once.
  Response response(request, 1);
  EXPECT_CALL(*first, enumerateInstances(_, _, _, _, _))
      .WillOnce([&](kest::ICollector<TOVSmrPtr<ITovaObject>>& results, auto&&...) {
        const std::size_t buffered = response.writer().mark().bufferSize;
        const std::size_t received = response.received().size();
        results.add(instanceOf("Test_Base", "b1"));
        results.add(instanceOf("Test_Base", "b2"));
        // Adding wrote nothing: neither into the writer nor to the body.
        EXPECT_EQ(response.writer().mark().bufferSize, buffered);
        EXPECT_EQ(response.received().size(), received);
        EXPECT_EQ(count(response.received(), "<VALUE.NAMEDINSTANCE>"), 0u);
      });
  EXPECT_CALL(*second, enumerateInstances(_, _, _, _, _))
      .WillOnce([&](kest::ICollector<TOVSmrPtr<ITovaObject>>& results, auto&&...) {
        // The first provider's results were written once its call returned.
        EXPECT_EQ(count(response.received(), "<VALUE.NAMEDINSTANCE>"), 2u);
        EXPECT_EQ(count(response.received(), "CLASSNAME=\"Test_Sub\""), 0u);
        results.add(instanceOf("Test_Sub", "s1"));
        EXPECT_EQ(count(response.received(), "CLASSNAME=\"Test_Sub\""), 0u);
      });
  _dispatcher.run(request, _dispatcher.route(request), response.writer());
  const std::string& text = response.finished();
  EXPECT_EQ(count(text, "<VALUE.NAMEDINSTANCE>"), 3u);
  EXPECT_EQ(count(text, "<INSTANCE CLASSNAME=\"Test_Sub\">"), 1u);
  EXPECT_EQ(dtdErrors(text), "");
}

TEST_F(DispatcherTest, AssociatorsFetchesAReferencedResultAfterTheAssociationProviderReturned) {
  auto widgets = std::make_shared<NiceMock<MockProvider>>();
  auto gadgets = std::make_shared<NiceMock<MockProvider>>();
  serve({inProcess("widgets", widgets, {declared("Test_Widget")}),
         inProcess("gadgets", gadgets, {declared("Test_Gadget")})});
  CimRequest request = requestFor(CimOperation::Associators, "Associators", "Test_Widget");
  request.instanceName = nameOf("Test_Widget", "w1");

  bool insideAssociators = false;
  InSequence order;
  EXPECT_CALL(*widgets, associators(_, kNameSpace, _, _, _, _, _, _, _))
      .WillOnce([&](kest::ICollector<TOVSmrPtr<ITovaValue>>& results, auto&&,
                    const TOVSmrPtr<ITovaInstanceName>& source, auto&&...) {
        insideAssociators = true;
        EXPECT_TRUE(source == request.instanceName);
        results.add(TOVSmrPtr<ITovaValue>(new CTovaValue(nameOf("Test_Gadget", "g1"))));
        insideAssociators = false;
      });
  EXPECT_CALL(*gadgets, getInstance(_, kNameSpace, _, _, _))
      .WillOnce([&](TOVSmrPtr<ITovaObject>& result, auto&&,
                    const TOVSmrPtr<ITovaInstanceName>& name, auto&&...) {
        EXPECT_FALSE(insideAssociators) << "the gadget was fetched during the associators call";
        EXPECT_EQ(name->getClassname(), TOVString("Test_Gadget"));
        result = instanceOf("Test_Gadget", "g1");
      });
  const std::string text = answer(request);
  EXPECT_EQ(count(text, "<VALUE.OBJECTWITHPATH>"), 1u);
  EXPECT_NE(text.find("<INSTANCE CLASSNAME=\"Test_Gadget\">"), std::string::npos) << text;
  EXPECT_EQ(dtdErrors(text), "");
}

TEST_F(DispatcherTest, ResultsAddedBeforeAProviderFailsAreWrittenThenTheFailureIsThrown) {
  auto mock = std::make_shared<NiceMock<MockProvider>>();
  serve({inProcess("widgets", mock, {declared("Test_Widget")})});
  const CimRequest request =
      requestFor(CimOperation::EnumerateInstances, "EnumerateInstances", "Test_Widget");
  EXPECT_CALL(*mock, enumerateInstances(_, _, _, _, _))
      .WillOnce([](kest::ICollector<TOVSmrPtr<ITovaObject>>& results, auto&&...) {
        results.add(instanceOf("Test_Widget", "w1"));
        results.add(instanceOf("Test_Widget", "w2"));
        throw TovaBaseException("Test", "enumerateInstances", "widgets", "the widget store broke",
                                0);
      });
  Response response(request);
  try {
    _dispatcher.run(request, _dispatcher.route(request), response.writer());
    ADD_FAILURE() << "the provider's failure was not thrown";
  } catch (const TovaBaseException& failure) {
    EXPECT_EQ(failure.getMessage(), TOVString("the widget store broke"));
  }
  const std::string& text = response.finished();
  EXPECT_EQ(count(text, "<VALUE.NAMEDINSTANCE>"), 2u);
  EXPECT_NE(text.find("<KEYVALUE VALUETYPE=\"string\" TYPE=\"string\">w2</KEYVALUE>"),
            std::string::npos)
      << text;
}

TEST_F(DispatcherTest, GetInstanceOfAMissingInstanceIsNotFound) {
  auto mock = std::make_shared<NiceMock<MockProvider>>();
  serve({inProcess("widgets", mock, {declared("Test_Widget")})});
  EXPECT_CALL(*mock, getInstance(_, kNameSpace, _, _, _));  // leaves the result null
  try {
    answer(getInstanceOf("Test_Widget", "none"));
    ADD_FAILURE() << "a missing instance was not refused";
  } catch (const CimError& error) {
    EXPECT_EQ(error.code(), kest::server::CIM_ERR_NOT_FOUND);
    EXPECT_NE(error.description().find("none"), std::string::npos) << error.description();
  }
}

TEST_F(DispatcherTest, CreateInstanceThatReturnsNoNameIsNotSupported) {
  auto mock = std::make_shared<NiceMock<MockProvider>>();
  serve({inProcess("widgets", mock, {declared("Test_Widget")})});
  CimRequest request = requestFor(CimOperation::CreateInstance, "CreateInstance", "Test_Widget");
  request.instance = instanceOf("Test_Widget", "new");
  EXPECT_CALL(*mock, createInstance(kNameSpace, request.instance, _))
      .WillOnce(Return(TOVSmrPtr<ITovaInstanceName>()));
  try {
    answer(request);
    ADD_FAILURE() << "a provider that created nothing was not refused";
  } catch (const CimError& error) {
    EXPECT_EQ(error.code(), kest::server::CIM_ERR_NOT_SUPPORTED);
  }

  EXPECT_CALL(*mock, createInstance(kNameSpace, request.instance, _))
      .WillOnce(Return(nameOf("Test_Widget", "new")));
  EXPECT_NE(answer(request).find("<IRETURNVALUE><INSTANCENAME CLASSNAME=\"Test_Widget\">"),
            std::string::npos);
}

TEST_F(DispatcherTest, AMethodResultTakesTheTypeTheMethodDeclares) {
  compile(
      "class Test_Widget {\n"
      "  [Key] string Name;\n"
      "  uint32 Reset([Out] uint16 Tries);\n"
      "};\n");
  auto mock = std::make_shared<NiceMock<MockProvider>>();
  serve({inProcess("widgets", mock, {declared("Test_Widget")})});
  CimRequest request = requestFor(CimOperation::MethodCall, "Reset", "Test_Widget");
  request.instanceName = nameOf("Test_Widget", "w1");
  request.inParameters = kest::IProvider::ParameterList(new TOVValSlist<TOVParameter>());
  EXPECT_CALL(*mock, executeMethod(kNameSpace, _, TOVString("Reset"), _, _, _))
      .WillOnce([](auto&&, auto&&, auto&&, auto&&, kest::IProvider::ParameterList out, auto&&) {
        out->append(TOVParameter(
            new CTovaActualParameter("Tries", TOVSmrPtr<ITovaValue>(new CTovaValue("3")))));
        return TOVSmrPtr<ITovaValue>(new CTovaValue("5"));
      });
  const std::string text = answer(request);
  EXPECT_NE(text.find("<METHODRESPONSE NAME=\"Reset\"><RETURNVALUE PARAMTYPE=\"uint32\">"
                      "<VALUE>5</VALUE></RETURNVALUE><PARAMVALUE NAME=\"Tries\" "
                      "PARAMTYPE=\"uint16\"><VALUE>3</VALUE></PARAMVALUE></METHODRESPONSE>"),
            std::string::npos)
      << text;
  EXPECT_EQ(dtdErrors(text), "");
}

// --- method calls checked against the declaration ---------------------------------

namespace {

const char* const kWidgetMethods =
    "class Test_Widget {\n"
    "  [Key] string Name;\n"
    "  uint32 Reset([In] uint32 Count, [In] string Label, [In] uint8 Levels[],\n"
    "               [In] Test_Widget REF Peer, [In(false), Out] uint16 Tries,\n"
    "               [In, EmbeddedObject] string Blob);\n"
    "  uint32 Start([In, Required] uint32 Delay, [In] string Note);\n"
    "};\n";

TOVSmrPtr<ITovaValue> text(const char* text) { return TOVSmrPtr<ITovaValue>(new CTovaValue(text)); }
TOVSmrPtr<ITovaValue> arrayOf(CimTypeCode code, std::vector<TOVSmrPtr<ITovaValue>> elements) {
  TOVSmrPtr<TOVValSlist<TOVSmrPtr<ITovaValue>>> list(new TOVValSlist<TOVSmrPtr<ITovaValue>>());
  for (const TOVSmrPtr<ITovaValue>& element : elements) list->append(element);
  return TOVSmrPtr<ITovaValue>(new CTovaValue(CTovaType::arrayOf(code), list));
}
TOVParameter param(const char* name, const TOVSmrPtr<ITovaValue>& value) {
  return TOVParameter(new CTovaActualParameter(name, value));
}

CimRequest widgetCall(const char* methodName, std::vector<TOVParameter> parameters = {}) {
  CimRequest request = requestFor(CimOperation::MethodCall, methodName, "Test_Widget");
  request.instanceName = nameOf("Test_Widget", "w1");
  request.inParameters = kest::IProvider::ParameterList(new TOVValSlist<TOVParameter>());
  for (const TOVParameter& parameter : parameters) request.inParameters->append(parameter);
  return request;
}

// What a provider's executeMethod returns: returned, and outputs as output
// parameters.
auto answering(TOVSmrPtr<ITovaValue> returned, std::vector<TOVParameter> outputs = {}) {
  return [returned, outputs](auto&&, auto&&, auto&&, auto&&, kest::IProvider::ParameterList out,
                             auto&&) {
    for (const TOVParameter& parameter : outputs) out->append(parameter);
    return returned;
  };
}

}  // namespace

TEST_F(DispatcherTest, AMethodTheClassDoesNotDeclareIsMethodNotFoundBeforeAnyProviderCall) {
  compile(kWidgetMethods);
  auto mock = std::make_shared<NiceMock<MockProvider>>();
  serve({inProcess("widgets", mock, {declared("Test_Widget"), declared("Test_Named")})});
  EXPECT_CALL(*mock, executeMethod(_, _, _, _, _, _)).Times(0);
  try {
    answer(widgetCall("Explode"));
    ADD_FAILURE() << "an undeclared method was called";
  } catch (const CimError& error) {
    EXPECT_EQ(error.code(), kest::server::CIM_ERR_METHOD_NOT_FOUND);
    EXPECT_EQ(error.description(), "The class Test_Widget has no method Explode");
  }
  EXPECT_EQ(refusal(widgetCall("Explode")), kest::server::CIM_ERR_METHOD_NOT_FOUND);
  EXPECT_EQ(refusal(widgetCall("rESET")), 0);
  // A class known only by name leaves the method to its provider.
  CimRequest named = widgetCall("Explode");
  named.className = "Test_Named";
  named.instanceName = nameOf("Test_Named", "n1");
  EXPECT_EQ(refusal(named), 0);
}

TEST_F(DispatcherTest, ADeclaredMethodWithoutAReturnValueIsMethodNotAvailable) {
  compile(kWidgetMethods);
  auto mock = std::make_shared<NiceMock<MockProvider>>();
  serve({inProcess("widgets", mock, {declared("Test_Widget"), declared("Test_Named")})});
  EXPECT_CALL(*mock, executeMethod(_, _, TOVString("Reset"), _, _, _))
      .WillOnce(answering(TOVSmrPtr<ITovaValue>()));
  const CimRequest request = widgetCall("Reset");
  Response response(request);
  try {
    _dispatcher.run(request, _dispatcher.route(request), response.writer());
    ADD_FAILURE() << "a method without a return value answered";
  } catch (const CimError& error) {
    EXPECT_EQ(error.code(), kest::server::CIM_ERR_METHOD_NOT_AVAILABLE);
    EXPECT_NE(error.description().find("Reset"), std::string::npos) << error.description();
  }
  EXPECT_EQ(response.received().find("RETURNVALUE"), std::string::npos);

  // A class known only by name: an empty response, as before.
  CimRequest named = widgetCall("Reset");
  named.className = "Test_Named";
  named.instanceName = nameOf("Test_Named", "n1");
  EXPECT_CALL(*mock, executeMethod(_, _, TOVString("Reset"), _, _, _))
      .WillOnce(answering(TOVSmrPtr<ITovaValue>()));
  EXPECT_NE(answer(named).find("<METHODRESPONSE NAME=\"Reset\"></METHODRESPONSE>"),
            std::string::npos);
}

TEST_F(DispatcherTest, InputParametersThatDoNotFitTheDeclarationAreInvalidBeforeTheProvider) {
  compile(kWidgetMethods);
  auto mock = std::make_shared<NiceMock<MockProvider>>();
  serve({inProcess("widgets", mock, {declared("Test_Widget")})});
  EXPECT_CALL(*mock, executeMethod(_, _, _, _, _, _)).Times(0);
  struct Case {
    const char* method;
    std::vector<TOVParameter> parameters;
    std::string message;
  };
  const std::vector<Case> cases = {
      {"Reset", {param("Bogus", text("x"))}, "parameter Bogus: Reset has no such parameter"},
      {"Reset", {param("Count", text("abc"))}, "parameter Count: \"abc\" is not a uint32 value"},
      {"Reset",
       {param("Count", TOVSmrPtr<ITovaValue>(new CTovaValue(TOVsint32(-1))))},
       "parameter Count: \"-1\" is not a uint32 value"},
      {"Reset",
       {param("Levels", arrayOf(CimTypeCode::String, {text("1"), text("300")}))},
       "parameter Levels: \"300\" is not a uint8 value"},
      {"Reset",
       {param("Label", arrayOf(CimTypeCode::String, {text("a")}))},
       "parameter Label: an array where string is declared"},
      {"Reset",
       {param("Levels", TOVSmrPtr<ITovaValue>(new CTovaValue(TOVuint8(1))))},
       "parameter Levels: a single value where uint8[] is declared"},
      {"Reset",
       {param("Label", TOVSmrPtr<ITovaValue>(new CTovaValue(nameOf("Test_Widget", "w2"))))},
       "parameter Label: a reference where string is declared"},
      {"Reset",
       {param("Peer", text("Test_Widget.Name=\"w2\""))},
       "parameter Peer: not a reference where Test_Widget REF is declared"},
      {"Reset",
       {param("Blob", text("<INSTANCE CLASSNAME=\"Test_Widget\"/>"))},
       "parameter Blob: not an embedded object where string (embedded object) is declared"},
      {"Reset",
       {param("Tries", TOVSmrPtr<ITovaValue>(new CTovaValue(TOVuint16(1))))},
       "parameter Tries: an output parameter (uint16) of Reset, not an input"},
      {"Start", {param("Note", text("n"))}, "parameter Delay: required (uint32), but not given"},
      {"Start",
       {param("Delay", CTovaValue::nullOf(CTovaType::uint32))},
       "parameter Delay: required (uint32), but not given"},
  };
  for (const Case& item : cases) {
    try {
      answer(widgetCall(item.method, item.parameters));
      ADD_FAILURE() << "passed on: " << item.message;
    } catch (const CimError& error) {
      EXPECT_EQ(error.code(), kest::server::CIM_ERR_INVALID_PARAMETER) << item.message;
      EXPECT_EQ(error.description(), item.message);
    }
  }
}

TEST_F(DispatcherTest, InputValuesThatConvertReachTheProviderWithTheDeclaredType) {
  compile(kWidgetMethods);
  auto mock = std::make_shared<NiceMock<MockProvider>>();
  serve({inProcess("widgets", mock, {declared("Test_Widget")})});
  kest::IProvider::ParameterList seen;
  EXPECT_CALL(*mock, executeMethod(_, _, TOVString("Reset"), _, _, _))
      .WillOnce([&](auto&&, auto&&, auto&&, kest::IProvider::ParameterList in, auto&&, auto&&) {
        seen = in;
        return TOVSmrPtr<ITovaValue>(new CTovaValue(TOVuint32(0)));
      });
  answer(widgetCall("Reset", {param("count", text("7")),
                              param("Levels", arrayOf(CimTypeCode::String, {text("1"), text("2")})),
                              param("Label", CTovaValue::nullOf(CTovaType::uint8))}));
  ASSERT_FALSE(seen.isNull());
  ASSERT_EQ(seen->entries(), 3u);
  EXPECT_EQ(seen->at(0)->getName(), TOVString("count"));
  EXPECT_EQ(CTovaType::codeOf(*seen->at(0)->getValue()->getType()), CimTypeCode::UInt32);
  EXPECT_EQ(seen->at(0)->getValue()->getAsUInt(), 7u);
  const TOVSmrPtr<ITovaType> levels = seen->at(1)->getValue()->getType();
  EXPECT_TRUE(levels->isArray());
  EXPECT_EQ(CTovaType::codeOf(*levels), CimTypeCode::UInt8);
  EXPECT_EQ(seen->at(1)->getValue()->toString(), TOVString("{1,2}"));
  EXPECT_TRUE(seen->at(2)->getValue()->isNullValue());
  EXPECT_EQ(CTovaType::codeOf(*seen->at(2)->getValue()->getType()), CimTypeCode::String);
}

TEST_F(DispatcherTest, ResultsThatDoNotConvertToTheDeclaredTypeAreAProviderFailure) {
  compile(kWidgetMethods);
  auto mock = std::make_shared<NiceMock<MockProvider>>();
  serve({inProcess("widgets", mock, {declared("Test_Widget")})});
  struct Case {
    TOVSmrPtr<ITovaValue> returned;
    std::vector<TOVParameter> outputs;
    std::string message;
  };
  const TOVSmrPtr<ITovaValue> zero(new CTovaValue(TOVuint32(0)));
  const std::vector<Case> cases = {
      {text("none"), {}, "The return value of Reset does not convert to the declared type uint32"},
      {arrayOf(CimTypeCode::UInt32, {zero}),
       {},
       "The return value of Reset does not convert to the declared type uint32"},
      {zero,
       {param("Tries", text("many"))},
       "The output parameter Tries of Reset does not convert to the declared type uint16"},
      {zero,
       {param("Peer", text("w2"))},
       "The output parameter Peer of Reset does not convert to the declared type Test_Widget "
       "REF"},
  };
  for (const Case& item : cases) {
    EXPECT_CALL(*mock, executeMethod(_, _, TOVString("Reset"), _, _, _))
        .WillOnce(answering(item.returned, item.outputs));
    const std::size_t before = _capture.records().size();
    const CimRequest request = widgetCall("Reset");
    Response response(request);
    try {
      _dispatcher.run(request, _dispatcher.route(request), response.writer());
      ADD_FAILURE() << "sent: " << item.message;
    } catch (const CimError& error) {
      EXPECT_EQ(error.code(), kest::server::CIM_ERR_FAILED);
      EXPECT_EQ(error.description(), item.message);
    }
    EXPECT_EQ(response.received().find("RETURNVALUE"), std::string::npos) << item.message;
    const std::vector<TOVLogRecord> records = _capture.records();
    ASSERT_EQ(records.size(), before + 1) << item.message;
    EXPECT_EQ(records.back().severity, TOVLog::SEVERITY_WARNING);
    EXPECT_EQ(records.back().message.toStdString(),
              item.message + "; the provider's result is not sent");
  }
}

TEST_F(DispatcherTest, ClassOperationsAreAnsweredFromTheCatalogWithoutAProvider) {
  compile(
      "class Test_Widget { [Key] string Name; };\n"
      "class Test_Knob : Test_Widget { uint8 Turns; };\n");
  auto mock = std::make_shared<StrictMock<MockProvider>>();
  allowLifecycleCalls(*mock);
  serve({inProcess("widgets", mock,
                   {declared("Test_Widget"), declared("Test_Knob", "Test_Widget")})});

  const std::string cls = answer(requestFor(CimOperation::GetClass, "GetClass", "Test_Knob"));
  EXPECT_NE(cls.find("<CLASS NAME=\"Test_Knob\" SUPERCLASS=\"Test_Widget\">"), std::string::npos)
      << cls;
  EXPECT_NE(cls.find("<PROPERTY NAME=\"Turns\" TYPE=\"uint8\""), std::string::npos) << cls;
  EXPECT_EQ(dtdErrors(cls), "");
  CimRequest classes = requestFor(CimOperation::EnumerateClasses, "EnumerateClasses", "");
  classes.deepInheritance = true;
  EXPECT_EQ(count(answer(classes), "<CLASS "), 2u);
  const std::string names =
      answer(requestFor(CimOperation::EnumerateClassNames, "EnumerateClassNames", "Test_Widget"));
  EXPECT_NE(names.find("<CLASSNAME NAME=\"Test_Knob\"/>"), std::string::npos) << names;
}

// --- compiled instances -------------------------------------------------------------

namespace {

const char* const kCompiledWidgets =
    "class Test_Widget { [Key] string Name; string Color; };\n"
    "class Test_Profile { [Key] string Id; string Version; };\n"
    "[Association] class Test_ConformsTo {\n"
    "  [Key] Test_Profile REF Profile;\n"
    "  [Key] Test_Widget REF Element;\n"
    "};\n"
    "instance of Test_Widget { Name = \"w9\"; Color = \"blue\"; };\n"
    "instance of Test_Profile as $p { Id = \"widgets\"; Version = \"1.0\"; };\n"
    "instance of Test_ConformsTo { Profile = $p; Element = \"Test_Widget.Name=\\\"w1\\\"\"; };\n";

// Where part first occurs in text; npos when it does not.
std::size_t at(const std::string& text, const std::string& part) { return text.find(part); }

const char* const kW1Key = "<KEYVALUE VALUETYPE=\"string\" TYPE=\"string\">w1</KEYVALUE>";
const char* const kW9Key = "<KEYVALUE VALUETYPE=\"string\" TYPE=\"string\">w9</KEYVALUE>";

}  // namespace

TEST_F(DispatcherTest, EnumerationsWriteTheProviderInstancesThenTheCompiledOnes) {
  compile(kCompiledWidgets);
  auto mock = std::make_shared<NiceMock<MockProvider>>();
  serve({inProcess("widgets", mock, {declared("Test_Widget")})});
  EXPECT_CALL(*mock, enumerateInstances(_, kNameSpace, TOVString("Test_Widget"), _, _))
      .WillOnce([](kest::ICollector<TOVSmrPtr<ITovaObject>>& results, auto&&...) {
        results.add(instanceOf("Test_Widget", "w1"));
      });
  const std::string text =
      answer(requestFor(CimOperation::EnumerateInstances, "EnumerateInstances", "Test_Widget"));
  EXPECT_EQ(count(text, "<VALUE.NAMEDINSTANCE>"), 2u) << text;
  ASSERT_NE(at(text, kW9Key), std::string::npos) << text;
  EXPECT_LT(at(text, kW1Key), at(text, kW9Key));
  EXPECT_NE(at(text, "<VALUE>blue</VALUE>"), std::string::npos) << text;
  EXPECT_EQ(dtdErrors(text), "");

  EXPECT_CALL(*mock, enumerateInstanceNames(_, kNameSpace, TOVString("Test_Widget"), _))
      .WillOnce([](kest::ICollector<TOVSmrPtr<ITovaInstanceName>>& results, auto&&...) {
        results.add(nameOf("Test_Widget", "w1"));
      });
  const std::string names = answer(
      requestFor(CimOperation::EnumerateInstanceNames, "EnumerateInstanceNames", "Test_Widget"));
  EXPECT_EQ(count(names, "<INSTANCENAME "), 2u) << names;
  EXPECT_LT(at(names, kW1Key), at(names, kW9Key));
}

TEST_F(DispatcherTest, GetInstanceLooksInTheCompiledInstancesBeforeTheProvider) {
  compile(kCompiledWidgets);
  auto mock = std::make_shared<StrictMock<MockProvider>>();
  allowLifecycleCalls(*mock);
  serve({inProcess("widgets", mock, {declared("Test_Widget")})});
  EXPECT_CALL(*mock, startTransaction(_)).Times(1);
  EXPECT_CALL(*mock, endTransaction(_)).Times(1);
  const std::string compiled = answer(getInstanceOf("Test_Widget", "w9"));
  EXPECT_NE(at(compiled, "<VALUE>blue</VALUE>"), std::string::npos) << compiled;
  EXPECT_CALL(*mock, getInstance(_, kNameSpace, _, _, _))
      .WillOnce([](TOVSmrPtr<ITovaObject>& result, auto&&...) {
        result = instanceOf("Test_Widget", "w1");
      });
  EXPECT_NE(at(answer(getInstanceOf("Test_Widget", "w1")), "<VALUE>w1</VALUE>"), std::string::npos);
}

TEST_F(DispatcherTest, AClassWithOnlyCompiledInstancesIsServedWithoutAProvider) {
  compile(kCompiledWidgets);
  auto mock = std::make_shared<NiceMock<MockProvider>>();
  serve({inProcess("widgets", mock, {declared("Test_Widget")})});
  CimRequest get = getInstanceOf("Test_Profile", "");
  get.instanceName = kest::repository::parseObjectPath("Test_Profile.Id=\"widgets\"");
  EXPECT_EQ(refusal(get), 0);
  EXPECT_NE(at(answer(get), "<VALUE>1.0</VALUE>"), std::string::npos);
  const std::string all =
      answer(requestFor(CimOperation::EnumerateInstances, "EnumerateInstances", "Test_Profile"));
  EXPECT_EQ(count(all, "<VALUE.NAMEDINSTANCE>"), 1u) << all;

  CimRequest missing = get;
  missing.instanceName = kest::repository::parseObjectPath("Test_Profile.Id=\"none\"");
  try {
    answer(missing);
    ADD_FAILURE() << "a missing instance was found";
  } catch (const CimError& error) {
    EXPECT_EQ(error.code(), kest::server::CIM_ERR_NOT_FOUND);
  }
  CimRequest remove = requestFor(CimOperation::DeleteInstance, "DeleteInstance", "Test_Profile");
  remove.instanceName = get.instanceName;
  try {
    answer(remove);
    ADD_FAILURE() << "a compiled instance was deleted";
  } catch (const CimError& error) {
    EXPECT_EQ(error.code(), kest::server::CIM_ERR_NOT_SUPPORTED);
    EXPECT_NE(error.description().find("read-only"), std::string::npos) << error.description();
  }
  CimRequest create = requestFor(CimOperation::CreateInstance, "CreateInstance", "Test_Profile");
  TOVSmrPtr<CTovaObject> fresh(new CTovaObject("Test_Profile"));
  fresh->setProperty("Id", TOVSmrPtr<ITovaValue>(new CTovaValue("new")));
  create.instance = CTovaObject::iPtr(fresh);
  try {
    answer(create);
    ADD_FAILURE() << "an instance of a compiled-only class was created";
  } catch (const CimError& error) {
    EXPECT_EQ(error.code(), kest::server::CIM_ERR_NOT_SUPPORTED);
  }
  CimRequest call = requestFor(CimOperation::MethodCall, "Reset", "Test_Profile");
  call.instanceName = get.instanceName;
  EXPECT_EQ(refusal(call), kest::server::CIM_ERR_METHOD_NOT_FOUND);
}

TEST_F(DispatcherTest, AssociationsOfAProviderObjectIncludeTheCompiledOnes) {
  compile(kCompiledWidgets);
  auto mock = std::make_shared<NiceMock<MockProvider>>();
  serve({inProcess("widgets", mock, {declared("Test_Widget")})});
  CimRequest request = requestFor(CimOperation::Associators, "Associators", "Test_Widget");
  request.instanceName = nameOf("Test_Widget", "w1");
  EXPECT_CALL(*mock, associators(_, kNameSpace, _, _, _, _, _, _, _))
      .WillOnce([](kest::ICollector<TOVSmrPtr<ITovaValue>>& results, auto&&...) {
        results.add(TOVSmrPtr<ITovaValue>(new CTovaValue(instanceOf("Test_Widget", "w2"))));
      });
  const std::string text = answer(request);
  EXPECT_EQ(count(text, "<VALUE.OBJECTWITHPATH>"), 2u) << text;
  EXPECT_LT(at(text, "CLASSNAME=\"Test_Widget\""),
            at(text, "<INSTANCE CLASSNAME=\"Test_Profile\">"));
  EXPECT_EQ(dtdErrors(text), "");

  request.operation = CimOperation::References;
  request.methodName = "References";
  const std::string references = answer(request);
  EXPECT_NE(at(references, "<INSTANCE CLASSNAME=\"Test_ConformsTo\">"), std::string::npos)
      << references;
  request.operation = CimOperation::ReferenceNames;
  request.methodName = "ReferenceNames";
  request.role = "Profile";
  EXPECT_EQ(count(answer(request), "<INSTANCENAME "), 0u);
  request.role = "Element";
  EXPECT_EQ(count(answer(request), "<INSTANCENAME CLASSNAME=\"Test_ConformsTo\">"), 1u);
}

TEST_F(DispatcherTest, AssociatorsOfACompiledObjectFetchTheFarEndFromItsProvider) {
  compile(kCompiledWidgets);
  auto mock = std::make_shared<NiceMock<MockProvider>>();
  serve({inProcess("widgets", mock, {declared("Test_Widget")})});
  CimRequest request = requestFor(CimOperation::Associators, "Associators", "Test_Profile");
  request.instanceName = kest::repository::parseObjectPath("Test_Profile.Id=\"widgets\"");
  EXPECT_EQ(refusal(request), 0);
  EXPECT_CALL(*mock, getInstance(_, kNameSpace, _, _, _))
      .WillOnce([](TOVSmrPtr<ITovaObject>& result, auto&&, const TOVSmrPtr<ITovaInstanceName>& name,
                   auto&&...) {
        EXPECT_EQ(name->toString(), TOVString("test_widget.name=\"w1\""));
        result = instanceOf("Test_Widget", "w1");
      });
  const std::string text = answer(request);
  EXPECT_EQ(count(text, "<VALUE.OBJECTWITHPATH>"), 1u) << text;
  EXPECT_NE(at(text, kW1Key), std::string::npos) << text;

  request.operation = CimOperation::AssociatorNames;
  request.methodName = "AssociatorNames";
  request.resultClass = "Test_Profile";
  EXPECT_EQ(count(answer(request), "<INSTANCENAME "), 0u);
  request.resultClass = "Test_Widget";
  EXPECT_EQ(count(answer(request), "<INSTANCENAME CLASSNAME=\"Test_Widget\">"), 1u);
}

TEST_F(DispatcherTest, AProviderReferenceToACompiledInstanceIsAnsweredFromTheCompiledOnes) {
  compile(kCompiledWidgets);
  auto mock = std::make_shared<NiceMock<MockProvider>>();
  serve({inProcess("widgets", mock, {declared("Test_Widget")})});
  CimRequest request = requestFor(CimOperation::Associators, "Associators", "Test_Widget");
  request.instanceName = nameOf("Test_Widget", "w5");
  request.assocClass = "Test_Nothing";
  EXPECT_CALL(*mock, associators(_, kNameSpace, _, _, _, _, _, _, _))
      .WillOnce([](kest::ICollector<TOVSmrPtr<ITovaValue>>& results, auto&&...) {
        results.add(TOVSmrPtr<ITovaValue>(
            new CTovaValue(kest::repository::parseObjectPath("Test_Profile.Id=\"widgets\""))));
      });
  EXPECT_CALL(*mock, getInstance(_, _, _, _, _)).Times(0);
  const std::string text = answer(request);
  EXPECT_EQ(count(text, "<VALUE.OBJECTWITHPATH>"), 1u) << text;
  EXPECT_NE(at(text, "<VALUE>1.0</VALUE>"), std::string::npos) << text;
}
