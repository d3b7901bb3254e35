// GUIDs, compared and written.
//
// Threads: pure functions.
#pragma once

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <string>

#include "ktbus3/ktbus3.h"

namespace ktsvc {

constexpr bool SameGuid(const KtGuid& left, const KtGuid& right) noexcept {
  return left.Data1 == right.Data1 && left.Data2 == right.Data2 && left.Data3 == right.Data3 &&
         std::equal(std::begin(left.Data4), std::end(left.Data4), std::begin(right.Data4));
}

// "{9452C1D7-9A89-4CDF-B3DF-1EE1D7D002D9}", upper case.
inline std::string GuidText(const KtGuid& guid) {
  std::string text = "{";
  const auto append = [&text](std::uint32_t value, unsigned digits) {
    for (unsigned shift = digits * 4; shift != 0; shift -= 4) {
      text += "0123456789ABCDEF"[(value >> (shift - 4)) & 0xFU];
    }
  };
  append(guid.Data1, 8);
  text += '-';
  append(guid.Data2, 4);
  text += '-';
  append(guid.Data3, 4);
  text += '-';
  for (std::size_t i = 0; i < std::size(guid.Data4); ++i) {
    if (i == 2) {
      text += '-';
    }
    append(guid.Data4[i], 2);
  }
  return text + '}';
}

}  // namespace ktsvc
