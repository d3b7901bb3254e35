// Runs the checks, each in a process of its own, and gathers what they found.
//
// Threads: one thread.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "ktcheck/finding.h"
#include "ktcheck/options.h"
#include "ktcheck/turn.h"

namespace ktcheck {

struct CheckResult {
  std::string name;
  std::vector<Finding> findings;
  std::map<std::string, std::uint64_t> figures;  // by their keys
  std::string not_tried;  // why that was not tried which the check is there for, or ""
};

class Runner {
 public:
  // `scratch` is a folder to write in; `progress` is told which check begins; `stopped` says that
  // the person does not want to wait any longer.
  Runner(const Options& options, std::filesystem::path scratch,
         std::function<void(const std::string&)> progress, std::function<bool()> stopped);

  // All that were asked for. Those that the person did not wait for are missing. Throws
  // std::runtime_error when no process can be started.
  std::vector<CheckResult> Run();

 private:
  CheckResult RunCheck(const std::string& name);
  Turn RunProcess(const std::string& name, std::uint64_t from);

  const Options& options_;
  const std::filesystem::path scratch_;
  const std::function<void(const std::string&)> progress_;
  const std::function<bool()> stopped_;
  std::uint64_t processes_ = 0;
};

}  // namespace ktcheck
