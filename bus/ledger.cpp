#include "bus/ledger.h"

#include <bit>
#include <utility>

#include "bus/thread_end.h"

namespace kt::bus {

const char* KindText(Kind kind) noexcept {
  static constexpr std::array<const char*, kKinds> kTexts{
      "property sets", "records", "texts",         "blocks",
      "iterators",     "locks",   "registrations", "database locks held"};
  return kTexts[static_cast<std::size_t>(kind)];
}

// ---- Stripes ---------------------------------------------------------------------------------

constinit thread_local std::size_t own_stripe KT_FOUND_BY_LOADS = kNoStripeYet;

namespace {

// A bit for each stripe that a thread has. What its former thread counted is seen by the next.
constinit std::atomic<std::uint32_t> g_taken{1U << kSharedStripe};
static_assert(kStripes <= 32);

void GiveStripeBack() noexcept {
  // Whatever else ends with the thread may still count.
  const std::size_t stripe = std::exchange(own_stripe, kSharedStripe);
  if (stripe == kSharedStripe) return;
  g_taken.fetch_and(~(std::uint32_t{1} << stripe), std::memory_order_release);
}

}  // namespace

std::size_t TakeStripe() noexcept {
  own_stripe = kSharedStripe;
  if (!CallAtThreadEnd(&GiveStripeBack)) return own_stripe;
  std::uint32_t taken = g_taken.load(std::memory_order_relaxed);
  while (taken != (std::uint64_t{1} << kStripes) - 1) {
    const auto free = static_cast<std::size_t>(std::countr_one(taken));
    if (!g_taken.compare_exchange_weak(taken, taken | (std::uint32_t{1} << free),
                                       std::memory_order_acquire, std::memory_order_relaxed)) {
      continue;
    }
    own_stripe = free;
    break;
  }
  return own_stripe;
}

// ---- Accounts --------------------------------------------------------------------------------

void Account::AddElsewhere(Counts Stripe::*counts, Kind kind) noexcept {
  const std::size_t stripe = own_stripe == kNoStripeYet ? TakeStripe() : own_stripe;
  if (IsOwn(stripe)) return AddAlone(stripe, counts, kind);
  (stripes_[stripe].*counts)[Index(kind)].fetch_add(1);
}

Account::Row Account::row(Kind kind) const noexcept {
  const std::size_t index = Index(kind);
  Row row;
  // What was returned is read first: a thing counts as handed out before it can come back, so the
  // difference cannot fall below zero while others count.
  std::uint64_t returned = 0;
  for (const Stripe& stripe : stripes_) returned += stripe.returned[index].load();
  for (const Stripe& stripe : stripes_) row.total += stripe.total[index].load();
  row.outstanding = row.total - returned;
  row.wrong_frees = wrong_frees_[index].load();
  row.overruns = overruns_[index].load();
  return row;
}

// ---- The ledger ------------------------------------------------------------------------------

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
