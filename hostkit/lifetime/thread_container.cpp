#include "lifetime/thread_container.h"

#include <algorithm>

#include "base/trace.h"
#include "lifetime/singleton.h"

std::atomic<CKtThreadContainer*> CKtThreadContainer::instance_{nullptr};

CKtThreadContainer& CKtThreadContainer::Instance() {
  return kt::InstanceOf(instance_,
                        [] { return std::unique_ptr<CKtThreadContainer>(new CKtThreadContainer); });
}

void CKtThreadContainer::ReleaseInstance() noexcept {
  kt::ReleaseInstanceOf(instance_);
}

CKtThreadContainer::~CKtThreadContainer() = default;

void CKtThreadContainer::Add(CKtWorker& worker) {
  const kt::LockGuard guard(lock_);
  if (!ContainsLocked(&worker)) workers_.push_back(&worker);
}

void CKtThreadContainer::Remove(CKtWorker& worker) noexcept {
  const kt::LockGuard guard(lock_);
  const auto found = std::find(workers_.begin(), workers_.end(), &worker);
  if (found == workers_.end()) return;
  if (walks_ != 0) {
    *found = nullptr;
  } else {
    workers_.erase(found);
  }
}

void CKtThreadContainer::StopAll() noexcept {
  const std::size_t requested = RequestStopOfAll();
  kt::Trace(kt::kWarning, "%S: INFO: CKtThreadContainer: Requested the stop of %d threads.",
            static_cast<std::int32_t>(requested));
  std::uint32_t waited_ms = 0;
  while (!AllStopped()) {
    KtSleep(kPollMs);
    waited_ms += kPollMs;
    if (waited_ms > kLimitMs) {
      kt::Trace(kt::kError,
                "%S: TIMEOUT_ERROR: All threads did not complete before the specified timeout.");
      return;
    }
  }
}

std::size_t CKtThreadContainer::Count() const noexcept {
  const kt::LockGuard guard(lock_);
  return workers_.size() -
         static_cast<std::size_t>(std::count(workers_.begin(), workers_.end(), nullptr));
}

bool CKtThreadContainer::ContainsLocked(const CKtWorker* worker) const noexcept {
  return std::find(workers_.begin(), workers_.end(), worker) != workers_.end();
}

// A worker that is asked may add workers and take workers out; those that it adds wait for the next
// walk.
template <typename Visit>
void CKtThreadContainer::VisitLocked(Visit visit) noexcept {
  ++walks_;
  const std::size_t count = workers_.size();
  for (std::size_t i = 0; i < count; ++i) {
    if (workers_[i] != nullptr) visit(*workers_[i]);
  }
  if (--walks_ == 0) std::erase(workers_, nullptr);
}

std::size_t CKtThreadContainer::RequestStopOfAll() noexcept {
  const kt::LockGuard guard(lock_);
  std::size_t requested = 0;
  VisitLocked([&requested](CKtWorker& worker) {
    worker.RequestStop();
    ++requested;
  });
  return requested;
}

bool CKtThreadContainer::AllStopped() noexcept {
  const kt::LockGuard guard(lock_);
  bool all_stopped = true;
  VisitLocked([&all_stopped](const CKtWorker& worker) {
    if (!worker.IsStopped()) all_stopped = false;
  });
  return all_stopped;
}
