#pragma once

// Runs the real wbemcli against a server through a RecordingProxy, for the
// end-to-end tests.

#include <string>
#include <vector>

#include "tests/server/HttpTestSupport.h"

namespace kest::server::testing {

// What one wbemcli run printed, with the proxy's address written HOST, and
// the responses it received.
struct WbemcliRun {
  std::string out;
  std::string err;
  int exitCode = -1;
  std::vector<HttpResponse> responses;
};

// text with every occurrence of from replaced by to.
std::string replaced(std::string text, const std::string& from, const std::string& to);

// Runs wbemcli with args through proxy: "URL" at the start of an argument
// stands for "http://127.0.0.1:<proxy port>". Every response with status
// 200 must validate against the CIM DTD: one that does not is a GoogleTest
// failure of the calling test.
WbemcliRun runWbemcli(RecordingProxy& proxy, const std::vector<std::string>& args);

}  // namespace kest::server::testing
