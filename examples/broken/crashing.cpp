// BROKEN ON PURPOSE: it uses the answer of a call that failed.
//
// The text is null when there is no memory for it, which never happens on the author's machine.
// ktcheck says: crash.

#include "broken.h"

namespace broken {
namespace {

KtStatus Begin(KtDatabase database, KtProvider provider) {
  char* const text = KtGUIDToString(&kInterface);
  const bool is_braced = text[0] == '{';  // a null pointer when the call failed
  _KtFree(text);
  return is_braced ? Initialize(database, provider) : 0xC1000001;
}

}  // namespace

const KtWchar* const kName = KT_W("crashing");
const KtProviderTable kTable{Control, Begin, Shutdown, GetAttr, ChangeNotify, Version};
void (*const kAtUnload)() = nullptr;

}  // namespace broken
