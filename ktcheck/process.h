// Process: another program, started with its output in files, watched and ended.
//
// Threads:   one thread.
// Ownership: the destructor ends it when it still runs.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace ktcheck {

struct ProcessEnd {
  int status = 0;      // its exit status, when it ended by itself
  std::string killed;  // what ended it otherwise: "signal 11", "exception 0xC0000005"; or ""
};

class Process {
 public:
  // `words` without the program's name; both outputs go to the file, anew, and nothing can be read.
  // Throws std::runtime_error when it cannot be started.
  Process(const std::filesystem::path& program, const std::vector<std::string>& words,
          const std::filesystem::path& output);
  ~Process();
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  // How it ended; nothing when it still runs when the time is over.
  std::optional<ProcessEnd> WaitFor(std::chrono::milliseconds time);

  // Ends it.
  void Kill();

 private:
  std::optional<ProcessEnd> Ask();

  std::intptr_t id_ = 0;  // a process id, or a handle
  std::optional<ProcessEnd> end_;
};

// Makes a variable of this process, which those that it starts inherit.
void SetVariable(const std::string& name, const std::string& value);

// The variable's value, or "".
std::string Variable(const std::string& name);

}  // namespace ktcheck
