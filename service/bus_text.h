// Texts and ids as the bus keeps them, turned into UTF-8.
//
// Threads: pure functions.
// Failure: a text that is not well formed is told as such, never repaired in silence: what it held
//          can then still be shown byte by byte.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "guid.h"
#include "ktbus3/ktbus3.h"

namespace ktsvc {

using KtWString = std::basic_string<KtWchar>;

// The number of the character that the bytes are, one well-formed sequence of UTF-8.
std::uint32_t CharacterOf(std::string_view sequence) noexcept;

// True when the bytes are well-formed UTF-8.
bool IsUtf8(const std::string& text);

// UTF-16 as UTF-8; nothing for malformed UTF-16 (a lone surrogate).
std::optional<std::string> ToUtf8(const KtWString& text);

// UTF-8 as UTF-16; nothing for malformed UTF-8.
std::optional<KtWString> ToUtf16(const std::string& text);

// The bytes of a wide text, low byte first on every target, without a terminator.
std::vector<std::uint8_t> BytesOf(const KtWString& text);
std::vector<std::uint8_t> BytesOf(std::string_view text);

// Two lower-case digits for each byte, nothing between them.
std::string HexText(std::span<const std::uint8_t> bytes);

// Base64 with padding, the standard alphabet, no line breaks.
std::string Base64Text(std::span<const std::uint8_t> bytes);

}  // namespace ktsvc
