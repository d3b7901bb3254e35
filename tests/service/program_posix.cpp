#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <stdexcept>

#include "host_system.h"
#include "service/program_process.h"

namespace ktsvc_test {
namespace {

// The test's own variables, with these in their place.
std::vector<std::string> MergedEnvironment(const Environment& changes) {
  std::vector<std::string> merged;
  for (char** at = environ; *at != nullptr; ++at) {
    const std::string entry = *at;
    if (!changes.contains(entry.substr(0, entry.find('=')))) {
      merged.push_back(entry);
    }
  }
  for (const auto& [name, value] : changes) {
    merged.emplace_back(name).append("=").append(value);
  }
  return merged;
}

std::vector<char*> Pointers(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (std::string& text : texts) {
    pointers.push_back(text.data());
  }
  pointers.push_back(nullptr);
  return pointers;
}

}  // namespace

Program::Process::Process(const std::filesystem::path& file, std::vector<std::string> words,
                          const Environment& environment, const std::filesystem::path& output,
                          const std::filesystem::path& errors) {
  const std::string program = file.string();
  words.insert(words.begin(), program);
  std::vector<std::string> variables = MergedEnvironment(environment);

  constexpr int kFlags = O_WRONLY | O_CREAT | O_TRUNC;
  constexpr mode_t kMode = 0600;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, output.c_str(), kFlags, kMode);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, errors.c_str(), kFlags, kMode);
  pid_t child = 0;
  const int error = posix_spawn(&child, program.c_str(), &actions, nullptr, Pointers(words).data(),
                                Pointers(variables).data());
  posix_spawn_file_actions_destroy(&actions);
  if (error != 0) {
    throw std::runtime_error("cannot start " + program);
  }
  id_ = child;
}

Program::Process::~Process() {
  if (!HasEnded()) {
    Signal(SIGKILL);
    waitpid(static_cast<pid_t>(id_), nullptr, 0);
  }
}

bool Program::Process::HasEnded() {
  int status = 0;
  if (!ended_ && waitpid(static_cast<pid_t>(id_), &status, WNOHANG) != 0) {
    ended_ = true;
    status_ = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
  return ended_;
}

void Program::Process::Signal(int number) {
  kill(static_cast<pid_t>(id_), number);
}

Environment HarmlessServices(const ScratchFolder& folder) {
  const std::filesystem::path program = folder.Write("systemctl", "#!/bin/sh\nexit 0\n");
  std::filesystem::permissions(program, std::filesystem::perms::owner_all);
  // NOLINTNEXTLINE(concurrency-mt-unsafe): nobody changes the environment
  const char* path = std::getenv("PATH");
  return {{"PATH", folder.path().string() + ":" + (path == nullptr ? "" : path)}};
}

}  // namespace ktsvc_test
