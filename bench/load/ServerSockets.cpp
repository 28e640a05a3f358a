#include "bench/load/ServerSockets.h"

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <system_error>

namespace kest::load {

namespace {

// Adds the socket inodes of the table whose remote port is a client's.
void inodesTo(const char* table, const std::set<int>& clientPorts,
              std::set<unsigned long>& inodes) {
  std::ifstream lines(table);
  std::string line;
  std::getline(lines, line);  // the column titles
  while (std::getline(lines, line)) {
    std::istringstream fields(line);
    std::string slot, local, remote, state, queues, timer, retransmits, uid, timeout;
    unsigned long inode = 0;
    fields >> slot >> local >> remote >> state >> queues >> timer >> retransmits >> uid >>
        timeout >> inode;
    const std::size_t colon = remote.rfind(':');
    if (!fields || colon == std::string::npos) continue;
    if (clientPorts.count(std::stoi(remote.substr(colon + 1), nullptr, 16)) > 0) {
      inodes.insert(inode);
    }
  }
}

}  // namespace

std::optional<std::size_t> acceptedConnections(pid_t serverPid, const std::set<int>& clientPorts) {
  std::set<unsigned long> inodes;
  inodesTo("/proc/net/tcp", clientPorts, inodes);
  inodesTo("/proc/net/tcp6", clientPorts, inodes);
  std::error_code error;
  std::filesystem::directory_iterator descriptors("/proc/" + std::to_string(serverPid) + "/fd",
                                                  error);
  if (error) return std::nullopt;
  std::size_t accepted = 0;
  for (const std::filesystem::directory_entry& descriptor : descriptors) {
    const std::string target = std::filesystem::read_symlink(descriptor.path(), error).string();
    if (error || target.compare(0, 8, "socket:[") != 0) continue;
    if (inodes.count(std::stoul(target.substr(8))) > 0) ++accepted;
  }
  return accepted;
}

}  // namespace kest::load
