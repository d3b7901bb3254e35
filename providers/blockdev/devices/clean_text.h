// Texts from hardware, made fit for the bus.
//
// Model names, serial numbers and labels are whatever a maker burnt in or a user typed: padded with
// blanks, with zero bytes, in some code page. The bus takes UTF-8.
#pragma once

#include <string>
#include <string_view>

namespace kt::blockdev {

// The text with every byte that is no part of valid UTF-8 replaced by U+FFFD. A text ends at its
// first zero byte.
[[nodiscard]] std::string ValidUtf8(std::string_view text);

// ValidUtf8, control characters turned into blanks, blanks cut off at both ends.
[[nodiscard]] std::string CleanText(std::string_view text);

}  // namespace kt::blockdev
