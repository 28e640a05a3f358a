#pragma once

// LoadRun: the load mode of kest-load. Finds its targets (the computer
// system and a file system) over one connection, then runs `clients`
// LoadClients, one thread each, for `seconds`, with a ServerMonitor
// alongside, and prints the merged tally and the server figures.

#include <sys/types.h>

#include <ostream>
#include <string>

#include "bench/load/HttpConnection.h"

namespace kest::load {

struct LoadOptions {
  Endpoint endpoint;
  std::string user;
  std::string password;
  unsigned int clients = 16;
  double seconds = 20.0;
  pid_t serverPid = 0;    // 0: no memory samples
  std::string serverLog;  // "": no refresh count
  int timeoutMs = 30000;  // per connect and per response
};

class LoadRun {
 public:
  explicit LoadRun(LoadOptions options);

  // Runs and reports to out. Returns 0; 1 when requests failed unexpectedly;
  // 2 when the targets could not be found (nothing was run).
  int run(std::ostream& out);

 private:
  LoadOptions _options;
};

}  // namespace kest::load
