#include "host/InstanceName.h"

#include <algorithm>
#include <charconv>
#include <string>
#include <string_view>
#include <vector>

#include "host/Ascii.h"
#include "host/Object.h"
#include "host/Value.h"

namespace {

void appendLowered(std::string& out, std::string_view text) {
  for (char c : text) out.push_back(kest::ascii::toLower(c));
}

// Appends text in double quotes, with backslash and double quote escaped by a
// backslash.
void appendQuoted(std::string& out, std::string_view text) {
  out.push_back('"');
  for (char c : text) {
    if (c == '\\' || c == '"') out.push_back('\\');
    out.push_back(c);
  }
  out.push_back('"');
}

template <typename T>
void appendNumber(std::string& out, T number) {
  char buffer[64];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, number);
  out.append(buffer, result.ptr);
}

void appendValue(std::string& out, const TOVSmrPtr<ITovaValue>& value);

void appendNameText(std::string& out, const TOVSmrPtr<ITovaInstanceName>& name) {
  if (!name) {
    out.append("NULL");
    return;
  }
  appendQuoted(out, name->toString().view());
}

// One key value in canonical form. The value is read only through the
// ITovaValue interface, so values of any implementation give the same text.
void appendValue(std::string& out, const TOVSmrPtr<ITovaValue>& value) {
  if (!value || value->isNullValue()) {
    out.append("NULL");
    return;
  }
  const TOVSmrPtr<ITovaType> type = value->getType();
  if (!type) {
    appendQuoted(out, value->getAsString().view());
    return;
  }
  if (type->isArray()) {
    // Keys are scalars in CIM; an array key still gets a stable text: its
    // elements in order, in braces.
    out.push_back('{');
    const auto elements = value->getArray();
    bool first = true;
    if (elements) {
      for (const auto& element : *elements) {
        if (!first) out.push_back(',');
        first = false;
        appendValue(out, element);
      }
    }
    out.push_back('}');
    return;
  }
  if (type->isReference()) {
    appendNameText(out, value->getReference());
    return;
  }
  if (type->isObject()) {
    const TOVSmrPtr<ITovaObject> object = value->getObject();
    appendNameText(out, object ? object->getInstanceName() : TOVSmrPtr<ITovaInstanceName>());
    return;
  }
  switch (CTovaType::codeOf(*type)) {
    case CimTypeCode::Boolean:
      out.append(value->getAsBool() ? "true" : "false");
      break;
    case CimTypeCode::UInt8:
    case CimTypeCode::UInt16:
    case CimTypeCode::UInt32:
    case CimTypeCode::UInt64:
      appendNumber(out, value->getAsUInt64());
      break;
    case CimTypeCode::SInt8:
    case CimTypeCode::SInt16:
    case CimTypeCode::SInt32:
      appendNumber(out, value->getAsInt());
      break;
    case CimTypeCode::SInt64: {
      // The interface reads signed values only up to 32 bits; sint64 goes
      // through its text, normalised when it is a plain decimal.
      const TOVString text = value->getAsString();
      long long number = 0;
      const char* begin = text.c_str();
      const char* end = begin + text.length();
      const auto result = std::from_chars(begin, end, number);
      if (result.ec == std::errc() && result.ptr == end) {
        appendNumber(out, number);
      } else {
        out.append(text.view());
      }
      break;
    }
    case CimTypeCode::Real32:
      appendNumber(out, static_cast<float>(value->getAsDouble()));
      break;
    case CimTypeCode::Real64:
      appendNumber(out, value->getAsDouble());
      break;
    default:
      // string, char16, datetime, and types this host does not know
      appendQuoted(out, value->getAsString().view());
      break;
  }
}

struct KeyEntry {
  std::string loweredName;
  TOVSmrPtr<ITovaProperty> property;
};

// Appends the key part (without the leading ".") of name.
void appendKeys(std::string& out, const ITovaInstanceName& name) {
  const unsigned long count = name.getNumberOfKeyProperties();
  std::vector<KeyEntry> keys;
  keys.reserve(count);
  for (unsigned long i = 0; i < count; ++i) {
    TOVSmrPtr<ITovaProperty> property = name.getKeyPropertyAt(i);
    if (!property) continue;
    KeyEntry entry;
    appendLowered(entry.loweredName, property->getName().view());
    entry.property = std::move(property);
    keys.push_back(std::move(entry));
  }
  std::stable_sort(keys.begin(), keys.end(), [](const KeyEntry& a, const KeyEntry& b) {
    return a.loweredName < b.loweredName;
  });
  bool first = true;
  for (const KeyEntry& key : keys) {
    if (!first) out.push_back(',');
    first = false;
    out.append(key.loweredName);
    out.push_back('=');
    appendValue(out, key.property->getValue());
  }
}

}  // namespace

// ---------------------------------------------------------------------------
// ITovaInstanceName defaults

TOVString ITovaInstanceName::buildCanonicalText() const {
  std::string text;
  text.reserve(64);
  appendLowered(text, getClassname().view());
  if (getNumberOfKeyProperties() != 0) {
    text.push_back('.');
    appendKeys(text, *this);
  }
  return TOVString(text);
}

TOVString ITovaInstanceName::toString() const { return buildCanonicalText(); }

TOVString ITovaInstanceName::toKeyString() const {
  // The canonical text is the lower-cased class name (same length as the
  // class name), then "." and the keys when there are any.
  const TOVString text = toString();
  const std::size_t classLength = getClassname().length();
  if (text.length() <= classLength + 1) return TOVString("");
  return TOVString(text.view().substr(classLength + 1));
}

TOVString ITovaInstanceName::toFullPathString() const {
  const TOVSmrPtr<ITovaNameSpacePath> path = getNameSpacePath();
  TOVString host;
  TOVString nameSpace;
  if (path) {
    host = path->getHost();
    nameSpace = path->getNameSpace();
  }
  if (host.isNull() && nameSpace.isNull()) return toString();
  const TOVString text = toString();
  std::string full;
  full.reserve(host.length() + nameSpace.length() + text.length() + 4);
  if (!host.isNull()) {
    full.append("//");
    full.append(host.view());
    full.push_back('/');
  }
  if (!nameSpace.isNull()) {
    full.append(nameSpace.view());
    full.push_back(':');
  }
  full.append(text.view());
  return TOVString(full);
}

bool ITovaInstanceName::isClass() const { return false; }

bool ITovaInstanceName::operator==(const ITovaInstanceName& other) const {
  if (this == &other) return true;
  if (const TOVString* mine = keptCanonicalText()) return other.hasCanonicalText(*mine);
  return other.hasCanonicalText(toString());
}

bool ITovaInstanceName::hasCanonicalText(const TOVString& text) const {
  if (const TOVString* mine = keptCanonicalText()) return *mine == text;
  return toString() == text;
}

const TOVString* ITovaInstanceName::keptCanonicalText() const { return nullptr; }

// ---------------------------------------------------------------------------
// CTovaInstanceName

CTovaInstanceName::CTovaInstanceName(const TOVString& className, const TOVPropertyList& keys,
                                     const TOVSmrPtr<ITovaNameSpacePath>& path)
    : _className(className),
      _path(path),
      _keys(keys ? keys : TOVPropertyList(new TOVValSlist<TOVSmrPtr<ITovaProperty>>())),
      _text(buildCanonicalText()) {}

namespace {

TOVPropertyList copyKeys(const ITovaInstanceName& source) {
  const unsigned long count = source.getNumberOfKeyProperties();
  TOVPropertyList keys(new TOVValSlist<TOVSmrPtr<ITovaProperty>>());
  keys->reserve(count);
  for (unsigned long i = 0; i < count; ++i) {
    const TOVSmrPtr<ITovaProperty> key = source.getKeyPropertyAt(i);
    if (!key) continue;
    const TOVSmrPtr<ITovaValue> value = key->getValue();
    keys->append(TOVSmrPtr<ITovaProperty>(
        new CTovaProperty(key->getName(), key->getType(),
                          value ? CTovaValue::deepCopy(*value) : value, key->isPropagated())));
  }
  return keys;
}

TOVSmrPtr<ITovaNameSpacePath> copyPath(const TOVSmrPtr<ITovaNameSpacePath>& path) {
  if (!path) return path;
  return TOVSmrPtr<ITovaNameSpacePath>(
      new CTovaNameSpacePath(path->getHost(), path->getNameSpace()));
}

}  // namespace

CTovaInstanceName::CTovaInstanceName(const ITovaInstanceName& source)
    : CTovaInstanceName(source.getClassname(), copyKeys(source),
                        copyPath(source.getNameSpacePath())) {}

TOVString CTovaInstanceName::getClassname() const { return _className; }

TOVSmrPtr<ITovaNameSpacePath> CTovaInstanceName::getNameSpacePath() const { return _path; }

unsigned long CTovaInstanceName::getNumberOfKeyProperties() const { return _keys->entries(); }

TOVSmrPtr<ITovaProperty> CTovaInstanceName::getKeyPropertyAt(unsigned long index) const {
  if (index >= _keys->entries()) return TOVSmrPtr<ITovaProperty>();
  return _keys->at(index);
}

TOVString CTovaInstanceName::toString() const { return _text; }

const TOVString* CTovaInstanceName::keptCanonicalText() const { return &_text; }

TOVPropertyList CTovaInstanceName::getKeyProperties() const { return _keys; }

void CTovaInstanceName::setNameSpacePath(const TOVSmrPtr<ITovaNameSpacePath>& path) {
  _path = path;
}
