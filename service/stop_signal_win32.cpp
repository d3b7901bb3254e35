#include <windows.h>

#include <chrono>

#include "stop_signal_source.h"
#include "stop_signal_win32.h"

namespace ktsvc {
namespace {

// The system calls the handler on a thread of its own, possibly while the target goes away, and
// ends the process when the handler of a close, log-off or shutdown notice returns.
struct Listener {
  std::mutex mutex;
  std::condition_variable gone;
  StopSignal* target = nullptr;
};

Listener& TheListener() {
  static Listener listener;
  return listener;
}

const char* NameOf(DWORD event) {
  switch (event) {
    case CTRL_C_EVENT:
      return "Ctrl-C";
    case CTRL_BREAK_EVENT:
      return "Ctrl-Break";
    case CTRL_CLOSE_EVENT:
      return "the console was closed";
    case CTRL_LOGOFF_EVENT:
      return "the user logs off";
    default:
      return "the system shuts down";
  }
}

}  // namespace

int __stdcall HandleConsoleEvent(unsigned long event) {
  // Longer than the system grants: it ends the process by itself.
  constexpr std::chrono::minutes kLongest{5};
  Listener& listener = TheListener();
  std::unique_lock lock(listener.mutex);
  if (listener.target == nullptr) {
    return FALSE;
  }
  listener.target->Request(NameOf(event));
  if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) {
    listener.gone.wait_for(lock, kLongest, [&listener] { return listener.target == nullptr; });
  }
  return TRUE;
}

namespace {

class ConsoleSource : public StopSignal::Source {
 public:
  explicit ConsoleSource(StopSignal& target) {
    {
      Listener& listener = TheListener();
      const std::lock_guard lock(listener.mutex);
      listener.target = &target;
    }
    SetConsoleCtrlHandler(nullptr, FALSE);  // a parent may have had Ctrl-C ignored
    SetConsoleCtrlHandler(&HandleConsoleEvent, TRUE);
  }

  ~ConsoleSource() override {
    {
      Listener& listener = TheListener();
      const std::lock_guard lock(listener.mutex);
      listener.target = nullptr;
      listener.gone.notify_all();
    }
    // Last: the system may hold its list of handlers while one of them runs.
    SetConsoleCtrlHandler(&HandleConsoleEvent, FALSE);
  }
  ConsoleSource(const ConsoleSource&) = delete;
  ConsoleSource& operator=(const ConsoleSource&) = delete;
};

}  // namespace

std::unique_ptr<StopSignal::Source> StopSignal::Source::Listen(StopSignal& target) {
  return std::make_unique<ConsoleSource>(target);
}

}  // namespace ktsvc
