// kest-load: load and abuse measurement of a running kest-server serving the
// system provider (see docs/load.md; bench/load/run starts a server and runs
// the usual measurements).
//
//   kest-load --url http://127.0.0.1:PORT --clients N --seconds S
//             [--server-pid PID] [--server-log FILE] [--user U --password P]
//   kest-load --url ... --hold N | --hold-slow N [--server-pid PID]
//   kest-load --url ... --flood N [--flood-bytes B] [--server-pid PID]
//
// Exit code: 0; 1 when requests failed unexpectedly (load) or the probe
// requests were not served (hold, flood); 2 on bad arguments or when the load
// targets cannot be found.

#include <sys/resource.h>

#include <CLI/CLI.hpp>

#include <iostream>

#include "bench/load/FloodRun.h"
#include "bench/load/HoldRun.h"
#include "bench/load/LoadRun.h"

namespace {

// Lets the process open as many descriptors as its hard limit allows.
void raiseDescriptorLimit() {
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur < limit.rlim_max) {
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
  }
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("kest-load: load and abuse measurement of a running kest-server");
  std::string url;
  kest::load::LoadOptions load;
  kest::load::HoldOptions hold;
  unsigned int holdIdle = 0;
  unsigned int holdSlow = 0;
  int serverPid = 0;
  app.add_option("--url", url, "The server, http://HOST:PORT[/PATH] (path /cimom)")->required();
  app.add_option("--clients", load.clients, "Load: client threads (default 16)")
      ->check(CLI::Range(1u, 100000u));
  app.add_option("--seconds", load.seconds, "Load: duration in seconds (default 20)")
      ->check(CLI::PositiveNumber);
  app.add_option("--server-pid", serverPid, "The server's process id: sample its memory");
  app.add_option("--server-log", load.serverLog,
                 "Load: the server's stderr file (run with --log-level 4): count refresh cycles");
  app.add_option("--user", load.user, "HTTP Basic user");
  app.add_option("--password", load.password, "HTTP Basic password");
  auto* idle =
      app.add_option("--hold", holdIdle, "Hold this many idle connections instead of loading");
  app.add_option("--hold-slow", holdSlow,
                 "Hold this many connections that send a partial request header")
      ->excludes(idle);
  kest::load::FloodOptions flood;
  unsigned int floodCount = 0;
  app.add_option("--flood", floodCount,
                 "Send this many maximum-size requests at once and report the server's peak memory")
      ->excludes(idle);
  app.add_option("--flood-bytes", flood.bodyBytes, "Flood: bytes of each request body");
  CLI11_PARSE(app, argc, argv);

  try {
    load.endpoint = kest::load::Endpoint::parse(url);
  } catch (const std::invalid_argument& error) {
    std::cerr << "kest-load: " << error.what() << "\n";
    return 2;
  }
  raiseDescriptorLimit();
  if (floodCount > 0) {
    flood.endpoint = load.endpoint;
    flood.connections = floodCount;
    flood.serverPid = serverPid;
    return kest::load::FloodRun(flood).run(std::cout);
  }
  if (holdIdle > 0 || holdSlow > 0) {
    hold.endpoint = load.endpoint;
    hold.user = load.user;
    hold.password = load.password;
    hold.connections = holdIdle > 0 ? holdIdle : holdSlow;
    hold.slow = holdSlow > 0;
    hold.serverPid = serverPid;
    return kest::load::HoldRun(hold).run(std::cout);
  }
  load.serverPid = serverPid;
  return kest::load::LoadRun(load).run(std::cout);
}
