// The ledger counts what the framework has handed out and not got back: one account per provider
// name, one for the host. It belongs to the process, as memory and locks do.
//
// Threads:   everything from any thread. Counting is one atomic step each.
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

class Account {
 public:
  struct Row {
    std::atomic<std::uint64_t> total{0};
    std::atomic<std::uint64_t> returned{0};
    std::atomic<std::uint64_t> wrong_frees{0};
    std::atomic<std::uint64_t> overruns{0};
    [[nodiscard]] std::uint64_t Outstanding() const noexcept;
  };

  explicit Account(std::string name) : name_(std::move(name)) {}

  [[nodiscard]] const std::string& name() const noexcept { return name_; }
  [[nodiscard]] const Row& row(Kind kind) const noexcept { return rows_[Index(kind)]; }
  [[nodiscard]] std::uint64_t exceptions() const noexcept { return exceptions_.load(); }

  void HandOut(Kind kind) noexcept { rows_[Index(kind)].total.fetch_add(1); }
  void Return(Kind kind) noexcept { rows_[Index(kind)].returned.fetch_add(1); }
  void WrongFree(Kind kind) noexcept { rows_[Index(kind)].wrong_frees.fetch_add(1); }
  void CountOverrun(Kind kind) noexcept { rows_[Index(kind)].overruns.fetch_add(1); }
  void CountException() noexcept { exceptions_.fetch_add(1); }

 private:
  static constexpr std::size_t Index(Kind kind) noexcept { return static_cast<std::size_t>(kind); }

  const std::string name_;
  std::array<Row, kKinds> rows_;
  std::atomic<std::uint64_t> exceptions_{0};
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
