#include "bus/small_blocks.h"

#include <new>

#include "bus/lock.h"
#include "bus/thread_end.h"

namespace kt::bus::small_blocks {

constinit thread_local ThisThread this_thread KT_FOUND_BY_LOADS;

namespace {

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
      free.Push(BlockAt(std::bit_cast<void*>(fresh.next), block_class));
      fresh.next += std::uintptr_t{1} << (kFirstShift + block_class);
    }
    free.MoveTo(to, most, block_class);
  }

  void Give(std::size_t block_class, FreeList& from, std::size_t most) noexcept KT_EXCLUDES(lock_) {
    const MutexGuard guard(lock_);
    from.MoveTo(free_[block_class], most, block_class);
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

void GiveAll() noexcept {
  this_thread.state = State::kEnding;
  this_thread.most = 0;
  for (std::size_t i = 0; i < kClasses; ++i) {
    FreeList& free = this_thread.free[i];
    TheCommon().Give(i, free, free.count);
  }
}

// Whether the thread keeps free blocks: not any more when it ends, nor while it could not give them
// back then.
bool Keeps(ThisThread& thread) noexcept {
  if (thread.state == State::kNew && CallAtThreadEnd(&GiveAll)) {
    thread.state = State::kRunning;
    thread.most = kMostKept;
  }
  return thread.state == State::kRunning;
}

}  // namespace

Block TakeFromAll(std::size_t block_class) noexcept {
  FreeList& free = this_thread.free[block_class];
  TheCommon().Take(block_class, free, Keeps(this_thread) ? kBatch : 1);
  return free.first == nullptr ? Block{} : free.Pop(block_class);
}

void GiveToAll(std::size_t block_class) noexcept {
  FreeList& free = this_thread.free[block_class];
  if (!Keeps(this_thread)) {
    TheCommon().Give(block_class, free, free.count);
  } else if (free.count > kMostKept) {
    TheCommon().Give(block_class, free, kBatch);
  }
}

}  // namespace kt::bus::small_blocks
