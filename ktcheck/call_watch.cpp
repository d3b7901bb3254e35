#include "ktcheck/call_watch.h"

#include <array>
#include <string_view>
#include <utility>

#include "ktcheck/call_stack.h"

namespace ktcheck {
namespace {

// Whether it asks something of the database, which a module has left with its Shutdown. Memory,
// texts, property sets and its own locks are there until it is unloaded.
bool IsOfTheDatabase(std::string_view function) {
  return (function.starts_with("Db") || function.starts_with("Ob") || function.starts_with("Ev")) &&
         function != "ObCompareId";
}

// The numbers on the clock of the calls that run on this thread, the innermost last; of more than
// there is room for, only how many. Plain data: on Windows a thread's room may be gone before its
// objects are.
struct Running {
  std::array<std::uint64_t, 64> calls;
  std::size_t count;

  void Begin(CallClock& clock, const char* function) {
    if (count < calls.size()) calls[count] = clock.Begin(function);
    ++count;
  }
  void End(CallClock& clock) {
    --count;
    if (count < calls.size()) clock.End(calls[count]);
  }
};
constinit thread_local Running running{};

}  // namespace

CallWatch::CallWatch(std::string module, FindingSink sink, CallClock& clock)
    : module_(std::move(module)), sink_(std::move(sink)), clock_(clock) {}

bool CallWatch::Before(KtBusCall& call) {
  if (module_ != call.provider) return false;
  if (call.inward != 0) {
    running.Begin(clock_, call.function);
    return false;
  }
  calls_.fetch_add(1);
  // What a function is asked for late it may do.
  if (over_.load() && running.count == 0 && IsOfTheDatabase(call.function)) {
    sink_({"late-call",
           std::string(call.function) + " is called after Shutdown",
           {},
           {{"called here", ModuleFrames(CaptureStack())}},
           1});
  }
  return false;
}

void CallWatch::After(const KtBusCall& call) {
  if (module_ != call.provider || call.inward == 0 || running.count == 0) return;
  running.End(clock_);
  if (call.outcome == KTBUS_CALL_THREW) {
    sink_({"threw", std::string(call.function) + " let an exception out", {}, {}, 1});
  }
}

}  // namespace ktcheck
