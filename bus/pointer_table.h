// A hash table from block addresses to what is known of the block: open addressing, linear
// probing, no tombstones. It tells a live block from any other pointer without touching either.
//
// Threads: none of its own; the memory registry locks around it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace kt::bus {

class Account;
enum class Kind : std::uint8_t;

struct BlockInfo {
  void* block = nullptr;  // null: a free place
  Account* account = nullptr;
  std::size_t size = 0;
  Kind kind{};
  bool small = false;  // in a slab (small_blocks.h), and in no table of pointers
};

class PointerTable {
 public:
  // Adds a block that is not there; throws std::bad_alloc with the table unchanged.
  void Add(const BlockInfo& info);

  // What is known of the block, or null. Good until the next change.
  [[nodiscard]] const BlockInfo* Find(const void* block) const noexcept;

  // Removes a block that is there.
  void Remove(const void* block) noexcept;

 private:
  [[nodiscard]] std::size_t Home(const void* block) const noexcept;
  [[nodiscard]] std::size_t Place(const void* block) const noexcept;
  void Grow();

  std::vector<BlockInfo> places_;  // size is a power of two, at most half full
  std::size_t count_ = 0;
};

}  // namespace kt::bus
