// BROKEN ON PURPOSE: each life keeps memory of its own.
//
// A cache that is made in Initialize is forgotten when the module is unloaded, and made anew in the
// next life. ktcheck says: memory-grows.

#include <new>
#include <string>

#include "broken.h"

namespace broken {
namespace {

std::string* g_cache = nullptr;

KtStatus Begin(KtDatabase database, KtProvider provider) {
  g_cache = new (std::nothrow) std::string(300, 'x');  // nobody deletes it
  return g_cache == nullptr ? 0x8007000E : Initialize(database, provider);
}

}  // namespace

const KtWchar* const kName = KT_W("hoarding");
const KtProviderTable kTable{Control, Begin, Shutdown, GetAttr, ChangeNotify, Version};
void (*const kAtUnload)() = nullptr;

}  // namespace broken
