#include "ktcheck/runner.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "host_system.h"
#include "ktcheck/checks.h"
#include "ktcheck/command_line.h"
#include "ktcheck/last_words.h"
#include "ktcheck/process.h"
#include "ktcheck/report.h"
#include "ktcheck/symbols.h"

namespace ktcheck {
namespace {

// A check that has ended that often before its time is not begun again.
constexpr int kMostProcesses = 20;

constexpr std::chrono::milliseconds kLook{500};

std::uintmax_t SizeOf(const std::filesystem::path& file) {
  std::error_code none_yet;
  const std::uintmax_t size = std::filesystem::file_size(file, none_yet);
  return none_yet ? 0 : size;
}

}  // namespace

// What came of one process.
struct Runner::Turn {
  ReportRead report;
  std::optional<ProcessEnd> end;  // nothing: it was ended here, since nothing happened any more
  bool stopped = false;           // by the person
  SaidLast said;

  // What its end says of the module, if anything.
  [[nodiscard]] std::optional<Finding> EndFinding() const {
    const std::string when = report.done ? "when the process ended after the check" : report.trying;
    if (report.crash) {
      Finding crash = *report.crash;
      crash.when = when;
      return crash;
    }
    if (!end) {
      return Finding{"stuck", "the process did not go on, and was ended", when, {}, 1};
    }
    if ((!end->killed.empty() || end->status != 0) && !said.sanitizer.empty()) {
      return Finding{"sanitizer", said.sanitizer, when, {{"its report", said.lines, true}}, 1};
    }
    if (!end->killed.empty()) {
      return Finding{"crash", "the process was ended by " + end->killed, when, Said(), 1};
    }
    if (end->status != 0 || (!report.done && !report.resume)) {
      return Finding{"ended",
                     "the process of the check ended with status " + std::to_string(end->status),
                     when, Said(), 1};
    }
    return std::nullopt;
  }

  [[nodiscard]] std::vector<Trail> Said() const {
    if (said.lines.empty()) return {};
    return {{"what it said last", said.lines, true}};
  }
};

Runner::Runner(const Options& options, std::filesystem::path scratch,
               std::function<void(const std::string&)> progress, std::function<bool()> stopped)
    : options_(options),
      scratch_(std::move(scratch)),
      progress_(std::move(progress)),
      stopped_(std::move(stopped)) {}

std::vector<CheckResult> Runner::Run() {
  std::vector<CheckResult> results;
  for (const Check& check : Checks()) {
    const auto& only = options_.only;
    if (!only.empty() && std::find(only.begin(), only.end(), check.name) == only.end()) continue;
    progress_(std::string(check.name) + ": " + std::string(check.tries));
    CheckResult result = RunCheck(std::string(check.name));
    if (stopped_()) break;
    results.push_back(std::move(result));
  }
  return results;
}

CheckResult Runner::RunCheck(const std::string& name) {
  CheckResult result{name, {}, {}, {}};
  std::uint64_t from = 0;
  for (int i = 1;; ++i) {
    const Turn turn = RunProcess(name, from);
    if (turn.stopped) return result;
    for (const Finding& finding : turn.report.findings) Collect(result.findings, finding);
    for (const auto& [figure, number] : turn.report.figures) result.figures[figure] += number;
    // What was begun in a process before was tried.
    if (from == 0) result.not_tried = turn.report.not_tried;
    const auto ended = turn.EndFinding();
    if (ended) Collect(result.findings, *ended);
    if (turn.report.done || (!turn.report.resume && turn.report.step == 0)) break;
    if (i == kMostProcesses) {
      result.figures["tried no further than step"] = turn.report.step;
      break;
    }
    from = turn.report.resume ? *turn.report.resume : turn.report.step + 1;
  }
  NameFrames(result.findings, scratch_);
  return result;
}

Runner::Turn Runner::RunProcess(const std::string& name, std::uint64_t from) {
  const std::string number = std::to_string(++processes_);
  const std::filesystem::path report = scratch_ / ("report" + number);
  const std::filesystem::path output = scratch_ / ("output" + number);
  Turn turn;
  {
    // The process tells by itself when a call does not come back; this is for when it cannot.
    const auto patience = options_.check.patience * 4 + std::chrono::seconds(30);
    Process process(ktsvc::ProgramFile(), WordsForOne(options_, name, report, from), output);
    auto moved = std::chrono::steady_clock::now();
    for (std::uintmax_t size = 0; !turn.end && !turn.stopped;) {
      turn.end = process.WaitFor(kLook);
      turn.stopped = stopped_();
      const auto now = std::chrono::steady_clock::now();
      if (const std::uintmax_t grown = SizeOf(report); grown != size) {
        size = grown;
        moved = now;
      }
      if (now - moved > patience) break;
    }
  }
  turn.report = ReadReport(report);
  turn.said = WhatWasSaidLast(output);
  return turn;
}

}  // namespace ktcheck
