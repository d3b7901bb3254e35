// The operating system's part of Program; program_posix.cpp and program_win32.cpp hold it.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "service/program.h"

namespace ktsvc_test {

class Program::Process {
 public:
  Process(const std::filesystem::path& file, std::vector<std::string> words,
          const Environment& environment, const std::filesystem::path& output,
          const std::filesystem::path& errors);
  // Ends it when it still runs.
  ~Process();
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  // True when it has ended; Status() then holds its exit status, -1 when a signal ended it.
  bool HasEnded();
  [[nodiscard]] int Status() const noexcept { return status_; }

  [[nodiscard]] std::intptr_t Number() const noexcept { return id_; }

  void Signal(int number);

 private:
  // A process id, or a handle.
  std::intptr_t id_ = 0;
  bool ended_ = false;
  int status_ = -1;
};

}  // namespace ktsvc_test
