#include "server/http/RequestHead.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>

#include "host/Ascii.h"
#include "server/CimService.h"
#include "server/CimXmlWriter.h"
#include "server/Operations.h"
#include "server/xml/Text.h"

namespace kest::server::http {

namespace {

namespace beast_http = boost::beast::http;
using xml::trimmed;

constexpr std::string_view kCimMapping = "http://www.dmtf.org/cim/mapping/http/v1.0";

RefusedHead refused(int status, std::string cimError, std::string detail) {
  RefusedHead refusal;
  refusal.status = status;
  refusal.cimError = std::move(cimError);
  refusal.detail = std::move(detail);
  return refusal;
}

std::string_view view(boost::beast::string_view text) { return {text.data(), text.size()}; }

// The first header of a CIM header name (prefix + name) given more than
// once with values that differ (after percent-decoding); empty when none.
std::string conflictingHeader(const beast_http::request_header<>& head, const std::string& prefix) {
  for (const char* name : {"CIMOperation", "CIMMethod", "CIMObject"}) {
    const std::string key = prefix + name;
    auto [first, last] = head.equal_range(key);
    if (first == last) continue;
    const std::string value = percentDecoded(trimmed(view(first->value())));
    for (auto it = std::next(first); it != last; ++it) {
      if (percentDecoded(trimmed(view(it->value()))) != value) return key;
    }
  }
  return std::string();
}

std::string supportedGroupsHeader() {
  std::string header;
  for (const std::string& group : supportedFunctionalGroups()) {
    if (!header.empty()) header += ", ";
    header += group;
  }
  return header;
}

}  // namespace

std::vector<std::pair<std::string, std::string>> capabilityHeaders() {
  static const std::string kGroups = supportedGroupsHeader();
  return {{"CIMProtocolVersion", std::string(kCimProtocolVersion)},
          {"CIMSupportedFunctionalGroups", kGroups},
          {"CIMValidation", "loosely-validating"}};
}

bool basicCredentialsMatch(std::string_view authorization, std::string_view expected) {
  if (authorization.size() < 6 || !ascii::equalsIgnoreCase(authorization.substr(0, 6), "basic ")) {
    return false;
  }
  const std::string_view encoded = trimmed(authorization.substr(6));
  if (encoded.size() % 4 != 0) return false;
  std::string decoded(encoded.size() / 4 * 3 + 3, '\0');
  const int length = EVP_DecodeBlock(reinterpret_cast<unsigned char*>(decoded.data()),
                                     reinterpret_cast<const unsigned char*>(encoded.data()),
                                     static_cast<int>(encoded.size()));
  if (length < 0) return false;
  std::size_t size = static_cast<std::size_t>(length);
  if (!encoded.empty() && encoded.back() == '=') --size;
  if (encoded.size() >= 2 && encoded[encoded.size() - 2] == '=') --size;
  decoded.resize(size);
  unsigned char given[EVP_MAX_MD_SIZE];
  unsigned char wanted[EVP_MAX_MD_SIZE];
  unsigned int givenLength = 0;
  unsigned int wantedLength = 0;
  EVP_Digest(decoded.data(), decoded.size(), given, &givenLength, EVP_sha256(), nullptr);
  EVP_Digest(expected.data(), expected.size(), wanted, &wantedLength, EVP_sha256(), nullptr);
  return givenLength == wantedLength && CRYPTO_memcmp(given, wanted, givenLength) == 0;
}

std::string extensionPrefix(std::string_view man) {
  if (man.find(kCimMapping) == std::string_view::npos) return std::string();
  const std::size_t ns = ascii::folded(man).find("ns=");
  if (ns == std::string::npos) return std::string();
  std::size_t end = ns + 3;
  while (end < man.size() && man[end] >= '0' && man[end] <= '9') ++end;
  if (end == ns + 3) return std::string();
  return std::string(man.substr(ns + 3, end - ns - 3)) + "-";
}

HeadVerdict checkRequestHead(const beast_http::request_header<>& head, const HeadRules& rules) {
  const std::size_t requestLine = head.method_string().size() + head.target().size() + 10;
  if (requestLine > rules.maxLineSize) {
    return refused(
        414, "", "the request line is longer than " + std::to_string(rules.maxLineSize) + " bytes");
  }
  for (const auto& field : head) {
    if (field.name_string().size() + field.value().size() + 4 > rules.maxLineSize) {
      return refused(431, "",
                     "the header line " + std::string(view(field.name_string())) +
                         " is longer than " + std::to_string(rules.maxLineSize) + " bytes");
    }
  }
  if (!rules.user.empty() && !basicCredentialsMatch(view(head[beast_http::field::authorization]),
                                                    rules.user + ":" + rules.password)) {
    RefusedHead refusal = refused(401, "", "authentication required");
    refusal.headers.emplace_back("WWW-Authenticate", "Basic realm=\"kest-server\"");
    return refusal;
  }
  AcceptedHead accepted;
  if (head.method_string() == "M-POST") {
    accepted.extended = true;
    accepted.headerPrefix = extensionPrefix(view(head["Man"]));
    if (accepted.headerPrefix.empty()) {
      return refused(510, "", "an M-POST needs a Man header for " + std::string(kCimMapping));
    }
  } else if (head.method() == beast_http::verb::options) {
    const std::string_view target = view(head.target());
    if (target != "*" && target.substr(0, target.find('?')) != "/cimom") {
      return refused(404, "", "not found: the server's capabilities are asked of /cimom or *");
    }
    return DiscoveryHead{capabilityHeaders()};
  } else if (head.method() != beast_http::verb::post) {
    RefusedHead refusal = refused(405, "", "method not allowed: use POST, M-POST or OPTIONS");
    refusal.headers.emplace_back("Allow", "POST, M-POST, OPTIONS");
    return refusal;
  }
  const std::string_view target = view(head.target());
  if (target.substr(0, target.find('?')) != "/cimom") {
    return refused(404, "", "not found: CIM operations go to /cimom");
  }
  // A multiple request is refused here, before its body is read, when its
  // CIMBatch header announces it; one without the header (or with CIMMethod
  // and CIMObject headers it should not carry) is refused by the parser,
  // which finds MULTIREQ in the body before CimService compares those headers
  // with the request. Either way the client learns that multiple requests are
  // not supported rather than that its headers are wrong.
  if (head.find(accepted.headerPrefix + "CIMBatch") != head.end()) {
    return refused(501, "multiple-requests-unsupported",
                   "multiple requests in one message are not supported");
  }
  const std::string conflict = conflictingHeader(head, accepted.headerPrefix);
  if (!conflict.empty()) {
    return refused(400, "header-mismatch",
                   "the header " + conflict + " is given twice with different values");
  }
  accepted.expectsContinue =
      ascii::equalsIgnoreCase(trimmed(view(head[beast_http::field::expect])), "100-continue");
  return accepted;
}

}  // namespace kest::server::http
