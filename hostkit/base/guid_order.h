// Equality and order of GUIDs and object ids: field by field, the 32-bit field first, then the two
// 16-bit fields, all unsigned, then the eight trailing bytes in order.
#pragma once

#include <bit>
#include <compare>
#include <cstdint>
#include <iterator>

#include "ktbus3/ktbus3.h"

namespace kt {

// The all-zero id: bound to no object, and "any object" in a control path.
inline constexpr KtObjId kNullObjId{};

constexpr std::strong_ordering CompareGuids(const KtGuid& left, const KtGuid& right) noexcept {
  if (const auto order = left.Data1 <=> right.Data1; std::is_neq(order)) return order;
  if (const auto order = left.Data2 <=> right.Data2; std::is_neq(order)) return order;
  if (const auto order = left.Data3 <=> right.Data3; std::is_neq(order)) return order;
  for (std::size_t i = 0; i < std::size(left.Data4); ++i) {
    if (const auto order = left.Data4[i] <=> right.Data4[i]; std::is_neq(order)) return order;
  }
  return std::strong_ordering::equal;
}

constexpr bool EqualGuids(const KtGuid& left, const KtGuid& right) noexcept {
  struct Words {
    std::uint64_t first;
    std::uint64_t second;
  };
  const auto one = std::bit_cast<Words>(left);
  const auto other = std::bit_cast<Words>(right);
  return ((one.first ^ other.first) | (one.second ^ other.second)) == 0;
}

// Orders ids in maps. Ids differ in the first field as a rule.
struct ObjIdLess {
  constexpr bool operator()(const KtObjId& left, const KtObjId& right) const noexcept {
    if (left.guid.Data1 != right.guid.Data1) return left.guid.Data1 < right.guid.Data1;
    return std::is_lt(CompareGuids(left.guid, right.guid));
  }
};

constexpr bool IsNullId(const KtObjId& id) noexcept {
  return EqualGuids(id.guid, kNullObjId.guid);
}

}  // namespace kt
