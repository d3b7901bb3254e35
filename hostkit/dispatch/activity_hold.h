// kt::ActivityHold keeps every control and every event from starting and from ending while it
// lives, by holding the activity lock.
//
// Whoever runs destructors of wrappers takes it before the lock that guards them: a destructor may
// open activity scopes and cannot know who runs it, and the activity lock comes first
// (base/lock_order.h).
//
// Threads:   as short as the work; the lock is re-entrant, so the flush at the close of the last
//            scope may hold again.
// Failure:   nothing throws. Without memory for the control manager nothing is held.
#pragma once

#include "base/annotations.h"
#include "base/lock_order.h"

class CKtControlManager;

namespace kt {

class KT_SCOPED_CAPABILITY ActivityHold {
 public:
  // Creates the control manager when there is none.
  ActivityHold() noexcept KT_ACQUIRE(rank::activity);
  ~ActivityHold() KT_RELEASE();
  ActivityHold(const ActivityHold&) = delete;
  ActivityHold& operator=(const ActivityHold&) = delete;

 private:
  CKtControlManager* manager_;
};

}  // namespace kt
