#pragma once

// HoldRun: the hold mode of kest-load. Opens `connections` TCP connections
// to the server that stay idle (or, slow, send the start of a request
// header and then nothing), waits a couple of seconds, and reports how many
// the server kept open, answered, closed or reset, its resident memory
// before and after (so the memory per held connection), and whether a
// legitimate request on a new connection (EnumerateClassNames, then
// EnumerateInstances of KEST_ComputerSystem) is served while they are held,
// with its latency. The held connections are closed when run() returns.

#include <sys/types.h>

#include <map>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "bench/load/HttpConnection.h"

namespace kest::load {

struct HoldOptions {
  Endpoint endpoint;
  std::string user;
  std::string password;
  unsigned int connections = 1000;
  bool slow = false;  // send a partial request header
  pid_t serverPid = 0;
  int settleMs = 2000;    // between opening them and looking at them
  int timeoutMs = 10000;  // for opening them all, and for the probe's responses
};

class HoldRun {
 public:
  explicit HoldRun(HoldOptions options);

  // Runs and reports to out. Returns 0 when the probe requests were served,
  // 1 otherwise.
  int run(std::ostream& out);

 private:
  // Opens the connections (and sends the partial header, slow); counts
  // those that could not be opened in failures, by kind.
  std::vector<std::unique_ptr<TcpSocket>> open(std::map<std::string, unsigned int>& failures) const;
  // The probe requests on a new connection while the others are held;
  // true when both were served.
  bool probe(std::ostream& out) const;

  HoldOptions _options;
};

}  // namespace kest::load
