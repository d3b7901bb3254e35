// Report: what a check tells the process that started it, line by line in a file, so that what was
// told is there whatever becomes of the check.
//
// Each line is one JSON object; its first member says what it tells: "trying", "finding", "times",
// "count", "most", "not tried", "replayed", "refused", "resume", "crash" or "done".
//
// Threads: everything from any thread.
#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "ktcheck/finding.h"

namespace ktcheck {

class Report {
 public:
  // Appends to the file. Throws std::runtime_error when it cannot be opened.
  explicit Report(const std::filesystem::path& file);

  // What is tried from now on; told when the check does not come to its end. It is then counted as
  // one of that figure ("": none), unless it has been before.
  void Trying(std::uint64_t step, const std::string& what, const std::string& figure = {});
  // The same thing is told once, and then how often.
  void Found(Finding finding);
  // Adds to a figure of the check, by its key: "callsFailed".
  void Count(const std::string& figure, std::uint64_t number);

  // A figure of which the largest counts.
  void Most(const std::string& figure, std::uint64_t number);

  // What the check is there for could not be tried, for this reason.
  void NotTried(const std::string& why);

  // What came of a replay: a JSON object, and for people. Or why there was none.
  void Replayed(const std::string& result, const std::string& text);
  void Refused(const std::string& why);

  // The check is over, or (with a step) cannot go on in this process: what is left is to begin
  // there.
  void Done();
  void Resume(std::uint64_t step);

  [[nodiscard]] std::uint64_t step() const;

 private:
  void Write(const nlohmann::json& line);

  mutable std::mutex mutex_;
  std::ofstream file_;
  std::vector<Finding> found_;
  std::uint64_t step_ = 0;
};

// What stands in such a file.
struct ReportRead {
  bool done = false;
  std::optional<std::uint64_t> resume;
  std::uint64_t step = 0;  // the last one that was begun
  std::string trying;
  std::vector<Finding> findings;
  std::map<std::string, std::uint64_t> figures;
  std::map<std::string, std::uint64_t> most;
  std::string not_tried;         // why, or ""
  std::string replayed;          // the JSON object of a replay, or ""
  std::string replay_text;       // for people
  std::string refused;           // why there was no replay, or ""
  std::optional<Finding> crash;  // told by the process as it crashed
};

// Nothing is in it that was not written whole.
ReportRead ReadReport(const std::filesystem::path& file);

}  // namespace ktcheck
