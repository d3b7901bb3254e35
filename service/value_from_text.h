// Values read back from the texts that stand for them in JSON.
//
// Threads: pure functions.
// Failure: nothing is returned for a text that is none of its kind.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "ktbus3/ktbus3.h"

namespace ktsvc {

// "{9452C1D7-9A89-4CDF-B3DF-1EE1D7D002D9}", in either case, with or without both braces.
std::optional<KtGuid> GuidFromText(std::string_view text);

// Base64 in the standard alphabet, with its padding and no blanks. A text that Base64Text() never
// gives, with bits that belong to no byte, is refused.
std::optional<std::vector<std::uint8_t>> BytesFromBase64(std::string_view text);

}  // namespace ktsvc
