// BROKEN ON PURPOSE: it throws out of an entry point.
//
// It trusts a number that a client sends: std::string::at() throws for one that is too large, and
// nobody catches it on the way out of Control. ktcheck says: threw.

#include <cstring>
#include <string>

#include "broken.h"

namespace broken {
namespace {

KtStatus Spell(KtPropset input) {
  cuvo_property* found = nullptr;
  const KtStatus status = PsFindProperty(input, "Place", &found);
  if (status != 0) return status;
  std::uint32_t place = 0;
  const bool is_number = found->type == TYPE_UINT32 && found->value != nullptr;
  if (is_number) std::memcpy(&place, found->value, sizeof(place));
  PsFreeProperty(found);
  const std::string letters = "abcdefgh";
  return letters.at(place) == 'a' ? 0 : 0xC1000001;  // throws std::out_of_range
}

KtStatus TakeControl(const KtObjId* /*object*/, std::uint32_t /*selector*/, std::uint32_t code,
                     KtPropset input, KtPropset /*output*/, std::uint32_t /*value6*/,
                     std::uint32_t /*value7*/, std::uint64_t /*value8*/, std::uint64_t /*value9*/,
                     std::uint64_t /*value10*/, std::uint64_t /*value11*/,
                     std::uint64_t* /*provider*/) {
  return code == kControl ? Spell(input) : kNotImplemented;
}

}  // namespace

const KtWchar* const kName = KT_W("throwing");
const KtProviderTable kTable{TakeControl, Initialize, Shutdown, GetAttr, ChangeNotify, Version};
void (*const kAtUnload)() = nullptr;

}  // namespace broken
