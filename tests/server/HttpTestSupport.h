#pragma once

// HTTP-level helpers of the server's tests: a parser of raw HTTP responses,
// a raw client connection, a recording proxy that sits between a client
// program and the server, and a running kest-server process.

#include <sys/types.h>

#include <condition_variable>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace kest::server::testing {

// One HTTP response as it went over the wire.
struct HttpResponse {
  std::string statusLine;
  int status = 0;
  std::vector<std::pair<std::string, std::string>> headers;
  bool chunked = false;
  std::string body;  // de-chunked
  std::vector<std::pair<std::string, std::string>> trailers;

  // The first header (trailer) of that name, any case; "" when absent.
  std::string header(const std::string& name) const;
  std::string trailer(const std::string& name) const;
  bool hasHeader(const std::string& name) const;
};

// Parses the complete responses in bytes, in order (interim 100 Continue
// responses included); *consumed (when given)
// receives how many bytes they took. A response without a length or chunks
// ends with the bytes (closeDelimited) or is left out as incomplete.
std::vector<HttpResponse> parseResponses(std::string_view bytes, bool closeDelimited,
                                         std::size_t* consumed = nullptr);

// A plain TCP connection to 127.0.0.1:port.
class RawConnection {
 public:
  explicit RawConnection(int port);
  ~RawConnection();
  RawConnection(const RawConnection&) = delete;
  RawConnection& operator=(const RawConnection&) = delete;

  void send(std::string_view bytes);
  // Stops sending (the server then sees the end of the request stream).
  void shutdownWrite();
  // Reads until one whole response has arrived; throws std::runtime_error
  // when the connection closes first or nothing comes within timeoutMs.
  HttpResponse receive(int timeoutMs = 10000);
  // True when the server closes the connection within timeoutMs without
  // sending anything more.
  bool closedByServer(int timeoutMs = 10000);
  int socket() const { return _socket; }
  // The local port of this end.
  int localPort() const;

 private:
  bool readMore(int timeoutMs);

  int _socket;
  std::string _pending;
  bool _closed = false;
};

// A POST to /cimom with the CIM headers of method, and body.
std::string cimPost(const std::string& method, const std::string& body,
                    const std::string& object = "root%2Fcimv2",
                    const std::string& extraHeaders = "");

// RecordingProxy: listens on 127.0.0.1 and relays each connection to the
// server at targetPort, one connection at a time, keeping what the server
// sent.
class RecordingProxy {
 public:
  explicit RecordingProxy(int targetPort);
  ~RecordingProxy();
  RecordingProxy(const RecordingProxy&) = delete;
  RecordingProxy& operator=(const RecordingProxy&) = delete;

  int port() const { return _port; }
  // The responses the server sent since the last call, once the client has
  // closed its connection (waits up to 10 s for that).
  std::vector<HttpResponse> takeResponses();

 private:
  void run();
  void relay(int client);

  int _targetPort;
  int _listening;
  int _port;
  int _stopPipe[2];
  std::thread _thread;
  std::mutex _mutex;
  std::condition_variable _idleChanged;
  bool _busy = false;                    // guarded by _mutex
  std::vector<HttpResponse> _responses;  // guarded by _mutex
};

// A kest-server process started with arguments and extra environment
// variables; its stderr is read until it says where it listens.
class ServerProcess {
 public:
  ServerProcess(const std::vector<std::string>& arguments,
                const std::map<std::string, std::string>& environment = {});
  ~ServerProcess();
  ServerProcess(const ServerProcess&) = delete;
  ServerProcess& operator=(const ServerProcess&) = delete;

  // The port from the "listening on" line; 0 when the process ended first.
  int port() const { return _port; }
  pid_t pid() const { return _pid; }
  // Sends signal and waits for the process; returns its exit code (128 +
  // signal when it was killed). Everything it wrote to stderr is in errors().
  int stop(int signal);
  // Waits for a process that ends by itself.
  int wait();
  const std::string& errors() const { return _errors; }

 private:
  void readErrors(bool untilPort);

  pid_t _pid = -1;
  int _stderr = -1;
  int _port = 0;
  int _exitCode = -1;
  std::string _errors;
};

}  // namespace kest::server::testing
