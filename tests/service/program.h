// Program: ktsvc itself, started as a process of its own with its output kept in files.
//
// Threads: one thread.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "service/scratch_folder.h"

namespace ktsvc_test {

// Variables that are set for the program beside those of the test.
using Environment = std::map<std::string, std::string>;

struct Result {
  int status = -1;     // of the program's end; -1 when it did not end by itself
  std::string output;  // standard output
  std::string errors;  // standard error
};

// ktsvc as it was built with the test.
std::filesystem::path BuiltProgram();

class Program {
 public:
  // Starts it with these words: the one that was built with the test, or another.
  explicit Program(std::vector<std::string> words, const Environment& environment = {},
                   const std::filesystem::path& file = BuiltProgram());

  // Ends it when it still runs.
  ~Program();
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  // Waits for its end.
  Result Wait();

  // Waits until standard error holds the text; false when the program ended without it.
  bool WaitForError(const std::string& text);

  // Sends the signal (SIGINT ...); on POSIX systems.
  void Signal(int number);

  // The number of its process; on POSIX systems.
  [[nodiscard]] std::intptr_t Number() const;

  [[nodiscard]] std::string Output() const;
  [[nodiscard]] std::string Errors() const;

 private:
  class Process;  // the operating system's part

  bool HasEnded();

  ScratchFolder folder_;
  std::unique_ptr<Process> process_;
};

// Starts it with these words and waits for its end.
Result RunKtsvc(std::vector<std::string> words, const Environment& environment = {});

// The folder of the tests' own modules, and of those of the build.
std::filesystem::path TestModules();
std::filesystem::path BuiltModules();

// The words "run", "--module-folder" and the tests' own folder, then these.
std::vector<std::string> RunWords(const std::vector<std::string>& words);

// A variable that puts a folder with a harmless service manager first on the search path, so that
// no test touches the machine's services. It stands in the folder.
Environment HarmlessServices(const ScratchFolder& folder);

}  // namespace ktsvc_test
