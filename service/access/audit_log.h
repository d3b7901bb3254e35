// AuditLog: who did what, one JSON line for each control, in a file that only grows.
//
// A thread of the log's own writes, one write for each line. Write() waits until its line is in the
// file, so that an answer is never ahead of its record, but only for `patience`: a disk that hangs
// holds up no caller for longer, and none at all once it has held up one, until it moves again.
// Meanwhile lines wait in memory, at most `maxWaiting` of them; what comes after those is lost.
//
// Failure:   a line that cannot be written is lost. The first loss is reported to the call-back,
// the
//            ones that follow are counted; when writing succeeds again, a line {"time","lost"}
//            tells the reader of the file how many are missing, and the next loss is reported
//            again.
// Threads:   any member from any thread, the destructor excepted. The call-back runs on the log's
//            own thread or on that of a caller of Write(), with no lock held; it must not throw.
// Ownership: the destructor writes what waits, however long the system takes for it.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "access/audit_file.h"
#include "access/audit_line.h"

namespace ktsvc::access {

class AuditLog {
 public:
  // A sentence that names the file and the reason.
  using FailureReport = std::function<void(const std::string& sentence)>;

  struct Limits {
    std::size_t maxWaiting = 1024;            // lines
    std::chrono::milliseconds patience{200};  // what Write() waits at most
  };

  // What became of a line by the time Write() returned.
  enum class Fate : std::uint8_t {
    kWritten,  // it is in the file
    kWaiting,  // it will be written, or reported as lost
    kLost,
  };

  // Opens the file (audit_file.h). Throws AccessError.
  AuditLog(const std::filesystem::path& file, FailureReport report);

  // On a file that is open; `name` is for reports.
  AuditLog(std::unique_ptr<AuditFile> file, std::string name, FailureReport report, Limits limits);

  ~AuditLog();
  AuditLog(const AuditLog&) = delete;
  AuditLog& operator=(const AuditLog&) = delete;

  Fate Write(const AuditEntry& entry);

  // Asks for the file to be opened anew by its name, after a rotation has moved it. Entries that
  // are written after the return go to the new file. Does not wait; a failure is reported, and the
  // former file stays in use.
  void Reopen();

  // Entries lost so far.
  [[nodiscard]] std::uint64_t lost() const;

 private:
  struct Pending {
    std::string line;
    Fate fate = Fate::kWaiting;
  };
  using Batch = std::vector<std::shared_ptr<Pending>>;

  void Run();
  void WriteBatch(const Batch& batch);
  Fate WriteLine(const std::string& line);
  std::error_code SayLost();  // tells in the file what is missing there, if anything
  std::error_code AppendLine(const std::string& line);
  void ReopenFile();
  void CountLost(const std::string& reason);

  const std::string name_;
  const FailureReport report_;
  const Limits limits_;

  // Of the log's own thread alone.
  const std::unique_ptr<AuditFile> file_;
  bool torn_ = false;  // the last line in the file has no end

  mutable std::mutex mutex_;  // guards what follows; never held while the file or report_ is called
  std::condition_variable work_;
  std::condition_variable written_;
  Batch waiting_;
  bool reopenWanted_ = false;
  bool ending_ = false;
  bool stalled_ = false;       // a caller has lost its patience with the batch under way
  bool lossReported_ = false;  // and nothing was written since
  std::uint64_t lost_ = 0;
  std::uint64_t lostUnsaid_ = 0;  // of these, not yet told in the file

  std::thread thread_;  // last: it starts when all else is there
};

}  // namespace ktsvc::access
