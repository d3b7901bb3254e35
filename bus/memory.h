// The framework's memory: every block is known to a registry while it lives, so that a release is
// checked before it happens. A pointer that is no live block is counted and left alone; a block
// that was written past its end is counted and traced when it is released.
//
// Small blocks know it themselves (bus/small_blocks.h); for the others, and where a small one
// cannot be had, there is a table of addresses.
//
// Threads: every function from any thread; the table is cut into shards by address.
#pragma once

#include <array>
#include <cstddef>
#include <cstring>
#include <limits>
#include <optional>
#include <string_view>

#include "bus/ledger.h"
#include "bus/pointer_table.h"
#include "bus/sanitizers.h"
#include "bus/small_blocks.h"

namespace kt::bus {

// ---- Guards ----------------------------------------------------------------------------------

// Behind every block stand bytes that nobody may write; they are looked at when the block comes
// back. The address sanitizer tells at once who writes there, so it gets no such bytes.
#ifdef KT_ADDRESS_IS_SANITIZED
inline constexpr std::size_t kGuardSize = 0;
#else
inline constexpr std::size_t kGuardSize = 32;
#endif
inline constexpr int kGuardByte = 0xB5;
// Of one byte at least: an array of none has no address.
using Guard = std::array<std::byte, kGuardSize == 0 ? 1 : kGuardSize>;
inline constexpr Guard kWholeGuard = [] {
  Guard guard{};
  for (std::byte& byte : guard) byte = std::byte{kGuardByte};
  return guard;
}();

inline void SetGuard(void* block, std::size_t size) noexcept {
  std::memcpy(static_cast<std::byte*>(block) + size, kWholeGuard.data(), kGuardSize);
}

inline bool GuardIsWhole(const BlockInfo& info) noexcept {
  const auto* const guard = static_cast<const std::byte*>(info.block) + info.size;
  return std::memcmp(guard, kWholeGuard.data(), kGuardSize) == 0;
}

// Counts and traces a block that was written past its end.
void ReportOverrun(const BlockInfo& info) noexcept;

// ---- Blocks ----------------------------------------------------------------------------------

// A block of that size with room for its guard that is no small one, or for which there is no slab.
void* AllocateElsewhere(std::size_t size, std::size_t room, Kind kind, Account& account) noexcept;

// A block put down to the account. Null on exhaustion. A block of size 0 is a block as well.
inline void* AllocateBlock(std::size_t size, Kind kind, Account& account) noexcept {
  if (size > std::numeric_limits<std::size_t>::max() - kGuardSize - 1) return nullptr;
  const std::size_t room = size + kGuardSize;
  if (small_blocks::kThereAreAny && room <= small_blocks::kLargest) {
    if (void* const block = small_blocks::Allocate(size, room, kind, account)) {
      SetGuard(block, size);
      account.HandOut(kind);
      return block;
    }
  }
  return AllocateElsewhere(size, room, kind, account);
}

// A zero-terminated text as a block of kind "texts"; null on exhaustion.
char* AllocateText(std::string_view text, Account& account) noexcept;

// Releasing takes two steps, so that of two threads that release one block only one gets it:
// claiming takes the block (of that kind, when one is named) out of the registry and leaves its
// memory readable; the claimed block is then released. Nothing, when the pointer is no such block.
std::optional<BlockInfo> ClaimBlock(const void* block, std::optional<Kind> kind) noexcept;
void ReleaseClaimed(const BlockInfo& info) noexcept;

// The second step for a block that small_blocks::Claim() has claimed.
inline void ReleaseSmall(const BlockInfo& info) noexcept {
  if (!GuardIsWhole(info)) ReportOverrun(info);
  info.account->Return(info.kind);
  small_blocks::Release(info.block);
}

// The kind of a live block; nothing when the pointer is none.
std::optional<Kind> KindOfBlock(const void* block) noexcept;

}  // namespace kt::bus
