#include "ktcheck/verdict.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>

#include "host_system.h"
#include "ktcheck/figures.h"
#include "ktcheck/finding_kinds.h"
#include "text_table.h"

namespace ktcheck {
namespace {

// A finding and the checks that came upon it.
struct Gathered {
  Finding finding;
  std::string checks;
};

std::string Figures(const CheckResult& result) {
  std::string text;
  for (const auto& [figure, number] : result.figures) {
    if (IsSlowest(figure)) continue;  // of all checks together
    text += (text.empty() ? "" : ", ") + std::string(WordsOfFigure(figure)) + ": " +
            std::to_string(number);
  }
  return text;
}

// The longest calls that any check came upon; "" when there were none.
std::string Slowest(const std::vector<CheckResult>& results) {
  std::map<std::string_view, std::uint64_t> slowest;
  for (const CheckResult& result : results) {
    for (const auto& [figure, number] : result.figures) {
      if (!IsSlowest(figure)) continue;
      std::uint64_t& most = slowest[WordsOfFigure(figure)];
      most = std::max(most, number);
    }
  }
  std::string text;
  for (const auto& [function, number] : slowest) {
    text += (text.empty() ? "\nSlowest calls, in milliseconds: " : ", ") + std::string(function) +
            " " + std::to_string(number);
  }
  return text.empty() ? text : text + "\n";
}

std::vector<Gathered> Gather(const std::vector<CheckResult>& results) {
  std::vector<Gathered> gathered;
  for (const CheckResult& result : results) {
    for (const Finding& finding : result.findings) {
      const auto known = std::find_if(gathered.begin(), gathered.end(), [&](const Gathered& other) {
        return SameThing(other.finding, finding);
      });
      if (known == gathered.end()) {
        gathered.push_back({finding, result.name});
      } else {
        known->finding.times += finding.times;
        known->checks += ", " + result.name;
      }
    }
  }
  return gathered;
}

// What a check came to: "passed", "2 findings".
std::string Outcome(const CheckResult& result) {
  const std::size_t count = result.findings.size();
  if (count == 0) return result.not_tried.empty() ? "passed" : "not tried";
  return std::to_string(count) + (count == 1 ? " finding" : " findings");
}

}  // namespace

Verdict VerdictOf(const std::vector<CheckResult>& results) {
  const auto found = [](const CheckResult& result) { return !result.findings.empty(); };
  const auto tried = [](const CheckResult& result) { return result.not_tried.empty(); };
  if (std::any_of(results.begin(), results.end(), found)) return Verdict::kFindings;
  const bool any = std::any_of(results.begin(), results.end(), tried);
  return any ? Verdict::kPassed : Verdict::kNothingTried;
}

int ExitStatus(Verdict verdict) {
  if (verdict == Verdict::kFindings) return kExitFindings;
  return verdict == Verdict::kPassed ? kExitPassed : kExitNoVerdict;
}

std::string FindingText(std::size_t number, const Finding& finding, const std::string& checks) {
  std::string text = "\n" + std::to_string(number) + ". " + finding.kind + ": " + finding.what;
  text += "\n   found by " + checks;
  if (finding.times > 1) text += ", " + std::to_string(finding.times) + " times";
  if (!finding.when.empty()) text += "; first: " + finding.when;
  text += "\n";
  for (const Trail& trail : finding.trails) {
    if (trail.frames.empty()) continue;
    text += "   " + trail.title + ":\n";
    for (const std::string& frame : trail.frames) text += "     " + frame + "\n";
  }
  return text + "   What to do: " + std::string(KindNamed(finding.kind).todo) + "\n";
}

std::string VerdictText(const Options& options, const std::vector<CheckResult>& results) {
  ktsvc::TextTable table;
  for (const CheckResult& result : results) {
    table.Add({result.name, Outcome(result), Figures(result)});
  }
  std::string text =
      options.check.subject.name + ", " + ktsvc::PathText(options.check.subject.file) + ", seed " +
      std::to_string(options.check.walk.seed) + "\n\n" + table.Text("  ") + Slowest(results);
  std::size_t number = 0;
  for (const Gathered& gathered : Gather(results)) {
    text += FindingText(++number, gathered.finding, gathered.checks);
  }
  for (const CheckResult& result : results) {
    if (result.findings.empty() && !result.not_tried.empty()) {
      text += "\n" + result.name + " was not tried: " + result.not_tried + "\n";
    }
  }
  if (VerdictOf(results) == Verdict::kNothingTried) return text + "\nnothing was tried\n";
  if (number == 0) return text + "\npassed\n";
  return text + "\n" + std::to_string(number) + (number == 1 ? " finding" : " findings") +
         "; ktcheck.md in the documentation explains each kind and its usual cause\n";
}

nlohmann::json FindingJson(const Finding& finding) {
  nlohmann::json entry = ToJson(finding);
  entry["todo"] = KindNamed(finding.kind).todo;
  return entry;
}

std::string VerdictJson(const Options& options, const std::vector<CheckResult>& results) {
  nlohmann::json checks = nlohmann::json::array();
  for (const CheckResult& result : results) {
    nlohmann::json findings = nlohmann::json::array();
    for (const Finding& finding : result.findings) {
      findings.push_back(FindingJson(finding));
    }
    checks.push_back({{"name", result.name},
                      {"passed", result.findings.empty() && result.not_tried.empty()},
                      {"notTried", result.not_tried},
                      {"figures", result.figures},
                      {"findings", std::move(findings)}});
  }
  const nlohmann::json verdict{{"format", kJsonFormat},
                               {"ktcheck", KTSVC_VERSION},
                               {"module", options.check.subject.name},
                               {"file", ktsvc::PathText(options.check.subject.file)},
                               {"seed", options.check.walk.seed},
                               {"passed", VerdictOf(results) == Verdict::kPassed},
                               {"exitStatus", ExitStatus(VerdictOf(results))},
                               {"checks", std::move(checks)}};
  return verdict.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
}

}  // namespace ktcheck
