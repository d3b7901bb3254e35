#include <dlfcn.h>
#include <execinfo.h>

#include <cstdint>
#include <cstdio>
#include <iterator>

#include "base/lock_watch.h"

namespace kt::lock_watch {

CallStack CurrentStack() noexcept {
  CallStack stack{};
  stack.count =
      static_cast<std::size_t>(backtrace(stack.frames, static_cast<int>(CallStack::kDepth)));
  return stack;
}

void WriteStack(const CallStack& stack, void (*write)(const char* line)) noexcept {
  for (std::size_t i = 0; i < stack.count; ++i) {
    Dl_info info{};
    const bool known = dladdr(stack.frames[i], &info) != 0 && info.dli_fname != nullptr;
    const auto base = known ? reinterpret_cast<std::uintptr_t>(info.dli_fbase) : 0;
    char line[512];
    static_cast<void>(std::snprintf(
        std::data(line), std::size(line), "  %s+0x%llx %s", known ? info.dli_fname : "?",
        static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(stack.frames[i]) - base),
        known && info.dli_sname != nullptr ? info.dli_sname : ""));
    write(std::data(line));
  }
}

}  // namespace kt::lock_watch
