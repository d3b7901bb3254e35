// A property's name as it is looked for: its text, how long it is, and a hash of it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace kt::bus {

// Eight bytes at a time, the last ones twice where the length is no multiple of eight. Good for
// tables in memory; differs between machines, and is no match for one who looks for collisions.
inline std::uint32_t HashOfName(const char* text, std::size_t length) noexcept {
  constexpr std::uint64_t kMultiplier = 0x9E3779B97F4A7C15U;
  const auto mix = [](std::uint64_t hash) {
    hash *= kMultiplier;
    return hash ^ (hash >> 32U);
  };
  const auto word = [text](std::size_t place) {
    std::uint64_t bytes = 0;
    std::memcpy(&bytes, text + place, sizeof(bytes));
    return bytes;
  };
  std::uint64_t hash = length;
  if (length >= 8) {
    for (std::size_t place = 0; place + 8 < length; place += 8) hash = mix(hash ^ word(place));
    hash = mix(hash ^ word(length - 8));
  } else if (length >= 4) {
    std::uint32_t first = 0;
    std::uint32_t last = 0;
    std::memcpy(&first, text, sizeof(first));
    std::memcpy(&last, text + length - sizeof(last), sizeof(last));
    hash = mix(hash ^ (std::uint64_t{first} << 32U | last));
  } else {
    std::uint64_t bytes = 0;
    for (std::size_t i = 0; i < length; ++i) {
      bytes = bytes << 8U | static_cast<unsigned char>(text[i]);
    }
    hash = mix(hash ^ bytes);
  }
  return static_cast<std::uint32_t>(hash);
}

// Whether two texts of one length are the same; such short ones that a call would be most of it.
inline bool SameText(const char* left, const char* right, std::size_t length) noexcept {
  const auto same_word = [&](std::size_t place) {
    std::uint64_t one = 0;
    std::uint64_t other = 0;
    std::memcpy(&one, left + place, sizeof(one));
    std::memcpy(&other, right + place, sizeof(other));
    return one == other;
  };
  if (length < 8) {
    for (std::size_t i = 0; i < length; ++i) {
      if (left[i] != right[i]) return false;
    }
    return true;
  }
  for (std::size_t place = 0; place + 8 < length; place += 8) {
    if (!same_word(place)) return false;
  }
  return same_word(length - 8);
}

struct PropertyName {
  const char* text = "";
  std::size_t length = 0;  // without the terminator
  std::uint32_t hash = 0;

  PropertyName(const char* name, std::size_t name_length) noexcept
      : text(name), length(name_length), hash(HashOfName(name, name_length)) {}
  explicit PropertyName(const char* name) noexcept : PropertyName(name, std::strlen(name)) {}
};

}  // namespace kt::bus
