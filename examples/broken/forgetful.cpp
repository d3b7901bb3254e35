// BROKEN ON PURPOSE: it loses memory of its own with each control.
//
// It keeps the last request in mind, and forgets to delete the one before. The framework knows
// nothing of that memory. ktcheck says: memory-grows.

#include <new>

#include "broken.h"

namespace broken {
namespace {

struct Request {
  std::uint32_t selector;
  char notes[250];
};

Request* g_last = nullptr;

KtStatus TakeControl(const KtObjId* /*object*/, std::uint32_t selector, std::uint32_t code,
                     KtPropset /*input*/, KtPropset /*output*/, std::uint32_t /*value6*/,
                     std::uint32_t /*value7*/, std::uint64_t /*value8*/, std::uint64_t /*value9*/,
                     std::uint64_t /*value10*/, std::uint64_t /*value11*/,
                     std::uint64_t* /*provider*/) {
  if (code != kControl) return kNotImplemented;
  auto* const request = new (std::nothrow) Request{selector, {}};
  if (request == nullptr) return 0x8007000E;
  g_last = request;  // what stood there is lost
  return 0;
}

KtStatus End(std::uint64_t /*argument*/) {
  delete g_last;
  g_last = nullptr;
  return 0;
}

}  // namespace

const KtWchar* const kName = KT_W("forgetful");
const KtProviderTable kTable{TakeControl, Initialize, End, GetAttr, ChangeNotify, Version};
void (*const kAtUnload)() = nullptr;

}  // namespace broken
