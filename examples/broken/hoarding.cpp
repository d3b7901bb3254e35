// BROKEN ON PURPOSE: each life keeps memory of its own.
//
// A cache that is made in Initialize is forgotten when the module is unloaded, and made anew in the
// next life. ktcheck says: memory-grows.

#include <cstdlib>
#include <cstring>

#include "broken.h"

namespace broken {
namespace {

char* g_cache = nullptr;

KtStatus Begin(KtDatabase database, KtProvider provider) {
  constexpr std::size_t kSize = 300;
  g_cache = static_cast<char*>(std::malloc(kSize));  // nobody frees it
  if (g_cache == nullptr) return 0x8007000E;
  std::memset(g_cache, 'x', kSize);
  return Initialize(database, provider);
}

}  // namespace

const KtWchar* const kName = KT_W("hoarding");
const KtProviderTable kTable{Control, Begin, Shutdown, GetAttr, ChangeNotify, Version};
void (*const kAtUnload)() = nullptr;

}  // namespace broken
