#include "access/access_system.h"

#include <windows.h>

#include <fstream>
#include <system_error>

#include "access/access_error.h"

namespace ktsvc::access {
namespace {

// Callers come over loopback with a token here; users and groups never match.
class NoNames final : public NameDirectory {
 public:
  [[nodiscard]] bool HasUsers() const override { return false; }
  [[nodiscard]] std::optional<std::uint32_t> UserId(const std::string& /*name*/) const override {
    return std::nullopt;
  }
  [[nodiscard]] std::optional<std::uint32_t> GroupId(const std::string& /*name*/) const override {
    return std::nullopt;
  }
  [[nodiscard]] std::string UserName(std::uint32_t /*id*/) const override { return {}; }
  [[nodiscard]] std::string GroupName(std::uint32_t /*id*/) const override { return {}; }
};

}  // namespace

const NameDirectory& SystemNames() {
  static const NoNames names;
  return names;
}

std::optional<std::uint32_t> OwnUserId() {
  return std::nullopt;
}

std::string ReadGuardedFile(const std::filesystem::path& file, FileGuard /*guard*/,
                            std::size_t maxBytes) {
  const std::string name = FileText(file);
  std::error_code error;
  const std::filesystem::file_status status = std::filesystem::status(file, error);
  if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status)) {
    throw AccessError(name, 0, 0, "this is no regular file", "Name a plain text file.");
  }
  std::ifstream stream(file, std::ios::binary);
  if (!stream) {
    throw AccessError(name, 0, 0, "the file cannot be read",
                      "Name an existing file that the service's account can read.");
  }
  std::string text(maxBytes + 1, '\0');
  stream.read(text.data(), static_cast<std::streamsize>(text.size()));
  if (stream.bad()) {
    throw AccessError(name, 0, 0, "the file cannot be read to its end", "Look at its disk.");
  }
  text.resize(static_cast<std::size_t>(stream.gcount()));
  if (text.size() > maxBytes) {
    throw AccessError(name, 0, 0, "the file is larger than " + std::to_string(maxBytes) + " bytes",
                      "Name the right file, or shorten its comments.");
  }
  return text;
}

std::string FileText(const std::filesystem::path& file) {
  const std::u8string text = file.u8string();
  return {text.begin(), text.end()};
}

}  // namespace ktsvc::access
