#include "ktcheck/ktcheck_program.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <utility>

#include "host_system.h"

namespace ktcheck_test {

using Json = nlohmann::json;

namespace {

bool AnyTried(const Json& verdict) {
  const Json& checks = verdict.at("checks");
  return std::any_of(checks.begin(), checks.end(),
                     [](const Json& check) { return check.at("notTried") == ""; });
}

}  // namespace

ktsvc_test::Result RunKtcheck(std::vector<std::string> words) {
  std::filesystem::path program = ktsvc_test::BuiltProgram().parent_path() / "ktcheck";
  program += ktsvc_test::BuiltProgram().extension();
  return ktsvc_test::Program(std::move(words), {}, program).Wait();
}

std::string BrokenModule(const std::string& name) {
  const auto folder = ktsvc::ProgramFolder().parent_path() / "tests" / "ktcheck" / "modules";
  return ktsvc::PathText(folder / (name + std::string(ktsvc::ModuleSuffix())));
}

Json VerdictOn(const std::string& module, const std::vector<std::string>& checks,
               const std::vector<std::string>& words) {
  std::vector<std::string> all{"--json", "--quiet", "--seed", "7"};
  for (const std::string& check : checks) all.insert(all.end(), {"--only", check});
  all.insert(all.end(), words.begin(), words.end());
  // Nothing here is to be found slow because the machine is.
  if (std::find(words.begin(), words.end(), "--patience") == words.end()) {
    all.insert(all.end(), {"--patience", "900"});
  }
  all.push_back(module);
  const ktsvc_test::Result result = RunKtcheck(all);
  Json verdict = Json::parse(result.output, nullptr, false);
  EXPECT_TRUE(verdict.is_object()) << result.output << result.errors;
  if (!verdict.is_object()) return Json::object();
  const bool tried = AnyTried(verdict);
  EXPECT_EQ(verdict.at("passed").get<bool>(), KindsIn(verdict).empty() && tried);
  EXPECT_EQ(result.status, KindsIn(verdict).empty() ? (tried ? 0 : 3) : 1) << result.output;
  return verdict;
}

std::set<std::string> KindsIn(const Json& verdict) {
  std::set<std::string> kinds;
  for (const Json& check : verdict.value("checks", Json::array())) {
    for (const Json& finding : check.at("findings")) kinds.insert(finding.at("kind"));
  }
  return kinds;
}

Json FirstOf(const Json& verdict, const std::string& kind) {
  for (const Json& check : verdict.value("checks", Json::array())) {
    for (const Json& finding : check.at("findings")) {
      if (finding.at("kind") == kind) return finding;
    }
  }
  return nullptr;
}

}  // namespace ktcheck_test
