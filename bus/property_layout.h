// How the value of each type stands in a record.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

#include "ktbus3/ktbus3.h"

namespace kt::bus {

enum class Shape : std::uint8_t {
  kNone,           // no property has this type
  kFixed,          // `width` bytes
  kText,           // narrow, zero-terminated
  kWideText,       // UTF-16, zero-terminated
  kBytes,          // as many bytes as `length` says
  kSet,            // a property set handle
  kMessage,        // KtI18NDef
  kFormatMessage,  // KtI18NFormatString
};

struct TypeLayout {
  Shape shape = Shape::kNone;
  std::uint32_t width = 0;  // bytes of one element in a list, and of a scalar of fixed size
};

inline constexpr std::uint32_t kListBit = 0x80000000U;
inline constexpr std::uint32_t kPropsetLength = 16;  // what a record says, whatever a handle's size

namespace layout {

inline constexpr std::size_t kTypes = TYPE_I18NFORMATSTRING + 1;

constexpr std::array<TypeLayout, kTypes> MakeTable() noexcept {
  std::array<TypeLayout, kTypes> table{};
  table[TYPE_BOOLEAN] = {Shape::kFixed, 1};
  table[TYPE_INT32] = {Shape::kFixed, 4};
  table[TYPE_UINT32] = {Shape::kFixed, 4};
  table[TYPE_INT64] = {Shape::kFixed, 8};
  table[TYPE_UINT64] = {Shape::kFixed, 8};
  table[TYPE_STR] = {Shape::kText, sizeof(char*)};
  table[TYPE_WSTR] = {Shape::kWideText, sizeof(KtWchar*)};
  table[TYPE_BINARY] = {Shape::kBytes, 1};
  table[TYPE_GUID] = {Shape::kFixed, sizeof(KtGuid)};
  table[TYPE_PROPSET] = {Shape::kSet, sizeof(KtPropset)};
  table[TYPE_KTOBJID] = {Shape::kFixed, sizeof(KtObjId)};
  table[TYPE_I18N] = {Shape::kMessage, sizeof(KtI18NDef)};
  table[TYPE_I18NFORMATSTRING] = {Shape::kFormatMessage, sizeof(KtI18NFormatString)};
  return table;
}
inline constexpr std::array<TypeLayout, kTypes> kTable = MakeTable();
inline constexpr TypeLayout kNoLayout{};

}  // namespace layout

// The layout of a type code, list or not; Shape::kNone for a code that a property cannot have.
constexpr const TypeLayout& FindLayout(std::uint32_t type) noexcept {
  if (type == (TYPE_BINARY | kListBit)) return layout::kNoLayout;
  std::uint32_t scalar = type & ~kListBit;
  if (scalar == TYPE_TIME) scalar = TYPE_UINT64;
  return scalar < layout::kTypes ? layout::kTable[scalar] : layout::kNoLayout;
}

// Whether a value of the type is nothing but bytes: no address but that of the value itself stands
// in its record, and no set.
constexpr bool IsPlain(std::uint32_t type) noexcept {
  constexpr auto bit = [](std::uint32_t each) { return std::uint64_t{1} << std::rotl(each, 1); };
  constexpr std::uint64_t kLinked =
      bit(TYPE_PROPSET) | bit(TYPE_I18N) | bit(TYPE_I18NFORMATSTRING) |
      bit(TYPE_PROPSET | kListBit) | bit(TYPE_I18N | kListBit) |
      bit(TYPE_I18NFORMATSTRING | kListBit) | bit(TYPE_STR | kListBit) | bit(TYPE_WSTR | kListBit);
  // Scalars at even places, their lists behind them.
  const std::uint32_t place = std::rotl(type, 1);
  if (place >= 2 * layout::kTypes) return (type & ~kListBit) == TYPE_TIME;
  return (kLinked >> place & 1U) == 0;
}
static_assert(2 * layout::kTypes <= 64);

}  // namespace kt::bus
