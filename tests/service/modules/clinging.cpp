// A provider that is detached behind the service's back while its Shutdown runs, and whose version
// tells how often it was initialised since it was loaded.

#include <thread>

#include "ktbus3/ktbus3_host.h"
#include "module_frame.h"

namespace test_module {
namespace {

KtProvider theProvider = nullptr;
int timesInitialised = 0;

KtStatus Count(KtDatabase /*database*/, KtProvider provider) {
  theProvider = provider;
  ++timesInitialised;
  return 0;
}

// The detachment waits on its own thread for this call to return.
KtStatus DetachMyself(std::uint64_t /*argument*/) {
  std::thread([] { KtBusDetachProvider(theProvider); }).detach();
  while (KtBusProviderGetAttr(theProvider, 0, 0, 0, 0) == 0) {
    KtSleep(1);
  }
  return 0;
}

KtStatus GiveCount(KtWchar** out) {
  const std::string narrow = std::to_string(timesInitialised);
  return GiveText(std::basic_string<KtWchar>(narrow.begin(), narrow.end()), out);
}

}  // namespace

const KtWchar* const kProviderName = KT_W("clinging");
const KtProviderTable kProviderTable{Control, Count,        DetachMyself,
                                     GetAttr, ChangeNotify, GiveCount};

}  // namespace test_module
