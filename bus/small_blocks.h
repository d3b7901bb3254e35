// Small blocks of the framework's memory: texts and records, of which each control takes some and
// gives them back at once.
//
// They come from slabs of 64 KiB, one size of block in each, which begin with a word for each of
// their blocks (bus/slab.h): that is how a pointer that is no live block is told. The word of a
// live block says whose it is, of what kind and of what size; a release takes the word away in one
// atomic step, so that of two threads that release a block only one gets it. The word of a free
// block links it to the next one: not the block itself, which its last holder may still write to by
// mistake.
//
// Each thread keeps some free blocks of each size, which it takes from and gives to without a lock.
// What is too many, and what is left when a thread ends, goes to a list that all threads share. On
// Windows a thread keeps none: there its room is gone before it can give them back.
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
#include "bus/sanitizers.h"
#include "bus/slab.h"
#include "bus/thread_local.h"

namespace kt::bus::small_blocks {

// The largest one. None at all in a build with the address sanitizer, which is to see each block's
// edges and what is done to it after its release.
#ifdef KT_ADDRESS_IS_SANITIZED
inline constexpr bool kThereAreAny = false;
#else
inline constexpr bool kThereAreAny = true;
#endif
inline constexpr std::size_t kLargest = kLargestBlock;

// ---- What a thread keeps ---------------------------------------------------------------------

// How many blocks of a size a thread takes from the others, or gives them, at a time; it keeps at
// most twice as many.
inline constexpr std::size_t kBatch = 32;
inline constexpr std::uint32_t kMostKept = 2 * kBatch;

// A thread that has no state yet, or ends, keeps nothing.
enum class State : std::uint8_t { kNew, kRunning, kEnding };

// Nothing in here needs an initialisation or a destruction, so that it can be used until the very
// end of the thread.
struct ThisThread {
  State state = State::kNew;
  std::uint32_t most = 0;  // how many free blocks of a size it keeps
  FreeLists free;
};
extern constinit thread_local ThisThread this_thread KT_FOUND_BY_LOADS;

// A free block of the class for a thread that has none, and the release of one by a thread that has
// too many, or keeps none.
Block TakeFromAll(std::size_t block_class) noexcept;
void GiveToAll(std::size_t block_class) noexcept;

// ---- Blocks ----------------------------------------------------------------------------------

// A block of `size` bytes with room for `room`, at most kLargest and not fewer, aligned for any
// value, from those that this thread keeps; null, and nothing is done, when it keeps none of that
// size. Not entered in the account.
inline void* AllocateKept(std::size_t size, std::size_t room, Kind kind,
                          Account& account) noexcept {
  const std::size_t block_class = ClassOf(room);
  FreeList& free = this_thread.free[block_class];
  if (free.first == nullptr) return nullptr;
  const Block block = free.Pop(block_class);
  block.word->store(LiveWord(size, kind, account), std::memory_order_release);
  return block.address;
}

// The same from wherever there is one.
inline void* Allocate(std::size_t size, std::size_t room, Kind kind, Account& account) noexcept {
  if (void* const kept = AllocateKept(size, room, kind, account)) return kept;
  const Block block = TakeFromAll(ClassOf(room));
  if (block.address != nullptr) {
    block.word->store(LiveWord(size, kind, account), std::memory_order_release);
  }
  return block.address;
}

// A live block whose word was taken; its memory stays readable. Its parts are not put together
// before somebody asks: a release, which everything that is handed out ends with, asks for few.
struct Claimed {
  Word word = 0;  // 0: nothing was claimed
  Place place;

  [[nodiscard]] std::size_t size() const noexcept { return SizeIn(word); }
  [[nodiscard]] Account& account() const noexcept { return AccountIn(word); }
};

// Takes the block's word, when it is a live small block of that kind.
inline Claimed ClaimWord(const void* block, std::optional<Kind> kind) noexcept {
  const Place place = PlaceOf(block);
  if (place.word == nullptr) return {};
  Word word = place.word->load(std::memory_order_acquire);
  if (!IsLive(word) || (kind && KindIn(word) != *kind)) return {};
  if (!place.word->compare_exchange_strong(word, 0, std::memory_order_acq_rel)) return {};
  return {word, place};
}

// All that the word of a claimed block says.
inline BlockInfo InfoOf(void* block, Word word) noexcept {
  return {block, &AccountIn(word), SizeIn(word), KindIn(word), true};
}

// Takes the block's word, when it is a live small block (of that kind, when one is named); its
// memory stays readable. Nothing otherwise.
inline std::optional<BlockInfo> Claim(const void* block, std::optional<Kind> kind) noexcept {
  const Claimed claimed = ClaimWord(block, kind);
  return claimed.word == 0 ? std::nullopt
                           : std::optional(InfoOf(const_cast<void*>(block), claimed.word));
}

// Gives back the memory of a block that was claimed, and whose place is known.
inline void Release(void* block, const Place& place) noexcept {
  FreeList& free = this_thread.free[place.block_class];
  free.Push({block, place.word});
  if (free.count > this_thread.most) GiveToAll(place.block_class);
}
inline void Release(void* block) noexcept {
  const auto address = std::bit_cast<std::uintptr_t>(block);
  const std::size_t shift = SlabAround(address)->shift;
  Release(block, {&WordAt(address, shift), shift - kFirstShift});
}

// The kind of a live small block; nothing when it is none.
inline std::optional<Kind> KindOf(const void* block) noexcept {
  const WordPlace* const place = PlaceOf(block).word;
  const Word word = place == nullptr ? 0 : place->load(std::memory_order_acquire);
  return IsLive(word) ? std::optional(KindIn(word)) : std::nullopt;
}

}  // namespace kt::bus::small_blocks
