#include "bench/load/HoldRun.h"

#include <poll.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <thread>
#include <vector>

#include "bench/load/CimMessages.h"
#include "bench/load/ServerMonitor.h"
#include "bench/load/ServerSockets.h"

namespace kest::load {

namespace {

using Clock = std::chrono::steady_clock;

// What became of a held connection after the settling time.
std::string fateOf(TcpSocket& socket) {
  switch (socket.peek()) {
    case TcpSocket::State::Open:
      return "open (held by the server or still in its backlog)";
    case TcpSocket::State::Closed:
      return "closed by the server";
    case TcpSocket::State::Reset:
      return "reset by the server";
    case TcpSocket::State::Data:
      break;
  }
  std::string answer;
  try {
    socket.receiveSome(answer, 0);
  } catch (const ConnectionError& error) {
    return toString(error.failure());
  }
  return "answered \"" + answer.substr(0, answer.find("\r\n")) + "\"";
}

void printCounts(std::ostream& out, const std::map<std::string, unsigned int>& counts) {
  for (const auto& [what, count] : counts) out << "    " << what << ": " << count << "\n";
}

}  // namespace

HoldRun::HoldRun(HoldOptions options) : _options(std::move(options)) {}

std::vector<std::unique_ptr<TcpSocket>> HoldRun::open(
    std::map<std::string, unsigned int>& failures) const {
  const std::string partialHeader = "POST " + _options.endpoint.path +
                                    " HTTP/1.1\r\nHost: " + _options.endpoint.host +
                                    "\r\nContent-Type: application/xml\r\n";
  std::vector<std::unique_ptr<TcpSocket>> pending;
  for (unsigned int i = 0; i < _options.connections; ++i) {
    try {
      pending.push_back(std::make_unique<TcpSocket>(_options.endpoint));
    } catch (const ConnectionError& error) {
      ++failures[toString(error.failure())];
    }
  }
  // All connect at once: a server that accepts slowly costs the time of its
  // backlog's retries once, not once per connection.
  std::vector<std::unique_ptr<TcpSocket>> open;
  const auto deadline = Clock::now() + std::chrono::milliseconds(_options.timeoutMs);
  while (!pending.empty() && Clock::now() < deadline) {
    std::vector<pollfd> waiting;
    for (const std::unique_ptr<TcpSocket>& socket : pending) {
      waiting.push_back(pollfd{socket->descriptor(), POLLOUT, 0});
    }
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    if (::poll(waiting.data(), waiting.size(), static_cast<int>(std::max<long>(left, 0))) <= 0) {
      continue;
    }
    std::vector<std::unique_ptr<TcpSocket>> still;
    for (std::size_t i = 0; i < pending.size(); ++i) {
      if (waiting[i].revents == 0) {
        still.push_back(std::move(pending[i]));
        continue;
      }
      try {
        pending[i]->awaitConnected(0);
        if (_options.slow) pending[i]->sendAll(partialHeader);
        open.push_back(std::move(pending[i]));
      } catch (const ConnectionError& error) {
        ++failures[toString(error.failure())];
      }
    }
    pending = std::move(still);
  }
  if (!pending.empty()) {
    failures["not connected within " + std::to_string(_options.timeoutMs) + " ms"] +=
        static_cast<unsigned int>(pending.size());
  }
  return open;
}

int HoldRun::run(std::ostream& out) {
  const pid_t pid = _options.serverPid;
  // -1: not known.
  const long before = pid > 0 ? ServerMonitor::residentKb(pid).value_or(-1) : -1;

  std::map<std::string, unsigned int> openFailures;
  const auto opening = Clock::now();
  std::vector<std::unique_ptr<TcpSocket>> held = open(openFailures);
  const double openingSeconds = std::chrono::duration<double>(Clock::now() - opening).count();
  std::this_thread::sleep_for(std::chrono::milliseconds(_options.settleMs));

  std::map<std::string, unsigned int> fates;
  for (const std::unique_ptr<TcpSocket>& socket : held) ++fates[fateOf(*socket)];
  const long after = pid > 0 ? ServerMonitor::residentKb(pid).value_or(-1) : -1;
  std::optional<std::size_t> accepted;
  if (pid > 0) {
    std::set<int> ports;
    for (const std::unique_ptr<TcpSocket>& socket : held) ports.insert(socket->localPort());
    accepted = acceptedConnections(pid, ports);
  }

  out << "hold: " << _options.connections << " connections "
      << (_options.slow ? "sending a partial request header" : "idle") << ", "
      << _options.endpoint.host << ":" << _options.endpoint.port << "\n  opened " << held.size()
      << " in " << openingSeconds << " s\n";
  if (!openFailures.empty()) {
    out << "  could not open:\n";
    printCounts(out, openFailures);
  }
  out << "  after " << _options.settleMs << " ms, as the client sees them:\n";
  printCounts(out, fates);
  if (accepted) {
    out << "  accepted and held by the server (sockets in its descriptor table): " << *accepted
        << "\n";
  }
  if (before >= 0 && after >= 0) {
    out << "  server RSS (kB): before " << before << ", after " << after << ", difference "
        << (after - before);
    if (accepted && *accepted > 0) {
      out << " = " << static_cast<double>(after - before) / static_cast<double>(*accepted)
          << " per accepted connection";
    }
    out << "\n";
  }
  return probe(out) ? 0 : 1;
}

bool HoldRun::probe(std::ostream& out) const {
  const CimRequests requests(_options.endpoint, _options.user, _options.password);
  const std::pair<const char*, std::string> calls[] = {
      {"EnumerateClassNames", requests.enumerateClassNames()},
      {"EnumerateInstances KEST_ComputerSystem",
       requests.enumerateInstances("KEST_ComputerSystem")}};
  std::unique_ptr<HttpConnection> connection;
  bool served = true;
  for (const auto& [name, request] : calls) {
    out << "  probe " << name << " while held: ";
    const auto start = Clock::now();
    try {
      if (!connection)
        connection = std::make_unique<HttpConnection>(_options.endpoint, _options.timeoutMs);
      const HttpReply reply = connection->exchange(request);
      const double ms = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
      if (!connection->reusable()) connection.reset();
      const int status = cimStatusOf(reply);
      if (reply.status == 200 && status == 0) {
        out << "served in " << ms << " ms\n";
        continue;
      }
      out << "NOT served: HTTP " << reply.status << ", CIM status " << status << " (" << ms
          << " ms)\n";
    } catch (const ConnectionError& error) {
      connection.reset();
      out << "NOT served: " << toString(error.failure()) << " (" << error.what() << ")\n";
    }
    served = false;
  }
  return served;
}

}  // namespace kest::load
