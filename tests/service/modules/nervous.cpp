// A provider that lets an exception out when it is told of an event, and whose Shutdown, which does
// well, lasts until that has happened.

#include <stdexcept>

#include "ktbus3/ktbus3_host.h"
#include "module_frame.h"

namespace test_module {
namespace {

constexpr const char* kEvent = "event.test.nervous";

KtDatabase theDatabase = nullptr;
KtProvider theProvider = nullptr;
KtCookie theSubscription = 0;

KtStatus Subscribe(KtDatabase database, KtProvider provider) {
  theDatabase = database;
  theProvider = provider;
  return EvRegisterEvent(database, provider, kEvent, &theSubscription);
}

KtStatus Throw(std::uint64_t /*a*/, std::uint64_t /*b*/, std::uint64_t /*c*/, std::uint64_t /*d*/) {
  throw std::runtime_error("thrown by a test");
}

KtStatus OutlastAnException(std::uint64_t /*argument*/) {
  EvRaiseEvent(theDatabase, theProvider, kEvent, nullptr);
  std::uint64_t count = 0;
  while (KtBusProviderExceptions(theProvider, &count) == 0 && count == 0) {
    KtSleep(1);
  }
  return EvUnregisterEvent(theDatabase, theSubscription);
}

}  // namespace

const KtWchar* const kProviderName = KT_W("nervous");
const KtProviderTable kProviderTable{Control, Subscribe, OutlastAnException,
                                     GetAttr, Throw,     Version};

}  // namespace test_module
