// A property's name as it is looked for: its text, how long it is, and a hash of it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace kt::bus {

// Two numbers made by chance when the process starts, which nobody outside of it knows: names come
// from clients, and one who could tell which of them share a place in a table could make it slow.
struct NameSecret {
  std::uint64_t first = 0;
  std::uint64_t second = 0;
};
extern const NameSecret kNameSecret;  // in property_map.cpp

// Eight bytes at a time, the last ones twice where the length is no multiple of eight. Each step
// multiplies what is known with what is not and folds all 128 bits of the product. Good for tables
// in memory; another one in each process.
inline std::uint32_t HashOfName(const char* text, std::size_t length,
                                const NameSecret& secret = kNameSecret) noexcept {
  __extension__ using Product = unsigned __int128;
  const auto mix = [&secret](std::uint64_t bytes) {
    const Product product = static_cast<Product>(bytes ^ secret.first) * (secret.second | 1U);
    return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64U);
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
    if (length >= 4) {
      const auto half_word = [](const char* text) {
        std::uint32_t bytes = 0;
        std::memcpy(&bytes, text, sizeof(bytes));
        return bytes;
      };
      return half_word(left) == half_word(right) &&
             half_word(left + length - 4) == half_word(right + length - 4);
    }
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
