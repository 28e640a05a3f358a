#include "server/http/Session.h"

#include <boost/asio/post.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http/error.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/status.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/beast/ssl/ssl_stream.hpp>
#include <condition_variable>
#include <cstdio>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "server/CimService.h"
#include "server/Logging.h"

namespace kest::server::http {

namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace bhttp = beast::http;
using tcp = asio::ip::tcp;
using Clock = std::chrono::steady_clock;
using Headers = std::vector<std::pair<std::string, std::string>>;
using FailureWriter = std::function<void(ResponseBody&, const CimError&)>;

const ServerLog kLog("kest::server::HttpFrontEnd");
constexpr const char* kXmlContentType = "application/xml; charset=\"utf-8\"";
constexpr std::size_t kReadChunk = 4096;
// A connection that is closed after its response reads (and drops) what the
// client still sends for at most this long and this much, so that the
// response is not lost to a reset.
constexpr std::chrono::milliseconds kLingerTime{1000};
constexpr std::size_t kLingerBytes = 256 * 1024;
// A read buffer larger than this is given back once it is empty.
constexpr std::size_t kKeptBufferCapacity = 64 * 1024;

std::string seconds(std::chrono::milliseconds time) {
  char text[32];
  std::snprintf(text, sizeof text, "%g", static_cast<double>(time.count()) / 1000.0);
  return text;
}

std::string responseHead(int status, const Headers& headers) {
  const auto reason = bhttp::obsolete_reason(bhttp::int_to_status(static_cast<unsigned>(status)));
  std::string head = "HTTP/1.1 " + std::to_string(status) + " ";
  head.append(reason.data(), reason.size());
  head += "\r\n";
  for (const auto& [name, value] : headers) {
    head += name;
    head += ": ";
    head += value;
    head += "\r\n";
  }
  head += "\r\n";
  return head;
}

// A complete text/plain answer (a refusal or an HTTP error).
std::string textResponse(int status, const std::string& cimErrorHeader, const std::string& cimError,
                         const std::string& detail, Headers headers, bool close) {
  const std::string body = "kest-server: " + detail + "\n";
  if (!cimError.empty()) headers.emplace_back(cimErrorHeader, cimError);
  headers.emplace_back("Content-Type", "text/plain");
  headers.emplace_back("Content-Length", std::to_string(body.size()));
  if (close) headers.emplace_back("Connection", "close");
  return responseHead(status, headers) + body;
}

// The hand-over of one request between its connection and the worker that
// serves it. The worker claims the response when it has one; until then
// the connection may answer in its place (takeOver: the request's deadline
// passed or the server stops), and what the worker produces later is
// dropped. While the worker streams, its pieces queue up for the
// connection, which writes whatever has queued in one go; the worker waits
// only while more than kMaxQueuedBytes are queued or being written, so a
// slow reader holds back its worker (and no more memory), and a fast one
// lets the worker go on producing while the last pieces are written. A
// connection that fails or goes releases the worker (fail()).
// Threads: one worker and the connection's strand; one mutex, not held
// while posting or writing.
class Exchange {
 public:
  // Worker: false once the connection has answered in the worker's place.
  bool open() const {
    std::lock_guard<std::mutex> lock(_mutex);
    return _state == State::Waiting;
  }
  void offerFailureWriter(FailureWriter writer) {
    std::lock_guard<std::mutex> lock(_mutex);
    _failureWriter = std::move(writer);
  }
  // Worker: the response is the worker's from now on; false when the
  // connection has answered already.
  bool claim() {
    std::lock_guard<std::mutex> lock(_mutex);
    if (_state != State::Waiting) return false;
    _state = State::Claimed;
    return true;
  }
  // Worker: queues a piece (last: the response's final one); runs
  // startWriter (which has the connection write what is queued) when the
  // connection is not writing already; waits while too much is queued.
  // False when the connection has failed or gone.
  bool send(std::string piece, bool last, const std::function<void()>& startWriter) {
    bool start = false;
    {
      std::lock_guard<std::mutex> lock(_mutex);
      if (_failed) return false;
      _queuedBytes += piece.size();
      _queue.push_back(std::move(piece));
      _lastQueued = _lastQueued || last;
      start = !_writing;
      _writing = true;
    }
    if (start) startWriter();
    std::unique_lock<std::mutex> lock(_mutex);
    _written.wait(lock, [this] { return _failed || _queuedBytes <= kMaxQueuedBytes; });
    return !_failed;
  }
  // Connection: answers in the worker's place when the worker has not
  // claimed the response; writer receives what writes a failure report (may
  // be empty).
  bool takeOver(FailureWriter& writer) {
    std::lock_guard<std::mutex> lock(_mutex);
    if (_state != State::Waiting) return false;
    _state = State::TakenOver;
    writer = _failureWriter;
    return true;
  }
  bool claimed() const {
    std::lock_guard<std::mutex> lock(_mutex);
    return _state == State::Claimed;
  }
  // Connection: takes what is queued, to write it; last tells whether the
  // response's final piece is among it.
  std::vector<std::string> takeQueued(bool& last) {
    std::lock_guard<std::mutex> lock(_mutex);
    std::vector<std::string> pieces;
    pieces.swap(_queue);
    last = _lastQueued;
    return pieces;
  }
  // Connection: what it took has been written (ok) or not. True when more
  // has queued meanwhile (the connection then takes and writes it); false
  // when the connection stops writing until the next send().
  bool written(std::size_t bytes, bool ok) {
    std::lock_guard<std::mutex> lock(_mutex);
    _queuedBytes -= bytes;
    if (!ok) _failed = true;
    _written.notify_all();
    _writing = ok && !_queue.empty();
    return _writing;
  }
  // Connection: it is gone; the worker's result goes nowhere.
  void fail() {
    std::lock_guard<std::mutex> lock(_mutex);
    if (_state == State::Waiting) _state = State::TakenOver;
    _failed = true;
    _written.notify_all();
  }

 private:
  enum class State { Waiting, Claimed, TakenOver };
  static constexpr std::size_t kMaxQueuedBytes = 256 * 1024;

  mutable std::mutex _mutex;
  std::condition_variable _written;
  State _state = State::Waiting;    // guarded by _mutex
  FailureWriter _failureWriter;     // guarded by _mutex
  std::vector<std::string> _queue;  // pieces not yet taken; guarded by _mutex
  std::size_t _queuedBytes = 0;     // queued or being written; guarded by _mutex
  bool _lastQueued = false;         // guarded by _mutex
  bool _writing = false;            // the connection writes or will; guarded by _mutex
  bool _failed = false;             // guarded by _mutex
};

// What a worker needs of the request it serves.
struct RequestInFlight {
  bhttp::request<bhttp::string_body> message;
  AcceptedHead head;
  std::string host;
  bool chunked = true;  // HTTP/1.1: a streamed response goes in chunks
  std::shared_ptr<Exchange> exchange;
};

template <class Stream>
class Session : public ConnectionControl, public std::enable_shared_from_this<Session<Stream>> {
 public:
  static constexpr bool kTls = !std::is_same_v<Stream, beast::tcp_stream>;

  Session(Stream stream, SessionEnvironment& env)
      : _stream(std::move(stream)), _env(env), _deadline(_stream.get_executor()) {
    beast::error_code ignored;
    const tcp::endpoint remote = lowest().socket().remote_endpoint(ignored);
    _peer = remote.address().to_string() + ":" + std::to_string(remote.port());
    const tcp::endpoint local = lowest().socket().local_endpoint(ignored);
    _local = local.address().to_string() + ":" + std::to_string(local.port());
    lowest().socket().set_option(tcp::no_delay(true), ignored);
  }

  ~Session() override {
    if (_exchange) _exchange->fail();
    if (_id != 0) _env.registry->remove(_id);
  }

  // Registers the connection and starts serving it, or refuses it.
  void start() {
    _id = _env.registry->admit(this->weak_from_this(), Clock::now());
    if (_id == 0) return refuseConnection();
    if constexpr (kTls) {
      _phase = Phase::Handshake;
      lowest().expires_after(_env.limits.headerTimeout);
      _stream.async_handshake(
          asio::ssl::stream_base::server, [self = this->shared_from_this()](beast::error_code ec) {
            if (self->_closed) return;
            if (ec) {
              kLog.warning("TLS handshake with " + self->_peer + " failed: " + ec.message());
              return self->closeNow();
            }
            self->awaitRequest();
          });
    } else {
      awaitRequest();
    }
  }

  void evict() override {
    onStrand([](Session& self) {
      kLog.info("connection from " + self._peer +
                " closed to make room for another (it was idle or slow)");
      self.closeNow();
    });
  }

  void drain() override {
    onStrand([](Session& self) {
      self._draining = true;
      if (self._phase == Phase::Handshake || self._phase == Phase::AwaitingRequest ||
          self._phase == Phase::ReadingHeader) {
        self.closeNow();
      }
    });
  }

  void abandon() override {
    onStrand([](Session& self) {
      // A second call: whatever is still being written is cut short.
      if (self._abandoned) return self.closeNow();
      self._abandoned = true;
      self._draining = true;
      if (self._phase == Phase::Serving && self.answerInsteadOfWorker("the server is stopping")) {
        return;
      }
      if (self._phase == Phase::Serving && self._exchange && self._exchange->claimed()) {
        return;  // the worker's complete response is on its way
      }
      self.closeNow();
    });
  }

  // Worker side: has the connection write what the exchange has queued.
  static void postWriter(const std::shared_ptr<Session>& self,
                         const std::shared_ptr<Exchange>& exchange) {
    asio::post(self->_stream.get_executor(), [self, exchange] { self->writeQueued(exchange); });
  }

  // Worker side: hands a complete response to the connection.
  static void postComplete(const std::shared_ptr<Session>& self, std::string bytes, bool close) {
    asio::post(self->_stream.get_executor(), [self, bytes = std::move(bytes), close]() mutable {
      if (self->_closed) return;
      self->writeComplete(std::move(bytes), close);
    });
  }

  static void postClose(const std::shared_ptr<Session>& self) {
    asio::post(self->_stream.get_executor(), [self] { self->closeNow(); });
  }

 private:
  enum class Phase {
    Handshake,
    AwaitingRequest,
    ReadingHeader,
    ReadingBody,
    Serving,    // the request is with a worker
    Streaming,  // the worker's response is being written piece by piece
    Writing,    // a complete response is being written
    Closing,
  };

  beast::tcp_stream& lowest() { return beast::get_lowest_layer(_stream); }

  template <class Action>
  void onStrand(Action action) {
    asio::post(_stream.get_executor(), [self = this->shared_from_this(), action]() {
      if (!self->_closed) action(*self);
    });
  }

  bool stopping() const { return _draining || (_env.stopping && _env.stopping()); }

  void awaitRequest() {
    if (stopping()) return gracefulClose();
    _phase = Phase::AwaitingRequest;
    if (_buffer.size() > 0) return beginRequest();
    if (_buffer.capacity() > kKeptBufferCapacity) _buffer.shrink_to_fit();
    lowest().expires_after(_env.limits.idleTimeout);
    _stream.async_read_some(_buffer.prepare(kReadChunk),
                            [self = this->shared_from_this()](beast::error_code ec, std::size_t n) {
                              if (self->_closed) return;
                              if (ec) return self->closeNow();
                              self->_buffer.commit(n);
                              self->beginRequest();
                            });
  }

  void beginRequest() {
    if (!_env.registry->beginRequest(_id, Clock::now())) {
      const std::string reason = "too many connections busy (the limit is " +
                                 std::to_string(_env.registry->activeLimit()) + ")";
      kLog.warning("request from " + _peer + " refused: " + reason);
      return writeComplete(textResponse(503, "", "", reason, {}, true), true);
    }
    _phase = Phase::ReadingHeader;
    _parser.emplace();
    _parser->header_limit(
        static_cast<std::uint32_t>(std::min<std::size_t>(_env.limits.maxHeaderSize, UINT32_MAX)));
    _parser->body_limit(_env.limits.maxBodySize);
    lowest().expires_after(_env.limits.headerTimeout);
    bhttp::async_read_header(_stream, _buffer, *_parser,
                             [self = this->shared_from_this()](beast::error_code ec, std::size_t) {
                               if (self->_closed) return;
                               if (ec) return self->readFailed(ec, "header");
                               self->onHeader();
                             });
  }

  void onHeader() {
    _env.registry->headerComplete(_id, Clock::now());
    HeadVerdict verdict = checkRequestHead(_parser->get().base(), _env.rules);
    if (auto* refused = std::get_if<RefusedHead>(&verdict)) {
      kLog.warning("request from " + _peer + " refused: " + std::to_string(refused->status) + " " +
                   refused->detail);
      return writeComplete(textResponse(refused->status, "CIMError", refused->cimError,
                                        refused->detail, refused->headers, true),
                           true);
    }
    if (auto* discovery = std::get_if<DiscoveryHead>(&verdict)) {
      return answerDiscovery(std::move(discovery->headers));
    }
    _head = std::get<AcceptedHead>(std::move(verdict));
    if (_parser->is_done()) return dispatch();
    if (_head.expectsContinue) {
      auto interim = std::make_shared<std::string>("HTTP/1.1 100 Continue\r\n\r\n");
      lowest().expires_after(_env.limits.writeTimeout);
      asio::async_write(
          _stream, asio::buffer(*interim),
          [self = this->shared_from_this(), interim](beast::error_code ec, std::size_t) {
            if (self->_closed) return;
            if (ec) return self->closeNow();
            self->readBody();
          });
      return;
    }
    readBody();
  }

  // Answers OPTIONS with the server's capabilities. The connection stays
  // open only when nothing of the request is left unread and the client keeps
  // HTTP/1.1 connections alive.
  void answerDiscovery(Headers headers) {
    const auto& request = _parser->get();
    const bool close = !_parser->is_done() || !request.keep_alive() || request.version() < 11;
    headers.emplace_back("Content-Length", "0");
    if (close) headers.emplace_back("Connection", "close");
    writeComplete(responseHead(200, headers), close);
  }

  void readBody() {
    _phase = Phase::ReadingBody;
    lowest().expires_after(_env.limits.bodyTimeout);
    bhttp::async_read(_stream, _buffer, *_parser,
                      [self = this->shared_from_this()](beast::error_code ec, std::size_t) {
                        if (self->_closed) return;
                        if (ec) return self->readFailed(ec, "body");
                        self->dispatch();
                      });
  }

  // A request that could not be read: answered when the client can still
  // read the answer, closed in any case.
  void readFailed(beast::error_code ec, const char* part) {
    if (ec == beast::error::timeout) {
      const auto limit =
          std::string(part) == "header" ? _env.limits.headerTimeout : _env.limits.bodyTimeout;
      kLog.warning("connection from " + _peer + " closed: the request's " + part +
                   " did not arrive within " + seconds(limit) + " s");
      return closeNow();
    }
    if (ec == bhttp::error::header_limit) {
      return refuseRead(431, "the request's header is larger than " +
                                 std::to_string(_env.limits.maxHeaderSize) + " bytes");
    }
    if (ec == bhttp::error::body_limit) return refuseRead(413, "the request body is too large");
    if (ec == bhttp::error::partial_message) return refuseRead(400, "bad request");
    if (ec == bhttp::error::end_of_stream || ec == asio::error::eof ||
        ec == asio::error::connection_reset || ec == asio::error::operation_aborted) {
      return closeNow();
    }
    if (ec.category() == bhttp::make_error_code(bhttp::error::bad_target).category()) {
      return refuseRead(400, "bad request: " + ec.message());
    }
    kLog.info("connection from " + _peer + " failed: " + ec.message());
    closeNow();
  }

  void refuseRead(int status, const std::string& detail) {
    kLog.warning("request from " + _peer + " refused: " + std::to_string(status) + " " + detail);
    writeComplete(textResponse(status, "", "", detail, {}, true), true);
  }

  void dispatch() {
    _phase = Phase::Serving;
    auto request = std::make_shared<RequestInFlight>();
    request->message = _parser->release();
    _parser.reset();
    request->head = _head;
    request->chunked = request->message.version() >= 11;
    const auto host = request->message.find(bhttp::field::host);
    request->host = host != request->message.end()
                        ? std::string(host->value().data(), host->value().size())
                        : _local;
    _keepAlive = request->message.keep_alive();
    _http10 = request->message.version() < 11;
    _exchange = std::make_shared<Exchange>();
    request->exchange = _exchange;

    _deadline.expires_after(_env.limits.requestTimeout);
    _deadline.async_wait(
        [self = this->shared_from_this(), exchange = _exchange](beast::error_code ec) {
          if (ec || self->_closed || self->_exchange != exchange) return;
          self->answerInsteadOfWorker("the request took longer than " +
                                      seconds(self->_env.limits.requestTimeout) +
                                      " s; its result is discarded");
        });
    // The job keeps the connection alive until it has handed over its
    // response; the connection releases a job that waits on it when it fails
    // or is abandoned (Exchange::fail).
    _env.workers->post([self = this->shared_from_this(), request, service = _env.service] {
      serve(self, *request, *service);
    });
  }

  // Answers the request being served in the worker's place (its deadline
  // passed, or the server stops): a CIM error when the request was parsed,
  // otherwise 503. False when the worker has claimed the response.
  bool answerInsteadOfWorker(const std::string& reason) {
    FailureWriter writer;
    if (!_exchange || !_exchange->takeOver(writer)) return false;
    _deadline.cancel();
    kLog.warning("request from " + _peer + " failed: " + reason);
    if (writer) {
      StringBody body;
      writer(body, CimError(CIM_ERR_FAILED, reason));
      const bool close = stopping() || !_keepAlive;
      writeComplete(completeResponse(_head, _http10, body.text(), close), close);
    } else {
      writeComplete(textResponse(503, "", "", reason, extensionHeaders(_head.extended), true),
                    true);
    }
    return true;
  }

  static Headers extensionHeaders(bool extended) {
    Headers headers;
    if (extended) headers.emplace_back("Ext", "");
    return headers;
  }

  static std::string completeResponse(const AcceptedHead& head, bool http10,
                                      const std::string& body, bool close) {
    Headers headers = extensionHeaders(head.extended);
    headers.emplace_back("Content-Type", kXmlContentType);
    headers.emplace_back(head.headerPrefix + "CIMOperation", "MethodResponse");
    headers.emplace_back("Content-Length", std::to_string(body.size()));
    if (close) {
      headers.emplace_back("Connection", "close");
    } else if (http10) {
      headers.emplace_back("Connection", "keep-alive");
    }
    return responseHead(200, headers) + body;
  }

  // Runs on a worker: the service's answer, handed back to the connection.
  static void serve(const std::shared_ptr<Session>& self, RequestInFlight& request,
                    const CimService& service) {
    Exchange& exchange = *request.exchange;
    if (!exchange.open()) return;
    const std::string& prefix = request.head.headerPrefix;
    CimHttpRequest cim;
    cim.header = [&request, &prefix](const char* name) -> std::optional<std::string> {
      const auto found = request.message.find(prefix + name);
      if (found == request.message.end()) return std::nullopt;
      return std::string(found->value().data(), found->value().size());
    };
    cim.body = request.message.body();
    cim.host = TOVString(request.host);
    const bool keepAlive = request.message.keep_alive();

    CimResponse answer;
    try {
      answer = service.handle(cim);
    } catch (...) {
      kLog.error("request failed: " + errorFromCurrentException().description());
      if (exchange.claim()) {
        postComplete(self, textResponse(500, "", "", "internal error", {}, true), true);
      }
      return;
    }
    if (answer.httpStatus != 200) {
      if (!exchange.claim()) return;
      Headers headers = extensionHeaders(request.head.extended);
      postComplete(self,
                   textResponse(answer.httpStatus, prefix + "CIMError", answer.cimError,
                                answer.detail, std::move(headers), !keepAlive),
                   !keepAlive);
      return;
    }
    exchange.offerFailureWriter(answer.writeFailure);
    if (!answer.streamed) {
      StringBody body;
      try {
        answer.writeBody(body);
      } catch (...) {
        kLog.error("writing a response failed: " + errorFromCurrentException().description());
        if (exchange.claim()) {
          postComplete(self, textResponse(500, "", "", "internal error", {}, true), true);
        }
        return;
      }
      if (!exchange.claim()) return;
      postComplete(self, completeResponse(request.head, !request.chunked, body.text(), !keepAlive),
                   !keepAlive);
      return;
    }
    PieceBody body(self, request);
    try {
      body.finish(answer.writeBody(body));
    } catch (const ClientGone&) {
    } catch (...) {
      kLog.error("streaming a response failed: " + errorFromCurrentException().description());
      postClose(self);
    }
  }

  // A streamed response body, written by a worker: the response head with
  // the first piece, then each piece as an HTTP chunk (for HTTP/1.1; as it
  // is, the connection closing after it, for HTTP/1.0), and the final
  // status in the trailers.
  class PieceBody : public ResponseBody {
   public:
    PieceBody(std::shared_ptr<Session> session, const RequestInFlight& request)
        : _session(std::move(session)),
          _exchange(request.exchange),
          _chunked(request.chunked),
          _prefix(request.head.headerPrefix),
          _extended(request.head.extended) {}

    bool write(std::string_view bytes) override {
      if (bytes.empty()) return true;
      std::string piece;
      if (!begin(piece)) return false;
      if (_chunked) {
        char size[24];
        const int length = std::snprintf(size, sizeof size, "%zx\r\n", bytes.size());
        piece.append(size, static_cast<std::size_t>(length));
        piece.append(bytes);
        piece.append("\r\n");
      } else {
        piece.append(bytes);
      }
      return send(std::move(piece), false);
    }

    void finish(const CimError& status) {
      std::string piece;
      if (!begin(piece)) return;
      if (_chunked) {
        piece += "0\r\n" + _prefix + "CIMStatusCode: " + std::to_string(status.code()) + "\r\n";
        if (status.code() != CIM_OK) {
          const std::string description = percentEncoded(status.description());
          piece += _prefix + "CIMStatusCodeDescription: " + description + "\r\n";
          piece += _prefix + "CIMStatusDescription: " + description + "\r\n";
        }
        piece += "\r\n";
      }
      send(std::move(piece), true);
    }

   private:
    // Claims the response before its first piece, which then starts with
    // the response head; false when the connection has answered already.
    bool begin(std::string& piece) {
      if (_begun) return true;
      if (!_exchange->claim()) return false;
      _begun = true;
      Headers headers = extensionHeaders(_extended);
      headers.emplace_back("Content-Type", kXmlContentType);
      headers.emplace_back(_prefix + "CIMOperation", "MethodResponse");
      if (_chunked) {
        headers.emplace_back("Transfer-Encoding", "chunked");
        headers.emplace_back("Trailer", _prefix + "CIMStatusCode, " + _prefix +
                                            "CIMStatusCodeDescription, " + _prefix +
                                            "CIMStatusDescription");
      } else {
        headers.emplace_back("Connection", "close");
      }
      piece = responseHead(200, headers);
      return true;
    }

    bool send(std::string piece, bool last) {
      return _exchange->send(std::move(piece), last, [this] { postWriter(_session, _exchange); });
    }

    const std::shared_ptr<Session> _session;
    const std::shared_ptr<Exchange> _exchange;
    const bool _chunked;
    const std::string _prefix;
    const bool _extended;
    bool _begun = false;
  };

  // Writes what the exchange has queued, in one go, and goes on while more
  // queues up meanwhile.
  void writeQueued(const std::shared_ptr<Exchange>& exchange) {
    bool last = false;
    auto pieces = std::make_shared<std::vector<std::string>>(exchange->takeQueued(last));
    std::size_t bytes = 0;
    std::vector<asio::const_buffer> buffers;
    buffers.reserve(pieces->size());
    for (const std::string& piece : *pieces) {
      bytes += piece.size();
      buffers.emplace_back(asio::buffer(piece));
    }
    if (_closed || exchange != _exchange) {
      exchange->written(bytes, false);
      return;
    }
    _phase = Phase::Streaming;
    _deadline.cancel();
    lowest().expires_after(_env.limits.writeTimeout);
    asio::async_write(_stream, buffers,
                      [self = this->shared_from_this(), pieces, bytes, last, exchange](
                          beast::error_code ec, std::size_t) {
                        const bool ok = !ec && !self->_closed;
                        const bool more = exchange->written(bytes, ok);
                        if (self->_closed) return;
                        if (ec) return self->closeNow();
                        if (more) return self->writeQueued(exchange);
                        if (last) self->endResponse(self->_http10 || !self->_keepAlive);
                      });
  }

  void writeComplete(std::string bytes, bool close) {
    _phase = Phase::Writing;
    _deadline.cancel();
    auto owned = std::make_shared<std::string>(std::move(bytes));
    lowest().expires_after(_env.limits.writeTimeout);
    asio::async_write(
        _stream, asio::buffer(*owned),
        [self = this->shared_from_this(), owned, close](beast::error_code ec, std::size_t) {
          if (self->_closed) return;
          if (ec) return self->closeNow();
          self->endResponse(close);
        });
  }

  void endResponse(bool close) {
    _exchange.reset();
    _env.registry->endRequest(_id, Clock::now());
    if (close) return gracefulClose();
    awaitRequest();
  }

  // The connection is refused as a whole (the registry did not admit it).
  void refuseConnection() {
    const std::string reason =
        "too many connections (the limit is " + std::to_string(_env.registry->activeLimit()) + ")";
    kLog.warning("connection from " + _peer + " refused: " + reason);
    if constexpr (kTls) {
      closeNow();
    } else {
      writeComplete(textResponse(503, "", "", reason, {}, true), true);
    }
  }

  // Closes after a response: over TLS with close_notify, over TCP after
  // letting the client's remaining bytes arrive (see kLingerTime).
  void gracefulClose() {
    if (_closed || _phase == Phase::Closing) return;
    _phase = Phase::Closing;
    if constexpr (kTls) {
      lowest().expires_after(_env.limits.writeTimeout);
      _stream.async_shutdown(
          [self = this->shared_from_this()](beast::error_code) { self->closeNow(); });
    } else {
      beast::error_code ignored;
      lowest().socket().shutdown(tcp::socket::shutdown_send, ignored);
      lowest().expires_after(kLingerTime);
      linger(0);
    }
  }

  void linger(std::size_t dropped) {
    _buffer.clear();
    _stream.async_read_some(_buffer.prepare(kReadChunk), [self = this->shared_from_this(), dropped](
                                                             beast::error_code ec, std::size_t n) {
      if (self->_closed) return;
      if (ec || dropped + n > kLingerBytes) return self->closeNow();
      self->linger(dropped + n);
    });
  }

  void closeNow() {
    if (_closed) return;
    _closed = true;
    _phase = Phase::Closing;
    _deadline.cancel();
    if (_exchange) _exchange->fail();
    beast::error_code ignored;
    lowest().socket().shutdown(tcp::socket::shutdown_both, ignored);
    lowest().close();
    if (_id != 0) _env.registry->remove(_id);
    _id = 0;
  }

  Stream _stream;
  SessionEnvironment& _env;
  asio::steady_timer _deadline;  // the request's deadline while it is with a worker
  std::string _peer;
  std::string _local;
  ConnectionRegistry::Id _id = 0;
  beast::flat_buffer _buffer;
  std::optional<bhttp::request_parser<bhttp::string_body>> _parser;
  AcceptedHead _head;
  std::shared_ptr<Exchange> _exchange;  // of the request being served
  Phase _phase = Phase::AwaitingRequest;
  bool _keepAlive = true;
  bool _http10 = false;
  bool _draining = false;
  bool _abandoned = false;
  bool _closed = false;
};

}  // namespace

void serveConnection(tcp::socket socket, asio::ssl::context* tls, SessionEnvironment& env) {
  if (tls != nullptr) {
    using TlsStream = beast::ssl_stream<beast::tcp_stream>;
    auto session = std::make_shared<Session<TlsStream>>(
        TlsStream(beast::tcp_stream(std::move(socket)), *tls), env);
    session->start();
  } else {
    auto session =
        std::make_shared<Session<beast::tcp_stream>>(beast::tcp_stream(std::move(socket)), env);
    session->start();
  }
}

}  // namespace kest::server::http
