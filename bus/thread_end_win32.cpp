#include "bus/thread_end.h"
#include "bus/thread_end_functions.h"

namespace kt::bus {
namespace {

// The system's own list of such values calls into modules that have gone.
struct ThisThread {
  ThisThread() = default;
  ThisThread(const ThisThread&) = delete;
  ThisThread& operator=(const ThisThread&) = delete;
  ~ThisThread() { functions.CallAll(); }

  ThreadEndFunctions functions;
};

}  // namespace

bool CallAtThreadEnd(void (*function)() noexcept) noexcept {
  thread_local ThisThread this_thread;
  return this_thread.functions.Add(function);
}

}  // namespace kt::bus
