#include "bench/load/LoadRun.h"

#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

#include "bench/load/CimMessages.h"
#include "bench/load/LoadClient.h"
#include "bench/load/RequestTally.h"
#include "bench/load/ServerMonitor.h"

namespace kest::load {

namespace {

// The instance names of className; throws std::runtime_error when the server
// does not answer them or has none.
std::vector<InstanceName> namesOf(HttpConnection& connection, const CimRequests& requests,
                                  const std::string& className) {
  const HttpReply reply = connection.exchange(requests.enumerateInstanceNames(className));
  const int status = cimStatusOf(reply);
  if (reply.status != 200 || status != 0) {
    throw std::runtime_error("EnumerateInstanceNames " + className + ": HTTP " +
                             std::to_string(reply.status) + ", CIM status " +
                             std::to_string(status));
  }
  std::vector<InstanceName> names = instanceNamesIn(reply.body);
  if (names.empty()) throw std::runtime_error("the server has no " + className);
  return names;
}

LoadTargets findTargets(HttpConnection& connection, const CimRequests& requests) {
  LoadTargets targets;
  targets.computerSystem = namesOf(connection, requests, "KEST_ComputerSystem").front();
  const std::vector<InstanceName> fileSystems = namesOf(connection, requests, "KEST_FileSystem");
  targets.fileSystem = fileSystems.front();
  for (const InstanceName& name : fileSystems) {
    for (const auto& [key, value] : name.keys) {
      if (key == "Name" && value == "/") targets.fileSystem = name;
    }
  }
  return targets;
}

}  // namespace

LoadRun::LoadRun(LoadOptions options) : _options(std::move(options)) {}

int LoadRun::run(std::ostream& out) {
  const CimRequests requests(_options.endpoint, _options.user, _options.password);
  // The connection that found the targets becomes the first client's, so
  // that the run never holds more connections than it has clients.
  std::unique_ptr<HttpConnection> first;
  LoadTargets targets;
  try {
    first = std::make_unique<HttpConnection>(_options.endpoint, _options.timeoutMs);
    targets = findTargets(*first, requests);
  } catch (const std::exception& error) {
    out << "load: cannot find the targets: " << error.what() << "\n";
    return 2;
  }
  if (!first->reusable()) first.reset();

  std::vector<std::unique_ptr<LoadClient>> clients;
  for (unsigned int i = 0; i < _options.clients; ++i) {
    // Each client starts its GetInstance turn at another process.
    clients.push_back(std::make_unique<LoadClient>(_options.endpoint, requests, targets,
                                                   _options.timeoutMs,
                                                   i == 0 ? std::move(first) : nullptr, i * 7));
  }

  ServerMonitor monitor(_options.serverPid, _options.serverLog);
  monitor.start();
  const auto started = std::chrono::steady_clock::now();
  const auto deadline = started + std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                                      std::chrono::duration<double>(_options.seconds));
  std::vector<std::thread> threads;
  for (const std::unique_ptr<LoadClient>& client : clients) {
    threads.emplace_back([&client, deadline] { client->run(deadline); });
  }
  for (std::thread& thread : threads) thread.join();
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
  monitor.stop();

  RequestTally total;
  RequestTally connects;
  for (const std::unique_ptr<LoadClient>& client : clients) {
    total.merge(client->tally());
    connects.merge(client->connects());
  }
  out << "load: " << _options.clients << " clients, " << seconds << " s, " << _options.endpoint.host
      << ":" << _options.endpoint.port << _options.endpoint.path
      << "\n  round: " << LoadClient::mixDescription() << "\n  total: " << total.requests()
      << " requests, " << static_cast<double>(total.requests()) / seconds << " req/s\n";
  total.print(out, seconds);
  out << "  connections opened by the clients (the first one excepted):\n";
  connects.print(out, seconds, false);
  monitor.print(out);
  return total.unexpectedFailures() == 0 && connects.unexpectedFailures() == 0 ? 0 : 1;
}

}  // namespace kest::load
