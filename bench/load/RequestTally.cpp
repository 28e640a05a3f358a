#include "bench/load/RequestTally.h"

#include <algorithm>
#include <cstdio>
#include <set>

namespace kest::load {

namespace {

// The q-quantile of sorted microseconds, in milliseconds (nearest rank).
double quantileMs(const std::vector<std::int64_t>& sorted, double q) {
  if (sorted.empty()) return 0.0;
  std::size_t rank = static_cast<std::size_t>(q * static_cast<double>(sorted.size()));
  rank = std::min(rank, sorted.size() - 1);
  return static_cast<double>(sorted[rank]) / 1000.0;
}

// One line of the table; latencies: those of the successful requests.
std::string row(const std::string& name, double seconds, std::vector<std::int64_t> latencies,
                std::uint64_t failures) {
  const std::uint64_t requests = latencies.size() + failures;
  std::sort(latencies.begin(), latencies.end());
  char line[160];
  std::snprintf(line, sizeof line, "  %-20s %10llu %10.1f %10.2f %10.2f %10llu\n", name.c_str(),
                static_cast<unsigned long long>(requests),
                seconds > 0 ? static_cast<double>(requests) / seconds : 0.0,
                quantileMs(latencies, 0.50), quantileMs(latencies, 0.99),
                static_cast<unsigned long long>(failures));
  return line;
}

}  // namespace

void RequestTally::succeeded(const std::string& operation, Duration latency) {
  _latencies[operation].push_back(
      std::chrono::duration_cast<std::chrono::microseconds>(latency).count());
}

void RequestTally::failed(const std::string& operation, const std::string& kind, bool expected) {
  Failure& failure = _failures[operation][kind];
  ++failure.count;
  failure.expected = expected;
}

void RequestTally::merge(const RequestTally& other) {
  for (const auto& [operation, latencies] : other._latencies) {
    std::vector<std::int64_t>& mine = _latencies[operation];
    mine.insert(mine.end(), latencies.begin(), latencies.end());
  }
  for (const auto& [operation, kinds] : other._failures) {
    for (const auto& [kind, failure] : kinds) {
      Failure& mine = _failures[operation][kind];
      mine.count += failure.count;
      mine.expected = failure.expected;
    }
  }
}

std::uint64_t RequestTally::requests() const {
  std::uint64_t total = 0;
  for (const auto& [operation, latencies] : _latencies) total += latencies.size();
  for (const auto& [operation, kinds] : _failures) {
    for (const auto& [kind, failure] : kinds) total += failure.count;
  }
  return total;
}

std::uint64_t RequestTally::unexpectedFailures() const {
  std::uint64_t total = 0;
  for (const auto& [operation, kinds] : _failures) {
    for (const auto& [kind, failure] : kinds) {
      if (!failure.expected) total += failure.count;
    }
  }
  return total;
}

void RequestTally::print(std::ostream& out, double seconds, bool withAll) const {
  std::set<std::string> operations;
  for (const auto& [operation, latencies] : _latencies) operations.insert(operation);
  for (const auto& [operation, kinds] : _failures) operations.insert(operation);

  char header[160];
  std::snprintf(header, sizeof header, "  %-20s %10s %10s %10s %10s %10s\n", "operation",
                "requests", "req/s", "p50 ms", "p99 ms", "failed");
  out << header;
  std::vector<std::int64_t> all;
  std::uint64_t allFailures = 0;
  for (const std::string& operation : operations) {
    std::vector<std::int64_t> latencies;
    if (const auto found = _latencies.find(operation); found != _latencies.end()) {
      latencies = found->second;
    }
    std::uint64_t failures = 0;
    if (const auto found = _failures.find(operation); found != _failures.end()) {
      for (const auto& [kind, failure] : found->second) failures += failure.count;
    }
    all.insert(all.end(), latencies.begin(), latencies.end());
    allFailures += failures;
    out << row(operation, seconds, std::move(latencies), failures);
  }
  if (withAll) out << row("all", seconds, std::move(all), allFailures);

  if (_failures.empty()) {
    out << "  failures: none\n";
    return;
  }
  out << "  failures:\n";
  for (const auto& [operation, kinds] : _failures) {
    for (const auto& [kind, failure] : kinds) {
      out << "    " << operation << ": " << kind << ": " << failure.count
          << (failure.expected ? " (expected)" : "") << "\n";
    }
  }
}

}  // namespace kest::load
