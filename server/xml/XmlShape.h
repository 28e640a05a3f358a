#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// A streaming scan of an XML document's markup that bounds what parsing it
// into a tree would build, before anything is built: its element nesting and
// its number of nodes. It also refuses content after the root element, which
// the tree parser would accept.
//
// Stateless; any thread; throws only std::bad_alloc.
namespace kest::server::xml {

// The most a document may hold. A node is what the tree parser allocates
// one record for: an element, an attribute, a run of text it keeps (text
// that is not only white space, or white space that is an element's only
// content), a CDATA section. Each costs at most 64 bytes of tree, so a
// document's tree stays below 64 * maxNodes bytes besides the parser's copy
// of the text.
struct XmlLimits {
  std::size_t maxDepth = 64;
  std::size_t maxNodes = 500000;
};

// What checkShape found.
struct XmlShape {
  enum class Verdict {
    Within,        // within the limits; the parser judges the rest
    TooDeep,       // elements nest deeper than maxDepth
    TooManyNodes,  // more than maxNodes nodes
    NotWellFormed  // markup the scan cannot read, or content after the root
  };
  Verdict verdict = Verdict::Within;
  // The byte the scan stopped at (for NotWellFormed, where the problem is).
  std::size_t offset = 0;
  // For NotWellFormed: what is wrong ("content after the root element", ...).
  std::string problem;
};

// Scans text (UTF-8, possibly with a byte order mark) and stops at the first
// limit passed or the first markup it refuses. Comments, processing
// instructions, CDATA sections, the document type declaration and quoted
// attribute values are skipped as units, so a '<' or '>' inside them is not
// markup. After the root element only white space, comments and processing
// instructions may follow; before it, also the XML and document type
// declarations. A document that ends early, or whose tags do not match, is
// left to the parser to refuse (Within, as far as it goes).
XmlShape checkShape(std::string_view text, const XmlLimits& limits);

}  // namespace kest::server::xml
