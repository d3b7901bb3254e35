#include "ktcheck/control_watch.h"

#include <string_view>

namespace ktcheck {

bool ControlWatch::Before(KtBusCall& call) {
  if (module_ != call.provider) return false;
  const std::lock_guard lock(mutex_);
  if (call.inward != 0) {
    if (std::string_view(call.function) == "Control") {
      runs_ = true;
      thread_ = call.thread;
    }
    return false;
  }
  if (!runs_ || call.thread != thread_ || IsCallOf(call, "KtTrace")) return false;
  ++calls_;
  if (IsCallOf(call, "PsFindProperty") && input_ != nullptr &&
      call.arguments[0].value == reinterpret_cast<std::uintptr_t>(input_)) {
    const auto* const name = PointerIn<const char*>(call.arguments[1]);
    if (name != nullptr) names_.insert(name);
  }
  return false;
}

void ControlWatch::After(const KtBusCall& call) {
  if (call.inward == 0 || module_ != call.provider) return;
  const std::lock_guard lock(mutex_);
  if (call.thread == thread_) runs_ = false;
}

void ControlWatch::Begin(KtPropset input) {
  const std::lock_guard lock(mutex_);
  input_ = input;
  calls_ = 0;
  names_.clear();
}

std::uint64_t ControlWatch::calls() const {
  const std::lock_guard lock(mutex_);
  return calls_;
}

std::set<std::string> ControlWatch::names() const {
  const std::lock_guard lock(mutex_);
  return names_;
}

}  // namespace ktcheck
