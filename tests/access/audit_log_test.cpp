#include "access/audit_log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <deque>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

#include "access/access_error.h"
#include "access/interface_names.h"
#include "caller_for_tests.h"
#include "temporary_folder.h"

namespace ktsvc::access {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// What a file under a log did and is to do; it outlives the log.
struct Disk {
  // The next write puts this many bytes down and then fails; nothing: it succeeds.
  using Plan = std::optional<std::size_t>;

  std::mutex mutex;
  std::condition_variable changed;
  std::string content;
  std::vector<std::string> writes;
  std::deque<Plan> plans;  // of the next writes; after the last, `always`
  Plan always;
  bool hangs = false;
  bool entered = false;  // a write has begun to hang
  int reopened = 0;
  bool reopenFails = false;

  void Hang(bool on) {
    const std::lock_guard lock(mutex);
    hangs = on;
    changed.notify_all();
  }
  void WaitUntilHanging() {
    std::unique_lock lock(mutex);
    changed.wait(lock, [this] { return entered; });
  }
};

class FileForTests final : public AuditFile {
 public:
  explicit FileForTests(Disk& disk) : disk_(disk) {}

  std::error_code Append(std::string_view bytes, std::size_t& written) override {
    std::unique_lock lock(disk_.mutex);
    disk_.entered = disk_.hangs;
    disk_.changed.notify_all();
    disk_.changed.wait(lock, [this] { return !disk_.hangs; });
    Disk::Plan plan = disk_.always;
    if (!disk_.plans.empty()) {
      plan = disk_.plans.front();
      disk_.plans.pop_front();
    }
    disk_.writes.emplace_back(bytes);
    written = std::min(plan.value_or(bytes.size()), bytes.size());
    disk_.content += bytes.substr(0, written);
    return plan ? std::make_error_code(std::errc::no_space_on_device) : std::error_code();
  }

  std::error_code Reopen() override {
    const std::lock_guard lock(disk_.mutex);
    ++disk_.reopened;
    return disk_.reopenFails ? std::make_error_code(std::errc::permission_denied)
                             : std::error_code();
  }

 private:
  Disk& disk_;
};

class AuditLogOnADisk : public testing::Test {
 protected:
  // Long enough for any machine, where the test expects a write to be waited for.
  std::unique_ptr<AuditLog> Log(AuditLog::Limits limits = {1024, 60s}) {
    return std::make_unique<AuditLog>(
        std::make_unique<FileForTests>(disk_), "audit.log",
        [this](const std::string& sentence) {
          const std::lock_guard lock(disk_.mutex);
          reports_.push_back(sentence);
        },
        limits);
  }

  static AuditEntry Entry(std::uint32_t code) {
    AuditEntry entry(CallerForTests::Token("ci"));
    entry.action = Action::SendControl(kSystemInterface, 0, code);
    entry.status = 0;
    return entry;
  }

  // "code" of each entry, "lost N" of each gap, "torn" for what does not parse.
  std::vector<std::string> Told() {
    std::vector<std::string> told;
    std::istringstream lines(disk_.content);
    for (std::string line; std::getline(lines, line);) {
      const auto json = nlohmann::json::parse(line, nullptr, false);
      if (json.is_discarded()) {
        told.emplace_back("torn");
      } else if (json.contains("lost")) {
        told.push_back("lost " + std::to_string(json["lost"].get<int>()));
      } else {
        told.push_back(std::to_string(json["code"].get<int>()));
      }
    }
    return told;
  }

  Disk disk_;
  std::vector<std::string> reports_;
};

TEST_F(AuditLogOnADisk, WritesEachEntryBeforeItReturnsAndWithOneWrite) {
  const auto log = Log();
  for (std::uint32_t code = 1; code <= 3; ++code) {
    EXPECT_EQ(log->Write(Entry(code)), AuditLog::Fate::kWritten);
    EXPECT_EQ(disk_.writes.size(), code);
    EXPECT_EQ(disk_.writes.back(), AuditLine(Entry(code)));
  }
  EXPECT_THAT(Told(), ElementsAre("1", "2", "3"));
  EXPECT_THAT(reports_, IsEmpty());
  EXPECT_EQ(log->lost(), 0U);
}

TEST_F(AuditLogOnADisk, ReportsAFailureOnceAndCountsTheRest) {
  disk_.always = 0;
  const auto log = Log();
  for (std::uint32_t code = 1; code <= 5; ++code) {
    EXPECT_EQ(log->Write(Entry(code)), AuditLog::Fate::kLost);
  }
  EXPECT_EQ(log->lost(), 5U);
  ASSERT_EQ(reports_.size(), 1U);
  EXPECT_THAT(reports_[0], HasSubstr("The audit log audit.log cannot be written: "));
  EXPECT_THAT(reports_[0], HasSubstr("Entries are lost until it can."));
}

TEST_F(AuditLogOnADisk, TellsInTheFileHowManyEntriesAreMissing) {
  disk_.plans = {0, 0, 0, std::nullopt};
  const auto log = Log();
  log->Write(Entry(1));  // lost
  log->Write(Entry(2));  // the gap could not be told
  log->Write(Entry(3));  // nor now
  EXPECT_EQ(log->Write(Entry(4)), AuditLog::Fate::kWritten);
  EXPECT_THAT(Told(), ElementsAre("lost 3", "4"));
  EXPECT_EQ(log->lost(), 3U);
}

TEST_F(AuditLogOnADisk, ReportsAgainAfterAWriteHasSucceeded) {
  disk_.plans = {0, std::nullopt, std::nullopt, 0};
  const auto log = Log();
  log->Write(Entry(1));
  EXPECT_EQ(log->Write(Entry(2)), AuditLog::Fate::kWritten);
  EXPECT_EQ(log->Write(Entry(3)), AuditLog::Fate::kLost);
  EXPECT_EQ(reports_.size(), 2U);
}

TEST_F(AuditLogOnADisk, TellsOfAGapAtItsEndWhenNoEntryFollowed) {
  disk_.plans = {0};
  auto log = Log();
  log->Write(Entry(1));
  log.reset();
  EXPECT_THAT(Told(), ElementsAre("lost 1"));
}

TEST_F(AuditLogOnADisk, BeginsANewLineAfterATornOne) {
  for (const std::size_t bytes : {std::size_t{1}, std::size_t{40}}) {
    disk_.content.clear();
    disk_.plans = {bytes};
    const auto log = Log();
    EXPECT_EQ(log->Write(Entry(1)), AuditLog::Fate::kLost);
    EXPECT_EQ(log->Write(Entry(2)), AuditLog::Fate::kWritten);
    EXPECT_THAT(Told(), ElementsAre("torn", "lost 1", "2"));
  }
}

TEST_F(AuditLogOnADisk, WritesNoEmptyLineWhenTheLineFeedAfterATornLineWentOutAlone) {
  disk_.plans = {10, 1};
  const auto log = Log();
  log->Write(Entry(1));
  log->Write(Entry(2));
  EXPECT_EQ(log->Write(Entry(3)), AuditLog::Fate::kWritten);
  EXPECT_THAT(Told(), ElementsAre("torn", "lost 2", "3"));
}

TEST_F(AuditLogOnADisk, HoldsNoCallerLongerThanItsPatienceWhenTheDiskHangs) {
  disk_.Hang(true);
  auto log = Log({1024, 10ms});
  EXPECT_EQ(log->Write(Entry(1)), AuditLog::Fate::kWaiting);
  EXPECT_EQ(log->Write(Entry(2)), AuditLog::Fate::kWaiting);
  EXPECT_THAT(reports_, IsEmpty());
  disk_.Hang(false);
  log.reset();
  EXPECT_THAT(Told(), ElementsAre("1", "2"));
}

TEST_F(AuditLogOnADisk, WaitsForNobodyWhileTheDiskHangsOnceACallerHasWaited) {
  disk_.Hang(true);
  auto log = Log({1024, 60s});
  std::thread first([&] { EXPECT_EQ(log->Write(Entry(1)), AuditLog::Fate::kWritten); });
  disk_.WaitUntilHanging();
  disk_.Hang(false);
  first.join();
  log.reset();

  disk_.Hang(true);
  disk_.content.clear();
  log = Log({1024, 1ms});
  EXPECT_EQ(log->Write(Entry(1)), AuditLog::Fate::kWaiting);
  // A thousand patiences would be a second; these return at once.
  for (std::uint32_t code = 2; code <= 1000; ++code) {
    ASSERT_EQ(log->Write(Entry(code)), AuditLog::Fate::kWaiting);
  }
  disk_.Hang(false);
  log.reset();
  EXPECT_EQ(Told().size(), 1000U);
}

TEST_F(AuditLogOnADisk, WaitsAgainWhenTheDiskMovesAgain) {
  disk_.Hang(true);
  const auto log = Log({1024, 60s});
  std::thread first([&] { log->Write(Entry(1)); });
  disk_.WaitUntilHanging();
  disk_.Hang(false);
  first.join();
  EXPECT_EQ(log->Write(Entry(2)), AuditLog::Fate::kWritten);
}

TEST_F(AuditLogOnADisk, LosesWhatDoesNotFitInMemoryAndReportsItOnce) {
  disk_.Hang(true);
  auto log = Log({4, 0ms});
  EXPECT_EQ(log->Write(Entry(1)), AuditLog::Fate::kWaiting);
  disk_.WaitUntilHanging();  // entry 1 is with the disk
  for (std::uint32_t code = 2; code <= 5; ++code) {
    EXPECT_EQ(log->Write(Entry(code)), AuditLog::Fate::kWaiting);
  }
  for (std::uint32_t code = 6; code <= 8; ++code) {
    EXPECT_EQ(log->Write(Entry(code)), AuditLog::Fate::kLost);
  }
  EXPECT_EQ(log->lost(), 3U);
  EXPECT_THAT(reports_, ElementsAre(HasSubstr("more than 4 entries wait for the disk")));
  disk_.Hang(false);
  log.reset();
  EXPECT_THAT(Told(), ElementsAre("1", "lost 3", "2", "3", "4", "5"));
}

TEST_F(AuditLogOnADisk, OpensItsFileAnewBeforeTheNextEntry) {
  const auto log = Log();
  log->Write(Entry(1));
  EXPECT_EQ(disk_.reopened, 0);
  log->Reopen();
  log->Write(Entry(2));
  EXPECT_EQ(disk_.reopened, 1);
}

TEST_F(AuditLogOnADisk, ReportsThatItsFileCannotBeOpenedAnewAndGoesOn) {
  disk_.reopenFails = true;
  const auto log = Log();
  log->Reopen();
  EXPECT_EQ(log->Write(Entry(1)), AuditLog::Fate::kWritten);
  EXPECT_THAT(reports_, ElementsAre(HasSubstr("The audit log audit.log cannot be opened anew: ")));
  EXPECT_EQ(log->lost(), 0U);
}

TEST(AuditLog, KeepsEveryEntryOfManyThreadsWholeWhileItsFileIsRotated) {
  constexpr std::uint32_t kThreads = 8;
  constexpr std::uint32_t kEach = 200;
  const TemporaryFolder folder;
  const std::filesystem::path file = folder / "audit.log";
  std::vector<std::filesystem::path> files{file};
  {
    AuditLog log(file, [](const std::string& sentence) { ADD_FAILURE() << sentence; });
    std::vector<std::thread> threads;
    for (std::uint32_t thread = 0; thread < kThreads; ++thread) {
      threads.emplace_back([&log, thread] {
        for (std::uint32_t i = 0; i < kEach; ++i) {
          AuditEntry entry(CallerForTests::Token("t" + std::to_string(thread)));
          entry.action = Action::SendControl(kSystemInterface, thread, i);
          log.Write(entry);
        }
      });
    }
    for (int i = 0; i < 5; ++i) {
      files.push_back(folder / ("audit.log." + std::to_string(i)));
      std::filesystem::rename(file, files.back());
      log.Reopen();
      AuditEntry entry(CallerForTests::Token("ci"));
      entry.action = Action::Admin();
      log.Write(entry);
      while (!std::filesystem::exists(file)) {
        std::this_thread::yield();
      }
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
    EXPECT_EQ(log.lost(), 0U);
  }
  std::set<std::pair<std::uint32_t, std::uint32_t>> controls;
  std::size_t others = 0;
  for (const std::filesystem::path& each : files) {
    std::istringstream lines(TemporaryFolder::Read(each));
    for (std::string line; std::getline(lines, line);) {
      const auto json = nlohmann::json::parse(line);
      if (json["action"] == "control") {
        EXPECT_EQ(json["caller"]["name"], "t" + std::to_string(json["selector"].get<int>()));
        EXPECT_TRUE(controls.emplace(json["selector"], json["code"]).second);
      } else {
        ++others;
      }
    }
  }
  EXPECT_EQ(controls.size(), kThreads * kEach);
  EXPECT_EQ(others, 5U);
}

TEST(AuditLog, AppendsToWhatIsThere) {
  const TemporaryFolder folder;
  const std::filesystem::path file = folder.File("audit.log", "{\"old\":true}\n");
  for (int i = 0; i < 2; ++i) {
    AuditLog log(file, [](const std::string& sentence) { ADD_FAILURE() << sentence; });
    log.Write(AuditEntry(CallerForTests::Token("ci")));
  }
  const std::string line = AuditLine(AuditEntry(CallerForTests::Token("ci")));
  EXPECT_EQ(TemporaryFolder::Read(file), "{\"old\":true}\n" + line + line);
}

TEST(AuditLog, RefusesAFileThatCannotBeOpened) {
  const TemporaryFolder folder;
  try {
    const AuditLog log(folder / "none/audit.log", nullptr);
    ADD_FAILURE() << "opened";
  } catch (const AccessError& error) {
    EXPECT_THAT(error.reason(), HasSubstr("the audit log cannot be written: "));
    EXPECT_FALSE(error.advice().empty());
  }
}

}  // namespace
}  // namespace ktsvc::access
