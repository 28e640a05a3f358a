#pragma once

#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "host/String.h"
#include "server/CimRequest.h"

namespace kest::server {

class CimXmlWriter;
class Dispatcher;
class LoadedProvider;

// Where an operation goes: a provider and the class to ask it for.
struct RouteTarget {
  LoadedProvider* provider;
  TOVString className;
};
// Every provider an operation goes to, in order; empty for an operation the
// class catalog answers.
using Route = std::vector<RouteTarget>;

// How the dispatcher runs an operation: one of its handlers, called with the
// request, its route and the writer of the open response.
using OperationRunner = void (Dispatcher::*)(const CimRequest&, const Route&, CimXmlWriter&) const;

// How a parameter's value is read from its IPARAMVALUE, and where it lands in
// the CimRequest.
enum class ParameterKind {
  // A CLASSNAME into the descriptor's text field; NULL leaves the field null.
  ClassName,
  // A VALUE's text into the descriptor's text field; NULL leaves it null.
  String,
  // A VALUE holding TRUE or FALSE (any case) into the descriptor's flag
  // field; absent or NULL gives the descriptor's default.
  Boolean,
  // A VALUE.ARRAY of property names into CimRequest::propertyList; absent or
  // NULL means every property.
  PropertyList,
  // An INSTANCENAME naming the object the operation addresses: sets
  // instanceName and className. Never NULL.
  InstanceName,
  // A CLASSNAME or an INSTANCENAME naming the object the operation addresses:
  // sets instanceName, className and objectIsClass. Never NULL.
  ObjectName,
  // An INSTANCE into CimRequest::instance; sets className. Never NULL.
  Instance,
  // A VALUE.NAMEDINSTANCE into CimRequest::instance; sets instanceName and
  // className. Never NULL.
  NamedInstance,
  // Any value into CimRequest::newValue, typed by the class catalog's
  // definition of the property propertyName of className: list it after the
  // parameters that set those two.
  PropertyValue,
};

// How the dispatcher finds who serves an operation.
enum class RouteKind {
  // The class catalog answers a request for the class named by className,
  // which must exist (CIM_ERR_NOT_FOUND otherwise); no provider takes part.
  ClassRepository,
  // The class catalog answers a request for the classes below the class
  // named by className (all classes when it is null); a named class must
  // exist (CIM_ERR_INVALID_CLASS otherwise). No provider takes part.
  ClassTree,
  // The one provider of the addressed class (className).
  SingleProvider,
  // Every provider of the class named by className or of one of its
  // subclasses, each asked once for its topmost classes of that family.
  ClassFamily,
  // The provider of the addressed object's class; requests that address a
  // class rather than an instance are refused.
  Association,
};

// One parameter of an intrinsic operation.
struct ParameterDescriptor {
  // The field a ClassName, String or Boolean parameter fills; the other
  // kinds fill the fixed fields their kind names and carry no field.
  using Field = std::variant<std::monostate, TOVString CimRequest::*, bool CimRequest::*>;

  // The parameter's name (IPARAMVALUE NAME, matched in any case).
  std::string_view name;
  ParameterKind kind = ParameterKind::String;
  // A required parameter must be present; a required ClassName or String
  // may not be NULL either.
  bool required = false;
  // Boolean only: the value when the request leaves the parameter out.
  bool defaultValue = false;
  Field field;
};

// OperationDescriptor: everything the server knows about one operation.
struct OperationDescriptor {
  CimOperation operation = CimOperation::GetInstance;
  // The name an IMETHODCALL sends; empty for MethodCall (an extrinsic method
  // call goes by the method's own name).
  std::string_view intrinsicName;
  // The results are a list of any length, streamed as they come.
  bool streamed = false;
  // How the dispatcher routes the operation.
  RouteKind route = RouteKind::SingleProvider;
  // How the dispatcher runs it; null for an operation the server reads but
  // cannot carry out yet (the dispatcher answers CIM_ERR_NOT_SUPPORTED).
  OperationRunner run = nullptr;
  // In the order they are read: when several parameters are wrong, the first
  // one in this order is reported. Parameters the request sends that are not
  // listed here are refused.
  std::vector<ParameterDescriptor> parameters;
};

// The operation table: one descriptor per CimOperation, MethodCall included.
//
// Adding an operation:
//   1. add its enumerator to CimOperation (server/CimRequest.h), and a field
//      to CimRequest for each parameter no existing field holds;
//   2. add its descriptor to the table in server/Operations.cpp: its name, its
//      parameters in reading order (reuse a ParameterKind, or add one and
//      teach the intrinsic reader, server/xml/IntrinsicReader.cpp, to read
//      it), whether its results are streamed, how it is routed and the
//      dispatcher's handler that runs it (a public member of Dispatcher
//      with the OperationRunner signature);
//   3. add its expected flags to tests/server/OperationsTest.cpp.
// The request parser then reads it with no further change.
//
// Threads: the table is immutable once built (on first use, thread-safely).
std::span<const OperationDescriptor> allOperations();

// The descriptor of an intrinsic operation by the name an IMETHODCALL sends
// (exact case); null when the server does not serve such an operation.
const OperationDescriptor* findOperation(std::string_view intrinsicName);

// The descriptor of operation. Throws std::out_of_range for a value that
// has none (not an enumerator of CimOperation).
const OperationDescriptor& describe(CimOperation operation);

// The DSP0200 functional profiles ("Basic Read", "Association Traversal",
// ...) whose every operation the table has a handler for, in the order
// DSP0200 lists them. Indications are not among them: delivering them is not
// an operation of this table.
std::vector<TOVString> supportedFunctionalProfiles();
// The tokens of the same profiles as a CIMSupportedFunctionalGroups header
// names them ("basic-read", ...), in the same order; the pulled operations'
// profiles have none.
std::vector<std::string> supportedFunctionalGroups();

}  // namespace kest::server
