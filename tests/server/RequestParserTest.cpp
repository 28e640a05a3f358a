#include "server/RequestParser.h"

#include <gtest/gtest.h>

#include <pugixml.hpp>
#include <string>
#include <vector>

#include "host/ActualParameter.h"
#include "host/CimType.h"
#include "host/NameSpacePath.h"
#include "server/ClassCatalog.h"
#include "tests/server/ServerTestSupport.h"

using kest::server::CimOperation;
using kest::server::CimRequest;
using kest::server::ClassCatalog;
using kest::server::ParsedRequest;
using kest::server::RequestParser;
using kest::server::RequestRejected;
using kest::server::testing::dataPath;
using kest::server::testing::intrinsicCall;
using kest::server::testing::parameter;
using kest::server::testing::readFile;
using kest::server::testing::requestMessage;

namespace {

const char* const kFooName =
    "<INSTANCENAME CLASSNAME=\"CIM_Foo\"><KEYBINDING NAME=\"Name\"><KEYVALUE VALUETYPE=\"string\">"
    "abc</KEYVALUE></KEYBINDING></INSTANCENAME>";

std::string envelope(const std::string& call) { return requestMessage(call); }

std::string intrinsic(const std::string& method, const std::string& parameters) {
  return intrinsicCall(method, parameters);
}

std::string methodCall(const std::string& parameters) {
  return kest::server::testing::methodCall("DoIt", kFooName, parameters);
}

class RequestParserTest : public ::testing::Test {
 protected:
  RequestParserTest() : _catalog("root/cimv2"), _parser(_catalog, 32) {}

  CimRequest parseOk(const std::string& body) const {
    const ParsedRequest parsed = _parser.parse(body);
    if (parsed.error) ADD_FAILURE() << "CIM error: " << parsed.error->description();
    if (!parsed.request) throw std::runtime_error("no request");
    return *parsed.request;
  }

  CimRequest capture(const std::string& name) const {
    return parseOk(readFile(dataPath("requests/" + name + ".xml")));
  }

  // The rejection of body: "<status> <CIMError>: <detail>"; by a parser
  // allowing maxNodes nodes when given.
  std::string rejection(const std::string& body, std::size_t maxNodes = 0) const {
    try {
      if (maxNodes == 0) {
        _parser.parse(body);
      } else {
        RequestParser(_catalog, 32, maxNodes).parse(body);
      }
    } catch (const RequestRejected& rejected) {
      return std::to_string(rejected.httpStatus()) + " " + rejected.cimError() + ": " +
             rejected.detail();
    }
    return "accepted";
  }

  // The CIM error the request is answered with: "<code>: <description>".
  std::string cimError(const std::string& body) const {
    const ParsedRequest parsed = _parser.parse(body);
    if (!parsed.error) return "no error";
    return std::to_string(parsed.error->code()) + ": " + parsed.error->description();
  }

  ClassCatalog _catalog;
  RequestParser _parser;
};

TOVString parameterType(const CimRequest& request, std::size_t index) {
  const TOVSmrPtr<ITovaValue> value = request.inParameters->at(index)->getValue();
  if (!value) return "(null)";
  TOVString name = value->getType()->getName();
  if (value->getType()->isArray()) name += "[]";
  return name;
}

std::string keyText(const CimRequest& request) {
  return request.instanceName->toString().toStdString();
}

}  // namespace

// --- what wbemcli sends -----------------------------------------------------

TEST_F(RequestParserTest, EnumerateInstancesFromWbemcli) {
  const CimRequest request = capture("ei");
  EXPECT_EQ(request.operation, CimOperation::EnumerateInstances);
  EXPECT_EQ(request.messageId, "4711");
  EXPECT_EQ(request.methodName, "EnumerateInstances");
  EXPECT_EQ(request.nameSpace, TOVString("root/cimv2"));
  EXPECT_EQ(request.className, TOVString("CIM_Foo"));
  EXPECT_TRUE(request.deepInheritance);
  EXPECT_FALSE(request.localOnly);
  EXPECT_FALSE(request.includeQualifiers);
  EXPECT_TRUE(request.includeClassOrigin);
  EXPECT_FALSE(request.propertyList.has_value());
}

TEST_F(RequestParserTest, EnumerateInstanceNamesFromWbemcli) {
  const CimRequest request = capture("ein");
  EXPECT_EQ(request.operation, CimOperation::EnumerateInstanceNames);
  EXPECT_EQ(request.className, TOVString("CIM_Foo"));
}

TEST_F(RequestParserTest, GetInstanceFromWbemcliTypesKeysByValueType) {
  const CimRequest request = capture("gi");
  EXPECT_EQ(request.operation, CimOperation::GetInstance);
  EXPECT_EQ(keyText(request), "cim_foo.flag=true,id=42,name=\"abc\"");
  EXPECT_EQ(request.instanceName->getKeyPropertyAt(1)->getType()->getName(), TOVString("uint64"));
  EXPECT_EQ(request.instanceName->getKeyPropertyAt(2)->getType()->getName(), TOVString("boolean"));
  EXPECT_TRUE(request.includeClassOrigin);
}

TEST_F(RequestParserTest, ReferenceKeysFromWbemcliKeepTheirPath) {
  const CimRequest request = capture("gi-refkey");
  ASSERT_EQ(request.instanceName->getNumberOfKeyProperties(), 2u);
  const TOVSmrPtr<ITovaInstanceName> antecedent =
      request.instanceName->getKeyPropertyAt(0)->getValue()->getReference();
  ASSERT_TRUE(antecedent);
  EXPECT_EQ(antecedent->getClassname(), TOVString("CIM_Foo"));
  EXPECT_EQ(antecedent->getNameSpacePath()->getNameSpace(), TOVString("root/cimv2"));
}

TEST_F(RequestParserTest, AssociationRequestsFromWbemcli) {
  for (const char* name : {"ai", "ain", "ri", "rin"}) {
    const CimRequest request = capture(name);
    EXPECT_EQ(keyText(request), "cim_foo.flag=true,id=42,name=\"abc\"") << name;
    EXPECT_EQ(request.className, TOVString("CIM_Foo")) << name;
    EXPECT_FALSE(request.objectIsClass) << name;
    EXPECT_TRUE(request.assocClass.isNull()) << name;
  }
  EXPECT_EQ(capture("ai").operation, CimOperation::Associators);
  EXPECT_EQ(capture("ain").operation, CimOperation::AssociatorNames);
  EXPECT_EQ(capture("ri").operation, CimOperation::References);
  EXPECT_EQ(capture("rin").operation, CimOperation::ReferenceNames);
}

TEST_F(RequestParserTest, CreateInstanceFromWbemcliCarriesTypedProperties) {
  const CimRequest request = capture("ci");
  EXPECT_EQ(request.operation, CimOperation::CreateInstance);
  EXPECT_EQ(request.className, TOVString("CIM_Foo"));
  const ITovaObject& instance = *request.instance;
  EXPECT_TRUE(instance.getInstanceName().isNull());
  EXPECT_EQ(instance.getNumberOfProperties(true), 8u);
  EXPECT_EQ(instance.getPropertyByName("Id", true)->getValue()->getAsUInt(), 42u);
  EXPECT_EQ(instance.getPropertyByName("Id", true)->getType()->getName(), TOVString("uint32"));
  EXPECT_EQ(instance.getPropertyByName("Count", true)->getValue()->toString(), TOVString("-3"));
  EXPECT_EQ(instance.getPropertyByName("Vals", true)->getValue()->toString(), TOVString("{1,2,3}"));
  const TOVSmrPtr<ITovaInstanceName> peer =
      instance.getPropertyByName("Peer", true)->getValue()->getReference();
  EXPECT_EQ(peer->toFullPathString(), TOVString("//127.0.0.1/root/cimv2:cim_bar.tag=\"b1\""));
}

TEST_F(RequestParserTest, ModifyInstanceFromWbemcliNamesTheInstance) {
  const CimRequest request = capture("mi");
  EXPECT_EQ(request.operation, CimOperation::ModifyInstance);
  EXPECT_EQ(keyText(request), "cim_foo.flag=true,id=42,name=\"abc\"");
  EXPECT_EQ(request.instance->getPropertyByName("Descr", true)->getValue()->getAsString(),
            TOVString("changed"));
  EXPECT_TRUE(request.instance->getInstanceName() == request.instanceName);
}

TEST_F(RequestParserTest, DeleteInstanceAndPropertyRequestsFromWbemcli) {
  EXPECT_EQ(capture("di").operation, CimOperation::DeleteInstance);
  const CimRequest get = capture("gp");
  EXPECT_EQ(get.operation, CimOperation::GetProperty);
  EXPECT_EQ(get.propertyName, TOVString("Descr"));
  const CimRequest set = capture("sp");
  EXPECT_EQ(set.operation, CimOperation::SetProperty);
  EXPECT_EQ(set.newValue->getAsString(), TOVString("changed"));
  EXPECT_EQ(set.newValue->getType()->getName(), TOVString("string"));
}

TEST_F(RequestParserTest, ClassRequestsFromWbemcli) {
  const CimRequest get = capture("gc");
  EXPECT_EQ(get.operation, CimOperation::GetClass);
  EXPECT_EQ(get.nameSpace, TOVString("root/cimv2"));
  EXPECT_FALSE(get.localOnly);
  EXPECT_TRUE(get.includeQualifiers);
  const CimRequest classes = capture("ec");
  EXPECT_EQ(classes.operation, CimOperation::EnumerateClasses);
  EXPECT_TRUE(classes.deepInheritance);
  const CimRequest names = capture("ecn");
  EXPECT_EQ(names.operation, CimOperation::EnumerateClassNames);
  EXPECT_EQ(names.className, TOVString("CIM_Foo"));
  EXPECT_TRUE(names.deepInheritance);
}

TEST_F(RequestParserTest, MethodCallFromWbemcliHasUntypedStringParameters) {
  const CimRequest request = capture("cm");
  EXPECT_EQ(request.operation, CimOperation::MethodCall);
  EXPECT_EQ(request.methodName, "DoIt");
  EXPECT_EQ(request.nameSpace, TOVString("root/cimv2"));
  EXPECT_EQ(keyText(request), "cim_foo.flag=true,id=42,name=\"abc\"");
  ASSERT_EQ(request.inParameters->entries(), 6u);
  const std::vector<std::string> expected{"string",   "string",   "string",
                                          "string[]", "string[]", "CIM_Bar"};
  for (std::size_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ(parameterType(request, i), TOVString(expected[i])) << i;
  }
  EXPECT_EQ(request.inParameters->at(1)->getValue()->getAsUInt(), 7u);
  EXPECT_EQ(request.inParameters->at(3)->getValue()->toString(), TOVString("{x,y z}"));
}

TEST_F(RequestParserTest, MethodParametersAreTypedByTheClassDefinition) {
  _catalog.compileMofText("foo.mof",
                          "class CIM_Foo { uint32 DoIt([In] uint32 N, [In] boolean B, "
                          "[In] uint32 NA[]); };\n");
  const CimRequest request = capture("cm");
  EXPECT_EQ(parameterType(request, 1), TOVString("uint32"));
  EXPECT_EQ(parameterType(request, 2), TOVString("boolean"));
  EXPECT_EQ(parameterType(request, 4), TOVString("uint32[]"));
}

TEST_F(RequestParserTest, KeyValuesAreTypedByTheClassDefinitionWhenTheTextFits) {
  _catalog.compileMofText("foo.mof", "class CIM_Foo { [Key] uint32 Id; };\n");
  const CimRequest request = parseOk(
      intrinsic("GetInstance",
                parameter("InstanceName",
                          "<INSTANCENAME CLASSNAME=\"CIM_Foo\"><KEYBINDING NAME=\"Id\"><KEYVALUE "
                          "VALUETYPE=\"string\">42</KEYVALUE></KEYBINDING></INSTANCENAME>")));
  EXPECT_EQ(request.instanceName->getKeyPropertyAt(0)->getType()->getName(), TOVString("uint32"));
  EXPECT_EQ(keyText(request), "cim_foo.id=42");
}

TEST_F(RequestParserTest, KeyValueTypeAttributeWinsOverValueType) {
  const CimRequest request = parseOk(intrinsic(
      "GetInstance",
      parameter("InstanceName",
                "<INSTANCENAME CLASSNAME=\"CIM_Foo\"><KEYBINDING NAME=\"Id\"><KEYVALUE "
                "VALUETYPE=\"numeric\" TYPE=\"sint16\">-7</KEYVALUE></KEYBINDING>"
                "<KEYBINDING NAME=\"R\"><KEYVALUE VALUETYPE=\"numeric\">2.5</KEYVALUE></KEYBINDING>"
                "</INSTANCENAME>")));
  EXPECT_EQ(request.instanceName->getKeyPropertyAt(0)->getType()->getName(), TOVString("sint16"));
  EXPECT_EQ(request.instanceName->getKeyPropertyAt(1)->getType()->getName(), TOVString("real64"));
}

// --- parameters ---------------------------------------------------------------

TEST_F(RequestParserTest, OmittedBooleansTakeEachOperationsDefault) {
  const CimRequest instances =
      parseOk(intrinsic("EnumerateInstances", parameter("ClassName", "<CLASSNAME NAME=\"X\"/>")));
  EXPECT_TRUE(instances.deepInheritance);
  EXPECT_FALSE(instances.localOnly);
  EXPECT_FALSE(instances.includeQualifiers);
  EXPECT_FALSE(instances.includeClassOrigin);
  const CimRequest cls =
      parseOk(intrinsic("GetClass", parameter("ClassName", "<CLASSNAME NAME=\"X\"/>")));
  EXPECT_TRUE(cls.localOnly);
  EXPECT_TRUE(cls.includeQualifiers);
  const CimRequest names = parseOk(intrinsic("EnumerateClassNames", ""));
  EXPECT_FALSE(names.deepInheritance);
  EXPECT_TRUE(names.className.isNull());
}

TEST_F(RequestParserTest, ParameterNamesMatchInAnyCase) {
  const CimRequest request = parseOk(
      intrinsic("EnumerateInstances", parameter("classname", "<CLASSNAME NAME=\"X\"/>") +
                                          parameter("DEEPINHERITANCE", "<VALUE>false</VALUE>")));
  EXPECT_FALSE(request.deepInheritance);
}

TEST_F(RequestParserTest, PropertyListIsAbsentEmptyOrAListOfNames) {
  const std::string className = parameter("ClassName", "<CLASSNAME NAME=\"X\"/>");
  EXPECT_FALSE(parseOk(intrinsic("EnumerateInstances", className + parameter("PropertyList", "")))
                   .propertyList.has_value());
  const CimRequest empty = parseOk(intrinsic(
      "EnumerateInstances", className + parameter("PropertyList", "<VALUE.ARRAY></VALUE.ARRAY>")));
  ASSERT_TRUE(empty.propertyList.has_value());
  EXPECT_TRUE(empty.propertyList->empty());
  const CimRequest two = parseOk(intrinsic(
      "EnumerateInstances",
      className + parameter("PropertyList",
                            "<VALUE.ARRAY><VALUE>Name</VALUE><VALUE>Size</VALUE></VALUE.ARRAY>")));
  ASSERT_EQ(two.propertyList->size(), 2u);
  EXPECT_EQ((*two.propertyList)[1], TOVString("Size"));
}

TEST_F(RequestParserTest, AssociationFiltersAndAClassAsObjectName) {
  const CimRequest request = parseOk(
      intrinsic("AssociatorNames", parameter("ObjectName", "<CLASSNAME NAME=\"CIM_Foo\"/>") +
                                       parameter("AssocClass", "<CLASSNAME NAME=\"CIM_FooBar\"/>") +
                                       parameter("ResultClass", "<CLASSNAME NAME=\"CIM_Bar\"/>") +
                                       parameter("Role", "<VALUE>Antecedent</VALUE>") +
                                       parameter("ResultRole", "<VALUE>Dependent</VALUE>")));
  EXPECT_TRUE(request.objectIsClass);
  EXPECT_EQ(request.className, TOVString("CIM_Foo"));
  EXPECT_EQ(request.instanceName->getNumberOfKeyProperties(), 0u);
  EXPECT_EQ(request.assocClass, TOVString("CIM_FooBar"));
  EXPECT_EQ(request.resultClass, TOVString("CIM_Bar"));
  EXPECT_EQ(request.role, TOVString("Antecedent"));
  EXPECT_EQ(request.resultRole, TOVString("Dependent"));
}

TEST_F(RequestParserTest, MethodParametersWithTypesArraysReferencesAndNulls) {
  const CimRequest request = parseOk(methodCall(
      "<PARAMVALUE NAME=\"N\" PARAMTYPE=\"uint16\"><VALUE>7</VALUE></PARAMVALUE>"
      "<PARAMVALUE NAME=\"L\" PARAMTYPE=\"sint32\"><VALUE.ARRAY><VALUE>-1</VALUE><VALUE.NULL/>"
      "</VALUE.ARRAY></PARAMVALUE>"
      "<PARAMVALUE NAME=\"R\" PARAMTYPE=\"reference\"><VALUE.REFERENCE>" +
      std::string(kFooName) +
      "</VALUE.REFERENCE></PARAMVALUE>"
      "<PARAMVALUE NAME=\"RA\"><VALUE.REFARRAY><VALUE.REFERENCE>" +
      kFooName +
      "</VALUE.REFERENCE></VALUE.REFARRAY></PARAMVALUE>"
      "<PARAMVALUE NAME=\"Nothing\"></PARAMVALUE>"));
  ASSERT_EQ(request.inParameters->entries(), 5u);
  EXPECT_EQ(parameterType(request, 0), TOVString("uint16"));
  EXPECT_EQ(parameterType(request, 1), TOVString("sint32[]"));
  EXPECT_EQ(request.inParameters->at(1)->getValue()->getArray()->entries(), 2u);
  EXPECT_TRUE(request.inParameters->at(1)->getValue()->getArray()->at(1)->isNullValue());
  EXPECT_EQ(request.inParameters->at(2)->getValue()->getReference()->toString(),
            TOVString("cim_foo.name=\"abc\""));
  EXPECT_EQ(request.inParameters->at(3)->getValue()->getArray()->entries(), 1u);
  EXPECT_EQ(request.inParameters->at(4)->getName(), TOVString("Nothing"));
  EXPECT_TRUE(request.inParameters->at(4)->getValue().isNull());
}

TEST_F(RequestParserTest, EmbeddedInstanceParameterIsParsedFromItsEscapedText) {
  const CimRequest request = parseOk(methodCall(
      "<PARAMVALUE NAME=\"Obj\" PARAMTYPE=\"string\" EmbeddedObject=\"instance\"><VALUE>"
      "&lt;INSTANCE CLASSNAME=&quot;Test_E&quot;&gt;&lt;PROPERTY NAME=&quot;S&quot; "
      "TYPE=&quot;string&quot;&gt;&lt;VALUE&gt;x&amp;amp;y&lt;/VALUE&gt;&lt;/PROPERTY&gt;"
      "&lt;/INSTANCE&gt;</VALUE></PARAMVALUE>"));
  const TOVSmrPtr<ITovaObject> object = request.inParameters->at(0)->getValue()->getObject();
  ASSERT_TRUE(object);
  EXPECT_EQ(object->getClassName(), TOVString("Test_E"));
  EXPECT_EQ(object->getPropertyByName("s", true)->getValue()->getAsString(), TOVString("x&y"));
}

TEST_F(RequestParserTest, MethodCalledOnAClassAddressesAKeylessName) {
  const CimRequest request = parseOk(envelope(
      "<METHODCALL NAME=\"Reset\"><LOCALCLASSPATH><LOCALNAMESPACEPATH><NAMESPACE NAME=\"root\"/>"
      "<NAMESPACE NAME=\"interop\"/></LOCALNAMESPACEPATH><CLASSNAME NAME=\"CIM_Foo\"/>"
      "</LOCALCLASSPATH></METHODCALL>"));
  EXPECT_EQ(request.nameSpace, TOVString("root/interop"));
  EXPECT_EQ(request.className, TOVString("CIM_Foo"));
  EXPECT_EQ(request.instanceName->getNumberOfKeyProperties(), 0u);
  EXPECT_EQ(request.inParameters->entries(), 0u);
}

TEST_F(RequestParserTest, ReferencesAndCdataAreResolvedInText) {
  const CimRequest request = parseOk(
      intrinsic("GetProperty",
                parameter("InstanceName", kFooName) +
                    parameter("PropertyName", "<VALUE>&#65;&#x42;&lt;<![CDATA[&x<]]></VALUE>")));
  EXPECT_EQ(request.propertyName, TOVString("AB<&x<"));
}

// --- CIM errors ---------------------------------------------------------------

TEST_F(RequestParserTest, ParameterProblemsAreInvalidParameterErrors) {
  const std::string className = parameter("ClassName", "<CLASSNAME NAME=\"X\"/>");
  EXPECT_EQ(cimError(intrinsic("GetInstance", "")),
            "4: the required parameter InstanceName is missing");
  EXPECT_EQ(cimError(intrinsic("EnumerateInstances", className + parameter("Bogus", ""))),
            "4: EnumerateInstances has no parameter Bogus");
  EXPECT_EQ(cimError(intrinsic("EnumerateInstances", className + className)),
            "4: parameter ClassName is given twice");
  EXPECT_EQ(cimError(intrinsic("EnumerateInstances", parameter("ClassName", "<VALUE>X</VALUE>"))),
            "4: parameter ClassName must be a CLASSNAME, not VALUE");
  EXPECT_EQ(cimError(intrinsic("EnumerateInstances",
                               className + parameter("LocalOnly", "<VALUE>maybe</VALUE>"))),
            "4: parameter LocalOnly: \"maybe\" is not a boolean value");
  EXPECT_EQ(cimError(intrinsic(
                "GetInstance",
                parameter("InstanceName",
                          "<INSTANCENAME CLASSNAME=\"X\"><KEYBINDING NAME=\"Id\"><KEYVALUE "
                          "VALUETYPE=\"numeric\">4x</KEYVALUE></KEYBINDING></INSTANCENAME>"))),
            "4: key Id of X: \"4x\" is not a number");
  EXPECT_EQ(cimError(methodCall("<PARAMVALUE NAME=\"N\" PARAMTYPE=\"uint8\"><VALUE>300</VALUE>"
                                "</PARAMVALUE>")),
            "4: parameter N: \"300\" is not a uint8 value");
}

TEST_F(RequestParserTest, DateTimeValuesOutOfRangeAreInvalidParameterErrors) {
  const auto call = [](const std::string& text) {
    return methodCall("<PARAMVALUE NAME=\"When\" PARAMTYPE=\"datetime\"><VALUE>" + text +
                      "</VALUE></PARAMVALUE>");
  };
  EXPECT_EQ(cimError(call("20261321123000.000000+000")),
            "4: parameter When: \"20261321123000.000000+000\" is not a datetime value");
  EXPECT_EQ(cimError(call("00000001020304.000000:001")),
            "4: parameter When: \"00000001020304.000000:001\" is not a datetime value");
  EXPECT_EQ(cimError(call("20261221123000.000000+000")), "no error");
}

TEST_F(RequestParserTest, UnsupportedOperationsAreNotSupportedErrorsThatKeepTheMessage) {
  const ParsedRequest parsed = _parser.parse(intrinsic("ExecQuery", ""));
  ASSERT_TRUE(parsed.error.has_value());
  EXPECT_EQ(parsed.error->code(), 7);
  EXPECT_EQ(parsed.error->description(), "the operation ExecQuery is not supported");
  EXPECT_EQ(parsed.messageId, "4711");
  EXPECT_EQ(parsed.methodName, "ExecQuery");
  EXPECT_TRUE(parsed.intrinsic);
}

// --- rejected requests --------------------------------------------------------

TEST_F(RequestParserTest, UnescapedKeyValueFromWbemcliIsNotWellFormed) {
  const std::string body = intrinsic(
      "GetInstance", parameter("InstanceName",
                               "<INSTANCENAME CLASSNAME=\"CIM_Foo\"><KEYBINDING NAME=\"Name\">"
                               "<KEYVALUE VALUETYPE=\"string\">a&b<c>d</KEYVALUE></KEYBINDING>"
                               "</INSTANCENAME>"));
  EXPECT_EQ(rejection(body).substr(0, 28), "400 request-not-well-formed:");
}

TEST_F(RequestParserTest, MalformedXmlIsNotWellFormed) {
  const std::string notUtf8 =
      intrinsic("GetProperty", parameter("InstanceName", kFooName) +
                                   parameter("PropertyName", "<VALUE>\xC3(</VALUE>"));
  const std::vector<std::pair<std::string, std::string>> cases = {
      {intrinsic("GetProperty", parameter("InstanceName", kFooName) +
                                    parameter("PropertyName", "<VALUE>a&b</VALUE>")),
       "400 request-not-well-formed: '&' does not start a character or entity reference"},
      {intrinsic("GetProperty", parameter("InstanceName", kFooName) +
                                    parameter("PropertyName", "<VALUE>&nbsp;</VALUE>")),
       "400 request-not-well-formed: undefined entity &nbsp;"},
      {intrinsic("GetProperty", parameter("InstanceName", kFooName) +
                                    parameter("PropertyName", "<VALUE>&#1;</VALUE>")),
       "400 request-not-well-formed: invalid character reference &#1;"},
      {intrinsic("GetProperty", parameter("InstanceName", kFooName) +
                                    parameter("PropertyName", "<VALUE>a\x01</VALUE>")),
       "400 request-not-well-formed: control character 1 is not allowed in XML"},
      {notUtf8, "400 request-not-well-formed: the request is not UTF-8 (offset " +
                    std::to_string(notUtf8.find("\xC3(")) + ")"},
      {intrinsic("EnumerateInstances", "<IPARAMVALUE NAME=\"a<b\"></IPARAMVALUE>"),
       "400 request-not-well-formed: '<' is not allowed in an attribute value"},
      {"", "400 request-not-well-formed: the request: No document element found at offset 0"},
  };
  for (const auto& [body, expected] : cases) EXPECT_EQ(rejection(body), expected);
}

TEST_F(RequestParserTest, TruncatedRequestIsNotWellFormed) {
  const std::string whole = readFile(dataPath("requests/gi.xml"));
  for (std::size_t size : {whole.size() / 3, whole.size() / 2, whole.size() - 8}) {
    EXPECT_EQ(rejection(whole.substr(0, size)).substr(0, 28), "400 request-not-well-formed:")
        << size;
  }
}

TEST_F(RequestParserTest, WellFormedXmlThatIsNotARequestIsNotValid) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"<FOO/>", "400 request-not-valid: the document element is FOO, not CIM"},
      {"<CIM DTDVERSION=\"2.0\"/>",
       "400 request-not-valid: element CIM lacks its CIMVERSION attribute"},
      {"<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\"><MESSAGE PROTOCOLVERSION=\"1.0\"/></CIM>",
       "400 request-not-valid: element MESSAGE lacks its ID attribute"},
      {"<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\"><MESSAGE ID=\"1\" PROTOCOLVERSION=\"1.0\">"
       "<SIMPLERSP/></MESSAGE></CIM>",
       "400 request-not-valid: MESSAGE holds SIMPLERSP, not SIMPLEREQ"},
      {envelope("<IMETHODCALL NAME=\"GetClass\"></IMETHODCALL>"),
       "400 request-not-valid: IMETHODCALL must start with LOCALNAMESPACEPATH"},
      {intrinsic("GetInstance",
                 parameter("InstanceName", "<INSTANCENAME><KEYBINDING/></INSTANCENAME>")),
       "400 request-not-valid: element INSTANCENAME lacks its CLASSNAME attribute"},
      {intrinsic("GetInstance", "text"),
       "400 request-not-valid: element IMETHODCALL may not hold text"},
  };
  for (const auto& [body, expected] : cases) EXPECT_EQ(rejection(body), expected);
}

TEST_F(RequestParserTest, UnsupportedVersionsAndMultipleRequestsAreNotImplemented) {
  const std::string call = "<IMETHODCALL NAME=\"EnumerateClassNames\">" +
                           kest::server::testing::localNameSpacePath("root/cimv2") +
                           "</IMETHODCALL>";
  EXPECT_EQ(rejection("<CIM CIMVERSION=\"3.0\" DTDVERSION=\"2.0\"/>"),
            "501 unsupported-cim-version: CIMVERSION 3.0 is not supported");
  EXPECT_EQ(rejection("<CIM CIMVERSION=\"2.0\" DTDVERSION=\"3.1\"/>"),
            "501 unsupported-dtd-version: DTDVERSION 3.1 is not supported");
  EXPECT_EQ(rejection("<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\"><MESSAGE ID=\"1\" "
                      "PROTOCOLVERSION=\"2.0\"/></CIM>"),
            "501 unsupported-protocol-version: PROTOCOLVERSION 2.0 is not supported");
  EXPECT_EQ(
      rejection("<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\"><MESSAGE ID=\"1\" "
                "PROTOCOLVERSION=\"1.0\"><MULTIREQ><SIMPLEREQ>" +
                call + "</SIMPLEREQ><SIMPLEREQ>" + call +
                "</SIMPLEREQ></MULTIREQ></MESSAGE></CIM>"),
      "501 multiple-requests-unsupported: multiple requests in one message are not supported");
}

TEST_F(RequestParserTest, NestingBeyondTheLimitIsNotValid) {
  std::string deep;
  for (int i = 0; i < 40; ++i) deep += "<VALUE.ARRAY>";
  for (int i = 0; i < 40; ++i) deep += "</VALUE.ARRAY>";
  EXPECT_EQ(rejection(intrinsic("EnumerateClassNames", parameter("X", deep))),
            "400 request-not-valid: the request nests elements more than 32 levels deep");
}

TEST_F(RequestParserTest, VeryDeepNestingIsRefusedWithoutExhaustingTheStack) {
  std::string deep;
  deep.reserve(2400000);
  for (int i = 0; i < 200000; ++i) deep += "<A>";
  for (int i = 0; i < 200000; ++i) deep += "</A>";
  EXPECT_EQ(rejection(deep),
            "400 request-not-valid: the request nests elements more than 32 levels deep");
}

TEST_F(RequestParserTest, EmbeddedObjectsCountTowardsTheDepthLimit) {
  std::string inner = "&lt;INSTANCE CLASSNAME=&quot;E&quot;&gt;&lt;/INSTANCE&gt;";
  std::string nested;
  for (int i = 0; i < 30; ++i) nested += "&lt;A&gt;";
  for (int i = 0; i < 30; ++i) nested += "&lt;/A&gt;";
  EXPECT_EQ(cimError(methodCall("<PARAMVALUE NAME=\"Obj\" EmbeddedObject=\"instance\"><VALUE>" +
                                inner + "</VALUE></PARAMVALUE>")),
            "no error");
  EXPECT_EQ(rejection(methodCall("<PARAMVALUE NAME=\"Obj\" EmbeddedObject=\"instance\"><VALUE>" +
                                 nested + "</VALUE></PARAMVALUE>")),
            "400 request-not-valid: the embedded object of parameter Obj nests elements more than "
            "26 levels deep");
}

TEST_F(RequestParserTest, NestingUpToTheLimitIsRead) {
  std::string deep;
  for (int i = 0; i < 27; ++i) deep += "<VALUE.ARRAY>";
  for (int i = 0; i < 27; ++i) deep += "</VALUE.ARRAY>";
  const std::string deepest = intrinsic("EnumerateClassNames", parameter("X", deep));
  EXPECT_EQ(rejection(deepest), "accepted");
  EXPECT_EQ(rejection(intrinsic("EnumerateClassNames",
                                parameter("X", "<VALUE.ARRAY>" + deep + "</VALUE.ARRAY>"))),
            "400 request-not-valid: the request nests elements more than 32 levels deep");
}

// The nodes the tree parser builds for text: elements, attributes and
// text runs, the same parsing options as the request parser.
std::size_t treeNodes(const std::string& text) {
  pugi::xml_document document;
  document.load_buffer(text.data(), text.size(),
                       pugi::parse_cdata | pugi::parse_wconv_attribute | pugi::parse_eol |
                           pugi::parse_ws_pcdata_single,
                       pugi::encoding_utf8);
  std::size_t nodes = 0;
  struct Counter : pugi::xml_tree_walker {
    std::size_t* nodes;
    bool for_each(pugi::xml_node& node) override {
      *nodes += 1 + static_cast<std::size_t>(
                        std::distance(node.attributes().begin(), node.attributes().end()));
      return true;
    }
  } counter;
  counter.nodes = &nodes;
  document.traverse(counter);
  return nodes;
}

TEST_F(RequestParserTest, NodeLimitIsTheTreeOfEveryCapturedRequest) {
  for (const char* name : {"ai", "ain", "ci", "cm", "di", "ec", "ecn", "ei", "ein", "gc",
                           "gi-refkey", "gi", "gp", "mi", "ri", "rin", "sp"}) {
    const std::string body = readFile(dataPath(std::string("requests/") + name + ".xml"));
    const std::size_t nodes = treeNodes(body);
    ASSERT_GT(nodes, 10u) << name;
    EXPECT_EQ(rejection(body, nodes).substr(0, 8), "accepted") << name;
    EXPECT_EQ(rejection(body, nodes - 1), "400 request-not-valid: the request holds more than " +
                                              std::to_string(nodes - 1) +
                                              " XML nodes (elements, attributes and text)")
        << name;
  }
}

TEST_F(RequestParserTest, EmbeddedObjectsAreEachHeldToTheNodeLimit) {
  std::string properties;
  for (int i = 0; i < 30; ++i) {
    properties += "&lt;PROPERTY NAME=&quot;P" + std::to_string(i) +
                  "&quot; TYPE=&quot;string&quot;&gt;&lt;VALUE&gt;v&lt;/VALUE&gt;&lt;/PROPERTY&gt;";
  }
  const std::string body = methodCall(
      "<PARAMVALUE NAME=\"Obj\" EmbeddedObject=\"instance\"><VALUE>&lt;INSTANCE "
      "CLASSNAME=&quot;E&quot;&gt;" +
      properties + "&lt;/INSTANCE&gt;</VALUE></PARAMVALUE>");
  EXPECT_EQ(rejection(body, 500), "accepted");
  EXPECT_EQ(rejection(body, 100),
            "400 request-not-valid: the embedded object of parameter Obj holds more than 100 XML "
            "nodes (elements, attributes and text)");
}

TEST_F(RequestParserTest, ContentAfterTheRootElementIsNotWellFormed) {
  const std::string body = readFile(dataPath("requests/ei.xml"));
  const std::string end = std::to_string(body.size());
  EXPECT_EQ(
      rejection(body + "x"),
      "400 request-not-well-formed: the request: content after the root element at offset " + end);
  EXPECT_EQ(
      rejection(body + "<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\"/>"),
      "400 request-not-well-formed: the request: content after the root element at offset " + end);
}

TEST_F(RequestParserTest, WhiteSpaceCommentsAndProcessingInstructionsMayFollowTheRoot) {
  const std::string body = readFile(dataPath("requests/ei.xml"));
  EXPECT_EQ(rejection(body + " \r\n<!-- sent by a test -->\n<?trace id=\"1\"?>\n"), "accepted");
}

TEST_F(RequestParserTest, MarkupInsideAttributeValuesAndCdataIsNotCountedAsNodes) {
  std::string markup;
  for (int i = 0; i < 50; ++i) markup += "<A>";
  const std::string body = readFile(dataPath("requests/ei.xml"));
  const std::size_t nodes = treeNodes(body);
  // The same number of nodes, with markup inside a CDATA section that
  // replaces a text node and inside a comment.
  const std::string value = "<VALUE>FALSE</VALUE>";
  ASSERT_NE(body.find(value), std::string::npos);
  std::string withCdata = body;
  withCdata.replace(body.find(value), value.size(),
                    "<VALUE><![CDATA[" + markup + "FALSE]]><!--" + markup + "--></VALUE>");
  EXPECT_EQ(treeNodes(withCdata), nodes);
  EXPECT_EQ(rejection(withCdata, nodes), "accepted");
  // An attribute value with '>' in it ('<' is refused later, not miscounted).
  std::string withQuotes = body;
  withQuotes.insert(body.find("<IMETHODCALL") + 12, " X=\"/>>\"");
  EXPECT_EQ(rejection(withQuotes, nodes + 1), "accepted");
  EXPECT_EQ(
      rejection(intrinsic("EnumerateInstances", "<IPARAMVALUE NAME=\"a<b\"></IPARAMVALUE>"), nodes),
      "400 request-not-well-formed: '<' is not allowed in an attribute value");
}

TEST_F(RequestParserTest, MutatedRequestsAreReadOrRefusedNeverCrash) {
  // Every prefix of a real request, and the request with each markup
  // character replaced by another one.
  const std::string whole = readFile(dataPath("requests/ci.xml"));
  std::size_t refused = 0;
  const auto attempt = [&](const std::string& body) {
    try {
      _parser.parse(body);
    } catch (const RequestRejected& rejected) {
      ++refused;
      EXPECT_TRUE(rejected.httpStatus() == 400 || rejected.httpStatus() == 501);
      EXPECT_FALSE(rejected.cimError().empty());
    }
  };
  for (std::size_t size = 0; size < whole.size(); ++size) attempt(whole.substr(0, size));
  EXPECT_EQ(refused, whole.size());
  for (std::size_t at = 0; at < whole.size(); ++at) {
    const char c = whole[at];
    if (c != '<' && c != '>' && c != '"' && c != '/' && c != '=') continue;
    for (const char replacement : {'&', '<', '>', '"', ' ', '\0'}) {
      std::string mutated = whole;
      mutated[at] = replacement;
      attempt(mutated);
    }
  }
}
