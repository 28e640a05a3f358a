#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "host/String.h"
#include "server/CimError.h"
#include "server/CimXmlWriter.h"
#include "server/Dispatcher.h"
#include "server/RequestParser.h"

namespace kest::server {

// One CIM operation request as the HTTP front end hands it over.
struct CimHttpRequest {
  // The value of a CIM header (CIMOperation, CIMMethod, CIMObject,
  // CIMProtocolVersion), any M-POST prefix already resolved; nullopt when
  // the request lacks it.
  std::function<std::optional<std::string>(const char* name)> header;
  std::string_view body;
  // The HOST written into the paths of the response.
  TOVString host;
};

// What to answer. Status 200 answers with a CIM-XML body that writeBody
// writes (streamed: in chunks as the results come, the final status going
// into the CIMStatusCode trailers); any other status is an HTTP error with
// the CIMError header (when not empty) and detail as a text body.
struct CimResponse {
  int httpStatus = 200;
  std::string cimError;
  std::string detail;
  bool streamed = false;
  // Writes the whole response message; returns the final CIM status (code
  // 0 when the operation succeeded). Throws ClientGone when the body refuses
  // bytes.
  std::function<CimError(ResponseBody&)> writeBody;
  // For status 200: writes, instead of the operation's result, a complete
  // response message that reports error (for a front end that stops waiting
  // for writeBody: a deadline passed, or the server stops). Safe to call on
  // another thread while writeBody runs.
  std::function<void(ResponseBody&, const CimError&)> writeFailure;
};

// CimService: turns one CIM operation request into its response: checks the
// CIM headers (DSP0200), parses the message, routes and runs the operation.
//
//   CIMOperation missing or not MethodCall   400, unsupported-operation;
//   CIMProtocolVersion not 1.x               501, unsupported-protocol-version;
//   a body the parser refuses (a MULTIREQ
//   among them: 501 multiple-requests-
//   unsupported)                             its status and CIMError;
//   CIMMethod missing or not the method named in the body, or CIMObject
//   missing or not the namespace (and, for a method call, the class) of the
//   body                                     400, header-mismatch.
// Errors of the operation itself (routing, parameters, anything a provider
// throws; see errorFromCurrentException) are CIM errors inside a 200
// response: the ERROR element when nothing of the result has been sent yet,
// otherwise the results sent so far in a complete document and the error as
// the final status. Refusals and CIM_ERR_FAILED are logged at severity 2,
// other CIM errors at severity 3.
//
// Threads: const; handle() may run on many threads at once.
class CimService {
 public:
  CimService(const RequestParser& parser, const Dispatcher& dispatcher);
  CimResponse handle(const CimHttpRequest& request) const;

 private:
  const RequestParser& _parser;
  const Dispatcher& _dispatcher;
};

// Percent-decodes a header value (%XX; other bytes unchanged).
std::string percentDecoded(std::string_view text);
// Percent-encodes every byte outside letters, digits and "-._~/" (for
// header and trailer values).
std::string percentEncoded(std::string_view text);

}  // namespace kest::server
