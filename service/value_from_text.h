// Values read back from the texts that stand for them in JSON.
//
// Threads: pure functions.
// Failure: nothing is returned for a text that is none of its kind.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace ktsvc {

// Base64 in the standard alphabet, with its padding and no blanks. A text that Base64Text() never
// gives, with bits that belong to no byte, is refused.
std::optional<std::vector<std::uint8_t>> BytesFromBase64(std::string_view text);

}  // namespace ktsvc
