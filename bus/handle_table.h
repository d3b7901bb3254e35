// Handles are slots with generations, never addresses: a handle that was destroyed, or that never
// was one, is found out without touching memory that is not ours.
//
// A handle's 64 bits: 16 of a tag that no user-space address has (0xB10 and the handle kind), 24 of
// a generation, 24 of a slot. A slot whose generations are used up is not used again.
//
// Threads: everything from any thread; the table is cut into shards, a look-up is a lock and a
// counted reference, so the thing lives at least as long as the call that looked it up. The lock is
// a plain one: it is held for a few steps, and one that knows readers costs each of them more.
#pragma once

#include <array>
#include <atomic>
#include <bit>
#include <cstdint>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "bus/lock.h"

namespace kt::bus {

class Account;

enum class HandleKind : std::uint8_t { kDatabase = 1, kProvider, kPropset, kIterator };

// T: the thing; Handle: the C type of its handle (a pointer to an incomplete struct).
template <typename T, typename Handle, HandleKind kKind>
class HandleTable {
 public:
  // What a slot holds: the thing, and the account that it stands in (null: in none).
  struct Entry {
    std::shared_ptr<T> thing;
    Account* account = nullptr;
    explicit operator bool() const noexcept { return thing != nullptr; }
  };

  // Throws std::bad_alloc; the table is then unchanged.
  Handle Insert(std::shared_ptr<T> thing, Account* account) {
    const std::uint32_t number = next_shard_.fetch_add(1, std::memory_order_relaxed) % kShards;
    Shard& shard = shards_[number];
    const MutexGuard guard(shard.lock);
    if (shard.free.empty()) {
      if (shard.slots.size() >= kSlotsPerShard) throw std::bad_alloc();
      shard.free.reserve(shard.slots.size() + 1);  // so that Remove never allocates
      shard.slots.emplace_back();
      shard.free.push_back(static_cast<std::uint32_t>(shard.slots.size() - 1));
    }
    const std::uint32_t index = shard.free.back();
    shard.free.pop_back();
    Slot& slot = shard.slots[index];
    slot.entry = {std::move(thing), account};
    return Encode(slot.generation, index * kShards + number);
  }

  // The thing, or null for a handle that is none.
  [[nodiscard]] std::shared_ptr<T> Find(Handle handle) const {
    Key key;
    if (!Decode(handle, key)) return nullptr;
    Shard& shard = shards_[key.shard];
    const MutexGuard guard(shard.lock);
    if (key.index >= shard.slots.size()) return nullptr;
    const Slot& slot = shard.slots[key.index];
    return slot.generation == key.generation ? slot.entry.thing : nullptr;
  }

  // Takes the thing out; its handle is stale from here on. Empty for a handle that is none.
  Entry Remove(Handle handle) noexcept {
    Key key;
    if (!Decode(handle, key)) return {};
    Shard& shard = shards_[key.shard];
    const MutexGuard guard(shard.lock);
    if (key.index >= shard.slots.size()) return {};
    Slot& slot = shard.slots[key.index];
    if (slot.generation != key.generation || !slot.entry) return {};
    Entry entry = std::exchange(slot.entry, Entry{});
    if (++slot.generation <= kLastGeneration) shard.free.push_back(key.index);
    return entry;
  }

 private:
  static constexpr std::uint32_t kShards = 16;
  static constexpr std::uint32_t kSlotsPerShard = (1U << 24U) / kShards;
  static constexpr std::uint32_t kLastGeneration = (1U << 24U) - 1;
  static constexpr std::uint64_t kTag = 0xB100U | static_cast<std::uint64_t>(kKind);

  struct Slot {
    std::uint32_t generation = 1;
    Entry entry;
  };
  struct Shard {
    Mutex lock;
    std::vector<Slot> slots KT_GUARDED_BY(lock);
    std::vector<std::uint32_t> free KT_GUARDED_BY(lock);
  };
  struct Key {
    std::uint32_t shard = 0;
    std::uint32_t index = 0;
    std::uint32_t generation = 0;
  };

  static Handle Encode(std::uint32_t generation, std::uint32_t slot) noexcept {
    const std::uint64_t bits =
        (kTag << 48U) | (static_cast<std::uint64_t>(generation) << 24U) | slot;
    return std::bit_cast<Handle>(bits);
  }

  static bool Decode(Handle handle, Key& key) noexcept {
    const auto bits = std::bit_cast<std::uint64_t>(handle);
    if ((bits >> 48U) != kTag) return false;
    const auto slot = static_cast<std::uint32_t>(bits & 0xFFFFFFU);
    key.shard = slot % kShards;
    key.index = slot / kShards;
    key.generation = static_cast<std::uint32_t>((bits >> 24U) & 0xFFFFFFU);
    return true;
  }

  mutable std::array<Shard, kShards> shards_;
  std::atomic<std::uint32_t> next_shard_{0};
};

}  // namespace kt::bus
