// BROKEN ON PURPOSE: it takes two locks in two orders.
//
// Controls take the list before the log, events the log before the list. Nothing happens for
// months, until a control and an event come at the same moment. ktcheck says: lock-order.

#include "broken.h"

namespace broken {
namespace {

KtDatabase g_database = nullptr;
KtCookie g_cookie = 0;
KtCriticalSection g_list{};
KtCriticalSection g_log{};

void TakeBoth(KtCriticalSection& first, KtCriticalSection& second) {
  KtEnterCriticalSection(&first);
  KtEnterCriticalSection(&second);
  KtLeaveCriticalSection(&second);
  KtLeaveCriticalSection(&first);
}

KtStatus Begin(KtDatabase database, KtProvider provider) {
  g_database = database;
  KtInitializeCriticalSection(&g_list);
  KtInitializeCriticalSection(&g_log);
  const KtStatus status = Initialize(database, provider);
  if (status != 0) return status;
  return EvRegisterEvent(database, provider, "event.disorderly", &g_cookie);
}

KtStatus TakeControl(const KtObjId* /*object*/, std::uint32_t /*selector*/, std::uint32_t code,
                     KtPropset /*input*/, KtPropset /*output*/, std::uint32_t /*value6*/,
                     std::uint32_t /*value7*/, std::uint64_t /*value8*/, std::uint64_t /*value9*/,
                     std::uint64_t /*value10*/, std::uint64_t /*value11*/,
                     std::uint64_t* /*provider*/) {
  if (code != kControl) return kNotImplemented;
  TakeBoth(g_list, g_log);
  return 0;
}

KtStatus TakeEvent(std::uint64_t /*a*/, std::uint64_t /*b*/, std::uint64_t /*c*/,
                   std::uint64_t /*d*/) {
  TakeBoth(g_log, g_list);
  return 0;
}

KtStatus End(std::uint64_t /*argument*/) {
  if (g_cookie != 0) EvUnregisterEvent(g_database, g_cookie);
  KtDeleteCriticalSection(&g_log);
  KtDeleteCriticalSection(&g_list);
  return 0;
}

}  // namespace

const KtWchar* const kName = KT_W("disorderly");
const KtProviderTable kTable{TakeControl, Begin, End, GetAttr, TakeEvent, Version};
void (*const kAtUnload)() = nullptr;

}  // namespace broken
