// How wide a text is on a terminal, and texts cut to a width.
//
// Threads: pure functions.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace ktctl {

// The columns that the UTF-8 takes: two for a wide character of East Asia and for a pictogram, none
// for one that combines with the character before it. A byte that belongs to no character takes
// one.
std::size_t DisplayWidth(std::string_view text) noexcept;

// The text, or as much of its beginning as fits with the mark behind it, in `width` columns at
// most. A mark that does not fit itself is left out.
std::string CutToWidth(const std::string& text, std::size_t width, std::string_view mark);

}  // namespace ktctl
