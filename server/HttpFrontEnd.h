#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "server/CimService.h"

namespace kest::server {

// What the HTTP front end listens on and what it accepts.
struct HttpSettings {
  std::string address = "127.0.0.1";
  int port = 5988;  // 0: a free port, chosen when listening starts
  // PEM files; with both set the front end speaks HTTPS only.
  std::string tlsCertificate;
  std::string tlsKey;
  // HTTP Basic credentials; an empty user means no authentication.
  std::string user;
  std::string password;
  std::size_t maxRequestSize = 16 * 1024 * 1024;  // bytes of a request body
  std::size_t maxHeaderSize = 64 * 1024;          // bytes of a request line and headers
  std::size_t maxConnections = 64;                // connections served at once
  int idleTimeoutSeconds = 30;                    // a silent client is dropped after this
};

// HttpFrontEnd: serves CIM operations over HTTP (DSP0200) for a CimService,
// with cpp-httplib parsing the requests and OpenSSL carrying HTTPS.
//
//   POST and M-POST to /cimom (M-POST with a Man header for the CIM mapping,
//     whose ns prefix then applies to the CIM headers of request and
//     response; without one: 510 Not Extended). Other paths: 404; other
//     methods: 405.
//   Responses carry "CIMOperation: MethodResponse". Results of the operations
//     that return lists are sent in chunks as they are produced, ending with
//     the trailers CIMStatusCode and, on failure, CIMStatusCodeDescription
//     (and the same text as CIMStatusDescription, which some clients read);
//     to HTTP/1.0 clients they are sent unframed and the connection closes.
//   HTTP errors carry the CIMError header where DSP0200 defines one, and a
//     text/plain explanation.
//   With credentials: HTTP Basic, checked in constant time; 401 with
//     WWW-Authenticate otherwise.
//   Limits: a body over maxRequestSize gets 413; a request line and headers
//     over maxHeaderSize end the connection; a connection beyond
//     maxConnections gets 503 (over HTTPS it is closed) and is logged; a
//     client silent for idleTimeoutSeconds is disconnected.
//   Every connection has TCP_NODELAY. Connections are kept alive between
//     requests. SIGPIPE is ignored by the process once start() has run.
//
// Threads: start() and stop() are called from one controlling thread; each
// connection is served on a thread of its own.
class HttpFrontEnd {
 public:
  HttpFrontEnd(HttpSettings settings, const CimService& service);
  // Stops first.
  ~HttpFrontEnd();
  HttpFrontEnd(const HttpFrontEnd&) = delete;
  HttpFrontEnd& operator=(const HttpFrontEnd&) = delete;

  // Loads the TLS files, binds and starts accepting connections on a thread
  // of its own; returns the port listened on. Throws std::runtime_error with
  // the reason when it cannot.
  int start();
  // Stops accepting connections, lets the requests in flight finish, closes
  // idle connections and waits for every connection thread. Idempotent.
  void stop();
  // True when start() succeeded and stop() has not run.
  bool running() const;
  // "http" or "https".
  const char* scheme() const;

 private:
  class Impl;
  std::unique_ptr<Impl> _impl;
};

}  // namespace kest::server
