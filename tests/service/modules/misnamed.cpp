// A module whose file carries another name than its provider.

#include "module_frame.h"

namespace test_module {

const KtWchar* const kProviderName = KT_W("somebody");
const KtProviderTable kProviderTable{Control, Initialize, Shutdown, GetAttr, ChangeNotify, Version};

}  // namespace test_module
