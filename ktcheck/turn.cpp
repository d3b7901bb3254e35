#include "ktcheck/turn.h"

#include "host_system.h"

namespace ktcheck {
namespace {

constexpr std::chrono::milliseconds kLook{500};

std::uintmax_t SizeOf(const std::filesystem::path& file) {
  std::error_code none_yet;
  const std::uintmax_t size = std::filesystem::file_size(file, none_yet);
  return none_yet ? 0 : size;
}

}  // namespace

std::optional<Finding> Turn::EndFinding() const {
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

std::vector<Trail> Turn::Said() const {
  if (said.lines.empty()) return {};
  return {{"what it said last", said.lines, true}};
}

Turn RunTurn(const TurnOptions& options) {
  Turn turn;
  {
    Process process(ktsvc::ProgramFile(), options.words, options.output);
    auto moved = std::chrono::steady_clock::now();
    for (std::uintmax_t size = 0; !turn.end && !turn.stopped;) {
      turn.end = process.WaitFor(kLook);
      turn.stopped = options.stopped();
      const auto now = std::chrono::steady_clock::now();
      if (const std::uintmax_t grown = SizeOf(options.report); grown != size) {
        size = grown;
        moved = now;
      }
      if (options.patience && now - moved > *options.patience) break;
    }
  }
  turn.report = ReadReport(options.report);
  turn.said = WhatWasSaidLast(options.output);
  return turn;
}

}  // namespace ktcheck
