// A provider whose Shutdown lets an exception out.

#include "module_frame.h"

#include <stdexcept>

namespace test_module {
namespace {

KtStatus Throw(std::uint64_t /*argument*/) {
  throw std::runtime_error("thrown by a test");
}

}  // namespace

const KtWchar* const kProviderName = KT_W("explosive");
const KtProviderTable kProviderTable{Control, Initialize, Throw, GetAttr, ChangeNotify, Version};

}  // namespace test_module
