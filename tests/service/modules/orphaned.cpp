// A provider that is linked with a library that nobody finds.

#include "module_frame.h"

KT_TEST_IMPORT int AbsentNumber();

namespace test_module {
namespace {

KtStatus AskTheAbsent(std::uint64_t /*argument*/) {
  return static_cast<KtStatus>(AbsentNumber());
}

}  // namespace

const KtWchar* const kProviderName = KT_W("orphaned");
const KtProviderTable kProviderTable{Control, Initialize,   AskTheAbsent,
                                     GetAttr, ChangeNotify, Version};

}  // namespace test_module
