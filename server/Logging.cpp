#include "server/Logging.h"

#include "host/Log.h"

namespace kest::server {

namespace {

constexpr int kVerbosity = 2;
constexpr int kFlags = 0;

}  // namespace

ServerLog::ServerLog(const TOVString& source) : _source(source) {}

void ServerLog::error(const TOVString& message) const { write(TOVLog::SEVERITY_ERROR, message); }

void ServerLog::warning(const TOVString& message) const {
  write(TOVLog::SEVERITY_WARNING, message);
}

void ServerLog::info(const TOVString& message) const { write(TOVLog::SEVERITY_INFO, message); }

void ServerLog::debug(const TOVString& message) const { write(TOVLog::SEVERITY_DEBUG, message); }

void ServerLog::write(int severity, const TOVString& message) const {
  TOVLog::log(_source, message, severity, kVerbosity, kFlags, TOVLog::CIMOMLOG);
}

}  // namespace kest::server
