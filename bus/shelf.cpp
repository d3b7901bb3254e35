#include "bus/shelf.h"

#include <algorithm>
#include <new>
#include <utility>

#include "bus/huge_pages.h"

namespace kt::bus {
namespace {

constexpr std::size_t kFirstRoom = 8;  // chunks that the first directory has room for

}  // namespace

Shelf::Shelf(std::size_t whole_size, Growth growth) noexcept
    : whole_size_(whole_size),
      growth_(growth),
      place_mask_((std::uint32_t{1} << growth.place_bits) - 1) {}

Shelf::~Shelf() {
  Directory* const all = directory_.load(std::memory_order_relaxed);
  if (all == nullptr) return;
  for (std::size_t i = 0; i < all->room; ++i) {
    ::operator delete (all->chunks[i].memory, std::align_val_t{kLine});
  }
  delete all;
}

std::size_t Shelf::places() const {
  const MutexGuard guard(lock_);
  return places_;
}

// ---- Places ------------------------------------------------------------------------------------

Shelf::Place Shelf::Take() {
  const MutexGuard guard(lock_);
  if (roomy_ == kNone) AddChunk();
  const std::uint32_t at = roomy_;
  Chunk& chunk = ChunkAt(at);
  std::uint32_t place = chunk.first_free;
  if (place != kNone) {
    chunk.first_free = HeadIn(chunk, place)->next;
  } else {
    place = chunk.begun.load(std::memory_order_relaxed);
    new (HeadIn(chunk, place)) Head{false, kNone};
    chunk.begun.store(place + 1, std::memory_order_release);
  }
  if (at == kept_) kept_ = kNone;
  ++chunk.used;
  ++used_;
  if (chunk.IsFull()) TakeOutOf(roomy_, at);
  return {(at << growth_.place_bits) | place, HeadIn(chunk, place) + 1};
}

void Shelf::Give(Number number) noexcept {
  const MutexGuard guard(lock_);
  const std::uint32_t at = number >> growth_.place_bits;
  const std::uint32_t place = number & place_mask_;
  Chunk& chunk = ChunkAt(at);
  if (chunk.IsFull()) PutInto(roomy_, at);
  HeadIn(chunk, place)->next = chunk.first_free;
  chunk.first_free = place;
  --chunk.used;
  --used_;
  if (chunk.used == 0) KeepOrDrop(at);
}

// ---- Chunks ------------------------------------------------------------------------------------

void Shelf::PutInto(std::uint32_t& list, std::uint32_t at) noexcept {
  Chunk& chunk = ChunkAt(at);
  chunk.before = kNone;
  chunk.next = list;
  if (list != kNone) ChunkAt(list).before = at;
  list = at;
}

void Shelf::TakeOutOf(std::uint32_t& list, std::uint32_t at) noexcept {
  const Chunk& chunk = ChunkAt(at);
  if (chunk.next != kNone) ChunkAt(chunk.next).before = chunk.before;
  (chunk.before == kNone ? list : ChunkAt(chunk.before).next) = chunk.next;
}

void Shelf::AddChunk() {
  if (empty_ == kNone) MakeRoomInDirectory();
  const std::size_t most = std::min(std::size_t{1} << growth_.place_bits,
                                    std::max(kMostBytes / whole_size_, growth_.fewest));
  const std::size_t count = std::clamp(places_ / 4, growth_.fewest, most);
  const std::size_t size = count * whole_size_;
  auto* const memory = static_cast<std::byte*>(::operator new (size, std::align_val_t{kLine}));
  WantHugePages(memory, size);

  const std::uint32_t at = empty_;
  TakeOutOf(empty_, at);
  Chunk& chunk = ChunkAt(at);
  chunk.memory = memory;
  chunk.count = static_cast<std::uint32_t>(count);
  chunk.first_free = kNone;
  PutInto(roomy_, at);
  places_ += count;
}

void Shelf::DropChunk(std::uint32_t at) noexcept {
  Chunk& chunk = ChunkAt(at);
  TakeOutOf(roomy_, at);
  chunk.begun.store(0, std::memory_order_relaxed);
  WaitForReaders();
  ::operator delete (std::exchange(chunk.memory, nullptr), std::align_val_t{kLine});
  places_ -= chunk.count;
  chunk.count = 0;
  PutInto(empty_, at);
}

// The last chunk with room stays, so that one more and one less cost nothing again and again; but a
// large one does not stay for nothing at all, and single places never do.
void Shelf::KeepOrDrop(std::uint32_t at) noexcept {
  if (kept_ != kNone) {
    if (ChunkAt(at).count < ChunkAt(kept_).count) std::swap(at, kept_);
    DropChunk(at);
  } else if (growth_.fewest == 1 || roomy_ != at || ChunkAt(at).next != kNone) {
    DropChunk(at);
  } else {
    kept_ = at;
  }
  if (used_ == 0 && kept_ != kNone && ChunkAt(kept_).count > growth_.fewest) {
    DropChunk(std::exchange(kept_, kNone));
  }
}

void Shelf::MakeRoomInDirectory() {
  Directory* const old = directory_.load(std::memory_order_relaxed);
  const std::size_t most = (std::size_t{kNone} >> growth_.place_bits) + 1;
  const std::size_t before = old == nullptr ? 0 : old->room;
  const std::size_t room = std::min(std::max(kFirstRoom, before * 2), most);
  if (room == before) throw std::bad_alloc();  // there are no more numbers
  auto larger = std::make_unique<Directory>(room);
  for (std::size_t i = 0; i < before; ++i) {
    const Chunk& from = old->chunks[i];
    Chunk& to = larger->chunks[i];
    to.begun.store(from.begun.load(std::memory_order_relaxed), std::memory_order_relaxed);
    to.memory = from.memory;
    to.count = from.count;
    to.used = from.used;
    to.first_free = from.first_free;
    to.next = from.next;
    to.before = from.before;
  }
  directory_.store(larger.release(), std::memory_order_release);
  for (std::size_t i = room; i-- > before;) PutInto(empty_, static_cast<std::uint32_t>(i));
  if (old == nullptr) return;
  WaitForReaders();
  delete old;
}

void Shelf::WaitForReaders() const noexcept {
  for (Lock& lock : locks_) {
    const MutexGuard guard(lock.mutex);
  }
}

}  // namespace kt::bus
