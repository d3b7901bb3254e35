// The controls that the system object answers, and the paths under which they are found.
#pragma once

#include <array>
#include <cstdint>

#include "dispatch/control_map_entry.h"
#include "ktbus3/ktbus3.h"
#include "system/identifiers.h"

namespace kt {

// Restarts the machine, at once and without asking applications. Returns 0 when the restart was
// issued, else KTERROR_REBOOT_FAILED. The request's properties are not read and nothing is logged.
KtStatus Reboot(void* context, CKtControlRequest& request) noexcept;

// Sets the trace level to the input's "tracelevel" and answers with the previous one under the same
// name. E_INVALIDARG, with the level unchanged, for 0 and for what cannot be read as one.
KtStatus SetTraceLevel(void* context, CKtControlRequest& request) noexcept;

struct SystemPath {
  KtGuid interface_id;
  std::uint32_t control_code;
  KtControlHandler handler;
};

// In the order in which they are registered, for any object, with selector 0.
inline constexpr std::uint32_t kSystemSelector = 0;
inline constexpr std::array kSystemPaths{
    SystemPath{kSystemInterface, kRebootControl, &Reboot},
    SystemPath{kSystemInterface, kTraceLevelControl, &SetTraceLevel},
    SystemPath{kRebootInterface, kRebootControl, &Reboot},
    SystemPath{kTraceInterface, kTraceLevelControl, &SetTraceLevel},
};

}  // namespace kt
