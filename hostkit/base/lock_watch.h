// LockWatch: the order of locks (base/lock_order.h), checked while a debug build runs.
//
// clang checks the annotations, which know one class at a time. This here sees every path that is
// taken: a thread that is about to take a lock while it holds a later one, or any lock with a rank
// inside a leaf, is told with two call stacks: where it took the one that it holds, and where it is
// now. It is told before it waits for the lock, so that a deadlock that really happens is named.
//
// In a build without KT_WATCH_LOCKS (everything but Debug) locks call nothing of this.
//
// Threads: any; what a thread holds is known to that thread alone.
// Failure: nothing throws. A thread that holds more than 32 locks at once is not watched beyond
//          these.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kt {

// A lock's place. Locks without a rank, those of a provider's own, are not watched.
enum class LockRank : std::uint8_t {
  kNone,
  kEventManager,
  kActivity,
  kQueueList,
  kContainer,
  kLeaf,
};

namespace lock_watch {

// Return addresses, the innermost first.
struct CallStack {
  static constexpr std::size_t kDepth = 24;
  void* frames[kDepth];
  std::size_t count;
};

// Two locks in the wrong order, on one thread.
struct Broken {
  LockRank held;
  LockRank taken;
  const CallStack* heldSince;
  const CallStack* now;
};

// What happens then. The usual one writes both stacks to the trace at level 6 and ends the program.
using Handler = void (*)(const Broken& broken) noexcept;

// Sets another one and returns the former. Not while other threads take locks.
Handler SetHandler(Handler handler) noexcept;

// This thread is about to take the lock: where that breaks the order, the handler is called.
void Taking(const void* lock, LockRank rank) noexcept;

// The lock has been taken by this thread, once more or for the first time.
void Took(const void* lock, LockRank rank) noexcept;

// This thread is about to give the lock back once.
void Left(const void* lock) noexcept;

// "event manager", "activity", ...
const char* NameOf(LockRank rank) noexcept;

// The stack of the caller.
CallStack CurrentStack() noexcept;

// Writes one line for each frame, "  module+0x1234", through `write`. Addresses are turned into
// lines of the source by addr2line or a debugger.
void WriteStack(const CallStack& stack, void (*write)(const char* line)) noexcept;

}  // namespace lock_watch
}  // namespace kt
