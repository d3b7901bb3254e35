// BROKEN ON PURPOSE: it deadlocks in a call-back.
//
// Shutdown raises a last event and waits, under its lock, until it has been told of it.
// ChangeNotify needs the same lock first: neither can go on. ktcheck says: stuck, with both stacks.

#include <atomic>

#include "broken.h"

namespace broken {
namespace {

constexpr const char* kLastEvent = "event.deadlocked.ends";

KtDatabase g_database = nullptr;
KtProvider g_provider = nullptr;
KtCookie g_cookie = 0;
KtCriticalSection g_lock{};
std::atomic<bool> g_told{false};

KtStatus Begin(KtDatabase database, KtProvider provider) {
  g_database = database;
  g_provider = provider;
  KtInitializeCriticalSection(&g_lock);
  const KtStatus status = Initialize(database, provider);
  if (status != 0) return status;
  return EvRegisterEvent(database, provider, kLastEvent, &g_cookie);
}

KtStatus BeTold(std::uint64_t /*a*/, std::uint64_t /*b*/, std::uint64_t /*c*/,
                std::uint64_t /*d*/) {
  KtEnterCriticalSection(&g_lock);
  g_told = true;
  KtLeaveCriticalSection(&g_lock);
  return 0;
}

KtStatus End(std::uint64_t /*argument*/) {
  KtEnterCriticalSection(&g_lock);
  g_told = false;
  if (g_cookie != 0 && EvRaiseEvent(g_database, g_provider, kLastEvent, nullptr) == 0) {
    while (!g_told) KtSleep(5);  // under the lock that BeTold() needs
  }
  KtLeaveCriticalSection(&g_lock);
  EvUnregisterEvent(g_database, g_cookie);
  KtDeleteCriticalSection(&g_lock);
  return 0;
}

}  // namespace

const KtWchar* const kName = KT_W("deadlocked");
const KtProviderTable kTable{Control, Begin, End, GetAttr, BeTold, Version};
void (*const kAtUnload)() = nullptr;

}  // namespace broken
