#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>

#include "file_descriptor.h"
#include "replay/own_file.h"

namespace ktreplay {
namespace {

int Make(const std::filesystem::path& path) {
  return open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
}

[[noreturn]] void Refuse(int error) {
  throw std::runtime_error("it cannot be opened for writing: " +
                           std::generic_category().message(error));
}

}  // namespace

OwnFile MakeOwnFile(const std::filesystem::path& path) {
  ktsvc::FileDescriptor descriptor(Make(path));
  if (descriptor.get() < 0 && errno == EEXIST) {
    struct stat facts {};
    if (lstat(path.c_str(), &facts) != 0) Refuse(errno);
    if (!S_ISREG(facts.st_mode)) {
      throw std::runtime_error(
          "it cannot be opened for writing: it is there and no ordinary file; name a file of its "
          "own");
    }
    if (unlink(path.c_str()) != 0) Refuse(errno);
    descriptor = ktsvc::FileDescriptor(Make(path));
  }
  if (descriptor.get() < 0) Refuse(errno);
  std::FILE* const file = fdopen(descriptor.get(), "wb");
  if (file == nullptr) Refuse(errno);
  static_cast<void>(descriptor.Release());
  return OwnFile(file);
}

}  // namespace ktreplay
