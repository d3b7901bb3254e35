// What happens when something is released through a function that is not its own.
#pragma once

#include "bus/ledger.h"

namespace kt::bus {

// Counts it against the account at the kind of the thing (a live block or handle; "blocks" for
// anything that is not the framework's) and says so in the trace. Nothing is released.
void ReportWrongFree(Account& asker, const void* thing, const char* function) noexcept;

// The same where the kind is known.
void ReportWrongFree(Account& asker, Kind kind, const char* function) noexcept;

// An account's name for the trace.
const char* NameInTrace(const Account& account) noexcept;

}  // namespace kt::bus
