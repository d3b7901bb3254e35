// The database lock: re-entrant, held by a thread on behalf of a provider. It keeps providers out
// of each other's way and nothing else: every call is safe without it.
//
// Threads: everything from any thread.
#pragma once

#include <condition_variable>
#include <memory>
#include <thread>
#include <vector>

#include "bus/lock.h"
#include "bus/provider.h"

namespace kt::bus {

class DatabaseLock {
 public:
  // Waits until no other thread holds it. 0xC1000010 when the provider goes meanwhile.
  KtStatus Enter(const Provider& provider) KT_EXCLUDES(lock_);

  // 0x80070057 when this thread does not hold it for that provider.
  KtStatus Leave(const Provider& provider) KT_EXCLUDES(lock_);

  // Gives up every hold of a provider that is gone, whatever thread took it; how many there were.
  // They stay in the ledger, since the provider never gave them back.
  std::size_t GiveUp(const Provider& provider) KT_EXCLUDES(lock_);

  // Wakes all who wait, so that those of a provider that goes notice it.
  void Wake() KT_EXCLUDES(lock_);

 private:
  Mutex lock_;
  std::condition_variable_any free_;
  std::thread::id holder_ KT_GUARDED_BY(lock_);
  std::vector<const Provider*> holds_ KT_GUARDED_BY(lock_);  // one for each Enter
};

}  // namespace kt::bus
