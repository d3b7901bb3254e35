#include "platform/detached_command.h"

#include <fcntl.h>
#include <pthread.h>
#include <signal.h>  // NOLINT(modernize-deprecated-headers): sigaction is not in <csignal>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string_view>
#include <utility>

namespace kt {
namespace {

class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int number) noexcept : number_(number) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() { Reset(-1); }
  void Reset(int number) noexcept {
    if (number_ >= 0) close(number_);
    number_ = number;
  }
  [[nodiscard]] int get() const noexcept { return number_; }

 private:
  int number_ = -1;
};

bool IsProgram(const std::string& path) {
  struct stat facts {};
  return stat(path.c_str(), &facts) == 0 && S_ISREG(facts.st_mode) &&
         access(path.c_str(), X_OK) == 0;
}

// The file to run, or an empty text when PATH has none.
std::string FindProgram(const std::string& name) {
  if (name.find('/') != std::string::npos) return name;
  // NOLINTNEXTLINE(concurrency-mt-unsafe): nothing here changes the environment.
  const char* const path = std::getenv("PATH");
  std::string_view rest = path == nullptr ? "/usr/bin:/bin" : path;
  for (;;) {
    const std::size_t end = rest.find(':');
    const std::string_view folder = rest.substr(0, end);
    std::string candidate = folder.empty() ? "." : std::string(folder);
    candidate += "/" + name;
    if (IsProgram(candidate)) return candidate;
    if (end == std::string_view::npos) return {};
    rest.remove_prefix(end + 1);
  }
}

// ---- In the forked process, where nothing may be called that takes a lock.

void CloseBetween(unsigned first, unsigned last) noexcept {
  if (first > last) return;
  if (close_range(first, last, 0) == 0) return;
  // A kernel without that call. The number of descriptors is a plain read of a limit.
  const long limit = sysconf(_SC_OPEN_MAX);  // NOLINT(concurrency-mt-unsafe)
  for (unsigned number = first; number <= last && static_cast<long>(number) < limit; ++number) {
    close(static_cast<int>(number));
  }
}

// Reports the error number and ends the process.
[[noreturn]] void GiveUp(int report, int error) noexcept {
  static_cast<void>(!write(report, &error, sizeof error));
  _exit(127);
}

[[noreturn]] void RunProgram(const char* program, char* const* arguments, int report,
                             int nothing) noexcept {
  setsid();
  // Out of the way of the three numbers that are filled next; closed by a successful exec.
  const int kept = fcntl(report, F_DUPFD_CLOEXEC, 3);
  if (kept < 0) GiveUp(report, errno);
  const int blank = fcntl(nothing, F_DUPFD_CLOEXEC, 3);
  if (blank < 0) GiveUp(kept, errno);
  for (const int standard : {0, 1, 2}) {
    if (dup2(blank, standard) < 0) GiveUp(kept, errno);
  }
  CloseBetween(3, static_cast<unsigned>(kept) - 1);
  CloseBetween(static_cast<unsigned>(kept) + 1, ~0U);

  struct sigaction by_default {};
  by_default.sa_handler = SIG_DFL;
  for (int number = 1; number < NSIG; ++number) sigaction(number, &by_default, nullptr);
  sigset_t none;
  sigemptyset(&none);
  pthread_sigmask(SIG_SETMASK, &none, nullptr);

  execve(program, arguments, environ);
  GiveUp(kept, errno);
}

}  // namespace

int StartDetached(const std::vector<std::string>& words) {
  if (words.empty()) return EINVAL;
  const std::string program = FindProgram(words.front());
  if (program.empty()) return ENOENT;
  std::vector<char*> arguments;
  arguments.reserve(words.size() + 1);
  for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);

  const Descriptor nothing(open("/dev/null", O_RDWR | O_CLOEXEC));
  if (nothing.get() < 0) return errno;
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return errno;
  const Descriptor answer(ends[0]);
  Descriptor report(ends[1]);

  // No handler of the host's may run in the forked process.
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  const pid_t child = fork();
  if (child == 0) {
    // The program is the child of a child that ends at once, so it belongs to nobody here.
    const pid_t grandchild = fork();
    if (grandchild < 0) GiveUp(report.get(), errno);
    if (grandchild > 0) _exit(0);
    RunProgram(program.c_str(), arguments.data(), report.get(), nothing.get());
  }
  const int fork_error = errno;
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  if (child < 0) return fork_error;

  report.Reset(-1);
  while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
  }
  // The pipe ends without a word when the program runs.
  int error = 0;
  ssize_t count = 0;
  do {
    count = read(answer.get(), &error, sizeof error);
  } while (count < 0 && errno == EINTR);
  return count == static_cast<ssize_t>(sizeof error) ? error : 0;
}

}  // namespace kt
