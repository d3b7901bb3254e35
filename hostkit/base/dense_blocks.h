// Memory for many things of one kind that are looked at in any order: they stand side by side,
// whatever else was allocated between them, and each begins a line of the cache.
//
// A control looks at one of thousands of handlers. Where each has its piece of the heap, they stand
// kilobytes apart, behind the objects that were made with them, and each look is at a page of its
// own, which costs more than all the rest of a control.
//
// Blocks come from chunks, which are given back to the heap as soon as they are empty: nothing
// stays behind for a module that is unloaded.
//
// Threads: any. The lock is a spinning one, held for a few steps: a lock of the framework could be
//          seen, and one of the library leaves memory behind on Windows.
// Failure: Allocate() and DenseAllocator throw std::bad_alloc.
#pragma once

#include <atomic>
#include <cstddef>
#include <new>

namespace kt {

// Blocks of one size.
class DenseBlocks {
 public:
  constexpr explicit DenseBlocks(std::size_t size) noexcept
      : size_((size + kLine - 1) / kLine * kLine) {}
  DenseBlocks(const DenseBlocks&) = delete;
  DenseBlocks& operator=(const DenseBlocks&) = delete;

  // A block, aligned to a line of the cache.
  [[nodiscard]] void* Allocate();
  void Free(void* block) noexcept;

  // The chunks that there are, for tests.
  [[nodiscard]] std::size_t Chunks() noexcept;

  static constexpr std::size_t kLine = 64;
  static constexpr std::size_t kChunk = std::size_t{16} * 1024;

 private:
  struct FreeBlock {
    FreeBlock* next;
  };
  // The begin of a chunk, which starts at a multiple of its size. Chunks with a free block are
  // linked.
  struct Chunk {
    Chunk* next = nullptr;
    Chunk* previous = nullptr;
    FreeBlock* free = nullptr;
    std::size_t taken = 0;
  };
  class Guard;

  Chunk* MakeChunk() const;
  void Link(Chunk* chunk) noexcept;
  void Unlink(Chunk* chunk) noexcept;

  const std::size_t size_;
  std::atomic<bool> locked_{false};
  Chunk* with_room_ = nullptr;
  std::size_t chunks_ = 0;
};

// The blocks of all things of that size.
template <std::size_t kSize>
inline DenseBlocks& DenseBlocksOf() noexcept {
  static_assert(kSize <= DenseBlocks::kChunk / 16);
  static constinit DenseBlocks blocks(kSize);
  return blocks;
}

// For std::allocate_shared.
template <typename T>
class DenseAllocator {
 public:
  using value_type = T;

  DenseAllocator() = default;
  template <typename U>
  DenseAllocator(const DenseAllocator<U>& /*other*/) noexcept {}  // NOLINT: as allocators convert

  [[nodiscard]] T* allocate(std::size_t count) {
    static_assert(alignof(T) <= DenseBlocks::kLine);
    if (count != 1) throw std::bad_alloc();
    return static_cast<T*>(DenseBlocksOf<sizeof(T)>().Allocate());
  }
  void deallocate(T* block, std::size_t /*count*/) noexcept {
    DenseBlocksOf<sizeof(T)>().Free(block);
  }

  template <typename U>
  friend bool operator==(const DenseAllocator& /*left*/, const DenseAllocator<U>& /*right*/) {
    return true;
  }
};

}  // namespace kt
