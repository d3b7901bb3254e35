// The ledger counts what the framework has handed out and not got back: one account per provider
// name, one for the host. It belongs to the process, as memory and locks do.
//
// What is handed out and returned is counted by each thread for itself: a control takes and returns
// a few texts, and a count that all threads share costs more than the text. Every account has some
// stripes of counts; a thread has the stripe of one number, in all accounts, as long as it lives,
// and the next thread goes on counting in it. Threads beyond their number share the first stripe,
// and on Windows all do, since they could not give one back.
//
// Threads:   everything from any thread. Counting takes no lock.
// Ownership: accounts live as long as the process, so a plain pointer to one never dangles.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "bus/lock.h"
#include "bus/thread_local.h"

namespace kt::bus {

enum class Kind : std::uint8_t {
  kPropertySet,
  kRecord,
  kText,
  kBlock,
  kIterator,
  kLock,
  kRegistration,
  kDatabaseLock,
};
inline constexpr std::size_t kKinds = 8;

// The kind's name in ledger rows.
const char* KindText(Kind kind) noexcept;

// ---- Stripes ---------------------------------------------------------------------------------

inline constexpr std::size_t kStripes = 16;

// The one of the threads that have none of their own; its counts are atomic steps.
inline constexpr std::size_t kSharedStripe = 0;
inline constexpr std::size_t kNoStripeYet = kStripes;

// This thread's stripe.
extern constinit thread_local std::size_t own_stripe KT_FOUND_BY_LOADS;

// Gives this thread a stripe, when there is one left, and says which it has.
std::size_t TakeStripe() noexcept;

// Whether a thread of that stripe has it for itself: neither the shared one, nor none yet.
constexpr bool IsOwn(std::size_t stripe) noexcept {
  return stripe - 1 < kStripes - 1;
}
static_assert(kSharedStripe == 0 && kNoStripeYet == kStripes);
static_assert(!IsOwn(kSharedStripe) && IsOwn(1) && IsOwn(kStripes - 1) && !IsOwn(kNoStripeYet));

// ---- Accounts --------------------------------------------------------------------------------

class Account {
 public:
  // The counts of one kind, as they were at some moment each.
  struct Row {
    std::uint64_t total = 0;
    std::uint64_t outstanding = 0;
    std::uint64_t wrong_frees = 0;
    std::uint64_t overruns = 0;
  };

  explicit Account(std::string name) : name_(std::move(name)) {}

  [[nodiscard]] const std::string& name() const noexcept { return name_; }
  [[nodiscard]] Row row(Kind kind) const noexcept;
  [[nodiscard]] std::uint64_t exceptions() const noexcept { return exceptions_.load(); }

  void HandOut(Kind kind) noexcept { Add(&Stripe::total, kind); }
  void Return(Kind kind) noexcept { Add(&Stripe::returned, kind); }
  // The same for a thread that is known to have a stripe for itself.
  void HandOutAlone(Kind kind) noexcept { AddAlone(own_stripe, &Stripe::total, kind); }
  void ReturnAlone(Kind kind) noexcept { AddAlone(own_stripe, &Stripe::returned, kind); }
  void WrongFree(Kind kind) noexcept { wrong_frees_[Index(kind)].fetch_add(1); }
  void CountOverrun(Kind kind) noexcept { overruns_[Index(kind)].fetch_add(1); }
  void CountException() noexcept { exceptions_.fetch_add(1); }

 private:
  using Counts = std::array<std::atomic<std::uint64_t>, kKinds>;
  struct alignas(64) Stripe {
    Counts total{};
    Counts returned{};
  };

  static constexpr std::size_t Index(Kind kind) noexcept { return static_cast<std::size_t>(kind); }

  void Add(Counts Stripe::*counts, Kind kind) noexcept {
    if (IsOwn(own_stripe)) {
      AddAlone(own_stripe, counts, kind);
    } else {
      AddElsewhere(counts, kind);
    }
  }
  // In a stripe that nobody else counts in.
  void AddAlone(std::size_t stripe, Counts Stripe::*counts, Kind kind) noexcept {
    std::atomic<std::uint64_t>& count = (stripes_[stripe].*counts)[Index(kind)];
    count.store(count.load(std::memory_order_relaxed) + 1, std::memory_order_release);
  }
  // For a thread that has no stripe yet, or shares one.
  void AddElsewhere(Counts Stripe::*counts, Kind kind) noexcept;

  std::array<Stripe, kStripes> stripes_;
  Counts wrong_frees_{};
  Counts overruns_{};
  std::atomic<std::uint64_t> exceptions_{0};
  const std::string name_;
};

class Ledger {
 public:
  // The process's ledger; never destroyed, since providers may return things very late.
  static Ledger& Get();

  // The account of the host, and the account of a provider name (made on first use).
  Account& host() noexcept { return *host_; }
  Account& Of(std::string_view name) KT_EXCLUDES(lock_);

  // All accounts in the order of their first appearance, the host first.
  [[nodiscard]] std::vector<Account*> Accounts() const KT_EXCLUDES(lock_);

 private:
  Ledger();

  mutable SharedMutex lock_;
  std::vector<std::unique_ptr<Account>> accounts_ KT_GUARDED_BY(lock_);
  std::map<std::string, Account*, std::less<>> by_name_ KT_GUARDED_BY(lock_);
  Account* host_ = nullptr;
};

}  // namespace kt::bus
