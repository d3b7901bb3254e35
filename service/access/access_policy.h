// AccessPolicy: which role each user, group and token holds, and which role single controls need,
// as an access file says it.
//
// One statement to a line; docs/access.md explains each with an example.
//
//   user NAME|UID ROLE
//   group NAME|GID ROLE
//   token NAME ROLE
//   control INTERFACE SELECTOR|* CODE|* ROLE
//
// A user or group given by name is compared with the name that the caller's number has when it
// connects, so a number that passes to another person takes no rights along.
//
// Failure:   AccessError with file, line, column, reason and what to write instead; the first fault
//            of a file ends its reading. What is valid and yet looks wrong is a warning.
// Ownership: a value; it keeps no file open and does not notice when the file changes.
// Threads:   const members from any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "access/access_system.h"
#include "access/role.h"
#include "ktbus3/ktbus3.h"

namespace ktsvc::access {

inline constexpr std::size_t kMaxAccessFileBytes = 256 * std::size_t{1024};

// What decides beside the file.
struct PolicyOptions {
  bool allowRestart = false;  // the service was started with --allow-restart
};

// user, group or token NAME ROLE.
struct SubjectLine {
  enum class Kind : std::uint8_t { kUser, kGroup, kToken };

  Kind kind = Kind::kUser;
  std::string name;                 // empty when the line gives a number
  std::optional<std::uint32_t> id;  // the number that the line gives
  Role role = Role::kNone;
  std::size_t number = 0;  // of the line in the file; 0 for the default policy
  std::string text;        // the line, one blank between its words
};

// control INTERFACE SELECTOR CODE ROLE.
struct ControlLine {
  KtGuid interfaceId{};
  std::optional<std::uint32_t> selector;  // nothing for *
  std::optional<std::uint32_t> code;      // nothing for *
  Role role = Role::kNone;
  std::size_t number = 0;
  std::string text;

  [[nodiscard]] bool Matches(const KtGuid& interface, std::uint32_t theSelector,
                             std::uint32_t theCode) const noexcept;

  // The higher, the closer a line is to one control: the code counts for more than the selector.
  [[nodiscard]] int Closeness() const noexcept { return (code ? 2 : 0) + (selector ? 1 : 0); }
};

class AccessPolicy {
 public:
  // Without a file: root and the service's own user are admin, everyone else is refused. Where
  // callers have no user (OwnUserId() gives none), everyone is refused.
  static AccessPolicy Default(std::optional<std::uint32_t> ownUser, PolicyOptions options = {});

  // Reads a file's text. `file` is the name in messages and in Where(); `names` tells which users
  // and groups exist.
  static AccessPolicy Parse(std::string_view text, const std::string& file,
                            const NameDirectory& names, PolicyOptions options = {});

  // Reads the file, which its owner alone may write (file_guard.h), with the system's own names.
  static AccessPolicy Load(const std::filesystem::path& file, PolicyOptions options = {});

  [[nodiscard]] bool isDefault() const noexcept { return file_.empty(); }
  [[nodiscard]] const std::string& file() const noexcept { return file_; }
  [[nodiscard]] const PolicyOptions& options() const noexcept { return options_; }

  // In the order of the file.
  [[nodiscard]] const std::vector<SubjectLine>& subjects() const noexcept { return subjects_; }
  [[nodiscard]] const std::vector<ControlLine>& controls() const noexcept { return controls_; }

  // "FILE:LINE: ..." each: users and groups that do not exist, lines without effect, nobody who is
  // admin.
  [[nodiscard]] const std::vector<std::string>& warnings() const noexcept { return warnings_; }

  // "FILE:LINE"; "default" for number 0.
  [[nodiscard]] std::string Where(std::size_t number) const;

  // Warnings about tokens that only one side knows: the lines of this policy, or the token file,
  // whose names are given.
  [[nodiscard]] std::vector<std::string> CompareTokens(const std::vector<std::string>& names) const;

 private:
  friend class PolicyParser;

  AccessPolicy(std::string file, PolicyOptions options);

  std::string file_;
  PolicyOptions options_;
  std::vector<SubjectLine> subjects_;
  std::vector<ControlLine> controls_;
  std::vector<std::string> warnings_;
};

// True for a name that a token may have: 1 to 64 letters, digits and . _ - @.
bool IsTokenName(std::string_view name) noexcept;

}  // namespace ktsvc::access
