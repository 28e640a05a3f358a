#include "bench/load/CimMessages.h"

#include <cstdlib>

namespace kest::load {

namespace {

std::string base64(const std::string& text) {
  static const char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string encoded;
  for (std::size_t i = 0; i < text.size(); i += 3) {
    const std::size_t left = text.size() - i;
    unsigned int group = static_cast<unsigned char>(text[i]) << 16;
    if (left > 1) group |= static_cast<unsigned char>(text[i + 1]) << 8;
    if (left > 2) group |= static_cast<unsigned char>(text[i + 2]);
    encoded += kDigits[(group >> 18) & 63];
    encoded += kDigits[(group >> 12) & 63];
    encoded += left > 1 ? kDigits[(group >> 6) & 63] : '=';
    encoded += left > 2 ? kDigits[group & 63] : '=';
  }
  return encoded;
}

std::string percentEncoded(const std::string& text) {
  static const char kHex[] = "0123456789ABCDEF";
  std::string encoded;
  for (const char c : text) {
    if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
        c == '.' || c == '_' || c == '~' || c == '/') {
      encoded += c;
    } else {
      const auto byte = static_cast<unsigned char>(c);
      encoded += '%';
      encoded += kHex[byte >> 4];
      encoded += kHex[byte & 15];
    }
  }
  return encoded;
}

std::string xmlUnescaped(const std::string& text) {
  static const std::pair<const char*, char> kEntities[] = {
      {"&lt;", '<'}, {"&gt;", '>'}, {"&quot;", '"'}, {"&apos;", '\''}, {"&amp;", '&'}};
  std::string plain;
  for (std::size_t i = 0; i < text.size(); ++i) {
    bool replaced = false;
    if (text[i] == '&') {
      for (const auto& [entity, character] : kEntities) {
        if (text.compare(i, std::char_traits<char>::length(entity), entity) == 0) {
          plain += character;
          i += std::char_traits<char>::length(entity) - 1;
          replaced = true;
          break;
        }
      }
    }
    if (!replaced) plain += text[i];
  }
  return plain;
}

// The value of attribute name in the start tag that begins at tagStart.
std::string attribute(const std::string& xml, std::size_t tagStart, const std::string& name) {
  const std::size_t tagEnd = xml.find('>', tagStart);
  const std::size_t found = xml.find(" " + name + "=\"", tagStart);
  if (found == std::string::npos || found > tagEnd) return std::string();
  const std::size_t valueStart = found + name.size() + 3;
  return xml.substr(valueStart, xml.find('"', valueStart) - valueStart);
}

std::string classNameElement(const std::string& className) {
  return "<CLASSNAME NAME=\"" + className + "\"/>";
}

std::string parameter(const std::string& name, const std::string& content) {
  return "<IPARAMVALUE NAME=\"" + name + "\">" + content + "</IPARAMVALUE>";
}

}  // namespace

std::string InstanceName::objectPath(const std::string& nameSpace) const {
  std::string path = nameSpace + ":" + className;
  char separator = '.';
  for (const auto& [key, value] : keys) {
    path += separator + key + "=\"" + value + "\"";
    separator = ',';
  }
  return path;
}

std::vector<InstanceName> instanceNamesIn(const std::string& body) {
  static const std::string kStart = "<INSTANCENAME ";
  static const std::string kEnd = "</INSTANCENAME>";
  std::vector<InstanceName> names;
  for (std::size_t start = body.find(kStart); start != std::string::npos;
       start = body.find(kStart, start + 1)) {
    const std::size_t end = body.find(kEnd, start);
    if (end == std::string::npos) break;
    InstanceName name;
    name.xml = body.substr(start, end + kEnd.size() - start);
    name.className = attribute(name.xml, 0, "CLASSNAME");
    for (std::size_t key = name.xml.find("<KEYBINDING "); key != std::string::npos;
         key = name.xml.find("<KEYBINDING ", key + 1)) {
      const std::size_t valueStart = name.xml.find('>', name.xml.find("<KEYVALUE", key)) + 1;
      const std::size_t valueEnd = name.xml.find("</KEYVALUE>", valueStart);
      name.keys.emplace_back(attribute(name.xml, key, "NAME"),
                             xmlUnescaped(name.xml.substr(valueStart, valueEnd - valueStart)));
    }
    names.push_back(std::move(name));
  }
  return names;
}

int cimStatusOf(const HttpReply& reply) {
  const std::size_t error = reply.body.find("<ERROR ");
  if (error != std::string::npos) return std::atoi(attribute(reply.body, error, "CODE").c_str());
  const std::string trailer = reply.trailer("cimstatuscode");
  return trailer.empty() ? 0 : std::atoi(trailer.c_str());
}

CimRequests::CimRequests(const Endpoint& endpoint, const std::string& user,
                         const std::string& password, std::string nameSpace)
    : _nameSpace(std::move(nameSpace)) {
  _headerStart = "POST " + endpoint.path + " HTTP/1.1\r\nHost: " + endpoint.host + ":" +
                 std::to_string(endpoint.port) + "\r\n";
  if (!user.empty())
    _headerStart += "Authorization: Basic " + base64(user + ":" + password) + "\r\n";
  _headerStart +=
      "Content-Type: application/xml; charset=\"utf-8\"\r\nCIMProtocolVersion: 1.0\r\n"
      "CIMOperation: MethodCall\r\n";
  _nameSpacePath = "<LOCALNAMESPACEPATH>";
  std::size_t start = 0;
  while (start <= _nameSpace.size()) {
    std::size_t slash = _nameSpace.find('/', start);
    if (slash == std::string::npos) slash = _nameSpace.size();
    _nameSpacePath += "<NAMESPACE NAME=\"" + _nameSpace.substr(start, slash - start) + "\"/>";
    start = slash + 1;
  }
  _nameSpacePath += "</LOCALNAMESPACEPATH>";
}

std::string CimRequests::enumerateClassNames() const {
  return intrinsic("EnumerateClassNames", parameter("DeepInheritance", "<VALUE>TRUE</VALUE>"));
}

std::string CimRequests::enumerateInstanceNames(const std::string& className) const {
  return intrinsic("EnumerateInstanceNames", parameter("ClassName", classNameElement(className)));
}

std::string CimRequests::enumerateInstances(const std::string& className) const {
  return intrinsic("EnumerateInstances", parameter("ClassName", classNameElement(className)));
}

std::string CimRequests::getInstance(const InstanceName& name) const {
  return intrinsic("GetInstance", parameter("InstanceName", name.xml));
}

std::string CimRequests::associators(const InstanceName& name, const std::string& assocClass,
                                     const std::string& resultClass) const {
  return intrinsic("Associators", parameter("ObjectName", name.xml) +
                                      parameter("AssocClass", classNameElement(assocClass)) +
                                      parameter("ResultClass", classNameElement(resultClass)));
}

std::string CimRequests::invokeMethod(const InstanceName& name, const std::string& method) const {
  return post(method, name.objectPath(_nameSpace),
              "<METHODCALL NAME=\"" + method + "\"><LOCALINSTANCEPATH>" + _nameSpacePath +
                  name.xml + "</LOCALINSTANCEPATH></METHODCALL>");
}

std::string CimRequests::intrinsic(const std::string& method, const std::string& parameters) const {
  return post(
      method, _nameSpace,
      "<IMETHODCALL NAME=\"" + method + "\">" + _nameSpacePath + parameters + "</IMETHODCALL>");
}

std::string CimRequests::post(const std::string& method, const std::string& object,
                              const std::string& call) const {
  const std::string body =
      "<?xml version=\"1.0\" encoding=\"utf-8\" ?>\n<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\">"
      "<MESSAGE ID=\"1\" PROTOCOLVERSION=\"1.0\"><SIMPLEREQ>" +
      call + "</SIMPLEREQ></MESSAGE></CIM>";
  return _headerStart + "CIMMethod: " + method + "\r\nCIMObject: " + percentEncoded(object) +
         "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

}  // namespace kest::load
