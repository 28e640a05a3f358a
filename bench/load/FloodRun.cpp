#include "bench/load/FloodRun.h"

#include <chrono>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "bench/load/CimMessages.h"
#include "bench/load/ServerMonitor.h"

namespace kest::load {

namespace {

// A POST of EnumerateInstances whose extra parameter is an array of short
// values, about bodyBytes long.
std::string floodRequest(const Endpoint& endpoint, std::size_t bodyBytes) {
  const std::string head =
      "<?xml version=\"1.0\" encoding=\"utf-8\"?><CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\">"
      "<MESSAGE ID=\"1\" PROTOCOLVERSION=\"1.0\"><SIMPLEREQ><IMETHODCALL "
      "NAME=\"EnumerateInstances\"><LOCALNAMESPACEPATH><NAMESPACE NAME=\"root\"/><NAMESPACE "
      "NAME=\"cimv2\"/></LOCALNAMESPACEPATH><IPARAMVALUE NAME=\"ClassName\"><CLASSNAME "
      "NAME=\"KEST_Process\"/></IPARAMVALUE><IPARAMVALUE NAME=\"PropertyList\"><VALUE.ARRAY>";
  const std::string tail = "</VALUE.ARRAY></IPARAMVALUE></IMETHODCALL></SIMPLEREQ></MESSAGE></CIM>";
  const std::string value = "<VALUE>p</VALUE>";
  std::string body = head;
  body.reserve(bodyBytes + tail.size());
  while (body.size() + value.size() + tail.size() <= bodyBytes) body += value;
  body += tail;
  return "POST " + endpoint.path + " HTTP/1.1\r\nHost: " + endpoint.host + ":" +
         std::to_string(endpoint.port) +
         "\r\nContent-Type: application/xml; charset=\"utf-8\"\r\nCIMOperation: MethodCall\r\n"
         "CIMMethod: EnumerateInstances\r\nCIMObject: root%2Fcimv2\r\nCIMProtocolVersion: "
         "1.0\r\nContent-Length: " +
         std::to_string(body.size()) + "\r\n\r\n" + body;
}

}  // namespace

FloodRun::FloodRun(FloodOptions options) : _options(std::move(options)) {}

int FloodRun::run(std::ostream& out) {
  const std::string request = floodRequest(_options.endpoint, _options.bodyBytes);
  const std::optional<long> peakBefore =
      _options.serverPid > 0 ? ServerMonitor::peakResidentKb(_options.serverPid) : std::nullopt;
  std::mutex mutex;
  std::map<std::string, unsigned int> answers;  // guarded by mutex
  std::vector<std::thread> senders;
  const auto started = std::chrono::steady_clock::now();
  for (unsigned int i = 0; i < _options.connections; ++i) {
    senders.emplace_back([&] {
      std::string answer;
      try {
        HttpConnection connection(_options.endpoint, _options.timeoutMs);
        const HttpReply reply = connection.exchange(request);
        answer = std::to_string(reply.status);
        if (reply.status == 200) {
          answer += reply.body.find("<ERROR") != std::string::npos ? " with a CIM error"
                                                                   : " with a result";
        }
      } catch (const ConnectionError& error) {
        answer = std::string("connection ") + toString(error.failure());
      }
      std::lock_guard<std::mutex> lock(mutex);
      ++answers[answer];
    });
  }
  for (std::thread& sender : senders) sender.join();
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();

  out << "flood: " << _options.connections << " requests of " << request.size()
      << " bytes at once, answered in " << seconds << " s\n";
  bool allAnswered = true;
  for (const auto& [answer, count] : answers) {
    out << "  " << count << " x " << answer << "\n";
    if (answer.rfind("connection", 0) == 0) allAnswered = false;
  }
  if (_options.serverPid > 0) {
    const std::optional<long> peakAfter = ServerMonitor::peakResidentKb(_options.serverPid);
    if (peakBefore && peakAfter) {
      out << "  server peak resident memory (VmHWM): " << *peakBefore << " kB before, "
          << *peakAfter << " kB after\n";
    }
  }
  bool served = false;
  try {
    HttpConnection probe(_options.endpoint, 10000);
    served =
        probe.exchange(CimRequests(_options.endpoint, "", "").enumerateClassNames()).status == 200;
  } catch (const ConnectionError&) {
  }
  out << "  a legitimate request afterwards: " << (served ? "served" : "NOT served") << "\n";
  return allAnswered && served ? 0 : 1;
}

}  // namespace kest::load
