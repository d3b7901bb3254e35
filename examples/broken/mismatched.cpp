// BROKEN ON PURPOSE: it frees with the wrong function.
//
// A text of KtGUIDToString is a plain block of the framework's, but it is released like a record.
// The framework does not take it; the text is kept as well. ktcheck says: wrong-free, leak.

#include "broken.h"

namespace broken {
namespace {

KtStatus Begin(KtDatabase database, KtProvider provider) {
  char* const text = KtGUIDToString(&kInterface);
  if (text == nullptr) return 0x8007000E;
  KtTrace(4, "%s serves %s", "mismatched", text);
  PsFreeProperty(reinterpret_cast<cuvo_property*>(text));  // _KtFree would be right
  return Initialize(database, provider);
}

}  // namespace

const KtWchar* const kName = KT_W("mismatched");
const KtProviderTable kTable{Control, Begin, Shutdown, GetAttr, ChangeNotify, Version};
void (*const kAtUnload)() = nullptr;

}  // namespace broken
