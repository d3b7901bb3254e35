// Life: one life of the service, as the reports tell it.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "bus_snapshot.h"
#include "ledger.h"
#include "provider_host.h"
#include "trace_level_control.h"

namespace ktsvc {

struct Life {
  std::vector<ProviderReport> providers;
  std::optional<TraceLevelAnswer> control;  // --once only, and so the next
  std::optional<BusSnapshot> snapshot;
  std::vector<LedgerRow> ledger;
  int exitStatus = 0;
};

}  // namespace ktsvc
