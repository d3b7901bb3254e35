// A provider whose Initialize finds no memory.

#include "module_frame.h"

namespace test_module {
namespace {

KtStatus FindNoMemory(KtDatabase /*database*/, KtProvider /*provider*/) {
  return 0x8007000EU;
}

}  // namespace

const KtWchar* const kProviderName = KT_W("refusing");
const KtProviderTable kProviderTable{Control, FindNoMemory, Shutdown,
                                     GetAttr, ChangeNotify, Version};

}  // namespace test_module
