// A flat property: a name, and a value that is nothing but bytes, such as a number, an id, a text
// or a block. Most properties are. Lists, messages and whatever carries a set are not.
//
// It is a view. What it points to belongs to whoever made it: the caller's record, or the object
// that keeps the property (bus/property_row.h).
//
// Threads: none of its own.
#pragma once

#include <cstdint>
#include <string_view>

#include "bus/ledger.h"
#include "ktbus3/ktbus3.h"

namespace kt::bus {

struct FlatProperty {
  std::uint32_t type = 0;
  std::uint32_t flags = 0;
  std::uint32_t terminator = 0;  // how many bytes of zero end the value where it is kept
  std::string_view name;         // a zero stands behind it
  std::string_view value = "";   // without its terminator; never without an address
};

// A record of it that points to its bytes.
cuvo_property RecordOf(const FlatProperty& property) noexcept;

// A new record of it, put down to the account. Throws std::bad_alloc.
cuvo_property* MakeRecord(const FlatProperty& property, Account& account);

}  // namespace kt::bus
