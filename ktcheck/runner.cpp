#include "ktcheck/runner.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "ktcheck/checks.h"
#include "ktcheck/command_line.h"
#include "ktcheck/figures.h"
#include "ktcheck/symbols.h"

namespace ktcheck {
namespace {

// A check that has ended that often before its time is not begun again.
constexpr int kMostProcesses = 20;

}  // namespace

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
    for (const auto& [figure, number] : turn.report.most) {
      result.figures[figure] = std::max(result.figures[figure], number);
    }
    // What was begun in a process before was tried.
    if (from == 0) result.not_tried = turn.report.not_tried;
    const auto ended = turn.EndFinding();
    if (ended) Collect(result.findings, *ended);
    if (turn.report.done || (!turn.report.resume && turn.report.step == 0)) break;
    if (i == kMostProcesses) {
      result.figures[std::string(kLastStep.key)] = turn.report.step;
      break;
    }
    from = turn.report.resume ? *turn.report.resume : turn.report.step + 1;
  }
  NameFrames(result.findings, scratch_);
  return result;
}

Turn Runner::RunProcess(const std::string& name, std::uint64_t from) {
  const std::string number = std::to_string(++processes_);
  const std::filesystem::path report = scratch_ / ("report" + number);
  // The process tells by itself when a call does not come back; this is for when it cannot.
  const auto patience = options_.check.patience * 4 + std::chrono::seconds(30);
  return RunTurn({WordsForOne(options_, name, report, from), report, scratch_ / ("output" + number),
                  patience, stopped_});
}

}  // namespace ktcheck
