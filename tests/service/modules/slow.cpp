// A provider whose Shutdown waits for the gate.

#include "module_frame.h"
#include "module_gate.h"

namespace test_module {
namespace {

KtStatus ShutDownLate(std::uint64_t /*argument*/) {
  WaitForGate();
  return 0;
}

}  // namespace

const KtWchar* const kProviderName = KT_W("slow");
const KtProviderTable kProviderTable{Control, Initialize,   ShutDownLate,
                                     GetAttr, ChangeNotify, Version};

}  // namespace test_module
