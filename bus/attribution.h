// Who asks? The ledger puts what is handed out down to a provider.
//
// While a provider's function runs on a thread, everything asked for on that thread is that
// provider's. On other threads (a provider's own workers) the return address of the call is looked
// up among the address ranges of the known modules. Whatever is left is the host's.
#pragma once

#include <atomic>
#include <bit>
#include <cstdint>
#include <optional>
#include <vector>

#include "bus/ledger.h"
#include "bus/lock.h"
#include "bus/thread_local.h"

// The return address of the C function in which it stands.
#if defined(_MSC_VER)
#include <intrin.h>
#define KT_RETURN_ADDRESS() _ReturnAddress()
#else
#define KT_RETURN_ADDRESS() __builtin_return_address(0)
#endif

namespace kt::bus {

// [begin, end) of a loaded module.
struct ModuleRange {
  std::uintptr_t begin = 0;
  std::uintptr_t end = 0;
};

// The range of the loaded module around an address; nothing when there is none. This is the one
// question to the operating system here; module_range_posix.cpp and module_range_win32.cpp answer.
std::optional<ModuleRange> FindModuleRange(const void* address);

class ModuleTable {
 public:
  static ModuleTable& Get();

  // Remembers the range; one that overlaps an older one replaces it (the older was unloaded).
  void Add(ModuleRange range, Account& account) KT_EXCLUDES(lock_);

  // Forgets the range around the address; false when there is none.
  bool Forget(const void* address) KT_EXCLUDES(lock_);

  // The account of the module around the address, or null. The thread remembers it.
  Account* Find(const void* address) const KT_EXCLUDES(lock_);

  // The same without a lock, when it is the module that this thread asked for last, and nothing has
  // changed since; null otherwise. A thread's calls come from one module for long. Calls from no
  // module that is known are the host's, and remembered as well.
  static Account* Remembered(const void* address) noexcept;

 private:
  struct Entry {
    ModuleRange range;
    Account* account;
  };
  // Counts the changes, so that what a thread remembers can be told to be old. From 1: what a new
  // thread remembers, nothing, is old from the start.
  static inline constinit std::atomic<std::uint64_t> changes_{1};
  mutable SharedMutex lock_;
  std::vector<Entry> entries_ KT_GUARDED_BY(lock_);
};

// What a thread knows of itself.
struct Asking {
  Account* running = nullptr;  // whose function runs here; null: nobody's that is known
  // The module that was found last, and by how many changes of the table.
  std::uint64_t changes = 0;
  ModuleRange range;
  Account* account = nullptr;
};
extern constinit thread_local Asking asking KT_FOUND_BY_LOADS;

inline Account* ModuleTable::Remembered(const void* address) noexcept {
  const Asking& known = asking;
  const std::uintptr_t offset = std::bit_cast<std::uintptr_t>(address) - known.range.begin;
  if (offset >= known.range.end - known.range.begin) return nullptr;
  return known.changes == changes_.load(std::memory_order_acquire) ? known.account : nullptr;
}

// What Asker() does for a call from a module that this thread does not remember.
Account& AskerElsewhere(const void* return_address);

// The account to which a call with that return address is put down.
inline Account& Asker(const void* return_address) {
  if (Account* const running = asking.running) return *running;
  if (Account* const account = ModuleTable::Remembered(return_address)) return *account;
  return AskerElsewhere(return_address);
}

// Says for its life that this thread runs for the account: a provider's while one of its functions
// runs, the host's while a call-back of the host runs. Scopes nest.
class RunningAs {
 public:
  explicit RunningAs(Account& account) noexcept;
  ~RunningAs();
  RunningAs(const RunningAs&) = delete;
  RunningAs& operator=(const RunningAs&) = delete;

 private:
  Account* const previous_;
};

}  // namespace kt::bus
