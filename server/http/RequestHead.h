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

using HeadVerdict = std::variant<AcceptedHead, RefusedHead>;

// Checks a request head, in this order:
//   request line longer than maxLineSize          414;
//   a header line longer than maxLineSize         431;
//   credentials required and not given exactly    401 with WWW-Authenticate;
//   a method other than POST and M-POST           405 with Allow;
//   an M-POST without a Man header for the CIM
//   mapping (and its ns prefix)                   510;
//   a path other than /cimom (a query ignored)    404;
//   a CIMBatch header (a multiple request)        501 multiple-requests-unsupported;
//   CIMOperation, CIMMethod or CIMObject given
//   twice with different values                   400 header-mismatch.
// Stateless; any thread. Credentials are compared in constant time.
HeadVerdict checkRequestHead(const boost::beast::http::request_header<>& head,
                             const HeadRules& rules);

// True when an Authorization header carries exactly "user:password" with
// HTTP Basic. Takes the same time whatever the credentials given.
bool basicCredentialsMatch(std::string_view authorization, std::string_view expected);

// The ns prefix ("NN-") of an M-POST's Man header for the CIM mapping;
// empty when it has none.
std::string extensionPrefix(std::string_view man);

}  // namespace kest::server::http
