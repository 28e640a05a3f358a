#include "tests/server/WbemcliRunner.h"

#include <gtest/gtest.h>

#include "tests/server/ServerTestSupport.h"

namespace kest::server::testing {

std::string replaced(std::string text, const std::string& from, const std::string& to) {
  for (std::size_t at = text.find(from); at != std::string::npos;
       at = text.find(from, at + to.size())) {
    text.replace(at, from.size(), to);
  }
  return text;
}

WbemcliRun runWbemcli(RecordingProxy& proxy, const std::vector<std::string>& args) {
  const std::string address = "127.0.0.1:" + std::to_string(proxy.port());
  std::vector<std::string> argv{"wbemcli"};
  for (const std::string& arg : args) {
    argv.push_back(arg.rfind("URL", 0) == 0 ? "http://" + address + arg.substr(3) : arg);
  }
  const ProgramResult result = runProgram(argv);
  WbemcliRun run;
  run.out = replaced(result.output, address, "HOST");
  run.err = result.errors;
  run.exitCode = result.exitCode;
  run.responses = proxy.takeResponses();
  for (const HttpResponse& response : run.responses) {
    if (response.status == 200) {
      EXPECT_EQ(dtdErrors(response.body), "") << response.body;
    }
  }
  return run;
}

}  // namespace kest::server::testing
