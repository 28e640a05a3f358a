#include "bench/load/HttpConnection.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstring>

namespace kest::load {

namespace {

std::string lowerCase(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

std::string trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(" \t");
  if (first == std::string_view::npos) return std::string();
  const std::size_t last = text.find_last_not_of(" \t\r");
  return std::string(text.substr(first, last - first + 1));
}

ConnectionFailure failureOf(int error) {
  switch (error) {
    case ECONNREFUSED:
      return ConnectionFailure::Refused;
    case ECONNRESET:
    case EPIPE:
      return ConnectionFailure::Reset;
    case ETIMEDOUT:
      return ConnectionFailure::Timeout;
    default:
      return ConnectionFailure::Other;
  }
}

[[noreturn]] void fail(const char* what) {
  const int error = errno;
  throw ConnectionError(failureOf(error), std::string(what) + ": " + std::strerror(error));
}

// Waits until fd is ready for events; false on time-out.
bool await(int fd, short events, int timeoutMs) {
  pollfd entry{fd, events, 0};
  for (;;) {
    const int ready = ::poll(&entry, 1, timeoutMs);
    if (ready > 0) return true;
    if (ready == 0) return false;
    if (errno != EINTR) fail("poll");
  }
}

// "Name: value" lines up to the blank line, into fields.
void parseFields(const std::string& block, std::map<std::string, std::string>& fields) {
  std::size_t start = 0;
  while (start < block.size()) {
    std::size_t end = block.find("\r\n", start);
    if (end == std::string::npos) end = block.size();
    const std::string_view line(block.data() + start, end - start);
    const std::size_t colon = line.find(':');
    if (colon != std::string_view::npos) {
      fields.emplace(lowerCase(std::string(line.substr(0, colon))),
                     trimmed(line.substr(colon + 1)));
    }
    start = end + 2;
  }
}

}  // namespace

const char* toString(ConnectionFailure failure) {
  switch (failure) {
    case ConnectionFailure::Refused:
      return "connection refused";
    case ConnectionFailure::Reset:
      return "connection reset";
    case ConnectionFailure::ClosedByServer:
      return "closed by the server";
    case ConnectionFailure::Timeout:
      return "timed out";
    case ConnectionFailure::Other:
      break;
  }
  return "other socket error";
}

Endpoint Endpoint::parse(const std::string& url) {
  const std::string scheme = "http://";
  if (url.compare(0, scheme.size(), scheme) != 0) {
    throw std::invalid_argument("not an http:// URL: " + url);
  }
  Endpoint endpoint;
  std::string rest = url.substr(scheme.size());
  const std::size_t slash = rest.find('/');
  if (slash != std::string::npos) {
    if (slash + 1 < rest.size()) endpoint.path = rest.substr(slash);
    rest.resize(slash);
  }
  const std::size_t colon = rest.rfind(':');
  endpoint.host = rest.substr(0, colon);
  if (colon != std::string::npos) {
    try {
      endpoint.port = std::stoi(rest.substr(colon + 1));
    } catch (const std::exception&) {
      throw std::invalid_argument("no port number in " + url);
    }
  }
  if (endpoint.host.empty()) throw std::invalid_argument("no host in " + url);
  return endpoint;
}

TcpSocket::TcpSocket(const Endpoint& endpoint) {
  addrinfo hints{};
  hints.ai_family = AF_INET;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  if (::getaddrinfo(endpoint.host.c_str(), std::to_string(endpoint.port).c_str(), &hints, &found) !=
          0 ||
      found == nullptr) {
    throw ConnectionError(ConnectionFailure::Other, "cannot resolve " + endpoint.host);
  }
  _fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (_fd < 0) {
    ::freeaddrinfo(found);
    fail("socket");
  }
  const int connected = ::connect(_fd, found->ai_addr, found->ai_addrlen);
  const int connectError = errno;
  ::freeaddrinfo(found);
  if (connected != 0 && connectError != EINPROGRESS) {
    ::close(_fd);
    errno = connectError;
    fail("connect");
  }
  const int yes = 1;
  ::setsockopt(_fd, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
}

void TcpSocket::awaitConnected(int timeoutMs) {
  if (!await(_fd, POLLOUT, timeoutMs)) {
    throw ConnectionError(ConnectionFailure::Timeout, "connect timed out");
  }
  int error = 0;
  socklen_t length = sizeof error;
  ::getsockopt(_fd, SOL_SOCKET, SO_ERROR, &error, &length);
  if (error != 0) {
    errno = error;
    fail("connect");
  }
}

TcpSocket::~TcpSocket() { ::close(_fd); }

void TcpSocket::sendAll(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t sent = ::send(_fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent > 0) {
      bytes.remove_prefix(static_cast<std::size_t>(sent));
    } else if (errno == EAGAIN) {
      if (!await(_fd, POLLOUT, 10000)) {
        throw ConnectionError(ConnectionFailure::Timeout, "send timed out");
      }
    } else if (errno != EINTR) {
      fail("send");
    }
  }
}

bool TcpSocket::receiveSome(std::string& buffer, int timeoutMs) {
  char chunk[16384];
  for (;;) {
    const ssize_t got = ::recv(_fd, chunk, sizeof chunk, 0);
    if (got > 0) {
      buffer.append(chunk, static_cast<std::size_t>(got));
      return true;
    }
    if (got == 0) return false;
    if (errno == EAGAIN) {
      if (!await(_fd, POLLIN, timeoutMs)) {
        throw ConnectionError(ConnectionFailure::Timeout, "no response");
      }
    } else if (errno != EINTR) {
      fail("recv");
    }
  }
}

TcpSocket::State TcpSocket::peek() const {
  char byte = 0;
  const ssize_t got = ::recv(_fd, &byte, 1, MSG_PEEK | MSG_DONTWAIT);
  if (got > 0) return State::Data;
  if (got == 0) return State::Closed;
  return errno == EAGAIN || errno == EINTR ? State::Open : State::Reset;
}

int TcpSocket::localPort() const {
  sockaddr_in address{};
  socklen_t length = sizeof address;
  if (::getsockname(_fd, reinterpret_cast<sockaddr*>(&address), &length) != 0) return 0;
  return ntohs(address.sin_port);
}

std::string HttpReply::header(const std::string& name) const {
  const auto found = headers.find(name);
  return found == headers.end() ? std::string() : found->second;
}

std::string HttpReply::trailer(const std::string& name) const {
  const auto found = trailers.find(name);
  return found == trailers.end() ? std::string() : found->second;
}

HttpConnection::HttpConnection(const Endpoint& endpoint, int timeoutMs)
    : _socket(endpoint), _timeoutMs(timeoutMs) {
  _socket.awaitConnected(timeoutMs);
}

HttpReply HttpConnection::exchange(std::string_view request) {
  if (!_reusable) throw ConnectionError(ConnectionFailure::ClosedByServer, "connection spent");
  try {
    _socket.sendAll(request);
    HttpReply reply = readResponse();
    while (reply.status >= 100 && reply.status < 200) reply = readResponse();
    if (lowerCase(reply.header("connection")) == "close") _reusable = false;
    return reply;
  } catch (const std::logic_error& malformed) {  // a length that is no number
    _reusable = false;
    throw ConnectionError(ConnectionFailure::Other, "malformed response");
  } catch (...) {
    _reusable = false;
    throw;
  }
}

HttpReply HttpConnection::readResponse() {
  HttpReply reply;
  const std::string statusLine = readLine();
  const std::size_t space = statusLine.find(' ');
  if (statusLine.compare(0, 5, "HTTP/") != 0 || space == std::string::npos) {
    throw ConnectionError(ConnectionFailure::Other, "not an HTTP response: " + statusLine);
  }
  reply.status = std::atoi(statusLine.c_str() + space + 1);
  std::string block;
  for (std::string line = readLine(); !line.empty(); line = readLine()) block += line + "\r\n";
  parseFields(block, reply.headers);
  if (reply.status < 200 || reply.status == 204 || reply.status == 304) return reply;

  if (lowerCase(reply.header("transfer-encoding")).find("chunked") != std::string::npos) {
    for (;;) {
      const std::size_t size = std::stoul(readLine(), nullptr, 16);
      if (size == 0) break;
      reply.body += take(size);
      take(2);
    }
    block.clear();
    for (std::string line = readLine(); !line.empty(); line = readLine()) block += line + "\r\n";
    parseFields(block, reply.trailers);
  } else if (const std::string length = reply.header("content-length"); !length.empty()) {
    reply.body = take(std::stoul(length));
  } else {
    while (_socket.receiveSome(_buffer, _timeoutMs)) {
    }
    reply.body = std::move(_buffer);
    _buffer.clear();
    _reusable = false;
  }
  return reply;
}

std::string HttpConnection::readLine() {
  std::size_t end;
  while ((end = _buffer.find("\r\n")) == std::string::npos) {
    if (!_socket.receiveSome(_buffer, _timeoutMs)) {
      throw ConnectionError(ConnectionFailure::ClosedByServer, "closed before a whole response");
    }
  }
  std::string line = _buffer.substr(0, end);
  _buffer.erase(0, end + 2);
  return line;
}

void HttpConnection::fill(std::size_t bytes) {
  while (_buffer.size() < bytes) {
    if (!_socket.receiveSome(_buffer, _timeoutMs)) {
      throw ConnectionError(ConnectionFailure::ClosedByServer, "closed before a whole response");
    }
  }
}

std::string HttpConnection::take(std::size_t bytes) {
  fill(bytes);
  std::string taken = _buffer.substr(0, bytes);
  _buffer.erase(0, bytes);
  return taken;
}

}  // namespace kest::load
