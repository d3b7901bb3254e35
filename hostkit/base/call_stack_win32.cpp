#include <windows.h>

#include <cstdint>
#include <cstdio>
#include <iterator>

#include "base/lock_watch.h"

namespace kt::lock_watch {

CallStack CurrentStack() noexcept {
  CallStack stack{};
  stack.count =
      CaptureStackBackTrace(0, static_cast<DWORD>(CallStack::kDepth), stack.frames, nullptr);
  return stack;
}

void WriteStack(const CallStack& stack, void (*write)(const char* line)) noexcept {
  for (std::size_t i = 0; i < stack.count; ++i) {
    HMODULE module = nullptr;
    char name[MAX_PATH] = "?";
    if (GetModuleHandleExA(
            GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
            static_cast<const char*>(stack.frames[i]), &module) != 0) {
      GetModuleFileNameA(module, std::data(name), static_cast<DWORD>(std::size(name)));
    }
    char line[MAX_PATH + 32];
    static_cast<void>(std::snprintf(
        std::data(line), std::size(line), "  %s+0x%llx", std::data(name),
        static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(stack.frames[i]) -
                                        reinterpret_cast<std::uintptr_t>(module))));
    write(std::data(line));
  }
}

}  // namespace kt::lock_watch
