// The results for a program: one JSON document for a whole life.
//
// {"service": {"name", "version"}, "providers": [...], "control": {...} or null,
//  "types": [...] or null, "objects": [...] or null, "ledger": {"clean", "rows": [...]},
//  "exitStatus": 0}
//
// "control", "types" and "objects" are null in a life that was not --once. The members of each part
// are those of the structures of the same name; statuses and properties have the forms of
// property_json.h.
//
// Threads: pure functions.
#pragma once

#include "life.h"
#include "property_json.h"

namespace ktsvc {

Json LifeJson(const Life& life);

// The parts, for whoever answers with one of them.
Json ProviderJson(const ProviderReport& provider);
Json TypeJson(const TypeView& type);
Json ObjectJson(const ObjectView& object);
Json LedgerJson(const std::vector<LedgerRow>& rows);

}  // namespace ktsvc
