#include "server/xml/IntrinsicReader.h"

#include <map>
#include <optional>
#include <string>
#include <utility>
#include <variant>

#include "host/Ascii.h"
#include "host/NameSpacePath.h"
#include "server/CimError.h"
#include "server/Operations.h"
#include "server/xml/ElementReader.h"
#include "server/xml/Text.h"
#include "server/xml/XmlDocument.h"

namespace kest::server::xml {

namespace {

// The IPARAMVALUEs of an intrinsic call, taken one by one by name.
class IntrinsicParameters {
 public:
  IntrinsicParameters(const std::vector<pugi::xml_node>& parameters) {
    for (pugi::xml_node parameter : parameters) {
      if (!is(parameter, "IPARAMVALUE")) {
        notValid(std::string("IMETHODCALL may not hold ") + elementName(parameter));
      }
      std::string name = requiredAttribute(parameter, "NAME");
      std::string key = kest::ascii::folded(name);
      if (_byName.count(key) != 0) invalidParameter("parameter " + name + " is given twice");
      _byName.emplace(std::move(key), std::make_pair(std::move(name), parameter));
    }
  }

  // The IPARAMVALUE named name (any case), removed; an empty node when absent.
  pugi::xml_node take(std::string_view name) {
    const auto it = _byName.find(kest::ascii::folded(name));
    if (it == _byName.end()) return pugi::xml_node();
    const pugi::xml_node node = it->second.second;
    _byName.erase(it);
    return node;
  }

  pugi::xml_node takeRequired(std::string_view name) {
    const pugi::xml_node node = take(name);
    if (!node) {
      invalidParameter("the required parameter " + std::string(name) + " is missing");
    }
    return node;
  }

  // Refuses parameters that the operation does not define.
  void checkNoneLeft(const std::string& operation) const {
    if (!_byName.empty()) {
      invalidParameter(operation + " has no parameter " + _byName.begin()->second.first);
    }
  }

 private:
  std::map<std::string, std::pair<std::string, pugi::xml_node>> _byName;
};

// The single element an IPARAMVALUE holds, or an empty node for a NULL one.
pugi::xml_node singleValue(pugi::xml_node parameter) {
  const std::vector<pugi::xml_node> content = elementChildren(parameter);
  if (content.size() > 1) notValid("IPARAMVALUE holds more than one value");
  return content.empty() ? pugi::xml_node() : content[0];
}

std::string parameterName(pugi::xml_node parameter) { return parameter.attribute("NAME").value(); }

void expectKind(pugi::xml_node parameter, pugi::xml_node value, const char* kind) {
  if (!is(value, kind)) {
    invalidParameter("parameter " + parameterName(parameter) + " must be a " + kind + ", not " +
                     elementName(value));
  }
}

TOVString classNameParameter(pugi::xml_node parameter) {
  if (!parameter) return TOVString();
  const pugi::xml_node value = singleValue(parameter);
  if (!value) return TOVString();
  expectKind(parameter, value, "CLASSNAME");
  return TOVString(requiredAttribute(value, "NAME"));
}

bool booleanParameter(pugi::xml_node parameter, bool defaultValue) {
  if (!parameter) return defaultValue;
  const pugi::xml_node value = singleValue(parameter);
  if (!value) return defaultValue;
  expectKind(parameter, value, "VALUE");
  const std::string text = textOf(value);
  const std::string_view t = trimmed(text);
  if (kest::ascii::equalsIgnoreCase(t, "true")) return true;
  if (kest::ascii::equalsIgnoreCase(t, "false")) return false;
  invalidParameter("parameter " + parameterName(parameter) + ": \"" + text +
                   "\" is not a boolean value");
}

TOVString stringParameter(pugi::xml_node parameter) {
  if (!parameter) return TOVString();
  const pugi::xml_node value = singleValue(parameter);
  if (!value) return TOVString();
  expectKind(parameter, value, "VALUE");
  return TOVString(textOf(value));
}

// The INSTANCENAME of a parameter that may not be NULL.
TOVSmrPtr<ITovaInstanceName> instanceNameParameter(const ElementReader& reader,
                                                   pugi::xml_node parameter) {
  const pugi::xml_node value = singleValue(parameter);
  if (!value) invalidParameter("parameter " + parameterName(parameter) + " may not be NULL");
  expectKind(parameter, value, "INSTANCENAME");
  return reader.instanceName(value, TOVSmrPtr<ITovaNameSpacePath>());
}

std::optional<std::vector<TOVString>> propertyListParameter(pugi::xml_node parameter) {
  if (!parameter) return std::nullopt;
  const pugi::xml_node value = singleValue(parameter);
  if (!value) return std::nullopt;
  expectKind(parameter, value, "VALUE.ARRAY");
  std::vector<TOVString> names;
  for (pugi::xml_node item : elementChildren(value)) {
    if (!is(item, "VALUE")) invalidParameter("PropertyList may hold property names only");
    names.emplace_back(textOf(item));
  }
  return names;
}

// Reads one parameter of an intrinsic call into request; parameter is empty
// when the request leaves it out.
void readParameter(const ElementReader& reader, const ParameterDescriptor& descriptor,
                   pugi::xml_node parameter, CimRequest& request) {
  const std::string name(descriptor.name);
  switch (descriptor.kind) {
    case ParameterKind::ClassName:
    case ParameterKind::String: {
      TOVString& field = request.*std::get<TOVString CimRequest::*>(descriptor.field);
      field = descriptor.kind == ParameterKind::ClassName ? classNameParameter(parameter)
                                                          : stringParameter(parameter);
      if (descriptor.required && field.isNull()) {
        invalidParameter("parameter " + name + " may not be NULL");
      }
      return;
    }
    case ParameterKind::Boolean:
      request.*std::get<bool CimRequest::*>(descriptor.field) =
          booleanParameter(parameter, descriptor.defaultValue);
      return;
    case ParameterKind::PropertyList:
      request.propertyList = propertyListParameter(parameter);
      return;
    case ParameterKind::InstanceName:
      request.instanceName = instanceNameParameter(reader, parameter);
      request.className = request.instanceName->getClassname();
      return;
    case ParameterKind::ObjectName: {
      const pugi::xml_node value = singleValue(parameter);
      if (!value) invalidParameter("parameter " + name + " may not be NULL");
      if (is(value, "CLASSNAME")) {
        request.objectIsClass = true;
        request.className = TOVString(requiredAttribute(value, "NAME"));
        request.instanceName =
            ElementReader::classAsName(request.className, TOVSmrPtr<ITovaNameSpacePath>());
        return;
      }
      request.instanceName = instanceNameParameter(reader, parameter);
      request.className = request.instanceName->getClassname();
      return;
    }
    case ParameterKind::Instance: {
      const pugi::xml_node value = singleValue(parameter);
      if (!value) invalidParameter("parameter " + name + " may not be NULL");
      expectKind(parameter, value, "INSTANCE");
      request.instance = reader.instance(value, TOVSmrPtr<ITovaInstanceName>());
      request.className = request.instance->getClassName();
      return;
    }
    case ParameterKind::NamedInstance: {
      const pugi::xml_node value = singleValue(parameter);
      if (!value) invalidParameter("parameter " + name + " may not be NULL");
      expectKind(parameter, value, "VALUE.NAMEDINSTANCE");
      request.instance = reader.namedInstance(value);
      request.instanceName = request.instance->getInstanceName();
      request.className = request.instanceName->getClassname();
      return;
    }
    case ParameterKind::PropertyValue:
      if (parameter) {
        const TOVSmrPtr<ITovaType> type =
            reader.propertyType(request.className, request.propertyName);
        request.newValue =
            reader.valueOf(parameter, type, type && type->isObject(), "parameter " + name);
      }
      return;
  }
}

}  // namespace

void readIntrinsic(const ClassCatalog& catalog, const XmlLimits& limits,
                   const std::vector<pugi::xml_node>& children, CimRequest& request) {
  IntrinsicParameters parameters(children);
  const OperationDescriptor* operation = findOperation(request.methodName);
  if (operation == nullptr) {
    throw CimError(CIM_ERR_NOT_SUPPORTED,
                   "the operation " + request.methodName + " is not supported");
  }
  request.operation = operation->operation;
  const ElementReader reader(catalog, limits, request.nameSpace);
  for (const ParameterDescriptor& descriptor : operation->parameters) {
    const pugi::xml_node parameter = descriptor.required ? parameters.takeRequired(descriptor.name)
                                                         : parameters.take(descriptor.name);
    readParameter(reader, descriptor, parameter, request);
  }
  parameters.checkNoneLeft(request.methodName);
}

}  // namespace kest::server::xml
