// BROKEN ON PURPOSE: it does not mind that memory may run out.
//
// What malloc answers is used as it is. On the author's machine it is never null. ktcheck says:
// crash, in its check "memory".

#include <cstdlib>
#include <cstring>

#include "broken.h"

namespace broken {
namespace {

KtStatus Begin(KtDatabase database, KtProvider provider) {
  auto* const list = static_cast<char*>(std::malloc(64));
  std::strcpy(list, "a, b, c");  // at a null pointer when there was no memory
  const bool is_short = std::strlen(list) < 64;
  std::free(list);
  return is_short ? Initialize(database, provider) : 0xC1000001;
}

}  // namespace

const KtWchar* const kName = KT_W("careless");
const KtProviderTable kTable{Control, Begin, Shutdown, GetAttr, ChangeNotify, Version};
void (*const kAtUnload)() = nullptr;

}  // namespace broken
