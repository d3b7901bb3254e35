// The identity of the process at the other end of a Unix-domain socket. POSIX only.
#pragma once

#include <cstdint>

#include "access/caller.h"

namespace ktsvc::access {

// The number of the user that the peer was when it connected, by the kernel alone: it never waits.
// Throws as PeerCaller().
std::uint32_t PeerUserId(int socket);

// The user and the groups that the peer had when it connected, by the kernel; their names by the
// system's directory, which may have to ask a network: call it once for a connection, where waiting
// is allowed. The socket stays the caller's.
//
// Throws std::system_error when the kernel names no peer: no socket, one that is not connected, or
// one that is not of the Unix domain.
//
// Threads: any.
Caller PeerCaller(int socket);

}  // namespace ktsvc::access
