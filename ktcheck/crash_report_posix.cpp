#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>

#include "ktcheck/call_stack.h"
#include "ktcheck/crash_line.h"
#include "ktcheck/crash_report.h"

namespace ktcheck {
namespace {

int report = -1;

std::string_view NameOf(int signal) noexcept {
  switch (signal) {
    case SIGSEGV:
      return "it touched memory that is not there (SIGSEGV)";
    case SIGBUS:
      return "it touched memory that is not there (SIGBUS)";
    case SIGILL:
      return "it ran code that is none (SIGILL)";
    case SIGFPE:
      return "it divided by zero or the like (SIGFPE)";
    default:
      return "the process was aborted (SIGABRT): an exception nobody caught, a damaged heap, a "
             "failed assertion";
  }
}

void Tell(int signal) {
  CrashLine line(NameOf(signal));
  const CallStack stack = CaptureStack();
  // Without this function, and what the system called it through.
  for (std::size_t i = 2; i < stack.size; ++i) {
    Dl_info info{};
    // NOLINTNEXTLINE(performance-no-int-to-ptr): an address of code, asked for and not followed
    const bool known = dladdr(reinterpret_cast<void*>(stack.frames[i]), &info) != 0;
    line.AddFrame(
        known && info.dli_fname != nullptr ? info.dli_fname : "?",
        stack.frames[i] - (known ? reinterpret_cast<std::uintptr_t>(info.dli_fbase) : 0U));
  }
  const std::string_view text = line.End();
  if (write(report, text.data(), text.size()) < 0) {
    _exit(1);  // nobody is left to be told
  }
  // The handler is gone by now: this ends the process as the signal does.
  static_cast<void>(raise(signal));
}

}  // namespace

void ReportCrashesTo(const std::filesystem::path& file) {
  report = open(file.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
  if (report < 0) throw std::system_error(errno, std::generic_category(), file.string());
  PrepareStacks();
  // A stack of its own: the thread's may be used up.
  static std::array<char, 131072> room;
  const stack_t other{room.data(), 0, room.size()};
  sigaltstack(&other, nullptr);
  struct sigaction action {};
  action.sa_handler = &Tell;
  action.sa_flags = static_cast<int>(SA_RESETHAND | SA_ONSTACK | SA_NODEFER);
  sigemptyset(&action.sa_mask);
  for (const int signal : {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT}) {
    sigaction(signal, &action, nullptr);
  }
}

}  // namespace ktcheck
