#include <windows.h>

#include <string>
#include <utility>

#include "access/access_error.h"
#include "access/access_system.h"
#include "access/audit_file.h"

namespace ktsvc::access {
namespace {

std::error_code LastError() {
  return {static_cast<int>(GetLastError()), std::system_category()};
}

class Win32AuditFile final : public AuditFile {
 public:
  explicit Win32AuditFile(std::filesystem::path file) : file_(std::move(file)) {}
  ~Win32AuditFile() override { Close(handle_); }

  std::error_code Append(std::string_view bytes, std::size_t& written) override {
    DWORD count = 0;
    const BOOL done =
        WriteFile(handle_, bytes.data(), static_cast<DWORD>(bytes.size()), &count, nullptr);
    const std::error_code error = done != 0 ? std::error_code() : LastError();
    written = count;
    if (error || written == bytes.size()) {
      return error;
    }
    return {ERROR_DISK_FULL, std::system_category()};
  }

  std::error_code Reopen() override {
    // The right to append and no other, so that every write goes to the end; others may rename or
    // remove the file meanwhile, which is how logs are rotated.
    const HANDLE opened = CreateFileW(file_.c_str(), FILE_APPEND_DATA | SYNCHRONIZE,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                      nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (opened == INVALID_HANDLE_VALUE) {
      return LastError();
    }
    Close(handle_);
    handle_ = opened;
    return {};
  }

 private:
  static void Close(HANDLE handle) {
    if (handle != INVALID_HANDLE_VALUE) {
      CloseHandle(handle);
    }
  }

  const std::filesystem::path file_;
  HANDLE handle_ = INVALID_HANDLE_VALUE;
};

}  // namespace

std::unique_ptr<AuditFile> OpenAuditFile(const std::filesystem::path& file) {
  auto opened = std::make_unique<Win32AuditFile>(file);
  if (const std::error_code error = opened->Reopen()) {
    throw AccessError(FileText(file), 0, 0, "the audit log cannot be written: " + error.message(),
                      "See that its folder exists and that the service's account can write there.");
  }
  return opened;
}

}  // namespace ktsvc::access
