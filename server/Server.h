#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "host/ServerDescription.h"
#include "host/String.h"
#include "server/ClassCatalog.h"
#include "server/HttpFrontEnd.h"
#include "server/ProviderLoader.h"

namespace kest::server {

// Everything the server is configured with (see ServerConfig.h for where the
// values come from).
struct ServerSettings {
  HttpSettings http;
  // A provider with an empty namespace serves the first of nameSpaces.
  std::vector<ProviderSpec> providers;
  // What kest-server serves when no provider is named (applyDefaultProvider
  // in ServerConfig.h): a provider library ("path[@namespace]") and the MOF
  // of its classes; empty for none. The Server itself does not read them.
  std::string defaultProvider;
  std::string defaultMof;
  std::vector<TOVString> nameSpaces{"root/cimv2", "root/interop"};
  // The interop provider library, loaded into the interop namespace (the
  // first of nameSpaces with a name clients look for: "interop",
  // "root/interop" or "root/PG_InterOp"); empty for none: the namespace then
  // has its classes but no instances.
  std::string interopProvider;
  // MOF files compiled at start (one compilation, starting in the first
  // namespace): the full definitions of the classes they hold.
  std::vector<std::string> mofFiles;
  std::size_t maxXmlDepth = 64;
  // The most XML nodes (elements, attributes, text runs) a request may hold.
  std::size_t maxXmlNodes = 500000;
  // On stop: how long requests in flight may take to finish, and then how
  // long the providers' shutdown() calls may take.
  int shutdownGraceSeconds = 10;
  std::string workArea = ".";
  // The highest severity logged to stderr (1 errors ... 4 everything).
  int logLevel = 3;
};

// Server: the embedded WBEM server: its class catalog, providers, request
// handling and HTTP front end, started and stopped as one.
//
// The constructor compiles the interop schema (server/InteropSchema.h) into
// the interop namespace, as built-in classes. start() compiles the MOF files
// into the class catalog, binds the listening socket, describes the server
// (kest::ServerDescription: its version, namespaces, endpoints,
// authentication and functional profiles) to the providers it then starts
// (see ProviderSet for the order of their lifecycle calls; the interop
// provider last) and then accepts connections; if any of it fails nothing is left running and the error is
// thrown (ProviderError naming the provider's path and the reason, or
// std::runtime_error, which lists the MOF diagnostics for MOF errors). MOF
// warnings are logged at severity 2. stop() stops accepting connections, lets
// the requests in flight finish for up to the grace period (those still
// waiting then fail with CIM_ERR_FAILED), and then calls shutdown() on every
// provider, waiting for that up to the grace period as well. The destructor
// stops, and waits without limit for a provider call that stop() gave up
// on.
//
// catalog() is the server's class registry: the MOF files' classes are
// compiled into it at start, before the providers declare theirs; classes
// compiled there before start() (ClassCatalog::compileMofText) take
// precedence over declarations too and must not be in the MOF files. The
// providers get its subclass test as their ITovaRepository.
//
// Threads: start(), stop() and catalog() belong to one controlling thread;
// requests are served on the front end's connection threads.
class Server {
 public:
  explicit Server(ServerSettings settings);
  ~Server();
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  ClassCatalog& catalog();
  // What start() tells the providers about the server; complete once start()
  // has bound its port.
  const kest::ServerDescription& description() const;
  // Returns the port listened on.
  int start();
  // True when everything stopped within the grace period; false when a
  // provider call or a provider's shutdown() has not returned (logged): a
  // process that wants to exit anyway must then do so without destroying
  // the server (std::_Exit). Idempotent.
  bool stop();
  // "http://<address>:<port>" (https with TLS); meaningful after start().
  std::string url() const;

 private:
  // Fills the description in, for the port bound.
  void describe(int port);

  struct Parts;
  ServerSettings _settings;
  std::unique_ptr<Parts> _parts;
  int _port = 0;
  // Runs the providers' shutdown() when stop() could not wait for it.
  std::thread _shutdown;
};

}  // namespace kest::server
