#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/InstanceName.h"
#include "host/Object.h"
#include "host/Provider.h"
#include "host/SmartPointer.h"
#include "host/String.h"
#include "host/Value.h"

namespace kest::server {

// The CIM operations the server serves; each has its descriptor in the
// operation table (server/Operations.h), which tells how to add one.
enum class CimOperation {
  GetClass,
  EnumerateClasses,
  EnumerateClassNames,
  GetInstance,
  EnumerateInstances,
  EnumerateInstanceNames,
  Associators,
  AssociatorNames,
  References,
  ReferenceNames,
  CreateInstance,
  ModifyInstance,
  DeleteInstance,
  GetProperty,
  SetProperty,
  MethodCall,  // an extrinsic method
};

// True for the operations whose results are streamed (a list of any length),
// as the operation table says. Defined in server/Operations.cpp.
bool isStreamed(CimOperation operation);

// CimRequest: one CIM operation as read from a request message, with every
// parameter the operation defines (DSP0200). Parameters an operation does not
// define keep their defaults; booleans carry the operation's default when
// the request leaves them out.
struct CimRequest {
  std::string messageId;
  CimOperation operation = CimOperation::GetInstance;
  // The intrinsic operation's name, or the extrinsic method's name, as sent.
  std::string methodName;
  // As sent, segments joined by "/" ("root/cimv2").
  TOVString nameSpace;

  // ClassName; for instance, association and method operations the class of
  // the object they address.
  TOVString className;
  // InstanceName, ObjectName, the object of ModifiedInstance or of a method
  // call (keyless for a method called on a class).
  TOVSmrPtr<ITovaInstanceName> instanceName;
  // ObjectName was a CLASSNAME (a class-level association request).
  bool objectIsClass = false;

  TOVString assocClass;
  TOVString resultClass;
  TOVString role;
  TOVString resultRole;
  bool deepInheritance = false;
  bool localOnly = false;
  bool includeQualifiers = false;
  bool includeClassOrigin = false;
  // Absent: every property.
  std::optional<std::vector<TOVString>> propertyList;

  // NewInstance (CreateInstance) or the instance of ModifiedInstance.
  TOVSmrPtr<ITovaObject> instance;
  // PropertyName (GetProperty, SetProperty).
  TOVString propertyName;
  // NewValue (SetProperty); null for NULL.
  TOVSmrPtr<ITovaValue> newValue;
  // The input parameters of a method call, in request order.
  kest::IProvider::ParameterList inParameters;
};

}  // namespace kest::server
