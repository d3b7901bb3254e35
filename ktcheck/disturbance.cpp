#include "ktcheck/disturbance.h"

namespace ktcheck {

// ---- FailingCall -------------------------------------------------------------------------------

FailingCall::FailingCall(const std::string& module, std::uint64_t number, KtStatus status)
    : failer_(module) {
  if (number != 0) failer_.FailOne(number, status);
}

std::optional<Trail> FailingCall::Failed() const {
  if (failer_.function().empty()) return std::nullopt;
  return Trail{"the call of " + failer_.function() + " that was made to fail",
               ModuleFrames(failer_.stack()), true};
}

// ---- RandomlyFailingCalls ----------------------------------------------------------------------

RandomlyFailingCalls::RandomlyFailingCalls(const std::string& module, std::uint64_t seed,
                                           bool from_the_beginning)
    : seed_(seed), from_the_beginning_(from_the_beginning), failer_(module) {}

void RandomlyFailingCalls::Loaded() {
  if (from_the_beginning_) failer_.FailAtRandom(seed_);
}

void RandomlyFailingCalls::Initialized() {
  if (!from_the_beginning_) failer_.FailAtRandom(seed_);
}

// ---- FailingAllocation -------------------------------------------------------------------------

void FailingAllocation::Loaded() {
  CountAllocations(number_);
  counts_ = true;
}

void FailingAllocation::Over() {
  if (!counts_) return;
  counts_ = false;
  count_ = AllocationsCounted();
}

std::optional<Trail> FailingAllocation::Failed() const {
  if (count_.failed == 0) return std::nullopt;
  return Trail{"the allocation that was made to fail", ModuleFrames(count_.failed_at), true};
}

}  // namespace ktcheck
