// TokenFile: the bearer tokens that a caller over TCP may show.
//
// The file has one token to a line, "NAME SECRET"; '#' begins a comment. The secret is 32 to 512
// characters of hexadecimal or of the URL-safe base64 alphabet (letters, digits, - and _, with up
// to two '=' at the end). What a token may do stands in the access file, under its name.
//
// Failure:   AccessError. It gives line and column and quotes nothing of the file, since a secret
//            may stand anywhere in a file with a fault.
// Ownership: the secrets are kept in memory (secret.h) and leave the object nowhere.
// Threads:   const members from any thread.
#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "access/caller.h"
#include "access/secret.h"

namespace ktsvc::access {

inline constexpr std::size_t kMaxTokenFileBytes = 64 * std::size_t{1024};
inline constexpr std::size_t kMinSecretLength = 32;
inline constexpr std::size_t kMaxSecretLength = 512;

class TokenFile {
 public:
  // No tokens: nobody is verified.
  TokenFile() = default;

  // Reads the file, which nobody but its owner may read (file_guard.h).
  static TokenFile Load(const std::filesystem::path& file);

  // Reads a file's text; `file` is the name in messages. The text stays the caller's to wipe.
  static TokenFile Parse(std::string_view text, const std::string& file);

  // The caller whose secret this is; nothing when it is nobody's. Every token is compared, so the
  // time says neither which one it is nor how much of it was right.
  [[nodiscard]] std::optional<Caller> Verify(std::string_view presented) const;

  // In the order of the file.
  [[nodiscard]] std::vector<std::string> Names() const;

 private:
  struct Token {
    std::string name;
    Secret secret;
    std::size_t line;
  };

  std::vector<Token> tokens_;
};

}  // namespace ktsvc::access
