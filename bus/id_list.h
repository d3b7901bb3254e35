// Lists of ids as they leave the framework.
#pragma once

#include <vector>

#include "bus/ledger.h"
#include "ktbus3/ktbus3.h"

namespace kt::bus {

// Hands the ids out as one block of the account; a null list for none. Throws std::bad_alloc.
void HandOutIds(const std::vector<KtObjId>& ids, Account& account, KtObjId** list,
                std::uint32_t* count);

}  // namespace kt::bus
