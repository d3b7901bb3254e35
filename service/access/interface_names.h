// The short names by which people call the interfaces of the system provider.
//
// Threads: pure functions over a constant table.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>

#include "ktbus3/ktbus3.h"

namespace ktsvc::access {

struct NamedInterface {
  std::string_view name;
  KtGuid id;
};

inline constexpr KtGuid kSystemInterface{
    0x9452C1D7, 0x9A89, 0x4CDF, {0xB3, 0xDF, 0x1E, 0xE1, 0xD7, 0xD0, 0x02, 0xD9}};
inline constexpr KtGuid kRebootInterface{
    0x13DC257B, 0xCF59, 0x400F, {0x98, 0x17, 0x82, 0xDA, 0xB2, 0xC8, 0x85, 0x4C}};

inline constexpr std::array<NamedInterface, 6> kNamedInterfaces{{
    {"system", kSystemInterface},
    {"reboot", kRebootInterface},
    {"trace", {0xADF0779F, 0x76AD, 0x48EB, {0x83, 0x37, 0xDF, 0xB8, 0xBF, 0x32, 0x01, 0x6D}}},
    {"disk", {0x7EC748B5, 0xC965, 0x4607, {0x83, 0x71, 0xEB, 0x3B, 0x1B, 0x0D, 0xB7, 0xEC}}},
    {"volume", {0x9D763702, 0x9F7D, 0x47D8, {0xB8, 0xF7, 0xF0, 0x2D, 0x8A, 0xC3, 0x53, 0x0F}}},
    {"diskgroup", {0x028767D0, 0xC8C3, 0x4169, {0xA1, 0x1E, 0xE5, 0x7A, 0x09, 0xD0, 0x15, 0xF2}}},
}};

// The control that restarts the machine, through the system and the reboot interface.
inline constexpr std::uint32_t kRestartControl = 11001;

constexpr bool SameGuid(const KtGuid& left, const KtGuid& right) noexcept {
  return left.Data1 == right.Data1 && left.Data2 == right.Data2 && left.Data3 == right.Data3 &&
         std::equal(std::begin(left.Data4), std::end(left.Data4), std::begin(right.Data4));
}

// True for the control that restarts the machine, whatever its selector.
constexpr bool IsRestart(const KtGuid& interfaceId, std::uint32_t code) noexcept {
  return code == kRestartControl &&
         (SameGuid(interfaceId, kSystemInterface) || SameGuid(interfaceId, kRebootInterface));
}

// A short name, or a GUID in hexadecimal of either case, with or without its braces.
std::optional<KtGuid> InterfaceFromText(std::string_view text);

// The short name; for an interface without one its GUID as InterfaceGuidText() gives it.
std::string InterfaceText(const KtGuid& interfaceId);

// "{9452C1D7-9A89-4CDF-B3DF-1EE1D7D002D9}".
std::string InterfaceGuidText(const KtGuid& interfaceId);

// "system, reboot, trace, disk, volume, diskgroup": for advice.
std::string InterfaceNameList();

}  // namespace ktsvc::access
