#include "bus/attribution.h"

#include <algorithm>
#include <bit>

namespace kt::bus {
namespace {

thread_local Account* running_account = nullptr;

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
  std::erase_if(entries_, [&](const Entry& entry) {
    return entry.range.begin < range.end && range.begin < entry.range.end;
  });
  entries_.push_back({range, &account});
}

bool ModuleTable::Forget(const void* address) {
  const std::uintptr_t number = Number(address);
  const WriteGuard guard(lock_);
  return std::erase_if(entries_, [&](const Entry& entry) {
           return entry.range.begin <= number && number < entry.range.end;
         }) != 0;
}

Account* ModuleTable::Find(const void* address) const {
  const std::uintptr_t number = Number(address);
  const ReadGuard guard(lock_);
  for (const Entry& entry : entries_) {
    if (entry.range.begin <= number && number < entry.range.end) return entry.account;
  }
  return nullptr;
}

Account& Asker(const void* return_address) {
  if (running_account != nullptr) return *running_account;
  if (Account* const account = ModuleTable::Get().Find(return_address)) return *account;
  return Ledger::Get().host();
}

RunningAs::RunningAs(Account& account) noexcept : previous_(running_account) {
  running_account = &account;
}

RunningAs::~RunningAs() {
  running_account = previous_;
}

}  // namespace kt::bus
