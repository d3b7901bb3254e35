// The short names of interfaces (named_interfaces.h), read and written.
//
// Threads: pure functions over a constant table.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "guid.h"
#include "ktbus3/ktbus3.h"
#include "named_interfaces.h"

namespace ktsvc::access {

// The control that restarts the machine, through the system and the reboot interface.
inline constexpr std::uint32_t kRestartControl = 11001;

// True for the control that restarts the machine, whatever its selector.
constexpr bool IsRestart(const KtGuid& interfaceId, std::uint32_t code) noexcept {
  return code == kRestartControl &&
         (SameGuid(interfaceId, kSystemInterface) || SameGuid(interfaceId, kRebootInterface));
}

// A short name, or a GUID in hexadecimal of either case, with or without its braces.
std::optional<KtGuid> InterfaceFromText(std::string_view text);

// The short name; for an interface without one its GUID as GuidText() gives it.
std::string InterfaceText(const KtGuid& interfaceId);

// "system, reboot, trace, disk, volume, diskgroup, rescan": for advice.
std::string InterfaceNameList();

}  // namespace ktsvc::access
