// BROKEN ON PURPOSE: it leaks a property set.
//
// It makes a set for an answer, and one of the ways out of the function forgets it: the one that is
// taken when the client asks with nothing in its input. ktcheck says: leak.

#include "broken.h"

namespace broken {
namespace {

KtStatus Answer(KtPropset input) {
  KtPropset answer = nullptr;
  const KtStatus made = PsCreatePropset(&answer);
  if (made != 0) return made;
  cuvo_property* question = nullptr;
  const KtStatus found = PsFindProperty(input, "Question", &question);
  if (found != 0) return found;  // here it is forgotten
  PsFreeProperty(question);
  return PsDestroyPropset(answer);
}

KtStatus TakeControl(const KtObjId* /*object*/, std::uint32_t /*selector*/, std::uint32_t code,
                     KtPropset input, KtPropset /*output*/, std::uint32_t /*value6*/,
                     std::uint32_t /*value7*/, std::uint64_t /*value8*/, std::uint64_t /*value9*/,
                     std::uint64_t /*value10*/, std::uint64_t /*value11*/,
                     std::uint64_t* /*provider*/) {
  return code == kControl ? Answer(input) : kNotImplemented;
}

}  // namespace

const KtWchar* const kName = KT_W("leaking");
const KtProviderTable kTable{TakeControl, Initialize, Shutdown, GetAttr, ChangeNotify, Version};
void (*const kAtUnload)() = nullptr;

}  // namespace broken
