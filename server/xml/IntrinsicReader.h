#pragma once

#include <cstddef>
#include <pugixml.hpp>
#include <vector>

#include "server/CimRequest.h"
#include "server/ClassCatalog.h"
#include "server/xml/XmlShape.h"

namespace kest::server::xml {

// Reads the intrinsic operation request.methodName, whose namespace
// request.nameSpace is already read, from the IPARAMVALUEs that follow the
// IMETHODCALL's LOCALNAMESPACEPATH: finds the operation's descriptor
// (server/Operations.h) and reads each parameter it lists, as its kind says.
//
// Refuses elements other than IPARAMVALUE (RequestRejected, request-not-
// valid); an operation the table does not hold (CimError
// CIM_ERR_NOT_SUPPORTED); a parameter given twice, missing, NULL where it
// may not be, of the wrong kind, or that the operation does not define
// (CIM_ERR_INVALID_PARAMETER). limits bound embedded objects, as
// for ElementReader.
void readIntrinsic(const ClassCatalog& catalog, const XmlLimits& limits,
                   const std::vector<pugi::xml_node>& parameters, CimRequest& request);

}  // namespace kest::server::xml
