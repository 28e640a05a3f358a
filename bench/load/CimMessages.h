#pragma once

// The CIM-XML side of kest-load: the HTTP requests of the operations it
// sends, and what it reads back from a response (the CIM status, the
// instance names). The responses are scanned, not parsed: the tool measures
// the server and trusts the shape of what it answers.

#include <string>
#include <utility>
#include <vector>

#include "bench/load/HttpConnection.h"

namespace kest::load {

// An instance name as the server sent it: its class, its keys (values
// unescaped) and the <INSTANCENAME> element itself, reused verbatim in
// requests.
struct InstanceName {
  std::string className;
  std::vector<std::pair<std::string, std::string>> keys;
  std::string xml;

  // NAMESPACE:Class.Key="value",... (the CIMObject of a method call).
  std::string objectPath(const std::string& nameSpace) const;
};

// Every <INSTANCENAME> element of an EnumerateInstances,
// EnumerateInstanceNames or AssociatorNames response body.
std::vector<InstanceName> instanceNamesIn(const std::string& body);

// The CIM status of a response: the CODE of its <ERROR> element, else the
// CIMStatusCode trailer (an error after the results had begun), else 0.
int cimStatusOf(const HttpReply& reply);

// CimRequests: builds complete HTTP requests (POST to the endpoint's path,
// CIM headers, Basic authorization when a user is given) for one namespace.
// Immutable once built; may be shared between threads.
class CimRequests {
 public:
  CimRequests(const Endpoint& endpoint, const std::string& user, const std::string& password,
              std::string nameSpace = "root/cimv2");

  std::string enumerateClassNames() const;
  std::string enumerateInstanceNames(const std::string& className) const;
  std::string enumerateInstances(const std::string& className) const;
  std::string getInstance(const InstanceName& name) const;
  std::string associators(const InstanceName& name, const std::string& assocClass,
                          const std::string& resultClass) const;
  // An extrinsic method call without parameters.
  std::string invokeMethod(const InstanceName& name, const std::string& method) const;

 private:
  std::string intrinsic(const std::string& method, const std::string& parameters) const;
  std::string post(const std::string& method, const std::string& object,
                   const std::string& call) const;

  std::string _headerStart;  // request line, Host, Authorization, Content-Type
  std::string _nameSpace;
  std::string _nameSpacePath;  // <LOCALNAMESPACEPATH>
};

}  // namespace kest::load
