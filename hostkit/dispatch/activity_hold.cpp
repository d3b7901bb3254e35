#include "dispatch/activity_hold.h"

#include "dispatch/control_manager.h"
#include "lifetime/singleton.h"

namespace kt {

// The rank stands for the manager's lock, which the analysis cannot follow through a pointer that
// may be null.
ActivityHold::ActivityHold() noexcept KT_NO_THREAD_SAFETY_ANALYSIS
    : manager_(InstanceOrNull<CKtControlManager>()) {
  if (manager_ != nullptr) manager_->activity_lock_.Enter();
}

ActivityHold::~ActivityHold() KT_NO_THREAD_SAFETY_ANALYSIS {
  if (manager_ != nullptr) manager_->activity_lock_.Leave();
}

}  // namespace kt
