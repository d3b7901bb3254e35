// BROKEN ON PURPOSE: it calls the framework after its Shutdown.
//
// It takes its subscription back as it is unloaded, when a static object goes, and not in Shutdown.
// By then the service has taken the module off the bus. ktcheck says: late-call,
// subscription-kept, leak.

#include "broken.h"

namespace broken {
namespace {

KtDatabase g_database = nullptr;
KtCookie g_cookie = 0;

KtStatus Begin(KtDatabase database, KtProvider provider) {
  const KtStatus status = Initialize(database, provider);
  if (status != 0) return status;
  g_database = database;
  return EvRegisterEvent(database, provider, "event.disk.*", &g_cookie);
}

void TakeBack() {
  if (g_cookie != 0) EvUnregisterEvent(g_database, g_cookie);  // too late
}

}  // namespace

const KtWchar* const kName = KT_W("belated");
const KtProviderTable kTable{Control, Begin, Shutdown, GetAttr, ChangeNotify, Version};
void (*const kAtUnload)() = &TakeBack;

}  // namespace broken
