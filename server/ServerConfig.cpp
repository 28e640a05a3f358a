#include "server/ServerConfig.h"

#include <filesystem>
#include <stdexcept>
#include <system_error>

namespace kest::server {

namespace {

constexpr const char* kSection = "Server";

std::string trimmed(const std::string& text) {
  const std::size_t first = text.find_first_not_of(" \t");
  if (first == std::string::npos) return std::string();
  return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

bool readString(const KESTConfigManager& config, const char* key, std::string& value) {
  TOVString text;
  if (!config.getString(kSection, key, text)) return false;
  value = text.toStdString();
  return true;
}

// Reads a number in [minimum, maximum] into value.
template <typename T>
void readNumber(const KESTConfigManager& config, const char* key, T& value, long long minimum,
                long long maximum) {
  std::string text;
  if (!readString(config, key, text)) return;
  std::size_t used = 0;
  long long number = 0;
  try {
    number = std::stoll(text, &used);
  } catch (const std::exception&) {
    used = 0;
  }
  if (used == 0 || used != text.size()) {
    throw std::invalid_argument(std::string("[Server] ") + key + ": \"" + text +
                                "\" is not a number");
  }
  if (number < minimum || number > maximum) {
    throw std::invalid_argument(std::string("[Server] ") + key + ": " + text + " is not within " +
                                std::to_string(minimum) + " to " + std::to_string(maximum));
  }
  value = static_cast<T>(number);
}

}  // namespace

std::vector<std::string> splitList(const std::string& text) {
  std::vector<std::string> items;
  std::size_t start = 0;
  while (start <= text.size()) {
    std::size_t comma = text.find(',', start);
    if (comma == std::string::npos) comma = text.size();
    std::string item = trimmed(text.substr(start, comma - start));
    if (!item.empty()) items.push_back(std::move(item));
    start = comma + 1;
  }
  return items;
}

ProviderSpec parseProviderSpec(const std::string& text) {
  const std::size_t at = text.rfind('@');
  if (at == std::string::npos) return ProviderSpec{text, TOVString()};
  return ProviderSpec{text.substr(0, at), TOVString(text.substr(at + 1))};
}

void readServerConfiguration(const KESTConfigManager& config, ServerSettings& settings) {
  readString(config, "Address", settings.http.address);
  readNumber(config, "Port", settings.http.port, 0, 65535);
  std::string list;
  if (readString(config, "Providers", list)) {
    settings.providers.clear();
    for (const std::string& item : splitList(list))
      settings.providers.push_back(parseProviderSpec(item));
  }
  if (readString(config, "NameSpaces", list)) {
    settings.nameSpaces.clear();
    for (const std::string& item : splitList(list)) settings.nameSpaces.emplace_back(item);
  }
  if (readString(config, "Mof", list)) settings.mofFiles = splitList(list);
  readString(config, "DefaultProvider", settings.defaultProvider);
  readString(config, "DefaultProviderMof", settings.defaultMof);
  readString(config, "InteropProvider", settings.interopProvider);
  readString(config, "User", settings.http.user);
  readString(config, "Password", settings.http.password);
  readString(config, "TlsCertificate", settings.http.tlsCertificate);
  readString(config, "TlsKey", settings.http.tlsKey);
  readNumber(config, "MaxRequestSize", settings.http.maxRequestSize, 1, 1LL << 40);
  readNumber(config, "MaxXmlDepth", settings.maxXmlDepth, 8, 100000);
  readNumber(config, "MaxXmlNodes", settings.maxXmlNodes, 1000, 100000000);
  readNumber(config, "MaxHeaderSize", settings.http.maxHeaderSize, 1024, 1 << 24);
  readNumber(config, "MaxHeaderLineSize", settings.http.maxHeaderLineSize, 256, 1 << 24);
  readNumber(config, "MaxConnections", settings.http.maxConnections, 1, 100000);
  readNumber(config, "MaxOpenConnections", settings.http.maxOpenConnections, 1, 1000000);
  readNumber(config, "IdleTimeout", settings.http.idleTimeoutSeconds, 1, 86400);
  readNumber(config, "HeaderTimeout", settings.http.headerTimeoutSeconds, 1, 3600);
  readNumber(config, "BodyTimeout", settings.http.bodyTimeoutSeconds, 1, 86400);
  readNumber(config, "RequestTimeout", settings.http.requestTimeoutSeconds, 1, 86400);
  readNumber(config, "ShutdownGrace", settings.shutdownGraceSeconds, 0, 3600);
  readString(config, "WorkArea", settings.workArea);
  readNumber(config, "LogLevel", settings.logLevel, 1, 4);
}

void applyDefaultProvider(ServerSettings& settings) {
  if (!settings.providers.empty() || settings.defaultProvider.empty()) return;
  settings.providers.push_back(parseProviderSpec(settings.defaultProvider));
  if (!settings.defaultMof.empty()) {
    settings.mofFiles.insert(settings.mofFiles.begin(), settings.defaultMof);
  }
}

void readServerConfigurationFile(const std::string& path, ServerSettings& settings) {
  std::error_code missing;
  if (!std::filesystem::exists(path, missing)) return;
  KESTConfigManager config;
  std::string error;
  if (!config.loadFile(path, error)) throw std::invalid_argument(error);
  readServerConfiguration(config, settings);
}

}  // namespace kest::server
