// BROKEN ON PURPOSE: its Shutdown fails.
//
// It takes a subscription back that it has never made, and hands on what that answers. A service
// keeps such a module in memory until the process ends. ktcheck says: shutdown.

#include "broken.h"

namespace broken {
namespace {

KtDatabase g_database = nullptr;
KtCookie g_cookie = 0;  // nobody registers anything

KtStatus Begin(KtDatabase database, KtProvider provider) {
  g_database = database;
  return Initialize(database, provider);
}

KtStatus End(std::uint64_t /*argument*/) {
  return EvUnregisterEvent(g_database, g_cookie);
}

}  // namespace

const KtWchar* const kName = KT_W("stubborn");
const KtProviderTable kTable{Control, Begin, End, GetAttr, ChangeNotify, Version};
void (*const kAtUnload)() = nullptr;

}  // namespace broken
