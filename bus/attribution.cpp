#include "bus/attribution.h"

#include <algorithm>
#include <bit>
#include <limits>

namespace kt::bus {

constinit thread_local Asking asking KT_FOUND_BY_LOADS;

namespace {

std::uintptr_t Number(const void* address) noexcept {
  return std::bit_cast<std::uintptr_t>(address);
}

}  // namespace

ModuleTable& ModuleTable::Get() {
  static ModuleTable* const table = new ModuleTable;
  return *table;
}

void ModuleTable::Add(ModuleRange range, Account& account) {
  const WriteGuard guard(lock_);
  entries_.reserve(entries_.size() + 1);
  changes_.fetch_add(1, std::memory_order_release);
  std::erase_if(entries_, [&](const Entry& entry) {
    return entry.range.begin < range.end && range.begin < entry.range.end;
  });
  entries_.push_back({range, &account});
}

bool ModuleTable::Forget(const void* address) {
  const std::uintptr_t number = Number(address);
  const WriteGuard guard(lock_);
  changes_.fetch_add(1, std::memory_order_release);
  return std::erase_if(entries_, [&](const Entry& entry) {
           return entry.range.begin <= number && number < entry.range.end;
         }) != 0;
}

Account* ModuleTable::Find(const void* address) const {
  const std::uintptr_t number = Number(address);
  const ReadGuard guard(lock_);
  // Where there is no module, the gap between its neighbours is what is remembered.
  ModuleRange range{0, std::numeric_limits<std::uintptr_t>::max()};
  Account* account = nullptr;
  for (const Entry& entry : entries_) {
    if (entry.range.end <= number) {
      range.begin = std::max(range.begin, entry.range.end);
    } else if (number < entry.range.begin) {
      range.end = std::min(range.end, entry.range.begin);
    } else {
      range = entry.range;
      account = entry.account;
      break;
    }
  }
  asking.range = range;
  asking.account = account == nullptr ? &Ledger::Get().host() : account;
  asking.changes = changes_.load(std::memory_order_relaxed);
  return account;
}

Account& AskerElsewhere(const void* return_address) {
  if (Account* const account = ModuleTable::Get().Find(return_address)) return *account;
  return Ledger::Get().host();
}

RunningAs::RunningAs(Account& account) noexcept : previous_(asking.running) {
  asking.running = &account;
}

RunningAs::~RunningAs() {
  asking.running = previous_;
}

}  // namespace kt::bus
