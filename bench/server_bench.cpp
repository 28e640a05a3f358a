// The embedded server under load: a kest-server process with the benchmark
// provider (N synthetic Bench_Item objects of 11 string and integer
// properties each), queried over one kept-alive connection by a client that
// reads the responses without parsing the XML.
//
//   EnumerateInstances of 10,000 and of 100,000 objects: the server's CPU
//     time per instance (user + system, from /proc), the wall time per
//     instance, the response bytes per second, and the server's resident
//     memory after start-up and at its peak (VmRSS, VmHWM);
//   GetInstance: median and 99th percentile latency;
//   Associators of the one object with 1,000 associations.
//
// Run: build/bench/server_bench (one server process per size).
#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

// A kest-server process serving `instances` benchmark objects.
class ServerProcess {
 public:
  explicit ServerProcess(std::size_t instances) {
    int pipeEnds[2];
    if (pipe2(pipeEnds, O_CLOEXEC) != 0) throw std::runtime_error("pipe failed");
    _pid = fork();
    if (_pid == 0) {
      setenv("KEST_BENCH_INSTANCES", std::to_string(instances).c_str(), 1);
      dup2(pipeEnds[1], 2);
      execl(KEST_SERVER_EXECUTABLE, KEST_SERVER_EXECUTABLE, "--port", "0", "--provider",
            KEST_BENCH_PROVIDER, "--log-level", "3", static_cast<char*>(nullptr));
      _exit(127);
    }
    close(pipeEnds[1]);
    std::string errors;
    char buffer[4096];
    const std::string marker = "listening on http://127.0.0.1:";
    while (errors.find(marker) == std::string::npos ||
           errors.find('\n', errors.find(marker)) == std::string::npos) {
      const ssize_t n = read(pipeEnds[0], buffer, sizeof buffer);
      if (n <= 0) throw std::runtime_error("kest-server did not start: " + errors);
      errors.append(buffer, static_cast<std::size_t>(n));
    }
    _port = std::atoi(errors.c_str() + errors.find(marker) + marker.size());
    _stderr = pipeEnds[0];
  }

  ~ServerProcess() {
    kill(_pid, SIGTERM);
    int status = 0;
    waitpid(_pid, &status, 0);
    close(_stderr);
  }

  int port() const { return _port; }

  // A field of /proc/<pid>/status in kB ("VmRSS", "VmHWM").
  double memoryKb(const std::string& field) const {
    std::ifstream status("/proc/" + std::to_string(_pid) + "/status");
    std::string line;
    while (std::getline(status, line)) {
      if (line.rfind(field + ":", 0) == 0) return std::atof(line.c_str() + field.size() + 1);
    }
    return 0;
  }

  // User plus system CPU time of the process so far, in seconds.
  double cpuSeconds() const {
    std::ifstream stat("/proc/" + std::to_string(_pid) + "/stat");
    std::string text((std::istreambuf_iterator<char>(stat)), std::istreambuf_iterator<char>());
    std::istringstream fields(text.substr(text.rfind(')') + 2));
    std::string field;
    double ticks = 0;
    for (int i = 3; i <= 15 && fields >> field; ++i) {
      if (i == 14 || i == 15) ticks += std::atof(field.c_str());
    }
    return ticks / static_cast<double>(sysconf(_SC_CLK_TCK));
  }

 private:
  pid_t _pid = -1;
  int _stderr = -1;
  int _port = 0;
};

// A kept-alive connection that sends CIM-XML requests and reads whole
// responses, counting the body's bytes without parsing it.
class Client {
 public:
  explicit Client(int port) {
    _socket = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int yes = 1;
    setsockopt(_socket, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(_socket, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
      throw std::runtime_error("cannot connect");
    }
  }
  ~Client() { close(_socket); }

  // Sends one request; returns the size of the response body. The status
  // line must say 200 and a trailer CIMStatusCode, when there is one, 0.
  std::size_t call(const std::string& request) {
    send(request);
    const std::string head = readUntil("\r\n\r\n");
    if (head.compare(0, 12, "HTTP/1.1 200") != 0) throw std::runtime_error(head);
    if (head.find("Transfer-Encoding: chunked") == std::string::npos) {
      const std::size_t at = head.find("Content-Length: ");
      const std::size_t length = std::strtoul(head.c_str() + at + 16, nullptr, 10);
      skip(length);
      return length;
    }
    std::size_t total = 0;
    while (true) {
      const std::size_t size = std::strtoul(readUntil("\r\n").c_str(), nullptr, 16);
      if (size == 0) break;
      skip(size + 2);
      total += size;
    }
    const std::string trailers = readUntil("\r\n\r\n");
    if (trailers.find("CIMStatusCode: 0") == std::string::npos) {
      throw std::runtime_error("the operation failed: " + trailers);
    }
    return total;
  }

 private:
  void send(const std::string& bytes) {
    std::size_t sent = 0;
    while (sent < bytes.size()) {
      const ssize_t n = ::send(_socket, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
      if (n <= 0) throw std::runtime_error("send failed");
      sent += static_cast<std::size_t>(n);
    }
  }

  bool fill() {
    if (_begin == _end) _begin = _end = 0;
    if (_end == sizeof _buffer) {
      std::memmove(_buffer, _buffer + _begin, _end - _begin);
      _end -= _begin;
      _begin = 0;
    }
    const ssize_t n = recv(_socket, _buffer + _end, sizeof _buffer - _end, 0);
    if (n <= 0) return false;
    _end += static_cast<std::size_t>(n);
    return true;
  }

  std::string readUntil(const char* marker) {
    std::string text;
    const std::size_t length = std::strlen(marker);
    while (true) {
      while (_begin < _end) {
        text += _buffer[_begin++];
        if (text.size() >= length && text.compare(text.size() - length, length, marker) == 0) {
          return text;
        }
      }
      if (!fill()) throw std::runtime_error("connection closed");
    }
  }

  void skip(std::size_t count) {
    while (count > 0) {
      if (_begin == _end && !fill()) throw std::runtime_error("connection closed");
      const std::size_t n = std::min(count, _end - _begin);
      _begin += n;
      count -= n;
    }
  }

  int _socket;
  char _buffer[256 * 1024];
  std::size_t _begin = 0;
  std::size_t _end = 0;
};

std::string post(const std::string& method, const std::string& parameters) {
  const std::string body =
      "<?xml version=\"1.0\" encoding=\"utf-8\" ?>\n<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\">"
      "<MESSAGE ID=\"1\" PROTOCOLVERSION=\"1.0\"><SIMPLEREQ><IMETHODCALL NAME=\"" +
      method +
      "\"><LOCALNAMESPACEPATH><NAMESPACE NAME=\"root\"/><NAMESPACE NAME=\"cimv2\"/>"
      "</LOCALNAMESPACEPATH>" +
      parameters + "</IMETHODCALL></SIMPLEREQ></MESSAGE></CIM>";
  return "POST /cimom HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Type: application/xml; "
         "charset=\"utf-8\"\r\nCIMProtocolVersion: 1.0\r\nCIMOperation: MethodCall\r\nCIMMethod: " +
         method + "\r\nCIMObject: root%2Fcimv2\r\nContent-Length: " + std::to_string(body.size()) +
         "\r\n\r\n" + body;
}

const std::string kItemName =
    "<INSTANCENAME CLASSNAME=\"Bench_Item\"><KEYBINDING NAME=\"Id\"><KEYVALUE "
    "VALUETYPE=\"numeric\" "
    "TYPE=\"uint32\">4242</KEYVALUE></KEYBINDING><KEYBINDING NAME=\"Name\"><KEYVALUE "
    "VALUETYPE=\"string\" TYPE=\"string\">item-4242</KEYVALUE></KEYBINDING></INSTANCENAME>";
const std::string kHubName =
    "<INSTANCENAME CLASSNAME=\"Bench_Hub\"><KEYBINDING NAME=\"Name\"><KEYVALUE "
    "VALUETYPE=\"string\" TYPE=\"string\">hub</KEYVALUE></KEYBINDING></INSTANCENAME>";

// One server per number of instances, started on first use.
ServerProcess& serverFor(std::size_t instances) {
  static std::map<std::size_t, std::unique_ptr<ServerProcess>> servers;
  std::unique_ptr<ServerProcess>& server = servers[instances];
  if (!server) server = std::make_unique<ServerProcess>(instances);
  return *server;
}

void BM_EnumerateInstances(benchmark::State& state) {
  const auto instances = static_cast<std::size_t>(state.range(0));
  ServerProcess& server = serverFor(instances);
  const double rssAfterStart = server.memoryKb("VmRSS");
  Client client(server.port());
  const std::string request =
      post("EnumerateInstances",
           "<IPARAMVALUE NAME=\"ClassName\"><CLASSNAME NAME=\"Bench_Item\"/></IPARAMVALUE>");
  std::size_t bytes = 0;
  double cpu = 0;
  double wall = 0;
  for (auto _ : state) {
    const double cpuBefore = server.cpuSeconds();
    const auto start = std::chrono::steady_clock::now();
    bytes = client.call(request);
    wall += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    cpu += server.cpuSeconds() - cpuBefore;
  }
  const double calls = static_cast<double>(state.iterations());
  state.SetBytesProcessed(static_cast<int64_t>(bytes * state.iterations()));
  state.counters["server_cpu_ns_per_instance"] = cpu / calls / static_cast<double>(instances) * 1e9;
  state.counters["wall_ns_per_instance"] = wall / calls / static_cast<double>(instances) * 1e9;
  state.counters["response_MB"] = static_cast<double>(bytes) / 1e6;
  state.counters["server_rss_after_start_MB"] = rssAfterStart / 1024;
  state.counters["server_peak_rss_MB"] = server.memoryKb("VmHWM") / 1024;
}
BENCHMARK(BM_EnumerateInstances)
    ->Arg(10000)
    ->Arg(100000)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

void BM_GetInstance(benchmark::State& state) {
  ServerProcess& server = serverFor(10000);
  Client client(server.port());
  const std::string request =
      post("GetInstance", "<IPARAMVALUE NAME=\"InstanceName\">" + kItemName + "</IPARAMVALUE>");
  std::vector<double> latencies;
  for (auto _ : state) {
    const auto start = std::chrono::steady_clock::now();
    benchmark::DoNotOptimize(client.call(request));
    latencies.push_back(
        std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start)
            .count());
  }
  std::sort(latencies.begin(), latencies.end());
  state.counters["median_us"] = latencies[latencies.size() / 2];
  state.counters["p99_us"] = latencies[std::min(latencies.size() - 1, latencies.size() * 99 / 100)];
}
BENCHMARK(BM_GetInstance)->Unit(benchmark::kMicrosecond)->UseRealTime();

void BM_AssociatorsOfAnObjectWith1000Associations(benchmark::State& state) {
  ServerProcess& server = serverFor(10000);
  Client client(server.port());
  const std::string request =
      post("Associators", "<IPARAMVALUE NAME=\"ObjectName\">" + kHubName + "</IPARAMVALUE>");
  std::size_t bytes = 0;
  try {
    for (auto _ : state) bytes = client.call(request);
  } catch (const std::exception& error) {
    state.SkipWithError(error.what());
    return;
  }
  state.SetBytesProcessed(static_cast<int64_t>(bytes * state.iterations()));
  state.counters["response_MB"] = static_cast<double>(bytes) / 1e6;
}
BENCHMARK(BM_AssociatorsOfAnObjectWith1000Associations)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace
