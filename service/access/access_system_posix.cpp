#include "access/access_system.h"

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <vector>

#include "access/access_error.h"
#include "file_descriptor.h"

namespace ktsvc::access {
namespace {

// A directory's entry needs a buffer of unknown size; past this it is taken for absent.
constexpr std::size_t kMaxEntryBytes = std::size_t{16} * 1024 * 1024;

// Calls `look`(entry, buffer, size, found) with growing buffers; true when it found an entry, which
// is handed to `use` while the buffer lives.
template <typename Entry, typename Look, typename Use>
bool LookUp(Look look, Use use) {
  for (std::vector<char> buffer(4096); buffer.size() <= kMaxEntryBytes;
       buffer.resize(buffer.size() * 4)) {
    Entry entry{};
    Entry* found = nullptr;
    const int error = look(&entry, buffer.data(), buffer.size(), &found);
    if (error == ERANGE) {
      continue;
    }
    if (error != 0 || found == nullptr) {
      return false;
    }
    use(*found);
    return true;
  }
  return false;
}

class PosixNames final : public NameDirectory {
 public:
  [[nodiscard]] bool HasUsers() const override { return true; }

  [[nodiscard]] std::optional<std::uint32_t> UserId(const std::string& name) const override {
    std::optional<std::uint32_t> id;
    LookUp<passwd>(
        [&](passwd* entry, char* buffer, std::size_t size, passwd** found) {
          return getpwnam_r(name.c_str(), entry, buffer, size, found);
        },
        [&](const passwd& entry) { id = entry.pw_uid; });
    return id;
  }

  [[nodiscard]] std::optional<std::uint32_t> GroupId(const std::string& name) const override {
    std::optional<std::uint32_t> id;
    LookUp<group>(
        [&](group* entry, char* buffer, std::size_t size, group** found) {
          return getgrnam_r(name.c_str(), entry, buffer, size, found);
        },
        [&](const group& entry) { id = entry.gr_gid; });
    return id;
  }

  [[nodiscard]] std::string UserName(std::uint32_t id) const override {
    std::string name;
    LookUp<passwd>([&](passwd* entry, char* buffer, std::size_t size,
                       passwd** found) { return getpwuid_r(id, entry, buffer, size, found); },
                   [&](const passwd& entry) { name = entry.pw_name; });
    return name;
  }

  [[nodiscard]] std::string GroupName(std::uint32_t id) const override {
    std::string name;
    LookUp<group>([&](group* entry, char* buffer, std::size_t size,
                      group** found) { return getgrgid_r(id, entry, buffer, size, found); },
                  [&](const group& entry) { name = entry.gr_name; });
    return name;
  }
};

[[noreturn]] void Fail(const std::string& file, const std::string& reason,
                       const std::string& advice) {
  throw AccessError(file, 0, 0, reason, advice);
}

[[noreturn]] void FailToRead(const std::string& file, int error) {
  Fail(file, "the file cannot be read: " + std::generic_category().message(error),
       error == ENOENT
           ? "Name an existing file, or leave the option out."
           : "See that the user of this program can read it: ls -ld " + ShellWord(file));
}

// The descriptor's bytes, `limit` + 1 at most: one more than allowed shows that there are too many.
std::string ReadAll(int descriptor, std::size_t limit, const std::string& file) {
  std::string text(limit + 1, '\0');
  std::size_t have = 0;
  while (have < text.size()) {
    const ssize_t got = read(descriptor, text.data() + have, text.size() - have);
    if (got == 0) {
      break;
    }
    if (got > 0) {
      have += static_cast<std::size_t>(got);
    } else if (errno != EINTR) {
      FailToRead(file, errno);
    }
  }
  text.resize(have);
  return text;
}

}  // namespace

const NameDirectory& SystemNames() {
  static const PosixNames names;
  return names;
}

std::optional<std::uint32_t> OwnUserId() {
  return geteuid();
}

std::string ReadGuardedFile(const std::filesystem::path& file, FileGuard guard,
                            std::size_t maxBytes) {
  const std::string name = FileText(file);
  // Not blocking: a pipe in the file's place must not hold up the start.
  const FileDescriptor descriptor(open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  if (descriptor.get() < 0) {
    FailToRead(name, errno);
  }
  struct stat status {};
  if (fstat(descriptor.get(), &status) != 0) {
    FailToRead(name, errno);
  }
  if (!S_ISREG(status.st_mode)) {
    Fail(name, "this is no regular file", "Name a plain text file.");
  }
  if (const std::optional<FileFault> fault =
          JudgeFile(name, {status.st_uid, status.st_mode & 0777U}, guard, geteuid())) {
    Fail(name, fault->reason, fault->advice);
  }
  std::string text = ReadAll(descriptor.get(), maxBytes, name);
  if (text.size() > maxBytes) {
    Fail(name, "the file is larger than " + std::to_string(maxBytes) + " bytes",
         "Name the right file, or shorten its comments.");
  }
  return text;
}

std::string FileText(const std::filesystem::path& file) {
  return file.string();
}

}  // namespace ktsvc::access
