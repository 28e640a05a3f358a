#pragma once

// LoadClient: one client of a load run. Over one kept-alive connection it
// sends rounds of the fixed mix until a deadline:
//   1 EnumerateInstances of KEST_Process,
//   4 GetInstance of processes that enumeration returned (in turn),
//   2 Associators of the computer system through KEST_SystemFileSystem,
//   1 extrinsic call of GetUsage on a file system (statvfs: cheap, changes
//     nothing).
// Every request is recorded in the client's tally: latency when it
// succeeded (from sending to the whole response), otherwise its failure
// kind (HTTP status, CIM error code, or the connection failure); the
// connections it opens go to a tally of their own ("connect": time to
// connect, failures). A connection that is refused, reset or closed is
// replaced by a new one, after a pause of 100 ms so that a server refusing
// connections is not hammered. CIM_ERR_NOT_FOUND from GetInstance counts as
// expected: a process may end between its enumeration and the request.
//
// Threads: one LoadClient per thread; the tally is read once run() returns.

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "bench/load/CimMessages.h"
#include "bench/load/HttpConnection.h"
#include "bench/load/RequestTally.h"

namespace kest::load {

// What the mix works on, found once before the clients start.
struct LoadTargets {
  InstanceName computerSystem;
  InstanceName fileSystem;  // "/" when the server has it
};

class LoadClient {
 public:
  // connection: one already open, or null to open one on the first request.
  LoadClient(const Endpoint& endpoint, const CimRequests& requests, const LoadTargets& targets,
             int timeoutMs, std::unique_ptr<HttpConnection> connection, std::size_t firstProcess);

  void run(std::chrono::steady_clock::time_point deadline);
  const RequestTally& tally() const { return _tally; }
  const RequestTally& connects() const { return _connects; }

  // The text of the mix, for reports.
  static const char* mixDescription();

 private:
  std::optional<HttpReply> call(const std::string& operation, const std::string& request,
                                bool objectMayBeGone = false);

  const Endpoint& _endpoint;
  const CimRequests& _requests;
  const LoadTargets& _targets;
  const int _timeoutMs;
  std::unique_ptr<HttpConnection> _connection;
  std::vector<InstanceName> _processes;  // from the last enumeration
  std::size_t _nextProcess;
  RequestTally _tally;
  RequestTally _connects;
};

}  // namespace kest::load
