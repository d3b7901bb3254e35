// What the rows of objmodel/property_traits.h are made of: the codes of a kind, and how a value
// that stands in a record as it is, or a text, is read from a record and laid into one.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <utility>

#include "ktbus3/ktbus3.h"
#include "objmodel/property_types.h"

namespace kt {

template <std::uint32_t kCode>
struct Codes {
  static constexpr std::uint32_t kType = kCode;
  static constexpr std::uint32_t kListType = kCode | kListBit;
  static constexpr bool Accepts(std::uint32_t type) noexcept { return type == kType; }
  static constexpr bool AcceptsList(std::uint32_t type) noexcept { return type == kListType; }
};

// The value of a record as T, or false when the record cannot hold one. The bytes are copied: a
// record made elsewhere need not be aligned.
template <typename T>
bool ReadBytes(const cuvo_property& record, T& out) noexcept {
  if (record.value == nullptr || record.length < sizeof(T)) return false;
  std::memcpy(&out, record.value, sizeof(T));
  return true;
}

// Values that stand in a record as they are.
template <typename T, std::uint32_t kCode>
struct PlainRow : Codes<kCode> {
  using Element = T;
  static const Element& ToElement(const T& value) noexcept { return value; }
  static const T& FromElement(const Element& element) noexcept { return element; }
  static std::uint32_t Length(const T&) noexcept { return sizeof(T); }
  static const void* ValueField(const Element& element) noexcept { return &element; }
  static bool Read(const cuvo_property& record, T& out) noexcept { return ReadBytes(record, out); }
};

// Texts: the element is a pointer to the characters. A text ends at its zero unit, or at the end of
// the record's bytes where that is missing.
template <typename Unit, std::uint32_t kCode>
struct TextRow : Codes<kCode> {
  using Text = std::basic_string<Unit>;
  using Element = const Unit*;
  static Element ToElement(const Text& value) noexcept { return value.c_str(); }
  static Text FromElement(Element element) { return element == nullptr ? Text() : Text(element); }
  static std::uint32_t Length(const Text& value) noexcept {
    return static_cast<std::uint32_t>((value.size() + 1) * sizeof(Unit));
  }
  static const void* ValueField(Element element) noexcept { return element; }
  static bool Read(const cuvo_property& record, Text& out) {
    if (record.value == nullptr) {
      out.clear();
      return true;
    }
    const std::size_t room = record.length / sizeof(Unit);
    if constexpr (sizeof(Unit) == 1) {
      const auto* const text = static_cast<const Unit*>(record.value);
      const auto* const end = std::char_traits<Unit>::find(text, room, Unit{});
      out.assign(text, end == nullptr ? room : static_cast<std::size_t>(end - text));
    } else {
      // A record made elsewhere need not be aligned.
      const auto* const bytes = static_cast<const char*>(record.value);
      std::size_t size = 0;
      for (Unit unit{}; size != room; ++size) {
        std::memcpy(&unit, bytes + size * sizeof(Unit), sizeof(Unit));
        if (unit == Unit{}) break;
      }
      out.resize(size);
      if (size != 0) std::memcpy(out.data(), bytes, size * sizeof(Unit));
    }
    return true;
  }
};

}  // namespace kt
