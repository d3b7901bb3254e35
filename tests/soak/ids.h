// What the soak's driver and its module inside the service have agreed on.
#pragma once

#include <cstdint>

#include "ktbus3/ktbus3.h"

namespace soak {

// The one object of the module is the one of this type; it takes controls through this interface.
inline constexpr const char* kObjectType = "qelm_ktvm_cdrom";
inline constexpr const char* kInterfaceText = "{6B1F0C2E-5A34-4E0B-9C1D-2F7A8B905E61}";
inline constexpr KtGuid kInterface{
    0x6B1F0C2E, 0x5A34, 0x4E0B, {0x9C, 0x1D, 0x2F, 0x7A, 0x8B, 0x90, 0x5E, 0x61}};

// From now on one of so many calls of the other providers fails: "one_in", UINT32; 0 for none.
inline constexpr std::uint32_t kFail = 1;
// Shuts the restarted provider down and unloads it, when it runs, then brings it up again:
// "restart", BOOLEAN, false to leave it down. Answers "failures", UINT32: how often it did not come
// up although no call was made to fail, went down badly or kept something.
inline constexpr std::uint32_t kRestart = 2;
// Answers "memory" (bytes of the run-time library's that are in use; 0 when unknown), "calls" (that
// could have failed) and "failed" (that did), all UINT64.
inline constexpr std::uint32_t kFigures = 3;

// The provider that is restarted, and where its module stands.
inline constexpr const char* kRestarted = "blockdev";
inline constexpr const char* kModulesVariable = "KT_SOAK_MODULES";

}  // namespace soak
