// IdRoll keeps the ids of the objects of one type, side by side in the order of creation, so that a
// list of them is a copy.
//
// Each has a number: its place in the order of creation over all types. An id that is removed
// leaves a gap; gaps are closed when they are more than a quarter of the list, so that a removal
// costs a few steps on the whole, however many there are, and the room follows the number of ids.
//
// Threads: none of its own.
// Failure: MakeRoom() throws std::bad_alloc and changes nothing then; nothing else throws.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "ktbus3/ktbus3.h"

namespace kt::bus {

class IdRoll {
 public:
  struct Entry {
    std::uint64_t number;
    KtObjId id;
  };

  [[nodiscard]] std::size_t size() const noexcept { return ids_.size() - gaps_; }

  // How many ids there is memory for, gaps included.
  [[nodiscard]] std::size_t capacity() const noexcept {
    return std::max(ids_.capacity(), numbers_.capacity());
  }

  // So that the next Append() has room.
  void MakeRoom();
  // Where the next Append() puts.
  [[nodiscard]] std::size_t NextPlace() const noexcept { return ids_.size(); }
  // After MakeRoom(); a number above all that are there.
  void Append(std::uint64_t number, const KtObjId& id) noexcept;

  // Removes what has that number and was put at that place; it may have moved.
  void Remove(std::uint64_t number, std::size_t place) noexcept;

  // All ids in order, into room for size() of them.
  void CopyTo(KtObjId* room) const noexcept;
  // All behind what is in `out`, in order. Throws std::bad_alloc.
  void AppendTo(std::vector<Entry>& out) const;

 private:
  void CloseGaps() noexcept;

  // An id without bits is a gap. Its number stays, for the order of the others.
  std::vector<KtObjId> ids_;
  std::vector<std::uint64_t> numbers_;
  std::size_t gaps_ = 0;
};

}  // namespace kt::bus
