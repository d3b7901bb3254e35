// Runs a tool of the system, which CMake has found.
#pragma once

#include <string>
#include <vector>

namespace apptext_test {

struct ToolRun {
  int status = -1;
  std::string output;  // standard output and error
};

// Runs the words, each as it stands, and waits for the end. The environment has a HOME of its own
// (`home`) and no language; a program "sample" in that folder is found by its name.
ToolRun RunTool(const std::vector<std::string>& words, const std::string& home);

std::vector<std::string> LinesOf(const std::string& text);

}  // namespace apptext_test
