// Slabs of small blocks, each with a word for each of its blocks: what bus/small_blocks.h is made
// of.
//
// A slab starts at a multiple of its size. From an address one so finds the slab, whether it is
// one, the block and its word, without touching what the address names and without a lock.
//
// Threads: words are atomic; the table of slabs is read by all and written by one at a time.
// Failure: nothing throws, nothing allocates.
#pragma once

#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>

#include "bus/ledger.h"

namespace kt::bus::small_blocks {

// ---- Words -----------------------------------------------------------------------------------

// A live block's word: its size and 1 in the 16 bits that no address has, the account's address,
// and the kind in the bits that the account's alignment leaves free. A free block's: the address of
// the next free one, or 0.
using Word = std::uint64_t;
using WordPlace = std::atomic<Word>;
static_assert(sizeof(void*) == sizeof(Word));
static_assert(alignof(Account) >= kKinds);
inline constexpr unsigned kSizeShift = 48;
inline constexpr Word kAccountBits = ((Word{1} << kSizeShift) - 1) & ~Word{kKinds - 1};

inline Word LiveWord(std::size_t size, Kind kind, const Account& account) noexcept {
  return (static_cast<Word>(size + 1) << kSizeShift) | std::bit_cast<std::uintptr_t>(&account) |
         static_cast<Word>(kind);
}

inline bool IsLive(Word word) noexcept {
  return word >> kSizeShift != 0;
}

inline Kind KindIn(Word word) noexcept {
  return static_cast<Kind>(word & (kKinds - 1));
}

inline std::size_t SizeIn(Word word) noexcept {
  return static_cast<std::size_t>(word >> kSizeShift) - 1;
}

inline Account& AccountIn(Word word) noexcept {
  return *std::bit_cast<Account*>(static_cast<std::uintptr_t>(word & kAccountBits));
}

// ---- Slabs -----------------------------------------------------------------------------------

inline constexpr std::size_t kSlabSize = std::size_t{64} * 1024;
inline constexpr std::size_t kClasses = 4;  // 32, 64, 128 and 256 bytes
inline constexpr unsigned kFirstShift = 5;
inline constexpr std::size_t kLargestBlock = std::size_t{1} << (kFirstShift + kClasses - 1);

constexpr std::size_t ClassOf(std::size_t size) noexcept {
  const std::size_t last = (size == 0 ? 0 : size - 1) | ((std::size_t{1} << kFirstShift) - 1);
  return static_cast<std::size_t>(std::bit_width(last)) - kFirstShift;
}
static_assert(ClassOf(0) == 0 && ClassOf(32) == 0 && ClassOf(33) == 1 &&
              ClassOf(kLargestBlock) == 3);

// The beginning of a slab; a word for each block follows. The blocks that would stand where these
// stand are never handed out, and their words never live.
struct Slab {
  std::size_t shift;  // a block has 1 << shift bytes

  [[nodiscard]] WordPlace* Words() noexcept { return reinterpret_cast<WordPlace*>(this + 1); }
  [[nodiscard]] std::size_t Blocks() const noexcept { return kSlabSize >> shift; }
};

inline Slab* SlabAround(std::uintptr_t address) noexcept {
  return std::bit_cast<Slab*>(address & ~std::uintptr_t{kSlabSize - 1});
}

// The word of an address in a slab whose blocks have 1 << shift bytes; that of the block's begin is
// the block's.
inline WordPlace& WordAt(std::uintptr_t address, std::size_t shift) noexcept {
  return SlabAround(address)->Words()[(address & (kSlabSize - 1)) >> shift];
}

// All slabs, by address: open addressing, never removed, so that look-ups need no lock.
class SlabTable {
 public:
  [[nodiscard]] bool IsFull() const noexcept { return count_ == kMost; }

  // One at a time.
  void Add(const Slab* slab) noexcept {
    const auto address = std::bit_cast<std::uintptr_t>(slab);
    std::size_t place = Home(address);
    while (places_[place].load(std::memory_order_relaxed) != 0) place = (place + 1) % kPlaces;
    places_[place].store(address, std::memory_order_release);
    ++count_;
  }

  [[nodiscard]] bool Has(const Slab* slab) const noexcept {
    const auto address = std::bit_cast<std::uintptr_t>(slab);
    for (std::size_t place = Home(address);; place = (place + 1) % kPlaces) {
      const std::uintptr_t here = places_[place].load(std::memory_order_acquire);
      if (here == address) return here != 0;
      if (here == 0) return false;
    }
  }

 private:
  static constexpr std::size_t kPlaces = 16384;
  static constexpr std::size_t kMost = kPlaces / 2;  // half a gigabyte of small blocks

  static std::size_t Home(std::uintptr_t address) noexcept {
    return static_cast<std::size_t>(((address / kSlabSize) * 0x9E3779B97F4A7C15U) >> 50U);
  }

  std::array<std::atomic<std::uintptr_t>, kPlaces> places_{};
  std::size_t count_ = 0;
};
inline constinit SlabTable g_slabs;

// Where a block's word is, and its class.
struct Place {
  WordPlace* word = nullptr;  // null: no block in a slab
  std::size_t block_class = 0;
};
inline Place PlaceOf(const void* block) noexcept {
  const auto address = std::bit_cast<std::uintptr_t>(block);
  Slab* const slab = SlabAround(address);
  if (!g_slabs.Has(slab)) return {};
  const std::size_t shift = slab->shift;
  const std::size_t number = (address & (kSlabSize - 1)) >> shift;
  if (number << shift != (address & (kSlabSize - 1))) return {};
  return {slab->Words() + number, shift - kFirstShift};
}

// ---- Free blocks -----------------------------------------------------------------------------

// A free or new block, and its word.
struct Block {
  void* address = nullptr;  // null: none
  WordPlace* word = nullptr;
};
inline Block BlockAt(void* block, std::size_t block_class) noexcept {
  return {block, &WordAt(std::bit_cast<std::uintptr_t>(block), kFirstShift + block_class)};
}

// Free blocks of one class, linked through their words.
struct FreeList {
  void* first = nullptr;
  std::size_t count = 0;

  void Push(Block block) noexcept {
    block.word->store(std::bit_cast<std::uintptr_t>(first), std::memory_order_relaxed);
    first = block.address;
    ++count;
  }
  // There is one.
  Block Pop(std::size_t block_class) noexcept {
    const Block block = BlockAt(first, block_class);
    const Word next = block.word->load(std::memory_order_relaxed);
    first = std::bit_cast<void*>(static_cast<std::uintptr_t>(next));
    --count;
    return block;
  }
  void MoveTo(FreeList& other, std::size_t most, std::size_t block_class) noexcept {
    for (std::size_t i = std::min(count, most); i != 0; --i) other.Push(Pop(block_class));
  }
};
using FreeLists = std::array<FreeList, kClasses>;

}  // namespace kt::bus::small_blocks
