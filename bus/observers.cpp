#include "bus/observers.h"

#include <new>
#include <utility>

#include "bus/attribution.h"
#include "bus/guid.h"
#include "bus/ledger.h"
#include "bus/property_set.h"
#include "bus/status.h"

namespace kt::bus {
namespace {

// Whose observer runs on this thread.
thread_local const Observers* running_here = nullptr;

std::uint64_t Now() noexcept {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return static_cast<std::uint64_t>(
      std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}

KtBusObservation InfoOf(std::uint32_t what, std::uint64_t time) noexcept {
  KtBusObservation info{};
  info.size = sizeof(info);
  info.what = what;
  info.name = "";
  info.provider = "";
  info.type = "";
  info.description = "";
  info.time = time;
  return info;
}

void CallWith(const Observation& observation, std::uint64_t time, KtBusObserver observer,
              void* context) {
  const PropertyMap none;
  const LentPropset properties(observation.properties == nullptr ? none : *observation.properties);
  KtBusObservation info = InfoOf(observation.what, time);
  info.name = observation.name.c_str();
  info.provider = observation.provider.c_str();
  info.object = observation.object;
  info.type = observation.type.c_str();
  info.description = observation.description.c_str();
  info.severity = observation.severity;
  info.properties = observation.properties == nullptr ? nullptr : properties.get();
  observer(&info, context);
}

// What of it can be large: it is foreign.
std::size_t BytesOf(const Observation& observation) noexcept {
  return observation.name.size() + observation.type.size() + observation.description.size() +
         (observation.properties == nullptr ? 0 : observation.properties->content_bytes());
}

// Whether the second adds nothing to the first for one who has not seen the first yet.
bool Covers(const Observation& first, const Observation& second) noexcept {
  return second.what == KTBUS_OBSERVED_CHANGED &&
         (first.what == KTBUS_OBSERVED_CHANGED || first.what == KTBUS_OBSERVED_CREATED) &&
         SameGuid(first.object.guid, second.object.guid);
}

}  // namespace

KtStatus Observers::Set(KtBusObserver observer, void* context) {
  if (RunsHere()) return kInvalidArgument;
  const MutexGuard setting(set_lock_);
  if (closed_) return kNoObject;
  End();
  if (observer == nullptr) return kOk;
  thread_ = std::thread([this, observer, context] { Run(observer, context); });
  active_.store(true);
  return kOk;
}

void Observers::Close() {
  const MutexGuard setting(set_lock_);
  closed_ = true;
  End();
}

void Observers::End() {
  if (!thread_.joinable()) return;
  {
    const MutexGuard guard(lock_);
    active_.store(false);
    ending_ = true;
    told_signal_.notify_all();
  }
  thread_.join();
  const MutexGuard guard(lock_);
  waiting_.clear();
  waiting_bytes_ = 0;
  lost_ = 0;
  done_ = told_;
  ending_ = false;
  done_signal_.notify_all();
}

bool Observers::RunsHere() const noexcept {
  return running_here == this;
}

void Observers::Tell(Observation observation) noexcept {
  if (!Active()) return;
  const MutexGuard guard(lock_);
  if (!Active()) return;
  const bool follows = !waiting_.empty() && lost_ == 0;
  if (follows && Covers(waiting_.back().observation, observation)) return;
  try {
    const std::size_t bytes = BytesOf(observation);
    if (waiting_.size() >= kMaxWaiting || bytes > kMaxWaitingBytes - waiting_bytes_) {
      throw std::bad_alloc();
    }
    waiting_.push_back({std::move(observation), Now(), lost_, bytes});
    waiting_bytes_ += bytes;
    lost_ = 0;
    ++told_;
  } catch (const std::bad_alloc&) {
    ++lost_;
  }
  told_signal_.notify_one();
}

void Observers::Lose() noexcept {
  const MutexGuard guard(lock_);
  if (!Active()) return;
  ++lost_;
  told_signal_.notify_one();
}

std::uint64_t Observers::Told() const {
  const MutexGuard guard(lock_);
  return told_;
}

bool Observers::WaitFor(std::uint64_t count, std::chrono::steady_clock::time_point deadline) {
  const MutexGuard guard(lock_);
  while (done_ < count) {
    if (done_signal_.wait_until(lock_, deadline) == std::cv_status::timeout) {
      return done_ >= count;
    }
  }
  return true;
}

void Observers::Run(KtBusObserver observer, void* context) {
  running_here = this;
  const RunningAs host(Ledger::Get().host());
  for (;;) {
    Entry entry;
    std::uint64_t lost = 0;
    {
      const MutexGuard guard(lock_);
      while (waiting_.empty() && lost_ == 0 && !ending_) told_signal_.wait(lock_);
      if (ending_) return;
      if (waiting_.empty()) {
        lost = std::exchange(lost_, 0);
      } else {
        entry = std::move(waiting_.front());
        waiting_.pop_front();
        waiting_bytes_ -= entry.bytes;
        lost = entry.lost_before;
      }
    }
    if (lost != 0) {
      KtBusObservation info = InfoOf(KTBUS_OBSERVED_LOST, Now());
      info.lost = lost;
      observer(&info, context);
    }
    if (entry.observation.what == 0) continue;
    const KtStatus status = Answer([&] {
      CallWith(entry.observation, entry.time, observer, context);
      return kOk;
    });
    const MutexGuard guard(lock_);
    if (status != kOk) ++(waiting_.empty() ? lost_ : waiting_.front().lost_before);
    ++done_;
    done_signal_.notify_all();
  }
}

}  // namespace kt::bus
