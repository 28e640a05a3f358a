#pragma once

// RequestTally: what one client thread saw of its requests: the latency of
// each successful request by operation, and the failures by operation and
// kind. Each client fills its own (no locking); the run merges them at the
// end and prints the table. Not shared between threads.

#include <chrono>
#include <cstdint>
#include <map>
#include <ostream>
#include <string>
#include <vector>

namespace kest::load {

class RequestTally {
 public:
  using Duration = std::chrono::steady_clock::duration;

  void succeeded(const std::string& operation, Duration latency);
  // expected: a failure the run allows for (an object that left the server
  // between its enumeration and the request); it does not fail the run.
  void failed(const std::string& operation, const std::string& kind, bool expected = false);
  void merge(const RequestTally& other);

  std::uint64_t requests() const;  // successful and failed
  std::uint64_t unexpectedFailures() const;
  // The table: requests, req/s, p50 and p99 latency (successful requests)
  // per operation and, withAll, over all; then the failures by kind.
  void print(std::ostream& out, double seconds, bool withAll = true) const;

 private:
  struct Failure {
    std::uint64_t count = 0;
    bool expected = false;
  };
  std::map<std::string, std::vector<std::int64_t>> _latencies;  // microseconds
  std::map<std::string, std::map<std::string, Failure>> _failures;
};

}  // namespace kest::load
