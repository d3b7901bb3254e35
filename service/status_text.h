// What a status says to a person: the failure rule, and the names of the codes that the service and
// its providers use.
//
// Threads: pure functions over a constant table.
#pragma once

#include <string>
#include <string_view>

#include "ktbus3/ktbus3.h"

namespace ktsvc {

// True when the status is a failure. Bits 16 to 27 decide: facility 0x100 fails when bits 31 and 30
// are both set, facility 0 when the status is not zero, any other when bit 31 is set.
constexpr bool StatusFails(KtStatus status) noexcept {
  const std::uint32_t facility = (status >> 16U) & 0xFFFU;
  if (facility == 0x100U) {
    return (status >> 30U) == 3U;
  }
  return facility == 0 ? status != 0 : (status >> 31U) != 0;
}
static_assert(!StatusFails(0) && StatusFails(5) && StatusFails(0x40000001U));
static_assert(!StatusFails(0x41000012U) && !StatusFails(0x81000001U) && StatusFails(0xC1000001U));
static_assert(StatusFails(0x8007000EU) && !StatusFails(0x4EEE0001U));

// The statuses that the service itself gives or explains.
inline constexpr KtStatus kStatusOk = 0;
inline constexpr KtStatus kStatusUnexpected = 0xC1000001U;
inline constexpr KtStatus kStatusWrongProvider = 0xC1000005U;
inline constexpr KtStatus kStatusNoObject = 0xC1000010U;
inline constexpr KtStatus kStatusNoProperty = 0xC1000011U;
inline constexpr KtStatus kStatusEndOfProperties = 0xC1000014U;
inline constexpr KtStatus kStatusUnknownType = 0xC1000039U;
inline constexpr KtStatus kStatusInvalidArgument = 0x80070057U;

// "KTERROR_WRONG_PROVIDER"; empty for a code without a name.
std::string_view StatusName(KtStatus status) noexcept;

// "0xC1000005", always eight digits.
std::string StatusHex(KtStatus status);

// "0xC1000005 KTERROR_WRONG_PROVIDER (asked for a provider of another name)", as far as known.
std::string StatusText(KtStatus status);

}  // namespace ktsvc
