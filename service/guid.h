// GUIDs, compared, written and read.
//
// Threads: pure functions.
#pragma once

#include <algorithm>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>

#include "ktbus3/ktbus3.h"

namespace ktsvc {

constexpr bool SameGuid(const KtGuid& left, const KtGuid& right) noexcept {
  return left.Data1 == right.Data1 && left.Data2 == right.Data2 && left.Data3 == right.Data3 &&
         std::equal(std::begin(left.Data4), std::end(left.Data4), std::begin(right.Data4));
}

// "{9452C1D7-9A89-4CDF-B3DF-1EE1D7D002D9}", upper case.
std::string GuidText(const KtGuid& guid);

// The same read back, in either case, with or without both braces; nothing for any other text.
std::optional<KtGuid> GuidFromText(std::string_view text);

}  // namespace ktsvc
