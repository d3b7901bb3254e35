#include "bus/ledger.h"

namespace kt::bus {

const char* KindText(Kind kind) noexcept {
  static constexpr std::array<const char*, kKinds> kTexts{
      "property sets", "records", "texts",         "blocks",
      "iterators",     "locks",   "registrations", "database locks held"};
  return kTexts[static_cast<std::size_t>(kind)];
}

std::uint64_t Account::Row::Outstanding() const noexcept {
  // What was returned is read first: a thing counts as handed out before it can come back, so the
  // difference cannot fall below zero while others count.
  const std::uint64_t back = returned.load();
  return total.load() - back;
}

Ledger& Ledger::Get() {
  static Ledger* const ledger = new Ledger;
  return *ledger;
}

Ledger::Ledger() {
  accounts_.push_back(std::make_unique<Account>(""));
  host_ = accounts_.front().get();
  by_name_.emplace("", host_);
}

Account& Ledger::Of(std::string_view name) {
  {
    const ReadGuard guard(lock_);
    if (const auto found = by_name_.find(name); found != by_name_.end()) return *found->second;
  }
  const WriteGuard guard(lock_);
  if (const auto found = by_name_.find(name); found != by_name_.end()) return *found->second;
  auto made = std::make_unique<Account>(std::string(name));
  Account& account = *made;
  accounts_.reserve(accounts_.size() + 1);
  by_name_.emplace(account.name(), &account);
  accounts_.push_back(std::move(made));  // does not throw
  return account;
}

std::vector<Account*> Ledger::Accounts() const {
  const ReadGuard guard(lock_);
  std::vector<Account*> accounts;
  accounts.reserve(accounts_.size());
  for (const auto& account : accounts_) accounts.push_back(account.get());
  return accounts;
}

}  // namespace kt::bus
