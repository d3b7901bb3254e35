#include "apptext/tool_posix.h"

#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <stdexcept>

#include "apptext/command_text.h"
#include "apptext/shell_scripts.h"

namespace apptext_test {

ToolRun RunTool(const std::vector<std::string>& words, const std::string& home) {
  std::string command = "env -i HOME=" + apptext::Quoted(home) +
                        " PATH=" + apptext::Quoted(home + ":/usr/local/bin:/usr/bin:/bin") +
                        " LC_ALL=C.UTF-8 TERM=dumb MANWIDTH=80";
  for (const std::string& word : words) {
    command += " " + apptext::Quoted(word);
  }
  FILE* const pipe = popen((command + " 2>&1 </dev/null").c_str(), "r");
  if (pipe == nullptr) {
    throw std::runtime_error("no pipe");
  }
  ToolRun run;
  std::array<char, 4096> block{};
  std::size_t count = 0;
  while ((count = fread(block.data(), 1, block.size(), pipe)) > 0) {
    run.output.append(block.data(), count);
  }
  const int status = pclose(pipe);
  run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return run;
}

std::vector<std::string> LinesOf(const std::string& text) {
  return apptext::Lines(text);
}

}  // namespace apptext_test
