// fuzz_request_path: the whole path of a request through the server below
// HTTP: CimService::handle with the request parser, the dispatcher and the
// server's test provider (tests/server/providers, loaded into this process),
// the classes of tests/server/data/test.mof in the catalog.
//
// Input: the first line holds the CIMMethod and CIMObject header values,
// separated by one space (as sent: percent-encoded); a line without a space
// sends no CIMObject header. The rest is the body. CIMOperation is always
// MethodCall and CIMProtocolVersion 1.0, which only the header checks read.
//
// Aborts when handle() or writing the response throws, when a 200 response's
// body is not well-formed UTF-8 or not well-formed XML, and when another
// status comes without a detail.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <pugixml.hpp>
#include <string>
#include <string_view>

#include "host/Log.h"
#include "host/Utf8.h"
#include "server/CimService.h"
#include "server/ClassCatalog.h"
#include "server/Dispatcher.h"
#include "server/ProviderSet.h"
#include "server/RequestParser.h"

namespace {

using kest::server::CimHttpRequest;
using kest::server::CimResponse;
using kest::server::CimService;
using kest::server::ClassCatalog;
using kest::server::Dispatcher;
using kest::server::ProviderSet;
using kest::server::ProviderSpec;
using kest::server::RequestParser;
using kest::server::StringBody;

// The service, as the server puts it together; started once, never stopped
// (libFuzzer ends the process).
struct Service {
  Service()
      : catalog("root/cimv2"),
        parser(catalog, 32, 20000),
        dispatcher(providers, catalog, {"root/cimv2", "root/interop"}),
        service(parser, dispatcher) {
    TOVLog::setStderrLevel(TOVLog::SEVERITY_ERROR);
    catalog.compileMof({KEST_FUZZ_TEST_MOF});
    providers.start({ProviderSpec{KEST_FUZZ_TEST_PROVIDER, "root/cimv2"}}, catalog.repository(),
                    "", catalog);
  }
  ClassCatalog catalog;
  ProviderSet providers;
  RequestParser parser;
  Dispatcher dispatcher;
  CimService service;
};

const CimService& service() {
  static Service* const instance = new Service();
  return instance->service;
}

bool wellFormedXml(const std::string& text) {
  pugi::xml_document document;
  return document.load_buffer(text.data(), text.size(), pugi::parse_default,
                              pugi::encoding_utf8) &&
         document.document_element();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  const std::size_t lineEnd = input.find('\n');
  if (lineEnd == std::string_view::npos) return 0;
  const std::string_view headers = input.substr(0, lineEnd);
  const std::size_t space = headers.find(' ');
  const std::string method(headers.substr(0, space));
  const std::optional<std::string> object =
      space == std::string_view::npos ? std::nullopt
                                      : std::optional<std::string>(headers.substr(space + 1));

  CimHttpRequest request;
  request.header = [&](const char* name) -> std::optional<std::string> {
    const std::string_view header(name);
    if (header == "CIMOperation") return "MethodCall";
    if (header == "CIMProtocolVersion") return "1.0";
    if (header == "CIMMethod") return method;
    if (header == "CIMObject") return object;
    return std::nullopt;
  };
  request.body = input.substr(lineEnd + 1);
  request.host = "fuzz.example";

  const CimResponse response = service().handle(request);
  if (response.httpStatus != 200) {
    if (response.detail.empty()) std::abort();
    return 0;
  }
  if (!response.writeBody) std::abort();
  StringBody body;
  response.writeBody(body);
  if (!kest::isValidUtf8(body.text()) || !wellFormedXml(body.text())) std::abort();
  return 0;
}
