// The C library's functions are defined here once more, in front of its own. A module's calls come
// here since the system looks for a function in the program first.
#include "ktcheck/allocation_watch.h"

#include <dlfcn.h>
#include <execinfo.h>
#include <pthread.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <cerrno>
#include <limits>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>

#include "ktbus3/ktbus3_host.h"
#include "ktcheck/memory_level.h"

// ---- The library's own -------------------------------------------------------------------------

// What they are called there stands behind; the names here are this program's.
extern "C" {
void* LibraryMalloc(std::size_t size) __asm__("__libc_malloc");
void* LibraryCalloc(std::size_t count, std::size_t size) __asm__("__libc_calloc");
void* LibraryRealloc(void* block, std::size_t size) __asm__("__libc_realloc");
void* LibraryAlign(std::size_t alignment, std::size_t size) __asm__("__libc_memalign");
void LibraryFree(void* block) __asm__("__libc_free");
}

namespace ktcheck {
namespace {

struct Block {
  std::size_t size = 0;
  CallStack stack;
  bool by_module = true;
};

struct Watch {
  std::mutex mutex;
  CodePlace program;
  CodePlace framework;
  std::array<CodePlace, 3> libraries;  // of the run-time
  bool counts = false;
  bool remembers = false;
  std::uint64_t failing = 0;
  AllocationCount count;
  std::uint64_t bytes = 0;
  std::unordered_map<void*, Block> blocks;
};

// Never taken down: memory is allocated and freed until the end.
Watch& TheWatch() {
  static auto* const watch = new Watch;
  return *watch;
}

// Whether anything is watched at all; most of the time nothing is.
std::atomic<bool> watching{false};

// Set while this thread is in here: what the watching allocates is not watched.
[[gnu::tls_model("initial-exec")]] thread_local bool inside = false;

class Inside {
 public:
  Inside() noexcept { inside = true; }
  ~Inside() { inside = false; }
  Inside(const Inside&) = delete;
  Inside& operator=(const Inside&) = delete;
};

bool IsWatched() noexcept {
  return watching.load(std::memory_order_acquire) && !inside;
}

// ---- Whose an allocation is --------------------------------------------------------------------

enum class Maker { kSomebody, kLibraryForModule, kModule };

Maker MakerOf(const Watch& watch, const CallStack& stack) {
  const auto is_run_time = [&](std::uintptr_t address) {
    return watch.program.Holds(address) ||  // the functions below
           std::any_of(watch.libraries.begin(), watch.libraries.end(),
                       [&](const CodePlace& library) { return library.Holds(address); });
  };
  bool direct = true;
  for (std::size_t i = 0; i < stack.size; ++i) {
    const std::uintptr_t address = stack.frames[i];
    if (IsInModule(address)) return direct ? Maker::kModule : Maker::kLibraryForModule;
    if (watch.framework.Holds(address)) return Maker::kSomebody;
    direct = direct && is_run_time(address);
  }
  return Maker::kSomebody;
}

// Deep enough to come through the C++ library, and no deeper: it is done for each allocation.
CallStack NearStack() noexcept {
  std::array<void*, 24> addresses{};
  const int count = backtrace(addresses.data(), static_cast<int>(addresses.size()));
  CallStack stack;
  for (int i = 1; i < count; ++i) {
    stack.frames[stack.size++] =
        std::bit_cast<std::uintptr_t>(addresses[static_cast<std::size_t>(i)]) - 1;
  }
  return stack;
}

// ---- What happens at an allocation -------------------------------------------------------------

struct Decision {
  bool fails = false;
  bool is_kept_in_mind = false;
  bool by_module = false;
  CallStack stack;
};

Decision Decide() {
  const Inside here;
  Decision decision{false, false, false, NearStack()};
  Watch& watch = TheWatch();
  const std::lock_guard lock(watch.mutex);
  const Maker maker = MakerOf(watch, decision.stack);
  decision.is_kept_in_mind = watch.remembers && maker != Maker::kSomebody;
  decision.by_module = maker == Maker::kModule;
  if (!watch.counts || maker != Maker::kModule) return decision;
  if (++watch.count.made != watch.failing) return decision;
  decision.fails = true;
  ++watch.count.failed;
  watch.count.failed_at = decision.stack;
  return decision;
}

void KeepBlock(void* block, const Block& kept) {
  const Inside here;
  Watch& watch = TheWatch();
  const std::lock_guard lock(watch.mutex);
  if (!watch.remembers) return;
  watch.bytes += kept.size;
  watch.blocks.insert_or_assign(block, kept);
}

std::optional<Block> ForgetBlock(void* block) {
  if (block == nullptr || !IsWatched()) return std::nullopt;
  const Inside here;
  Watch& watch = TheWatch();
  const std::lock_guard lock(watch.mutex);
  const auto found = watch.blocks.find(block);
  if (found == watch.blocks.end()) return std::nullopt;
  const Block forgotten = found->second;
  watch.bytes -= forgotten.size;
  watch.blocks.erase(found);
  return forgotten;
}

template <typename Function>
void* Allocate(std::size_t size, Function function) {
  if (!IsWatched()) return function();
  const Decision decision = Decide();
  if (decision.fails) {
    errno = ENOMEM;
    return nullptr;
  }
  void* const block = function();
  if (block != nullptr && decision.is_kept_in_mind) {
    KeepBlock(block, {size, decision.stack, decision.by_module});
  }
  return block;
}

void* Resize(void* block, std::size_t size) {
  if (!IsWatched()) return LibraryRealloc(block, size);
  const Decision decision = Decide();
  if (decision.fails) {
    errno = ENOMEM;
    return nullptr;
  }
  // Before the library takes it: another thread may be given the same address.
  const auto before = ForgetBlock(block);
  void* const resized = LibraryRealloc(block, size);
  if (resized == nullptr) {
    if (size != 0 && before) KeepBlock(block, *before);
  } else if (decision.is_kept_in_mind) {
    KeepBlock(resized, {size, decision.stack, decision.by_module});
  }
  return resized;
}

// ---- The places --------------------------------------------------------------------------------

CodePlace PlaceOfFunction(const char* name) {
  return PlaceOf(std::bit_cast<std::uintptr_t>(dlsym(RTLD_DEFAULT, name))).value_or(CodePlace{});
}

void LookForPlaces(Watch& watch) {
  PrepareStacks();
  watch.program = PlaceOf(reinterpret_cast<std::uintptr_t>(&LookForPlaces)).value_or(CodePlace{});
  watch.framework =
      PlaceOf(reinterpret_cast<std::uintptr_t>(&KtBusVisitLedger)).value_or(CodePlace{});
  watch.libraries = {PlaceOfFunction("__libc_malloc"), PlaceOfFunction("_Znwm"),
                     PlaceOfFunction("_Unwind_RaiseException")};
}

// A child that was forked off has none of the threads, and one of them may be in here.
void WatchNoChildren() {
  static const int kDone =
      pthread_atfork(nullptr, nullptr, [] { watching.store(false, std::memory_order_release); });
  static_cast<void>(kDone);
}

}  // namespace

bool AllocationsAreSeen() noexcept {
  return true;
}

void CountAllocations(std::uint64_t failing) {
  WatchNoChildren();
  Watch& watch = TheWatch();
  const Inside here;
  const std::lock_guard lock(watch.mutex);
  LookForPlaces(watch);
  watch.counts = true;
  watch.failing = failing;
  watch.count = {};
  watching.store(true, std::memory_order_release);
}

AllocationCount AllocationsCounted() {
  Watch& watch = TheWatch();
  const Inside here;
  const std::lock_guard lock(watch.mutex);
  watch.counts = false;
  watching.store(watch.remembers, std::memory_order_release);
  return watch.count;
}

void RememberAllocations() {
  WatchNoChildren();
  Watch& watch = TheWatch();
  const Inside here;
  const std::lock_guard lock(watch.mutex);
  LookForPlaces(watch);
  watch.remembers = true;
  watching.store(true, std::memory_order_release);
}

void ForgetAllocations() {
  Watch& watch = TheWatch();
  const Inside here;
  const std::lock_guard lock(watch.mutex);
  watch.blocks.clear();
  watch.bytes = 0;
}

std::vector<KeptMemory> MostKept() {
  std::vector<KeptMemory> most;
  const Inside here;
  {
    std::map<std::vector<std::uintptr_t>, KeptMemory> by_place;
    Watch& watch = TheWatch();
    const std::lock_guard lock(watch.mutex);
    for (const auto& [block, kept] : watch.blocks) {
      const auto& frames = kept.stack.frames;
      KeptMemory& sum = by_place[{frames.begin(), frames.begin() + kept.stack.size}];
      sum.bytes += kept.size;
      ++sum.blocks;
      sum.stack = kept.stack;
      sum.by_module = kept.by_module;
    }
    for (const auto& [frames, sum] : by_place) most.push_back(sum);
  }
  std::sort(most.begin(), most.end(), [](const KeptMemory& left, const KeptMemory& right) {
    return left.bytes > right.bytes;
  });
  return most;
}

std::optional<std::uint64_t> MemoryInUse() {
  Watch& watch = TheWatch();
  const Inside here;
  const std::lock_guard lock(watch.mutex);
  return watch.bytes;
}

}  // namespace ktcheck

// ---- In front of the library -------------------------------------------------------------------

// They must be found by modules, whatever is hidden otherwise.
#define KT_IN_FRONT extern "C" [[gnu::visibility("default")]]

KT_IN_FRONT void* malloc(std::size_t size) {
  return ktcheck::Allocate(size, [&] { return LibraryMalloc(size); });
}

KT_IN_FRONT void* calloc(std::size_t count, std::size_t size) {
  // The library refuses what is too large.
  return ktcheck::Allocate(count * size, [&] { return LibraryCalloc(count, size); });
}

KT_IN_FRONT void* realloc(void* block, std::size_t size) {
  return ktcheck::Resize(block, size);
}

KT_IN_FRONT void* reallocarray(void* block, std::size_t count, std::size_t size) {
  if (size != 0 && count > std::numeric_limits<std::size_t>::max() / size) {
    errno = ENOMEM;
    return nullptr;
  }
  return ktcheck::Resize(block, count * size);
}

KT_IN_FRONT void* memalign(std::size_t alignment, std::size_t size) {
  return ktcheck::Allocate(size, [&] { return LibraryAlign(alignment, size); });
}

KT_IN_FRONT void* aligned_alloc(std::size_t alignment, std::size_t size) {
  return ktcheck::Allocate(size, [&] { return LibraryAlign(alignment, size); });
}

KT_IN_FRONT int posix_memalign(void** block, std::size_t alignment, std::size_t size) {
  if (!std::has_single_bit(alignment) || alignment % sizeof(void*) != 0) return EINVAL;
  void* const made = ktcheck::Allocate(size, [&] { return LibraryAlign(alignment, size); });
  if (made == nullptr) return ENOMEM;
  *block = made;
  return 0;
}

KT_IN_FRONT void free(void* block) {
  static_cast<void>(ktcheck::ForgetBlock(block));
  LibraryFree(block);
}
