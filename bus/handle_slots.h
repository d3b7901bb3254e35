// HandleSlots keeps things in numbered slots and gives out handles to them: things that are made
// and dropped all the time and that only one call at a time may work on, such as property sets.
//
// A handle is a slot and a generation, never an address: one that was destroyed, or that never was
// one, is found out without touching memory that is not ours. Its 64 bits: 16 of a tag that no
// user-space address has (0xB10 and the handle kind), 24 of a generation, 24 of a slot. A slot
// whose generations are used up is not used again. Slots stay where they are for good, so that a
// look-up finds the slot without a lock; the lock in the slot is then the one lock of the whole
// call, and keeps the thing there until the call is done with it.
//
// Threads: everything from any thread. What works on a thing runs under its slot's lock, and may in
//          there make and drop things, but reach no other slot of the same table. Each thread takes
//          slots from a list of its own, or shares one with few; a slot goes back to where it came
//          from.
// Ownership: a table is for the whole run; its slots are never given back.
// Failure: Insert throws std::bad_alloc, and nothing has changed.
#pragma once

#include <array>
#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "bus/handle_table.h"
#include "bus/lock.h"
#include "bus/slot_lock.h"

namespace kt::bus {

// Which list of slots this thread takes from.
std::uint32_t SlotListOfThread() noexcept;

// T: the thing, movable without throwing; Handle: the C type of its handle (a pointer to an
// incomplete struct).
template <typename T, typename Handle, HandleKind kKind>
class HandleSlots {
 public:
  constexpr HandleSlots() noexcept = default;
  HandleSlots(const HandleSlots&) = delete;
  HandleSlots& operator=(const HandleSlots&) = delete;
  ~HandleSlots() = default;

  // The account that the thing stands in (null: in none) comes back when it is taken out.
  Handle Insert(T thing, Account* account) {
    const std::uint32_t number = TakeFree(SlotListOfThread() % kLists);
    Slot& slot = *SlotOf(number);
    const SlotGuard guard(slot.lock);
    slot.thing = std::move(thing);
    slot.account = account;
    slot.handle = (kTag << 48U) | (std::uint64_t{slot.generation} << 24U) | number;
    return std::bit_cast<Handle>(slot.handle);
  }

  // Calls body(thing) under the lock; false when the handle is none.
  template <typename Body>
  bool With(Handle handle, Body&& body) {
    const auto bits = std::bit_cast<std::uint64_t>(handle);
    Slot* const slot = SlotOf(static_cast<std::uint32_t>(bits & kLastSlot));
    if (slot == nullptr) return false;
    const SlotGuard guard(slot->lock);
    if (slot->handle != bits || bits == kFree) return false;
    body(slot->thing);
    return true;
  }

  [[nodiscard]] bool Has(Handle handle) {
    return With(handle, [](T&) {});
  }

  // Takes the thing out and drops it; the handle is stale from here on. False when it is none.
  bool Remove(Handle handle, Account*& account) noexcept {
    const auto bits = std::bit_cast<std::uint64_t>(handle);
    const auto number = static_cast<std::uint32_t>(bits & kLastSlot);
    Slot* const slot = SlotOf(number);
    if (slot == nullptr) return false;
    T dropped;
    bool lasts = false;
    {
      const SlotGuard guard(slot->lock);
      if (slot->handle != bits || bits == kFree) return false;
      slot->handle = kFree;
      dropped = std::exchange(slot->thing, T{});
      account = slot->account;
      lasts = ++slot->generation <= kLastGeneration;
    }
    if (lasts) GiveFree(number);
    return true;
  }

 private:
  static constexpr std::uint32_t kLists = 16;
  static constexpr std::uint64_t kLastSlot = (1U << 24U) - 1;
  static constexpr std::uint32_t kLastGeneration = (1U << 24U) - 1;
  static constexpr std::uint64_t kTag = 0xB100U | static_cast<std::uint64_t>(kKind);
  static constexpr std::uint64_t kFree = 0;  // in the place of a handle

  // Slots are made so many at a time; the directory has a place for each such chunk, most of them
  // never touched.
  static constexpr unsigned kChunkShift = 8;
  static constexpr std::uint32_t kChunkSize = 1U << kChunkShift;
  static constexpr std::uint32_t kChunks = (1U << 24U) / kChunkSize;

  struct Slot {
    SlotLock lock;
    std::uint32_t generation KT_GUARDED_BY(lock) = 1;
    std::uint64_t handle KT_GUARDED_BY(lock) = kFree;
    Account* account KT_GUARDED_BY(lock) = nullptr;
    T thing KT_GUARDED_BY(lock);
  };
  struct Chunk {
    std::uint32_t list = 0;  // where its slots go when they are free
    std::array<Slot, kChunkSize> slots{};
  };
  struct List {
    Mutex lock;
    std::uint32_t size KT_GUARDED_BY(lock) = 0;  // slots, free or not
    std::vector<std::uint32_t> free KT_GUARDED_BY(lock);
  };

  // The slot of that number, or null when there is none yet.
  Slot* SlotOf(std::uint32_t number) noexcept {
    Chunk* const chunk = chunks_[number >> kChunkShift].load(std::memory_order_acquire);
    return chunk == nullptr ? nullptr : &chunk->slots[number % kChunkSize];
  }

  std::uint32_t TakeFree(std::uint32_t number) {
    List& list = lists_[number];
    const MutexGuard guard(list.lock);
    if (list.free.empty()) AddChunk(list, number);
    const std::uint32_t slot = list.free.back();
    list.free.pop_back();
    return slot;
  }

  void AddChunk(List& list, std::uint32_t number) KT_REQUIRES(list.lock) {
    list.free.reserve(list.size + kChunkSize);  // so that GiveFree() never allocates
    auto made = std::make_unique<Chunk>();
    made->list = number;
    std::uint32_t place = chunk_count_.load(std::memory_order_relaxed);
    do {
      if (place == kChunks) throw std::bad_alloc();
    } while (!chunk_count_.compare_exchange_weak(place, place + 1, std::memory_order_relaxed));
    chunks_[place].store(made.release(), std::memory_order_release);
    // The lowest one is the first to be taken.
    for (std::uint32_t i = kChunkSize; i != 0; --i) {
      list.free.push_back((place << kChunkShift) + i - 1);
    }
    list.size += kChunkSize;
  }

  void GiveFree(std::uint32_t number) noexcept {
    const Chunk* const chunk = chunks_[number >> kChunkShift].load(std::memory_order_acquire);
    List& list = lists_[chunk->list];
    const MutexGuard guard(list.lock);
    list.free.push_back(number);
  }

  std::atomic<std::uint32_t> chunk_count_{0};
  std::array<std::atomic<Chunk*>, kChunks> chunks_{};
  std::array<List, kLists> lists_;
};

}  // namespace kt::bus
