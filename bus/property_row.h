// PropertyRow keeps the properties of an object, a few small ones, one after the other in one piece
// of memory: for each its type, its value and its name. Most objects need no more, and reading one
// of their properties touches a line or two of memory that lie together.
//
// Only flat properties (bus/flat_property.h) stand in a row, with short values and names. Its owner
// keeps them elsewhere, all of them, once there is one that is not, or one too many.
//
// The row is the head of a piece of memory; the room for its properties lies right behind it. It
// cannot grow: its owner makes a larger one, which takes over.
//
// Threads:   none of its own.
// Failure:   nothing throws.
// Ownership: views that are handed out are good until the row changes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "bus/flat_property.h"

namespace kt::bus {

class PropertyRow {
 public:
  static constexpr std::size_t kMost = 24;
  static constexpr std::size_t kLongestName = 255;
  static constexpr std::size_t kLargestValue = 128;  // its terminator included
  static constexpr std::size_t kNoRoom = static_cast<std::size_t>(-1);

  // So many bytes lie behind it.
  explicit PropertyRow(std::size_t room) noexcept : room_(static_cast<std::uint16_t>(room)) {}
  PropertyRow(const PropertyRow&) = delete;
  PropertyRow& operator=(const PropertyRow&) = delete;
  ~PropertyRow() = default;

  [[nodiscard]] std::size_t size() const noexcept { return count_; }
  [[nodiscard]] std::size_t room() const noexcept { return room_; }

  void Clear() noexcept;
  // Becomes a copy of the other one; it has the room.
  void CopyFrom(const PropertyRow& other) noexcept;

  // The property of that name, or nothing; the one at a place below size(), in the order of adding.
  [[nodiscard]] std::optional<FlatProperty> Find(std::string_view name) const noexcept;
  [[nodiscard]] FlatProperty At(std::size_t place) const noexcept;

  // The room of a row that has all of this one's and that property, in the place of the one of that
  // name or as one more; kNoRoom when it cannot stand in a row with them.
  [[nodiscard]] std::size_t RoomWith(const FlatProperty& property) const noexcept;

  // Adds the property or replaces the one of that name, which keeps its place. There is room.
  void Put(const FlatProperty& property) noexcept;

 private:
  struct Entry;

  [[nodiscard]] std::byte* bytes() const noexcept;
  [[nodiscard]] Entry* First() const noexcept;
  [[nodiscard]] Entry* End() const noexcept;
  [[nodiscard]] Entry* EntryOf(std::string_view name) const noexcept;

  std::uint16_t room_;
  std::uint16_t used_ = 0;
  std::uint32_t count_ = 0;  // eight bytes in all, so that what lies behind is aligned
};

}  // namespace kt::bus
