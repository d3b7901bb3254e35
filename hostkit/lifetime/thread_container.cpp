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
  if (found != workers_.end()) workers_.erase(found);
}

void CKtThreadContainer::StopAll() {
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
  return workers_.size();
}

bool CKtThreadContainer::ContainsLocked(const CKtWorker* worker) const noexcept {
  return std::find(workers_.begin(), workers_.end(), worker) != workers_.end();
}

// A worker that is asked may take workers out of the container, so both walks go over a copy and
// leave out those that have gone meanwhile.
std::size_t CKtThreadContainer::RequestStopOfAll() {
  const kt::LockGuard guard(lock_);
  const std::vector<CKtWorker*> asked = workers_;
  for (CKtWorker* const worker : asked) {
    if (ContainsLocked(worker)) worker->RequestStop();
  }
  return asked.size();
}

bool CKtThreadContainer::AllStopped() {
  const kt::LockGuard guard(lock_);
  const std::vector<CKtWorker*> asked = workers_;
  bool all_stopped = true;
  for (const CKtWorker* const worker : asked) {
    if (ContainsLocked(worker) && !worker->IsStopped()) all_stopped = false;
  }
  return all_stopped;
}
