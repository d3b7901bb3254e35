#include "provider/module_state.h"

#include "base/retired.h"
#include "dispatch/control_manager.h"
#include "dispatch/event_manager.h"
#include "lifetime/custom_object_container.h"
#include "lifetime/thread_container.h"
#include "provider/provider.h"

namespace kt {

void ReleaseModule() noexcept {
  // The provider comes first, since it gives its control map to the retired; these take their
  // controls out of the control manager and therefore go before it. Every accessor creates what is
  // missing, so the second round takes what the first has brought back to life.
  for (int round = 0; round < 2; ++round) {
    CKtProvider::ReleaseInstance();
    ReleaseRetired();
    CKtThreadContainer::ReleaseInstance();
    CKtCustomObjectContainer::ReleaseInstance();
    CKtEventManager::ReleaseInstance();
    CKtControlManager::ReleaseInstance();
  }
}

}  // namespace kt
