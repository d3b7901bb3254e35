#include "ktcheck/replay_verb.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "host_system.h"
#include "ktcheck/command_line.h"
#include "ktcheck/crash_report.h"
#include "ktcheck/report.h"
#include "ktcheck/symbols.h"
#include "ktcheck/turn.h"
#include "ktcheck/verdict.h"
#include "module_error.h"
#include "output.h"
#include "replay/replayer.h"

namespace ktcheck {
namespace {

using nlohmann::json;

// ---- In the process of the replay --------------------------------------------------------------

json ToJson(const ktreplay::ReplayResult& result) {
  json difference;
  if (result.difference) {
    const ktreplay::Difference& first = *result.difference;
    difference = {{"item", first.item},         {"thread", first.thread},
                  {"inside", first.inside},     {"microseconds", first.microseconds},
                  {"expected", first.expected}, {"came", first.came}};
  }
  return {{"items", result.items},
          {"functions", result.functions},
          {"calls", result.calls},
          {"difference", std::move(difference)},
          {"incomplete", result.incomplete},
          {"orderGivenUp", result.given_up},
          {"stuck", result.stuck}};
}

// What a module says may be no UTF-8.
std::string Text(const json& document, int indent) {
  return document.dump(indent, ' ', false, json::error_handler_t::replace);
}

// ---- In the one that waits for it --------------------------------------------------------------

int Print(const std::string& text, int status) {
  ktsvc::Output output;
  output.Write(text);
  if (output.error() == 0) return status;
  static_cast<void>(std::fputs("ktcheck: the result cannot be written\n", stderr));
  return kExitNoVerdict;
}

// What came of it as one document.
std::string ResultJson(const Options& options, const ReportRead& report,
                       const std::vector<Finding>& findings, int status) {
  json document = json::parse(report.replayed, nullptr, false);
  if (!document.is_object()) document = json::object();
  document["format"] = kJsonFormat;
  document["ktcheck"] = KTSVC_VERSION;
  document["module"] = options.check.subject.name;
  document["file"] = ktsvc::PathText(options.check.subject.file);
  document["recording"] = ktsvc::PathText(options.replay);
  document["passed"] = status == kExitPassed;
  document["exitStatus"] = status;
  document["findings"] = json::array();
  for (const Finding& finding : findings) document["findings"].push_back(FindingJson(finding));
  return Text(document, 2) + "\n";
}

std::string ResultText(const Options& options, const ReportRead& report,
                       const std::vector<Finding>& findings) {
  std::string text = report.replay_text;
  if (text.empty()) text = options.check.subject.name + ": it did not come to the end\n";
  std::size_t number = 0;
  for (const Finding& finding : findings) text += FindingText(++number, finding, "the replay");
  return text;
}

bool IsWithoutDifference(const ReportRead& report) {
  const json result = json::parse(report.replayed, nullptr, false);
  return result.is_object() && result.at("difference").is_null();
}

}  // namespace

int RunReplayHere(const Options& options) {
  ReportCrashesTo(options.report);
  Report report(options.report);
  report.Trying(0, "the replay");
  const std::filesystem::path& module = options.check.subject.file;
  bool stuck = false;
  try {
    const ktreplay::ReplayResult result = ktreplay::Replay(options.replay, module, {});
    report.Replayed(Text(ToJson(result), -1), ktreplay::ReplayText(result));
    stuck = result.stuck;
  } catch (const ktsvc::ModuleError& error) {
    report.Refused(ktsvc::PathText(module) + ": " + error.what() + "\n  " + error.advice());
  } catch (const ktreplay::ReplayError& error) {
    report.Refused(ktsvc::PathText(options.replay) + ": " + error.what());
  } catch (const std::exception& error) {
    report.Refused(error.what());
  }
  report.Done();
  if (stuck) std::_Exit(kExitPassed);  // code of the module may still be running
  return kExitPassed;
}

int RunReplay(const Options& options, const std::filesystem::path& scratch,
              const std::function<bool()>& stopped) {
  const std::filesystem::path report = scratch / "report";
  // A module that does not go on is noticed by the replay itself, which writes nothing meanwhile.
  const Turn turn =
      RunTurn({WordsForReplay(options, report), report, scratch / "output", std::nullopt, stopped});
  if (turn.stopped) return kExitNoVerdict;
  if (!turn.report.refused.empty()) {
    static_cast<void>(std::fprintf(stderr, "ktcheck: %s\n", turn.report.refused.c_str()));
    return kExitWrongWords;
  }
  std::vector<Finding> findings;
  if (const auto ended = turn.EndFinding()) findings.push_back(*ended);
  NameFrames(findings, scratch);
  const bool passed = findings.empty() && IsWithoutDifference(turn.report);
  const int status = passed ? kExitPassed : kExitFindings;
  return Print(options.json ? ResultJson(options, turn.report, findings, status)
                            : ResultText(options, turn.report, findings),
               status);
}

}  // namespace ktcheck
