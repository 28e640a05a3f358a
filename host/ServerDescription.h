#pragma once

#include <vector>

#include "host/String.h"

namespace kest {

// One address a server listens on for CIM-XML requests.
//   scheme: "http" or "https";
//   address: the address listened on, as configured ("127.0.0.1", "::",
//     "0.0.0.0");
//   port: the port bound.
struct ServerEndpoint {
  TOVString scheme;
  TOVString address;
  int port = 0;
};

// What a server tells its providers about itself, for the providers that
// describe the server to clients (the interop namespace). A plain value:
// the server fills it in once its endpoints are bound, before any provider
// starts, and does not change it afterwards.
//   productName, productVersion, vendor: the server's brand and version;
//   protocolVersion: the CIM operations over HTTP version it speaks
//     ("1.4"); cimXmlVersion: the CIM-XML (DTD) version ("2.4");
//   systemName: the host's name, the scoping system of the server's
//     objects; systemCreationClassName: the CIM class that system is named
//     in;
//   interopNameSpace: the namespace that describes the server (empty when
//     it serves none); nameSpaces: every namespace it serves, in order;
//   endpoints: where it listens;
//   basicAuthentication: requests must carry HTTP Basic credentials;
//   functionalProfiles: the DSP0200 functional profile names it supports
//     ("Basic Read", "Instance Manipulation", ...).
struct ServerDescription {
  TOVString productName;
  TOVString productVersion;
  TOVString vendor;
  TOVString protocolVersion;
  TOVString cimXmlVersion;
  TOVString systemName;
  TOVString systemCreationClassName;
  TOVString interopNameSpace;
  std::vector<TOVString> nameSpaces;
  std::vector<ServerEndpoint> endpoints;
  bool basicAuthentication = false;
  std::vector<TOVString> functionalProfiles;
};

}  // namespace kest
