#include "soak/fault_gate.h"

#include <string_view>

#include "ktcheck/failing_statuses.h"

namespace soak {
namespace {

// Of another provider, and able to say that it failed.
bool CanFail(const KtBusCall& call) {
  const std::string_view provider = call.provider;
  if (call.inward != 0 || provider.empty() || provider == "soak" || ktcheck::IsRelease(call) ||
      ktcheck::IsCallOf(call, "ObDeleteObject")) {
    return false;
  }
  return call.resultKind == KTBUS_WORD_STATUS || ktcheck::IsCallOf(call, "_KtAlloc") ||
         ktcheck::IsCallOf(call, "KtGUIDToString");
}

// The dice of that call, without a state that the threads would have to share (splitmix64).
std::uint64_t DiceOf(std::uint64_t number) {
  number += 0x9E3779B97F4A7C15ULL;
  number = (number ^ (number >> 30U)) * 0xBF58476D1CE4E5B9ULL;
  number = (number ^ (number >> 27U)) * 0x94D049BB133111EBULL;
  return number ^ (number >> 31U);
}

}  // namespace

bool FaultGate::Before(KtBusCall& call) {
  if (!CanFail(call)) {
    return false;
  }
  const std::uint64_t number = ++calls_;
  const std::uint32_t count = one_in_;
  if (count == 0 || truces_ != 0) {
    return false;
  }
  const std::uint64_t dice = DiceOf(number);
  if (dice % count != 0) {
    return false;
  }
  ++failed_;
  call.result = call.resultKind == KTBUS_WORD_STATUS
                    ? ktcheck::kFailingStatuses[(dice / count) % ktcheck::kFailingStatuses.size()]
                    : 0;
  return true;
}

}  // namespace soak
