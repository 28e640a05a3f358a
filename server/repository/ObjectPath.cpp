#include "server/repository/ObjectPath.h"

#include <algorithm>
#include <charconv>
#include <string>
#include <system_error>

#include "host/Ascii.h"
#include "host/List.h"
#include "host/NameSpacePath.h"
#include "host/Property.h"
#include "host/Value.h"

namespace kest::repository {

namespace {

bool isNameCharacter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
         static_cast<unsigned char>(c) >= 0x80;
}

std::size_t nameEnd(std::string_view text, std::size_t pos) {
  while (pos < text.size() && isNameCharacter(text[pos])) ++pos;
  return pos;
}

// The end of a namespace ("a/b/c") starting at pos; pos when there is none.
std::size_t nameSpaceEnd(std::string_view text, std::size_t pos) {
  std::size_t end = nameEnd(text, pos);
  while (end > pos && end + 1 < text.size() && text[end] == '/' && isNameCharacter(text[end + 1]))
    end = nameEnd(text, end + 1);
  return end;
}

TOVSmrPtr<ITovaValue> quotedValue(std::string_view text, std::size_t& pos) {
  std::string value;
  for (++pos; pos < text.size() && text[pos] != '"'; ++pos) {
    if (text[pos] == '\\' && pos + 1 < text.size()) ++pos;
    value.push_back(text[pos]);
  }
  if (pos >= text.size()) return TOVSmrPtr<ITovaValue>();
  ++pos;
  return TOVSmrPtr<ITovaValue>(new CTovaValue(TOVString(value)));
}

TOVSmrPtr<ITovaValue> wordValue(std::string_view word) {
  if (word.empty()) return TOVSmrPtr<ITovaValue>();
  if (kest::ascii::equalsIgnoreCase(word, "true"))
    return TOVSmrPtr<ITovaValue>(new CTovaValue(true));
  if (kest::ascii::equalsIgnoreCase(word, "false"))
    return TOVSmrPtr<ITovaValue>(new CTovaValue(false));
  const char* first = word.data();
  const char* last = word.data() + word.size();
  if (word[0] == '-') {
    long long number = 0;
    const auto result = std::from_chars(first, last, number);
    if (result.ec == std::errc() && result.ptr == last)
      return TOVSmrPtr<ITovaValue>(new CTovaValue(number));
  } else {
    unsigned long long number = 0;
    const auto result = std::from_chars(first + (word[0] == '+' ? 1 : 0), last, number);
    if (result.ec == std::errc() && result.ptr == last)
      return TOVSmrPtr<ITovaValue>(new CTovaValue(number));
  }
  double real = 0;
  const auto result = std::from_chars(first + (word[0] == '+' ? 1 : 0), last, real);
  if (result.ec == std::errc() && result.ptr == last)
    return TOVSmrPtr<ITovaValue>(new CTovaValue(real));
  return TOVSmrPtr<ITovaValue>();
}

// A key value at text[pos...]; advances pos past it. Null when malformed.
TOVSmrPtr<ITovaValue> keyValue(std::string_view text, std::size_t& pos) {
  if (pos < text.size() && text[pos] == '"') return quotedValue(text, pos);
  const std::size_t end = std::min(text.find(',', pos), text.size());
  const std::string_view word = text.substr(pos, end - pos);
  pos = end;
  return wordValue(word);
}

}  // namespace

TOVSmrPtr<ITovaInstanceName> parseObjectPath(std::string_view text) {
  const TOVSmrPtr<ITovaInstanceName> invalid;
  std::string_view host;
  std::size_t pos = 0;
  if (text.starts_with("//")) {
    const std::size_t slash = text.find('/', 2);
    if (slash == std::string_view::npos || slash == 2) return invalid;
    host = text.substr(2, slash - 2);
    pos = slash + 1;
  }
  std::string_view nameSpace;
  const std::size_t spaceEnd = nameSpaceEnd(text, pos);
  if (spaceEnd > pos && spaceEnd < text.size() && text[spaceEnd] == ':') {
    nameSpace = text.substr(pos, spaceEnd - pos);
    pos = spaceEnd + 1;
  } else if (!host.empty()) {
    return invalid;
  }
  const std::size_t classEnd = nameEnd(text, pos);
  if (classEnd == pos) return invalid;
  const TOVString className(text.substr(pos, classEnd - pos));
  pos = classEnd;
  TOVPropertyList keys(new TOVValSlist<TOVSmrPtr<ITovaProperty>>());
  if (text.substr(pos) == "=@") {
    pos = text.size();
  } else if (pos < text.size()) {
    if (text[pos] != '.') return invalid;
    do {
      ++pos;
      const std::size_t keyEnd = nameEnd(text, pos);
      if (keyEnd == pos || keyEnd >= text.size() || text[keyEnd] != '=') return invalid;
      const TOVString keyName(text.substr(pos, keyEnd - pos));
      for (unsigned long i = 0; i < keys->entries(); ++i) {
        if (keys->at(i)->getName().compareTo(keyName, 0) == 0) return invalid;
      }
      pos = keyEnd + 1;
      TOVSmrPtr<ITovaValue> value = keyValue(text, pos);
      if (!value) return invalid;
      keys->append(TOVSmrPtr<ITovaProperty>(new CTovaProperty(keyName, value, false)));
    } while (pos < text.size() && text[pos] == ',');
    if (pos != text.size()) return invalid;
  }
  TOVSmrPtr<ITovaNameSpacePath> path;
  if (!host.empty() || !nameSpace.empty()) {
    path = TOVSmrPtr<ITovaNameSpacePath>(
        new CTovaNameSpacePath(TOVString(host), TOVString(nameSpace)));
  }
  return TOVSmrPtr<ITovaInstanceName>(new CTovaInstanceName(className, keys, path));
}

}  // namespace kest::repository
