// The objects of the row "objects on the bus": which sizes, and what they hold.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <random>

#include "ktbus3/ktbus3.h"

namespace kt::bench {

inline constexpr std::array<std::uint32_t, 4> kObjectCounts{1'000, 10'000, 100'000, 1'000'000};

// Each object has these two.
inline constexpr const char* kSizeName = "size";
inline constexpr const char* kPathName = "device_path";
inline constexpr const char* kPathValue = "/dev/disk/by-id/0";

// "Create and delete" takes one of them away, by chance, and makes one of the same type in its
// place: there are as many before and after, and none is the newest or alone in its type.
inline constexpr std::uint64_t kNewSize = 4'712;

// Ids of objects that come later, for those that have to make them: by chance, as the bus makes its
// own.
class FreshIds {
 public:
  KtObjId Next() noexcept {
    const std::array<std::uint64_t, 2> words{random_(), random_()};
    KtObjId id;
    std::memcpy(&id, words.data(), sizeof(id));
    return id;
  }

 private:
  // NOLINTNEXTLINE(cert-msc32-c,cert-msc51-cpp): the same ids in each run, to be compared.
  std::mt19937_64 random_{11};
};

}  // namespace kt::bench
