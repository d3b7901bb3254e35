// The statuses with which calls are made to fail.
#pragma once

#include <array>

#include "ktbus3/ktbus3.h"

namespace ktcheck {

// No memory; no such thing; anything else.
inline constexpr std::array<KtStatus, 3> kFailingStatuses{0x8007000E, 0xC1000010, 0xC1000001};

}  // namespace ktcheck
