// The framework's memory: every block is known to a registry while it lives, so that a release is
// checked before it happens. A pointer that is no live block is counted and left alone; a block
// that was written past its end is counted and traced when it is released.
//
// Small blocks know it themselves (bus/small_blocks.h); for the others, and where a small one
// cannot be had, there is a table of addresses.
//
// Threads: every function from any thread; the table is cut into shards by address.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

#include "bus/ledger.h"
#include "bus/pointer_table.h"

namespace kt::bus {

// A block put down to the account. Null on exhaustion. A block of size 0 is a block as well.
void* AllocateBlock(std::size_t size, Kind kind, Account& account) noexcept;

// A zero-terminated text as a block of kind "texts"; null on exhaustion.
char* AllocateText(std::string_view text, Account& account) noexcept;

// Releasing takes two steps, so that of two threads that release one block only one gets it:
// claiming takes the block (of that kind, when one is named) out of the registry and leaves its
// memory readable; the claimed block is then released. Nothing, when the pointer is no such block.
std::optional<BlockInfo> ClaimBlock(const void* block, std::optional<Kind> kind) noexcept;
void ReleaseClaimed(const BlockInfo& info) noexcept;

// The kind of a live block; nothing when the pointer is none.
std::optional<Kind> KindOfBlock(const void* block) noexcept;

}  // namespace kt::bus
