#pragma once

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/context.hpp>
#include <chrono>
#include <cstddef>
#include <functional>

#include "server/http/ConnectionRegistry.h"
#include "server/http/RequestHead.h"
#include "server/http/WorkerPool.h"

namespace kest::server {
class CimService;
}

namespace kest::server::http {

// The limits and time-outs a connection is served with.
struct SessionLimits {
  std::size_t maxHeaderSize = 64 * 1024;
  std::size_t maxBodySize = 16 * 1024 * 1024;
  std::chrono::milliseconds idleTimeout{30000};  // waiting for a request's first byte
  std::chrono::milliseconds headerTimeout{
      5000};  // first byte to complete header (and TLS handshake)
  std::chrono::milliseconds bodyTimeout{60000};      // complete header to complete body
  std::chrono::milliseconds writeTimeout{30000};     // for each piece of a response written
  std::chrono::milliseconds requestTimeout{300000};  // body complete to the response's first byte
};

// What every connection shares; owned by the front end, which outlives its
// connections.
struct SessionEnvironment {
  SessionLimits limits;
  HeadRules rules;
  const CimService* service = nullptr;
  WorkerPool* workers = nullptr;
  ConnectionRegistry* registry = nullptr;
  // True once the server stops: no new request is started.
  std::function<bool()> stopping;
};

// Serves one accepted connection (socket's executor must be a strand of the
// front end's I/O context): reads requests with the limits and deadlines of
// env, hands each complete request to the worker pool, and writes the
// response; keeps the connection alive between requests. Over TLS (tls not
// null) a handshake comes first. A connection the registry does not admit
// is answered 503 (over TLS: closed) at once. Everything happens on the
// socket's strand; the call returns at once.
void serveConnection(boost::asio::ip::tcp::socket socket, boost::asio::ssl::context* tls,
                     SessionEnvironment& env);

}  // namespace kest::server::http
