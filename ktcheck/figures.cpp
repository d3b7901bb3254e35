#include "ktcheck/figures.h"

#include <algorithm>
#include <array>

namespace ktcheck {
namespace {

constexpr std::array kFigures{kExportsCounted,     kNamesAsked,        kFrameworkCalls,
                              kControlsSent,       kControlsKnown,     kEventsRaised,
                              kLateControls,       kLateEvents,        kLives,
                              kBytesKept,          kCallsInALife,      kCallsFailed,
                              kAllocationsInALife, kAllocationsFailed, kLastStep};

}  // namespace

std::span<const Figure> Figures() noexcept {
  return kFigures;
}

std::string_view WordsOfFigure(std::string_view key) noexcept {
  const auto* const found = std::find_if(kFigures.begin(), kFigures.end(),
                                         [&](const Figure& figure) { return figure.key == key; });
  return found == kFigures.end() ? key : found->words;
}

}  // namespace ktcheck
