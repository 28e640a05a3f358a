#pragma once

#include <cstddef>
#include <exception>
#include <optional>
#include <string>
#include <string_view>

#include "server/CimError.h"
#include "server/CimRequest.h"
#include "server/ClassCatalog.h"

namespace kest::server {

// RequestRejected: a request refused at the HTTP level (DSP0200): the HTTP
// status, the value of the CIMError header (request-not-well-formed,
// request-not-valid, unsupported-cim-version, ...; empty when the status
// takes none) and a human-readable detail.
class RequestRejected : public std::exception {
 public:
  RequestRejected(int httpStatus, std::string cimError, std::string detail);
  int httpStatus() const noexcept { return _httpStatus; }
  const std::string& cimError() const noexcept { return _cimError; }
  const std::string& detail() const noexcept { return _detail; }
  const char* what() const noexcept override { return _detail.c_str(); }

 private:
  int _httpStatus;
  std::string _cimError;
  std::string _detail;
};

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

// A scalar of the intrinsic type code (not Reference or Object) read from
// its CIM-XML text ("TRUE", "-5", "1.5e+10", a datetime, ...); null when the
// text holds no such value (out of range, malformed).
TOVSmrPtr<ITovaValue> scalarFromText(std::string_view text, CimTypeCode code);

// RequestParser: reads a CIM-XML request message (DSP0201, a SIMPLEREQ with
// one IMETHODCALL or METHODCALL) into a CimRequest.
//
// Throws RequestRejected with status 400 and
//   request-not-well-formed   for a body that is not well-formed XML (bytes
//                             that are not UTF-8, a bare '&', an undefined
//                             entity, a '<' in an attribute value, a
//                             mismatched or missing end tag, ...);
//   request-not-valid         for well-formed XML that is not a CIM request
//                             message, and for nesting deeper than maxDepth;
// and with status 501 and unsupported-cim-version, unsupported-dtd-version,
// unsupported-protocol-version or multiple-requests-unsupported.
//
// Values are typed by, in this order: the request's own type attributes
// (TYPE, PARAMTYPE, EmbeddedObject), the class catalog's definition of the
// property, key or parameter, and the key's VALUETYPE; a value that none of
// them types is a string (the framework's parameter helpers convert strings).
// Embedded objects (EmbeddedObject="instance" or "object") are parsed from
// their escaped INSTANCE text, within the same depth limit.
//
// Threads: const and stateless apart from the catalog reference; one parser
// may serve every request thread.
class RequestParser {
 public:
  RequestParser(const ClassCatalog& catalog, std::size_t maxDepth);

  ParsedRequest parse(std::string_view body) const;

 private:
  const ClassCatalog& _catalog;
  const std::size_t _maxDepth;
};

}  // namespace kest::server
