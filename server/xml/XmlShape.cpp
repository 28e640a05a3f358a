#include "server/xml/XmlShape.h"

#include <optional>
#include <utility>

namespace kest::server::xml {

namespace {

bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

// Ends a name in a tag.
bool endsName(char c) {
  return isSpace(c) || c == '>' || c == '/' || c == '=' || c == '<' || c == '"' || c == '\'';
}

// The scan: a cursor over the text and what it has counted so far. Each
// step either advances past one unit of markup or text, or stops with a
// verdict.
class Scanner {
 public:
  Scanner(std::string_view text, const XmlLimits& limits) : _text(text), _limits(limits) {}

  XmlShape run() {
    if (_text.starts_with("\xEF\xBB\xBF")) _at = 3;
    while (_at < _text.size() && !_shape) {
      if (_text[_at] == '<') {
        markup();
      } else {
        text();
      }
    }
    return _shape ? std::move(*_shape) : XmlShape{XmlShape::Verdict::Within, _at, {}};
  }

 private:
  bool at(std::string_view what) const { return _text.substr(_at).starts_with(what); }

  void stop(XmlShape::Verdict verdict, std::size_t offset, std::string problem = {}) {
    _shape = XmlShape{verdict, offset, std::move(problem)};
  }

  void refuse(std::size_t offset, std::string problem) {
    stop(XmlShape::Verdict::NotWellFormed, offset, std::move(problem));
  }

  void count(std::size_t offset) {
    if (++_nodes > _limits.maxNodes) stop(XmlShape::Verdict::TooManyNodes, offset);
  }

  // Moves past the opener at _at and the first terminator after it;
  // refuses what lacks one.
  void skipPast(std::size_t opener, std::string_view terminator, const char* what) {
    const std::size_t start = _at;
    const std::size_t end = _text.find(terminator, _at + opener);
    if (end == std::string_view::npos) return refuse(start, std::string("unterminated ") + what);
    _at = end + terminator.size();
  }

  // A quoted string at _at.
  void skipQuoted(const char* what) {
    const char quote = _text[_at];
    skipPast(1, std::string_view(&quote, 1), what);
  }

  // Text up to the next '<': outside the root only white space.
  void text() {
    const std::size_t start = _at;
    std::size_t firstNonSpace = std::string_view::npos;
    for (; _at < _text.size() && _text[_at] != '<'; ++_at) {
      if (firstNonSpace == std::string_view::npos && !isSpace(_text[_at])) firstNonSpace = _at;
    }
    const bool space = firstNonSpace == std::string_view::npos;
    if (_depth == 0) {
      if (!space) {
        refuse(firstNonSpace,
               _rootClosed ? "content after the root element" : "text before the root element");
      }
      return;
    }
    if (!space || (_childless && at("</"))) {
      _childless = false;
      count(start);
    }
  }

  void markup() {
    const std::size_t start = _at;
    if (at("<?")) return skipPast(2, "?>", "processing instruction");
    if (at("<!--")) return skipPast(4, "-->", "comment");
    if (at("<![CDATA[")) {
      if (_depth == 0) return refuse(start, "CDATA section outside the root element");
      skipPast(9, "]]>", "CDATA section");
      _childless = false;
      return count(start);
    }
    if (at("<!DOCTYPE")) {
      if (_depth > 0 || _rootSeen) return refuse(start, "document type declaration out of place");
      _at += 9;
      return doctype(start);
    }
    if (at("<!")) return refuse(start, "unknown markup declaration");
    if (at("</")) return endTag(start);
    startTag(start);
  }

  void endTag(std::size_t start) {
    if (_depth == 0) return refuse(start, "end tag without a start tag");
    skipPast(2, ">", "end tag");
    _childless = false;
    if (--_depth == 0) _rootClosed = true;
  }

  void startTag(std::size_t start) {
    ++_at;
    if (_at >= _text.size() || endsName(_text[_at])) return refuse(start, "'<' starts no tag");
    if (_rootClosed) return refuse(start, "content after the root element");
    _rootSeen = true;
    if (_depth + 1 > _limits.maxDepth) return stop(XmlShape::Verdict::TooDeep, start);
    count(start);
    while (_at < _text.size() && !endsName(_text[_at])) ++_at;
    while (!_shape) {
      while (_at < _text.size() && isSpace(_text[_at])) ++_at;
      if (at("/>")) {
        _at += 2;
        _childless = false;
        if (_depth == 0) _rootClosed = true;
        return;
      }
      if (at(">")) {
        ++_at;
        ++_depth;
        _childless = true;
        return;
      }
      attribute(start);
    }
  }

  // name = "value" (or 'value').
  void attribute(std::size_t tag) {
    const std::size_t nameStart = _at;
    while (_at < _text.size() && !endsName(_text[_at])) ++_at;
    if (_at == nameStart) return refuse(tag, "malformed start tag");
    while (_at < _text.size() && isSpace(_text[_at])) ++_at;
    if (!at("=")) return refuse(tag, "malformed start tag");
    ++_at;
    while (_at < _text.size() && isSpace(_text[_at])) ++_at;
    if (!at("\"") && !at("'")) return refuse(tag, "malformed start tag");
    skipQuoted("attribute value");
    if (!_shape) count(nameStart);
  }

  // <!DOCTYPE name external-id [ internal subset ]>: quoted literals,
  // comments, processing instructions and declarations are skipped whole.
  // The internal subset holds nothing else that is markup or quoted: the
  // parser ends the declaration at the first '>' outside them.
  void doctype(std::size_t start) {
    bool subset = false;
    while (!_shape) {
      if (_at >= _text.size()) return refuse(start, "unterminated document type declaration");
      const char c = _text[_at];
      if (subset && at("<!--")) {
        skipPast(4, "-->", "comment");
      } else if (subset && at("<?")) {
        skipPast(2, "?>", "processing instruction");
      } else if (subset && at("<!") && !at("<![")) {
        declaration();
      } else if (subset && c == ']') {
        subset = false;
        ++_at;
      } else if (subset && (c == '<' || c == '>' || c == '"' || c == '\'')) {
        return refuse(_at, "malformed document type declaration");
      } else if (c == '"' || c == '\'') {
        skipQuoted("literal");
      } else if (c == '[') {
        subset = true;
        ++_at;
      } else if (c == '<') {
        return refuse(_at, "malformed document type declaration");
      } else if (c == '>') {
        ++_at;
        return;
      } else {
        ++_at;
      }
    }
  }

  // <!ELEMENT ...>, <!ENTITY ...> and the like in the internal subset.
  void declaration() {
    const std::size_t start = _at;
    _at += 2;
    while (!_shape) {
      if (_at >= _text.size()) return refuse(start, "unterminated markup declaration");
      const char c = _text[_at];
      if (c == '"' || c == '\'') {
        skipQuoted("literal");
      } else if (c == '<') {
        return refuse(_at, "malformed markup declaration");
      } else {
        ++_at;
        if (c == '>') return;
      }
    }
  }

  std::string_view _text;
  const XmlLimits& _limits;
  std::size_t _at = 0;
  std::size_t _depth = 0;
  std::size_t _nodes = 0;
  // The element open at _depth has no node inside it yet.
  bool _childless = false;
  bool _rootSeen = false;
  bool _rootClosed = false;
  std::optional<XmlShape> _shape;
};

}  // namespace

XmlShape checkShape(std::string_view text, const XmlLimits& limits) {
  return Scanner(text, limits).run();
}

}  // namespace kest::server::xml
