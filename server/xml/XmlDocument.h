#pragma once

#include <cstddef>
#include <optional>
#include <pugixml.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "server/xml/XmlShape.h"

// Loading a CIM-XML document within the server's limits, and reading its
// elements, text and attributes with XML's well-formedness rules that the
// underlying parser leaves to us (references, control characters).
//
// Refusals: RequestRejected with status 400 and request-not-well-formed or
// request-not-valid (server/RequestRejected.h); a malformed parameter is a
// CimError with CIM_ERR_INVALID_PARAMETER. Stateless; any thread.
namespace kest::server::xml {

[[noreturn]] void notWellFormed(const std::string& detail);
[[noreturn]] void notValid(const std::string& detail);
[[noreturn]] void invalidParameter(const std::string& detail);

// Parses text into document. Refuses bytes that are not UTF-8, XML that is
// not well-formed, content after the root element and a document without an
// element (not well-formed). Refuses (not valid, naming the limit) elements
// nested more than limits.maxDepth levels deep and more than limits.maxNodes
// nodes (see XmlShape.h): both are checked before the tree is built, so a
// refused document costs no memory. Too many nodes is a 400 like too deep a
// nesting, not a 413: the body's size is within bounds, its content is not
// a request this server takes. what names the text in the refusal ("the
// request", "the embedded object of ...").
void load(pugi::xml_document& document, std::string_view text, const XmlLimits& limits,
          const char* what);

const char* elementName(pugi::xml_node node);

// node is the element called name.
bool is(pugi::xml_node node, const char* name);

// The element children of node; text other than white space is not allowed.
std::vector<pugi::xml_node> elementChildren(pugi::xml_node node);

// The text content of an element that holds only text.
std::string textOf(pugi::xml_node node);

// An attribute's value with its references resolved.
std::optional<std::string> optionalAttribute(pugi::xml_node node, const char* name);
// As optionalAttribute; refuses (not valid) an element without it.
std::string requiredAttribute(pugi::xml_node node, const char* name);

// Depth of node: 1 for the document element.
std::size_t depthOf(pugi::xml_node node);

}  // namespace kest::server::xml
