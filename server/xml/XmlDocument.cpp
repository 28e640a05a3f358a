#include "server/xml/XmlDocument.h"

#include <charconv>
#include <cstdint>

#include "host/Utf8.h"
#include "server/CimError.h"
#include "server/RequestRejected.h"
#include "server/xml/Text.h"

namespace kest::server::xml {

[[noreturn]] void notWellFormed(const std::string& detail) {
  throw RequestRejected(400, "request-not-well-formed", detail);
}

[[noreturn]] void notValid(const std::string& detail) {
  throw RequestRejected(400, "request-not-valid", detail);
}

[[noreturn]] void invalidParameter(const std::string& detail) {
  throw CimError(CIM_ERR_INVALID_PARAMETER, detail);
}

namespace {

bool isXmlChar(std::uint32_t c) {
  return c == 0x9 || c == 0xA || c == 0xD || (c >= 0x20 && c <= 0xD7FF) ||
         (c >= 0xE000 && c <= 0xFFFD) || (c >= 0x10000 && c <= 0x10FFFF);
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
      appendUtf8(out, static_cast<char32_t>(code));
    } else {
      notWellFormed("undefined entity &" + std::string(name) + ";");
    }
    i = semicolon;
  }
  return out;
}

constexpr unsigned int kParseOptions = pugi::parse_cdata | pugi::parse_wconv_attribute |
                                       pugi::parse_eol | pugi::parse_ws_pcdata_single;

}  // namespace

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

// Parses text into document; refuses what is not well-formed, too deep or
// too large.
void load(pugi::xml_document& document, std::string_view text, const XmlLimits& limits,
          const char* what) {
  const std::size_t invalid = firstInvalidUtf8(text);
  if (invalid != std::string_view::npos) {
    notWellFormed(std::string(what) + " is not UTF-8 (offset " + std::to_string(invalid) + ")");
  }
  const XmlShape shape = checkShape(text, limits);
  switch (shape.verdict) {
    case XmlShape::Verdict::Within:
      break;
    case XmlShape::Verdict::TooDeep:
      notValid(std::string(what) + " nests elements more than " + std::to_string(limits.maxDepth) +
               " levels deep");
    case XmlShape::Verdict::TooManyNodes:
      notValid(std::string(what) + " holds more than " + std::to_string(limits.maxNodes) +
               " XML nodes (elements, attributes and text)");
    case XmlShape::Verdict::NotWellFormed:
      notWellFormed(std::string(what) + ": " + shape.problem + " at offset " +
                    std::to_string(shape.offset));
  }
  const pugi::xml_parse_result result =
      document.load_buffer(text.data(), text.size(), kParseOptions, pugi::encoding_utf8);
  if (!result) {
    notWellFormed(std::string(what) + ": " + result.description() + " at offset " +
                  std::to_string(result.offset));
  }
  if (!document.document_element()) notWellFormed(std::string(what) + " has no element");
}

}  // namespace kest::server::xml
