// ServiceUnderTest: the real service for the time of a run, in a folder of its own, with nothing of
// the machine's within its reach: a service manager that does nothing stands first on its search
// path, and its registry is empty.
//
// Threads: one thread.
// Failure: std::runtime_error when it does not start; what it does wrong at its end is told.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "service/program.h"

namespace stress {

// The files of a build.
struct Build {
  std::filesystem::path service;  // the program
  std::filesystem::path modules;  // where "hostkit.so" stands
  std::filesystem::path tests;    // the tests' own part of the build

  // That of the program `service`.
  static Build Of(const std::filesystem::path& service);
  [[nodiscard]] std::filesystem::path BusyModule() const;
};

class ServiceUnderTest {
 public:
  // Starts it with these providers, names or paths, and these words of `run` beside them. With a
  // session of its own, Ctrl-C in the terminal of the run does not reach it.
  ServiceUnderTest(const Build& build, const std::vector<std::string>& providers,
                   const std::vector<std::string>& words, bool ownSession);

  [[nodiscard]] const std::filesystem::path& socket() const noexcept { return socket_; }
  [[nodiscard]] std::intptr_t process() const { return program_->Number(); }

  // Drops what it has written into its audit log.
  void DropLogs() const;

  // What it has said on standard error so far.
  [[nodiscard]] std::string Errors() const { return program_->Errors(); }

  // Stops it. Empty when it ended with status 0 and nothing was kept, else all that it said.
  [[nodiscard]] std::string Stop();

  // Ends it by force, where it may hang; all that it said.
  [[nodiscard]] std::string Kill();

 private:
  ktsvc_test::ScratchFolder folder_;
  std::filesystem::path socket_;
  std::unique_ptr<ktsvc_test::Program> program_;
};

}  // namespace stress
