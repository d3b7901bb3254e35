// A provider that publishes nothing and gives no version.

#include "module_frame.h"

namespace test_module {

const KtWchar* const kProviderName = KT_W("plain");
const KtProviderTable kProviderTable{Control, Initialize, Shutdown, GetAttr, ChangeNotify, Version};

}  // namespace test_module
