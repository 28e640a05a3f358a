#include "server/RequestParser.h"

#include <charconv>
#include <pugixml.hpp>
#include <utility>
#include <vector>

#include "server/xml/ElementReader.h"
#include "server/xml/IntrinsicReader.h"
#include "server/xml/MethodCallReader.h"
#include "server/xml/XmlDocument.h"

namespace kest::server {

namespace {

using xml::elementChildren;
using xml::elementName;
using xml::ElementReader;
using xml::is;
using xml::load;
using xml::notValid;
using xml::requiredAttribute;

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

}  // namespace

RequestParser::RequestParser(const ClassCatalog& catalog, std::size_t maxDepth,
                             std::size_t maxNodes)
    : _catalog(catalog), _limits{maxDepth, maxNodes} {}

ParsedRequest RequestParser::parse(std::string_view body) const {
  pugi::xml_document document;
  load(document, body, _limits, "the request");

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
      xml::readIntrinsic(_catalog, _limits, rest, request);
    } else {
      request.operation = CimOperation::MethodCall;
      xml::readMethodCall(_catalog, _limits, children, request);
    }
    parsed.request = std::move(request);
  } catch (const CimError& error) {
    parsed.error = error;
  }
  return parsed;
}

}  // namespace kest::server
