#pragma once

#include <cstddef>
#include <pugixml.hpp>
#include <string>
#include <string_view>

#include "host/CimType.h"
#include "host/InstanceName.h"
#include "host/Object.h"
#include "host/SmartPointer.h"
#include "host/String.h"
#include "host/Value.h"
#include "server/ClassCatalog.h"
#include "server/xml/XmlShape.h"

namespace kest::server::xml {

// ElementReader: reads the elements of a request (values, names, paths,
// instances, embedded objects) into host values, typed as RequestParser
// describes: by the request's own type attributes, then the class catalog's
// definitions in one namespace, then a key's VALUETYPE, else as strings.
//
// Refuses what is not a valid element with RequestRejected (400,
// request-not-valid; embedded objects also request-not-well-formed) and a
// value that does not fit its type with CimError CIM_ERR_INVALID_PARAMETER.
// Holds a reference to the catalog, which must outlive it; const and
// stateless otherwise, so any thread may use it.
class ElementReader {
 public:
  // limits: what embedded objects may hold (maxDepth: the element nesting
  // still allowed to them; maxNodes: the nodes of each).
  ElementReader(const ClassCatalog& catalog, const XmlLimits& limits, const TOVString& nameSpace);

  // The namespace a LOCALNAMESPACEPATH names, segments joined by "/".
  static TOVString nameSpaceOf(pugi::xml_node localNameSpacePath);

  // INSTANCENAME, with path as its namespace path (may be null).
  TOVSmrPtr<ITovaInstanceName> instanceName(pugi::xml_node node,
                                            const TOVSmrPtr<ITovaNameSpacePath>& path) const;

  // A keyless name standing for a class.
  static TOVSmrPtr<ITovaInstanceName> classAsName(const TOVString& className,
                                                  const TOVSmrPtr<ITovaNameSpacePath>& path);

  // The name a VALUE.REFERENCE holds.
  TOVSmrPtr<ITovaInstanceName> reference(pugi::xml_node node) const;

  // A KEYVALUE of key keyName of className.
  TOVSmrPtr<ITovaValue> keyValue(pugi::xml_node node, const TOVString& className,
                                 const TOVString& keyName) const;

  // text as a value of code; refuses text that is no such value, naming it
  // by what.
  static TOVSmrPtr<ITovaValue> typedScalar(std::string_view text, CimTypeCode code,
                                           const std::string& what);

  // The value held by container (an IPARAMVALUE, PARAMVALUE or property
  // element), typed by type when not null; embedded marks string values that
  // hold an embedded instance. No value is a NULL (typed when type is known,
  // else a null pointer).
  TOVSmrPtr<ITovaValue> valueOf(pugi::xml_node container, const TOVSmrPtr<ITovaType>& type,
                                bool embedded, const std::string& what) const;

  // One VALUE element of the given type.
  TOVSmrPtr<ITovaValue> element(pugi::xml_node node, CimTypeCode code,
                                const std::string& what) const;

  // An INSTANCE element; name becomes the object's instance name.
  TOVSmrPtr<ITovaObject> instance(pugi::xml_node node,
                                  const TOVSmrPtr<ITovaInstanceName>& name) const;

  // A VALUE.NAMEDINSTANCE: its INSTANCE named by its INSTANCENAME.
  TOVSmrPtr<ITovaObject> namedInstance(pugi::xml_node node) const;

  // An embedded instance from the text of a VALUE at depth, within the depth
  // limit of the whole request.
  TOVSmrPtr<ITovaObject> embeddedInstance(const std::string& text, std::size_t depth,
                                          const std::string& what) const;

  // The class catalog's type of a property of className; null when unknown.
  TOVSmrPtr<ITovaType> propertyType(const TOVString& className,
                                    const TOVString& propertyName) const;

  // The class catalog's type of a method parameter; null when unknown.
  TOVSmrPtr<ITovaType> parameterType(const TOVString& className, const TOVString& methodName,
                                     const TOVString& parameterName) const;

 private:
  const ClassCatalog& _catalog;
  const XmlLimits _limits;
  const TOVString _nameSpace;
};

}  // namespace kest::server::xml
