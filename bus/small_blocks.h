// Small blocks of the framework's memory: texts and records, of which each control takes some and
// gives them back at once.
//
// They come from slabs of 64 KiB, one size of block in each. A slab starts at a multiple of its
// size and begins with a word for each of its blocks. From an address one so finds the slab,
// whether it is one, the block and its word, without touching what the address names and without a
// lock: that is how a pointer that is no live block is told. The word of a live block says whose it
// is, of what kind and of what size; a release takes the word away in one atomic step, so that of
// two threads that release a block only one gets it. The word of a free block links it to the next
// one: not the block itself, which its last holder may still write to by mistake.
//
// Each thread keeps some free blocks of each size, which it takes from and gives to without a lock.
// What is too many, and what is left when a thread ends, goes to a list that all threads share.
// Slabs are never given back to the system: there are as many as were needed at once.
//
// Threads: everything from any thread.
// Failure: nothing throws. Null where there is no memory for another slab, or there are too many:
//          the caller has another way to take memory.
#pragma once

#include <cstddef>
#include <optional>

#include "bus/ledger.h"
#include "bus/pointer_table.h"

namespace kt::bus::small_blocks {

// The largest one. None at all in a build with the address sanitizer, which is to see each block's
// edges and what is done to it after its release.
#if defined(__SANITIZE_ADDRESS__)
#define KT_NO_SMALL_BLOCKS
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define KT_NO_SMALL_BLOCKS
#endif
#endif
#ifdef KT_NO_SMALL_BLOCKS
inline constexpr bool kThereAreAny = false;
#else
inline constexpr bool kThereAreAny = true;
#endif
inline constexpr std::size_t kLargest = 256;

// A block of `size` bytes with room for `room`, at most kLargest and not fewer, aligned for any
// value. Not entered in the account.
void* Allocate(std::size_t size, std::size_t room, Kind kind, Account& account) noexcept;

// Takes the block's word, when it is a live small block (of that kind, when one is named); its
// memory stays readable. Nothing otherwise.
std::optional<BlockInfo> Claim(const void* block, std::optional<Kind> kind) noexcept;

// Gives back the memory of a block that was claimed.
void Release(void* block) noexcept;

// The kind of a live small block; nothing when it is none.
std::optional<Kind> KindOf(const void* block) noexcept;

}  // namespace kt::bus::small_blocks
