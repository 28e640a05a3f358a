#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "server/CimError.h"
#include "server/CimRequest.h"
#include "server/ClassCatalog.h"
#include "server/RequestRejected.h"
// scalarFromText, which reads values as requests carry them.
#include "server/xml/ScalarText.h"
#include "server/xml/XmlShape.h"

namespace kest::server {

// What RequestParser read from a request message: the message identifier and
// the method name always, and either the operation or the CIM error to answer
// it with (an unsupported operation, a missing, unknown or malformed
// parameter).
struct ParsedRequest {
  std::string messageId;
  std::string methodName;
  bool intrinsic = true;
  std::optional<CimRequest> request;
  std::optional<CimError> error;
};

// RequestParser: reads a CIM-XML request message (DSP0201, a SIMPLEREQ with
// one IMETHODCALL or METHODCALL) into a CimRequest.
//
// Throws RequestRejected with status 400 and
//   request-not-well-formed   for a body that is not well-formed XML (bytes
//                             that are not UTF-8, a bare '&', an undefined
//                             entity, a '<' in an attribute value, a
//                             mismatched or missing end tag, ...);
//   request-not-valid         for well-formed XML that is not a CIM request
//                             message, for nesting deeper than maxDepth and
//                             for more than maxNodes XML nodes (elements,
//                             attributes and text; xml::XmlLimits);
// and with status 501 and unsupported-cim-version, unsupported-dtd-version,
// unsupported-protocol-version or multiple-requests-unsupported.
//
// Values are typed by, in this order: the request's own type attributes
// (TYPE, PARAMTYPE, EmbeddedObject), the class catalog's definition of the
// property, key or parameter, and the key's VALUETYPE; a value that none of
// them types is a string (the framework's parameter helpers convert strings).
// Embedded objects (EmbeddedObject="instance" or "object") are parsed from
// their escaped INSTANCE text, within the same depth limit and each within
// the same node limit. The limits are checked before a tree is built: the
// memory a request's tree takes stays below 64 bytes per allowed node.
//
// The message envelope is read here; the operations by
// xml::readIntrinsic (from the operation table, server/Operations.h) and
// xml::readMethodCall, their values by xml::ElementReader.
//
// Threads: const and stateless apart from the catalog reference; one parser
// may serve every request thread.
class RequestParser {
 public:
  RequestParser(const ClassCatalog& catalog, std::size_t maxDepth,
                std::size_t maxNodes = xml::XmlLimits().maxNodes);

  ParsedRequest parse(std::string_view body) const;

 private:
  const ClassCatalog& _catalog;
  const xml::XmlLimits _limits;
};

}  // namespace kest::server
