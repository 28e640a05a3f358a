#include "server/xml/ElementReader.h"

#include "host/CimType.h"
#include "host/List.h"
#include "host/NameSpacePath.h"
#include "host/Property.h"
#include "server/xml/ScalarText.h"
#include "server/xml/XmlDocument.h"

namespace kest::server::xml {

namespace {

using ValueList = TOVValSlist<TOVSmrPtr<ITovaValue>>;

}  // namespace

ElementReader::ElementReader(const ClassCatalog& catalog, const XmlLimits& limits,
                             const TOVString& nameSpace)
    : _catalog(catalog), _limits(limits), _nameSpace(nameSpace) {}

TOVString ElementReader::nameSpaceOf(pugi::xml_node localNameSpacePath) {
  if (!is(localNameSpacePath, "LOCALNAMESPACEPATH")) {
    notValid(std::string("expected LOCALNAMESPACEPATH, found ") + elementName(localNameSpacePath));
  }
  std::string nameSpace;
  const std::vector<pugi::xml_node> parts = elementChildren(localNameSpacePath);
  if (parts.empty()) notValid("LOCALNAMESPACEPATH holds no NAMESPACE");
  for (pugi::xml_node part : parts) {
    if (!is(part, "NAMESPACE")) {
      notValid(std::string("LOCALNAMESPACEPATH may not hold ") + elementName(part));
    }
    if (!nameSpace.empty()) nameSpace += '/';
    nameSpace += requiredAttribute(part, "NAME");
  }
  return TOVString(nameSpace);
}

TOVSmrPtr<ITovaInstanceName> ElementReader::instanceName(
    pugi::xml_node node, const TOVSmrPtr<ITovaNameSpacePath>& path) const {
  if (!is(node, "INSTANCENAME")) {
    notValid(std::string("expected INSTANCENAME, found ") + elementName(node));
  }
  const TOVString className(requiredAttribute(node, "CLASSNAME"));
  TOVPropertyList keys(new TOVValSlist<TOVSmrPtr<ITovaProperty>>());
  for (pugi::xml_node binding : elementChildren(node)) {
    if (!is(binding, "KEYBINDING")) {
      if (is(binding, "KEYVALUE") || is(binding, "VALUE.REFERENCE")) {
        invalidParameter("instance names of class " + className.toStdString() +
                         " with an unnamed key are not supported");
      }
      notValid(std::string("INSTANCENAME may not hold ") + elementName(binding));
    }
    const TOVString keyName(requiredAttribute(binding, "NAME"));
    const std::vector<pugi::xml_node> content = elementChildren(binding);
    if (content.size() != 1) notValid("KEYBINDING must hold one KEYVALUE or VALUE.REFERENCE");
    TOVSmrPtr<ITovaValue> value;
    if (is(content[0], "KEYVALUE")) {
      value = keyValue(content[0], className, keyName);
    } else if (is(content[0], "VALUE.REFERENCE")) {
      value = make(new CTovaValue(reference(content[0])));
    } else {
      notValid(std::string("KEYBINDING may not hold ") + elementName(content[0]));
    }
    keys->append(TOVSmrPtr<ITovaProperty>(new CTovaProperty(keyName, value, false)));
  }
  return TOVSmrPtr<ITovaInstanceName>(new CTovaInstanceName(className, keys, path));
}

TOVSmrPtr<ITovaInstanceName> ElementReader::classAsName(const TOVString& className,
                                                        const TOVSmrPtr<ITovaNameSpacePath>& path) {
  return TOVSmrPtr<ITovaInstanceName>(new CTovaInstanceName(
      className, TOVPropertyList(new TOVValSlist<TOVSmrPtr<ITovaProperty>>()), path));
}

TOVSmrPtr<ITovaInstanceName> ElementReader::reference(pugi::xml_node node) const {
  const std::vector<pugi::xml_node> content = elementChildren(node);
  if (content.size() != 1) notValid("VALUE.REFERENCE must hold one path");
  const pugi::xml_node target = content[0];
  const std::string kind = elementName(target);
  if (kind == "INSTANCENAME") return instanceName(target, TOVSmrPtr<ITovaNameSpacePath>());
  if (kind == "CLASSNAME") {
    return classAsName(TOVString(requiredAttribute(target, "NAME")),
                       TOVSmrPtr<ITovaNameSpacePath>());
  }
  const std::vector<pugi::xml_node> parts = elementChildren(target);
  if (parts.size() != 2) notValid(kind + " must hold a namespace path and a name");
  TOVString host;
  TOVString nameSpace;
  if (kind == "INSTANCEPATH" || kind == "CLASSPATH") {
    if (!is(parts[0], "NAMESPACEPATH")) notValid(kind + " must start with NAMESPACEPATH");
    const std::vector<pugi::xml_node> path = elementChildren(parts[0]);
    if (path.size() != 2 || !is(path[0], "HOST")) {
      notValid("NAMESPACEPATH must hold HOST and LOCALNAMESPACEPATH");
    }
    host = TOVString(textOf(path[0]));
    nameSpace = nameSpaceOf(path[1]);
  } else if (kind == "LOCALINSTANCEPATH" || kind == "LOCALCLASSPATH") {
    nameSpace = nameSpaceOf(parts[0]);
  } else {
    notValid("VALUE.REFERENCE may not hold " + kind);
  }
  const TOVSmrPtr<ITovaNameSpacePath> path(new CTovaNameSpacePath(host, nameSpace));
  if (kind == "INSTANCEPATH" || kind == "LOCALINSTANCEPATH") return instanceName(parts[1], path);
  if (!is(parts[1], "CLASSNAME")) notValid(kind + " must end with CLASSNAME");
  return classAsName(TOVString(requiredAttribute(parts[1], "NAME")), path);
}

TOVSmrPtr<ITovaValue> ElementReader::keyValue(pugi::xml_node node, const TOVString& className,
                                              const TOVString& keyName) const {
  const std::string text = textOf(node);
  const std::string what = "key " + keyName.toStdString() + " of " + className.toStdString();
  if (const std::optional<std::string> type = optionalAttribute(node, "TYPE")) {
    const std::optional<CimTypeCode> code = typeCodeOf(*type);
    if (!code || *code == CimTypeCode::Reference || *code == CimTypeCode::Object) {
      notValid("KEYVALUE has an unknown TYPE \"" + *type + "\"");
    }
    return typedScalar(text, *code, what);
  }
  // The class definition's key type, when it has one and the text fits.
  const TOVSmrPtr<ITovaType> declared = _catalog.propertyType(_nameSpace, className, keyName);
  if (declared && declared->isAtomic()) {
    const TOVSmrPtr<ITovaValue> value = scalarFromText(text, CTovaType::codeOf(*declared));
    if (value) return value;
  }
  const std::string valueType = optionalAttribute(node, "VALUETYPE").value_or("string");
  if (valueType == "string") return make(new CTovaValue(TOVString(text)));
  if (valueType == "boolean") return typedScalar(text, CimTypeCode::Boolean, what);
  if (valueType == "numeric") {
    const TOVSmrPtr<ITovaValue> value = numericFromText(text);
    if (!value) invalidParameter(what + ": \"" + text + "\" is not a number");
    return value;
  }
  notValid("KEYVALUE has an unknown VALUETYPE \"" + valueType + "\"");
}

TOVSmrPtr<ITovaValue> ElementReader::typedScalar(std::string_view text, CimTypeCode code,
                                                 const std::string& what) {
  const TOVSmrPtr<ITovaValue> value = scalarFromText(text, code);
  if (!value) {
    invalidParameter(what + ": \"" + std::string(text) + "\" is not a " +
                     CTovaType::codeName(code) + " value");
  }
  return value;
}

TOVSmrPtr<ITovaValue> ElementReader::valueOf(pugi::xml_node container,
                                             const TOVSmrPtr<ITovaType>& type, bool embedded,
                                             const std::string& what) const {
  std::vector<pugi::xml_node> content;
  for (pugi::xml_node child : elementChildren(container)) {
    if (!is(child, "QUALIFIER")) content.push_back(child);
  }
  if (content.empty()) return type ? CTovaValue::nullOf(type) : TOVSmrPtr<ITovaValue>();
  if (content.size() > 1)
    notValid(std::string(elementName(container)) + " holds more than one value");
  const pugi::xml_node node = content[0];
  const std::string kind = elementName(node);
  CimTypeCode code = type ? CTovaType::codeOf(*type) : CimTypeCode::String;
  if (embedded) code = CimTypeCode::Object;

  if (kind == "VALUE") {
    if (type && type->isArray()) invalidParameter(what + " must be an array");
    return element(node, code, what);
  }
  if (kind == "VALUE.ARRAY") {
    if (type && !type->isArray() && type->isReference()) {
      invalidParameter(what + " must be a reference");
    }
    TOVSmrPtr<ValueList> elements(new ValueList());
    for (pugi::xml_node item : elementChildren(node)) {
      if (is(item, "VALUE.NULL")) {
        elements->append(CTovaValue::nullOf(CTovaType::scalar(code)));
      } else if (is(item, "VALUE")) {
        elements->append(element(item, code, what));
      } else {
        notValid("VALUE.ARRAY may not hold " + std::string(elementName(item)));
      }
    }
    return make(new CTovaValue(CTovaType::arrayOf(code), elements));
  }
  if (kind == "VALUE.REFERENCE") {
    if (type && (type->isArray() || !type->isReference())) {
      invalidParameter(what + " may not be a reference");
    }
    return make(new CTovaValue(reference(node)));
  }
  if (kind == "VALUE.REFARRAY") {
    TOVSmrPtr<ValueList> elements(new ValueList());
    for (pugi::xml_node item : elementChildren(node)) {
      if (is(item, "VALUE.NULL")) {
        elements->append(CTovaValue::nullOf(CTovaType::reference(TOVString())));
      } else if (is(item, "VALUE.REFERENCE")) {
        elements->append(make(new CTovaValue(reference(item))));
      } else {
        notValid("VALUE.REFARRAY may not hold " + std::string(elementName(item)));
      }
    }
    return make(new CTovaValue(CTovaType::arrayOf(CimTypeCode::Reference), elements));
  }
  if (kind == "INSTANCE") {
    return make(new CTovaValue(instance(node, TOVSmrPtr<ITovaInstanceName>())));
  }
  if (kind == "VALUE.NAMEDINSTANCE") return make(new CTovaValue(namedInstance(node)));
  if (kind == "INSTANCENAME") {
    return make(new CTovaValue(instanceName(node, TOVSmrPtr<ITovaNameSpacePath>())));
  }
  if (kind == "CLASSNAME") {
    return make(new CTovaValue(
        classAsName(TOVString(requiredAttribute(node, "NAME")), TOVSmrPtr<ITovaNameSpacePath>())));
  }
  notValid(std::string(elementName(container)) + " may not hold " + kind);
}

TOVSmrPtr<ITovaValue> ElementReader::element(pugi::xml_node node, CimTypeCode code,
                                             const std::string& what) const {
  const std::string text = textOf(node);
  if (code == CimTypeCode::Object) {
    return make(new CTovaValue(embeddedInstance(text, depthOf(node), what)));
  }
  if (code == CimTypeCode::Reference) invalidParameter(what + " must be a VALUE.REFERENCE");
  return typedScalar(text, code, what);
}

TOVSmrPtr<ITovaObject> ElementReader::instance(pugi::xml_node node,
                                               const TOVSmrPtr<ITovaInstanceName>& name) const {
  if (!is(node, "INSTANCE")) notValid(std::string("expected INSTANCE, found ") + elementName(node));
  TOVSmrPtr<CTovaObject> object(new CTovaObject(TOVString(requiredAttribute(node, "CLASSNAME"))));
  object->setInstanceName(name);
  for (pugi::xml_node child : elementChildren(node)) {
    const std::string kind = elementName(child);
    if (kind == "QUALIFIER") continue;
    const TOVString propertyName(requiredAttribute(child, "NAME"));
    const std::string what = "property " + propertyName.toStdString();
    TOVSmrPtr<ITovaType> type;
    bool embedded = false;
    if (kind == "PROPERTY" || kind == "PROPERTY.ARRAY") {
      const std::string typeName = requiredAttribute(child, "TYPE");
      const std::optional<CimTypeCode> code = typeCodeOf(typeName);
      if (!code || *code == CimTypeCode::Reference || *code == CimTypeCode::Object) {
        notValid(kind + " " + propertyName.toStdString() + " has an unknown TYPE \"" + typeName +
                 "\"");
      }
      embedded = optionalAttribute(child, "EmbeddedObject").has_value() ||
                 optionalAttribute(child, "EMBEDDEDOBJECT").has_value();
      const CimTypeCode valueCode = embedded ? CimTypeCode::Object : *code;
      type = kind == "PROPERTY" ? CTovaType::scalar(valueCode) : CTovaType::arrayOf(valueCode);
    } else if (kind == "PROPERTY.REFERENCE") {
      type = CTovaType::reference(
          TOVString(optionalAttribute(child, "REFERENCECLASS").value_or(std::string())));
    } else {
      notValid("INSTANCE may not hold " + kind);
    }
    const TOVSmrPtr<ITovaValue> value = valueOf(child, type, false, what);
    object->setProperty(
        TOVSmrPtr<ITovaProperty>(new CTovaProperty(propertyName, type, value, false)));
  }
  return CTovaObject::iPtr(object);
}

TOVSmrPtr<ITovaObject> ElementReader::namedInstance(pugi::xml_node node) const {
  const std::vector<pugi::xml_node> parts = elementChildren(node);
  if (parts.size() != 2) notValid("VALUE.NAMEDINSTANCE must hold INSTANCENAME and INSTANCE");
  return instance(parts[1], instanceName(parts[0], TOVSmrPtr<ITovaNameSpacePath>()));
}

TOVSmrPtr<ITovaObject> ElementReader::embeddedInstance(const std::string& text, std::size_t depth,
                                                       const std::string& what) const {
  if (depth >= _limits.maxDepth) {
    notValid("embedded objects nest more than " + std::to_string(_limits.maxDepth) +
             " levels deep");
  }
  pugi::xml_document document;
  const std::string where = "the embedded object of " + what;
  const XmlLimits limits{_limits.maxDepth - depth, _limits.maxNodes};
  load(document, text, limits, where.c_str());
  const ElementReader nested(_catalog, limits, _nameSpace);
  return nested.instance(document.document_element(), TOVSmrPtr<ITovaInstanceName>());
}

TOVSmrPtr<ITovaType> ElementReader::propertyType(const TOVString& className,
                                                 const TOVString& propertyName) const {
  return _catalog.propertyType(_nameSpace, className, propertyName);
}

TOVSmrPtr<ITovaType> ElementReader::parameterType(const TOVString& className,
                                                  const TOVString& methodName,
                                                  const TOVString& parameterName) const {
  return _catalog.parameterType(_nameSpace, className, methodName, parameterName);
}

}  // namespace kest::server::xml
