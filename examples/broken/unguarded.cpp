// BROKEN ON PURPOSE: it takes it that one client comes at a time.
//
// What a control works on is put away when it is done, while another one may still be at it.
// ktcheck says: crash, in its check "threads".

#include <atomic>

#include "broken.h"

namespace broken {
namespace {

std::atomic<const std::uint32_t*> g_step{nullptr};

KtStatus TakeControl(const KtObjId* /*object*/, std::uint32_t /*selector*/, std::uint32_t code,
                     KtPropset /*input*/, KtPropset /*output*/, std::uint32_t /*value6*/,
                     std::uint32_t /*value7*/, std::uint64_t /*value8*/, std::uint64_t /*value9*/,
                     std::uint64_t /*value10*/, std::uint64_t /*value11*/,
                     std::uint64_t* /*provider*/) {
  static constexpr std::uint32_t kFirst = 1;
  if (code != kControl) return kNotImplemented;
  std::uint32_t sum = 0;
  g_step = &kFirst;
  for (int i = 0; i < 3; ++i) {
    KtSleep(2);
    sum += *g_step;  // at a null pointer once another one is done
  }
  g_step = nullptr;
  return sum == 3 ? 0 : 0xC1000001;
}

}  // namespace

const KtWchar* const kName = KT_W("unguarded");
const KtProviderTable kTable{TakeControl, Initialize, Shutdown, GetAttr, ChangeNotify, Version};
void (*const kAtUnload)() = nullptr;

}  // namespace broken
