// Figures: what checks count. Each has a key, which programs may rely on, and words for people.
//
// Threads: a constant table.
#pragma once

#include <span>
#include <string_view>

namespace ktcheck {

struct Figure {
  std::string_view key;    // in JSON: "callsFailed"
  std::string_view words;  // "calls failed"
  std::string_view means;  // half a sentence for a list
};

inline constexpr Figure kExportsCounted{"exports", "exports", "what the module's file exports"};
inline constexpr Figure kNamesAsked{"names", "names", "names that ProviderEntry was asked for"};
inline constexpr Figure kFrameworkCalls{"frameworkCalls", "framework calls",
                                        "calls that the module made in the life"};
inline constexpr Figure kControlsSent{"controlsSent", "controls sent", "all that were sent"};
inline constexpr Figure kControlsKnown{"controlsKnown", "controls known",
                                       "those of them that the module knows"};
inline constexpr Figure kEventsRaised{"eventsRaised", "events raised", "events for the module"};
inline constexpr Figure kThreads{"threads", "threads", "clients that were there at once"};
inline constexpr Figure kLateControls{"lateControls", "late controls",
                                      "controls that were sent after Shutdown"};
inline constexpr Figure kLateEvents{"lateEvents", "late events", "events raised after Shutdown"};
inline constexpr Figure kLives{"lives", "lives", "lives that were lived"};
inline constexpr Figure kBytesKept{"bytesKept", "bytes kept by a life",
                                   "bytes of memory that each life keeps"};
inline constexpr Figure kCallsInALife{"callsInALife", "calls in a life",
                                      "framework calls of a life that can fail"};
inline constexpr Figure kCallsFailed{"callsFailed", "calls failed",
                                     "framework calls that were made to fail"};
inline constexpr Figure kAllocationsInALife{"allocationsInALife", "allocations in a life",
                                            "allocations that the module makes in a life"};
inline constexpr Figure kAllocationsFailed{"allocationsFailed", "allocations failed",
                                           "allocations that were made to fail"};
inline constexpr Figure kSlowestInitialize{"slowestInitialize", "Initialize",
                                           "milliseconds that the longest call of it took"};
inline constexpr Figure kSlowestShutdown{"slowestShutdown", "Shutdown", "the same"};
inline constexpr Figure kSlowestControl{"slowestControl", "Control", "the same"};
inline constexpr Figure kSlowestChangeNotify{"slowestChangeNotify", "ChangeNotify", "the same"};
inline constexpr Figure kSlowestGetAttr{"slowestGetAttr", "GetAttr", "the same"};
inline constexpr Figure kSlowestVersion{"slowestVersion", "Version", "the same"};
inline constexpr Figure kLastStep{"lastStep", "tried no further than step",
                                  "the check was given up behind that step"};

// All of them.
std::span<const Figure> Figures() noexcept;

// The figure that says how long the longest call of that function took; null for what has none.
const Figure* SlowestOf(std::string_view function) noexcept;
bool IsSlowest(std::string_view key) noexcept;

// The words of that key; the key itself when there is no such figure.
std::string_view WordsOfFigure(std::string_view key) noexcept;

}  // namespace ktcheck
