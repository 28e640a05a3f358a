#pragma once

// The HTTP side of kest-load: where the server is, a plain TCP socket to it,
// and a kept-alive HTTP/1.1 connection that sends one request and reads its
// whole response (de-chunked, with trailers).

#include <map>
#include <stdexcept>
#include <string>
#include <string_view>

namespace kest::load {

// http://HOST:PORT[/PATH]; HOST is an IPv4 address or a name.
struct Endpoint {
  std::string host;
  int port = 5988;
  std::string path = "/cimom";

  // Throws std::invalid_argument for anything but an http URL.
  static Endpoint parse(const std::string& url);
};

// Why a connection failed; each kind is counted apart in the reports.
enum class ConnectionFailure { Refused, Reset, ClosedByServer, Timeout, Other };
const char* toString(ConnectionFailure failure);

class ConnectionError : public std::runtime_error {
 public:
  ConnectionError(ConnectionFailure failure, const std::string& what)
      : std::runtime_error(what), _failure(failure) {}
  ConnectionFailure failure() const { return _failure; }

 private:
  ConnectionFailure _failure;
};

// TcpSocket: one TCP socket (non-blocking, TCP_NODELAY) to the endpoint,
// closed by the destructor. Every call throws ConnectionError. Not shared
// between threads.
class TcpSocket {
 public:
  // Starts connecting (throws when that fails at once); the other calls
  // need awaitConnected() first.
  explicit TcpSocket(const Endpoint& endpoint);
  ~TcpSocket();
  // Waits up to timeoutMs for the connection (0: only looks); throws
  // Timeout when it is not there by then, and the failure if it failed.
  void awaitConnected(int timeoutMs);
  TcpSocket(const TcpSocket&) = delete;
  TcpSocket& operator=(const TcpSocket&) = delete;

  void sendAll(std::string_view bytes);
  // Appends what arrives within timeoutMs to buffer; false when the peer
  // closed its end (nothing appended). Throws Timeout when nothing came.
  bool receiveSome(std::string& buffer, int timeoutMs);
  // Without waiting: Open while nothing has come, Data when bytes wait,
  // Closed after an orderly close, Reset after a reset.
  enum class State { Open, Data, Closed, Reset };
  State peek() const;
  int descriptor() const { return _fd; }
  // The port of this end.
  int localPort() const;

 private:
  int _fd = -1;
};

// One HTTP response.
struct HttpReply {
  int status = 0;
  std::map<std::string, std::string> headers;   // names in lower case
  std::map<std::string, std::string> trailers;  // names in lower case
  std::string body;                             // de-chunked

  // The header (or trailer) of that lower-case name; "" when absent.
  std::string header(const std::string& name) const;
  std::string trailer(const std::string& name) const;
};

// HttpConnection: a kept-alive HTTP/1.1 connection. exchange() sends one
// request and reads its response; once the server closes the connection (or
// any call failed) the object is spent: make a new one. Throws
// ConnectionError. Not shared between threads.
class HttpConnection {
 public:
  HttpConnection(const Endpoint& endpoint, int timeoutMs);

  // Sends request (complete, with headers) and returns the final response
  // (interim 1xx responses are skipped).
  HttpReply exchange(std::string_view request);
  // False once the server asked to close or a call failed.
  bool reusable() const { return _reusable; }

 private:
  HttpReply readResponse();
  std::string readLine();
  void fill(std::size_t bytes);
  std::string take(std::size_t bytes);

  TcpSocket _socket;
  int _timeoutMs;
  std::string _buffer;
  bool _reusable = true;
};

}  // namespace kest::load
