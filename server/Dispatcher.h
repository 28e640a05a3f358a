#pragma once

#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "host/String.h"
#include "server/CimRequest.h"
#include "server/CimXmlWriter.h"
#include "server/ClassCatalog.h"
#include "server/Operations.h"
#include "server/ProviderSet.h"
#include "server/StaticInstances.h"

namespace kest::server {

// The classes whose instances came with properties their class does not
// declare: each class is logged once (severity 2), with the undeclared
// properties of the first such instance. Threads: report() may be called
// from any thread.
class UndeclaredPropertyLog {
 public:
  void report(const TOVString& nameSpace, const TOVString& className,
              const std::vector<TOVString>& propertyNames);

 private:
  std::mutex _mutex;
  std::set<std::string> _logged;  // "namespace:class", lower-cased; guarded by _mutex
};

// Dispatcher: carries out CIM operations against the providers, the instances
// compiled from MOF (StaticInstances) and the class catalog, writing each operation's results
// through a CimXmlWriter. How an operation is routed and which handler runs it are named by the
// operation table (server/Operations.h).
//
// route() checks what can be checked before any output: the namespace must be
// one the server serves (CIM_ERR_INVALID_NAMESPACE), instance, association
// and method operations need a class the server knows (from MOF, a
// provider's declaration, or compiled instances; CIM_ERR_INVALID_CLASS
// otherwise); for a known class that no provider serves the route is empty
// and the handlers answer from the compiled instances alone (GetInstance,
// GetProperty, ModifyInstance, DeleteInstance, SetProperty and method calls
// CIM_ERR_NOT_FOUND, CreateInstance CIM_ERR_NOT_SUPPORTED, association
// operations and enumerations the compiled results, possibly none); a
// method call must name a method the class declares, when the class is
// compiled (CIM_ERR_METHOD_NOT_FOUND); GetClass a known class (CIM_ERR_NOT_FOUND), class
// enumerations a known class when they name one (CIM_ERR_INVALID_CLASS), and
// class-level association requests are not supported (CIM_ERR_NOT_SUPPORTED).
// Enumerations of instances go to every provider that serves the class or a
// subclass of it (to each provider's topmost such classes).
//
// run() writes the content of the open IMETHODRESPONSE or METHODRESPONSE:
//   class operations are answered from the catalog, never by a provider;
//   enumerations and association operations take the results from the
//     provider first (shared pointers to its objects, 16 bytes a result) and
//     write them after the provider call has returned, one target provider
//     at a time: no provider lock is held and no provider is re-entered
//     while the client is written to, so a slow client never holds back a
//     provider's refresh. Results a provider added before it failed are
//     written before its failure;
//   GetInstance, GetProperty: a missing instance is CIM_ERR_NOT_FOUND, a
//     missing property CIM_ERR_NO_SUCH_PROPERTY;
//   CreateInstance: a provider that returns no name (the framework's default)
//     is CIM_ERR_NOT_SUPPORTED;
//   Associators: a result the provider hands back as a reference is fetched
//     from the compiled instances or else the provider of its class, after
//     the association's provider has returned; one that cannot be fetched is
//     left out and logged;
//   compiled instances: enumerations write the providers' results and then
//     the compiled instances of the class family; GetInstance and
//     GetProperty look in the compiled instances first, then ask the
//     provider; association operations write the provider's results and
//     then the compiled associations that reference the object; Create,
//     Modify, Delete and SetProperty of a compiled instance are
//     CIM_ERR_NOT_SUPPORTED (read-only), and CreateInstance of a class that
//     only has compiled instances too.
// PropertyList, LocalOnly, DeepInheritance (of EnumerateInstances) and
// IncludeClassOrigin select and annotate the properties written; the last
// three need the class catalog's full definitions and change nothing for
// classes known only by name. IncludeQualifiers adds class qualifiers only
// (instances carry none). Instances are checked against the full definition
// of their class when the catalog has one: properties it does not declare
// are logged (UndeclaredPropertyLog) and still sent. Method calls on a
// class with a full definition are held against the method it declares
// (MethodCheck): route() refuses a method the class does not declare
// (CIM_ERR_METHOD_NOT_FOUND); run() refuses input parameters that do not fit
// the declaration (CIM_ERR_INVALID_PARAMETER) before the provider is
// called, passes converted values on, answers a provider that returns no
// value CIM_ERR_METHOD_NOT_AVAILABLE and one whose results do not convert
// to the declared types CIM_ERR_FAILED (logged), and writes nothing before
// every result is typed. For a class known only by name the provider gets
// the parameters as sent, and results take the types of a method the class
// inherits when they convert (a string "5" for a uint32); a value that does
// not convert is sent as it is and logged. Every
// provider call is bracketed by startTransaction/endTransaction with a
// transaction of its own. Whatever a provider throws leaves run() unchanged.
//
// Threads: const; any number of requests may be dispatched concurrently.
class Dispatcher {
 public:
  using Target = RouteTarget;
  using Route = kest::server::Route;

  Dispatcher(const ProviderSet& providers, const ClassCatalog& catalog,
             std::vector<TOVString> nameSpaces);

  // Finds who serves the request, by the route kind of its operation (see
  // server/Operations.h). Throws CimError.
  Route route(const CimRequest& request) const;
  // Runs the request through the handler its operation names. Throws
  // CimError (CIM_ERR_NOT_SUPPORTED for an operation without a handler) and
  // whatever the provider throws.
  void run(const CimRequest& request, const Route& route, CimXmlWriter& writer) const;

  bool servesNameSpace(const TOVString& nameSpace) const;

  // The handlers, one per operation (or family of operations), named by the
  // operation table; each writes the content of the open response.
  void classOperation(const CimRequest& request, const Route& route, CimXmlWriter& writer) const;
  void enumerateInstances(const CimRequest& request, const Route& route,
                          CimXmlWriter& writer) const;
  void enumerateInstanceNames(const CimRequest& request, const Route& route,
                              CimXmlWriter& writer) const;
  void associators(const CimRequest& request, const Route& route, CimXmlWriter& writer) const;
  void associatorNames(const CimRequest& request, const Route& route, CimXmlWriter& writer) const;
  void references(const CimRequest& request, const Route& route, CimXmlWriter& writer) const;
  void referenceNames(const CimRequest& request, const Route& route, CimXmlWriter& writer) const;
  void getInstance(const CimRequest& request, const Route& route, CimXmlWriter& writer) const;
  void getProperty(const CimRequest& request, const Route& route, CimXmlWriter& writer) const;
  void createInstance(const CimRequest& request, const Route& route, CimXmlWriter& writer) const;
  void modifyInstance(const CimRequest& request, const Route& route, CimXmlWriter& writer) const;
  void deleteInstance(const CimRequest& request, const Route& route, CimXmlWriter& writer) const;
  void setProperty(const CimRequest& request, const Route& route, CimXmlWriter& writer) const;
  void methodCall(const CimRequest& request, const Route& route, CimXmlWriter& writer) const;

 private:
  Route familyRoute(const CimRequest& request) const;
  // The object named name, from the provider of its class; null when there
  // is none.
  TOVSmrPtr<ITovaObject> fetch(const CimRequest& request,
                               const TOVSmrPtr<ITovaInstanceName>& name) const;

  const ProviderSet& _providers;
  const ClassCatalog& _catalog;
  const StaticInstances _compiled;
  const std::vector<TOVString> _nameSpaces;
  mutable UndeclaredPropertyLog _undeclared;
};

}  // namespace kest::server
