// What a client of the system provider knows: identifiers, codes, names of events.
#pragma once

#include <cstdint>

#include "ktbus3/ktbus3.h"

namespace client {

inline constexpr KtGuid kSystemInterface{
    0x9452C1D7, 0x9A89, 0x4CDF, {0xB3, 0xDF, 0x1E, 0xE1, 0xD7, 0xD0, 0x02, 0xD9}};
inline constexpr KtGuid kRebootInterface{
    0x13DC257B, 0xCF59, 0x400F, {0x98, 0x17, 0x82, 0xDA, 0xB2, 0xC8, 0x85, 0x4C}};
inline constexpr KtGuid kTraceInterface{
    0xADF0779F, 0x76AD, 0x48EB, {0x83, 0x37, 0xDF, 0xB8, 0xBF, 0x32, 0x01, 0x6D}};
inline constexpr std::uint32_t kRebootControl = 11001;
inline constexpr std::uint32_t kTraceLevelControl = 11005;

inline constexpr KtStatus kUnexpected = 0xC1000001;
inline constexpr KtStatus kRebootFailed = 0xC100001F;
inline constexpr KtStatus kShuttingDown = 0xC10000C9;
inline constexpr KtStatus kNotImplemented = 0x80004001;
inline constexpr KtStatus kOutOfMemory = 0x8007000E;
inline constexpr KtStatus kInvalidArgument = 0x80070057;

inline constexpr char kReadyEvent[] = "event.qelm.dom.initialization.blockdev.complete";

}  // namespace client
