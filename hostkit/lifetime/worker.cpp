#include "lifetime/worker.h"

bool CKtWorker::IsStopped() const noexcept {
  return stopped_.load(std::memory_order_acquire);
}

bool CKtWorker::IsStopRequested() const noexcept {
  return stop_requested_.load(std::memory_order_acquire);
}

void CKtWorker::RequestStop() noexcept {
  stop_requested_.store(true, std::memory_order_release);
}

void CKtWorker::MarkRunning() noexcept {
  stopped_.store(false, std::memory_order_release);
}

void CKtWorker::MarkStopped() noexcept {
  stopped_.store(true, std::memory_order_release);
}
