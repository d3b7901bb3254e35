// BROKEN ON PURPOSE: it takes it that nobody calls after Shutdown.
//
// Shutdown deletes what its controls use. A control that a client has sent just before still comes,
// for the module is taken off the bus only then. ktcheck says: crash, in its check "late".

#include <new>

#include "broken.h"

namespace broken {
namespace {

struct Counters {
  std::uint32_t controls = 0;
};

Counters* g_counters = nullptr;

KtStatus Begin(KtDatabase database, KtProvider provider) {
  g_counters = new (std::nothrow) Counters;
  if (g_counters == nullptr) return 0x8007000E;
  return Initialize(database, provider);
}

KtStatus TakeControl(const KtObjId* /*object*/, std::uint32_t /*selector*/, std::uint32_t code,
                     KtPropset /*input*/, KtPropset /*output*/, std::uint32_t /*value6*/,
                     std::uint32_t /*value7*/, std::uint64_t /*value8*/, std::uint64_t /*value9*/,
                     std::uint64_t /*value10*/, std::uint64_t /*value11*/,
                     std::uint64_t* /*provider*/) {
  if (code != kControl) return kNotImplemented;
  ++g_counters->controls;  // at a null pointer after Shutdown
  return 0;
}

KtStatus End(std::uint64_t /*argument*/) {
  delete g_counters;
  g_counters = nullptr;
  return 0;
}

}  // namespace

const KtWchar* const kName = KT_W("posthumous");
const KtProviderTable kTable{TakeControl, Begin, End, GetAttr, ChangeNotify, Version};
void (*const kAtUnload)() = nullptr;

}  // namespace broken
