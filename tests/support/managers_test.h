// A test of the toolkit's managers: a fresh framework, and all managers gone before the ledger is
// looked at, in the order in which a module that is detached lets them go.
#pragma once

#include "base/retired.h"
#include "dispatch/control_manager.h"
#include "dispatch/event_manager.h"
#include "fake/fake_test.h"
#include "lifetime/custom_object_container.h"
#include "lifetime/thread_container.h"

namespace support {

class ManagersTest : public fake::FrameworkTest {
 protected:
  void ReleaseModuleState() override {
    kt::ReleaseRetired();
    CKtThreadContainer::ReleaseInstance();
    CKtCustomObjectContainer::ReleaseInstance();
    CKtEventManager::ReleaseInstance();
    CKtControlManager::ReleaseInstance();
  }
};

}  // namespace support
