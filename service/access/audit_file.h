// AuditFile: the file under the audit log; audit_file_posix.cpp and audit_file_win32.cpp.
//
// Threads: one thread at a time.
#pragma once

#include <cstddef>
#include <filesystem>
#include <memory>
#include <string_view>
#include <system_error>

namespace ktsvc::access {

class AuditFile {
 public:
  AuditFile() = default;
  virtual ~AuditFile() = default;
  AuditFile(const AuditFile&) = delete;
  AuditFile& operator=(const AuditFile&) = delete;

  // Appends the bytes with one write; `written` is how many of them are in the file, whatever the
  // result. Without an error it is all of them.
  virtual std::error_code Append(std::string_view bytes, std::size_t& written) = 0;

  // Closes the file and opens (or makes) the one that now has the name. After a failure the former
  // file stays in use.
  virtual std::error_code Reopen() = 0;
};

// Opens the file for appending; a new one is its owner's alone (mode 0600 on POSIX, what the folder
// hands down on Windows). Throws AccessError when that fails and, on POSIX, for a file that belongs
// to a third user or that others can write.
std::unique_ptr<AuditFile> OpenAuditFile(const std::filesystem::path& file);

}  // namespace ktsvc::access
