#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <system_error>

#include "ktcheck/process.h"

namespace ktcheck {

Process::Process(const std::filesystem::path& program, const std::vector<std::string>& words,
                 const std::filesystem::path& output) {
  std::vector<std::string> texts{program.string()};
  texts.insert(texts.end(), words.begin(), words.end());
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, output.c_str(),
                                   O_WRONLY | O_CREAT | O_TRUNC | O_APPEND, 0600);
  posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
  pid_t child = 0;
  const int error =
      posix_spawnp(&child, program.c_str(), &actions, nullptr, pointers.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (error != 0) {
    throw std::runtime_error("cannot start " + program.string() + ": " +
                             std::generic_category().message(error));
  }
  id_ = child;
}

Process::~Process() {
  Kill();
}

std::optional<ProcessEnd> Process::Ask() {
  int status = 0;
  if (!end_ && waitpid(static_cast<pid_t>(id_), &status, WNOHANG) > 0) {
    end_.emplace();
    if (WIFEXITED(status)) {
      end_->status = WEXITSTATUS(status);
    } else {
      end_->killed = "signal " + std::to_string(WTERMSIG(status));
    }
  }
  return end_;
}

void Process::Kill() {
  if (Ask()) return;
  kill(static_cast<pid_t>(id_), SIGKILL);
  while (waitpid(static_cast<pid_t>(id_), nullptr, 0) < 0 && errno == EINTR) {
  }
  end_ = ProcessEnd{0, "signal 9"};
}

// NOLINTBEGIN(concurrency-mt-unsafe): asked by the main thread, before there are others
void SetVariable(const std::string& name, const std::string& value) {
  if (setenv(name.c_str(), value.c_str(), 1) != 0) {
    throw std::system_error(errno, std::generic_category(), name + " cannot be set");
  }
}

std::string Variable(const std::string& name) {
  const char* const value = std::getenv(name.c_str());
  return value == nullptr ? std::string() : std::string(value);
}
// NOLINTEND(concurrency-mt-unsafe)

}  // namespace ktcheck
