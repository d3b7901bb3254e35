#include "stop_signal.h"

#include <utility>

#include "stop_signal_source.h"

namespace ktsvc {

StopSignal::StopSignal(std::function<void()> again)
    : again_(std::move(again)), source_(Source::Listen(*this)) {}

StopSignal::~StopSignal() = default;

void StopSignal::Wait() {
  std::unique_lock lock(mutex_);
  wish_.wait(lock, [this] { return requested_; });
}

bool StopSignal::WaitFor(std::chrono::milliseconds time) {
  std::unique_lock lock(mutex_);
  return wish_.wait_for(lock, time, [this] { return requested_; });
}

bool StopSignal::Requested() const {
  const std::lock_guard lock(mutex_);
  return requested_;
}

std::string StopSignal::Reason() const {
  const std::lock_guard lock(mutex_);
  return reason_;
}

void StopSignal::OnHangUp(std::function<void()> call) {
  const std::lock_guard lock(hangUpMutex_);
  hangUp_ = std::move(call);
}

bool StopSignal::HangUp() {
  const std::lock_guard lock(hangUpMutex_);
  if (!hangUp_) {
    return false;
  }
  hangUp_();
  return true;
}

void StopSignal::Request(const std::string& reason) {
  {
    const std::lock_guard lock(mutex_);
    if (!requested_) {
      requested_ = true;
      reason_ = reason;
      wish_.notify_all();
      return;
    }
  }
  again_();
}

}  // namespace ktsvc
