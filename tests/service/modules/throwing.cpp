// A provider whose Initialize lets an exception out.

#include "module_frame.h"

#include <stdexcept>

namespace test_module {
namespace {

KtStatus Throw(KtDatabase /*database*/, KtProvider /*provider*/) {
  throw std::runtime_error("thrown by a test");
}

}  // namespace

const KtWchar* const kProviderName = KT_W("throwing");
const KtProviderTable kProviderTable{Control, Throw, Shutdown, GetAttr, ChangeNotify, Version};

}  // namespace test_module
