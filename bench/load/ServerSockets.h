#pragma once

// How many of a set of client connections the server has accepted, seen
// from outside: the sockets in the server's descriptor table
// (/proc/PID/fd) whose peer, in /proc/net/tcp and /proc/net/tcp6, is one of
// the clients' local ports. A connection the client sees as open may still
// wait in the kernel, not yet accepted (or, past a full accept backlog,
// only half open), so the client alone cannot tell.

#include <sys/types.h>

#include <cstddef>
#include <optional>
#include <set>

namespace kest::load {

// Nothing when the server's descriptors cannot be read.
std::optional<std::size_t> acceptedConnections(pid_t serverPid, const std::set<int>& clientPorts);

}  // namespace kest::load
