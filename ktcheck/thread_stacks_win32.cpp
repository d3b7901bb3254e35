#include <windows.h>
// windows.h must stand first.
#include <tlhelp32.h>

#include "ktcheck/thread_stacks.h"

namespace ktcheck {
namespace {

// The thread is stopped, and may hold any lock: nothing here allocates.
void Unwind(CONTEXT& context, CallStack& stack) noexcept {
  while (context.Rip != 0 && stack.size < stack.frames.size()) {
    stack.frames[stack.size] = context.Rip - (stack.size == 0 ? 0 : 1);
    ++stack.size;
    DWORD64 base = 0;
    const PRUNTIME_FUNCTION function = RtlLookupFunctionEntry(context.Rip, &base, nullptr);
    if (function == nullptr) {
      // A function without a frame of its own: the return address is on top.
      MEMORY_BASIC_INFORMATION memory{};
      if (VirtualQuery(reinterpret_cast<void*>(context.Rsp), &memory, sizeof(memory)) == 0 ||
          memory.State != MEM_COMMIT || (memory.Protect & (PAGE_NOACCESS | PAGE_GUARD)) != 0) {
        return;
      }
      context.Rip = *reinterpret_cast<DWORD64*>(context.Rsp);
      context.Rsp += sizeof(DWORD64);
      continue;
    }
    void* data = nullptr;
    DWORD64 frame = 0;
    RtlVirtualUnwind(UNW_FLAG_NHANDLER, base, context.Rip, function, &context, &data, &frame,
                     nullptr);
  }
}

CallStack Ask(DWORD thread) {
  CallStack stack;
  HANDLE handle = OpenThread(THREAD_SUSPEND_RESUME | THREAD_GET_CONTEXT | THREAD_QUERY_INFORMATION,
                             FALSE, thread);
  if (handle == nullptr) return stack;
  if (SuspendThread(handle) != static_cast<DWORD>(-1)) {
    CONTEXT context{};
    context.ContextFlags = CONTEXT_FULL;
    if (GetThreadContext(handle, &context) != FALSE) Unwind(context, stack);
    ResumeThread(handle);
  }
  CloseHandle(handle);
  return stack;
}

}  // namespace

std::uint64_t ThisThread() noexcept {
  return GetCurrentThreadId();
}

std::vector<ThreadStack> OtherThreads() {
  std::vector<ThreadStack> threads;
  HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
  if (snapshot == INVALID_HANDLE_VALUE) return threads;
  THREADENTRY32 entry{};
  entry.dwSize = sizeof(entry);
  for (BOOL more = Thread32First(snapshot, &entry); more != FALSE;
       more = Thread32Next(snapshot, &entry)) {
    if (entry.th32OwnerProcessID == GetCurrentProcessId() &&
        entry.th32ThreadID != GetCurrentThreadId()) {
      threads.push_back({entry.th32ThreadID, {}, false});
    }
  }
  CloseHandle(snapshot);
  for (ThreadStack& thread : threads) thread.stack = Ask(static_cast<DWORD>(thread.thread));
  return threads;
}

}  // namespace ktcheck
