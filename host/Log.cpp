#include "host/Log.h"

#include <atomic>
#include <cstdio>
#include <string>
#include <utility>

#include "host/Exception.h"

namespace {

// Never destroyed, so that threads still logging while the process exits
// find the state intact.
struct LogState {
  std::mutex mutex;
  std::shared_ptr<ITOVLogSink> sink;
  std::atomic<int> stderrLevel{TOVLog::SEVERITY_WARNING};
};

LogState& logState() {
  static LogState* const state = new LogState;
  return *state;
}

void writeToStderr(const TOVLogRecord& record, int level) {
  if (record.severity > level) return;
  std::string line = "[";
  line += std::to_string(record.severity);
  line += "] ";
  line.append(record.source.c_str(), record.source.length());
  line += ": ";
  line.append(record.message.c_str(), record.message.length());
  line += '\n';
  // One write per line keeps lines from different threads apart.
  std::fwrite(line.data(), 1, line.size(), stderr);
  std::fflush(stderr);
}

}  // namespace

ITOVLogSink::~ITOVLogSink() = default;

void TOVLog::log(const TOVString& source, const TOVString& message, int severity, int verbosity,
                 int flags, int category) {
  LogState& state = logState();
  std::shared_ptr<ITOVLogSink> sink;
  {
    std::lock_guard<std::mutex> lock(state.mutex);
    sink = state.sink;
  }
  TOVLogRecord record;
  record.source = source;
  record.message = message;
  record.severity = severity;
  record.verbosity = verbosity;
  record.flags = flags;
  record.category = category;
  if (sink) {
    sink->write(record);
  } else {
    writeToStderr(record, state.stderrLevel.load(std::memory_order_relaxed));
  }
}

void TOVLog::setSink(std::shared_ptr<ITOVLogSink> sink) {
  LogState& state = logState();
  std::shared_ptr<ITOVLogSink> old;
  {
    std::lock_guard<std::mutex> lock(state.mutex);
    old = std::exchange(state.sink, std::move(sink));
  }
  // old is released here, outside the lock: its destructor may log.
}

std::shared_ptr<ITOVLogSink> TOVLog::getSink() {
  LogState& state = logState();
  std::lock_guard<std::mutex> lock(state.mutex);
  return state.sink;
}

void TOVLog::setStderrLevel(int level) {
  logState().stderrLevel.store(level, std::memory_order_relaxed);
}

int TOVLog::getStderrLevel() { return logState().stderrLevel.load(std::memory_order_relaxed); }

TOVCapturingLogSink::TOVCapturingLogSink() = default;

TOVCapturingLogSink::~TOVCapturingLogSink() = default;

void TOVCapturingLogSink::write(const TOVLogRecord& record) {
  bool fail = false;
  {
    std::lock_guard<std::mutex> lock(_mutex);
    _records.push_back(record);
    fail = _throwArmed && record.message == _throwMessage;
  }
  if (fail) {
    throw TovaBaseException("LogSinkFailure", "TOVCapturingLogSink::write", record.source,
                            "injected log sink failure", 0);
  }
}

std::vector<TOVLogRecord> TOVCapturingLogSink::records() const {
  std::lock_guard<std::mutex> lock(_mutex);
  return _records;
}

std::size_t TOVCapturingLogSink::count(const TOVString& message) const {
  std::lock_guard<std::mutex> lock(_mutex);
  std::size_t n = 0;
  for (const TOVLogRecord& record : _records) {
    if (record.message == message) ++n;
  }
  return n;
}

void TOVCapturingLogSink::clear() {
  std::lock_guard<std::mutex> lock(_mutex);
  _records.clear();
}

void TOVCapturingLogSink::throwOnMessage(const TOVString& message) {
  std::lock_guard<std::mutex> lock(_mutex);
  _throwArmed = true;
  _throwMessage = message;
}

void TOVCapturingLogSink::stopThrowing() {
  std::lock_guard<std::mutex> lock(_mutex);
  _throwArmed = false;
  _throwMessage = TOVString();
}

TOVScopedLogCapture::TOVScopedLogCapture()
    : _sink(std::make_shared<TOVCapturingLogSink>()), _previous(TOVLog::getSink()) {
  TOVLog::setSink(_sink);
}

TOVScopedLogCapture::~TOVScopedLogCapture() { TOVLog::setSink(_previous); }
