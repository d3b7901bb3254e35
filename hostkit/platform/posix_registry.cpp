#include "platform/posix_registry.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <memory>
#include <new>
#include <string_view>
#include <utility>

#include "base/ascii.h"

namespace kt {
namespace {

constexpr char kDefaultRoot[] = "/etc/ktsvc/registry";
constexpr char kMachineKey[] = "HKEY_LOCAL_MACHINE";
constexpr std::size_t kLongestValue = std::size_t{1} << 20U;
constexpr std::size_t kMalformed = static_cast<std::size_t>(-1);

bool ToUtf8(const KtWchar* text, std::string& out) {
  const std::size_t count = Ktwcstombs(nullptr, text, 0);
  if (count == kMalformed) return false;
  out.resize(count);
  // The string's own terminator is the place for the framework's.
  return Ktwcstombs(out.data(), text, count + 1) == count;
}

bool ToUtf16(const std::string& text, KtWString& out) {
  const std::size_t count = Ktmbstowcs(nullptr, text.c_str(), 0);
  if (count == kMalformed) return false;
  out.resize(count);
  return Ktmbstowcs(out.data(), text.c_str(), count + 1) == count;
}

struct CloseFolder {
  void operator()(DIR* folder) const noexcept { closedir(folder); }
};

bool IsFolder(const std::string& path) noexcept {
  struct stat facts {};
  return stat(path.c_str(), &facts) == 0 && S_ISDIR(facts.st_mode);
}

// Entries of the folder that are called `name`: the exact one first, then in order of bytes. Read
// with the system's own calls: the standard library's iterators end the program where there is no
// memory for them.
std::vector<std::string> EntriesNamed(const std::string& folder, std::string_view name) {
  std::vector<std::string> found;
  const std::unique_ptr<DIR, CloseFolder> entries(opendir(folder.c_str()));
  if (entries == nullptr) {
    if (errno == ENOMEM) throw std::bad_alloc();
    return found;
  }
  // NOLINTNEXTLINE(concurrency-mt-unsafe): nobody else has this folder's stream
  while (const dirent* const entry = readdir(entries.get())) {
    const std::string_view entry_name(entry->d_name);
    if (entry_name == "." || entry_name == "..") continue;
    if (SameIgnoringCase(entry_name, name)) found.emplace_back(entry_name);
  }
  std::sort(found.begin(), found.end(), [&](const std::string& left, const std::string& right) {
    return std::pair(left != name, std::string_view(left)) <
           std::pair(right != name, std::string_view(right));
  });
  for (std::string& entry_name : found) entry_name.insert(0, folder + "/");
  return found;
}

class File {
 public:
  // Not to wait for whatever is no ordinary file.
  explicit File(const std::string& path) noexcept
      : descriptor_(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY)) {}
  ~File() {
    if (descriptor_ >= 0) close(descriptor_);
  }
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  // 0, or an error number; ENOENT for what is no ordinary file.
  int ReadAll(std::string& content) const {
    if (descriptor_ < 0) return errno;
    struct stat facts {};
    if (fstat(descriptor_, &facts) != 0) return errno;
    if (!S_ISREG(facts.st_mode)) return ENOENT;
    content.clear();
    std::string piece(4096, '\0');
    for (;;) {
      const ssize_t count = read(descriptor_, piece.data(), piece.size());
      if (count == 0) return 0;
      if (count < 0 && errno == EINTR) continue;
      if (count < 0) return errno;
      content.append(piece, 0, static_cast<std::size_t>(count));
      if (content.size() > kLongestValue) return EFBIG;
    }
  }

 private:
  int descriptor_;
};

std::string Root() {
  // NOLINTNEXTLINE(concurrency-mt-unsafe): nothing here changes the environment.
  const char* const named = std::getenv("KT_REGISTRY");
  return named == nullptr || *named == '\0' ? kDefaultRoot : named;
}

}  // namespace

int PosixRegistryKey::Open(const KtWchar* path) {
  std::string rest;
  if (!ToUtf8(path, rest)) return EILSEQ;
  rest.insert(0, std::string(kMachineKey) + "\\");

  std::vector<std::string> folders{Root()};
  while (!rest.empty() && !folders.empty()) {
    const std::size_t end = rest.find('\\');
    const std::string part = rest.substr(0, end);
    rest = end == std::string::npos ? std::string() : rest.substr(end + 1);
    std::vector<std::string> below;
    for (const std::string& folder : folders) {
      for (std::string& entry : EntriesNamed(folder, part)) {
        if (IsFolder(entry)) below.push_back(std::move(entry));
      }
    }
    folders = std::move(below);
  }
  if (folders.empty()) return ENOENT;
  folders_ = std::move(folders);
  return 0;
}

int PosixRegistryKey::Read(const KtWchar* name, KtWString& value, bool& present) const {
  std::string narrow_name;
  if (!ToUtf8(name, narrow_name)) return EILSEQ;
  int result = ENOENT;
  for (const std::string& folder : folders_) {
    for (const std::string& path : EntriesNamed(folder, narrow_name)) {
      std::string content;
      result = File(path).ReadAll(content);
      if (result == ENOENT) continue;
      if (result != 0) return result;
      present = !content.empty();
      if (present && content.back() == '\n') content.pop_back();
      return ToUtf16(content, value) ? 0 : EILSEQ;
    }
  }
  return result;
}

}  // namespace kt
