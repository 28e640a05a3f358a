#include "server/HttpFrontEnd.h"

#include <openssl/err.h>
#include <openssl/ssl.h>

#include <algorithm>
#include <atomic>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/strand.hpp>
#include <csignal>
#include <future>
#include <optional>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

#include "server/Logging.h"
#include "server/http/ConnectionRegistry.h"
#include "server/http/Session.h"
#include "server/http/WorkerPool.h"

namespace kest::server {

namespace {

namespace asio = boost::asio;
using tcp = asio::ip::tcp;
using Clock = std::chrono::steady_clock;

const ServerLog kLog("kest::server::HttpFrontEnd");
// Time given to the connections abandoned at the end of the grace period to
// write their failure answers.
constexpr std::chrono::seconds kAbandonTime{2};
// Pause before accepting again after accept() failed (no file descriptor
// left, for one).
constexpr std::chrono::milliseconds kAcceptRetry{100};

std::string openSslError() {
  const unsigned long code = ERR_get_error();
  if (code == 0) return "unknown TLS error";
  char text[256];
  ERR_error_string_n(code, text, sizeof text);
  ERR_clear_error();
  return text;
}

std::size_t ioThreadCount(const HttpSettings& settings) {
  if (settings.ioThreads > 0) return settings.ioThreads;
  return std::clamp<std::size_t>(std::thread::hardware_concurrency(), 2, 4);
}

std::size_t workerThreadCount(const HttpSettings& settings) {
  if (settings.workerThreads > 0) return settings.workerThreads;
  return std::max<std::size_t>(8, 2 * std::thread::hardware_concurrency());
}

http::SessionEnvironment sessionEnvironment(const HttpSettings& settings,
                                            const CimService& service) {
  http::SessionEnvironment env;
  env.limits.maxHeaderSize = settings.maxHeaderSize;
  env.limits.maxBodySize = settings.maxRequestSize;
  env.limits.idleTimeout = std::chrono::seconds(settings.idleTimeoutSeconds);
  env.limits.headerTimeout = std::chrono::seconds(settings.headerTimeoutSeconds);
  env.limits.bodyTimeout = std::chrono::seconds(settings.bodyTimeoutSeconds);
  env.limits.writeTimeout = std::chrono::seconds(settings.idleTimeoutSeconds);
  env.limits.requestTimeout = std::chrono::seconds(settings.requestTimeoutSeconds);
  env.rules.maxLineSize = settings.maxHeaderLineSize;
  env.rules.user = settings.user;
  env.rules.password = settings.password;
  env.service = &service;
  return env;
}

}  // namespace

// Members are destroyed in reverse order: the workers first (a job still
// running holds its connection), then the I/O context and with it every
// connection, then the registry that connections use.
class HttpFrontEnd::Impl {
 public:
  Impl(HttpSettings settings, const CimService& service)
      : settings(std::move(settings)),
        registry(this->settings.maxConnections, this->settings.maxOpenConnections),
        env(sessionEnvironment(this->settings, service)),
        acceptor(asio::make_strand(io)),
        acceptRetry(acceptor.get_executor()),
        workers(workerThreadCount(this->settings)) {
    env.workers = &workers;
    env.registry = &registry;
    env.stopping = [this] { return stopping.load(); };
  }

  void loadTls() {
    if (settings.tlsCertificate.empty() && settings.tlsKey.empty()) return;
    if (settings.tlsCertificate.empty() || settings.tlsKey.empty()) {
      throw std::runtime_error("HTTPS needs both a TLS certificate and a TLS key");
    }
    tls.emplace(asio::ssl::context::tls_server);
    SSL_CTX* context = tls->native_handle();
    SSL_CTX_set_min_proto_version(context, TLS1_2_VERSION);
    if (SSL_CTX_use_certificate_chain_file(context, settings.tlsCertificate.c_str()) != 1) {
      throw std::runtime_error("TLS certificate " + settings.tlsCertificate + ": " +
                               openSslError());
    }
    if (SSL_CTX_use_PrivateKey_file(context, settings.tlsKey.c_str(), SSL_FILETYPE_PEM) != 1) {
      throw std::runtime_error("TLS key " + settings.tlsKey + ": " + openSslError());
    }
    if (SSL_CTX_check_private_key(context) != 1) {
      throw std::runtime_error("TLS key " + settings.tlsKey + " does not match the certificate " +
                               settings.tlsCertificate);
    }
  }

  int listen() {
    const std::string where = settings.address + ":" + std::to_string(settings.port);
    boost::system::error_code ec;
    tcp::resolver resolver(io);
    const auto endpoints = resolver.resolve(settings.address, std::to_string(settings.port),
                                            tcp::resolver::passive, ec);
    if (ec || endpoints.empty()) {
      throw std::runtime_error("cannot listen on " + where + ": " + ec.message());
    }
    const tcp::endpoint endpoint = endpoints.begin()->endpoint();
    acceptor.open(endpoint.protocol(), ec);
    if (!ec) acceptor.set_option(tcp::acceptor::reuse_address(true), ec);
    if (!ec) acceptor.bind(endpoint, ec);
    if (!ec) acceptor.listen(asio::socket_base::max_listen_connections, ec);
    if (ec) {
      boost::system::error_code ignored;
      acceptor.close(ignored);
      throw std::runtime_error("cannot listen on " + where + ": " + ec.message());
    }
    return acceptor.local_endpoint().port();
  }

  void accept() {
    acceptor.async_accept(asio::make_strand(io),
                          [this](boost::system::error_code ec, tcp::socket socket) {
                            if (stopping || !acceptor.is_open()) return;
                            if (ec) {
                              kLog.warning("accepting a connection failed: " + ec.message());
                              acceptRetry.expires_after(kAcceptRetry);
                              acceptRetry.async_wait([this](boost::system::error_code waited) {
                                if (!waited) accept();
                              });
                              return;
                            }
                            http::serveConnection(std::move(socket), tls ? &*tls : nullptr, env);
                            accept();
                          });
  }

  // Closes the acceptor on its strand and waits until it is closed.
  void stopAccepting() {
    std::promise<void> closed;
    asio::post(acceptor.get_executor(), [this, &closed] {
      boost::system::error_code ignored;
      acceptor.close(ignored);
      acceptRetry.cancel();
      closed.set_value();
    });
    closed.get_future().wait();
  }

  const HttpSettings settings;
  http::ConnectionRegistry registry;
  http::SessionEnvironment env;
  std::optional<asio::ssl::context> tls;
  std::atomic<bool> stopping{false};
  bool started = false;
  // The port bound to; 0 until bind() has succeeded.
  int port = 0;
  asio::io_context io;
  std::optional<asio::executor_work_guard<asio::io_context::executor_type>> work;
  tcp::acceptor acceptor;
  asio::steady_timer acceptRetry;
  std::vector<std::thread> ioThreads;
  http::WorkerPool workers;
};

HttpFrontEnd::HttpFrontEnd(HttpSettings settings, const CimService& service)
    : _impl(std::make_unique<Impl>(std::move(settings), service)) {}

HttpFrontEnd::~HttpFrontEnd() { stop(std::chrono::milliseconds(0)); }

int HttpFrontEnd::bind() {
  Impl& impl = *_impl;
  if (impl.port != 0) return impl.port;
  impl.loadTls();
  impl.port = impl.listen();
  return impl.port;
}

int HttpFrontEnd::start() {
  Impl& impl = *_impl;
  if (impl.started) throw std::runtime_error("the HTTP front end is already running");
  std::signal(SIGPIPE, SIG_IGN);
  const int port = bind();
  impl.work.emplace(impl.io.get_executor());
  impl.accept();
  for (std::size_t i = ioThreadCount(impl.settings); i > 0; --i) {
    impl.ioThreads.emplace_back([&impl] { impl.io.run(); });
  }
  impl.started = true;
  return port;
}

bool HttpFrontEnd::stop(std::chrono::milliseconds grace) {
  Impl& impl = *_impl;
  if (!impl.started) return true;
  impl.started = false;
  const Clock::time_point deadline = Clock::now() + grace;
  impl.stopping = true;
  impl.stopAccepting();
  impl.registry.drainAll();
  if (!impl.registry.awaitEmpty(deadline)) {
    kLog.warning(std::to_string(impl.registry.size()) +
                 " connection(s) still busy at the end of the grace period: their requests "
                 "fail");
    impl.registry.abandonAll();
    if (!impl.registry.awaitEmpty(Clock::now() + kAbandonTime)) {
      // Answers still being written to slow clients are cut short, which
      // also releases the workers waiting on them.
      impl.registry.abandonAll();
      impl.registry.awaitEmpty(Clock::now() + kAbandonTime);
    }
  }
  const bool finished = impl.workers.stop(std::max(deadline, Clock::now()));
  if (!finished) {
    kLog.error("a request is still running in a provider after the grace period");
  }
  impl.work.reset();
  impl.io.stop();
  for (std::thread& thread : impl.ioThreads) thread.join();
  impl.ioThreads.clear();
  return finished;
}

bool HttpFrontEnd::running() const { return _impl->started; }

const char* HttpFrontEnd::scheme() const {
  return _impl->settings.tlsCertificate.empty() ? "http" : "https";
}

}  // namespace kest::server
