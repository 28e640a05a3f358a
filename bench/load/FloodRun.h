#pragma once

// FloodRun: the flood mode of kest-load. Sends `connections` requests at
// once, each with a body of about `bodyBytes` bytes made of as many small
// elements as fit (the costliest body to parse: a CIM envelope whose one
// parameter is a VALUE.ARRAY of short VALUE elements), and reports the
// answers by status and the server's peak resident memory (VmHWM) before
// and after, so the memory a maximum-size request may cost. Then checks that
// a legitimate request is still served.

#include <sys/types.h>

#include <cstddef>
#include <ostream>

#include "bench/load/HttpConnection.h"

namespace kest::load {

struct FloodOptions {
  Endpoint endpoint;
  unsigned int connections = 64;
  std::size_t bodyBytes = 16 * 1024 * 1024 - 4096;
  pid_t serverPid = 0;
  int timeoutMs = 120000;
};

class FloodRun {
 public:
  explicit FloodRun(FloodOptions options);

  // Runs and reports to out. Returns 0 when every flood request got an HTTP
  // answer and the legitimate request after them was served, 1 otherwise.
  int run(std::ostream& out);

 private:
  FloodOptions _options;
};

}  // namespace kest::load
