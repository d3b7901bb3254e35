// What the benchmarks and the module that they load have agreed on.
#pragma once

#include <cstdint>

#include "ktbus3/ktbus3.h"

namespace kt::bench {

inline constexpr const KtWchar* kModuleWideName = KT_W("bench");
inline constexpr const char* kModuleName = "bench";

// Controls of the module itself, for any object.
inline constexpr KtGuid kSetupInterface{
    0x0A4C8D11, 0x5B1F, 0x4E6D, {0x9C, 0x27, 0x61, 0x3F, 0x58, 0xB2, 0x4E, 0x01}};
inline constexpr std::uint32_t kSelector = 3;
// Input "handlers" and "filters", UINT32: makes that many objects of kObjectType with a handler
// each, and that many filters that let everything pass.
inline constexpr std::uint32_t kMakeHandlers = 1;
// Input "subscriptions", UINT32: subscribes to that many names, half of them patterns. Four of them
// are kMatching.
inline constexpr std::uint32_t kSubscribe = 2;
// Output "calls", UINT64: calls of event call-backs so far.
inline constexpr std::uint32_t kCountCalls = 3;

// The measured control. The handler of the n-th object answers n + 1, which is no failure; the one
// for any object answers kAnyAnswer.
inline constexpr KtGuid kWorkInterface{
    0x6E1D3B52, 0x8A07, 0x4C39, {0xB1, 0x54, 0x0D, 0x92, 0xE7, 0x6C, 0x3A, 0x5F}};
inline constexpr std::uint32_t kWork = 77;
inline constexpr KtStatus kAnyAnswer = 0x41000777;
inline constexpr const char* kObjectType = "qelm_ktvm_disk";

// A status that is no failure and tells handlers apart.
constexpr KtStatus AnswerOf(std::uint32_t index) noexcept {
  return 0x42000000U + index;
}

// Events.
inline constexpr const char* kMatching = "bench.disk.*.changed";
inline constexpr const char* kWarmName = "bench.disk.warm.changed";
inline constexpr std::uint32_t kMatches = 4;

}  // namespace kt::bench
