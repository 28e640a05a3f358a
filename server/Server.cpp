#include "server/Server.h"

#include <chrono>
#include <future>
#include <stdexcept>
#include <utility>

#include "server/CimService.h"
#include "server/Dispatcher.h"
#include "server/Logging.h"
#include "server/ProviderSet.h"
#include "server/RequestParser.h"

namespace kest::server {

namespace {

const ServerLog kLog("kest::server::Server");

}  // namespace

// The server's components, in the order they depend on each other.
struct Server::Parts {
  explicit Parts(const ServerSettings& settings)
      : catalog(settings.nameSpaces.empty() ? TOVString("root/cimv2") : settings.nameSpaces[0]),
        parser(catalog, settings.maxXmlDepth, settings.maxXmlNodes),
        dispatcher(providers, catalog, settings.nameSpaces),
        service(parser, dispatcher),
        frontEnd(settings.http, service) {}

  ClassCatalog catalog;
  ProviderSet providers;
  RequestParser parser;
  Dispatcher dispatcher;
  CimService service;
  HttpFrontEnd frontEnd;
};

Server::Server(ServerSettings settings)
    : _settings(std::move(settings)), _parts(std::make_unique<Parts>(_settings)) {}

Server::~Server() {
  stop();
  if (_shutdown.joinable()) _shutdown.join();
}

ClassCatalog& Server::catalog() { return _parts->catalog; }

int Server::start() {
  if (_settings.nameSpaces.empty()) throw std::runtime_error("the server serves no namespace");
  std::vector<ProviderSpec> providers = _settings.providers;
  for (ProviderSpec& provider : providers) {
    if (provider.nameSpace.isNull()) provider.nameSpace = _settings.nameSpaces[0];
    if (!_parts->dispatcher.servesNameSpace(provider.nameSpace)) {
      throw ProviderError(provider.path, "its namespace " + provider.nameSpace.toStdString() +
                                             " is not one the server serves");
    }
  }
  if (!_settings.mofFiles.empty()) {
    for (const std::string& warning : _parts->catalog.compileMof(_settings.mofFiles)) {
      kLog.warning(warning);
    }
  }
  _parts->providers.start(providers, _parts->catalog.repository(), TOVString(_settings.workArea),
                          _parts->catalog);
  try {
    _port = _parts->frontEnd.start();
  } catch (...) {
    _parts->providers.shutdown();
    throw;
  }
  kLog.info("kest-server listening on " + url());
  return _port;
}

bool Server::stop() {
  if (!_parts->frontEnd.running()) return true;
  const std::chrono::seconds grace(_settings.shutdownGraceSeconds);
  const bool requestsFinished = _parts->frontEnd.stop(grace);
  std::promise<void> done;
  std::future<void> finished = done.get_future();
  _shutdown = std::thread([this, done = std::move(done)]() mutable {
    _parts->providers.shutdown();
    done.set_value();
  });
  if (finished.wait_for(grace) != std::future_status::ready) {
    kLog.error("a provider has not returned from shutdown within " +
               std::to_string(_settings.shutdownGraceSeconds) + " s; stopping without it");
    return false;
  }
  _shutdown.join();
  kLog.info("kest-server stopped");
  return requestsFinished;
}

std::string Server::url() const {
  return std::string(_parts->frontEnd.scheme()) + "://" + _settings.http.address + ":" +
         std::to_string(_port);
}

}  // namespace kest::server
