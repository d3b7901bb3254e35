#include "access/audit_log.h"

#include <utility>

#include "access/access_system.h"

namespace ktsvc::access {

AuditLog::AuditLog(const std::filesystem::path& file, FailureReport report)
    : AuditLog(OpenAuditFile(file), FileText(file), std::move(report), Limits()) {}

AuditLog::AuditLog(std::unique_ptr<AuditFile> file, std::string name, FailureReport report,
                   Limits limits)
    : name_(std::move(name)),
      report_(std::move(report)),
      limits_(limits),
      file_(std::move(file)),
      thread_([this] { Run(); }) {}

AuditLog::~AuditLog() {
  {
    const std::lock_guard lock(mutex_);
    ending_ = true;
  }
  work_.notify_one();
  thread_.join();
}

AuditLog::Fate AuditLog::Write(const AuditEntry& entry) {
  auto pending = std::make_shared<Pending>();
  pending->line = AuditLine(entry);

  std::unique_lock lock(mutex_);
  if (waiting_.size() >= limits_.maxWaiting) {
    lock.unlock();
    CountLost("more than " + std::to_string(limits_.maxWaiting) + " entries wait for the disk");
    return Fate::kLost;
  }
  waiting_.push_back(pending);
  work_.notify_one();
  if (!stalled_) {
    const bool done =
        written_.wait_for(lock, limits_.patience, [&] { return pending->fate != Fate::kWaiting; });
    stalled_ = stalled_ || !done;
  }
  return pending->fate;
}

void AuditLog::Reopen() {
  {
    const std::lock_guard lock(mutex_);
    reopenWanted_ = true;
  }
  work_.notify_one();
}

std::uint64_t AuditLog::lost() const {
  const std::lock_guard lock(mutex_);
  return lost_;
}

void AuditLog::Run() {
  for (;;) {
    Batch batch;
    bool reopen = false;
    {
      std::unique_lock lock(mutex_);
      work_.wait(lock, [this] { return ending_ || reopenWanted_ || !waiting_.empty(); });
      if (ending_ && waiting_.empty()) {
        break;
      }
      batch.swap(waiting_);
      reopen = std::exchange(reopenWanted_, false);
    }
    if (reopen) {
      ReopenFile();
    }
    WriteBatch(batch);
  }
  SayLost();
}

void AuditLog::WriteBatch(const Batch& batch) {
  std::vector<Fate> fates;
  fates.reserve(batch.size());
  for (const std::shared_ptr<Pending>& pending : batch) {
    fates.push_back(WriteLine(pending->line));
  }
  {
    const std::lock_guard lock(mutex_);
    for (std::size_t i = 0; i < batch.size(); ++i) {
      batch[i]->fate = fates[i];
    }
    stalled_ = false;
  }
  written_.notify_all();
}

std::error_code AuditLog::SayLost() {
  std::uint64_t unsaid = 0;
  {
    const std::lock_guard lock(mutex_);
    unsaid = lostUnsaid_;
  }
  if (unsaid == 0) {
    return {};
  }
  const std::error_code error = AppendLine(LostLine(std::chrono::system_clock::now(), unsaid));
  if (!error) {
    const std::lock_guard lock(mutex_);
    lostUnsaid_ -= unsaid;
  }
  return error;
}

AuditLog::Fate AuditLog::WriteLine(const std::string& line) {
  std::error_code error = SayLost();
  if (!error) {
    error = AppendLine(line);
  }
  if (error) {
    CountLost(error.message());
    return Fate::kLost;
  }
  const std::lock_guard lock(mutex_);
  // While lines are still being turned away for want of room, one report is enough.
  lossReported_ = lostUnsaid_ != 0;
  return Fate::kWritten;
}

std::error_code AuditLog::AppendLine(const std::string& line) {
  // What is left of a torn line must not swallow this one.
  const std::string bytes = torn_ ? "\n" + line : line;
  std::size_t written = 0;
  const std::error_code error = file_->Append(bytes, written);
  if (error) {
    torn_ = written != (torn_ ? 1U : 0U);
  } else {
    torn_ = false;
  }
  return error;
}

void AuditLog::ReopenFile() {
  if (const std::error_code error = file_->Reopen()) {
    report_("The audit log " + name_ + " cannot be opened anew: " + error.message() +
            ". Entries go on to the former file.");
  }
}

void AuditLog::CountLost(const std::string& reason) {
  bool first = false;
  {
    const std::lock_guard lock(mutex_);
    ++lost_;
    ++lostUnsaid_;
    first = !std::exchange(lossReported_, true);
  }
  if (first) {
    report_("The audit log " + name_ + " cannot be written: " + reason +
            ". Entries are lost until it can.");
  }
}

}  // namespace ktsvc::access
