// BROKEN ON PURPOSE: it never stops its thread, and the thread blocks all signals.
//
// That it cannot be asked where it stands hides nothing: it was not there before the module was
// loaded, and is there after Shutdown. ktcheck says: thread-left. Where there are no such signals
// the module is not built.

#include <pthread.h>

#include <csignal>

#include "broken.h"

namespace broken {
namespace {

void* LookAfterThings(void* /*argument*/) {
  for (;;) KtSleep(20);
}

// A thread begins with the signals blocked that its maker blocks.
KtStatus Begin(KtDatabase database, KtProvider provider) {
  sigset_t all;
  sigset_t former;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &former);
  pthread_t thread{};
  const int error = pthread_create(&thread, nullptr, &LookAfterThings, nullptr);
  pthread_sigmask(SIG_SETMASK, &former, nullptr);
  if (error != 0) return 0xC1000001;
  pthread_detach(thread);  // nobody can ever wait for it
  return Initialize(database, provider);
}

}  // namespace

const KtWchar* const kName = KT_W("deaf");
const KtProviderTable kTable{Control, Begin, Shutdown, GetAttr, ChangeNotify, Version};
void (*const kAtUnload)() = nullptr;

}  // namespace broken
