// The results for a person: one section of text for each part of a life, in the order in which they
// become known. Every section ends with an empty line.
//
// Threads: pure functions.
#pragma once

#include <string>

#include "life.h"

namespace ktsvc {

// Name, version and file of each provider; what is wrong with it under it.
std::string ProvidersText(const std::vector<ProviderReport>& providers);

// What the trace-level control answered.
std::string ControlText(const TraceLevelAnswer& answer);

// What was kept, by provider and kind, or that nothing was.
std::string LedgerText(const std::vector<LedgerRow>& rows);

}  // namespace ktsvc
