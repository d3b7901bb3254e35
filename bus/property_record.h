// Records: the form in which a property leaves the framework, one block with everything in it.
#pragma once

#include <bit>
#include <cstddef>
#include <cstring>
#include <new>

#include "bus/ledger.h"
#include "bus/memory.h"
#include "bus/property_image.h"
#include "ktbus3/ktbus3.h"

namespace kt::bus {

// What MakeRecord() does for a property that is not plain.
cuvo_property* MakeLinkedRecord(const PropertyImage& property, Account& account);

// A new record of the property, put down to the account together with the property sets that it
// carries. Throws std::bad_alloc and leaves nothing behind.
inline cuvo_property* MakeRecord(const PropertyImage& property, Account& account) {
  const cuvo_property& head = *reinterpret_cast<const cuvo_property*>(property.bytes);
  if (!IsPlain(head.type)) return MakeLinkedRecord(property, account);
  auto* const block = static_cast<std::byte*>(AllocateBlock(property.size, Kind::kRecord, account));
  if (block == nullptr) throw std::bad_alloc();
  // Where a record has an address, the image has the distance from its beginning.
  const auto address = [block](const void* distance) {
    return block + std::bit_cast<std::uintptr_t>(distance);
  };
  auto* const record = new (block) cuvo_property(head);
  record->name = reinterpret_cast<const char*>(address(head.name));
  if (head.value != nullptr) record->value = address(head.value);
  std::memcpy(block + kValuePlace, property.bytes + kValuePlace, property.size - kValuePlace);
  return record;
}

// What FreeRecord() does for a record that is no small block, and for the sets that one carries.
bool FreeLargeRecord(cuvo_property* record) noexcept;
void DestroyCarriedSets(const cuvo_property& record, const BlockInfo& block) noexcept;

// Releases a record and the property sets that it carries; false, and nothing happens, when the
// pointer is no record of the framework's.
inline bool FreeRecord(cuvo_property* record) noexcept {
  const auto small = small_blocks::Claim(record, Kind::kRecord);
  if (!small) return FreeLargeRecord(record);
  if (!IsPlain(record->type)) DestroyCarriedSets(*record, *small);
  ReleaseSmall(*small);
  return true;
}

}  // namespace kt::bus
