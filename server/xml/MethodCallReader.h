#pragma once

#include <cstddef>
#include <pugixml.hpp>
#include <vector>

#include "server/CimRequest.h"
#include "server/ClassCatalog.h"
#include "server/xml/XmlShape.h"

namespace kest::server::xml {

// Reads the children of a METHODCALL (its LOCALINSTANCEPATH or
// LOCALCLASSPATH, then its PARAMVALUEs) into request: the namespace, the
// addressed object and class, and the input parameters in request order.
// request.methodName is the method's name. Parameter values are typed by
// PARAMTYPE or EmbeddedObject, else by the class catalog's definition of the
// method's parameter.
//
// Refuses a malformed call with RequestRejected (request-not-valid) and a
// parameter given twice or whose value does not fit its type with CimError
// CIM_ERR_INVALID_PARAMETER. limits bound embedded objects, as
// for ElementReader.
void readMethodCall(const ClassCatalog& catalog, const XmlLimits& limits,
                    const std::vector<pugi::xml_node>& children, CimRequest& request);

}  // namespace kest::server::xml
