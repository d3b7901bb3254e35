#include "ktcheck/call_watch.h"

#include <string_view>
#include <utility>
#include <vector>

#include "ktcheck/call_stack.h"

namespace ktcheck {
namespace {

// Whether it asks something of the database, which a module has left with its Shutdown. Memory,
// texts, property sets and its own locks are there until it is unloaded.
bool IsOfTheDatabase(std::string_view function) {
  return (function.starts_with("Db") || function.starts_with("Ob") || function.starts_with("Ev")) &&
         function != "ObCompareId";
}

// The number on the clock of the call that runs on this thread, the innermost last.
thread_local std::vector<std::uint64_t> running;

}  // namespace

CallWatch::CallWatch(std::string module, FindingSink sink, CallClock& clock)
    : module_(std::move(module)), sink_(std::move(sink)), clock_(clock) {}

bool CallWatch::Before(KtBusCall& call) {
  if (module_ != call.provider) return false;
  if (call.inward != 0) {
    running.push_back(clock_.Begin(call.function));
    return false;
  }
  calls_.fetch_add(1);
  // What a function is asked for late it may do.
  if (over_.load() && running.empty() && IsOfTheDatabase(call.function)) {
    sink_({"late-call",
           std::string(call.function) + " is called after Shutdown",
           {},
           {{"called here", ModuleFrames(CaptureStack())}},
           1});
  }
  return false;
}

void CallWatch::After(const KtBusCall& call) {
  if (module_ != call.provider || call.inward == 0 || running.empty()) return;
  clock_.End(running.back());
  running.pop_back();
  if (call.outcome == KTBUS_CALL_THREW) {
    sink_({"threw", std::string(call.function) + " let an exception out", {}, {}, 1});
  }
}

}  // namespace ktcheck
