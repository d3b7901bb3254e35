#include "bus/small_blocks.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <cstdint>
#include <new>

#include "bus/lock.h"
#include "bus/thread_local.h"

namespace kt::bus::small_blocks {
namespace {

// ---- Words -----------------------------------------------------------------------------------

// A live block's word: its size and 1 in the 16 bits that no address has, the account's address,
// and the kind in the bits that the account's alignment leaves free. A free block's: the address of
// the next free one, or 0.
using Word = std::uint64_t;
using WordPlace = std::atomic<Word>;
static_assert(sizeof(void*) == sizeof(Word));
static_assert(alignof(Account) >= kKinds);
constexpr unsigned kSizeShift = 48;
constexpr Word kAccountBits = ((Word{1} << kSizeShift) - 1) & ~Word{kKinds - 1};

Word LiveWord(std::size_t size, Kind kind, const Account& account) noexcept {
  return (static_cast<Word>(size + 1) << kSizeShift) | std::bit_cast<std::uintptr_t>(&account) |
         static_cast<Word>(kind);
}

bool IsLive(Word word) noexcept {
  return word >> kSizeShift != 0;
}

Kind KindIn(Word word) noexcept {
  return static_cast<Kind>(word & (kKinds - 1));
}

// ---- Slabs -----------------------------------------------------------------------------------

constexpr std::size_t kSlabSize = std::size_t{64} * 1024;
constexpr std::size_t kClasses = 4;  // 32, 64, 128 and 256 bytes
constexpr unsigned kFirstShift = 5;
static_assert(kLargest == std::size_t{1} << (kFirstShift + kClasses - 1));

constexpr std::size_t ClassOf(std::size_t size) noexcept {
  return size == 0 ? 0 : static_cast<std::size_t>(std::bit_width((size - 1) >> kFirstShift));
}
static_assert(ClassOf(0) == 0 && ClassOf(32) == 0 && ClassOf(33) == 1 && ClassOf(kLargest) == 3);

// The beginning of a slab; a word for each block follows. The blocks that would stand where these
// stand are never handed out, and their words never live.
struct Slab {
  std::size_t shift;  // a block has 1 << shift bytes

  [[nodiscard]] WordPlace* Words() noexcept { return reinterpret_cast<WordPlace*>(this + 1); }
  [[nodiscard]] std::size_t Blocks() const noexcept { return kSlabSize >> shift; }
};

Slab* SlabAround(std::uintptr_t address) noexcept {
  return std::bit_cast<Slab*>(address & ~std::uintptr_t{kSlabSize - 1});
}

// The word of an address in a slab; that of the block's begin is the block's.
WordPlace& WordAt(std::uintptr_t address) noexcept {
  Slab* const slab = SlabAround(address);
  return slab->Words()[(address & (kSlabSize - 1)) >> slab->shift];
}

WordPlace& WordOf(const void* block) noexcept {
  return WordAt(std::bit_cast<std::uintptr_t>(block));
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
constinit SlabTable g_slabs;

// The live block's word at the address, or null.
WordPlace* FindWord(const void* block) noexcept {
  const auto address = std::bit_cast<std::uintptr_t>(block);
  Slab* const slab = SlabAround(address);
  if (!g_slabs.Has(slab)) return nullptr;
  if ((address & ((std::uintptr_t{1} << slab->shift) - 1)) != 0) return nullptr;
  return &WordAt(address);
}

// ---- Free blocks -----------------------------------------------------------------------------

// Linked through their words.
struct FreeList {
  void* first = nullptr;
  std::size_t count = 0;

  void Push(void* block) noexcept {
    WordOf(block).store(std::bit_cast<std::uintptr_t>(first), std::memory_order_relaxed);
    first = block;
    ++count;
  }
  void* Pop() noexcept {
    void* const block = first;
    const Word next = WordOf(block).load(std::memory_order_relaxed);
    first = std::bit_cast<void*>(static_cast<std::uintptr_t>(next));
    --count;
    return block;
  }
  void MoveTo(FreeList& other, std::size_t most) noexcept {
    for (std::size_t i = std::min(count, most); i != 0; --i) other.Push(Pop());
  }
};
using FreeLists = std::array<FreeList, kClasses>;

// How many blocks of a size a thread takes from the others, or gives them, at a time; it keeps at
// most twice as many.
constexpr std::size_t kBatch = 32;

// What all threads share.
class Common {
 public:
  // Up to `most` free blocks of the class; none without memory.
  void Take(std::size_t block_class, FreeList& to, std::size_t most) noexcept KT_EXCLUDES(lock_) {
    const MutexGuard guard(lock_);
    FreeList& free = free_[block_class];
    Fresh& fresh = fresh_[block_class];
    if (free.count == 0 && fresh.next == fresh.end) Grow(block_class, fresh);
    while (free.count < most && fresh.next != fresh.end) {
      free.Push(std::bit_cast<void*>(fresh.next));
      fresh.next += std::uintptr_t{1} << (kFirstShift + block_class);
    }
    free.MoveTo(to, most);
  }

  void Give(std::size_t block_class, FreeList& from, std::size_t most) noexcept KT_EXCLUDES(lock_) {
    const MutexGuard guard(lock_);
    from.MoveTo(free_[block_class], most);
  }

 private:
  // The part of the newest slab that was never used.
  struct Fresh {
    std::uintptr_t next = 0;
    std::uintptr_t end = 0;
  };

  void Grow(std::size_t block_class, Fresh& fresh) noexcept KT_REQUIRES(lock_) {
    if (g_slabs.IsFull()) return;
    void* const room = ::operator new (kSlabSize, std::align_val_t{kSlabSize}, std::nothrow);
    if (room == nullptr) return;
    auto* const slab = new (room) Slab{kFirstShift + block_class};
    for (std::size_t i = 0; i < slab->Blocks(); ++i) new (slab->Words() + i) WordPlace(0);
    g_slabs.Add(slab);
    const auto begin = std::bit_cast<std::uintptr_t>(room);
    const std::size_t head = sizeof(Slab) + slab->Blocks() * sizeof(WordPlace);
    const std::size_t block = std::size_t{1} << slab->shift;
    fresh = {begin + (head + block - 1) / block * block, begin + kSlabSize};
  }

  Mutex lock_;
  FreeLists free_ KT_GUARDED_BY(lock_);
  std::array<Fresh, kClasses> fresh_ KT_GUARDED_BY(lock_);
};

Common& TheCommon() noexcept {
  // Never destroyed: blocks are released very late, when the process unloads its modules.
  alignas(Common) static std::array<std::byte, sizeof(Common)> room;
  static auto* const common = new (room.data()) Common;
  return *common;
}

// ---- Threads ---------------------------------------------------------------------------------

enum class State : std::uint8_t { kNew, kRunning, kEnding };

// Nothing in here needs an initialisation or a destruction, so that it can be used until the very
// end of the thread.
struct ThisThread {
  State state = State::kNew;
  FreeLists free;
};
constinit thread_local ThisThread this_thread KT_FOUND_BY_LOADS;

struct AtThreadEnd {
  ~AtThreadEnd() {
    this_thread.state = State::kEnding;
    for (std::size_t i = 0; i < kClasses; ++i) {
      FreeList& free = this_thread.free[i];
      TheCommon().Give(i, free, free.count);
    }
  }
};

// Whether the thread keeps free blocks: not any more when it ends.
bool Keeps(ThisThread& thread) noexcept {
  if (thread.state == State::kNew) {
    thread_local AtThreadEnd at_thread_end;
    static_cast<void>(at_thread_end);
    thread.state = State::kRunning;
  }
  return thread.state == State::kRunning;
}

}  // namespace

void* Allocate(std::size_t size, std::size_t room, Kind kind, Account& account) noexcept {
  const std::size_t block_class = ClassOf(room);
  ThisThread& thread = this_thread;
  FreeList& free = thread.free[block_class];
  if (free.first == nullptr) {
    TheCommon().Take(block_class, free, Keeps(thread) ? kBatch : 1);
    if (free.first == nullptr) return nullptr;
  }
  void* const block = free.Pop();
  WordOf(block).store(LiveWord(size, kind, account), std::memory_order_release);
  return block;
}

std::optional<BlockInfo> Claim(const void* block, std::optional<Kind> kind) noexcept {
  WordPlace* const place = FindWord(block);
  if (place == nullptr) return std::nullopt;
  Word word = place->load(std::memory_order_acquire);
  if (!IsLive(word) || (kind && KindIn(word) != *kind)) return std::nullopt;
  if (!place->compare_exchange_strong(word, 0, std::memory_order_acq_rel)) return std::nullopt;
  BlockInfo info;
  info.block = const_cast<void*>(block);
  info.account = std::bit_cast<Account*>(static_cast<std::uintptr_t>(word & kAccountBits));
  info.size = static_cast<std::size_t>(word >> kSizeShift) - 1;
  info.kind = KindIn(word);
  info.small = true;
  return info;
}

void Release(void* block) noexcept {
  const std::size_t block_class = SlabAround(std::bit_cast<std::uintptr_t>(block))->shift -
                                  static_cast<std::size_t>(kFirstShift);
  ThisThread& thread = this_thread;
  FreeList& free = thread.free[block_class];
  free.Push(block);
  if (thread.state == State::kRunning && free.count <= 2 * kBatch) return;
  if (Keeps(thread)) {
    if (free.count > 2 * kBatch) TheCommon().Give(block_class, free, kBatch);
  } else {
    TheCommon().Give(block_class, free, free.count);
  }
}

std::optional<Kind> KindOf(const void* block) noexcept {
  const WordPlace* const place = FindWord(block);
  const Word word = place == nullptr ? 0 : place->load(std::memory_order_acquire);
  return IsLive(word) ? std::optional(KindIn(word)) : std::nullopt;
}

}  // namespace kt::bus::small_blocks
