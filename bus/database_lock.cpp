#include "bus/database_lock.h"

#include <algorithm>

#include "bus/status.h"

namespace kt::bus {

KtStatus DatabaseLock::Enter(const Provider& provider) {
  const MutexGuard guard(lock_);
  const std::thread::id self = std::this_thread::get_id();
  while (!holds_.empty() && holder_ != self && !provider.gone()) free_.wait(lock_);
  if (provider.gone()) return kNoObject;
  holds_.push_back(&provider);
  holder_ = self;
  provider.account().HandOut(Kind::kDatabaseLock);
  return kOk;
}

KtStatus DatabaseLock::Leave(const Provider& provider) {
  const MutexGuard guard(lock_);
  if (holds_.empty() || holder_ != std::this_thread::get_id()) return kInvalidArgument;
  const auto found = std::find(holds_.rbegin(), holds_.rend(), &provider);
  if (found == holds_.rend()) return kInvalidArgument;
  holds_.erase(std::next(found).base());
  provider.account().Return(Kind::kDatabaseLock);
  if (holds_.empty()) free_.notify_all();
  return kOk;
}

std::size_t DatabaseLock::GiveUp(const Provider& provider) {
  const MutexGuard guard(lock_);
  const std::size_t given_up = std::erase(holds_, &provider);
  free_.notify_all();
  return given_up;
}

void DatabaseLock::Wake() {
  const MutexGuard guard(lock_);
  free_.notify_all();
}

}  // namespace kt::bus
