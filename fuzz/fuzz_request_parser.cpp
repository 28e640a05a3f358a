// fuzz_request_parser: RequestParser over arbitrary bytes, with the classes of
// the server's test provider (tests/server/data/test.mof) in its catalog.
//
// Aborts when parsing throws anything but RequestRejected (with a status and
// a detail) or std::bad_alloc, or answers with neither a request nor a CIM
// error. Also loads the bytes with small limits (xml::load) and aborts when a
// tree it accepted is deeper or has more nodes than the limits allow, which
// would mean that the pre-scan (server/xml/XmlShape.h) and the tree parser
// read the markup differently.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <pugixml.hpp>
#include <string_view>

#include "host/Log.h"
#include "server/ClassCatalog.h"
#include "server/RequestParser.h"
#include "server/RequestRejected.h"
#include "server/xml/XmlDocument.h"

namespace {

using kest::server::ClassCatalog;
using kest::server::ParsedRequest;
using kest::server::RequestParser;
using kest::server::RequestRejected;
namespace xml = kest::server::xml;

ClassCatalog& catalog() {
  static ClassCatalog* const instance = [] {
    auto* created = new ClassCatalog("root/cimv2");
    created->compileMof({KEST_FUZZ_TEST_MOF});
    TOVLog::setStderrLevel(TOVLog::SEVERITY_ERROR);
    return created;
  }();
  return *instance;
}

void parseRequest(std::string_view body) {
  static const RequestParser parser(catalog(), 32, 20000);
  try {
    const ParsedRequest parsed = parser.parse(body);
    if (parsed.request.has_value() == parsed.error.has_value()) std::abort();
  } catch (const RequestRejected& rejected) {
    if (rejected.detail().empty() || (rejected.httpStatus() != 400 && rejected.httpStatus() != 501))
      std::abort();
  }
}

// The tree of an accepted document is within the limits it was loaded with.
void loadWithinLimits(std::string_view text) {
  const xml::XmlLimits limits{8, 64};
  pugi::xml_document document;
  try {
    xml::load(document, text, limits, "the input");
  } catch (const RequestRejected&) {
    return;
  }
  struct Measure : pugi::xml_tree_walker {
    std::size_t nodes = 0;
    std::size_t deepest = 0;
    bool for_each(pugi::xml_node& node) override {
      nodes += 1 + static_cast<std::size_t>(
                       std::distance(node.attributes().begin(), node.attributes().end()));
      if (node.type() == pugi::node_element)
        deepest = std::max(deepest, static_cast<std::size_t>(depth() + 1));
      return true;
    }
  } measure;
  document.traverse(measure);
  if (measure.nodes > limits.maxNodes || measure.deepest > limits.maxDepth) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  parseRequest(bytes);
  loadWithinLimits(bytes);
  return 0;
}
