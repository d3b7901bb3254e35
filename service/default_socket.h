// Where the service's socket file is looked for when nobody says where. The service and its clients
// must agree on it.
//
// Threads: any.
#pragma once

#include <filesystem>
#include <vector>

namespace ktsvc {

// False where the service is not reached by a socket file (Windows).
bool HasSocketFiles() noexcept;

// For root /run/ktsvc/ktsvc.sock, for anybody else ktsvc.sock in $XDG_RUNTIME_DIR; empty where
// there is no such folder. With `make` the folder in /run is made when it is not there.
std::filesystem::path DefaultSocket(bool make);

// Where a client looks, the first place first: a person's own service, then the system's. Empty
// where there are no socket files.
std::vector<std::filesystem::path> SocketsToTry();

}  // namespace ktsvc
