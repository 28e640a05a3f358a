#include "server/CimXmlWriter.h"

#include <cmath>

#include "host/CimType.h"
#include "host/List.h"
#include "host/NameSpacePath.h"
#include "host/Utf8.h"
#include "server/CimError.h"
#include "server/Logging.h"

namespace kest::server {

ResponseBody::~ResponseBody() = default;

bool StringBody::write(std::string_view bytes) {
  _text.append(bytes);
  return true;
}

const char* ClientGone::what() const noexcept { return "the client closed the connection"; }

PropertySelection::~PropertySelection() = default;

TOVString PropertySelection::classOrigin(const TOVString& /*className*/,
                                         const TOVString& /*propertyName*/) const {
  return TOVString();
}

bool AllProperties::includes(const TOVString& /*className*/,
                             const TOVString& /*propertyName*/) const {
  return true;
}

namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";  // U+FFFD

// Length of the well-formed UTF-8 sequence at in[at] that XML 1.0 allows
// (every one but the noncharacters U+FFFE and U+FFFF), or 0.
std::size_t allowedUtf8Length(std::string_view in, std::size_t at) {
  const std::size_t length = kest::utf8SequenceLength(in, at);
  if (length == 3 && in.substr(at, 2) == "\xEF\xBF" &&
      (in[at + 2] == '\xBE' || in[at + 2] == '\xBF')) {
    return 0;
  }
  return length;
}

void appendEscaped(std::string& out, std::string_view in, bool attribute) {
  const auto* s = reinterpret_cast<const unsigned char*>(in.data());
  const std::size_t n = in.size();
  std::size_t runStart = 0;
  std::size_t i = 0;
  while (i < n) {
    const unsigned char c = s[i];
    if (c >= 0x20 && c < 0x80 && c != '&' && c != '<' && c != '>' && c != '"') {
      ++i;
      continue;
    }
    out.append(in.data() + runStart, i - runStart);
    if (c >= 0x80) {
      const std::size_t length = allowedUtf8Length(in, i);
      if (length > 0) {
        out.append(in.data() + i, length);
        i += length;
      } else {
        out.append(kReplacement);
        ++i;
      }
    } else {
      switch (c) {
        case '&':
          out.append("&amp;");
          break;
        case '<':
          out.append("&lt;");
          break;
        case '>':
          out.append("&gt;");
          break;
        case '"':
          out.append("&quot;");
          break;
        case '\t':
          out.append(attribute ? "&#9;" : "\t");
          break;
        case '\n':
          out.append(attribute ? "&#10;" : "\n");
          break;
        case '\r':
          out.append(attribute ? "&#13;" : "\r");
          break;
        default:
          out.append(kReplacement);
          break;
      }
      ++i;
    }
    runStart = i;
  }
  out.append(in.data() + runStart, n - runStart);
}

// The TYPE a DTD attribute takes for a CIM type: embedded objects travel as
// strings.
const char* dtdTypeName(CimTypeCode code) {
  return code == CimTypeCode::Object ? "string" : CTovaType::codeName(code);
}

bool isNumeric(CimTypeCode code) {
  switch (code) {
    case CimTypeCode::UInt8:
    case CimTypeCode::SInt8:
    case CimTypeCode::UInt16:
    case CimTypeCode::SInt16:
    case CimTypeCode::UInt32:
    case CimTypeCode::SInt32:
    case CimTypeCode::UInt64:
    case CimTypeCode::SInt64:
    case CimTypeCode::Real32:
    case CimTypeCode::Real64:
      return true;
    default:
      return false;
  }
}

bool isNull(const TOVSmrPtr<ITovaValue>& value) { return !value || value->isNullValue(); }

void logLeftOut(const TOVString& what) {
  static const ServerLog log("kest::server::CimXmlWriter");
  log.warning(what);
}

}  // namespace

CimXmlWriter::CimXmlWriter(ResponseBody& body, const TOVString& host, const TOVString& nameSpace,
                           std::size_t flushThreshold)
    : _body(body), _host(host), _nameSpace(nameSpace), _flushThreshold(flushThreshold) {
  _buffer.reserve(flushThreshold + flushThreshold / 4);
}

void CimXmlWriter::open(const char* element) {
  _buffer += '<';
  _buffer += element;
  _open.push_back(element);
}

void CimXmlWriter::end() {
  const char* element = _open.back();
  _open.pop_back();
  _buffer += "</";
  _buffer += element;
  _buffer += '>';
}

void CimXmlWriter::endTo(std::size_t depth) {
  while (_open.size() > depth) end();
}

void CimXmlWriter::attribute(const char* name, std::string_view value) {
  _buffer += ' ';
  _buffer += name;
  _buffer += "=\"";
  appendEscaped(_buffer, value, true);
  _buffer += '"';
}

void CimXmlWriter::text(std::string_view value) { appendEscaped(_buffer, value, false); }

void CimXmlWriter::beginMessage(std::string_view messageId) {
  _buffer += "<?xml version=\"1.0\" encoding=\"utf-8\" ?>\n";
  open("CIM");
  attribute("CIMVERSION", "2.0");
  attribute("DTDVERSION", "2.0");
  _buffer += '>';
  open("MESSAGE");
  attribute("ID", messageId);
  attribute("PROTOCOLVERSION", kCimProtocolVersion);
  _buffer += '>';
  open("SIMPLERSP");
  _buffer += '>';
}

void CimXmlWriter::beginIMethodResponse(std::string_view methodName) {
  open("IMETHODRESPONSE");
  attribute("NAME", methodName);
  _buffer += '>';
}

void CimXmlWriter::beginMethodResponse(std::string_view methodName) {
  open("METHODRESPONSE");
  attribute("NAME", methodName);
  _buffer += '>';
}

void CimXmlWriter::beginIReturnValue() {
  open("IRETURNVALUE");
  _buffer += '>';
}

void CimXmlWriter::error(int code, std::string_view description) {
  _buffer += "<ERROR";
  attribute("CODE", std::to_string(code));
  attribute("DESCRIPTION", description);
  _buffer += "/>";
}

void CimXmlWriter::className(const TOVString& name) {
  _buffer += "<CLASSNAME";
  attribute("NAME", name.view());
  _buffer += "/>";
}

void CimXmlWriter::typeAttributes(const kest::repository::DataType& type) {
  if (type.isArray && type.arraySize > 0) attribute("ARRAYSIZE", std::to_string(type.arraySize));
}

void CimXmlWriter::compiledQualifiers(const kest::repository::QualifierList& qualifiers) {
  for (const kest::repository::Qualifier& qualifier : qualifiers.items()) {
    open("QUALIFIER");
    attribute("NAME", qualifier.name.view());
    attribute("TYPE", dtdTypeName(qualifier.type.code));
    if (qualifier.propagated) attribute("PROPAGATED", "true");
    if (!qualifier.flavor.overridable) attribute("OVERRIDABLE", "false");
    if (!qualifier.flavor.toSubclass) attribute("TOSUBCLASS", "false");
    if (qualifier.flavor.translatable) attribute("TRANSLATABLE", "true");
    _buffer += '>';
    if (qualifier.value) value(*qualifier.value);
    end();
  }
}

void CimXmlWriter::compiledProperty(const kest::repository::Property& property) {
  const kest::repository::DataType& type = property.type;
  if (type.code == CimTypeCode::Reference) {
    open("PROPERTY.REFERENCE");
    attribute("NAME", property.name.view());
    if (!type.referenceClass.isNull()) attribute("REFERENCECLASS", type.referenceClass.view());
  } else if (type.isArray) {
    open("PROPERTY.ARRAY");
    attribute("NAME", property.name.view());
    attribute("TYPE", dtdTypeName(type.code));
    typeAttributes(type);
  } else {
    open("PROPERTY");
    attribute("NAME", property.name.view());
    attribute("TYPE", dtdTypeName(type.code));
  }
  if (!property.classOrigin.isNull()) attribute("CLASSORIGIN", property.classOrigin.view());
  if (property.propagated) attribute("PROPAGATED", "true");
  if (!type.isArray && type.code != CimTypeCode::Reference) {
    if (property.embedded == kest::repository::EmbeddedKind::Instance) {
      attribute("EmbeddedObject", "instance");
    } else if (property.embedded == kest::repository::EmbeddedKind::Object ||
               type.code == CimTypeCode::Object) {
      attribute("EmbeddedObject", "object");
    }
  }
  _buffer += '>';
  compiledQualifiers(property.qualifiers);
  if (property.defaultValue) value(*property.defaultValue);
  end();
}

void CimXmlWriter::compiledParameter(const kest::repository::Parameter& parameter) {
  const kest::repository::DataType& type = parameter.type;
  if (type.code == CimTypeCode::Reference) {
    open(type.isArray ? "PARAMETER.REFARRAY" : "PARAMETER.REFERENCE");
    attribute("NAME", parameter.name.view());
    if (!type.referenceClass.isNull()) attribute("REFERENCECLASS", type.referenceClass.view());
  } else {
    open(type.isArray ? "PARAMETER.ARRAY" : "PARAMETER");
    attribute("NAME", parameter.name.view());
    attribute("TYPE", dtdTypeName(type.code));
  }
  typeAttributes(type);
  _buffer += '>';
  compiledQualifiers(parameter.qualifiers);
  end();
}

void CimXmlWriter::classDefinition(const kest::repository::ClassDefinition& cls) {
  open("CLASS");
  attribute("NAME", cls.name.view());
  if (!cls.superClassName.isNull()) attribute("SUPERCLASS", cls.superClassName.view());
  _buffer += '>';
  compiledQualifiers(cls.qualifiers);
  for (const kest::repository::Property& property : cls.properties) compiledProperty(property);
  for (const kest::repository::Method& method : cls.methods) {
    open("METHOD");
    attribute("NAME", method.name.view());
    attribute("TYPE", dtdTypeName(method.returnType.code));
    if (!method.classOrigin.isNull()) attribute("CLASSORIGIN", method.classOrigin.view());
    if (method.propagated) attribute("PROPAGATED", "true");
    _buffer += '>';
    compiledQualifiers(method.qualifiers);
    for (const kest::repository::Parameter& parameter : method.parameters) {
      compiledParameter(parameter);
    }
    end();
  }
  end();
}

void CimXmlWriter::instance(const ITovaObject& object, const PropertySelection& selection) {
  const TOVString& cls = object.getClassName();
  open("INSTANCE");
  attribute("CLASSNAME", cls.view());
  _buffer += '>';
  const unsigned long count = object.getNumberOfProperties(true);
  for (unsigned long i = 0; i < count; ++i) {
    const TOVSmrPtr<ITovaProperty> property = object.getPropertyAt(i, true);
    if (!property) continue;
    const TOVString name = property->getName();
    if (!selection.includes(cls, name)) continue;
    this->property(*property, selection.classOrigin(cls, name));
  }
  end();
}

void CimXmlWriter::property(const ITovaProperty& property, const TOVString& classOrigin) {
  TOVSmrPtr<ITovaType> type = property.getType();
  const TOVSmrPtr<ITovaValue> value = property.getValue();
  if (!type && value) type = value->getType();
  const bool null = isNull(value);
  const TOVString name = property.getName();

  if (type && type->isReference()) {
    open("PROPERTY.REFERENCE");
    attribute("NAME", name.view());
    if (!type->getName().isNull()) attribute("REFERENCECLASS", type->getName().view());
    if (!classOrigin.isNull()) attribute("CLASSORIGIN", classOrigin.view());
    _buffer += '>';
    if (!null) referenceValue(value->getReference().get());
    end();
    return;
  }
  const CimTypeCode code = type ? CTovaType::codeOf(*type) : CimTypeCode::String;
  if (type && type->isArray()) {
    if (code == CimTypeCode::Reference) {
      logLeftOut("Property " + name +
                 " is an array of references, which an instance cannot carry;"
                 " it is left out");
      return;
    }
    open("PROPERTY.ARRAY");
    attribute("NAME", name.view());
    attribute("TYPE", dtdTypeName(code));
    if (!classOrigin.isNull()) attribute("CLASSORIGIN", classOrigin.view());
    _buffer += '>';
    if (!null) this->value(*value);
    end();
    return;
  }
  open("PROPERTY");
  attribute("NAME", name.view());
  attribute("TYPE", dtdTypeName(code));
  if (!classOrigin.isNull()) attribute("CLASSORIGIN", classOrigin.view());
  if (code == CimTypeCode::Object) attribute("EmbeddedObject", "instance");
  _buffer += '>';
  if (!null) this->value(*value);
  end();
}

void CimXmlWriter::namedInstance(const ITovaObject& object, const PropertySelection& selection) {
  open("VALUE.NAMEDINSTANCE");
  _buffer += '>';
  instanceName(*object.getInstanceName());
  instance(object, selection);
  end();
}

void CimXmlWriter::objectWithPath(const ITovaObject& object, const PropertySelection& selection) {
  open("VALUE.OBJECTWITHPATH");
  _buffer += '>';
  instancePath(*object.getInstanceName());
  instance(object, selection);
  end();
}

void CimXmlWriter::keyBindings(const ITovaInstanceName& name) {
  const unsigned long count = name.getNumberOfKeyProperties();
  for (unsigned long i = 0; i < count; ++i) {
    const TOVSmrPtr<ITovaProperty> key = name.getKeyPropertyAt(i);
    if (!key) continue;
    open("KEYBINDING");
    attribute("NAME", key->getName().view());
    _buffer += '>';
    const TOVSmrPtr<ITovaValue> value = key->getValue();
    TOVSmrPtr<ITovaType> type = key->getType();
    if (!type && value) type = value->getType();
    if (type && type->isReference() && !isNull(value) && value->getReference()) {
      referenceValue(value->getReference().get());
    } else {
      CimTypeCode code = type ? CTovaType::codeOf(*type) : CimTypeCode::String;
      if (code == CimTypeCode::Reference || code == CimTypeCode::Object ||
          (type && type->isArray())) {
        code = CimTypeCode::String;
      }
      open("KEYVALUE");
      attribute("VALUETYPE", code == CimTypeCode::Boolean ? "boolean"
                             : isNumeric(code)            ? "numeric"
                                                          : "string");
      attribute("TYPE", dtdTypeName(code));
      _buffer += '>';
      if (!isNull(value)) {
        if (code == CimTypeCode::Boolean) {
          _buffer += value->getAsBool() ? "true" : "false";
        } else if (type && type->isAtomic()) {
          scalarValue(*value, *type);
        } else {
          text(value->toString().view());
        }
      }
      end();
    }
    end();
  }
}

void CimXmlWriter::instanceName(const ITovaInstanceName& name) {
  open("INSTANCENAME");
  attribute("CLASSNAME", name.getClassname().view());
  _buffer += '>';
  keyBindings(name);
  end();
}

TOVString CimXmlWriter::nameSpaceOf(const ITovaInstanceName& name) const {
  const TOVSmrPtr<ITovaNameSpacePath> path = name.getNameSpacePath();
  if (path && !path->getNameSpace().isNull()) return path->getNameSpace();
  return _nameSpace;
}

TOVString CimXmlWriter::hostOf(const ITovaInstanceName& name) const {
  const TOVSmrPtr<ITovaNameSpacePath> path = name.getNameSpacePath();
  if (path && !path->getHost().isNull()) return path->getHost();
  return _host;
}

void CimXmlWriter::localNameSpacePath(std::string_view nameSpace) {
  open("LOCALNAMESPACEPATH");
  _buffer += '>';
  bool any = false;
  std::size_t start = 0;
  while (start <= nameSpace.size()) {
    std::size_t slash = nameSpace.find('/', start);
    if (slash == std::string_view::npos) slash = nameSpace.size();
    if (slash > start) {
      _buffer += "<NAMESPACE";
      attribute("NAME", nameSpace.substr(start, slash - start));
      _buffer += "/>";
      any = true;
    }
    start = slash + 1;
  }
  if (!any) {
    _buffer += "<NAMESPACE";
    attribute("NAME", _nameSpace.view());
    _buffer += "/>";
  }
  end();
}

void CimXmlWriter::instancePath(const ITovaInstanceName& name) {
  open("INSTANCEPATH");
  _buffer += '>';
  open("NAMESPACEPATH");
  _buffer += '>';
  open("HOST");
  _buffer += '>';
  text(hostOf(name).view());
  end();
  localNameSpacePath(nameSpaceOf(name).view());
  end();
  instanceName(name);
  end();
}

void CimXmlWriter::objectPath(const ITovaInstanceName& name) {
  open("OBJECTPATH");
  _buffer += '>';
  instancePath(name);
  end();
}

void CimXmlWriter::referenceValue(const ITovaInstanceName* name) {
  open("VALUE.REFERENCE");
  _buffer += '>';
  instancePath(*name);
  end();
}

void CimXmlWriter::embeddedInstanceText(const ITovaObject& object) {
  if (_embeddingDepth >= kMaxEmbeddingDepth) {
    throw CimError(CIM_ERR_FAILED, "embedded objects nest more than " +
                                       std::to_string(kMaxEmbeddingDepth) + " levels deep");
  }
  // The INSTANCE element is written into a scratch buffer, then escaped as
  // the text of the enclosing VALUE.
  std::string outer;
  outer.swap(_buffer);
  const std::size_t openBefore = _open.size();
  ++_embeddingDepth;
  try {
    instance(object, AllProperties());
  } catch (...) {
    --_embeddingDepth;
    _open.resize(openBefore);
    _buffer.swap(outer);
    throw;
  }
  --_embeddingDepth;
  std::string xml;
  xml.swap(_buffer);
  _buffer.swap(outer);
  text(xml);
}

void CimXmlWriter::scalarValue(const ITovaValue& value, const ITovaType& type) {
  switch (CTovaType::codeOf(type)) {
    case CimTypeCode::Boolean:
      _buffer += value.getAsBool() ? "TRUE" : "FALSE";
      return;
    case CimTypeCode::Real32:
    case CimTypeCode::Real64: {
      const double number = value.getAsDouble();
      if (std::isnan(number)) {
        _buffer += "NaN";
      } else if (std::isinf(number)) {
        _buffer += number < 0 ? "-INF" : "INF";
      } else {
        _buffer += value.getAsString().view();
      }
      return;
    }
    case CimTypeCode::Object: {
      const TOVSmrPtr<ITovaObject> object = value.getObject();
      if (object) embeddedInstanceText(*object);
      return;
    }
    case CimTypeCode::Reference: {
      const TOVSmrPtr<ITovaInstanceName> name = value.getReference();
      if (name) text(name->toString().view());
      return;
    }
    default:
      text(value.getAsString().view());
      return;
  }
}

void CimXmlWriter::value(const ITovaValue& value) {
  const TOVSmrPtr<ITovaType> type = value.getType();
  if (!type || value.isNullValue()) return;
  if (type->isArray()) {
    const TOVSmrPtr<TOVValSlist<TOVSmrPtr<ITovaValue>>> elements = value.getArray();
    if (!elements) return;
    const bool references = CTovaType::codeOf(*type) == CimTypeCode::Reference;
    open(references ? "VALUE.REFARRAY" : "VALUE.ARRAY");
    _buffer += '>';
    for (const TOVSmrPtr<ITovaValue>& element : *elements) {
      if (isNull(element)) continue;
      if (references) {
        const TOVSmrPtr<ITovaInstanceName> name = element->getReference();
        if (name) referenceValue(name.get());
        continue;
      }
      open("VALUE");
      _buffer += '>';
      const TOVSmrPtr<ITovaType> elementType = element->getType();
      scalarValue(*element, elementType ? *elementType : *type);
      end();
    }
    end();
    return;
  }
  if (type->isReference()) {
    const TOVSmrPtr<ITovaInstanceName> name = value.getReference();
    if (name) referenceValue(name.get());
    return;
  }
  open("VALUE");
  _buffer += '>';
  scalarValue(value, *type);
  end();
}

void CimXmlWriter::returnValue(const ITovaValue& value) {
  const TOVSmrPtr<ITovaType> type = value.getType();
  if (!type || value.isNullValue()) return;
  if (type->isArray()) {
    logLeftOut("A method returned an array, which a RETURNVALUE cannot carry; it is left out");
    return;
  }
  const CimTypeCode code = CTovaType::codeOf(*type);
  open("RETURNVALUE");
  attribute("PARAMTYPE", code == CimTypeCode::Reference ? "reference" : dtdTypeName(code));
  _buffer += '>';
  this->value(value);
  end();
}

void CimXmlWriter::paramValue(const TOVString& name, const ITovaValue& value) {
  const TOVSmrPtr<ITovaType> type = value.getType();
  if (!type || value.isNullValue()) return;
  const CimTypeCode code = CTovaType::codeOf(*type);
  open("PARAMVALUE");
  attribute("NAME", name.view());
  attribute("PARAMTYPE", code == CimTypeCode::Reference ? "reference" : dtdTypeName(code));
  if (code == CimTypeCode::Object) attribute("EmbeddedObject", "instance");
  _buffer += '>';
  this->value(value);
  end();
}

CimXmlWriter::Mark CimXmlWriter::mark() const {
  return Mark{_buffer.size(), _open.size(), _flushed};
}

bool CimXmlWriter::canRewind(const Mark& mark) const { return mark.flushedBytes == _flushed; }

void CimXmlWriter::rewind(const Mark& mark) {
  _buffer.resize(mark.bufferSize);
  _open.resize(mark.openElements);
}

void CimXmlWriter::flush() {
  if (_buffer.empty()) return;
  const bool accepted = _body.write(_buffer);
  const std::size_t size = _buffer.size();
  _buffer.clear();
  if (!accepted) throw ClientGone();
  _flushed += size;
}

void CimXmlWriter::flushIfFull() {
  if (_buffer.size() >= _flushThreshold) flush();
}

void CimXmlWriter::finish() {
  endTo(0);
  flush();
}

}  // namespace kest::server
