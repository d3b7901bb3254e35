#include "support/ledger_check.h"

#include <string>

#include "support/require.h"

namespace kt::fuzz {
namespace {

KtBusLedgerTotal Total() {
  KtBusLedgerTotal total{};
  Require(KtBusLedgerSum(nullptr, &total) == 0, "the ledger can be summed");
  return total;
}

std::string Rows() {
  std::string rows;
  KtBusVisitLedger(
      [](const KtBusLedgerRow* row, void* context) -> cuvo_bool {
        *static_cast<std::string*>(context) += "  \"" + std::string(row->provider) + "\" " +
                                               row->kind + ": " + std::to_string(row->outstanding) +
                                               " kept, " + std::to_string(row->wrongFrees) +
                                               " wrong frees\n";
        return 1;
      },
      &rows);
  return rows;
}

}  // namespace

LedgerCheck::LedgerCheck() : before_(Total()) {}

void LedgerCheck::RequireSettled(std::string_view when) const {
  const KtBusLedgerTotal now = Total();
  if (now.outstanding == before_.outstanding && now.wrongFrees == before_.wrongFrees &&
      now.exceptions == before_.exceptions) {
    return;
  }
  Finding("the ledger is settled " + std::string(when),
          Rows() + "  exceptions " + std::to_string(now.exceptions - before_.exceptions) +
              ", outstanding before " + std::to_string(before_.outstanding) + "\n");
}

void LedgerCheck::RequireNothingKept(const char* provider, std::string_view when) {
  KtBusLedgerTotal kept{};
  Require(KtBusLedgerSum(provider, &kept) == 0, "the ledger can be summed");
  if (kept.outstanding != 0) Finding("the provider has kept nothing " + std::string(when), Rows());
}

}  // namespace kt::fuzz
