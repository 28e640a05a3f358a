#include "host/Config.h"

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <string_view>
#include <utility>

namespace {

struct Current {
  std::mutex mutex;  // serialises install and uninstall
  std::atomic<KESTConfigManager*> manager{nullptr};
};

Current& current() {
  static Current* const instance = new Current;
  return *instance;
}

// Makes manager current and deletes the previous one.
void replaceCurrent(KESTConfigManager* manager) {
  Current& c = current();
  KESTConfigManager* previous = nullptr;
  {
    std::lock_guard<std::mutex> lock(c.mutex);
    previous = c.manager.exchange(manager, std::memory_order_acq_rel);
  }
  delete previous;
}

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\f' || c == '\v'; }

std::string_view trim(std::string_view text) {
  while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
  return text;
}

bool parseSint32(std::string_view text, TOVsint32& out) {
  bool negative = false;
  if (!text.empty() && (text.front() == '+' || text.front() == '-')) {
    negative = text.front() == '-';
    text.remove_prefix(1);
  }
  if (text.empty()) return false;
  // Magnitudes up to 2^31 (for -2147483648) fit easily in 64 bits; stop as
  // soon as the magnitude is out of range so long digit strings cannot wrap.
  constexpr std::int64_t kLimit = 2147483648LL;
  std::int64_t magnitude = 0;
  for (char c : text) {
    if (c < '0' || c > '9') return false;
    magnitude = magnitude * 10 + (c - '0');
    if (magnitude > kLimit) return false;
  }
  if (!negative && magnitude == kLimit) return false;
  out = static_cast<TOVsint32>(negative ? -magnitude : magnitude);
  return true;
}

}  // namespace

KESTConfigManager::KESTConfigManager() = default;

KESTConfigManager::~KESTConfigManager() = default;

KESTConfigManager* KESTConfigManager::getInstance() {
  return current().manager.load(std::memory_order_acquire);
}

KESTConfigManager* KESTConfigManager::install() {
  auto* manager = new KESTConfigManager;
  replaceCurrent(manager);
  return manager;
}

void KESTConfigManager::uninstall() { replaceCurrent(nullptr); }

bool KESTConfigManager::installFromEnvironment(std::string& error) {
  const char* path = std::getenv("KEST_CONFIG");
  if (path == nullptr || *path == '\0') return true;
  auto manager = std::make_unique<KESTConfigManager>();
  if (!manager->loadFile(path, error)) return false;
  replaceCurrent(manager.release());
  return true;
}

bool KESTConfigManager::getString(const TOVString& section, const TOVString& key,
                                  TOVString& value) const {
  std::lock_guard<std::mutex> lock(_mutex);
  const auto s = _values.find(section.toStdString());
  if (s == _values.end()) return false;
  const auto k = s->second.find(key.toStdString());
  if (k == s->second.end()) return false;
  value = k->second;
  return true;
}

bool KESTConfigManager::getSint32(const TOVString& section, const TOVString& key,
                                  TOVsint32& value) const {
  TOVString text;
  if (!getString(section, key, text)) return false;
  return parseSint32(text.view(), value);
}

void KESTConfigManager::set(const TOVString& section, const TOVString& key,
                            const TOVString& value) {
  std::lock_guard<std::mutex> lock(_mutex);
  _values[section.toStdString()][key.toStdString()] = value;
}

bool KESTConfigManager::remove(const TOVString& section, const TOVString& key) {
  std::lock_guard<std::mutex> lock(_mutex);
  const auto s = _values.find(section.toStdString());
  if (s == _values.end()) return false;
  if (s->second.erase(key.toStdString()) == 0) return false;
  if (s->second.empty()) _values.erase(s);
  return true;
}

bool KESTConfigManager::loadFile(const std::string& path, std::string& error) {
  std::ifstream in(path, std::ios::in | std::ios::binary);
  if (!in) {
    const int code = errno;
    error = path + ": cannot open file";
    if (code != 0) {
      error += ": ";
      error += std::strerror(code);
    }
    return false;
  }

  const auto fail = [&](unsigned long lineNumber, const char* message) {
    error = path + ":" + std::to_string(lineNumber) + ": " + message;
    return false;
  };

  Values loaded;
  std::string sectionName;
  bool inSection = false;
  std::string line;
  unsigned long lineNumber = 0;
  while (std::getline(in, line)) {
    ++lineNumber;
    const std::string_view text = trim(line);
    if (text.empty() || text.front() == ';' || text.front() == '#') continue;
    if (text.front() == '[') {
      const std::size_t close = text.find(']');
      if (close == std::string_view::npos) return fail(lineNumber, "unterminated section header");
      if (!trim(text.substr(close + 1)).empty()) {
        return fail(lineNumber, "unexpected text after section header");
      }
      const std::string_view name = trim(text.substr(1, close - 1));
      if (name.empty()) return fail(lineNumber, "empty section name");
      sectionName.assign(name);
      inSection = true;
      continue;
    }
    const std::size_t equals = text.find('=');
    if (equals == std::string_view::npos) return fail(lineNumber, "expected 'key = value'");
    const std::string_view key = trim(text.substr(0, equals));
    if (key.empty()) return fail(lineNumber, "empty key");
    if (!inSection) return fail(lineNumber, "key outside any section");
    loaded[sectionName][std::string(key)] = TOVString(trim(text.substr(equals + 1)));
  }
  if (in.bad()) {
    error = path + ": read error";
    return false;
  }

  std::lock_guard<std::mutex> lock(_mutex);
  for (auto& [section, keys] : loaded) {
    auto& target = _values[section];
    for (auto& [key, value] : keys) target[key] = std::move(value);
  }
  return true;
}
