#include "base/dense_blocks.h"

#include <cstdint>
#include <thread>

namespace kt {

class DenseBlocks::Guard {
 public:
  explicit Guard(std::atomic<bool>& locked) noexcept : locked_(locked) {
    while (locked_.exchange(true, std::memory_order_acquire)) std::this_thread::yield();
  }
  ~Guard() { locked_.store(false, std::memory_order_release); }
  Guard(const Guard&) = delete;
  Guard& operator=(const Guard&) = delete;

 private:
  std::atomic<bool>& locked_;
};

void* DenseBlocks::Allocate() {
  const Guard guard(locked_);
  if (with_room_ == nullptr) {
    Link(MakeChunk());
    ++chunks_;
  }
  Chunk* const chunk = with_room_;
  FreeBlock* const block = chunk->free;
  chunk->free = block->next;
  ++chunk->taken;
  if (chunk->free == nullptr) Unlink(chunk);
  return block;
}

void DenseBlocks::Free(void* block) noexcept {
  const Guard guard(locked_);
  const std::size_t offset = reinterpret_cast<std::uintptr_t>(block) & (kChunk - 1);
  auto* const chunk = reinterpret_cast<Chunk*>(static_cast<std::byte*>(block) - offset);
  if (chunk->free == nullptr) Link(chunk);
  chunk->free = new (block) FreeBlock{chunk->free};
  if (--chunk->taken != 0) return;
  Unlink(chunk);
  --chunks_;
  ::operator delete (chunk, std::align_val_t{kChunk});
}

std::size_t DenseBlocks::Chunks() noexcept {
  const Guard guard(locked_);
  return chunks_;
}

// Its first block is the first to be taken.
DenseBlocks::Chunk* DenseBlocks::MakeChunk() const {
  auto* const room = static_cast<std::byte*>(::operator new (kChunk, std::align_val_t{kChunk}));
  auto* const chunk = new (room) Chunk;
  static_assert(sizeof(Chunk) <= kLine);
  for (std::size_t count = (kChunk - kLine) / size_; count != 0; --count) {
    chunk->free = new (room + kLine + (count - 1) * size_) FreeBlock{chunk->free};
  }
  return chunk;
}

void DenseBlocks::Link(Chunk* chunk) noexcept {
  chunk->previous = nullptr;
  chunk->next = with_room_;
  if (with_room_ != nullptr) with_room_->previous = chunk;
  with_room_ = chunk;
}

void DenseBlocks::Unlink(Chunk* chunk) noexcept {
  if (chunk->next != nullptr) chunk->next->previous = chunk->previous;
  (chunk->previous != nullptr ? chunk->previous->next : with_room_) = chunk->next;
}

}  // namespace kt
