#pragma once

#include <boost/beast/http/message.hpp>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace kest::server::http {

// What the front end checks in a request's line and headers before it reads
// the body, and what it needs to know about them afterwards.
struct HeadRules {
  std::size_t maxLineSize = 8 * 1024;  // bytes of the request line, and of one header line
  // HTTP Basic credentials; an empty user means no authentication.
  std::string user;
  std::string password;
};

// A request head that may go on: the body is read and handed to the service.
struct AcceptedHead {
  bool extended = false;     // an M-POST
  std::string headerPrefix;  // the "NN-" of an M-POST's CIM headers, else empty
  bool expectsContinue = false;
};

// A request head that is answered at once, without reading the body; the
// connection closes after the answer.
struct RefusedHead {
  int status = 400;
  std::string cimError;  // the CIMError header; empty for none
  std::string detail;    // the text/plain explanation
  std::vector<std::pair<std::string, std::string>> headers;
};

// An OPTIONS request for the server's capabilities: answered at once with
// 200, these headers and no body.
struct DiscoveryHead {
  std::vector<std::pair<std::string, std::string>> headers;
};

using HeadVerdict = std::variant<AcceptedHead, RefusedHead, DiscoveryHead>;

// Checks a request head, in this order:
//   request line longer than maxLineSize          414;
//   a header line longer than maxLineSize         431;
//   credentials required and not given exactly    401 with WWW-Authenticate;
//   OPTIONS to /cimom or *                        DiscoveryHead with capabilityHeaders();
//   OPTIONS to another path                       404;
//   a method other than POST, M-POST and OPTIONS  405 with Allow;
//   an M-POST without a Man header for the CIM
//   mapping (and its ns prefix)                   510;
//   a path other than /cimom (a query ignored)    404;
//   a CIMBatch header (a multiple request)        501 multiple-requests-unsupported;
//   CIMOperation, CIMMethod or CIMObject given
//   twice with different values                   400 header-mismatch.
// OPTIONS needs the same credentials as an operation: what the server
// supports is told only to those who may use it.
// Stateless; any thread. Credentials are compared in constant time.
HeadVerdict checkRequestHead(const boost::beast::http::request_header<>& head,
                             const HeadRules& rules);

// The headers of the answer to OPTIONS: CIMProtocolVersion (1.0, the
// version every response message states), CIMSupportedFunctionalGroups (the
// groups the header can name among supportedFunctionalProfiles(); the
// pulled operations have none there) and CIMValidation (loosely-validating:
// a request is checked as it is read, not against the whole DTD). Multiple
// operations and query languages are not supported, so neither
// CIMSupportsMultipleOperations nor CIMSupportedQueryLanguages is sent.
std::vector<std::pair<std::string, std::string>> capabilityHeaders();

// True when an Authorization header carries exactly "user:password" with
// HTTP Basic. Takes the same time whatever the credentials given.
bool basicCredentialsMatch(std::string_view authorization, std::string_view expected);

// The ns prefix ("NN-") of an M-POST's Man header for the CIM mapping;
// empty when it has none.
std::string extensionPrefix(std::string_view man);

}  // namespace kest::server::http
