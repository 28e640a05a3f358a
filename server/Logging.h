#pragma once

#include "host/String.h"

namespace kest::server {

// ServerLog: how one component of the server writes to the process log.
// Every message goes to TOVLog::log() with the component's name as source,
// verbosity 2, no flags and the object manager's category (TOVLog::CIMOMLOG),
// so that all of the server logs alike. A file keeps one, e.g.
//   const ServerLog kLog("kest::server::CimService");
//   kLog.warning("request refused: " + detail);
// Threads: immutable after construction; any thread may log through it.
// A message is passed on as it is; what the installed log sink throws
// propagates, as from TOVLog::log().
class ServerLog {
 public:
  // source names the component ("kest::server::HttpFrontEnd").
  explicit ServerLog(const TOVString& source);

  void error(const TOVString& message) const;
  void warning(const TOVString& message) const;
  void info(const TOVString& message) const;
  void debug(const TOVString& message) const;
  // severity is one of TOVLog::SEVERITY_ERROR ... SEVERITY_DEBUG.
  void write(int severity, const TOVString& message) const;

  const TOVString& source() const { return _source; }

 private:
  TOVString _source;
};

}  // namespace kest::server
