#include "path_guard.h"

#include <algorithm>

#include "shell_word.h"

namespace ktsvc {
namespace {

constexpr std::uint32_t kOthersMayWrite = 022;
constexpr std::uint32_t kSticky = 01000;

std::string FolderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == 0 ? "/" : path.substr(0, slash);
}

std::string Under(const std::string& folder, const std::string& name) {
  return (folder == "/" ? "" : folder) + "/" + name;
}

bool OthersMayWrite(const PathPart& part) {
  return part.kind != PathKind::kLink && (part.mode & kOthersMayWrite) != 0;
}

bool IsShared(const PathPart& part) {
  return part.kind == PathKind::kFolder && OthersMayWrite(part) && (part.mode & kSticky) != 0;
}

bool StandsInSharedFolder(const PathPart& part, const std::vector<PathPart>& parts) {
  const std::string folder = FolderOf(part.path);
  return std::any_of(parts.begin(), parts.end(), [&folder](const PathPart& other) {
    return other.path == folder && IsShared(other);
  });
}

void Append(std::string& text, const std::string& separator, const std::string& more) {
  text += (text.empty() ? "" : separator) + more;
}

class Judgement {
 public:
  explicit Judgement(std::uint32_t ownUser) : ownUser_(ownUser) {}

  void Owner(const PathPart& part) {
    Append(reason_, "; ",
           part.path + " belongs to user " + std::to_string(part.owner) +
               (ownUser_ == 0 ? ", not to root"
                              : ", neither to root nor to the service's own user (" +
                                    std::to_string(ownUser_) + ")"));
    // A link is owned by itself; chown would follow it.
    (part.kind == PathKind::kLink ? ownedLinks_ : owned_) += " " + ShellWord(part.path);
  }

  void Writable(const PathPart& part) {
    Append(reason_, "; ",
           "others than its owner can write " + part.path + " (mode " + ModeText(part.mode) + ")");
    writable_ += " " + ShellWord(part.path);
  }

  // `last` is what the link leads to in the end.
  void Shared(const PathPart& part, const PathPart& last) {
    const std::string folder = FolderOf(part.path);
    Append(reason_, "; ",
           part.path + " stands in " + folder +
               ", where everybody may put files and links of anybody's");
    if (part.kind == PathKind::kLink) {
      more_ = "Name the module by its own path: " + ShellWord(last.path);
      return;
    }
    const std::string own = Under(folder, "ktsvc-modules");
    more_ = "Give it a folder of its own: mkdir -m 755 " + ShellWord(own) + " && mv " +
            ShellWord(part.path) + " " + ShellWord(own) + "/";
  }

  [[nodiscard]] std::optional<PathFault> Fault() const {
    if (reason_.empty()) {
      return std::nullopt;
    }
    std::string command;
    if (!owned_.empty()) {
      Append(command, " && ", "chown root" + owned_);
    }
    if (!ownedLinks_.empty()) {
      Append(command, " && ", "chown -h root" + ownedLinks_);
    }
    const bool asRoot = !command.empty() && ownUser_ != 0;
    if (!writable_.empty()) {
      Append(command, " && ", "chmod go-w" + writable_);
    }
    std::string advice =
        command.empty() ? std::string() : (asRoot ? "Run as root: " : "Run: ") + command;
    if (!more_.empty()) {
      Append(advice, "\n       ", more_);
    }
    return PathFault{reason_, advice};
  }

 private:
  const std::uint32_t ownUser_;
  std::string reason_;
  std::string owned_;
  std::string ownedLinks_;
  std::string writable_;
  std::string more_;
};

}  // namespace

std::optional<PathFault> JudgePath(const std::vector<PathPart>& parts, std::uint32_t ownUser) {
  Judgement judgement(ownUser);
  for (const PathPart& part : parts) {
    if (part.owner != 0 && part.owner != ownUser) {
      judgement.Owner(part);
    }
    if (OthersMayWrite(part) && !IsShared(part)) {
      judgement.Writable(part);
    }
    if (part.kind != PathKind::kFolder && StandsInSharedFolder(part, parts)) {
      judgement.Shared(part, parts.back());
    }
  }
  return judgement.Fault();
}

}  // namespace ktsvc
