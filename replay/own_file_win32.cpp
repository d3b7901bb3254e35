#include <cerrno>
#include <stdexcept>
#include <system_error>

#include "replay/own_file.h"

namespace ktreplay {

OwnFile MakeOwnFile(const std::filesystem::path& path) {
  std::error_code error;
  const auto kind = std::filesystem::symlink_status(path, error).type();
  if (kind != std::filesystem::file_type::not_found &&
      kind != std::filesystem::file_type::regular) {
    throw std::runtime_error(
        "it cannot be opened for writing: it is there and no ordinary file; name a file of its "
        "own");
  }
  if (kind == std::filesystem::file_type::regular && !std::filesystem::remove(path, error)) {
    throw std::runtime_error("it cannot be opened for writing: " + error.message());
  }
  errno = 0;
  std::FILE* const file = _wfopen(path.c_str(), L"wb");
  if (file == nullptr) {
    throw std::runtime_error("it cannot be opened for writing: " +
                             std::generic_category().message(errno));
  }
  return OwnFile(file);
}

}  // namespace ktreplay
