// A provider that never destroys a property set.

#include "module_frame.h"

namespace test_module {
namespace {

KtStatus Leak(KtDatabase /*database*/, KtProvider /*provider*/) {
  KtPropset lost = nullptr;
  return PsCreatePropset(&lost);
}

}  // namespace

const KtWchar* const kProviderName = KT_W("leaking");
const KtProviderTable kProviderTable{Control, Leak, Shutdown, GetAttr, ChangeNotify, Version};

}  // namespace test_module
