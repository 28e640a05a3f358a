#include "server/xml/MethodCallReader.h"

#include <string>
#include <vector>

#include "host/ActualParameter.h"
#include "host/Ascii.h"
#include "host/List.h"
#include "host/NameSpacePath.h"
#include "server/xml/ElementReader.h"
#include "server/xml/ScalarText.h"
#include "server/xml/Text.h"
#include "server/xml/XmlDocument.h"

namespace kest::server::xml {

void readMethodCall(const ClassCatalog& catalog, const XmlLimits& limits,
                    const std::vector<pugi::xml_node>& children, CimRequest& request) {
  if (children.empty()) notValid("METHODCALL must start with LOCALINSTANCEPATH or LOCALCLASSPATH");
  const pugi::xml_node target = children[0];
  const bool onInstance = is(target, "LOCALINSTANCEPATH");
  if (!onInstance && !is(target, "LOCALCLASSPATH")) {
    notValid(std::string("METHODCALL must start with LOCALINSTANCEPATH or LOCALCLASSPATH, not ") +
             elementName(target));
  }
  const std::vector<pugi::xml_node> parts = elementChildren(target);
  if (parts.size() != 2) notValid(std::string(elementName(target)) + " must hold two elements");
  request.nameSpace = ElementReader::nameSpaceOf(parts[0]);
  const ElementReader reader(catalog, limits, request.nameSpace);
  const TOVSmrPtr<ITovaNameSpacePath> path(new CTovaNameSpacePath(TOVString(), request.nameSpace));
  if (onInstance) {
    request.instanceName = reader.instanceName(parts[1], path);
  } else {
    if (!is(parts[1], "CLASSNAME")) notValid("LOCALCLASSPATH must end with CLASSNAME");
    request.instanceName =
        ElementReader::classAsName(TOVString(requiredAttribute(parts[1], "NAME")), path);
  }
  request.className = request.instanceName->getClassname();

  request.inParameters = kest::IProvider::ParameterList(new TOVValSlist<TOVParameter>());
  std::vector<std::string> seen;
  for (std::size_t i = 1; i < children.size(); ++i) {
    const pugi::xml_node parameter = children[i];
    if (!is(parameter, "PARAMVALUE")) {
      notValid(std::string("METHODCALL may not hold ") + elementName(parameter));
    }
    const std::string name = requiredAttribute(parameter, "NAME");
    for (const std::string& earlier : seen) {
      if (kest::ascii::equalsIgnoreCase(earlier, name))
        invalidParameter("parameter " + name + " is given twice");
    }
    seen.push_back(name);

    TOVSmrPtr<ITovaType> type;
    bool embedded = optionalAttribute(parameter, "EmbeddedObject").has_value();
    if (const std::optional<std::string> paramType = optionalAttribute(parameter, "PARAMTYPE")) {
      const std::optional<CimTypeCode> code = typeCodeOf(*paramType);
      if (!code)
        notValid("PARAMVALUE " + name + " has an unknown PARAMTYPE \"" + *paramType + "\"");
      if (*code == CimTypeCode::Object) embedded = true;
      type = *code == CimTypeCode::Reference ? CTovaType::reference(TOVString())
                                             : CTovaType::scalar(*code);
    } else {
      type =
          reader.parameterType(request.className, TOVString(request.methodName), TOVString(name));
      if (type && type->isObject()) embedded = true;
    }
    const TOVSmrPtr<ITovaValue> value =
        reader.valueOf(parameter, type, embedded, "parameter " + name);
    request.inParameters->append(TOVParameter(new CTovaActualParameter(TOVString(name), value)));
  }
}

}  // namespace kest::server::xml
