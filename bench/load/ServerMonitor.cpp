#include "bench/load/ServerMonitor.h"

#include <algorithm>
#include <cstdlib>
#include <numeric>
#include <string_view>

namespace kest::load {

namespace {

constexpr const char* kRefreshLine = "SystemProvider: Polling";

// The kB figure of a field of /proc/PID/status ("VmRSS:").
std::optional<long> statusKb(pid_t pid, std::string_view field) {
  std::ifstream status("/proc/" + std::to_string(pid) + "/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.compare(0, field.size(), field) == 0) return std::atol(line.c_str() + field.size());
  }
  return std::nullopt;
}

}  // namespace

ServerMonitor::ServerMonitor(pid_t pid, std::string logFile)
    : _pid(pid), _logFile(std::move(logFile)) {}

ServerMonitor::~ServerMonitor() { stop(); }

std::optional<long> ServerMonitor::residentKb(pid_t pid) { return statusKb(pid, "VmRSS:"); }

std::optional<long> ServerMonitor::peakResidentKb(pid_t pid) { return statusKb(pid, "VmHWM:"); }

void ServerMonitor::start() {
  if (!_logFile.empty()) {
    _log.open(_logFile);
    _log.seekg(0, std::ios::end);
  }
  _started = std::chrono::steady_clock::now();
  if (_pid > 0) {
    if (const std::optional<long> kb = residentKb(_pid)) _residentKb.push_back(*kb);
  }
  _thread = std::thread([this] { run(); });
}

void ServerMonitor::stop() {
  if (!_thread.joinable()) return;
  {
    std::lock_guard<std::mutex> lock(_mutex);
    _stopping = true;
  }
  _wake.notify_all();
  _thread.join();
  _seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - _started).count();
  // The cycles of the last, partial second count in the total only.
  _lastPartial = newRefreshLines();
  if (_pid > 0) {
    if (const std::optional<long> kb = residentKb(_pid)) _residentKb.push_back(*kb);
  }
}

void ServerMonitor::run() {
  std::unique_lock<std::mutex> lock(_mutex);
  auto next = _started + std::chrono::seconds(1);
  while (!_wake.wait_until(lock, next, [this] { return _stopping; })) {
    lock.unlock();
    sample();
    lock.lock();
    next += std::chrono::seconds(1);
  }
}

void ServerMonitor::sample() {
  if (_pid > 0) {
    if (const std::optional<long> kb = residentKb(_pid)) _residentKb.push_back(*kb);
  }
  if (_log.is_open()) _refreshesPerSecond.push_back(newRefreshLines());
}

std::size_t ServerMonitor::newRefreshLines() {
  if (!_log.is_open()) return 0;
  std::size_t count = 0;
  char buffer[65536];
  for (;;) {
    _log.read(buffer, sizeof buffer);
    const std::streamsize got = _log.gcount();
    if (got <= 0) break;
    _partialLine.append(buffer, static_cast<std::size_t>(got));
  }
  _log.clear();  // past the end for now; the server appends more
  std::size_t start = 0;
  for (std::size_t end = _partialLine.find('\n'); end != std::string::npos;
       end = _partialLine.find('\n', start)) {
    if (std::string_view(_partialLine).substr(start, end - start).find(kRefreshLine) !=
        std::string_view::npos) {
      ++count;
    }
    start = end + 1;
  }
  _partialLine.erase(0, start);
  return count;
}

void ServerMonitor::print(std::ostream& out) const {
  if (_pid > 0) {
    if (_residentKb.empty()) {
      out << "  server RSS: not readable for pid " << _pid << "\n";
    } else {
      const auto [least, most] = std::minmax_element(_residentKb.begin(), _residentKb.end());
      out << "  server RSS (kB): min " << *least << ", max " << *most << ", last "
          << _residentKb.back() << " (" << _residentKb.size() << " samples, 1 s apart)\n";
    }
  }
  if (!_logFile.empty() && !_log.is_open()) {
    out << "  refresh cycles: cannot read " << _logFile << "\n";
  } else if (_log.is_open()) {
    const std::size_t total =
        std::accumulate(_refreshesPerSecond.begin(), _refreshesPerSecond.end(), _lastPartial);
    out << "  refresh cycles: " << total << " in " << _seconds
        << " s = " << (_seconds > 0 ? static_cast<double>(total) / _seconds : 0.0) << "/s";
    if (!_refreshesPerSecond.empty()) {
      const auto [least, most] =
          std::minmax_element(_refreshesPerSecond.begin(), _refreshesPerSecond.end());
      out << " (in one second: fewest " << *least << ", most " << *most << ")";
    }
    out << "\n";
  }
}

}  // namespace kest::load
