// Ledger: what providers, and the service itself, were handed by the bus and did not give back.
//
// Threads: reading it is safe beside anything; the numbers are of the moment.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace ktsvc {

// One kind of thing in one account.
struct LedgerRow {
  std::string account;           // the provider's name; empty for the service itself
  std::string kind;              // "property sets", "records" ...
  std::uint64_t kept = 0;        // handed out and not returned
  std::uint64_t total = 0;       // handed out at all
  std::uint64_t wrongFrees = 0;  // returned through a function that is not its own
};

// All rows in which anything ever happened.
std::vector<LedgerRow> ReadLedger();

// True when the row is no cause for complaint.
bool IsClean(const LedgerRow& row) noexcept;

// True when every row is.
bool IsClean(const std::vector<LedgerRow>& rows) noexcept;

}  // namespace ktsvc
