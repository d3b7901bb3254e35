#include "bus/flat_property.h"

#include <bit>
#include <cstring>
#include <new>

#include "bus/memory.h"
#include "bus/property_image.h"

namespace kt::bus {

cuvo_property RecordOf(const FlatProperty& property) noexcept {
  cuvo_property record{};
  record.name = property.name.data();
  record.type = property.type;
  record.flags = property.flags;
  // Of a text its room may end before its terminator.
  record.length = static_cast<std::uint32_t>(property.value.size());
  record.value = const_cast<char*>(property.value.data());
  return record;
}

cuvo_property* MakeRecord(const FlatProperty& property, Account& account) {
  const std::size_t length = property.value.size() + property.terminator;
  auto* const block = static_cast<char*>(
      AllocateBlock(kValuePlace + length + property.name.size() + 1, Kind::kRecord, account));
  if (block == nullptr) throw std::bad_alloc();

  cuvo_property record = RecordOf(property);
  char* place = block + kValuePlace;
  record.length = static_cast<std::uint32_t>(length);
  record.value = length == 0 ? nullptr : place;
  std::memcpy(place, property.value.data(), property.value.size());
  place += property.value.size();
  for (std::uint32_t i = 0; i < property.terminator; ++i) *place++ = '\0';
  record.name = place;
  std::memcpy(place, property.name.data(), property.name.size());
  place[property.name.size()] = '\0';
  std::memcpy(block, &record, sizeof(record));
  return std::bit_cast<cuvo_property*>(block);
}

}  // namespace kt::bus
