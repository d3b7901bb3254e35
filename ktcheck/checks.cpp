#include "ktcheck/checks.h"

#include <algorithm>
#include <array>

#include "ktcheck/allocation_watch.h"

namespace ktcheck {
namespace {

constexpr std::array<Check, 11> kChecks{{
    {"exports", "DllInit and ProviderEntry are exported, and nothing else", &CheckExports},
    {"names", "ProviderEntry takes the module's name, refuses others, and fills in its table",
     &CheckNames},
    {"early", "what may be asked before Initialize does no harm", &CheckEarly},
    {"life", "one life: load, initialise, work, shut down, unload, all calls watched", &CheckLife},
    {"walk", "controls, events and questions with generated values, all calls watched", &CheckWalk},
    {"threads", "clients on several threads at once, and Shutdown while they go on", &CheckThreads},
    {"late", "what still arrives after Shutdown does no harm", &CheckLate},
    {"lives", "life after life in one process, with the memory level flat", &CheckLives},
    {"failures", "every framework call of a life fails once with each of three statuses",
     &CheckFailures},
    {"random", "every second framework call of a life fails, at random", &CheckRandomFailures},
    // The last one, since not every system can do it.
    {"memory", "every allocation that the module makes in a life fails once", &CheckMemory},
}};

}  // namespace

std::span<const Check> Checks() noexcept {
  return std::span(kChecks).first(kChecks.size() - (AllocationsAreSeen() ? 0 : 1));
}

const Check* CheckNamed(std::string_view name) noexcept {
  const std::span<const Check> checks = Checks();
  const auto found = std::find_if(checks.begin(), checks.end(),
                                  [&](const Check& check) { return check.name == name; });
  return found == checks.end() ? nullptr : &*found;
}

}  // namespace ktcheck
