#include "ktcheck/figures.h"

#include <algorithm>
#include <array>

namespace ktcheck {
namespace {

constexpr std::array kFigures{
    kExportsCounted,    kNamesAsked,      kFrameworkCalls, kControlsSent,        kControlsKnown,
    kEventsRaised,      kThreads,         kLateControls,   kLateEvents,          kLives,
    kBytesKept,         kCallsInALife,    kCallsFailed,    kAllocationsInALife,  kAllocationsFailed,
    kSlowestInitialize, kSlowestShutdown, kSlowestControl, kSlowestChangeNotify, kSlowestGetAttr,
    kSlowestVersion,    kLastStep};

constexpr std::array kSlowest{kSlowestInitialize,   kSlowestShutdown, kSlowestControl,
                              kSlowestChangeNotify, kSlowestGetAttr,  kSlowestVersion};

}  // namespace

const Figure* SlowestOf(std::string_view function) noexcept {
  const auto* const found = std::find_if(
      kSlowest.begin(), kSlowest.end(), [&](const Figure& each) { return each.words == function; });
  return found == kSlowest.end() ? nullptr : found;
}

bool IsSlowest(std::string_view key) noexcept {
  return std::any_of(kSlowest.begin(), kSlowest.end(),
                     [&](const Figure& each) { return each.key == key; });
}

std::span<const Figure> Figures() noexcept {
  return kFigures;
}

std::string_view WordsOfFigure(std::string_view key) noexcept {
  const auto* const found = std::find_if(kFigures.begin(), kFigures.end(),
                                         [&](const Figure& figure) { return figure.key == key; });
  return found == kFigures.end() ? key : found->words;
}

}  // namespace ktcheck
