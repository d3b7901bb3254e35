#include "default_socket.h"

namespace ktsvc {

bool HasSocketFiles() noexcept {
  return false;
}

std::filesystem::path DefaultSocket(bool /*make*/) {
  return {};
}

std::vector<std::filesystem::path> SocketsToTry() {
  return {};
}

}  // namespace ktsvc
