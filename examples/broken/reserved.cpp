// BROKEN ON PURPOSE: it leaks where only those come who know what to ask for.
//
// A control without the one word that it wants is answered as if there were no such control. With
// it a property set is made and forgotten. ktcheck says: leak, when it is given the code.

#include "broken.h"

namespace broken {
namespace {

KtStatus TakeControl(const KtObjId* /*object*/, std::uint32_t selector, std::uint32_t code,
                     KtPropset input, KtPropset /*output*/, std::uint32_t /*value6*/,
                     std::uint32_t /*value7*/, std::uint64_t /*value8*/, std::uint64_t /*value9*/,
                     std::uint64_t /*value10*/, std::uint64_t /*value11*/,
                     std::uint64_t* /*provider*/) {
  // Whatever comes is looked at, so that nobody can tell the one code from the others.
  cuvo_property* name = nullptr;
  if (PsFindProperty(input, "Name", &name) != 0) return kNotImplemented;
  PsFreeProperty(name);
  if (code != kControl || selector != 0) return kNotImplemented;
  KtPropset answer = nullptr;
  return PsCreatePropset(&answer);  // and here it is forgotten
}

}  // namespace

const KtWchar* const kName = KT_W("reserved");
const KtProviderTable kTable{TakeControl, Initialize, Shutdown, GetAttr, ChangeNotify, Version};
void (*const kAtUnload)() = nullptr;

}  // namespace broken
