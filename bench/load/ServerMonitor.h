#pragma once

// ServerMonitor: watches the server process from outside while a run goes
// on, once a second on a thread of its own:
//   - its resident memory (VmRSS of /proc/PID/status), when a pid is given;
//   - the refresh cycles of the system provider, when the server's log file
//     is given: the poll thread logs "Polling ..." at the start of every
//     cycle (severity 4, so the server must run with --log-level 4); the
//     monitor counts the lines "SystemProvider: Polling" appended since
//     start().
// start() and stop() from one thread; the figures once stopped.

#include <sys/types.h>

#include <chrono>
#include <condition_variable>
#include <fstream>
#include <mutex>
#include <optional>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

namespace kest::load {

class ServerMonitor {
 public:
  // pid 0: no memory samples; logFile "": no refresh count.
  ServerMonitor(pid_t pid, std::string logFile);
  ~ServerMonitor();
  ServerMonitor(const ServerMonitor&) = delete;
  ServerMonitor& operator=(const ServerMonitor&) = delete;

  void start();
  void stop();

  // Prints "server RSS" (min, max, last) and "refresh cycles" (total, per
  // second, fewest and most in one second) for what was watched.
  void print(std::ostream& out) const;

  // VmRSS (now) and VmHWM (the peak so far) of the process in kB; nothing
  // when it cannot be read.
  static std::optional<long> residentKb(pid_t pid);
  static std::optional<long> peakResidentKb(pid_t pid);

 private:
  void run();
  void sample();
  std::size_t newRefreshLines();

  const pid_t _pid;
  const std::string _logFile;
  std::ifstream _log;
  std::string _partialLine;
  std::vector<long> _residentKb;
  std::vector<std::size_t> _refreshesPerSecond;  // one entry per whole second
  std::size_t _lastPartial = 0;                  // cycles after the last whole second
  std::chrono::steady_clock::time_point _started;
  double _seconds = 0.0;

  std::mutex _mutex;
  std::condition_variable _wake;
  bool _stopping = false;  // guarded by _mutex
  std::thread _thread;
};

}  // namespace kest::load
