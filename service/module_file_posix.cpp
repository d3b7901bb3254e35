#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <deque>
#include <system_error>
#include <utility>
#include <vector>

#include "file_descriptor.h"
#include "host_system.h"
#include "module_error.h"
#include "module_file.h"
#include "module_image.h"
#include "path_guard.h"
#include "shell_word.h"

namespace ktsvc {
namespace {

constexpr int kMaxLinks = 40;  // as many as the system follows itself
constexpr std::size_t kMaxLinkBytes = 4096;
constexpr mode_t kModeBits = 01777;

// A folder that the way has come to.
struct Place {
  std::string path;
  FileDescriptor folder;
};

[[noreturn]] void FailToOpen(const std::string& path, int error) {
  throw ModuleError(path + " cannot be opened: " + std::generic_category().message(error),
                    "See who may do what there: ls -ld " + ShellWord(path));
}

struct stat FactsOf(const FileDescriptor& descriptor, const std::string& path) {
  struct stat facts {};
  if (fstat(descriptor.get(), &facts) != 0) {
    FailToOpen(path, errno);
  }
  return facts;
}

// The way to a file, name by name.
class Walk {
 public:
  explicit Walk(const std::filesystem::path& file) {
    Begin();
    Queue(file.string());
    while (file_.get() < 0) {
      if (names_.empty()) {
        throw ModuleError(places_.back().path + " is a folder", "Name a module's file.");
      }
      std::string name = std::move(names_.front());
      names_.pop_front();
      Step(name);
    }
  }

  [[nodiscard]] const std::vector<PathPart>& parts() const noexcept { return parts_; }
  [[nodiscard]] FileDescriptor TakeFile() noexcept { return std::move(file_); }

 private:
  void Begin() {
    places_.clear();
    Place root{"/", FileDescriptor(open("/", O_PATH | O_DIRECTORY | O_CLOEXEC))};
    Note(root.path, PathKind::kFolder, FactsOf(root.folder, root.path));
    places_.push_back(std::move(root));
  }

  // Puts the names of the path before those that are left.
  void Queue(const std::string& path) {
    std::vector<std::string> names;
    for (std::size_t at = 0; at < path.size();) {
      const std::size_t end = std::min(path.find('/', at), path.size());
      if (end != at) {
        names.push_back(path.substr(at, end - at));
      }
      at = end + 1;
    }
    names_.insert(names_.begin(), names.begin(), names.end());
  }

  void Step(const std::string& name) {
    if (name == ".") {
      return;
    }
    if (name == "..") {
      if (places_.size() > 1) {
        places_.pop_back();
      }
      return;
    }
    const Place& here = places_.back();
    const std::string path = (here.path == "/" ? "" : here.path) + "/" + name;
    FileDescriptor next(openat(here.folder.get(), name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
    if (next.get() < 0) {
      FailToOpen(path, errno);
    }
    const struct stat facts = FactsOf(next, path);
    if (S_ISLNK(facts.st_mode)) {
      Note(path, PathKind::kLink, facts);
      Follow(next, path);
    } else if (S_ISDIR(facts.st_mode)) {
      Note(path, PathKind::kFolder, facts);
      places_.push_back({path, std::move(next)});
    } else if (!S_ISREG(facts.st_mode)) {
      throw ModuleError(path + " is no regular file", "Name a module's file.");
    } else if (!names_.empty()) {
      throw ModuleError(path + " is a file, not a folder", "Name a module's file.");
    } else {
      OpenFile(here, name, path);
    }
  }

  void Follow(const FileDescriptor& link, const std::string& path) {
    if (++links_ > kMaxLinks) {
      FailToOpen(path, ELOOP);
    }
    std::array<char, kMaxLinkBytes> target{};
    const ssize_t size = readlinkat(link.get(), "", target.data(), target.size());
    if (size < 0) {
      FailToOpen(path, errno);
    }
    const std::string text(target.data(), static_cast<std::size_t>(size));
    if (text.starts_with('/')) {
      Begin();
    }
    Queue(text);
  }

  // What was looked at so far cannot be read; what is judged is what is read.
  void OpenFile(const Place& here, const std::string& name, const std::string& path) {
    file_ = FileDescriptor(openat(here.folder.get(), name.c_str(),
                                  O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (file_.get() < 0) {
      FailToOpen(path, errno);
    }
    const struct stat facts = FactsOf(file_, path);
    if (!S_ISREG(facts.st_mode)) {
      throw ModuleError(path + " is no regular file", "Name a module's file.");
    }
    Note(path, PathKind::kFile, facts);
  }

  void Note(const std::string& path, PathKind kind, const struct stat& facts) {
    const auto same = [&path](const PathPart& part) { return part.path == path; };
    if (std::none_of(parts_.begin(), parts_.end(), same)) {
      parts_.push_back({path, kind, facts.st_uid, facts.st_mode & kModeBits});
    }
  }

  std::vector<Place> places_;  // from the root folder to where the way has come
  std::deque<std::string> names_;
  std::vector<PathPart> parts_;
  FileDescriptor file_;
  int links_ = 0;
};

bool ReadAt(int descriptor, std::uint64_t at, void* to, std::size_t count) {
  auto* bytes = static_cast<char*>(to);
  while (count != 0) {
    const ssize_t got = pread(descriptor, bytes, count, static_cast<off_t>(at));
    if (got < 0 && errno == EINTR) {
      continue;
    }
    if (got <= 0) {
      return false;
    }
    bytes += got;
    at += static_cast<std::uint64_t>(got);
    count -= static_cast<std::size_t>(got);
  }
  return true;
}

ImageSource Bytes(int descriptor, const std::filesystem::path& path) {
  struct stat facts {};
  if (fstat(descriptor, &facts) != 0) {
    FailToOpen(PathText(path), errno);
  }
  return {static_cast<std::uint64_t>(facts.st_size),
          [descriptor](std::uint64_t at, void* to, std::size_t count) {
            return ReadAt(descriptor, at, to, count);
          }};
}

}  // namespace

class ModuleFile::Opened : public FileDescriptor {
 public:
  using FileDescriptor::FileDescriptor;
};

ModuleFile::ModuleFile(const std::filesystem::path& file) {
  Walk walk(file);
  path_ = walk.parts().back().path;
  if (const std::optional<PathFault> fault = JudgePath(walk.parts(), geteuid())) {
    throw ModuleError("others could decide what code this is: " + fault->reason, fault->advice);
  }
  opened_ = std::make_unique<Opened>(walk.TakeFile().Release());
  RequireLoadable(Bytes(opened_->get(), path_), ProgramKind());
}

ModuleFile::~ModuleFile() = default;

}  // namespace ktsvc
