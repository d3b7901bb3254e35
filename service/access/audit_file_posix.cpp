#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <optional>
#include <string>
#include <utility>

#include "access/access_error.h"
#include "access/access_system.h"
#include "access/audit_file.h"
#include "access/file_guard.h"

namespace ktsvc::access {
namespace {

std::error_code Code(int error) {
  return {error, std::generic_category()};
}

class PosixAuditFile final : public AuditFile {
 public:
  explicit PosixAuditFile(std::filesystem::path file) : file_(std::move(file)) {}
  ~PosixAuditFile() override { Close(descriptor_); }

  // What is wrong with the file as it was opened last, if that is why Reopen() refused it.
  [[nodiscard]] const std::optional<FileFault>& fault() const { return fault_; }

  std::error_code Append(std::string_view bytes, std::size_t& written) override {
    ssize_t result = 0;
    do {
      result = write(descriptor_, bytes.data(), bytes.size());
    } while (result < 0 && errno == EINTR);
    written = result < 0 ? 0 : static_cast<std::size_t>(result);
    if (result < 0) {
      return Code(errno);
    }
    return written == bytes.size() ? std::error_code() : Code(ENOSPC);
  }

  std::error_code Reopen() override {
    fault_.reset();
    // Not blocking: a pipe that nobody reads must not hold up the service.
    const int opened =
        open(file_.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NONBLOCK | O_NOCTTY,
             S_IRUSR | S_IWUSR);
    if (opened < 0) {
      return Code(errno);
    }
    struct stat status {};
    if (fstat(opened, &status) != 0) {
      const int error = errno;
      Close(opened);
      return Code(error);
    }
    // A terminal, a pipe or /dev/null has no lines that another could change.
    if (S_ISREG(status.st_mode)) {
      fault_ = JudgeFile(FileText(file_), {status.st_uid, status.st_mode & 0777U},
                         FileGuard::kWrittenByOwnerOnly, geteuid());
    }
    if (fault_) {
      Close(opened);
      return Code(EPERM);
    }
    Close(descriptor_);
    descriptor_ = opened;
    return {};
  }

 private:
  static void Close(int descriptor) {
    if (descriptor >= 0) {
      close(descriptor);
    }
  }

  const std::filesystem::path file_;
  int descriptor_ = -1;
  std::optional<FileFault> fault_;
};

}  // namespace

std::unique_ptr<AuditFile> OpenAuditFile(const std::filesystem::path& file) {
  auto opened = std::make_unique<PosixAuditFile>(file);
  if (const std::error_code error = opened->Reopen()) {
    const std::string name = FileText(file);
    if (const std::optional<FileFault>& fault = opened->fault()) {
      throw AccessError(name, 0, 0, fault->reason, fault->advice);
    }
    throw AccessError(name, 0, 0, "the audit log cannot be written: " + error.message(),
                      "See that its folder exists and that the service's user can write there: "
                      "ls -ld " +
                          ShellWord(FileText(file.parent_path().empty() ? std::filesystem::path(".")
                                                                        : file.parent_path())));
  }
  return opened;
}

}  // namespace ktsvc::access
