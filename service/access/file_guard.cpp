#include "access/file_guard.h"

namespace ktsvc::access {
namespace {

constexpr std::uint32_t kOthersMayWrite = 022;
constexpr std::uint32_t kOthersMayAnything = 077;

}  // namespace

std::optional<FileFault> JudgeFile(const std::string& file, const FileFacts& facts, FileGuard guard,
                                   std::uint32_t ownUser) {
  const bool secret = guard == FileGuard::kReadByOwnerOnly;
  const std::string word = ShellWord(file);
  // The user that reads it must be able to, when nobody but the owner is.
  const std::string owner = secret ? std::to_string(ownUser) : "root";
  const std::string mode = secret ? "chmod 600 " : "chmod go-w ";
  if (facts.owner != 0 && facts.owner != ownUser) {
    return FileFault{"the file belongs to user " + std::to_string(facts.owner) +
                         ", neither to root nor to the user that reads it (" +
                         std::to_string(ownUser) + ")",
                     "Run: chown " + owner + " " + word + " && " + mode + word};
  }
  if (secret && (facts.mode & kOthersMayAnything) != 0) {
    return FileFault{"others than its owner can reach the file (mode " + ModeText(facts.mode) + ")",
                     "Run: chmod 600 " + word +
                         "  (and give each token a new secret, if others could have read it)"};
  }
  if (!secret && (facts.mode & kOthersMayWrite) != 0) {
    return FileFault{"others than its owner can write the file (mode " + ModeText(facts.mode) + ")",
                     "Run: chmod go-w " + word};
  }
  return std::nullopt;
}

}  // namespace ktsvc::access
