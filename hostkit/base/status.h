// The status rule and the codes by name.
//
// A status is a 32-bit word. Whether it fails is decided in one place, StatusFails(); no code
// compares a status with zero to find that out. A status that is a normal answer ("already there",
// "unchanged") is compared by name where it is expected.
#pragma once

#include "ktbus3/ktbus3.h"

// Codes of the framework and the toolkit (facility 0x100).
inline constexpr KtStatus KTERROR_UNEXPECTED = 0xC1000001;
inline constexpr KtStatus KTERROR_WRONG_PROVIDER = 0xC1000005;
inline constexpr KtStatus KTERROR_NO_EVENT = 0xC100000D;
inline constexpr KtStatus KTERROR_NO_OBJECT = 0xC1000010;
inline constexpr KtStatus KTERROR_REBOOT_FAILED = 0xC100001F;
inline constexpr KtStatus KTERROR_DUPLICATE_INTERFACE = 0xC1000029;
inline constexpr KtStatus KTERROR_REDEFINING_ALERT = 0xC100002D;
inline constexpr KtStatus KTERROR_BAD_INHERITANCE = 0xC1000037;
inline constexpr KtStatus KTERROR_TYPE_EXISTS = 0xC1000038;
inline constexpr KtStatus KTERROR_WRONG_PROPERTY_TYPE = 0xC100003A;
inline constexpr KtStatus KTERROR_PROVIDER_SHUTTING_DOWN = 0xC10000C9;
inline constexpr KtStatus KTSTATUS_UNCHANGED = 0x41000012;

// A control filter's answer: let the request go on.
inline constexpr KtStatus KTSTATUS_CONTINUE = 0x4EEE0001;

// Codes of the platform. Windows' own headers have macros of these names, so a source that needs
// both includes this header first; the macros then stand in front of the constants and agree.
inline constexpr KtStatus E_NOTIMPL = 0x80004001;
inline constexpr KtStatus E_INVALIDARG = 0x80070057;
inline constexpr KtStatus E_OUTOFMEMORY = 0x8007000E;

namespace kt {

// True when the status is a failure. The facility, bits 16 to 27, decides which bits tell:
// 0x100 fails when bits 31 and 30 are both set, 0 fails when the status is not zero, any other
// fails when bit 31 is set.
constexpr bool StatusFails(KtStatus status) noexcept {
  const KtStatus facility = (status >> 16) & 0xFFFu;
  if (facility == 0x100) return (status >> 30) == 3;
  if (facility == 0) return status != 0;
  return (status >> 31) != 0;
}

static_assert(!StatusFails(0));
static_assert(StatusFails(5), "a plain operating-system error");
static_assert(!StatusFails(KTSTATUS_UNCHANGED));
static_assert(StatusFails(KTERROR_UNEXPECTED));
static_assert(!StatusFails(0x81000001), "facility 0x100 needs both top bits");
static_assert(!StatusFails(0x41000001));
static_assert(StatusFails(0x40000001), "facility 0: anything but zero");
static_assert(StatusFails(0x8007000E));
static_assert(StatusFails(0xC0070005));
static_assert(!StatusFails(0x40070005));
static_assert(!StatusFails(KTSTATUS_CONTINUE));

}  // namespace kt
