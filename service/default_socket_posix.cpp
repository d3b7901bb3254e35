#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>

#include "default_socket.h"

namespace ktsvc {
namespace {

constexpr const char* kSystemFolder = "/run/ktsvc";
constexpr const char* kFile = "ktsvc.sock";
constexpr mode_t kFolderMode = 0755;

}  // namespace

bool HasSocketFiles() noexcept {
  return true;
}

std::filesystem::path DefaultSocket(bool make) {
  std::filesystem::path folder;
  if (geteuid() == 0) {
    folder = kSystemFolder;
    if (make) {
      static_cast<void>(mkdir(kSystemFolder, kFolderMode));  // what counts is asked below
    }
    // NOLINTNEXTLINE(concurrency-mt-unsafe): this process does not change its environment
  } else if (const char* const own = std::getenv("XDG_RUNTIME_DIR"); own != nullptr) {
    folder = own;
  }
  std::error_code error;
  if (folder.empty() || !std::filesystem::is_directory(folder, error)) {
    return {};
  }
  return folder / kFile;
}

std::vector<std::filesystem::path> SocketsToTry() {
  std::vector<std::filesystem::path> sockets;
  if (const std::filesystem::path own = DefaultSocket(false); !own.empty()) {
    sockets.push_back(own);
  }
  const std::filesystem::path system = std::filesystem::path(kSystemFolder) / kFile;
  if (sockets.empty() || sockets.front() != system) {
    sockets.push_back(system);
  }
  return sockets;
}

}  // namespace ktsvc
