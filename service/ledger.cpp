#include "ledger.h"

#include <algorithm>
#include <exception>

#include "ktbus3/ktbus3_host.h"
#include "property_value.h"

namespace ktsvc {
namespace {

struct Collection {
  std::vector<LedgerRow> rows;
  std::exception_ptr thrown;  // must not travel through the bus
};

cuvo_bool AddRow(const KtBusLedgerRow* row, void* context) {
  auto& collection = *static_cast<Collection*>(context);
  try {
    collection.rows.push_back(
        {row->provider, row->kind, row->outstanding, row->total, row->wrongFrees});
    return 1;
  } catch (...) {
    collection.thrown = std::current_exception();
    return 0;
  }
}

}  // namespace

std::vector<LedgerRow> ReadLedger() {
  Collection collection;
  const KtStatus status = KtBusVisitLedger(&AddRow, &collection);
  if (collection.thrown != nullptr) {
    std::rethrow_exception(collection.thrown);
  }
  RequireOk(status, "KtBusVisitLedger");
  return collection.rows;
}

bool IsClean(const LedgerRow& row) noexcept {
  return row.kept == 0 && row.wrongFrees == 0;
}

bool IsClean(const std::vector<LedgerRow>& rows) noexcept {
  return std::all_of(rows.begin(), rows.end(), [](const LedgerRow& row) { return IsClean(row); });
}

}  // namespace ktsvc
