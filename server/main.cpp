// kest-server: a WBEM server (CIM-XML over HTTP) for providers built on the
// kest provider framework. Settings come from the built-in defaults, then the
// [Server] section of the default configuration file (KEST_DEFAULT_CONFIG,
// set by the build; skipped when it does not exist), then that of the file
// that KEST_CONFIG names, then the command line; when none of them names a
// provider, it serves the default provider that they name
// (applyDefaultProvider).
// SIGINT and SIGTERM stop it: no new requests, requests in flight finish
// within the grace period (then fail), every provider is shut down (within
// the grace period too, or it is left behind), exit code 0. With --check-mof it only compiles
// the MOF files given, reports every diagnostic on stdout and exits (1 when
// there are errors) without starting.

#include <pthread.h>
#include <sys/resource.h>

#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include "host/Config.h"
#include "host/Log.h"
#include "server/Logging.h"
#include "server/Server.h"
#include "server/ServerConfig.h"
#include "server/repository/CheckMof.h"

namespace {

using kest::server::ServerSettings;

// Adds the command-line options to app; each one given replaces the setting.
void addOptions(CLI::App& app, ServerSettings& settings, std::vector<std::string>& providers,
                std::vector<std::string>& nameSpaces, std::vector<std::string>& mofFiles) {
  kest::server::HttpSettings& http = settings.http;
  app.add_option("--address", http.address, "Address to listen on (default 127.0.0.1)");
  app.add_option("--port", http.port, "Port to listen on, 0 for any free one (default 5988)")
      ->check(CLI::Range(0, 65535));
  app.add_option("--provider", providers,
                 "Provider library to load, PATH or PATH@NAMESPACE (repeatable; default: the "
                 "DefaultProvider of the configuration)");
  app.add_option("--namespace", nameSpaces,
                 "Namespace to serve (repeatable; default root/cimv2 and root/interop)");
  app.add_option("--mof", mofFiles, "MOF file to compile at start (repeatable)");
  app.add_option("--user", http.user, "User name for HTTP Basic authentication");
  app.add_option("--password", http.password, "Password for HTTP Basic authentication");
  app.add_option("--tls-cert", http.tlsCertificate, "PEM certificate (chain): serve HTTPS");
  app.add_option("--tls-key", http.tlsKey, "PEM private key of the certificate");
  app.add_option("--max-request-size", http.maxRequestSize, "Largest request body, in bytes")
      ->check(CLI::PositiveNumber);
  app.add_option("--max-xml-depth", settings.maxXmlDepth, "Deepest element nesting of a request")
      ->check(CLI::Range(8, 100000));
  app.add_option("--max-xml-nodes", settings.maxXmlNodes,
                 "Most XML nodes (elements, attributes, text) in a request")
      ->check(CLI::Range(1000, 100000000));
  app.add_option("--max-header-size", http.maxHeaderSize,
                 "Largest request line and headers together, in bytes")
      ->check(CLI::Range(1024, 1 << 24));
  app.add_option("--max-header-line-size", http.maxHeaderLineSize,
                 "Longest request line or header line, in bytes")
      ->check(CLI::Range(256, 1 << 24));
  app.add_option("--max-connections", http.maxConnections,
                 "Connections with a request in progress at once (idle and slow ones make room)")
      ->check(CLI::PositiveNumber);
  app.add_option("--max-open-connections", http.maxOpenConnections,
                 "Connections open at once, idle ones included")
      ->check(CLI::PositiveNumber);
  app.add_option("--idle-timeout", http.idleTimeoutSeconds,
                 "Seconds a connection may stay silent between requests")
      ->check(CLI::Range(1, 86400));
  app.add_option("--header-timeout", http.headerTimeoutSeconds,
                 "Seconds from a request's first byte to its complete header")
      ->check(CLI::Range(1, 3600));
  app.add_option("--body-timeout", http.bodyTimeoutSeconds,
                 "Seconds from a request's header to its complete body")
      ->check(CLI::Range(1, 86400));
  app.add_option("--request-timeout", http.requestTimeoutSeconds,
                 "Seconds a request may take before its response starts (then CIM_ERR_FAILED)")
      ->check(CLI::Range(1, 86400));
  app.add_option("--shutdown-grace", settings.shutdownGraceSeconds,
                 "Seconds requests in flight, then providers' shutdown, may take on SIGTERM")
      ->check(CLI::Range(0, 3600));
  app.add_option("--work-area", settings.workArea, "Folder given to providers as work area");
  app.add_option("--log-level", settings.logLevel,
                 "Highest severity logged to stderr: 1 errors, 2 warnings, 3 information, 4 all")
      ->check(CLI::Range(1, 4));
}

}  // namespace

int main(int argc, char** argv) {
  ServerSettings settings;
  try {
    kest::server::readServerConfigurationFile(KEST_DEFAULT_CONFIG, settings);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "kest-server: %s\n", error.what());
    return 1;
  }
  std::string configError;
  if (!KESTConfigManager::installFromEnvironment(configError)) {
    std::fprintf(stderr, "kest-server: %s\n", configError.c_str());
    return 1;
  }
  try {
    if (const KESTConfigManager* config = KESTConfigManager::getInstance()) {
      kest::server::readServerConfiguration(*config, settings);
    }
  } catch (const std::exception& error) {
    std::fprintf(stderr, "kest-server: %s\n", error.what());
    return 1;
  }

  CLI::App app{"kest-server: a WBEM server (CIM-XML over HTTP) for kest providers"};
  std::vector<std::string> providers;
  std::vector<std::string> nameSpaces;
  std::vector<std::string> mofFiles;
  std::vector<std::string> checkedFiles;
  addOptions(app, settings, providers, nameSpaces, mofFiles);
  app.add_option("--check-mof", checkedFiles,
                 "Compile these MOF files, report their errors and exit without serving "
                 "(exit code 1 on errors)");
  CLI11_PARSE(app, argc, argv);
  if (!providers.empty()) {
    settings.providers.clear();
    for (const std::string& provider : providers) {
      settings.providers.push_back(kest::server::parseProviderSpec(provider));
    }
  }
  if (!nameSpaces.empty()) settings.nameSpaces.assign(nameSpaces.begin(), nameSpaces.end());
  if (!mofFiles.empty()) settings.mofFiles = mofFiles;
  if (app.count("--check-mof") > 0) {
    kest::repository::CompileOptions options;
    if (!settings.nameSpaces.empty()) options.defaultNameSpace = settings.nameSpaces[0];
    return kest::repository::checkMofFiles(checkedFiles, std::cout, options);
  }
  kest::server::applyDefaultProvider(settings);
  TOVLog::setStderrLevel(settings.logLevel);

  // The signals are taken by sigwait below: block them before any thread
  // starts, so that every thread inherits the mask.
  sigset_t stopSignals;
  sigemptyset(&stopSignals);
  sigaddset(&stopSignals, SIGINT);
  sigaddset(&stopSignals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);

  // Idle connections cost a file descriptor each: allow as many as the
  // system allows this process.
  rlimit files{};
  if (getrlimit(RLIMIT_NOFILE, &files) == 0 && files.rlim_cur < files.rlim_max) {
    files.rlim_cur = files.rlim_max;
    setrlimit(RLIMIT_NOFILE, &files);
  }

  kest::server::Server server(settings);
  try {
    server.start();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "kest-server: %s\n", error.what());
    return 1;
  }
  int signal = 0;
  sigwait(&stopSignals, &signal);
  kest::server::ServerLog("kest-server")
      .info(signal == SIGINT ? "SIGINT received, stopping" : "SIGTERM received, stopping");
  if (!server.stop()) {
    // A provider still runs code of the server's: leave without destroying
    // anything it may use.
    std::fflush(stderr);
    std::_Exit(0);
  }
  return 0;
}
