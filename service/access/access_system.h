// What rights ask of the operating system; access_system_posix.cpp and access_system_win32.cpp
// answer.
//
// Threads: any.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include "access/file_guard.h"

namespace ktsvc::access {

// The system's users and groups. A look-up that fails, for whatever reason, finds nothing.
class NameDirectory {
 public:
  NameDirectory() = default;
  virtual ~NameDirectory() = default;
  NameDirectory(const NameDirectory&) = delete;
  NameDirectory& operator=(const NameDirectory&) = delete;

  // False where a caller is never known by user and group (Windows).
  [[nodiscard]] virtual bool HasUsers() const = 0;
  [[nodiscard]] virtual std::optional<std::uint32_t> UserId(const std::string& name) const = 0;
  [[nodiscard]] virtual std::optional<std::uint32_t> GroupId(const std::string& name) const = 0;
  // The first name of the number; empty when it has none.
  [[nodiscard]] virtual std::string UserName(std::uint32_t id) const = 0;
  [[nodiscard]] virtual std::string GroupName(std::uint32_t id) const = 0;
};

// The system's own directory. A look-up may wait for a network's answer.
const NameDirectory& SystemNames();

// The user that this process acts as; nothing where callers are never known by user (Windows).
std::optional<std::uint32_t> OwnUserId();

// The whole file, which must be a regular one of at most `maxBytes`. On POSIX the file that was
// opened is the one that is judged (file_guard.h). On Windows who may read or write it is not
// looked at: rights there are lists of entries with inheritance, and the folder in which the
// service keeps its files is where an administrator sets them.
//
// Throws AccessError: no such file, no file, too large, not readable, or open to others.
std::string ReadGuardedFile(const std::filesystem::path& file, FileGuard guard,
                            std::size_t maxBytes);

// A path in UTF-8, for messages.
std::string FileText(const std::filesystem::path& file);

}  // namespace ktsvc::access
