#include "server/Server.h"

#include <chrono>
#include <future>
#include <stdexcept>
#include <utility>

#include <unistd.h>

#include "server/CimService.h"
#include "server/Dispatcher.h"
#include "server/InteropSchema.h"
#include "server/Operations.h"
#include "server/Logging.h"
#include "server/ProviderSet.h"
#include "server/RequestParser.h"

namespace kest::server {

namespace {

const ServerLog kLog("kest::server::Server");

TOVString hostName() {
  char name[256] = {};
  if (::gethostname(name, sizeof(name) - 1) != 0 || name[0] == '\0') return "localhost";
  return TOVString(name);
}

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
  kest::ServerDescription description;
  ProviderSet providers;
  RequestParser parser;
  Dispatcher dispatcher;
  CimService service;
  HttpFrontEnd frontEnd;
};

Server::Server(ServerSettings settings)
    : _settings(std::move(settings)), _parts(std::make_unique<Parts>(_settings)) {
  const TOVString interop = interopNameSpaceOf(_settings.nameSpaces);
  if (!interop.isNull()) _parts->catalog.compileSchema(kInteropSchemaName, interopSchemaText(), interop);
}

Server::~Server() {
  stop();
  if (_shutdown.joinable()) _shutdown.join();
}

ClassCatalog& Server::catalog() { return _parts->catalog; }

const kest::ServerDescription& Server::description() const { return _parts->description; }

void Server::describe(int port) {
  kest::ServerDescription& description = _parts->description;
  description.productName = "kest-server";
  description.productVersion = KEST_SERVER_VERSION;
  description.vendor = "kest";
  description.protocolVersion = "1.4";
  description.cimXmlVersion = "2.4";
  description.systemName = hostName();
  description.systemCreationClassName = "CIM_ComputerSystem";
  description.interopNameSpace = interopNameSpaceOf(_settings.nameSpaces);
  description.nameSpaces = _settings.nameSpaces;
  description.endpoints = {kest::ServerEndpoint{_parts->frontEnd.scheme(),
                                                TOVString(_settings.http.address), port}};
  description.basicAuthentication = !_settings.http.user.empty();
  description.functionalProfiles = supportedFunctionalProfiles();
}

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
  describe(_parts->frontEnd.bind());
  const TOVString& interop = _parts->description.interopNameSpace;
  if (!_settings.interopProvider.empty() && !interop.isNull()) {
    providers.push_back(ProviderSpec{_settings.interopProvider, interop});
  }
  _parts->providers.start(providers, _parts->catalog.repository(), TOVString(_settings.workArea),
                          _parts->catalog, &_parts->description);
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
