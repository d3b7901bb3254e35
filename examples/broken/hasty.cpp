// BROKEN ON PURPOSE: it leaves in a hurry when a call fails.
//
// A text of its own is freed where all goes well, and not on the way out of an error. Nothing is
// lost in any ordinary life. ktcheck says: memory-kept.

#include <cstdlib>
#include <cstring>

#include "broken.h"

namespace broken {
namespace {

KtStatus Begin(KtDatabase database, KtProvider provider) {
  constexpr std::size_t kSize = 200;
  auto* const text = static_cast<char*>(std::malloc(kSize));
  if (text == nullptr) return 0x8007000E;
  std::memset(text, 0, kSize);
  std::strcpy(text, "one thing");
  const KtStatus status = Initialize(database, provider);
  if (status != 0) return status;  // here the text is kept
  KtTrace(4, "%s serves %s", "hasty", text);
  std::free(text);
  return 0;
}

}  // namespace

const KtWchar* const kName = KT_W("hasty");
const KtProviderTable kTable{Control, Begin, Shutdown, GetAttr, ChangeNotify, Version};
void (*const kAtUnload)() = nullptr;

}  // namespace broken
