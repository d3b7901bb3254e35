// BROKEN ON PURPOSE: it takes it that nobody asks before Initialize.
//
// Version answers from what Initialize has made. A host may want to know the version of a module
// that it has only loaded. ktcheck says: crash, in its check "early".

#include <new>

#include "broken.h"

namespace broken {
namespace {

struct Build {
  KtWchar number;
};

Build* g_build = nullptr;

KtStatus Begin(KtDatabase database, KtProvider provider) {
  g_build = new (std::nothrow) Build{static_cast<KtWchar>('7')};
  if (g_build == nullptr) return 0x8007000E;
  return Initialize(database, provider);
}

KtStatus TellVersion(KtWchar** out) {
  auto* const text = static_cast<KtWchar*>(_KtAlloc(2 * sizeof(KtWchar)));
  if (text == nullptr) return 0x8007000E;
  text[0] = g_build->number;  // at a null pointer before Initialize
  text[1] = 0;
  *out = text;
  return 0;
}

void Forget() {
  delete g_build;
  g_build = nullptr;
}

}  // namespace

const KtWchar* const kName = KT_W("premature");
const KtProviderTable kTable{Control, Begin, Shutdown, GetAttr, ChangeNotify, TellVersion};
void (*const kAtUnload)() = &Forget;

}  // namespace broken
