#include "bus/property_row.h"

#include <cstring>

namespace kt::bus {

// The head of a property. Its name follows with a zero, where it is read for comparing whatever the
// head says, then its value, then what fills the last eight bytes.
struct PropertyRow::Entry {
  std::uint32_t type;
  std::uint32_t flags;
  std::uint16_t size;        // of the whole entry
  std::uint16_t value_size;  // with its terminator
  std::uint8_t name_size;
  std::uint8_t terminator;

  static std::size_t SizeFor(const FlatProperty& property) noexcept {
    const std::size_t value = property.value.size() + property.terminator;
    return (sizeof(Entry) + value + property.name.size() + 1 + 7) / 8 * 8;
  }

  [[nodiscard]] char* text() noexcept { return reinterpret_cast<char*>(this + 1); }
  [[nodiscard]] std::string_view name() noexcept { return {text(), name_size}; }
  [[nodiscard]] Entry* Next() noexcept {
    return reinterpret_cast<Entry*>(reinterpret_cast<std::byte*>(this) + size);
  }

  [[nodiscard]] FlatProperty View() noexcept {
    const std::size_t length = static_cast<std::size_t>(value_size) - terminator;
    return {type, flags, terminator, name(), {text() + name_size + 1, length}};
  }

  void Write(const FlatProperty& property, std::size_t whole) noexcept {
    type = property.type;
    flags = property.flags;
    size = static_cast<std::uint16_t>(whole);
    value_size = static_cast<std::uint16_t>(property.value.size() + property.terminator);
    name_size = static_cast<std::uint8_t>(property.name.size());
    terminator = static_cast<std::uint8_t>(property.terminator);
    char* place = text();
    std::memcpy(place, property.name.data(), property.name.size());
    place += property.name.size();
    *place++ = 0;
    std::memcpy(place, property.value.data(), property.value.size());
    place += property.value.size();
    for (std::uint32_t i = 0; i < property.terminator; ++i) *place++ = 0;
  }
};

std::byte* PropertyRow::bytes() const noexcept {
  static_assert(sizeof(PropertyRow) == 8);
  return reinterpret_cast<std::byte*>(const_cast<PropertyRow*>(this) + 1);
}

PropertyRow::Entry* PropertyRow::First() const noexcept {
  return reinterpret_cast<Entry*>(bytes());
}

PropertyRow::Entry* PropertyRow::End() const noexcept {
  return reinterpret_cast<Entry*>(bytes() + used_);
}

void PropertyRow::Clear() noexcept {
  used_ = 0;
  count_ = 0;
}

void PropertyRow::CopyFrom(const PropertyRow& other) noexcept {
  std::memcpy(bytes(), other.bytes(), other.used_);
  used_ = other.used_;
  count_ = other.count_;
}

PropertyRow::Entry* PropertyRow::EntryOf(std::string_view name) const noexcept {
  Entry* const end = End();
  for (Entry* entry = First(); entry != end; entry = entry->Next()) {
    if (entry->name() == name) return entry;
  }
  return nullptr;
}

std::optional<FlatProperty> PropertyRow::Find(std::string_view name) const noexcept {
  Entry* const entry = EntryOf(name);
  return entry == nullptr ? std::nullopt : std::optional(entry->View());
}

FlatProperty PropertyRow::At(std::size_t place) const noexcept {
  Entry* entry = First();
  for (; place != 0; --place) entry = entry->Next();
  return entry->View();
}

std::size_t PropertyRow::RoomWith(const FlatProperty& property) const noexcept {
  if (property.value.size() + property.terminator > kLargestValue) return kNoRoom;
  Entry* const old = EntryOf(property.name);
  if (old == nullptr && (count_ == kMost || property.name.size() > kLongestName)) return kNoRoom;
  const std::size_t left = used_ - (old == nullptr ? 0U : old->size);
  return left + Entry::SizeFor(property);
}

void PropertyRow::Put(const FlatProperty& property) noexcept {
  static_assert(kMost * (sizeof(Entry) + kLargestValue + kLongestName + 8) <= UINT16_MAX);
  const std::size_t size = Entry::SizeFor(property);
  Entry* entry = EntryOf(property.name);
  if (entry == nullptr) {
    entry = End();
    used_ = static_cast<std::uint16_t>(used_ + size);
    ++count_;
  } else if (entry->size != size) {
    // Those behind it move.
    const Entry* const next = entry->Next();
    const auto behind = static_cast<std::size_t>(reinterpret_cast<const std::byte*>(End()) -
                                                 reinterpret_cast<const std::byte*>(next));
    std::memmove(reinterpret_cast<std::byte*>(entry) + size, next, behind);
    used_ = static_cast<std::uint16_t>(used_ - entry->size + size);
  }
  entry->Write(property, size);
}

}  // namespace kt::bus
