// Ids: making them, comparing them, finding by them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "ktbus3/ktbus3.h"

namespace kt::bus {

inline bool SameGuid(const KtGuid& left, const KtGuid& right) noexcept {
  return std::memcmp(&left, &right, sizeof(KtGuid)) == 0;
}

// 64 bits from the system's source of chance. Throws where it has none.
std::uint64_t RandomNumber();

// A new random id (version 4), unique in the process whatever the random numbers are.
KtObjId NewId();

// "{9452C1D7-9A89-4CDF-B3DF-1EE1D7D002D9}".
std::string GuidText(const KtGuid& guid);

// The same with its terminating zero, written into room for kGuidTextSize characters. Two are asked
// for by every control, so that it makes all digits at once where the processor can.
inline constexpr std::size_t kGuidTextSize = 39;
void WriteGuidText(const KtGuid& guid, char* room) noexcept;

struct ObjIdHash {
  std::size_t operator()(const KtObjId& id) const noexcept;
};

struct ObjIdEqual {
  bool operator()(const KtObjId& left, const KtObjId& right) const noexcept {
    return SameGuid(left.guid, right.guid);
  }
};

}  // namespace kt::bus
