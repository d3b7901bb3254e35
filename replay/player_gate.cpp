// What a replay does with the calls of the module.
#include <cstring>
#include <exception>
#include <utility>

#include "replay/answer.h"
#include "replay/call_text.h"
#include "replay/player.h"
#include "replay/replay_rules.h"

namespace ktreplay {

ThreadPlace& Here() noexcept {
  thread_local ThreadPlace place;
  return place;
}

// On a thread of the host, what is called while a function of the module runs; elsewhere, and while
// it is loaded and unloaded, what its code calls.
bool Player::Mine(const KtBusCall& call) const {
  return call.inward == 0 && (Here().in_module || name_ == call.provider);
}

bool Player::Before(KtBusCall& call) {
  if (!Mine(call)) {
    return false;
  }
  try {
    auto pending = std::make_unique<Pending>();
    pending->came = reader_.Begin(call);
    std::unique_lock lock(mutex_);
    ++progress_;
    bool answered = false;
    if (Watching()) {
      if (Here().stream == nullptr && !IsLenient(call.function)) {
        Here().stream = Adopt(pending->came);
      }
      if (Here().stream != nullptr && Watching()) {
        answered = IsLenient(call.function) ? BeforeLenient(*Here().stream, call, *pending, lock)
                                            : BeforeStrict(*Here().stream, call, *pending, lock);
      }
    }
    Pending* const kept = pending.get();
    pending_.emplace(kept, std::move(pending));
    call.memo = kept;
    return answered;
  } catch (const std::exception& error) {
    const std::lock_guard lock(mutex_);
    Differ(Here().stream, nullptr, call.function, std::string("(no answer: ") + error.what() + ")");
    return false;
  }
}

void Player::After(const KtBusCall& call) {
  if (call.memo == nullptr) {
    return;
  }
  std::unique_ptr<Pending> pending;
  {
    const std::lock_guard lock(mutex_);
    const auto found = pending_.find(call.memo);
    pending = std::move(found->second);
    pending_.erase(found);
  }
  std::string unreadable;
  try {
    reader_.End(call, pending->came);
  } catch (const std::exception& error) {
    unreadable = error.what();
  }
  const std::lock_guard lock(mutex_);
  if (pending->sleeps) {
    --sleeping_;
  }
  if (pending->passing != nullptr) {
    Done(*pending->passing);
  }
  if (pending->recorded == nullptr || !Watching()) {
    return;
  }
  ++calls_;
  if (!unreadable.empty()) {
    Differ(Here().stream, pending->recorded, CallText(*pending->recorded),
           std::string(call.function) + " (what came back cannot be read: " + unreadable + ")");
  } else if (!compare_.SameOutcome(*pending->recorded, pending->came)) {
    Differ(Here().stream, pending->recorded, CallText(*pending->recorded), CallText(pending->came));
  }
}

// The thread of the recording that begins as this one does.
Stream* Player::Adopt(const Item& came) {
  Stream* second_best = nullptr;
  for (Stream& stream : recorded_.streams()) {
    if (stream.taken) {
      continue;
    }
    SkipLenient(stream);
    const Item* const first = stream.Peek();
    if (first == nullptr || first->function != came.function) {
      continue;
    }
    if (compare_.WouldBeSame(*first, came)) {
      stream.taken = true;
      return &stream;
    }
    second_best = second_best == nullptr ? &stream : second_best;
  }
  if (second_best != nullptr) {
    second_best->taken = true;
    return second_best;
  }
  if (shutting_down_ || !recorded_.incomplete().empty()) {
    return nullptr;
  }
  Differ(nullptr, nullptr, std::string(kNothing) + "no thread of the module begins so)",
         AskedText(came));
  return nullptr;
}

// Takes the next recorded call of that function before the next that must come, where there is one.
bool Player::BeforeLenient(Stream& stream, KtBusCall& call, Pending& pending,
                           std::unique_lock<std::mutex>& lock) {
  std::size_t found = stream.next;
  for (;; ++found) {
    if (found == stream.items.size() || stream.items[found]->kind != ItemKind::kCall ||
        !IsLenient(stream.items[found]->function)) {
      return false;
    }
    if (stream.items[found]->function == call.function) {
      break;
    }
  }
  for (; stream.next < found; ++stream.next) {
    Done(*stream.items[stream.next]);
  }
  ++stream.next;
  pending.passing = stream.items[found];
  KeepOrder(*pending.passing, lock);
  if (Failed(*pending.passing)) {
    Answer(*pending.passing, call);
    return true;
  }
  if (std::strcmp(call.function, "KtSleep") == 0) {
    pending.sleeps = true;
    ++sleeping_;
  }
  return false;
}

bool Player::BeforeStrict(Stream& stream, KtBusCall& call, Pending& pending,
                          std::unique_lock<std::mutex>& lock) {
  SkipLenient(stream);
  const Item* const recorded = stream.Peek();
  if (recorded == nullptr) {
    return BeyondTheRecording(stream, pending.came, lock);
  }
  if (recorded->kind != ItemKind::kCall || !compare_.SameAsked(*recorded, pending.came)) {
    Differ(&stream, recorded, CallText(*recorded), AskedText(pending.came));
    return false;
  }
  ++stream.next;
  pending.recorded = recorded;
  pending.passing = recorded;
  KeepOrder(*recorded, lock);
  if (!IsAnswered(call.function) && !Failed(*recorded)) {
    return false;
  }
  Answer(*recorded, call);
  return true;
}

bool Player::BeyondTheRecording(Stream& stream, const Item& came,
                                std::unique_lock<std::mutex>& lock) {
  if (!stream.host) {
    changed_.wait(lock, [this] { return shutting_down_ || !Watching(); });
  } else if (recorded_.incomplete().empty() && stream.inside == nullptr) {
    Differ(&stream, nullptr, std::string(kNothing) + "the recording ends)", AskedText(came));
  } else {
    over_ = true;  // the function did not come back then
    changed_.notify_all();
  }
  return false;
}

void Player::Differ(const Stream* stream, const Item* recorded, std::string expected,
                    std::string came) {
  if (!Watching()) {
    return;
  }
  Difference difference;
  if (recorded != nullptr) {
    difference.item = recorded->number;
    difference.microseconds = recorded->microseconds;
  }
  if (stream != nullptr) {
    difference.thread = stream->thread;
    if (stream->inside != nullptr) {
      difference.inside =
          AskedText(*stream->inside) + ", item " + std::to_string(stream->inside->number);
    }
  }
  difference.expected = std::move(expected);
  difference.came = std::move(came);
  difference_ = std::move(difference);
  ++progress_;
  changed_.notify_all();
}

void Player::CheckThreadsThatNeverCame() {
  for (Stream& stream : recorded_.streams()) {
    if (!stream.taken && stream.HasStrictCall()) {
      SkipLenient(stream);
      Differ(&stream, stream.Peek(), CallText(*stream.Peek()),
             std::string(kNothing) + "the module has not started this thread)");
      return;
    }
  }
}

}  // namespace ktreplay
