#pragma once

#include <string>
#include <vector>

#include "host/Config.h"
#include "host/String.h"
#include "server/ProviderLoader.h"
#include "server/Server.h"

namespace kest::server {

// Reads the [Server] section of the configuration into settings. Every key
// is optional; a missing key leaves the setting as it is:
//   Address          the address to listen on;
//   Port             the port (0: any free port);
//   Providers        provider libraries, "path[@namespace], ...";
//   NameSpaces       the namespaces served, "root/cimv2, root/interop";
//   Mof              MOF files to compile at start, "file.mof, ...";
//   DefaultProvider  the provider library served when no provider is named,
//                    "path[@namespace]" (see applyDefaultProvider);
//   DefaultProviderMof  the MOF file of its classes;
//   InteropProvider  the interop provider library (ServerSettings::
//                    interopProvider); empty for none;
//   User, Password   HTTP Basic credentials (no authentication without User);
//   TlsCertificate, TlsKey   PEM files: serve HTTPS;
//   MaxRequestSize   bytes of a request body;
//   MaxXmlDepth      element nesting of a request;
//   MaxXmlNodes      XML nodes (elements, attributes, text) of a request;
//   MaxHeaderSize, MaxHeaderLineSize   bytes of a request's line and
//                    headers together, and of one line;
//   MaxConnections   connections with a request in progress at once;
//   MaxOpenConnections   connections open at once, idle ones included;
//   IdleTimeout      seconds a connection may stay silent between requests;
//   HeaderTimeout, BodyTimeout   seconds for a request's header (from its
//                    first byte) and for its body;
//   RequestTimeout   seconds a request may take before its response starts;
//   ShutdownGrace    seconds given to requests in flight, and then to the
//                    providers' shutdown, when the server stops;
//   WorkArea         the folder handed to providers as their work area;
//   LogLevel         the highest severity logged to stderr, 1 to 4.
// Throws std::invalid_argument "[Server] <key>: <problem>" for a value that
// is not a number where one is needed, or is out of range.
void readServerConfiguration(const KESTConfigManager& config, ServerSettings& settings);

// The items of a comma-separated list, trimmed, empty ones dropped.
std::vector<std::string> splitList(const std::string& text);

// "path" or "path@namespace"; an empty namespace means the server's first.
ProviderSpec parseProviderSpec(const std::string& text);

// The default provider: when settings name no provider, the one
// settings.defaultProvider names, with its classes (settings.defaultMof,
// compiled before the MOF files settings name). Settings that name a
// provider, or that have no default provider, are left as they are.
void applyDefaultProvider(ServerSettings& settings);

// Reads the [Server] section of the configuration file at path into settings
// (readServerConfiguration), when the file exists; a missing file changes
// nothing. Throws std::invalid_argument for a file that cannot be read or
// parsed, naming the path, and what readServerConfiguration throws.
void readServerConfigurationFile(const std::string& path, ServerSettings& settings);

}  // namespace kest::server
