#include "bench/load/LoadClient.h"

#include <thread>

namespace kest::load {

namespace {

constexpr int kGetsPerRound = 4;
constexpr int kAssociatorsPerRound = 2;
constexpr int kCimErrNotFound = 6;

}  // namespace

LoadClient::LoadClient(const Endpoint& endpoint, const CimRequests& requests,
                       const LoadTargets& targets, int timeoutMs,
                       std::unique_ptr<HttpConnection> connection, std::size_t firstProcess)
    : _endpoint(endpoint),
      _requests(requests),
      _targets(targets),
      _timeoutMs(timeoutMs),
      _connection(std::move(connection)),
      _nextProcess(firstProcess) {}

const char* LoadClient::mixDescription() {
  return "1 EnumerateInstances KEST_Process, 4 GetInstance KEST_Process, 2 Associators "
         "KEST_ComputerSystem->KEST_FileSystem, 1 GetUsage (extrinsic)";
}

void LoadClient::run(std::chrono::steady_clock::time_point deadline) {
  const auto before = [deadline] { return std::chrono::steady_clock::now() < deadline; };
  while (before()) {
    if (const std::optional<HttpReply> reply =
            call("EnumerateInstances", _requests.enumerateInstances("KEST_Process"))) {
      _processes = instanceNamesIn(reply->body);
    }
    for (int i = 0; i < kGetsPerRound && before() && !_processes.empty(); ++i) {
      const InstanceName& process = _processes[_nextProcess++ % _processes.size()];
      call("GetInstance", _requests.getInstance(process), true);
    }
    for (int i = 0; i < kAssociatorsPerRound && before(); ++i) {
      call("Associators", _requests.associators(_targets.computerSystem, "KEST_SystemFileSystem",
                                                "KEST_FileSystem"));
    }
    if (before())
      call("GetUsage (method)", _requests.invokeMethod(_targets.fileSystem, "GetUsage"));
  }
}

std::optional<HttpReply> LoadClient::call(const std::string& operation, const std::string& request,
                                          bool objectMayBeGone) {
  const auto pause = [] { std::this_thread::sleep_for(std::chrono::milliseconds(100)); };
  if (!_connection) {
    const auto connecting = std::chrono::steady_clock::now();
    try {
      _connection = std::make_unique<HttpConnection>(_endpoint, _timeoutMs);
      _connects.succeeded("connect", std::chrono::steady_clock::now() - connecting);
    } catch (const ConnectionError& error) {
      _connects.failed("connect", toString(error.failure()));
      pause();
      return std::nullopt;
    }
  }
  const auto start = std::chrono::steady_clock::now();
  try {
    HttpReply reply = _connection->exchange(request);
    if (!_connection->reusable()) _connection.reset();
    if (reply.status != 200) {
      _tally.failed(operation, "HTTP " + std::to_string(reply.status));
      if (!_connection) pause();
      return std::nullopt;
    }
    if (const int status = cimStatusOf(reply); status != 0) {
      _tally.failed(operation, "CIM error " + std::to_string(status),
                    objectMayBeGone && status == kCimErrNotFound);
      return std::nullopt;
    }
    _tally.succeeded(operation, std::chrono::steady_clock::now() - start);
    return reply;
  } catch (const ConnectionError& error) {
    _connection.reset();
    _tally.failed(operation, toString(error.failure()));
    pause();
    return std::nullopt;
  }
}

}  // namespace kest::load
