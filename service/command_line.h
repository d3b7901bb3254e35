// CommandLine: the parser of ktsvc's words, with the places where it puts them.
//
// The parser can be looked at without being run, which is how the manual page and the completions
// are made of it.
//
// Threads: one thread.
#pragma once

#include <memory>
#include <string>

#include "options.h"

namespace CLI {
class App;
}

namespace ktsvc {

class CommandLine {
 public:
  CommandLine();
  ~CommandLine();
  CommandLine(const CommandLine&) = delete;  // the parser knows the places of the values
  CommandLine& operator=(const CommandLine&) = delete;

  [[nodiscard]] CLI::App& app() noexcept { return *app_; }
  [[nodiscard]] const CLI::App& app() const noexcept { return *app_; }

  // The command that was given; null before the parser ran, or when it was given none.
  [[nodiscard]] const CLI::App* Given() const;
  [[nodiscard]] bool GivenModules() const;

  // The words of `run` after the parser ran. What they mean has not been checked.
  [[nodiscard]] Options RunOptions() const;

  // The folder of `modules`; empty for the default.
  [[nodiscard]] std::filesystem::path ModulesFolder() const;

 private:
  void AddRun();
  void AddManagement();
  void AddModules();

  std::unique_ptr<CLI::App> app_;
  CLI::App* run_ = nullptr;
  CLI::App* modules_ = nullptr;

  Options options_;
  // Paths as they were typed.
  std::string moduleFolder_;
  std::string traceFile_;
  std::string record_;
  std::string registry_;
  std::string socket_;
  std::string tokenFile_;
  std::string accessFile_;
  std::string auditLog_;
  std::string modulesFolder_;
};

}  // namespace ktsvc
