#include "base/lock_watch.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <utility>

#include "base/trace.h"

namespace kt::lock_watch {
namespace {

struct Held {
  const void* lock;
  LockRank rank;
  CallStack since;
};

// Plain data: a thread's end has nothing to destroy.
struct HeldLocks {
  Held locks[32];
  std::size_t count;
};

thread_local HeldLocks t_held;

void TellAndEnd(const Broken& broken) noexcept {
  const auto line = [](const char* text) { KtTrace(kError, "%s", text); };
  KtTrace(kError, "%S: ERROR: the lock \"%s\" is taken while \"%s\" is held", ModuleName(),
          NameOf(broken.taken), NameOf(broken.held));
  KtTrace(kError, "%S: ERROR: it is held since", ModuleName());
  WriteStack(*broken.heldSince, line);
  KtTrace(kError, "%S: ERROR: and the other one is taken here", ModuleName());
  WriteStack(*broken.now, line);
  std::abort();
}

Handler g_handler = &TellAndEnd;

bool MayBeTakenUnder(LockRank taken, LockRank held) {
  return held != LockRank::kLeaf && taken > held;
}

}  // namespace

Handler SetHandler(Handler handler) noexcept {
  return std::exchange(g_handler, handler);
}

void Taking(const void* lock, LockRank rank) noexcept {
  const HeldLocks& held = t_held;
  if (rank == LockRank::kNone || held.count == std::size(held.locks)) return;
  const Held* const end = held.locks + held.count;
  const bool again =
      std::any_of(held.locks, end, [lock](const Held& each) { return each.lock == lock; });
  if (again) return;
  const Held* const wrong = std::find_if(
      held.locks, end, [rank](const Held& each) { return !MayBeTakenUnder(rank, each.rank); });
  if (wrong == end) return;
  const CallStack now = CurrentStack();
  g_handler({wrong->rank, rank, &wrong->since, &now});
}

void Took(const void* lock, LockRank rank) noexcept {
  HeldLocks& held = t_held;
  if (rank == LockRank::kNone || held.count == std::size(held.locks)) return;
  held.locks[held.count] = {lock, rank, CurrentStack()};
  ++held.count;
}

void Left(const void* lock) noexcept {
  HeldLocks& held = t_held;
  // The last time it was taken; locks need not be given back in order.
  for (std::size_t i = held.count; i-- > 0;) {
    if (held.locks[i].lock == lock) {
      std::copy(held.locks + i + 1, held.locks + held.count, held.locks + i);
      --held.count;
      return;
    }
  }
}

const char* NameOf(LockRank rank) noexcept {
  static constexpr const char* kNames[] = {"unranked",   "event manager", "activity",
                                           "queue list", "container",     "leaf"};
  return kNames[static_cast<std::size_t>(rank)];
}

}  // namespace kt::lock_watch
