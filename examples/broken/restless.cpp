// BROKEN ON PURPOSE: it never stops its thread.
//
// Initialize starts a thread that looks after things, and Shutdown does not know of it. The thread
// would go on in code that has been unloaded. ktcheck says: thread-left.

#include <system_error>
#include <thread>

#include "broken.h"

namespace broken {
namespace {

void LookAfterThings() {
  for (;;) KtSleep(20);
}

KtStatus Begin(KtDatabase database, KtProvider provider) {
  try {
    std::thread(&LookAfterThings).detach();  // nobody can ever wait for it
  } catch (const std::system_error&) {
    return 0xC1000001;
  }
  return Initialize(database, provider);
}

}  // namespace

const KtWchar* const kName = KT_W("restless");
const KtProviderTable kTable{Control, Begin, Shutdown, GetAttr, ChangeNotify, Version};
void (*const kAtUnload)() = nullptr;

}  // namespace broken
