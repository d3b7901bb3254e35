// A provider that lets an exception out when it is told of an event.

#include "module_frame.h"

#include <stdexcept>

namespace test_module {
namespace {

KtStatus Subscribe(KtDatabase database, KtProvider provider) {
  KtCookie cookie = 0;
  return EvRegisterEvent(database, provider, "event.qelm.dom.initialization.*.complete", &cookie);
}

KtStatus Throw(std::uint64_t /*a*/, std::uint64_t /*b*/, std::uint64_t /*c*/, std::uint64_t /*d*/) {
  throw std::runtime_error("thrown by a test");
}

}  // namespace

const KtWchar* const kProviderName = KT_W("jumpy");
const KtProviderTable kProviderTable{Control, Subscribe, Shutdown, GetAttr, Throw, Version};

}  // namespace test_module
