#include "server/CimXmlWriter.h"

#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "host/CimType.h"
#include "host/List.h"
#include "host/Object.h"
#include "host/Property.h"
#include "server/CimError.h"
#include "server/ClassCatalog.h"
#include "support/ObjectModelBuilders.h"
#include "tests/server/ServerTestSupport.h"

using kest::server::AllProperties;
using kest::server::CimError;
using kest::server::CimXmlWriter;
using kest::server::ClassCatalog;
using kest::server::ClientGone;
using kest::server::PropertySelection;
using kest::server::ResponseBody;
using kest::server::StringBody;
using kest::server::testing::dtdErrors;
using kest::testing::Key;
using kest::testing::make;
using kest::testing::makeName;
using kest::testing::makePath;

namespace {

using ValueList = TOVValSlist<TOVSmrPtr<ITovaValue>>;

constexpr const char* kDeclaration = "<?xml version=\"1.0\" encoding=\"utf-8\" ?>\n";
constexpr const char* kPathPrefix =
    "<INSTANCEPATH><NAMESPACEPATH><HOST>myhost</HOST><LOCALNAMESPACEPATH>"
    "<NAMESPACE NAME=\"root\"/><NAMESPACE NAME=\"cimv2\"/></LOCALNAMESPACEPATH></NAMESPACEPATH>";

// What the writer produces for write(), with host "myhost" and namespace
// root/cimv2.
std::string render(const std::function<void(CimXmlWriter&)>& write) {
  StringBody body;
  CimXmlWriter writer(body, "myhost", "root/cimv2");
  write(writer);
  writer.finish();
  return body.text();
}

// A whole response message whose IRETURNVALUE holds what write() writes.
std::string message(const std::function<void(CimXmlWriter&)>& write) {
  return render([&](CimXmlWriter& writer) {
    writer.beginMessage("4711");
    writer.beginIMethodResponse("Test");
    writer.beginIReturnValue();
    write(writer);
  });
}

TOVSmrPtr<ITovaValue> array(CimTypeCode code, std::vector<TOVSmrPtr<ITovaValue>> elements) {
  TOVSmrPtr<ValueList> list(new ValueList());
  for (const TOVSmrPtr<ITovaValue>& element : elements) list->append(element);
  return TOVSmrPtr<ITovaValue>(new CTovaValue(CTovaType::arrayOf(code), list));
}

TOVSmrPtr<CTovaObject> object(const char* className,
                              std::vector<std::pair<const char*, TOVSmrPtr<ITovaValue>>> properties,
                              const TOVSmrPtr<ITovaInstanceName>& name = {}) {
  TOVSmrPtr<CTovaObject> result(new CTovaObject(className));
  result->setInstanceName(name);
  for (const auto& [propertyName, value] : properties) result->setProperty(propertyName, value);
  return result;
}

// The PROPERTY element written for one property holding value.
std::string propertyXml(const TOVSmrPtr<ITovaValue>& value) {
  const TOVSmrPtr<CTovaObject> holder = object("Test_X", {{"P", value}});
  const std::string xml =
      render([&](CimXmlWriter& writer) { writer.instance(*holder, AllProperties()); });
  const std::string open = "<INSTANCE CLASSNAME=\"Test_X\">";
  return xml.substr(open.size(), xml.size() - open.size() - std::string("</INSTANCE>").size());
}

TOVSmrPtr<ITovaInstanceName> barName() { return makeName("Test_Bar", "Tag", make("b1")); }

std::string barPath() {
  return std::string(kPathPrefix) +
         "<INSTANCENAME CLASSNAME=\"Test_Bar\"><KEYBINDING NAME=\"Tag\">"
         "<KEYVALUE VALUETYPE=\"string\" TYPE=\"string\">b1</KEYVALUE></KEYBINDING>"
         "</INSTANCENAME></INSTANCEPATH>";
}

}  // namespace

TEST(CimXmlWriterTest, MessageEnvelopeOfAnIntrinsicResponseIsValid) {
  const std::string xml = message([](CimXmlWriter&) {});
  EXPECT_EQ(xml, std::string(kDeclaration) +
                     "<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\"><MESSAGE ID=\"4711\" "
                     "PROTOCOLVERSION=\"1.0\"><SIMPLERSP><IMETHODRESPONSE NAME=\"Test\">"
                     "<IRETURNVALUE></IRETURNVALUE></IMETHODRESPONSE></SIMPLERSP></MESSAGE></CIM>");
  EXPECT_EQ(dtdErrors(xml), "");
}

TEST(CimXmlWriterTest, ErrorIsSelfClosingWithEscapedDescription) {
  const std::string xml = render([](CimXmlWriter& writer) {
    writer.beginMessage("1");
    writer.beginIMethodResponse("GetInstance");
    writer.error(6, "No \"x\" <here>\nline\ttab");
  });
  EXPECT_NE(xml.find("<IMETHODRESPONSE NAME=\"GetInstance\"><ERROR CODE=\"6\" DESCRIPTION=\"No "
                     "&quot;x&quot; &lt;here&gt;&#10;line&#9;tab\"/></IMETHODRESPONSE>"),
            std::string::npos)
      << xml;
  EXPECT_EQ(dtdErrors(xml), "");
}

TEST(CimXmlWriterTest, TextEscapesMarkupAndKeepsWhitespace) {
  EXPECT_EQ(propertyXml(make("a&b<c>d\"e'f\n\tg")),
            "<PROPERTY NAME=\"P\" TYPE=\"string\"><VALUE>a&amp;b&lt;c&gt;d&quot;e'f\n\tg</VALUE>"
            "</PROPERTY>");
}

TEST(CimXmlWriterTest, InvalidUtf8AndForbiddenControlCharactersBecomeReplacementCharacters) {
  EXPECT_EQ(propertyXml(make("a\xFF"
                             "b\x01"
                             "c\xED\xA0\x80"
                             "d\xEF\xBF\xBF")),
            "<PROPERTY NAME=\"P\" TYPE=\"string\"><VALUE>a\xEF\xBF\xBD"
            "b\xEF\xBF\xBD"
            "c\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"
            "d\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD</VALUE>"
            "</PROPERTY>");
}

TEST(CimXmlWriterTest, ValidMultibyteTextPassesUnchanged) {
  EXPECT_EQ(propertyXml(make("\xC3\xBC\xE2\x82\xAC\xF0\x9F\x98\x80")),
            "<PROPERTY NAME=\"P\" TYPE=\"string\"><VALUE>\xC3\xBC\xE2\x82\xAC\xF0\x9F\x98\x80"
            "</VALUE></PROPERTY>");
}

struct TypedCase {
  const char* label;
  TOVSmrPtr<ITovaValue> value;
  std::string expected;
};

class CimXmlWriterTypeTest : public ::testing::TestWithParam<int> {};

std::vector<TypedCase> typedCases() {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double inf = std::numeric_limits<double>::infinity();
  auto scalar = [](const char* type, const char* text) {
    return std::string("<PROPERTY NAME=\"P\" TYPE=\"") + type + "\"><VALUE>" + text +
           "</VALUE></PROPERTY>";
  };
  return {
      {"uint8", make(TOVuint8(255)), scalar("uint8", "255")},
      {"sint8", make(TOVsint8(-128)), scalar("sint8", "-128")},
      {"uint16", make(TOVuint16(65535)), scalar("uint16", "65535")},
      {"sint16", make(TOVsint16(-32768)), scalar("sint16", "-32768")},
      {"uint32", make(TOVuint32(4294967295u)), scalar("uint32", "4294967295")},
      {"sint32", make(TOVsint32(-2147483647 - 1)), scalar("sint32", "-2147483648")},
      {"uint64", make(18446744073709551615ull), scalar("uint64", "18446744073709551615")},
      {"sint64", make(-9223372036854775807ll - 1), scalar("sint64", "-9223372036854775808")},
      {"real32", make(TOVreal32(1.5f)), scalar("real32", "1.5")},
      {"real64", make(1e300), scalar("real64", "1e+300")},
      {"nan", make(nan), scalar("real64", "NaN")},
      {"inf", make(inf), scalar("real64", "INF")},
      {"-inf", make(-inf), scalar("real64", "-INF")},
      {"boolean", make(true), scalar("boolean", "TRUE")},
      {"char16", CTovaValue::char16(u'\u00e9'), scalar("char16", "\xC3\xA9")},
      {"datetime", CTovaValue::dateTime("20240102030405.000000+000"),
       scalar("datetime", "20240102030405.000000+000")},
      {"null", CTovaValue::nullOf(CTovaType::uint32),
       "<PROPERTY NAME=\"P\" TYPE=\"uint32\"></PROPERTY>"},
      {"array",
       array(CimTypeCode::UInt16,
             {make(TOVuint16(1)), CTovaValue::nullOf(CTovaType::uint16), make(TOVuint16(3))}),
       "<PROPERTY.ARRAY NAME=\"P\" TYPE=\"uint16\"><VALUE.ARRAY><VALUE>1</VALUE><VALUE>3</VALUE>"
       "</VALUE.ARRAY></PROPERTY.ARRAY>"},
      {"empty array", array(CimTypeCode::String, {}),
       "<PROPERTY.ARRAY NAME=\"P\" TYPE=\"string\"><VALUE.ARRAY></VALUE.ARRAY></PROPERTY.ARRAY>"},
      {"null array", CTovaValue::nullOf(CTovaType::arrayOf(CimTypeCode::Boolean)),
       "<PROPERTY.ARRAY NAME=\"P\" TYPE=\"boolean\"></PROPERTY.ARRAY>"},
      {"reference", make(barName()),
       "<PROPERTY.REFERENCE NAME=\"P\" REFERENCECLASS=\"Test_Bar\"><VALUE.REFERENCE>" + barPath() +
           "</VALUE.REFERENCE></PROPERTY.REFERENCE>"},
      {"null reference", CTovaValue::nullOf(CTovaType::reference("Test_Bar")),
       "<PROPERTY.REFERENCE NAME=\"P\" REFERENCECLASS=\"Test_Bar\"></PROPERTY.REFERENCE>"},
      {"embedded", make(TOVSmrPtr<ITovaObject>(object("Test_E", {{"S", make("x&y")}}))),
       "<PROPERTY NAME=\"P\" TYPE=\"string\" EmbeddedObject=\"instance\"><VALUE>&lt;INSTANCE "
       "CLASSNAME=&quot;Test_E&quot;&gt;&lt;PROPERTY NAME=&quot;S&quot; TYPE=&quot;string&quot;"
       "&gt;&lt;VALUE&gt;x&amp;amp;y&lt;/VALUE&gt;&lt;/PROPERTY&gt;&lt;/INSTANCE&gt;</VALUE>"
       "</PROPERTY>"},
      {"embedded array",
       array(CimTypeCode::Object, {make(TOVSmrPtr<ITovaObject>(object("Test_E", {})))}),
       "<PROPERTY.ARRAY NAME=\"P\" TYPE=\"string\"><VALUE.ARRAY><VALUE>&lt;INSTANCE "
       "CLASSNAME=&quot;Test_E&quot;&gt;&lt;/INSTANCE&gt;</VALUE></VALUE.ARRAY></PROPERTY.ARRAY>"},
  };
}

TEST(CimXmlWriterTest, EveryCimTypeIsWrittenInItsOwnForm) {
  for (const TypedCase& item : typedCases()) {
    EXPECT_EQ(propertyXml(item.value), item.expected) << item.label;
  }
}

TEST(CimXmlWriterTest, AnInstanceWithEveryTypeValidatesAgainstTheDtd) {
  const TOVSmrPtr<CTovaObject> everything(new CTovaObject("Test_All"));
  everything->setInstanceName(makeName("Test_All", "Id", make(TOVuint32(1))));
  int index = 0;
  for (const TypedCase& item : typedCases()) {
    everything->setProperty(TOVString("P") + TOVString::fromInt(index++), item.value);
  }
  const std::string xml =
      message([&](CimXmlWriter& writer) { writer.namedInstance(*everything, AllProperties()); });
  EXPECT_EQ(dtdErrors(xml), "") << xml;
}

TEST(CimXmlWriterTest, InstanceNameKeysCarryValueTypeAndType) {
  const TOVSmrPtr<ITovaInstanceName> name = makeName(
      "Test_X", {Key{"Name", make("a\"b")}, Key{"Id", make(TOVuint32(42))}, Key{"Flag", make(true)},
                 Key{"Neg", make(TOVsint64(-5))}, Key{"R", make(barName())}});
  const std::string xml = render([&](CimXmlWriter& writer) { writer.instanceName(*name); });
  EXPECT_EQ(xml,
            "<INSTANCENAME CLASSNAME=\"Test_X\">"
            "<KEYBINDING NAME=\"Name\"><KEYVALUE VALUETYPE=\"string\" TYPE=\"string\">a&quot;b"
            "</KEYVALUE></KEYBINDING>"
            "<KEYBINDING NAME=\"Id\"><KEYVALUE VALUETYPE=\"numeric\" TYPE=\"uint32\">42</KEYVALUE>"
            "</KEYBINDING>"
            "<KEYBINDING NAME=\"Flag\"><KEYVALUE VALUETYPE=\"boolean\" TYPE=\"boolean\">true"
            "</KEYVALUE></KEYBINDING>"
            "<KEYBINDING NAME=\"Neg\"><KEYVALUE VALUETYPE=\"numeric\" TYPE=\"sint64\">-5</KEYVALUE>"
            "</KEYBINDING>"
            "<KEYBINDING NAME=\"R\"><VALUE.REFERENCE>" +
                barPath() + "</VALUE.REFERENCE></KEYBINDING></INSTANCENAME>");
}

TEST(CimXmlWriterTest, PathsUseTheNamesOwnHostAndNamespaceWhenItHasThem) {
  const TOVSmrPtr<ITovaInstanceName> name =
      makeName("Test_Bar", "Tag", make("b1"), makePath("other", "root/interop"));
  const std::string xml = render([&](CimXmlWriter& writer) { writer.objectPath(*name); });
  EXPECT_EQ(xml,
            "<OBJECTPATH><INSTANCEPATH><NAMESPACEPATH><HOST>other</HOST><LOCALNAMESPACEPATH>"
            "<NAMESPACE NAME=\"root\"/><NAMESPACE NAME=\"interop\"/></LOCALNAMESPACEPATH>"
            "</NAMESPACEPATH><INSTANCENAME CLASSNAME=\"Test_Bar\"><KEYBINDING NAME=\"Tag\">"
            "<KEYVALUE VALUETYPE=\"string\" TYPE=\"string\">b1</KEYVALUE></KEYBINDING>"
            "</INSTANCENAME></INSTANCEPATH></OBJECTPATH>");
}

TEST(CimXmlWriterTest, ObjectWithPathAndObjectPathListsValidate) {
  const TOVSmrPtr<CTovaObject> bar = object("Test_Bar", {{"Tag", make("b1")}}, barName());
  const std::string objects = message([&](CimXmlWriter& writer) {
    writer.objectWithPath(*bar, AllProperties());
    writer.objectWithPath(*bar, AllProperties());
  });
  EXPECT_NE(objects.find("<VALUE.OBJECTWITHPATH>" + barPath() +
                         "<INSTANCE CLASSNAME=\"Test_Bar\"><PROPERTY NAME=\"Tag\" TYPE=\"string\">"
                         "<VALUE>b1</VALUE></PROPERTY></INSTANCE></VALUE.OBJECTWITHPATH>"),
            std::string::npos)
      << objects;
  EXPECT_EQ(dtdErrors(objects), "");
  const std::string paths = message([&](CimXmlWriter& writer) { writer.objectPath(*barName()); });
  EXPECT_EQ(dtdErrors(paths), "");
  const std::string names = message([&](CimXmlWriter& writer) {
    writer.instanceName(*barName());
    writer.instanceName(*barName());
  });
  EXPECT_EQ(dtdErrors(names), "");
}

TEST(CimXmlWriterTest, PropertySelectionFiltersPropertiesAndReportsClassOrigin) {
  class OnlyA : public PropertySelection {
   public:
    bool includes(const TOVString& className, const TOVString& name) const override {
      return className == TOVString("Test_X") && name.compareTo("a", 0) == 0;
    }
    TOVString classOrigin(const TOVString&, const TOVString&) const override { return "Test_Base"; }
  };
  const TOVSmrPtr<CTovaObject> x = object("Test_X", {{"A", make("1")}, {"B", make("2")}});
  EXPECT_EQ(render([&](CimXmlWriter& writer) { writer.instance(*x, OnlyA()); }),
            "<INSTANCE CLASSNAME=\"Test_X\"><PROPERTY NAME=\"A\" TYPE=\"string\" "
            "CLASSORIGIN=\"Test_Base\"><VALUE>1</VALUE></PROPERTY></INSTANCE>");
}

TEST(CimXmlWriterTest, ValueFormsForGetPropertyResults) {
  EXPECT_EQ(render([](CimXmlWriter& writer) { writer.value(*make("hello")); }),
            "<VALUE>hello</VALUE>");
  EXPECT_EQ(render([](CimXmlWriter& writer) {
              writer.value(*array(CimTypeCode::SInt32, {make(TOVsint32(1)), make(TOVsint32(-2))}));
            }),
            "<VALUE.ARRAY><VALUE>1</VALUE><VALUE>-2</VALUE></VALUE.ARRAY>");
  EXPECT_EQ(render([](CimXmlWriter& writer) { writer.value(*make(barName())); }),
            "<VALUE.REFERENCE>" + barPath() + "</VALUE.REFERENCE>");
  EXPECT_EQ(
      render([](CimXmlWriter& writer) { writer.value(*CTovaValue::nullOf(CTovaType::string)); }),
      "");
}

TEST(CimXmlWriterTest, ReturnValueAndOutputParameterForms) {
  EXPECT_EQ(render([](CimXmlWriter& writer) { writer.returnValue(*make(TOVuint32(0))); }),
            "<RETURNVALUE PARAMTYPE=\"uint32\"><VALUE>0</VALUE></RETURNVALUE>");
  EXPECT_EQ(render([](CimXmlWriter& writer) { writer.returnValue(*make(barName())); }),
            "<RETURNVALUE PARAMTYPE=\"reference\"><VALUE.REFERENCE>" + barPath() +
                "</VALUE.REFERENCE></RETURNVALUE>");
  EXPECT_EQ(render([](CimXmlWriter& writer) {
              writer.returnValue(*make(TOVSmrPtr<ITovaObject>(object("Test_E", {}))));
            }),
            "<RETURNVALUE PARAMTYPE=\"string\"><VALUE>&lt;INSTANCE CLASSNAME=&quot;Test_E&quot;"
            "&gt;&lt;/INSTANCE&gt;</VALUE></RETURNVALUE>");
  EXPECT_EQ(render([](CimXmlWriter& writer) {
              writer.returnValue(*CTovaValue::nullOf(CTovaType::uint32));
            }),
            "");
  EXPECT_EQ(render([](CimXmlWriter& writer) { writer.paramValue("Result", *make("done")); }),
            "<PARAMVALUE NAME=\"Result\" PARAMTYPE=\"string\"><VALUE>done</VALUE></PARAMVALUE>");
  EXPECT_EQ(render([](CimXmlWriter& writer) {
              writer.paramValue("Refs", *array(CimTypeCode::Reference, {make(barName())}));
            }),
            "<PARAMVALUE NAME=\"Refs\" PARAMTYPE=\"reference\"><VALUE.REFARRAY><VALUE.REFERENCE>" +
                barPath() + "</VALUE.REFERENCE></VALUE.REFARRAY></PARAMVALUE>");
  EXPECT_EQ(render([](CimXmlWriter& writer) {
              writer.paramValue("Obj", *make(TOVSmrPtr<ITovaObject>(object("Test_E", {}))));
            }),
            "<PARAMVALUE NAME=\"Obj\" PARAMTYPE=\"string\" EmbeddedObject=\"instance\"><VALUE>"
            "&lt;INSTANCE CLASSNAME=&quot;Test_E&quot;&gt;&lt;/INSTANCE&gt;</VALUE></PARAMVALUE>");
  EXPECT_EQ(render([](CimXmlWriter& writer) {
              writer.paramValue("Gone", *CTovaValue::nullOf(CTovaType::string));
            }),
            "");
}

TEST(CimXmlWriterTest, MethodResponseWithReturnValueAndParametersValidates) {
  const std::string xml = render([](CimXmlWriter& writer) {
    writer.beginMessage("4711");
    writer.beginMethodResponse("DoIt");
    writer.returnValue(*make(TOVuint32(0)));
    writer.paramValue("Result", *make("done"));
    writer.paramValue("Refs", *array(CimTypeCode::Reference, {make(barName())}));
    writer.paramValue("Obj", *make(TOVSmrPtr<ITovaObject>(object("Test_E", {}))));
  });
  EXPECT_EQ(dtdErrors(xml), "") << xml;
}

namespace {

// Test_Foo compiled from MOF, with options applied.
kest::repository::ClassDefinition fooClass(const kest::repository::ClassRequestOptions& options) {
  ClassCatalog catalog("root/cimv2");
  catalog.compileMofText("foo.mof",
                         "class Test_Bar { [Key] string Tag; };\n"
                         "class Test_E { [Key] string K; };\n"
                         "class Test_Base { string Base; };\n"
                         "class Test_Foo : Test_Base {\n"
                         "  [Key] string Name;\n"
                         "  uint16 Vals[];\n"
                         "  Test_Bar REF Peer;\n"
                         "  [EmbeddedInstance(\"Test_E\")] string Obj;\n"
                         "  uint32 DoIt([In] string S, [In] uint32 NA[], [In] Test_Bar REF R,\n"
                         "              [In] Test_Bar REF RA[], [In(false), Out] string Result);\n"
                         "};\n");
  return catalog.find("root/cimv2", "Test_Foo")->filtered(options);
}

}  // namespace

TEST(CimXmlWriterTest, ClassWithFeaturesQualifiersAndOriginsIsWrittenInFull) {
  kest::repository::ClassRequestOptions options;
  options.localOnly = false;
  options.includeQualifiers = true;
  options.includeClassOrigin = true;
  const kest::repository::ClassDefinition foo = fooClass(options);
  const std::string xml = render([&](CimXmlWriter& writer) { writer.classDefinition(foo); });
  for (const char* part : {
           "<CLASS NAME=\"Test_Foo\" SUPERCLASS=\"Test_Base\">",
           "<PROPERTY NAME=\"Base\" TYPE=\"string\" CLASSORIGIN=\"Test_Base\" "
           "PROPAGATED=\"true\">",
           "<PROPERTY NAME=\"Name\" TYPE=\"string\" CLASSORIGIN=\"Test_Foo\"><QUALIFIER "
           "NAME=\"Key\" TYPE=\"boolean\" OVERRIDABLE=\"false\"><VALUE>TRUE</VALUE></QUALIFIER>"
           "</PROPERTY>",
           "<PROPERTY.ARRAY NAME=\"Vals\" TYPE=\"uint16\" CLASSORIGIN=\"Test_Foo\">",
           "<PROPERTY.REFERENCE NAME=\"Peer\" REFERENCECLASS=\"Test_Bar\" "
           "CLASSORIGIN=\"Test_Foo\">",
           "<PROPERTY NAME=\"Obj\" TYPE=\"string\" CLASSORIGIN=\"Test_Foo\" "
           "EmbeddedObject=\"instance\">",
           "<METHOD NAME=\"DoIt\" TYPE=\"uint32\" CLASSORIGIN=\"Test_Foo\">",
           "<PARAMETER NAME=\"S\" TYPE=\"string\"><QUALIFIER NAME=\"In\"",
           "<PARAMETER.ARRAY NAME=\"NA\" TYPE=\"uint32\">",
           "<PARAMETER.REFERENCE NAME=\"R\" REFERENCECLASS=\"Test_Bar\">",
           "<PARAMETER.REFARRAY NAME=\"RA\" REFERENCECLASS=\"Test_Bar\">",
           "<QUALIFIER NAME=\"Out\" TYPE=\"boolean\"",
       }) {
    EXPECT_NE(xml.find(part), std::string::npos) << part << "\n" << xml;
  }
  EXPECT_EQ(dtdErrors(message([&](CimXmlWriter& writer) { writer.classDefinition(foo); })), "");
}

TEST(CimXmlWriterTest, LocalOnlyAndPropertyListNarrowAClass) {
  kest::repository::ClassRequestOptions options;
  options.localOnly = true;
  options.includeQualifiers = false;
  options.propertyList = std::vector<TOVString>{"base", "vals"};
  const kest::repository::ClassDefinition foo = fooClass(options);
  EXPECT_EQ(
      render([&](CimXmlWriter& writer) { writer.classDefinition(foo); }),
      "<CLASS NAME=\"Test_Foo\" SUPERCLASS=\"Test_Base\">"
      "<PROPERTY.ARRAY NAME=\"Vals\" TYPE=\"uint16\"></PROPERTY.ARRAY>"
      "<METHOD NAME=\"DoIt\" TYPE=\"uint32\"><PARAMETER NAME=\"S\" TYPE=\"string\"></PARAMETER>"
      "<PARAMETER.ARRAY NAME=\"NA\" TYPE=\"uint32\"></PARAMETER.ARRAY>"
      "<PARAMETER.REFERENCE NAME=\"R\" REFERENCECLASS=\"Test_Bar\"></PARAMETER.REFERENCE>"
      "<PARAMETER.REFARRAY NAME=\"RA\" REFERENCECLASS=\"Test_Bar\"></PARAMETER.REFARRAY>"
      "<PARAMETER NAME=\"Result\" TYPE=\"string\"></PARAMETER></METHOD></CLASS>");
}

TEST(CimXmlWriterTest, DeclaredClassHasNameSuperclassAndAssociationQualifierOnly) {
  ClassCatalog catalog("root/cimv2");
  catalog.declare("root/cimv2", "Test_Link", TOVString(), true);
  kest::repository::ClassRequestOptions options;
  options.includeQualifiers = true;
  const kest::repository::ClassDefinition withQualifiers =
      catalog.find("root/cimv2", "Test_Link")->filtered(options);
  EXPECT_EQ(render([&](CimXmlWriter& writer) { writer.classDefinition(withQualifiers); }),
            "<CLASS NAME=\"Test_Link\"><QUALIFIER NAME=\"Association\" TYPE=\"boolean\" "
            "OVERRIDABLE=\"false\"><VALUE>TRUE</VALUE></QUALIFIER></CLASS>");
  options.includeQualifiers = false;
  const kest::repository::ClassDefinition bare =
      catalog.find("root/cimv2", "Test_Link")->filtered(options);
  EXPECT_EQ(render([&](CimXmlWriter& writer) { writer.classDefinition(bare); }),
            "<CLASS NAME=\"Test_Link\"></CLASS>");
}

namespace {

// Records every write; refuses them once refuse is set.
class RecordingBody : public ResponseBody {
 public:
  bool write(std::string_view bytes) override {
    if (refuse) return false;
    writes.emplace_back(bytes);
    return true;
  }
  std::vector<std::string> writes;
  bool refuse = false;
};

}  // namespace

TEST(CimXmlWriterTest, NothingIsPassedOnBeforeTheFlushThreshold) {
  RecordingBody body;
  CimXmlWriter writer(body, "h", "root/cimv2", 64);
  writer.className("Test_Short");
  writer.flushIfFull();
  EXPECT_TRUE(body.writes.empty());
  writer.className("Test_LongEnoughToPassTheThresholdOfSixtyFourBytes");
  writer.flushIfFull();
  ASSERT_EQ(body.writes.size(), 1u);
  EXPECT_EQ(body.writes[0],
            "<CLASSNAME NAME=\"Test_Short\"/>"
            "<CLASSNAME NAME=\"Test_LongEnoughToPassTheThresholdOfSixtyFourBytes\"/>");
  EXPECT_EQ(writer.flushedBytes(), body.writes[0].size());
}

TEST(CimXmlWriterTest, RewindDropsWhatWasWrittenSinceTheMark) {
  RecordingBody body;
  CimXmlWriter writer(body, "h", "root/cimv2");
  writer.beginMessage("1");
  writer.beginIMethodResponse("EnumerateInstances");
  writer.beginIReturnValue();
  const CimXmlWriter::Mark mark = writer.mark();
  writer.className("Test_Dropped");
  ASSERT_TRUE(writer.canRewind(mark));
  writer.rewind(mark);
  writer.finish();
  ASSERT_EQ(body.writes.size(), 1u);
  EXPECT_EQ(body.writes[0].find("Test_Dropped"), std::string::npos);
  EXPECT_EQ(dtdErrors(body.writes[0]), "");
}

TEST(CimXmlWriterTest, AMarkCannotBeRewoundOnceOutputWasPassedOn) {
  RecordingBody body;
  CimXmlWriter writer(body, "h", "root/cimv2", 1);
  const CimXmlWriter::Mark mark = writer.mark();
  writer.className("Test_X");
  writer.flushIfFull();
  EXPECT_FALSE(writer.canRewind(mark));
}

TEST(CimXmlWriterTest, ABodyThatRefusesBytesRaisesClientGone) {
  RecordingBody body;
  body.refuse = true;
  CimXmlWriter writer(body, "h", "root/cimv2", 1);
  writer.className("Test_X");
  EXPECT_THROW(writer.flushIfFull(), ClientGone);
}

TEST(CimXmlWriterTest, EndToClosesEveryElementOpenedSinceADepth) {
  const std::string xml = render([](CimXmlWriter& writer) {
    writer.beginMessage("1");
    const std::size_t depth = writer.depth();
    writer.beginIMethodResponse("X");
    writer.beginIReturnValue();
    writer.endTo(depth);
    EXPECT_EQ(writer.depth(), depth);
  });
  EXPECT_NE(xml.find("<IRETURNVALUE></IRETURNVALUE></IMETHODRESPONSE></SIMPLERSP>"),
            std::string::npos);
}

TEST(CimXmlWriterTest, EmbeddingAnObjectInItselfStopsAtTheDepthLimit) {
  const TOVSmrPtr<CTovaObject> loop(new CTovaObject("Test_Loop"));
  loop->setProperty("Self", make(CTovaObject::iPtr(loop)));
  StringBody body;
  CimXmlWriter writer(body, "h", "root/cimv2");
  const CimXmlWriter::Mark mark = writer.mark();
  try {
    writer.instance(*loop, AllProperties());
    ADD_FAILURE() << "no error";
  } catch (const CimError& error) {
    EXPECT_EQ(error.code(), 1);
    EXPECT_EQ(error.description(), "embedded objects nest more than 16 levels deep");
  }
  ASSERT_TRUE(writer.canRewind(mark));
  writer.rewind(mark);
  writer.finish();
  EXPECT_EQ(body.text(), "");
  loop->removeProperty("Self");
}
