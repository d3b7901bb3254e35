// A Shelf has places of one size for the objects of a database. Each place has a number, and the
// number says where it is: two loads from a small list, and no search. What stands on a shelf is so
// found with one look at memory that is in no cache, where a table of addresses would need two, and
// the second only once the first has come.
//
// Places stand side by side in chunks. The first chunk has few places; each of the next has a
// quarter of what there is, up to kMostBytes, so that a shelf with little on it is small and one
// with much has its memory in large pieces (bus/huge_pages.h). A chunk that nothing stands in any
// more is given back when there is room elsewhere; of empty chunks at most one is kept, the
// smaller.
//
// A number may be asked for by anybody, whatever became of it: Find() knows only places that are
// shown. Numbers are used again, so the owner has to tell what stands in a place from what stood
// there before.
//
// In a build with the address sanitizer each place is a chunk of its own, so that every block is
// seen by itself.
//
// Threads:   Take() and Give() from any thread. A place is shown, hidden, found and used under its
//            lock, LockOf(); many places share one. Nobody who calls Take() or Give() holds such a
//            lock.
// Failure:   Take() throws std::bad_alloc, and nothing has changed then; nothing else throws.
// Ownership: memory is the shelf's, what is made in it the owner's, to be ended before Give() or
//            the end of the shelf.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "bus/lock.h"
#include "bus/prefetch.h"
#include "bus/sanitizers.h"

namespace kt::bus {

class Shelf {
 public:
  using Number = std::uint32_t;

  // A place, as memory for something of size() bytes, aligned to 8.
  struct Place {
    Number number;
    void* memory;
  };

  // How it grows. Of a number's bits the lower ones, that many, count within a chunk.
  struct Growth {
    unsigned place_bits;
    std::size_t fewest;  // places of the smallest chunk
  };
#ifdef KT_ADDRESS_IS_SANITIZED
  static constexpr Growth kUsual{0, 1};
#else
  static constexpr Growth kUsual{17, 32};
#endif
  static constexpr std::size_t kMostBytes = std::size_t{16} * 1024 * 1024;
  // Places begin at the begin of a line of the cache.
  static constexpr std::size_t kLine = 64;
  // What each place has of its own before its memory.
  static constexpr std::size_t kHeadSize = 8;

  // Each place, with its head, has that many bytes: a multiple of kLine.
  explicit Shelf(std::size_t whole_size, Growth growth = kUsual) noexcept;
  Shelf(const Shelf&) = delete;
  Shelf& operator=(const Shelf&) = delete;
  ~Shelf();

  [[nodiscard]] std::size_t size() const noexcept {
    return whole_size_ - kHeadSize;
  }
  // How many places there is memory for: to see that it follows what stands there.
  [[nodiscard]] std::size_t places() const KT_EXCLUDES(lock_);

  // A place that is free, hidden.
  Place Take() KT_EXCLUDES(lock_);
  // Takes back a place that is taken and hidden.
  void Give(Number number) noexcept KT_EXCLUDES(lock_);

  // ---- Under the lock of the place -------------------------------------------------------------

  [[nodiscard]] Mutex& LockOf(Number number) const noexcept {
    return locks_[number % kLocks].mutex;
  }

  // The memory of the place while it is shown; null otherwise, and for a number that is none.
  [[nodiscard]] void* Find(Number number) const noexcept {
    Head* const head = HeadOf(number);
    if (head == nullptr) return nullptr;
    Prefetch(reinterpret_cast<const std::byte*>(head) + kLine);
    return head->shown ? head + 1 : nullptr;
  }

  // For a place that is taken.
  void Show(Number number) noexcept {
    HeadOf(number)->shown = true;
  }
  void Hide(Number number) noexcept {
    HeadOf(number)->shown = false;
  }

  // ---- At the end ------------------------------------------------------------------------------

  // Calls `use` with the memory of each place that is shown. Nobody else may use the shelf.
  template <typename Use>
  void ForEach(Use&& use) const KT_EXCLUDES(lock_) {
    const Directory* const all = directory_.load(std::memory_order_acquire);
    for (std::size_t at = 0; all != nullptr && at < all->room; ++at) {
      const Chunk& chunk = all->chunks[at];
      const std::uint32_t begun = chunk.begun.load(std::memory_order_acquire);
      for (std::uint32_t i = 0; i < begun; ++i) {
        Head* const head = HeadIn(chunk, i);
        if (head->shown) use(static_cast<void*>(head + 1));
      }
    }
  }

 private:
  static constexpr std::size_t kLocks = 64;
  static constexpr std::uint32_t kNone = UINT32_MAX;

  struct Head {
    bool shown;          // under the place's lock
    std::uint32_t next;  // the next free one of its chunk, while it is free; under lock_
  };
  static_assert(sizeof(Head) == kHeadSize);

  // Whoever holds the lock of a place reads the first two, the rest is under lock_. They change
  // under lock_, and memory that may be read only goes when nobody reads any more.
  struct Chunk {
    std::atomic<std::uint32_t> begun{0};  // how many of its places were ever taken
    std::byte* memory = nullptr;
    std::uint32_t count = 0;           // of its places; 0 when it has no memory
    std::uint32_t used = 0;            // of these
    std::uint32_t first_free = kNone;  // of those that were taken before
    std::uint32_t next = kNone;        // in the list that it is in
    std::uint32_t before = kNone;

    [[nodiscard]] bool IsFull() const noexcept { return used == count; }
  };

  // The chunks; their numbers are what a place's number begins with.
  struct Directory {
    explicit Directory(std::size_t its_room)
        : room(its_room), chunks(std::make_unique<Chunk[]>(its_room)) {}
    const std::size_t room;
    const std::unique_ptr<Chunk[]> chunks;
  };

  struct alignas(kLine) Lock {
    Mutex mutex;
  };

  [[nodiscard]] Head* HeadIn(const Chunk& chunk, std::uint32_t place) const noexcept {
    return reinterpret_cast<Head*>(chunk.memory + place * whole_size_);
  }
  // Null for a number that was never taken, or whose chunk is gone.
  [[nodiscard]] Head* HeadOf(Number number) const noexcept {
    const Directory* const all = directory_.load(std::memory_order_acquire);
    const std::size_t at = std::size_t{number} >> growth_.place_bits;
    if (all == nullptr || at >= all->room) return nullptr;
    const Chunk& chunk = all->chunks[at];
    const std::uint32_t place = number & place_mask_;
    if (place >= chunk.begun.load(std::memory_order_acquire)) return nullptr;
    return HeadIn(chunk, place);
  }

  [[nodiscard]] Chunk& ChunkAt(std::uint32_t at) const noexcept {
    return directory_.load(std::memory_order_relaxed)->chunks[at];
  }
  void PutInto(std::uint32_t& list, std::uint32_t at) noexcept KT_REQUIRES(lock_);
  void TakeOutOf(std::uint32_t& list, std::uint32_t at) noexcept KT_REQUIRES(lock_);
  void AddChunk() KT_REQUIRES(lock_);
  void DropChunk(std::uint32_t at) noexcept KT_REQUIRES(lock_);
  void KeepOrDrop(std::uint32_t at) noexcept KT_REQUIRES(lock_);
  void MakeRoomInDirectory() KT_REQUIRES(lock_);
  // Returns when everybody who held a lock of a place when it was called has given it back.
  void WaitForReaders() const noexcept KT_REQUIRES(lock_);

  const std::size_t whole_size_;
  const Growth growth_;
  const std::uint32_t place_mask_;
  std::atomic<Directory*> directory_{nullptr};  // null before the first place
  mutable Mutex lock_;
  std::uint32_t roomy_ KT_GUARDED_BY(lock_) = kNone;  // chunks with a free place: a list
  std::uint32_t empty_ KT_GUARDED_BY(lock_) = kNone;  // chunks without memory: a list
  std::uint32_t kept_ KT_GUARDED_BY(lock_) = kNone;   // the chunk that is kept though it is empty
  std::size_t places_ KT_GUARDED_BY(lock_) = 0;       // of all chunks
  std::size_t used_ KT_GUARDED_BY(lock_) = 0;
  mutable std::array<Lock, kLocks> locks_;
};

}  // namespace kt::bus
