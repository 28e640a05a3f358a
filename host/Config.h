#pragma once

#include <map>
#include <mutex>
#include <string>

#include "host/String.h"
#include "host/Types.h"

// KESTConfigManager: the process's configuration: string values addressed by
// section and key, both matched exactly (case-sensitive). The framework reads
// its settings from section "KEST" at every use, so a value changed through
// set() or a later loadFile() takes effect at the next read.
//
// The process has at most one current manager (getInstance(); null when none
// is installed). install(), installFromEnvironment() and uninstall() replace
// or delete it; the host owns it. They are meant for start-up, shutdown and
// tests: a manager pointer held by another thread dangles once its manager
// is replaced or uninstalled.
//
// Configuration files are INI text:
//   [Section]            starts a section (the name is trimmed);
//   key = value          sets key in the current section; key and value are
//                        trimmed of surrounding blanks; the value is the rest
//                        of the line after the first '=' (no quoting, no
//                        trailing comments); a repeated key keeps its last
//                        value;
//   ; text  or  # text   a comment line;
//   blank lines are skipped; a trailing '\r' on a line is ignored.
// Any other line is an error: a line without '=', an unterminated header, a
// header with text after ']', an empty section name or key, and a key before
// the first section header.
//
// Threads: every member function may be called from any thread.
class KESTConfigManager {
 public:
  KESTConfigManager();
  ~KESTConfigManager();
  KESTConfigManager(const KESTConfigManager&) = delete;
  KESTConfigManager& operator=(const KESTConfigManager&) = delete;

  // The current manager, or null.
  static KESTConfigManager* getInstance();
  // Makes a new, empty manager current (deleting any previous one) and
  // returns it.
  static KESTConfigManager* install();
  // Deletes the current manager; getInstance() then returns null.
  static void uninstall();
  // When the environment variable KEST_CONFIG names a file (is set and not
  // empty), loads it into a new manager and makes that current; on failure
  // returns false with error set and keeps the current manager. When the
  // variable is unset or empty, does nothing and returns true.
  static bool installFromEnvironment(std::string& error);

  // Stores the value of section/key in value and returns true; returns false
  // and leaves value alone when there is none.
  bool getString(const TOVString& section, const TOVString& key, TOVString& value) const;
  // Like getString, for a value that is a complete decimal integer in the
  // range of TOVsint32: an optional '+' or '-' followed by one or more digits
  // and nothing else (no blanks). Returns false and leaves value alone when
  // the value is missing or not such an integer.
  bool getSint32(const TOVString& section, const TOVString& key, TOVsint32& value) const;

  void set(const TOVString& section, const TOVString& key, const TOVString& value);
  // Removes section/key; returns whether it was there.
  bool remove(const TOVString& section, const TOVString& key);

  // Reads an INI file and adds its values, replacing values with the same
  // section and key. On failure changes nothing, returns false and sets
  // error: "path:line: message" for a malformed line, "path: message" when
  // the file cannot be read.
  bool loadFile(const std::string& path, std::string& error);

 private:
  using Values = std::map<std::string, std::map<std::string, TOVString>>;

  mutable std::mutex _mutex;
  Values _values;
};
