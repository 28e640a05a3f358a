#pragma once

#include <chrono>
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
  std::size_t maxHeaderSize = 64 * 1024;          // bytes of a request line and headers together
  std::size_t maxHeaderLineSize = 8 * 1024;       // bytes of the request line, or of one header
  std::size_t maxConnections = 64;                // connections doing something at once
  std::size_t maxOpenConnections = 10000;         // connections open at once, idle ones included
  int idleTimeoutSeconds = 30;      // a connection silent between requests is closed after this
  int headerTimeoutSeconds = 5;     // a request's first byte to its complete header (and TLS)
  int bodyTimeoutSeconds = 60;      // a request's complete header to its complete body
  int requestTimeoutSeconds = 300;  // a complete request to the first byte of its response
  std::size_t ioThreads = 0;        // threads serving connections; 0: 2 to 4 by the machine
  std::size_t workerThreads = 0;    // threads running requests; 0: twice the cores, at least 8
};

// HttpFrontEnd: serves CIM operations over HTTP (DSP0200) for a CimService:
// Boost.Beast reads the requests from connections served asynchronously on
// a few I/O threads (a connection costs memory, not a thread), and the
// requests run on a pool of worker threads of their own, so that a slow
// provider never holds up the connections. HTTPS through Asio's OpenSSL
// stream.
//
//   POST and M-POST to /cimom (M-POST with a Man header for the CIM mapping,
//     whose ns prefix then applies to the CIM headers of request and
//     response; without one: 510 Not Extended). Other paths: 404; other
//     methods: 405 (server/http/RequestHead.h has every check of a head).
//   Responses carry "CIMOperation: MethodResponse". Results of the operations
//     that return lists are sent in chunks as they are produced, ending with
//     the trailers CIMStatusCode and, on failure, CIMStatusCodeDescription
//     (and the same text as CIMStatusDescription, which some clients read);
//     to HTTP/1.0 clients they are sent unframed and the connection closes.
//   HTTP errors carry the CIMError header where DSP0200 defines one, and a
//     text/plain explanation. A refused head or a body that cannot be read
//     closes the connection after its answer.
//   With credentials: HTTP Basic, checked in constant time; 401 with
//     WWW-Authenticate otherwise.
//   Limits: a Content-Length over maxRequestSize gets 413 before the body is
//     read, as does a chunked body that grows beyond it; a Content-Length
//     that is not a number, or two different ones: 400; headers over
//     maxHeaderSize: 431; a request line over maxHeaderLineSize: 414, a
//     header line over it: 431. Deadlines, each on its own: idle time
//     between requests, the header from its first byte, the body, and the
//     request's result (then CIM_ERR_FAILED, the late result discarded); a
//     connection that misses the first three is closed. maxConnections
//     counts connections with a request in progress: idle and slow ones
//     are closed first to make room (see http::ConnectionRegistry), and a
//     request is refused with 503 only when every one is busy;
//     maxOpenConnections bounds the connections open at once the same way.
//   Every connection has TCP_NODELAY. Connections are kept alive between
//     requests. SIGPIPE is ignored by the process once start() has run.
//
// Threads: start() and stop() are called from one controlling thread.
class HttpFrontEnd {
 public:
  HttpFrontEnd(HttpSettings settings, const CimService& service);
  // Stops first (with no grace period when stop() has not run).
  ~HttpFrontEnd();
  HttpFrontEnd(const HttpFrontEnd&) = delete;
  HttpFrontEnd& operator=(const HttpFrontEnd&) = delete;

  // Loads the TLS files and binds the listening socket without accepting
  // yet (connections wait in the backlog), so that the port is known before
  // the server's providers start; returns the port. Once it has succeeded,
  // later calls return the same port. Throws std::runtime_error with the
  // reason when it cannot.
  int bind();
  // Binds (when bind() has not run) and starts accepting connections;
  // returns the port listened on. Throws std::runtime_error with the reason
  // when it cannot.
  int start();
  // Stops accepting connections and closes the idle ones; lets the requests
  // in flight finish for up to grace, then answers those still waiting for
  // their result with CIM_ERR_FAILED and closes every connection. Returns
  // true when no request is still running in a worker (a provider call that
  // has not returned), false otherwise: the caller must then not destroy
  // what such a call may use. Idempotent (true when not running).
  bool stop(std::chrono::milliseconds grace = std::chrono::seconds(10));
  // True when start() succeeded and stop() has not run.
  bool running() const;
  // "http" or "https".
  const char* scheme() const;

 private:
  class Impl;
  std::unique_ptr<Impl> _impl;
};

}  // namespace kest::server
