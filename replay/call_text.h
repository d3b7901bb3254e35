// A recorded call as a person reads it: "PsAddProperty(set 3, {Name:STR="sda"}) = 0x00000000".
//
// Threads: pure functions.
#pragma once

#include <string>

#include "replay/recording.h"

namespace ktreplay {

// The call with what went in and what came of it, as far as the item has it.
std::string CallText(const Item& item);

// The call with what went in alone.
std::string AskedText(const Item& item);

}  // namespace ktreplay
