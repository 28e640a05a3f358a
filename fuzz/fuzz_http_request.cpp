// Fuzzes what the HTTP front end does with the bytes of a request before a
// worker sees it: Boost.Beast's request parser under the front end's limits,
// then the checks of the request head (server/http/RequestHead.h).

#include <boost/beast/core/error.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/string_body.hpp>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <variant>

#include "server/http/RequestHead.h"

namespace {

namespace bhttp = boost::beast::http;

kest::server::http::HeadRules rules() {
  kest::server::http::HeadRules rules;
  rules.maxLineSize = 1024;
  rules.user = "admin";
  rules.password = "secret";
  return rules;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const kest::server::http::HeadRules kRules = rules();
  bhttp::request_parser<bhttp::string_body> parser;
  parser.header_limit(4096);
  parser.body_limit(64 * 1024);
  parser.eager(true);
  boost::beast::error_code ec;
  std::size_t offset = 0;
  while (offset < size && !ec) {
    const std::size_t used = parser.put(boost::asio::buffer(data + offset, size - offset), ec);
    if (used == 0) break;
    offset += used;
    if (parser.is_done()) break;
  }
  if (!ec && size > 0 && !parser.is_done()) parser.put_eof(ec);
  if (parser.is_header_done()) {
    const auto verdict = kest::server::http::checkRequestHead(parser.get().base(), kRules);
    if (const auto* refused = std::get_if<kest::server::http::RefusedHead>(&verdict)) {
      if (refused->status < 400 || refused->status > 599 || refused->detail.empty()) std::abort();
    }
  }
  return 0;
}
