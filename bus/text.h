// UTF-8 and UTF-16, strictly: overlong forms, lone surrogates and numbers past U+10FFFF are
// malformed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "ktbus3/ktbus3.h"

namespace kt::bus {

inline constexpr char32_t kMalformed = 0xFFFFFFFF;

// The next character of a text; `place` moves past it. Malformed input gives kMalformed and moves
// on by one unit. `place` must be inside the text.
char32_t NextFromUtf8(std::string_view text, std::size_t& place) noexcept;
char32_t NextFromUtf16(std::basic_string_view<KtWchar> text, std::size_t& place) noexcept;

// Writes a character; returns how many units (1 to 4, 1 to 2) it takes.
std::size_t ToUtf8(char32_t character, char* units) noexcept;
std::size_t ToUtf16(char32_t character, KtWchar* units) noexcept;

// UTF-8 of a wide text for people to read: what is malformed becomes U+FFFD.
std::string ReadableUtf8(std::basic_string_view<KtWchar> text);

// The same behind what stands there.
void AppendReadableUtf8(std::basic_string_view<KtWchar> text, std::string& out);

}  // namespace kt::bus
