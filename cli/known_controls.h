// The controls that have a name of their own on the command line.
//
// Threads: a constant table.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "ktbus3/ktbus3.h"
#include "property_argument.h"

namespace ktctl {

struct KnownControl {
  std::string_view interface;  // its short name
  std::string_view name;
  std::uint32_t selector;
  std::uint32_t code;
  std::span<const KnownArgument> arguments;
  bool needsArguments;  // makes no sense without one
  bool anyObject;       // does the same whichever object it is sent to
};

inline constexpr std::array kTraceLevelArguments{KnownArgument{"level", "tracelevel", "UINT32", 7}};

inline constexpr std::array kKnownControls{
    KnownControl{"system", "trace-level", 0, 11005, kTraceLevelArguments, true, false},
    KnownControl{"system", "reboot", 0, 11001, {}, false, false},
    KnownControl{"reboot", "reboot", 0, 11001, {}, false, false},
    KnownControl{"trace", "trace-level", 0, 11005, kTraceLevelArguments, true, false},
    KnownControl{"rescan", "rescan", 0, 12001, {}, false, true},
};

// The control of that name; null when the interface has none such.
const KnownControl* FindKnownControl(const KtGuid& interfaceId, std::string_view name) noexcept;

// The control of that number; null when it has no name.
const KnownControl* FindKnownControl(const KtGuid& interfaceId, std::uint32_t selector,
                                     std::uint32_t code) noexcept;

// "trace-level, reboot": those of the interface; "" for none.
std::string KnownControlNames(const KtGuid& interfaceId);

}  // namespace ktctl
