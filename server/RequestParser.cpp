#include "server/RequestParser.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <map>
#include <pugixml.hpp>
#include <utility>
#include <vector>

#include "host/ActualParameter.h"
#include "host/CimType.h"
#include "host/List.h"
#include "host/NameSpacePath.h"
#include "host/Property.h"
#include "server/Operations.h"

namespace kest::server {

RequestRejected::RequestRejected(int httpStatus, std::string cimError, std::string detail)
    : _httpStatus(httpStatus), _cimError(std::move(cimError)), _detail(std::move(detail)) {}

namespace {

using ValueList = TOVValSlist<TOVSmrPtr<ITovaValue>>;

[[noreturn]] void notWellFormed(const std::string& detail) {
  throw RequestRejected(400, "request-not-well-formed", detail);
}

[[noreturn]] void notValid(const std::string& detail) {
  throw RequestRejected(400, "request-not-valid", detail);
}

[[noreturn]] void invalidParameter(const std::string& detail) {
  throw CimError(CIM_ERR_INVALID_PARAMETER, detail);
}

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    char x = a[i];
    char y = b[i];
    if (x >= 'A' && x <= 'Z') x = static_cast<char>(x - 'A' + 'a');
    if (y >= 'A' && y <= 'Z') y = static_cast<char>(y - 'A' + 'a');
    if (x != y) return false;
  }
  return true;
}

std::string_view trimmed(std::string_view text) {
  const auto blank = [](char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; };
  while (!text.empty() && blank(text.front())) text.remove_prefix(1);
  while (!text.empty() && blank(text.back())) text.remove_suffix(1);
  return text;
}

// Offset of the first byte that does not start a well-formed UTF-8 sequence;
// npos when every byte does.
std::size_t firstInvalidUtf8(std::string_view text) {
  const auto* s = reinterpret_cast<const unsigned char*>(text.data());
  const std::size_t n = text.size();
  std::size_t i = 0;
  while (i < n) {
    const unsigned char c = s[i];
    if (c < 0x80) {
      ++i;
      continue;
    }
    std::size_t length = 0;
    if (c >= 0xC2 && c <= 0xDF) {
      length = 2;
    } else if (c >= 0xE0 && c <= 0xEF) {
      length = 3;
    } else if (c >= 0xF0 && c <= 0xF4) {
      length = 4;
    } else {
      return i;
    }
    if (i + length > n) return i;
    for (std::size_t k = 1; k < length; ++k) {
      if ((s[i + k] & 0xC0) != 0x80) return i;
    }
    if (c == 0xE0 && s[i + 1] < 0xA0) return i;
    if (c == 0xED && s[i + 1] > 0x9F) return i;
    if (c == 0xF0 && s[i + 1] < 0x90) return i;
    if (c == 0xF4 && s[i + 1] > 0x8F) return i;
    i += length;
  }
  return std::string_view::npos;
}

bool isXmlChar(std::uint32_t c) {
  return c == 0x9 || c == 0xA || c == 0xD || (c >= 0x20 && c <= 0xD7FF) ||
         (c >= 0xE000 && c <= 0xFFFD) || (c >= 0x10000 && c <= 0x10FFFF);
}

void appendUtf8(std::string& out, std::uint32_t c) {
  if (c < 0x80) {
    out += static_cast<char>(c);
  } else if (c < 0x800) {
    out += static_cast<char>(0xC0 | (c >> 6));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    out += static_cast<char>(0xE0 | (c >> 12));
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (c >> 18));
    out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  }
}

// The text of raw character data with its references resolved. The parser
// leaves references as written, so that a bare '&' or an undefined entity,
// which XML does not allow, can be refused here.
std::string decodeReferences(std::string_view raw, bool attribute) {
  std::string out;
  out.reserve(raw.size());
  for (std::size_t i = 0; i < raw.size(); ++i) {
    const char c = raw[i];
    if (static_cast<unsigned char>(c) < 0x20 && c != '\t' && c != '\n' && c != '\r') {
      notWellFormed("control character " + std::to_string(static_cast<int>(c)) +
                    " is not allowed in XML");
    }
    if (c == '<' && attribute) notWellFormed("'<' is not allowed in an attribute value");
    if (c != '&') {
      out += c;
      continue;
    }
    const std::size_t semicolon = raw.find(';', i + 1);
    if (semicolon == std::string_view::npos || semicolon - i > 12) {
      notWellFormed("'&' does not start a character or entity reference");
    }
    const std::string_view name = raw.substr(i + 1, semicolon - i - 1);
    if (name == "lt") {
      out += '<';
    } else if (name == "gt") {
      out += '>';
    } else if (name == "amp") {
      out += '&';
    } else if (name == "quot") {
      out += '"';
    } else if (name == "apos") {
      out += '\'';
    } else if (name.size() >= 2 && name[0] == '#') {
      const bool hex = name[1] == 'x';
      const std::string_view digits = name.substr(hex ? 2 : 1);
      std::uint32_t code = 0;
      const auto result =
          std::from_chars(digits.data(), digits.data() + digits.size(), code, hex ? 16 : 10);
      if (digits.empty() || result.ec != std::errc() ||
          result.ptr != digits.data() + digits.size() || !isXmlChar(code)) {
        notWellFormed("invalid character reference &" + std::string(name) + ";");
      }
      appendUtf8(out, code);
    } else {
      notWellFormed("undefined entity &" + std::string(name) + ";");
    }
    i = semicolon;
  }
  return out;
}

const char* elementName(pugi::xml_node node) { return node.name(); }

bool is(pugi::xml_node node, const char* name) { return std::string_view(node.name()) == name; }

// The element children of node; text other than white space is not allowed.
std::vector<pugi::xml_node> elementChildren(pugi::xml_node node) {
  std::vector<pugi::xml_node> children;
  for (pugi::xml_node child : node.children()) {
    if (child.type() == pugi::node_element) {
      children.push_back(child);
    } else if ((child.type() == pugi::node_pcdata || child.type() == pugi::node_cdata) &&
               !trimmed(child.value()).empty()) {
      notValid(std::string("element ") + elementName(node) + " may not hold text");
    }
  }
  return children;
}

// The text content of an element that holds only text.
std::string textOf(pugi::xml_node node) {
  std::string text;
  for (pugi::xml_node child : node.children()) {
    if (child.type() == pugi::node_pcdata) {
      text += decodeReferences(child.value(), false);
    } else if (child.type() == pugi::node_cdata) {
      text += child.value();
    } else if (child.type() == pugi::node_element) {
      notValid(std::string("element ") + elementName(node) + " may hold text only");
    }
  }
  return text;
}

std::optional<std::string> optionalAttribute(pugi::xml_node node, const char* name) {
  const pugi::xml_attribute attribute = node.attribute(name);
  if (!attribute) return std::nullopt;
  return decodeReferences(attribute.value(), true);
}

std::string requiredAttribute(pugi::xml_node node, const char* name) {
  std::optional<std::string> value = optionalAttribute(node, name);
  if (!value) {
    notValid(std::string("element ") + elementName(node) + " lacks its " + name + " attribute");
  }
  return std::move(*value);
}

// Depth of node: 1 for the document element.
std::size_t depthOf(pugi::xml_node node) {
  std::size_t depth = 0;
  for (pugi::xml_node n = node; n && n.type() == pugi::node_element; n = n.parent()) ++depth;
  return depth;
}

// The deepest element nesting of the document, walked without recursion;
// stops counting past limit.
std::size_t maxDepthOf(const pugi::xml_document& document, std::size_t limit) {
  std::size_t deepest = 0;
  std::size_t depth = 0;
  pugi::xml_node node = document.first_child();
  while (node) {
    if (node.type() == pugi::node_element) {
      deepest = std::max(deepest, depth + 1);
      if (deepest > limit) return deepest;
      if (node.first_child()) {
        node = node.first_child();
        ++depth;
        continue;
      }
    }
    while (node && !node.next_sibling()) {
      node = node.parent();
      if (depth == 0) return deepest;
      --depth;
    }
    if (node) node = node.next_sibling();
  }
  return deepest;
}

constexpr unsigned int kParseOptions = pugi::parse_cdata | pugi::parse_wconv_attribute |
                                       pugi::parse_eol | pugi::parse_ws_pcdata_single;

// Parses text into document; refuses what is not well-formed or too deep.
void load(pugi::xml_document& document, std::string_view text, std::size_t maxDepth,
          const char* what) {
  const std::size_t invalid = firstInvalidUtf8(text);
  if (invalid != std::string_view::npos) {
    notWellFormed(std::string(what) + " is not UTF-8 (offset " + std::to_string(invalid) + ")");
  }
  const pugi::xml_parse_result result =
      document.load_buffer(text.data(), text.size(), kParseOptions, pugi::encoding_utf8);
  if (!result) {
    notWellFormed(std::string(what) + ": " + result.description() + " at offset " +
                  std::to_string(result.offset));
  }
  if (!document.document_element()) notWellFormed(std::string(what) + " has no element");
  const std::size_t depth = maxDepthOf(document, maxDepth);
  if (depth > maxDepth) {
    notValid(std::string(what) + " nests elements more than " + std::to_string(maxDepth) +
             " levels deep");
  }
}

std::optional<CimTypeCode> typeCodeOf(std::string_view name) {
  static const std::pair<const char*, CimTypeCode> kTypes[] = {
      {"boolean", CimTypeCode::Boolean},     {"string", CimTypeCode::String},
      {"char16", CimTypeCode::Char16},       {"uint8", CimTypeCode::UInt8},
      {"sint8", CimTypeCode::SInt8},         {"uint16", CimTypeCode::UInt16},
      {"sint16", CimTypeCode::SInt16},       {"uint32", CimTypeCode::UInt32},
      {"sint32", CimTypeCode::SInt32},       {"uint64", CimTypeCode::UInt64},
      {"sint64", CimTypeCode::SInt64},       {"datetime", CimTypeCode::DateTime},
      {"real32", CimTypeCode::Real32},       {"real64", CimTypeCode::Real64},
      {"reference", CimTypeCode::Reference}, {"object", CimTypeCode::Object},
      {"instance", CimTypeCode::Object},
  };
  for (const auto& [text, code] : kTypes) {
    if (name == text) return code;
  }
  return std::nullopt;
}

template <typename T>
bool parseInteger(std::string_view text, T& out) {
  text = trimmed(text);
  if (!text.empty() && text.front() == '+') text.remove_prefix(1);
  int base = 10;
  if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
    if constexpr (std::is_signed_v<T>) return false;
    text.remove_prefix(2);
    base = 16;
  }
  if (text.empty()) return false;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), out, base);
  return result.ec == std::errc() && result.ptr == text.data() + text.size();
}

bool parseReal(std::string_view text, double& out) {
  text = trimmed(text);
  if (text == "NaN") {
    out = std::numeric_limits<double>::quiet_NaN();
    return true;
  }
  if (text == "INF" || text == "+INF") {
    out = std::numeric_limits<double>::infinity();
    return true;
  }
  if (text == "-INF") {
    out = -std::numeric_limits<double>::infinity();
    return true;
  }
  if (!text.empty() && text.front() == '+') text.remove_prefix(1);
  if (text.empty()) return false;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), out);
  return result.ec == std::errc() && result.ptr == text.data() + text.size();
}

// The one character of a char16 value, or -1.
long singleChar16(std::string_view text) {
  if (text.empty()) return -1;
  const auto* s = reinterpret_cast<const unsigned char*>(text.data());
  std::uint32_t code = 0;
  std::size_t length = 1;
  if (s[0] < 0x80) {
    code = s[0];
  } else if ((s[0] & 0xE0) == 0xC0) {
    length = 2;
  } else if ((s[0] & 0xF0) == 0xE0) {
    length = 3;
  } else {
    return -1;  // beyond U+FFFF
  }
  if (text.size() != length) return -1;
  if (length == 2) code = ((s[0] & 0x1Fu) << 6) | (s[1] & 0x3Fu);
  if (length == 3) code = ((s[0] & 0x0Fu) << 12) | ((s[1] & 0x3Fu) << 6) | (s[2] & 0x3Fu);
  return static_cast<long>(code);
}

bool isDateTime(std::string_view text) {
  if (text.size() != 25) return false;
  for (std::size_t i = 0; i < 25; ++i) {
    const char c = text[i];
    if (i == 14) {
      if (c != '.') return false;
    } else if (i == 21) {
      if (c != '+' && c != '-' && c != ':') return false;
    } else if (!((c >= '0' && c <= '9') || c == '*')) {
      return false;
    }
  }
  return true;
}

TOVSmrPtr<ITovaValue> make(ITovaValue* value) { return TOVSmrPtr<ITovaValue>(value); }

}  // namespace

TOVSmrPtr<ITovaValue> scalarFromText(std::string_view text, CimTypeCode code) {
  switch (code) {
    case CimTypeCode::Boolean: {
      const std::string_view t = trimmed(text);
      if (equalsIgnoringCase(t, "true")) return make(new CTovaValue(true));
      if (equalsIgnoringCase(t, "false")) return make(new CTovaValue(false));
      return TOVSmrPtr<ITovaValue>();
    }
#define KEST_INTEGER_CASE(CODE, TYPE)                                \
  case CimTypeCode::CODE: {                                          \
    TYPE number{};                                                   \
    if (!parseInteger(text, number)) return TOVSmrPtr<ITovaValue>(); \
    return make(new CTovaValue(number));                             \
  }
      KEST_INTEGER_CASE(UInt8, TOVuint8)
      KEST_INTEGER_CASE(SInt8, TOVsint8)
      KEST_INTEGER_CASE(UInt16, TOVuint16)
      KEST_INTEGER_CASE(SInt16, TOVsint16)
      KEST_INTEGER_CASE(UInt32, TOVuint32)
      KEST_INTEGER_CASE(SInt32, TOVsint32)
#undef KEST_INTEGER_CASE
    case CimTypeCode::UInt64: {
      unsigned long long number = 0;
      if (!parseInteger(text, number)) return TOVSmrPtr<ITovaValue>();
      return make(new CTovaValue(number));
    }
    case CimTypeCode::SInt64: {
      long long number = 0;
      if (!parseInteger(text, number)) return TOVSmrPtr<ITovaValue>();
      return make(new CTovaValue(number));
    }
    case CimTypeCode::Real32: {
      double number = 0;
      if (!parseReal(text, number)) return TOVSmrPtr<ITovaValue>();
      if (std::isfinite(number) && std::fabs(number) > std::numeric_limits<float>::max()) {
        return TOVSmrPtr<ITovaValue>();
      }
      return make(new CTovaValue(static_cast<TOVreal32>(number)));
    }
    case CimTypeCode::Real64: {
      double number = 0;
      if (!parseReal(text, number)) return TOVSmrPtr<ITovaValue>();
      return make(new CTovaValue(number));
    }
    case CimTypeCode::Char16: {
      const long c = singleChar16(text);
      if (c < 0) return TOVSmrPtr<ITovaValue>();
      return CTovaValue::char16(static_cast<TOVchar16>(c));
    }
    case CimTypeCode::DateTime:
      if (!isDateTime(text)) return TOVSmrPtr<ITovaValue>();
      return CTovaValue::dateTime(TOVString(text));
    case CimTypeCode::String:
      return make(new CTovaValue(TOVString(text)));
    case CimTypeCode::Reference:
    case CimTypeCode::Object:
      break;
  }
  return TOVSmrPtr<ITovaValue>();
}

namespace {

// A key value typed only by its VALUETYPE: numbers as sint64 (negative),
// uint64 or real64; null when the text is no such value.
TOVSmrPtr<ITovaValue> numericFromText(std::string_view text) {
  const std::string_view t = trimmed(text);
  if (t.find_first_of(".eE") != std::string_view::npos && t.find_first_of("xX") == t.npos) {
    return scalarFromText(t, CimTypeCode::Real64);
  }
  if (!t.empty() && t.front() == '-') return scalarFromText(t, CimTypeCode::SInt64);
  return scalarFromText(t, CimTypeCode::UInt64);
}

// Reads the elements of a request into host values, typed as RequestParser
// describes.
class ElementReader {
 public:
  ElementReader(const ClassCatalog& catalog, std::size_t maxDepth, const TOVString& nameSpace)
      : _catalog(catalog), _maxDepth(maxDepth), _nameSpace(nameSpace) {}

  static TOVString nameSpaceOf(pugi::xml_node localNameSpacePath) {
    if (!is(localNameSpacePath, "LOCALNAMESPACEPATH")) {
      notValid(std::string("expected LOCALNAMESPACEPATH, found ") +
               elementName(localNameSpacePath));
    }
    std::string nameSpace;
    const std::vector<pugi::xml_node> parts = elementChildren(localNameSpacePath);
    if (parts.empty()) notValid("LOCALNAMESPACEPATH holds no NAMESPACE");
    for (pugi::xml_node part : parts) {
      if (!is(part, "NAMESPACE")) {
        notValid(std::string("LOCALNAMESPACEPATH may not hold ") + elementName(part));
      }
      if (!nameSpace.empty()) nameSpace += '/';
      nameSpace += requiredAttribute(part, "NAME");
    }
    return TOVString(nameSpace);
  }

  // INSTANCENAME, with path as its namespace path (may be null).
  TOVSmrPtr<ITovaInstanceName> instanceName(pugi::xml_node node,
                                            const TOVSmrPtr<ITovaNameSpacePath>& path) const {
    if (!is(node, "INSTANCENAME")) {
      notValid(std::string("expected INSTANCENAME, found ") + elementName(node));
    }
    const TOVString className(requiredAttribute(node, "CLASSNAME"));
    TOVPropertyList keys(new TOVValSlist<TOVSmrPtr<ITovaProperty>>());
    for (pugi::xml_node binding : elementChildren(node)) {
      if (!is(binding, "KEYBINDING")) {
        if (is(binding, "KEYVALUE") || is(binding, "VALUE.REFERENCE")) {
          invalidParameter("instance names of class " + className.toStdString() +
                           " with an unnamed key are not supported");
        }
        notValid(std::string("INSTANCENAME may not hold ") + elementName(binding));
      }
      const TOVString keyName(requiredAttribute(binding, "NAME"));
      const std::vector<pugi::xml_node> content = elementChildren(binding);
      if (content.size() != 1) notValid("KEYBINDING must hold one KEYVALUE or VALUE.REFERENCE");
      TOVSmrPtr<ITovaValue> value;
      if (is(content[0], "KEYVALUE")) {
        value = keyValue(content[0], className, keyName);
      } else if (is(content[0], "VALUE.REFERENCE")) {
        value = make(new CTovaValue(reference(content[0])));
      } else {
        notValid(std::string("KEYBINDING may not hold ") + elementName(content[0]));
      }
      keys->append(TOVSmrPtr<ITovaProperty>(new CTovaProperty(keyName, value, false)));
    }
    return TOVSmrPtr<ITovaInstanceName>(new CTovaInstanceName(className, keys, path));
  }

  // A keyless name standing for a class.
  static TOVSmrPtr<ITovaInstanceName> classAsName(const TOVString& className,
                                                  const TOVSmrPtr<ITovaNameSpacePath>& path) {
    return TOVSmrPtr<ITovaInstanceName>(new CTovaInstanceName(
        className, TOVPropertyList(new TOVValSlist<TOVSmrPtr<ITovaProperty>>()), path));
  }

  // The name a VALUE.REFERENCE holds.
  TOVSmrPtr<ITovaInstanceName> reference(pugi::xml_node node) const {
    const std::vector<pugi::xml_node> content = elementChildren(node);
    if (content.size() != 1) notValid("VALUE.REFERENCE must hold one path");
    const pugi::xml_node target = content[0];
    const std::string kind = elementName(target);
    if (kind == "INSTANCENAME") return instanceName(target, TOVSmrPtr<ITovaNameSpacePath>());
    if (kind == "CLASSNAME") {
      return classAsName(TOVString(requiredAttribute(target, "NAME")),
                         TOVSmrPtr<ITovaNameSpacePath>());
    }
    const std::vector<pugi::xml_node> parts = elementChildren(target);
    if (parts.size() != 2) notValid(kind + " must hold a namespace path and a name");
    TOVString host;
    TOVString nameSpace;
    if (kind == "INSTANCEPATH" || kind == "CLASSPATH") {
      if (!is(parts[0], "NAMESPACEPATH")) notValid(kind + " must start with NAMESPACEPATH");
      const std::vector<pugi::xml_node> path = elementChildren(parts[0]);
      if (path.size() != 2 || !is(path[0], "HOST")) {
        notValid("NAMESPACEPATH must hold HOST and LOCALNAMESPACEPATH");
      }
      host = TOVString(textOf(path[0]));
      nameSpace = nameSpaceOf(path[1]);
    } else if (kind == "LOCALINSTANCEPATH" || kind == "LOCALCLASSPATH") {
      nameSpace = nameSpaceOf(parts[0]);
    } else {
      notValid("VALUE.REFERENCE may not hold " + kind);
    }
    const TOVSmrPtr<ITovaNameSpacePath> path(new CTovaNameSpacePath(host, nameSpace));
    if (kind == "INSTANCEPATH" || kind == "LOCALINSTANCEPATH") return instanceName(parts[1], path);
    if (!is(parts[1], "CLASSNAME")) notValid(kind + " must end with CLASSNAME");
    return classAsName(TOVString(requiredAttribute(parts[1], "NAME")), path);
  }

  TOVSmrPtr<ITovaValue> keyValue(pugi::xml_node node, const TOVString& className,
                                 const TOVString& keyName) const {
    const std::string text = textOf(node);
    const std::string what = "key " + keyName.toStdString() + " of " + className.toStdString();
    if (const std::optional<std::string> type = optionalAttribute(node, "TYPE")) {
      const std::optional<CimTypeCode> code = typeCodeOf(*type);
      if (!code || *code == CimTypeCode::Reference || *code == CimTypeCode::Object) {
        notValid("KEYVALUE has an unknown TYPE \"" + *type + "\"");
      }
      return typedScalar(text, *code, what);
    }
    // The class definition's key type, when it has one and the text fits.
    const TOVSmrPtr<ITovaType> declared = _catalog.propertyType(_nameSpace, className, keyName);
    if (declared && declared->isAtomic()) {
      const TOVSmrPtr<ITovaValue> value = scalarFromText(text, CTovaType::codeOf(*declared));
      if (value) return value;
    }
    const std::string valueType = optionalAttribute(node, "VALUETYPE").value_or("string");
    if (valueType == "string") return make(new CTovaValue(TOVString(text)));
    if (valueType == "boolean") return typedScalar(text, CimTypeCode::Boolean, what);
    if (valueType == "numeric") {
      const TOVSmrPtr<ITovaValue> value = numericFromText(text);
      if (!value) invalidParameter(what + ": \"" + text + "\" is not a number");
      return value;
    }
    notValid("KEYVALUE has an unknown VALUETYPE \"" + valueType + "\"");
  }

  static TOVSmrPtr<ITovaValue> typedScalar(std::string_view text, CimTypeCode code,
                                           const std::string& what) {
    const TOVSmrPtr<ITovaValue> value = scalarFromText(text, code);
    if (!value) {
      invalidParameter(what + ": \"" + std::string(text) + "\" is not a " +
                       CTovaType::codeName(code) + " value");
    }
    return value;
  }

  // The value held by container (an IPARAMVALUE, PARAMVALUE or property
  // element), typed by type when not null; embedded marks string values that
  // hold an embedded instance. No value is a NULL (typed when type is known,
  // else a null pointer).
  TOVSmrPtr<ITovaValue> valueOf(pugi::xml_node container, const TOVSmrPtr<ITovaType>& type,
                                bool embedded, const std::string& what) const {
    std::vector<pugi::xml_node> content;
    for (pugi::xml_node child : elementChildren(container)) {
      if (!is(child, "QUALIFIER")) content.push_back(child);
    }
    if (content.empty()) return type ? CTovaValue::nullOf(type) : TOVSmrPtr<ITovaValue>();
    if (content.size() > 1)
      notValid(std::string(elementName(container)) + " holds more than one value");
    const pugi::xml_node node = content[0];
    const std::string kind = elementName(node);
    CimTypeCode code = type ? CTovaType::codeOf(*type) : CimTypeCode::String;
    if (embedded) code = CimTypeCode::Object;

    if (kind == "VALUE") {
      if (type && type->isArray()) invalidParameter(what + " must be an array");
      return element(node, code, what);
    }
    if (kind == "VALUE.ARRAY") {
      if (type && !type->isArray() && type->isReference()) {
        invalidParameter(what + " must be a reference");
      }
      TOVSmrPtr<ValueList> elements(new ValueList());
      for (pugi::xml_node item : elementChildren(node)) {
        if (is(item, "VALUE.NULL")) {
          elements->append(CTovaValue::nullOf(CTovaType::scalar(code)));
        } else if (is(item, "VALUE")) {
          elements->append(element(item, code, what));
        } else {
          notValid("VALUE.ARRAY may not hold " + std::string(elementName(item)));
        }
      }
      return make(new CTovaValue(CTovaType::arrayOf(code), elements));
    }
    if (kind == "VALUE.REFERENCE") {
      if (type && (type->isArray() || !type->isReference())) {
        invalidParameter(what + " may not be a reference");
      }
      return make(new CTovaValue(reference(node)));
    }
    if (kind == "VALUE.REFARRAY") {
      TOVSmrPtr<ValueList> elements(new ValueList());
      for (pugi::xml_node item : elementChildren(node)) {
        if (is(item, "VALUE.NULL")) {
          elements->append(CTovaValue::nullOf(CTovaType::reference(TOVString())));
        } else if (is(item, "VALUE.REFERENCE")) {
          elements->append(make(new CTovaValue(reference(item))));
        } else {
          notValid("VALUE.REFARRAY may not hold " + std::string(elementName(item)));
        }
      }
      return make(new CTovaValue(CTovaType::arrayOf(CimTypeCode::Reference), elements));
    }
    if (kind == "INSTANCE") {
      return make(new CTovaValue(instance(node, TOVSmrPtr<ITovaInstanceName>())));
    }
    if (kind == "VALUE.NAMEDINSTANCE") return make(new CTovaValue(namedInstance(node)));
    if (kind == "INSTANCENAME") {
      return make(new CTovaValue(instanceName(node, TOVSmrPtr<ITovaNameSpacePath>())));
    }
    if (kind == "CLASSNAME") {
      return make(new CTovaValue(classAsName(TOVString(requiredAttribute(node, "NAME")),
                                             TOVSmrPtr<ITovaNameSpacePath>())));
    }
    notValid(std::string(elementName(container)) + " may not hold " + kind);
  }

  // One VALUE element of the given type.
  TOVSmrPtr<ITovaValue> element(pugi::xml_node node, CimTypeCode code,
                                const std::string& what) const {
    const std::string text = textOf(node);
    if (code == CimTypeCode::Object) {
      return make(new CTovaValue(embeddedInstance(text, depthOf(node), what)));
    }
    if (code == CimTypeCode::Reference) invalidParameter(what + " must be a VALUE.REFERENCE");
    return typedScalar(text, code, what);
  }

  // An INSTANCE element; name becomes the object's instance name.
  TOVSmrPtr<ITovaObject> instance(pugi::xml_node node,
                                  const TOVSmrPtr<ITovaInstanceName>& name) const {
    if (!is(node, "INSTANCE"))
      notValid(std::string("expected INSTANCE, found ") + elementName(node));
    TOVSmrPtr<CTovaObject> object(new CTovaObject(TOVString(requiredAttribute(node, "CLASSNAME"))));
    object->setInstanceName(name);
    for (pugi::xml_node child : elementChildren(node)) {
      const std::string kind = elementName(child);
      if (kind == "QUALIFIER") continue;
      const TOVString propertyName(requiredAttribute(child, "NAME"));
      const std::string what = "property " + propertyName.toStdString();
      TOVSmrPtr<ITovaType> type;
      bool embedded = false;
      if (kind == "PROPERTY" || kind == "PROPERTY.ARRAY") {
        const std::string typeName = requiredAttribute(child, "TYPE");
        const std::optional<CimTypeCode> code = typeCodeOf(typeName);
        if (!code || *code == CimTypeCode::Reference || *code == CimTypeCode::Object) {
          notValid(kind + " " + propertyName.toStdString() + " has an unknown TYPE \"" + typeName +
                   "\"");
        }
        embedded = optionalAttribute(child, "EmbeddedObject").has_value() ||
                   optionalAttribute(child, "EMBEDDEDOBJECT").has_value();
        const CimTypeCode valueCode = embedded ? CimTypeCode::Object : *code;
        type = kind == "PROPERTY" ? CTovaType::scalar(valueCode) : CTovaType::arrayOf(valueCode);
      } else if (kind == "PROPERTY.REFERENCE") {
        type = CTovaType::reference(
            TOVString(optionalAttribute(child, "REFERENCECLASS").value_or(std::string())));
      } else {
        notValid("INSTANCE may not hold " + kind);
      }
      const TOVSmrPtr<ITovaValue> value = valueOf(child, type, false, what);
      object->setProperty(
          TOVSmrPtr<ITovaProperty>(new CTovaProperty(propertyName, type, value, false)));
    }
    return CTovaObject::iPtr(object);
  }

  TOVSmrPtr<ITovaObject> namedInstance(pugi::xml_node node) const {
    const std::vector<pugi::xml_node> parts = elementChildren(node);
    if (parts.size() != 2) notValid("VALUE.NAMEDINSTANCE must hold INSTANCENAME and INSTANCE");
    return instance(parts[1], instanceName(parts[0], TOVSmrPtr<ITovaNameSpacePath>()));
  }

  // An embedded instance from the text of a VALUE at depth, within the depth
  // limit of the whole request.
  TOVSmrPtr<ITovaObject> embeddedInstance(const std::string& text, std::size_t depth,
                                          const std::string& what) const {
    if (depth >= _maxDepth) {
      notValid("embedded objects nest more than " + std::to_string(_maxDepth) + " levels deep");
    }
    pugi::xml_document document;
    const std::string where = "the embedded object of " + what;
    load(document, text, _maxDepth - depth, where.c_str());
    const ElementReader nested(_catalog, _maxDepth - depth, _nameSpace);
    return nested.instance(document.document_element(), TOVSmrPtr<ITovaInstanceName>());
  }

  // The class catalog's type of a property of className; null when unknown.
  TOVSmrPtr<ITovaType> propertyType(const TOVString& className,
                                    const TOVString& propertyName) const {
    return _catalog.propertyType(_nameSpace, className, propertyName);
  }

  TOVSmrPtr<ITovaType> parameterType(const TOVString& className, const TOVString& methodName,
                                     const TOVString& parameterName) const {
    return _catalog.parameterType(_nameSpace, className, methodName, parameterName);
  }

 private:
  const ClassCatalog& _catalog;
  const std::size_t _maxDepth;
  const TOVString _nameSpace;
};

// The IPARAMVALUEs of an intrinsic call, taken one by one by name.
class IntrinsicParameters {
 public:
  IntrinsicParameters(const std::vector<pugi::xml_node>& parameters) {
    for (pugi::xml_node parameter : parameters) {
      if (!is(parameter, "IPARAMVALUE")) {
        notValid(std::string("IMETHODCALL may not hold ") + elementName(parameter));
      }
      std::string name = requiredAttribute(parameter, "NAME");
      std::string key = folded(name);
      if (_byName.count(key) != 0) invalidParameter("parameter " + name + " is given twice");
      _byName.emplace(std::move(key), std::make_pair(std::move(name), parameter));
    }
  }

  // The IPARAMVALUE named name (any case), removed; an empty node when absent.
  pugi::xml_node take(std::string_view name) {
    const auto it = _byName.find(folded(name));
    if (it == _byName.end()) return pugi::xml_node();
    const pugi::xml_node node = it->second.second;
    _byName.erase(it);
    return node;
  }

  pugi::xml_node takeRequired(std::string_view name) {
    const pugi::xml_node node = take(name);
    if (!node) {
      invalidParameter("the required parameter " + std::string(name) + " is missing");
    }
    return node;
  }

  // Refuses parameters that the operation does not define.
  void checkNoneLeft(const std::string& operation) const {
    if (!_byName.empty()) {
      invalidParameter(operation + " has no parameter " + _byName.begin()->second.first);
    }
  }

 private:
  static std::string folded(std::string_view text) {
    std::string result(text);
    for (char& c : result) {
      if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return result;
  }

  std::map<std::string, std::pair<std::string, pugi::xml_node>> _byName;
};

// The single element an IPARAMVALUE holds, or an empty node for a NULL one.
pugi::xml_node singleValue(pugi::xml_node parameter) {
  const std::vector<pugi::xml_node> content = elementChildren(parameter);
  if (content.size() > 1) notValid("IPARAMVALUE holds more than one value");
  return content.empty() ? pugi::xml_node() : content[0];
}

std::string parameterName(pugi::xml_node parameter) { return parameter.attribute("NAME").value(); }

void expectKind(pugi::xml_node parameter, pugi::xml_node value, const char* kind) {
  if (!is(value, kind)) {
    invalidParameter("parameter " + parameterName(parameter) + " must be a " + kind + ", not " +
                     elementName(value));
  }
}

TOVString classNameParameter(pugi::xml_node parameter) {
  if (!parameter) return TOVString();
  const pugi::xml_node value = singleValue(parameter);
  if (!value) return TOVString();
  expectKind(parameter, value, "CLASSNAME");
  return TOVString(requiredAttribute(value, "NAME"));
}

bool booleanParameter(pugi::xml_node parameter, bool defaultValue) {
  if (!parameter) return defaultValue;
  const pugi::xml_node value = singleValue(parameter);
  if (!value) return defaultValue;
  expectKind(parameter, value, "VALUE");
  const std::string text = textOf(value);
  const std::string_view t = trimmed(text);
  if (equalsIgnoringCase(t, "true")) return true;
  if (equalsIgnoringCase(t, "false")) return false;
  invalidParameter("parameter " + parameterName(parameter) + ": \"" + text +
                   "\" is not a boolean value");
}

TOVString stringParameter(pugi::xml_node parameter) {
  if (!parameter) return TOVString();
  const pugi::xml_node value = singleValue(parameter);
  if (!value) return TOVString();
  expectKind(parameter, value, "VALUE");
  return TOVString(textOf(value));
}

// The INSTANCENAME of a parameter that may not be NULL.
TOVSmrPtr<ITovaInstanceName> instanceNameParameter(const ElementReader& reader,
                                                   pugi::xml_node parameter) {
  const pugi::xml_node value = singleValue(parameter);
  if (!value) invalidParameter("parameter " + parameterName(parameter) + " may not be NULL");
  expectKind(parameter, value, "INSTANCENAME");
  return reader.instanceName(value, TOVSmrPtr<ITovaNameSpacePath>());
}

std::optional<std::vector<TOVString>> propertyListParameter(pugi::xml_node parameter) {
  if (!parameter) return std::nullopt;
  const pugi::xml_node value = singleValue(parameter);
  if (!value) return std::nullopt;
  expectKind(parameter, value, "VALUE.ARRAY");
  std::vector<TOVString> names;
  for (pugi::xml_node item : elementChildren(value)) {
    if (!is(item, "VALUE")) invalidParameter("PropertyList may hold property names only");
    names.emplace_back(textOf(item));
  }
  return names;
}

// Reads one parameter of an intrinsic call into request; parameter is empty
// when the request leaves it out.
void readParameter(const ElementReader& reader, const ParameterDescriptor& descriptor,
                   pugi::xml_node parameter, CimRequest& request) {
  const std::string name(descriptor.name);
  switch (descriptor.kind) {
    case ParameterKind::ClassName:
    case ParameterKind::String: {
      TOVString& field = request.*std::get<TOVString CimRequest::*>(descriptor.field);
      field = descriptor.kind == ParameterKind::ClassName ? classNameParameter(parameter)
                                                          : stringParameter(parameter);
      if (descriptor.required && field.isNull()) {
        invalidParameter("parameter " + name + " may not be NULL");
      }
      return;
    }
    case ParameterKind::Boolean:
      request.*std::get<bool CimRequest::*>(descriptor.field) =
          booleanParameter(parameter, descriptor.defaultValue);
      return;
    case ParameterKind::PropertyList:
      request.propertyList = propertyListParameter(parameter);
      return;
    case ParameterKind::InstanceName:
      request.instanceName = instanceNameParameter(reader, parameter);
      request.className = request.instanceName->getClassname();
      return;
    case ParameterKind::ObjectName: {
      const pugi::xml_node value = singleValue(parameter);
      if (!value) invalidParameter("parameter " + name + " may not be NULL");
      if (is(value, "CLASSNAME")) {
        request.objectIsClass = true;
        request.className = TOVString(requiredAttribute(value, "NAME"));
        request.instanceName =
            ElementReader::classAsName(request.className, TOVSmrPtr<ITovaNameSpacePath>());
        return;
      }
      request.instanceName = instanceNameParameter(reader, parameter);
      request.className = request.instanceName->getClassname();
      return;
    }
    case ParameterKind::Instance: {
      const pugi::xml_node value = singleValue(parameter);
      if (!value) invalidParameter("parameter " + name + " may not be NULL");
      expectKind(parameter, value, "INSTANCE");
      request.instance = reader.instance(value, TOVSmrPtr<ITovaInstanceName>());
      request.className = request.instance->getClassName();
      return;
    }
    case ParameterKind::NamedInstance: {
      const pugi::xml_node value = singleValue(parameter);
      if (!value) invalidParameter("parameter " + name + " may not be NULL");
      expectKind(parameter, value, "VALUE.NAMEDINSTANCE");
      request.instance = reader.namedInstance(value);
      request.instanceName = request.instance->getInstanceName();
      request.className = request.instanceName->getClassname();
      return;
    }
    case ParameterKind::PropertyValue:
      if (parameter) {
        const TOVSmrPtr<ITovaType> type =
            reader.propertyType(request.className, request.propertyName);
        request.newValue =
            reader.valueOf(parameter, type, type && type->isObject(), "parameter " + name);
      }
      return;
  }
}

// Reads one IMETHODCALL into request, parameter by parameter as the
// operation's descriptor lists them.
void readIntrinsic(const OperationDescriptor& operation, const ElementReader& reader,
                   IntrinsicParameters& parameters, CimRequest& request) {
  for (const ParameterDescriptor& descriptor : operation.parameters) {
    const pugi::xml_node parameter = descriptor.required ? parameters.takeRequired(descriptor.name)
                                                         : parameters.take(descriptor.name);
    readParameter(reader, descriptor, parameter, request);
  }
  parameters.checkNoneLeft(request.methodName);
}

// The major number of a version attribute ("2.0" -> 2); -1 when malformed.
int majorVersion(std::string_view version) {
  int major = -1;
  const auto result = std::from_chars(version.data(), version.data() + version.size(), major);
  if (result.ec != std::errc() ||
      (result.ptr != version.data() + version.size() && *result.ptr != '.')) {
    return -1;
  }
  return major;
}

void readMethodCall(const ClassCatalog& catalog, std::size_t maxDepth,
                    const std::vector<pugi::xml_node>& children, CimRequest& request) {
  if (children.empty()) notValid("METHODCALL must start with LOCALINSTANCEPATH or LOCALCLASSPATH");
  const pugi::xml_node target = children[0];
  const bool onInstance = is(target, "LOCALINSTANCEPATH");
  if (!onInstance && !is(target, "LOCALCLASSPATH")) {
    notValid(std::string("METHODCALL must start with LOCALINSTANCEPATH or LOCALCLASSPATH, not ") +
             elementName(target));
  }
  const std::vector<pugi::xml_node> parts = elementChildren(target);
  if (parts.size() != 2) notValid(std::string(elementName(target)) + " must hold two elements");
  request.nameSpace = ElementReader::nameSpaceOf(parts[0]);
  const ElementReader reader(catalog, maxDepth, request.nameSpace);
  const TOVSmrPtr<ITovaNameSpacePath> path(new CTovaNameSpacePath(TOVString(), request.nameSpace));
  if (onInstance) {
    request.instanceName = reader.instanceName(parts[1], path);
  } else {
    if (!is(parts[1], "CLASSNAME")) notValid("LOCALCLASSPATH must end with CLASSNAME");
    request.instanceName =
        ElementReader::classAsName(TOVString(requiredAttribute(parts[1], "NAME")), path);
  }
  request.className = request.instanceName->getClassname();

  request.inParameters = kest::IProvider::ParameterList(new TOVValSlist<TOVParameter>());
  std::vector<std::string> seen;
  for (std::size_t i = 1; i < children.size(); ++i) {
    const pugi::xml_node parameter = children[i];
    if (!is(parameter, "PARAMVALUE")) {
      notValid(std::string("METHODCALL may not hold ") + elementName(parameter));
    }
    const std::string name = requiredAttribute(parameter, "NAME");
    for (const std::string& earlier : seen) {
      if (equalsIgnoringCase(earlier, name))
        invalidParameter("parameter " + name + " is given twice");
    }
    seen.push_back(name);

    TOVSmrPtr<ITovaType> type;
    bool embedded = optionalAttribute(parameter, "EmbeddedObject").has_value();
    if (const std::optional<std::string> paramType = optionalAttribute(parameter, "PARAMTYPE")) {
      const std::optional<CimTypeCode> code = typeCodeOf(*paramType);
      if (!code)
        notValid("PARAMVALUE " + name + " has an unknown PARAMTYPE \"" + *paramType + "\"");
      if (*code == CimTypeCode::Object) embedded = true;
      type = *code == CimTypeCode::Reference ? CTovaType::reference(TOVString())
                                             : CTovaType::scalar(*code);
    } else {
      type =
          reader.parameterType(request.className, TOVString(request.methodName), TOVString(name));
      if (type && type->isObject()) embedded = true;
    }
    const TOVSmrPtr<ITovaValue> value =
        reader.valueOf(parameter, type, embedded, "parameter " + name);
    request.inParameters->append(TOVParameter(new CTovaActualParameter(TOVString(name), value)));
  }
}

}  // namespace

RequestParser::RequestParser(const ClassCatalog& catalog, std::size_t maxDepth)
    : _catalog(catalog), _maxDepth(maxDepth) {}

ParsedRequest RequestParser::parse(std::string_view body) const {
  pugi::xml_document document;
  load(document, body, _maxDepth, "the request");

  const pugi::xml_node cim = document.document_element();
  if (!is(cim, "CIM"))
    notValid(std::string("the document element is ") + elementName(cim) + ", not CIM");
  if (majorVersion(requiredAttribute(cim, "CIMVERSION")) != 2) {
    throw RequestRejected(
        501, "unsupported-cim-version",
        "CIMVERSION " + requiredAttribute(cim, "CIMVERSION") + " is not supported");
  }
  if (majorVersion(requiredAttribute(cim, "DTDVERSION")) != 2) {
    throw RequestRejected(
        501, "unsupported-dtd-version",
        "DTDVERSION " + requiredAttribute(cim, "DTDVERSION") + " is not supported");
  }
  const std::vector<pugi::xml_node> top = elementChildren(cim);
  if (top.size() != 1 || !is(top[0], "MESSAGE")) notValid("CIM must hold one MESSAGE");
  const pugi::xml_node message = top[0];
  ParsedRequest parsed;
  parsed.messageId = requiredAttribute(message, "ID");
  const std::string protocolVersion = requiredAttribute(message, "PROTOCOLVERSION");
  if (majorVersion(protocolVersion) != 1) {
    throw RequestRejected(501, "unsupported-protocol-version",
                          "PROTOCOLVERSION " + protocolVersion + " is not supported");
  }
  const std::vector<pugi::xml_node> kinds = elementChildren(message);
  if (kinds.size() != 1) notValid("MESSAGE must hold one request");
  if (is(kinds[0], "MULTIREQ")) {
    throw RequestRejected(501, "multiple-requests-unsupported",
                          "multiple requests in one message are not supported");
  }
  if (!is(kinds[0], "SIMPLEREQ")) {
    notValid(std::string("MESSAGE holds ") + elementName(kinds[0]) + ", not SIMPLEREQ");
  }
  pugi::xml_node call;
  for (pugi::xml_node child : elementChildren(kinds[0])) {
    if (is(child, "CORRELATOR")) continue;
    if (call || (!is(child, "IMETHODCALL") && !is(child, "METHODCALL"))) {
      notValid("SIMPLEREQ must hold one IMETHODCALL or METHODCALL");
    }
    call = child;
  }
  if (!call) notValid("SIMPLEREQ must hold one IMETHODCALL or METHODCALL");

  parsed.intrinsic = is(call, "IMETHODCALL");
  parsed.methodName = requiredAttribute(call, "NAME");
  const std::vector<pugi::xml_node> children = elementChildren(call);

  CimRequest request;
  request.messageId = parsed.messageId;
  request.methodName = parsed.methodName;
  try {
    if (parsed.intrinsic) {
      if (children.empty()) notValid("IMETHODCALL must start with LOCALNAMESPACEPATH");
      request.nameSpace = ElementReader::nameSpaceOf(children[0]);
      const std::vector<pugi::xml_node> rest(children.begin() + 1, children.end());
      IntrinsicParameters parameters(rest);
      const OperationDescriptor* operation = findOperation(parsed.methodName);
      if (operation == nullptr) {
        throw CimError(CIM_ERR_NOT_SUPPORTED,
                       "the operation " + parsed.methodName + " is not supported");
      }
      request.operation = operation->operation;
      const ElementReader reader(_catalog, _maxDepth, request.nameSpace);
      readIntrinsic(*operation, reader, parameters, request);
    } else {
      request.operation = CimOperation::MethodCall;
      readMethodCall(_catalog, _maxDepth, children, request);
    }
    parsed.request = std::move(request);
  } catch (const CimError& error) {
    parsed.error = error;
  }
  return parsed;
}

}  // namespace kest::server
