#include "tests/server/HttpTestSupport.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <stdexcept>

namespace kest::server::testing {

namespace {

bool sameText(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (std::tolower(static_cast<unsigned char>(a[i])) !=
        std::tolower(static_cast<unsigned char>(b[i]))) {
      return false;
    }
  }
  return true;
}

std::string find(const std::vector<std::pair<std::string, std::string>>& fields,
                 const std::string& name) {
  for (const auto& [key, value] : fields) {
    if (sameText(key, name)) return value;
  }
  return std::string();
}

// Reads "Name: value" lines from bytes at position until an empty line;
// false when the block is incomplete.
bool readFields(std::string_view bytes, std::size_t& position,
                std::vector<std::pair<std::string, std::string>>& fields) {
  while (true) {
    const std::size_t end = bytes.find("\r\n", position);
    if (end == std::string_view::npos) return false;
    const std::string_view line = bytes.substr(position, end - position);
    position = end + 2;
    if (line.empty()) return true;
    const std::size_t colon = line.find(':');
    std::string_view value = colon == std::string_view::npos ? "" : line.substr(colon + 1);
    while (!value.empty() && value.front() == ' ') value.remove_prefix(1);
    fields.emplace_back(std::string(line.substr(0, colon)), std::string(value));
  }
}

sockaddr_in loopback(int port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

int connectTo(int port) {
  const int s = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const sockaddr_in address = loopback(port);
  if (s < 0 || ::connect(s, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    if (s >= 0) close(s);
    throw std::runtime_error("cannot connect to port " + std::to_string(port));
  }
  return s;
}

void sendAll(int s, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t n = ::send(s, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (n <= 0) throw std::runtime_error("send failed");
    bytes.remove_prefix(static_cast<std::size_t>(n));
  }
}

}  // namespace

std::string HttpResponse::header(const std::string& name) const { return find(headers, name); }
std::string HttpResponse::trailer(const std::string& name) const { return find(trailers, name); }
bool HttpResponse::hasHeader(const std::string& name) const {
  for (const auto& field : headers) {
    if (sameText(field.first, name)) return true;
  }
  return false;
}

std::vector<HttpResponse> parseResponses(std::string_view bytes, bool closeDelimited,
                                         std::size_t* consumed) {
  std::vector<HttpResponse> responses;
  std::size_t position = 0;
  if (consumed != nullptr) *consumed = 0;
  while (position < bytes.size()) {
    HttpResponse response;
    std::size_t at = position;
    const std::size_t lineEnd = bytes.find("\r\n", at);
    if (lineEnd == std::string_view::npos) break;
    response.statusLine = std::string(bytes.substr(at, lineEnd - at));
    response.status = std::atoi(response.statusLine.c_str() +
                                std::min<std::size_t>(9, response.statusLine.size()));
    at = lineEnd + 2;
    if (!readFields(bytes, at, response.headers)) break;
    if (response.status == 100) {
      responses.push_back(std::move(response));
      position = at;
      if (consumed != nullptr) *consumed = position;
      continue;
    }
    if (sameText(response.header("Transfer-Encoding"), "chunked")) {
      response.chunked = true;
      bool complete = false;
      while (true) {
        const std::size_t sizeEnd = bytes.find("\r\n", at);
        if (sizeEnd == std::string_view::npos) break;
        const std::size_t size =
            std::strtoul(std::string(bytes.substr(at, sizeEnd - at)).c_str(), nullptr, 16);
        at = sizeEnd + 2;
        if (size == 0) {
          complete = readFields(bytes, at, response.trailers);
          break;
        }
        if (at + size + 2 > bytes.size()) break;
        response.body.append(bytes.substr(at, size));
        at += size + 2;
      }
      if (!complete) break;
    } else if (response.hasHeader("Content-Length")) {
      const std::size_t length =
          std::strtoul(response.header("Content-Length").c_str(), nullptr, 10);
      if (at + length > bytes.size()) break;
      response.body = std::string(bytes.substr(at, length));
      at += length;
    } else if (closeDelimited) {
      response.body = std::string(bytes.substr(at));
      at = bytes.size();
    } else {
      break;
    }
    responses.push_back(std::move(response));
    position = at;
    if (consumed != nullptr) *consumed = position;
  }
  return responses;
}

RawConnection::RawConnection(int port) : _socket(connectTo(port)) {}

RawConnection::~RawConnection() { close(_socket); }

void RawConnection::send(std::string_view bytes) { sendAll(_socket, bytes); }

void RawConnection::shutdownWrite() { ::shutdown(_socket, SHUT_WR); }

int RawConnection::localPort() const {
  sockaddr_in address{};
  socklen_t length = sizeof address;
  getsockname(_socket, reinterpret_cast<sockaddr*>(&address), &length);
  return ntohs(address.sin_port);
}

bool RawConnection::readMore(int timeoutMs) {
  pollfd fd{_socket, POLLIN, 0};
  if (::poll(&fd, 1, timeoutMs) <= 0) return false;
  char buffer[65536];
  const ssize_t n = ::recv(_socket, buffer, sizeof buffer, 0);
  if (n <= 0) {
    _closed = true;
    return false;
  }
  _pending.append(buffer, static_cast<std::size_t>(n));
  return true;
}

HttpResponse RawConnection::receive(int timeoutMs) {
  while (true) {
    std::size_t consumed = 0;
    std::vector<HttpResponse> responses = parseResponses(_pending, _closed, &consumed);
    if (!responses.empty()) {
      _pending.erase(0, consumed);
      return responses.front();
    }
    if (_closed) throw std::runtime_error("the server closed the connection: " + _pending);
    if (!readMore(timeoutMs) && !_closed) throw std::runtime_error("no response in time");
  }
}

bool RawConnection::closedByServer(int timeoutMs) {
  while (!_closed) {
    const std::size_t before = _pending.size();
    if (!readMore(timeoutMs) && !_closed) return false;
    if (_pending.size() != before) return false;
  }
  return _pending.empty();
}

std::string cimPost(const std::string& method, const std::string& body, const std::string& object,
                    const std::string& extraHeaders) {
  return "POST /cimom HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Type: application/xml; "
         "charset=\"utf-8\"\r\nCIMProtocolVersion: 1.0\r\nCIMOperation: MethodCall\r\nCIMMethod: " +
         method + "\r\nCIMObject: " + object + "\r\n" + extraHeaders +
         "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

RecordingProxy::RecordingProxy(int targetPort) : _targetPort(targetPort) {
  _listening = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address = loopback(0);
  if (::bind(_listening, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
      ::listen(_listening, 8) != 0) {
    throw std::runtime_error("the proxy cannot listen");
  }
  socklen_t length = sizeof address;
  getsockname(_listening, reinterpret_cast<sockaddr*>(&address), &length);
  _port = ntohs(address.sin_port);
  if (pipe2(_stopPipe, O_CLOEXEC) != 0) throw std::runtime_error("pipe failed");
  _thread = std::thread([this] { run(); });
}

RecordingProxy::~RecordingProxy() {
  const char stop = 's';
  if (::write(_stopPipe[1], &stop, 1) != 1) std::abort();
  _thread.join();
  close(_listening);
  close(_stopPipe[0]);
  close(_stopPipe[1]);
}

void RecordingProxy::run() {
  while (true) {
    pollfd fds[2] = {{_listening, POLLIN, 0}, {_stopPipe[0], POLLIN, 0}};
    if (::poll(fds, 2, -1) < 0) continue;
    if (fds[1].revents != 0) return;
    const int client = ::accept4(_listening, nullptr, nullptr, SOCK_CLOEXEC);
    if (client < 0) continue;
    {
      std::lock_guard<std::mutex> lock(_mutex);
      _busy = true;
    }
    relay(client);
  }
}

void RecordingProxy::relay(int client) {
  std::string fromServer;
  int server = -1;
  try {
    server = connectTo(_targetPort);
  } catch (const std::exception&) {
  }
  if (server >= 0) {
    char buffer[65536];
    bool open = true;
    bool clientClosed = false;
    while (open) {
      pollfd fds[3] = {{client, POLLIN, 0}, {server, POLLIN, 0}, {_stopPipe[0], POLLIN, 0}};
      if (::poll(fds, 3, 30000) <= 0 || fds[2].revents != 0) break;
      for (int i = 0; i < 2 && open; ++i) {
        if (fds[i].revents == 0) continue;
        const ssize_t n = ::recv(fds[i].fd, buffer, sizeof buffer, 0);
        if (n <= 0) {
          open = false;
          clientClosed = i == 0;
          break;
        }
        if (i == 1) fromServer.append(buffer, static_cast<std::size_t>(n));
        try {
          sendAll(i == 0 ? server : client, std::string_view(buffer, static_cast<std::size_t>(n)));
        } catch (const std::exception&) {
          open = false;
          clientClosed = i == 1;
        }
      }
    }
    if (clientClosed) {
      // A client may stop reading in the middle of a response (wbemcli does
      // after an error status): keep what the server sent until it closes.
      ::shutdown(server, SHUT_WR);
      pollfd fd{server, POLLIN, 0};
      while (::poll(&fd, 1, 2000) > 0) {
        const ssize_t n = ::recv(server, buffer, sizeof buffer, 0);
        if (n <= 0) break;
        fromServer.append(buffer, static_cast<std::size_t>(n));
      }
    }
    close(server);
  }
  close(client);
  std::lock_guard<std::mutex> lock(_mutex);
  for (HttpResponse& response : parseResponses(fromServer, true)) {
    _responses.push_back(std::move(response));
  }
  _busy = false;
  _idleChanged.notify_all();
}

std::vector<HttpResponse> RecordingProxy::takeResponses() {
  std::unique_lock<std::mutex> lock(_mutex);
  _idleChanged.wait_for(lock, std::chrono::seconds(10), [this] { return !_busy; });
  std::vector<HttpResponse> taken;
  taken.swap(_responses);
  return taken;
}

ServerProcess::ServerProcess(const std::vector<std::string>& arguments,
                             const std::map<std::string, std::string>& environment) {
  int pipeEnds[2];
  if (pipe2(pipeEnds, O_CLOEXEC) != 0) throw std::runtime_error("pipe failed");
  _pid = fork();
  if (_pid < 0) throw std::runtime_error("fork failed");
  if (_pid == 0) {
    for (const auto& [name, value] : environment) setenv(name.c_str(), value.c_str(), 1);
    const int devNull = open("/dev/null", O_RDWR);
    dup2(devNull, 0);
    dup2(devNull, 1);
    dup2(pipeEnds[1], 2);
    std::vector<char*> args;
    for (const std::string& argument : arguments)
      args.push_back(const_cast<char*>(argument.c_str()));
    args.push_back(nullptr);
    execv(args[0], args.data());
    _exit(127);
  }
  close(pipeEnds[1]);
  _stderr = pipeEnds[0];
  readErrors(true);
}

ServerProcess::~ServerProcess() {
  if (_exitCode < 0 && _pid > 0) stop(SIGKILL);
  if (_stderr >= 0) close(_stderr);
}

void ServerProcess::readErrors(bool untilPort) {
  static const std::string kListening = "listening on http";
  char buffer[4096];
  while (true) {
    if (untilPort) {
      const std::size_t at = _errors.find(kListening);
      if (at != std::string::npos) {
        const std::size_t colon = _errors.find(':', _errors.find("://", at) + 3);
        const std::size_t end = _errors.find('\n', colon);
        if (colon != std::string::npos && end != std::string::npos) {
          _port = std::atoi(_errors.substr(colon + 1, end - colon - 1).c_str());
          return;
        }
      }
    }
    pollfd fd{_stderr, POLLIN, 0};
    if (::poll(&fd, 1, 20000) <= 0) return;
    const ssize_t n = ::read(_stderr, buffer, sizeof buffer);
    if (n <= 0) return;
    _errors.append(buffer, static_cast<std::size_t>(n));
  }
}

int ServerProcess::stop(int signal) {
  if (_exitCode >= 0) return _exitCode;
  ::kill(_pid, signal);
  return wait();
}

int ServerProcess::wait() {
  if (_exitCode >= 0) return _exitCode;
  readErrors(false);
  int status = 0;
  waitpid(_pid, &status, 0);
  _exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return _exitCode;
}

}  // namespace kest::server::testing
