#include "access/file_guard.h"

#include <string_view>

namespace ktsvc::access {
namespace {

constexpr std::uint32_t kOthersMayWrite = 022;
constexpr std::uint32_t kOthersMayAnything = 077;

std::string OctalText(std::uint32_t mode) {
  std::string text = "0";
  for (unsigned shift = 9; shift != 0; shift -= 3) {
    text += static_cast<char>('0' + ((mode >> (shift - 3)) & 7U));
  }
  return text;
}

}  // namespace

std::string ShellWord(const std::string& text) {
  constexpr std::string_view kPlain =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789/._-+:@%,=";
  if (!text.empty() && text.front() != '-' && text.find_first_not_of(kPlain) == std::string::npos) {
    return text;
  }
  // A leading '-' would be an option to the command.
  std::string word = text.starts_with('-') ? "'./" : "'";
  for (const char unit : text) {
    word += unit == '\'' ? std::string("'\\''") : std::string(1, unit);
  }
  return word + "'";
}

std::optional<FileFault> JudgeFile(const std::string& file, const FileFacts& facts, FileGuard guard,
                                   std::uint32_t ownUser) {
  const bool secret = guard == FileGuard::kReadByOwnerOnly;
  const std::string word = ShellWord(file);
  // The service's own user must be able to read what nobody but the owner can.
  const std::string owner = secret ? std::to_string(ownUser) : "root";
  const std::string mode = secret ? "chmod 600 " : "chmod go-w ";
  if (facts.owner != 0 && facts.owner != ownUser) {
    return FileFault{"the file belongs to user " + std::to_string(facts.owner) +
                         ", neither to root nor to the service's own user (" +
                         std::to_string(ownUser) + ")",
                     "Run: chown " + owner + " " + word + " && " + mode + word};
  }
  if (secret && (facts.mode & kOthersMayAnything) != 0) {
    return FileFault{
        "others than its owner can reach the file (mode " + OctalText(facts.mode) + ")",
        "Run: chmod 600 " + word +
            "  (and give each token a new secret, if others could have read it)"};
  }
  if (!secret && (facts.mode & kOthersMayWrite) != 0) {
    return FileFault{
        "others than its owner can write the file (mode " + OctalText(facts.mode) + ")",
        "Run: chmod go-w " + word};
  }
  return std::nullopt;
}

}  // namespace ktsvc::access
