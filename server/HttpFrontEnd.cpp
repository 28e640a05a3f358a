#include "server/HttpFrontEnd.h"

// The one translation unit that includes cpp-httplib.
#include <httplib.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/ssl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <list>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <utility>

#include "host/Ascii.h"
#include "server/Logging.h"

namespace kest::server {

namespace {

const ServerLog kLog("kest::server::HttpFrontEnd");
constexpr const char* kXmlContentType = "application/xml; charset=\"utf-8\"";
constexpr const char* kCimMapping = "http://www.dmtf.org/cim/mapping/http/v1.0";
constexpr std::size_t kMaxRequestsPerConnection = 1000000;

std::string openSslError() {
  const unsigned long code = ERR_get_error();
  if (code == 0) return "unknown TLS error";
  char text[256];
  ERR_error_string_n(code, text, sizeof text);
  ERR_clear_error();
  return text;
}

void addressOf(const sockaddr_storage& address, std::string& ip, int& port) {
  char text[INET6_ADDRSTRLEN] = "";
  if (address.ss_family == AF_INET) {
    const auto& in = reinterpret_cast<const sockaddr_in&>(address);
    inet_ntop(AF_INET, &in.sin_addr, text, sizeof text);
    port = ntohs(in.sin_port);
  } else if (address.ss_family == AF_INET6) {
    const auto& in6 = reinterpret_cast<const sockaddr_in6&>(address);
    inet_ntop(AF_INET6, &in6.sin6_addr, text, sizeof text);
    port = ntohs(in6.sin6_port);
  }
  ip = text;
}

// One client connection: the socket (with TLS over it when the front end
// speaks HTTPS), a read buffer, and the state of the request being served.
// cpp-httplib reads requests from it and writes responses to it.
class Connection : public httplib::Stream {
 public:
  Connection(int socket, SSL* ssl, int stopEvent, int timeoutMs, std::size_t maxHeaderBytes,
             std::size_t maxBodyBytes)
      : _socket(socket),
        _ssl(ssl),
        _stopEvent(stopEvent),
        _timeoutMs(timeoutMs),
        _maxRequestBytes(maxHeaderBytes + maxBodyBytes) {}

  bool is_readable() const override { return buffered() > 0 || wait(POLLIN, false) > 0; }
  bool is_writable() const override { return wait(POLLOUT, false) > 0; }

  ssize_t read(char* ptr, size_t size) override {
    if (buffered() == 0 && !fill(false)) return -1;
    if (_requestBytes >= _maxRequestBytes) {
      kLog.warning("a request from " + peer() + " exceeds " + std::to_string(_maxRequestBytes) +
                   " bytes; connection closed");
      return -1;
    }
    const std::size_t n = std::min({size, buffered(), _maxRequestBytes - _requestBytes});
    std::memcpy(ptr, _buffer + _begin, n);
    _begin += n;
    _requestBytes += n;
    return static_cast<ssize_t>(n);
  }

  ssize_t write(const char* ptr, size_t size) override {
    if (_ssl != nullptr) {
      const int n = SSL_write(_ssl, ptr, static_cast<int>(std::min<size_t>(size, 1 << 30)));
      return n > 0 ? n : -1;
    }
    const ssize_t n = ::send(_socket, ptr, size, MSG_NOSIGNAL);
    return n;
  }

  void get_remote_ip_and_port(std::string& ip, int& port) const override {
    sockaddr_storage address{};
    socklen_t length = sizeof address;
    ip.clear();
    port = 0;
    if (getpeername(_socket, reinterpret_cast<sockaddr*>(&address), &length) == 0) {
      addressOf(address, ip, port);
    }
  }

  void get_local_ip_and_port(std::string& ip, int& port) const override {
    sockaddr_storage address{};
    socklen_t length = sizeof address;
    ip.clear();
    port = 0;
    if (getsockname(_socket, reinterpret_cast<sockaddr*>(&address), &length) == 0) {
      addressOf(address, ip, port);
    }
  }

  int socket() const override { return _socket; }

  // Waits for the next request; false when the client closed the connection,
  // stayed silent for the idle time, or the server is stopping.
  bool awaitRequest() { return buffered() > 0 || fill(true); }

  // Starts serving a request: resets its state and, for an M-POST, removes
  // the "M-" so that cpp-httplib sees a POST (extended then says so).
  void startRequest() {
    _requestBytes = 0;
    closeAfterResponse = false;
    extended = false;
    static constexpr std::string_view kExtendedPost = "M-POST ";
    while (buffered() < kExtendedPost.size() &&
           std::string_view(_buffer + _begin, buffered()) == kExtendedPost.substr(0, buffered())) {
      if (!fill(false)) return;
    }
    if (std::string_view(_buffer + _begin, std::min(buffered(), kExtendedPost.size())) ==
        kExtendedPost) {
      _begin += 2;
      extended = true;
    }
  }

  std::string peer() const {
    std::string ip;
    int port = 0;
    get_remote_ip_and_port(ip, port);
    return ip + ":" + std::to_string(port);
  }

  // Per-request state that the request handlers set.
  bool extended = false;            // the request came as M-POST
  std::string headerPrefix;         // "NN-" of an M-POST, else empty
  bool closeAfterResponse = false;  // the body was not read, or it must close

 private:
  std::size_t buffered() const { return _end - _begin; }

  // Waits for events on the socket (and, with stoppable, for the stop
  // event); the poll result, 0 on time-out, -1 when stopping.
  int wait(short events, bool stoppable) const {
    if (events == POLLIN && _ssl != nullptr && SSL_pending(_ssl) > 0) return 1;
    pollfd fds[2] = {{_socket, events, 0}, {_stopEvent, POLLIN, 0}};
    int result;
    do {
      result = ::poll(fds, stoppable ? 2 : 1, _timeoutMs);
    } while (result < 0 && errno == EINTR);
    if (result > 0 && stoppable && (fds[1].revents & POLLIN) != 0 &&
        (fds[0].revents & events) == 0) {
      return -1;
    }
    return result;
  }

  // Reads more after what the buffer holds; false on end of stream, error,
  // time-out or, with stoppable, stop.
  bool fill(bool stoppable) {
    if (_begin > 0) {
      std::memmove(_buffer, _buffer + _begin, buffered());
      _end -= _begin;
      _begin = 0;
    }
    if (_end == sizeof _buffer) return true;
    if (wait(POLLIN, stoppable) <= 0) return false;
    ssize_t n;
    if (_ssl != nullptr) {
      n = SSL_read(_ssl, _buffer + _end, static_cast<int>(sizeof _buffer - _end));
    } else {
      do {
        n = ::recv(_socket, _buffer + _end, sizeof _buffer - _end, 0);
      } while (n < 0 && errno == EINTR);
    }
    if (n <= 0) return false;
    _end += static_cast<std::size_t>(n);
    return true;
  }

  const int _socket;
  SSL* const _ssl;
  const int _stopEvent;
  const int _timeoutMs;
  const std::size_t _maxRequestBytes;
  std::size_t _requestBytes = 0;
  char _buffer[16 * 1024];
  std::size_t _begin = 0;
  std::size_t _end = 0;
};

// The connection this thread serves (set while a connection thread runs
// cpp-httplib's request processing, so that the handlers reach it).
thread_local Connection* tConnection = nullptr;
// Set while the accepting thread refuses a connection over the limit.
thread_local bool tRefusing = false;

// Runs each connection on a thread of its own, at most maxConnections at
// once; a connection beyond that is run on the accepting thread with
// tRefusing set, which makes it refused at once.
class ConnectionThreads : public httplib::TaskQueue {
 public:
  explicit ConnectionThreads(std::size_t maxConnections) : _max(maxConnections) {}
  ~ConnectionThreads() override { shutdown(); }

  void enqueue(std::function<void()> fn) override {
    std::unique_lock<std::mutex> lock(_mutex);
    joinFinished(lock);
    if (_threads.size() >= _max) {
      lock.unlock();
      tRefusing = true;
      fn();
      tRefusing = false;
      return;
    }
    _threads.emplace_back();
    const auto self = std::prev(_threads.end());
    self->thread = std::thread([this, self, fn = std::move(fn)]() {
      fn();
      std::lock_guard<std::mutex> done(_mutex);
      self->finished = true;
      _changed.notify_all();
    });
  }

  void shutdown() override {
    std::unique_lock<std::mutex> lock(_mutex);
    _changed.wait(lock, [this] {
      for (const Worker& worker : _threads) {
        if (!worker.finished) return false;
      }
      return true;
    });
    joinFinished(lock);
  }

 private:
  struct Worker {
    std::thread thread;
    bool finished = false;  // guarded by _mutex
  };

  // Joins and forgets the threads whose connection is over.
  void joinFinished(std::unique_lock<std::mutex>& lock) {
    std::list<Worker> finished;
    for (auto it = _threads.begin(); it != _threads.end();) {
      if (it->finished) {
        auto next = std::next(it);
        finished.splice(finished.end(), _threads, it);
        it = next;
      } else {
        ++it;
      }
    }
    if (finished.empty()) return;
    lock.unlock();
    for (Worker& worker : finished) worker.thread.join();
    lock.lock();
  }

  const std::size_t _max;
  std::mutex _mutex;
  std::condition_variable _changed;
  std::list<Worker> _threads;  // guarded by _mutex
};

// cpp-httplib's server with the connection handling of the front end: its
// own accept-side limits, TLS, TCP_NODELAY, idle time-outs and M-POST.
class CimHttpServer : public httplib::Server {
 public:
  CimHttpServer(const HttpSettings& settings, SSL_CTX* tls, int stopEvent,
                const std::atomic<bool>& stopping)
      : _settings(settings), _tls(tls), _stopEvent(stopEvent), _stopping(stopping) {}

  // Makes accept() fail so that the accepting loop ends (it then waits for
  // the connection threads); requests in flight are not cut short.
  void stopAccepting() {
    const socket_t listening = svr_sock_;
    if (listening != INVALID_SOCKET) ::shutdown(listening, SHUT_RDWR);
  }

 private:
  bool process_and_close_socket(socket_t socket) override {
    if (tRefusing || _stopping) {
      refuse(socket);
      return true;
    }
    const int yes = 1;
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
    timeval timeout{_settings.idleTimeoutSeconds, 0};
    setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
    setsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, &timeout, sizeof timeout);

    SSL* ssl = nullptr;
    if (_tls != nullptr) {
      ssl = SSL_new(_tls);
      if (ssl == nullptr || SSL_set_fd(ssl, socket) != 1 || SSL_accept(ssl) != 1) {
        kLog.warning("TLS handshake failed: " + openSslError());
        if (ssl != nullptr) SSL_free(ssl);
        close(socket);
        return true;
      }
    }
    {
      Connection connection(socket, ssl, _stopEvent, _settings.idleTimeoutSeconds * 1000,
                            _settings.maxHeaderSize, _settings.maxRequestSize);
      tConnection = &connection;
      for (std::size_t served = 0; served < kMaxRequestsPerConnection; ++served) {
        if (_stopping || !connection.awaitRequest()) break;
        connection.startRequest();
        const bool last = _stopping || served + 1 == kMaxRequestsPerConnection;
        bool closed = false;
        if (!process_request(connection, last, closed, nullptr)) break;
        if (closed || last || connection.closeAfterResponse) break;
      }
      tConnection = nullptr;
    }
    if (ssl != nullptr) {
      SSL_shutdown(ssl);
      SSL_free(ssl);
    }
    ::shutdown(socket, SHUT_RDWR);
    close(socket);
    return true;
  }

  // Answers a connection over the limit (or arriving while stopping) at once
  // and closes it.
  void refuse(socket_t socket) {
    std::string peer = "a client";
    {
      sockaddr_storage address{};
      socklen_t length = sizeof address;
      if (getpeername(socket, reinterpret_cast<sockaddr*>(&address), &length) == 0) {
        int port = 0;
        addressOf(address, peer, port);
        peer += ":" + std::to_string(port);
      }
    }
    const std::string reason = _stopping ? std::string("the server is stopping")
                                         : "too many connections (the limit is " +
                                               std::to_string(_settings.maxConnections) + ")";
    kLog.warning("connection from " + peer + " refused: " + reason);
    if (_tls == nullptr) {
      const std::string text = "kest-server: " + reason + "\n";
      const std::string response =
          "HTTP/1.1 503 Service Unavailable\r\nContent-Type: text/plain\r\n"
          "Connection: close\r\nContent-Length: " +
          std::to_string(text.size()) + "\r\n\r\n" + text;
      ::send(socket, response.data(), response.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
      ::shutdown(socket, SHUT_WR);
      char drain[4096];
      while (::recv(socket, drain, sizeof drain, MSG_DONTWAIT) > 0) {
      }
    }
    close(socket);
  }

  const HttpSettings& _settings;
  SSL_CTX* const _tls;
  const int _stopEvent;
  const std::atomic<bool>& _stopping;
};

// A response body written into cpp-httplib's sink: in HTTP chunks (with the
// final status as trailers) or, for HTTP/1.0, as it is.
class SinkBody : public ResponseBody {
 public:
  SinkBody(httplib::DataSink& sink, bool chunked, std::string headerPrefix)
      : _sink(sink), _chunked(chunked), _prefix(std::move(headerPrefix)) {}

  bool write(std::string_view bytes) override {
    if (bytes.empty()) return true;
    if (!_chunked) return _sink.write(bytes.data(), bytes.size());
    char size[24];
    const int length = std::snprintf(size, sizeof size, "%zx\r\n", bytes.size());
    _frame.assign(size, static_cast<std::size_t>(length));
    _frame.append(bytes);
    _frame.append("\r\n");
    return _sink.write(_frame.data(), _frame.size());
  }

  bool finish(const CimError& status) {
    if (!_chunked) return true;
    std::string end =
        "0\r\n" + _prefix + "CIMStatusCode: " + std::to_string(status.code()) + "\r\n";
    if (status.code() != CIM_OK) {
      const std::string description = percentEncoded(status.description());
      end += _prefix + "CIMStatusCodeDescription: " + description + "\r\n";
      end += _prefix + "CIMStatusDescription: " + description + "\r\n";
    }
    end += "\r\n";
    return _sink.write(end.data(), end.size());
  }

 private:
  httplib::DataSink& _sink;
  const bool _chunked;
  const std::string _prefix;
  std::string _frame;
};

// True when the Authorization header carries exactly user:password. The
// comparison takes the same time whatever the credentials given.
bool authorized(const std::string& header, const std::string& expected) {
  if (!ascii::equalsIgnoreCase(header.substr(0, 6), "basic ")) return false;
  std::string encoded = header.substr(6);
  while (!encoded.empty() && encoded.front() == ' ') encoded.erase(0, 1);
  while (!encoded.empty() && encoded.back() == ' ') encoded.pop_back();
  std::string decoded(encoded.size() / 4 * 3 + 3, '\0');
  const int length = EVP_DecodeBlock(reinterpret_cast<unsigned char*>(decoded.data()),
                                     reinterpret_cast<const unsigned char*>(encoded.data()),
                                     static_cast<int>(encoded.size()));
  if (length < 0 || encoded.size() % 4 != 0) return false;
  std::size_t size = static_cast<std::size_t>(length);
  if (!encoded.empty() && encoded.back() == '=') --size;
  if (encoded.size() >= 2 && encoded[encoded.size() - 2] == '=') --size;
  decoded.resize(size);
  unsigned char given[EVP_MAX_MD_SIZE];
  unsigned char wanted[EVP_MAX_MD_SIZE];
  unsigned int givenLength = 0;
  unsigned int wantedLength = 0;
  EVP_Digest(decoded.data(), decoded.size(), given, &givenLength, EVP_sha256(), nullptr);
  EVP_Digest(expected.data(), expected.size(), wanted, &wantedLength, EVP_sha256(), nullptr);
  return givenLength == wantedLength && CRYPTO_memcmp(given, wanted, givenLength) == 0;
}

// The ns prefix ("NN-") of an M-POST's Man header for the CIM mapping; empty
// when it has none.
std::string extensionPrefix(const std::string& man) {
  if (man.find(kCimMapping) == std::string::npos) return std::string();
  const std::size_t ns = ascii::folded(man).find("ns=");
  if (ns == std::string::npos) return std::string();
  std::size_t end = ns + 3;
  while (end < man.size() && man[end] >= '0' && man[end] <= '9') ++end;
  if (end == ns + 3) return std::string();
  return man.substr(ns + 3, end - ns - 3) + "-";
}

const char* statusText(int status) {
  switch (status) {
    case 400:
      return "bad request";
    case 404:
      return "not found: CIM operations go to /cimom";
    case 405:
      return "method not allowed: use POST or M-POST";
    case 413:
      return "the request body is too large";
    case 414:
      return "the request line is too long";
    default:
      return "request refused";
  }
}

}  // namespace

class HttpFrontEnd::Impl {
 public:
  Impl(HttpSettings settings, const CimService& service)
      : settings(std::move(settings)), service(service) {}

  ~Impl() {
    if (tls != nullptr) SSL_CTX_free(tls);
    if (stopEvent >= 0) close(stopEvent);
  }

  void loadTls() {
    if (settings.tlsCertificate.empty() && settings.tlsKey.empty()) return;
    if (settings.tlsCertificate.empty() || settings.tlsKey.empty()) {
      throw std::runtime_error("HTTPS needs both a TLS certificate and a TLS key");
    }
    tls = SSL_CTX_new(TLS_server_method());
    if (tls == nullptr) throw std::runtime_error("cannot set up TLS: " + openSslError());
    SSL_CTX_set_min_proto_version(tls, TLS1_2_VERSION);
    if (SSL_CTX_use_certificate_chain_file(tls, settings.tlsCertificate.c_str()) != 1) {
      throw std::runtime_error("TLS certificate " + settings.tlsCertificate + ": " +
                               openSslError());
    }
    if (SSL_CTX_use_PrivateKey_file(tls, settings.tlsKey.c_str(), SSL_FILETYPE_PEM) != 1) {
      throw std::runtime_error("TLS key " + settings.tlsKey + ": " + openSslError());
    }
    if (SSL_CTX_check_private_key(tls) != 1) {
      throw std::runtime_error("TLS key " + settings.tlsKey + " does not match the certificate " +
                               settings.tlsCertificate);
    }
  }

  void configure() {
    server = std::make_unique<CimHttpServer>(settings, tls, stopEvent, stopping);
    const std::size_t maxConnections = settings.maxConnections;
    server->new_task_queue = [maxConnections] { return new ConnectionThreads(maxConnections); };
    server->set_payload_max_length(settings.maxRequestSize);
    server->set_read_timeout(settings.idleTimeoutSeconds, 0);
    server->set_write_timeout(settings.idleTimeoutSeconds, 0);
    server->set_keep_alive_timeout(settings.idleTimeoutSeconds);
    server->set_keep_alive_max_count(kMaxRequestsPerConnection);
    server->set_tcp_nodelay(true);

    server->set_pre_routing_handler(
        [this](const httplib::Request& request, httplib::Response& response) {
          return preRouting(request, response);
        });
    server->Post("/cimom", [this](const httplib::Request& request, httplib::Response& response) {
      serve(request, response);
    });
    server->set_error_handler(httplib::Server::HandlerWithResponse(
        [](const httplib::Request&, httplib::Response& response) {
          // Errors of cpp-httplib's own (a request it could not read, a body
          // over the limit, an unknown path) get a text body and end the
          // connection, as the rest of the request may not have been read.
          if (!response.body.empty() || response.has_header("CIMError")) {
            return httplib::Server::HandlerResponse::Unhandled;
          }
          if (tConnection != nullptr) tConnection->closeAfterResponse = true;
          response.set_content(std::string("kest-server: ") + statusText(response.status) + "\n",
                               "text/plain");
          return httplib::Server::HandlerResponse::Handled;
        }));
    server->set_exception_handler(
        [](const httplib::Request&, httplib::Response& response, std::exception_ptr error) {
          std::string what = "unknown exception";
          try {
            std::rethrow_exception(error);
          } catch (const std::exception& e) {
            what = e.what();
          } catch (...) {
          }
          kLog.error("request failed: " + what);
          response.status = 500;
          response.set_content("kest-server: internal error\n", "text/plain");
          if (tConnection != nullptr) tConnection->closeAfterResponse = true;
        });
  }

  httplib::Server::HandlerResponse preRouting(const httplib::Request& request,
                                              httplib::Response& response) const {
    Connection* connection = tConnection;
    const auto refuse = [&](int status, const std::string& text) {
      response.status = status;
      response.set_content("kest-server: " + text + "\n", "text/plain");
      if (connection != nullptr) connection->closeAfterResponse = true;
      return httplib::Server::HandlerResponse::Handled;
    };
    if (!settings.user.empty() && !authorized(request.get_header_value("Authorization"),
                                              settings.user + ":" + settings.password)) {
      kLog.warning("unauthorised request from " + request.remote_addr);
      response.set_header("WWW-Authenticate", "Basic realm=\"kest-server\"");
      return refuse(401, "authentication required");
    }
    if (request.method != "POST") {
      response.set_header("Allow", "POST, M-POST");
      return refuse(405, statusText(405));
    }
    if (connection != nullptr && connection->extended) {
      connection->headerPrefix = extensionPrefix(request.get_header_value("Man"));
      if (connection->headerPrefix.empty()) {
        return refuse(510, "an M-POST needs a Man header for " + std::string(kCimMapping));
      }
      response.set_header("Ext", "");
    } else if (connection != nullptr) {
      connection->headerPrefix.clear();
    }
    return httplib::Server::HandlerResponse::Unhandled;
  }

  void serve(const httplib::Request& request, httplib::Response& response) const {
    const std::string prefix = tConnection != nullptr ? tConnection->headerPrefix : std::string();
    CimHttpRequest cim;
    cim.header = [&request, &prefix](const char* name) -> std::optional<std::string> {
      const std::string key = prefix + name;
      if (!request.has_header(key)) return std::nullopt;
      return request.get_header_value(key);
    };
    cim.body = request.body;
    std::string host = request.get_header_value("Host");
    if (host.empty()) host = request.local_addr + ":" + std::to_string(request.local_port);
    cim.host = TOVString(host);

    CimResponse answer = service.handle(cim);
    kLog.debug(request.remote_addr + " " + request.get_header_value(prefix + "CIMMethod") + ": " +
               std::to_string(answer.httpStatus));
    if (answer.httpStatus != 200) {
      response.status = answer.httpStatus;
      if (!answer.cimError.empty()) response.set_header(prefix + "CIMError", answer.cimError);
      response.set_content("kest-server: " + answer.detail + "\n", "text/plain");
      return;
    }
    response.status = 200;
    response.set_header(prefix + "CIMOperation", "MethodResponse");
    if (!answer.streamed) {
      StringBody body;
      answer.writeBody(body);
      response.set_content(body.text(), kXmlContentType);
      return;
    }
    const bool chunked = request.version == "HTTP/1.1";
    if (chunked) {
      response.set_header("Transfer-Encoding", "chunked");
      response.set_header("Trailer", prefix + "CIMStatusCode, " + prefix +
                                         "CIMStatusCodeDescription, " + prefix +
                                         "CIMStatusDescription");
    } else {
      response.set_header("Connection", "close");
      if (tConnection != nullptr) tConnection->closeAfterResponse = true;
    }
    response.set_content_provider(kXmlContentType, [write = std::move(answer.writeBody), chunked,
                                                    prefix](size_t, httplib::DataSink& sink) {
      SinkBody body(sink, chunked, prefix);
      try {
        if (!body.finish(write(body))) return false;
      } catch (const ClientGone&) {
        return false;
      } catch (...) {
        kLog.error("streaming a response failed: " + errorFromCurrentException().description());
        return false;
      }
      sink.done();
      return true;
    });
  }

  const HttpSettings settings;
  const CimService& service;
  SSL_CTX* tls = nullptr;
  int stopEvent = -1;
  std::atomic<bool> stopping{false};
  std::unique_ptr<CimHttpServer> server;
  std::thread listener;
  bool started = false;
};

HttpFrontEnd::HttpFrontEnd(HttpSettings settings, const CimService& service)
    : _impl(std::make_unique<Impl>(std::move(settings), service)) {}

HttpFrontEnd::~HttpFrontEnd() { stop(); }

int HttpFrontEnd::start() {
  Impl& impl = *_impl;
  if (impl.started) throw std::runtime_error("the HTTP front end is already running");
  std::signal(SIGPIPE, SIG_IGN);
  impl.loadTls();
  impl.stopEvent = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (impl.stopEvent < 0)
    throw std::runtime_error("cannot create an event: " + std::string(std::strerror(errno)));
  impl.configure();
  int port = impl.settings.port;
  if (port == 0) {
    port = impl.server->bind_to_any_port(impl.settings.address);
    if (port <= 0) {
      throw std::runtime_error("cannot listen on " + impl.settings.address + " (any port)");
    }
  } else if (!impl.server->bind_to_port(impl.settings.address, port)) {
    throw std::runtime_error("cannot listen on " + impl.settings.address + ":" +
                             std::to_string(port));
  }
  CimHttpServer* server = impl.server.get();
  impl.listener = std::thread([server] { server->listen_after_bind(); });
  impl.started = true;
  return port;
}

void HttpFrontEnd::stop() {
  Impl& impl = *_impl;
  if (!impl.started) return;
  impl.started = false;
  impl.stopping = true;
  const std::uint64_t one = 1;
  if (::write(impl.stopEvent, &one, sizeof one) < 0) {
    kLog.error("cannot signal the connections to stop");
  }
  impl.server->stopAccepting();
  impl.listener.join();
}

bool HttpFrontEnd::running() const { return _impl->started; }

const char* HttpFrontEnd::scheme() const {
  return _impl->settings.tlsCertificate.empty() ? "http" : "https";
}

}  // namespace kest::server
