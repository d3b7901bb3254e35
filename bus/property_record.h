// Records: the form in which a property leaves the framework, one block with everything in it.
//
// Most are plain and small, and are taken from and given back to what the thread keeps. That way is
// part of whoever calls it; what is not so comes from one function of its own.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstring>
#include <new>

#include "bus/inlining.h"
#include "bus/ledger.h"
#include "bus/memory.h"
#include "bus/property_image.h"
#include "bus/property_map.h"
#include "ktbus3/ktbus3.h"

namespace kt::bus {

// What MakeRecord() and FreeRecord() do in all cases; the second one after the record was claimed.
KT_SELDOM cuvo_property* MakeAnyRecord(const PropertyImage& property, Account& account);
KT_SELDOM bool FreeLargeRecord(cuvo_property* record) noexcept;
KT_SELDOM bool FreeClaimedRecord(cuvo_property* record, small_blocks::Word word) noexcept;

// Puts the head of a plain property's record into its block.
inline cuvo_property* WriteHead(std::byte* block, const std::byte* image) noexcept {
  const auto& head = *reinterpret_cast<const cuvo_property*>(image);
  // Where a record has an address, the image has the distance from its beginning.
  const auto address = [block](const void* distance) {
    return block + std::bit_cast<std::uintptr_t>(distance);
  };
  auto* const record = new (block) cuvo_property(head);
  record->name = reinterpret_cast<const char*>(address(head.name));
  if (head.value != nullptr) record->value = address(head.value);
  return record;
}

// A new record of the property, put down to the account together with the property sets that it
// carries. Throws std::bad_alloc and leaves nothing behind.
inline cuvo_property* MakeRecord(const PropertyImage& property, Account& account) {
  return MakeAnyRecord(property, account);
}
KT_IN_PLACE cuvo_property* MakeRecord(const PropertyInMap& property, Account& account) {
  const std::byte* const image = property.bytes();
  const std::size_t size = property.size();
  if (small_blocks::kThereAreAny && size <= small_blocks::kLargest - kGuardSize &&
      IsPlain(reinterpret_cast<const cuvo_property*>(image)->type) && IsOwn(own_stripe)) {
    if (void* const block =
            small_blocks::AllocateKept(size, size + kGuardSize, Kind::kRecord, account)) {
      account.HandOutAlone(Kind::kRecord);
      auto* const begin = static_cast<std::byte*>(block);
      // So few bytes are not worth a call. Of the last step some lie behind the property; they go
      // where the guard comes to stand.
      static_assert(kImageStep <= kGuardSize || !small_blocks::kThereAreAny);
      for (std::size_t place = kValuePlace; place < size; place += kImageStep) {
        std::array<std::byte, kImageStep> step;
        std::memcpy(step.data(), image + place, kImageStep);
        std::memcpy(begin + place, step.data(), kImageStep);
      }
      SetGuard(block, size);
      return WriteHead(begin, image);
    }
  }
  return MakeAnyRecord(property.Image(), account);
}

// Releases a record and the property sets that it carries; false, and nothing happens, when the
// pointer is no record of the framework's.
KT_IN_PLACE bool FreeRecord(cuvo_property* record) noexcept {
  const small_blocks::Claimed claimed = small_blocks::ClaimWord(record, Kind::kRecord);
  if (claimed.word == 0) return FreeLargeRecord(record);
  if (!IsPlain(record->type) || !GuardIsWhole({record, nullptr, claimed.size()}) ||
      !IsOwn(own_stripe)) {
    return FreeClaimedRecord(record, claimed.word);
  }
  claimed.account().ReturnAlone(Kind::kRecord);
  small_blocks::Release(record, claimed.place);
  return true;
}

}  // namespace kt::bus
