#pragma once

#include <cstddef>
#include <memory>
#include <mutex>
#include <vector>

#include "host/String.h"

// One log message as it reaches a sink.
//   source: the component or thread that logs;
//   severity: 1 error, 2 warning, 3 information, 4 progress/debug;
//   verbosity: the detail level the message belongs to (higher is more
//     detailed); carried to the sink, not interpreted by the host;
//   flags: caller-defined bits, carried to the sink;
//   category: which log the message belongs to (TOVLog::CIMOMLOG, ...).
struct TOVLogRecord {
  TOVString source;
  TOVString message;
  int severity = 0;
  int verbosity = 0;
  int flags = 0;
  int category = 0;
};

// ITOVLogSink: where log records go. write() is called on the logging thread,
// possibly on several threads at once, so a sink must be thread-safe. What
// write() throws propagates out of TOVLog::log().
class ITOVLogSink {
 public:
  virtual ~ITOVLogSink();
  virtual void write(const TOVLogRecord& record) = 0;
};

// TOVLog: the process-wide log. Every record goes to the installed sink, or,
// when none is installed, to the default sink, which writes the line
// "[severity] source: message" to stderr for records whose severity is at or
// below the stderr level (default 2: errors and warnings) and drops the rest.
//
// Threads: every member may be called from any thread. log() takes the sink
// under a short lock and writes outside it, so a slow sink does not hold up
// setSink(), and a sink replaced while a thread is writing to it is kept
// alive until that write returns.
class TOVLog {
 public:
  // Categories.
  static constexpr int CIMOMLOG = 1;     // the object manager and the host
  static constexpr int PROVIDERLOG = 2;  // providers and the provider framework
  static constexpr int SECURITYLOG = 3;  // authentication and authorisation

  // Severities.
  static constexpr int SEVERITY_ERROR = 1;
  static constexpr int SEVERITY_WARNING = 2;
  static constexpr int SEVERITY_INFO = 3;
  static constexpr int SEVERITY_DEBUG = 4;

  // Passes the record to the current sink. Throws what the sink throws (the
  // default sink throws nothing).
  static void log(const TOVString& source, const TOVString& message, int severity, int verbosity,
                  int flags, int category);

  // Installs sink for every later log() call; null restores the default sink.
  static void setSink(std::shared_ptr<ITOVLogSink> sink);
  // The installed sink; null while the default sink is in use.
  static std::shared_ptr<ITOVLogSink> getSink();

  // The highest severity the default sink writes to stderr.
  static void setStderrLevel(int level);
  static int getStderrLevel();
};

// TOVCapturingLogSink: keeps every record written to it, in order; for tests.
// throwOnMessage(m) makes each later write() of a record whose message equals
// m (exactly) throw TovaBaseException, after the record has been kept; the
// exception has type "LogSinkFailure", where "TOVCapturingLogSink::write",
// who the record's source and message "injected log sink failure".
// Threads: every member may be called from any thread.
class TOVCapturingLogSink : public ITOVLogSink {
 public:
  TOVCapturingLogSink();
  ~TOVCapturingLogSink() override;

  void write(const TOVLogRecord& record) override;

  // A copy of the records kept so far.
  std::vector<TOVLogRecord> records() const;
  // How many kept records have exactly this message.
  std::size_t count(const TOVString& message) const;
  // Forgets the records kept so far (the throw trigger stays).
  void clear();

  void throwOnMessage(const TOVString& message);
  void stopThrowing();

 private:
  mutable std::mutex _mutex;
  std::vector<TOVLogRecord> _records;
  bool _throwArmed = false;
  TOVString _throwMessage;
};

// TOVScopedLogCapture: installs a fresh TOVCapturingLogSink for its lifetime
// and reinstalls the sink that was current before (or the default) when it is
// destroyed. Scopes must nest: destroy them in reverse order of creation.
// Not copyable or movable.
class TOVScopedLogCapture {
 public:
  TOVScopedLogCapture();
  ~TOVScopedLogCapture();
  TOVScopedLogCapture(const TOVScopedLogCapture&) = delete;
  TOVScopedLogCapture& operator=(const TOVScopedLogCapture&) = delete;

  TOVCapturingLogSink& sink() const { return *_sink; }
  std::vector<TOVLogRecord> records() const { return _sink->records(); }

 private:
  std::shared_ptr<TOVCapturingLogSink> _sink;
  std::shared_ptr<ITOVLogSink> _previous;
};
