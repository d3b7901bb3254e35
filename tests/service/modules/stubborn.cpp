// A provider whose Shutdown fails.

#include "module_frame.h"

namespace test_module {
namespace {

KtStatus Refuse(std::uint64_t /*argument*/) {
  return 0xC1000001U;
}

}  // namespace

const KtWchar* const kProviderName = KT_W("stubborn");
const KtProviderTable kProviderTable{Control, Initialize, Refuse, GetAttr, ChangeNotify, Version};

}  // namespace test_module
