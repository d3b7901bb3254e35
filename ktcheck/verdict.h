// The verdict on a module, for people and for programs.
//
// Threads: pure functions.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "ktcheck/options.h"
#include "ktcheck/runner.h"

namespace ktcheck {

enum class Verdict { kPassed, kFindings, kNothingTried };

// What comes of all checks together. One that found nothing because it tried nothing is not enough
// to pass; beside others that tried something it is.
Verdict VerdictOf(const std::vector<CheckResult>& results);

// The status with which the program ends on it.
int ExitStatus(Verdict verdict);

// One finding with its number, and by which checks it was found.
std::string FindingText(std::size_t number, const Finding& finding, const std::string& checks);
nlohmann::json FindingJson(const Finding& finding);

std::string VerdictText(const Options& options, const std::vector<CheckResult>& results);

// The number of the form of JSON documents. It grows when a member goes or means something else;
// new members may come at any time.
inline constexpr int kJsonFormat = 1;

// One JSON document with its line end.
std::string VerdictJson(const Options& options, const std::vector<CheckResult>& results);

}  // namespace ktcheck
