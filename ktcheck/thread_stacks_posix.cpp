#include <semaphore.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

#include "ktcheck/thread_stacks.h"

namespace ktcheck {
namespace {

std::atomic<std::uint64_t> asked{0};  // the thread that is to answer; 0: none
CallStack answer;
sem_t answered;

int AskingSignal() {
  return SIGRTMIN + 7;
}

// Runs on the thread that is asked.
void Answer(int /*signal*/) {
  const int kept = errno;
  std::uint64_t self = ThisThread();
  if (asked.compare_exchange_strong(self, 0)) {
    answer = CaptureStack();
    sem_post(&answered);
  }
  errno = kept;
}

void InstallOnce() {
  static const bool kDone = [] {
    sem_init(&answered, 0, 0);
    struct sigaction action {};
    action.sa_handler = &Answer;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    sigaction(AskingSignal(), &action, nullptr);
    return true;
  }();
  static_cast<void>(kDone);
}

// Whether the thread does not let itself be asked: helpers of some run-time libraries do not.
bool BlocksAsking(std::uint64_t thread) {
  constexpr std::string_view kBlocked = "SigBlk:\t";
  std::ifstream status("/proc/self/task/" + std::to_string(thread) + "/status");
  for (std::string line; std::getline(status, line);) {
    if (!line.starts_with(kBlocked)) continue;
    std::uint64_t mask = 0;
    std::from_chars(line.data() + kBlocked.size(), line.data() + line.size(), mask, 16);
    return (mask >> static_cast<unsigned>(AskingSignal() - 1) & 1U) != 0;
  }
  return false;
}

bool WaitForAnswer() {
  timespec end{};
  clock_gettime(CLOCK_REALTIME, &end);
  end.tv_sec += 10;
  while (sem_timedwait(&answered, &end) != 0) {
    if (errno != EINTR) return false;
  }
  return true;
}

// The stack without the handler, and what the system called it through.
CallStack WithoutHandler(const CallStack& stack) {
  constexpr std::size_t kHandler = 2;
  CallStack rest;
  for (std::size_t i = kHandler; i < stack.size; ++i) rest.frames[rest.size++] = stack.frames[i];
  return rest;
}

CallStack Ask(std::uint64_t thread) {
  asked.store(thread);
  if (syscall(SYS_tgkill, getpid(), static_cast<pid_t>(thread), AskingSignal()) != 0) {
    asked.store(0);
    return {};
  }
  if (!WaitForAnswer()) {
    // It has not begun to answer, and is not to begin now; or it is just about to be done.
    if (asked.exchange(0) != 0) return {};
    sem_wait(&answered);
  }
  return WithoutHandler(answer);
}

}  // namespace

std::uint64_t ThisThread() noexcept {
  return static_cast<std::uint64_t>(syscall(SYS_gettid));
}

std::vector<ThreadStack> OtherThreads() {
  InstallOnce();
  PrepareStacks();
  std::vector<ThreadStack> threads;
  std::error_code ignored;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task", ignored)) {
    const std::string name = entry.path().filename().string();
    std::uint64_t thread = 0;
    std::from_chars(name.data(), name.data() + name.size(), thread);
    if (thread == 0 || thread == ThisThread()) continue;
    const bool blocks = BlocksAsking(thread);
    threads.push_back({thread, blocks ? CallStack{} : Ask(thread), blocks});
  }
  return threads;
}

}  // namespace ktcheck
