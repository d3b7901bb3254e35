// Records: the form in which a property leaves the framework, one block with everything in it.
#pragma once

#include "bus/ledger.h"
#include "bus/property_image.h"
#include "ktbus3/ktbus3.h"

namespace kt::bus {

// A new record of the property, put down to the account together with the property sets that it
// carries. Throws std::bad_alloc and leaves nothing behind.
cuvo_property* MakeRecord(const PropertyImage& property, Account& account);

// Releases a record and the property sets that it carries; false, and nothing happens, when the
// pointer is no record of the framework's.
bool FreeRecord(cuvo_property* record) noexcept;

}  // namespace kt::bus
