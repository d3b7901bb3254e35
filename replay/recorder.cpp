#include "replay/recorder.h"

#include <chrono>
#include <exception>
#include <stdexcept>
#include <utility>

#include "property_value.h"
#include "status_text.h"

namespace ktreplay {
namespace {

constexpr std::size_t kMostWaiting = 262144;

#if defined(_WIN32)
constexpr const char* kSystem = "Windows";
#else
constexpr const char* kSystem = "Linux";
#endif

RecordingInfo InfoOf(const std::string& program) {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return {program, kSystem,
          static_cast<std::uint64_t>(
              std::chrono::duration_cast<std::chrono::milliseconds>(now).count())};
}

}  // namespace

Recorder::Recorder(const std::filesystem::path& file, const std::string& program,
                   OnFailure onFailure)
    : writer_(file, InfoOf(program)),
      onFailure_(std::move(onFailure)),
      begun_(std::chrono::steady_clock::now()),
      thread_([this] { Run(); }) {
  KtBusCallGate gate{};
  gate.size = sizeof(gate);
  gate.context = this;
  gate.before = [](KtBusCall* call, void* context) -> cuvo_bool {
    static_cast<Recorder*>(context)->Before(*call);
    return 0;
  };
  gate.after = [](const KtBusCall* call, void* context) {
    static_cast<Recorder*>(context)->After(*call);
  };
  const KtStatus status = KtBusSetCallGate(&gate);
  if (ktsvc::StatusFails(status)) {
    Stop();
    throw ktsvc::BusError("KtBusSetCallGate", status);
  }
}

Recorder::~Recorder() {
  Stop();
}

RecordingEnd Recorder::Stop() {
  if (!std::exchange(stopped_, true)) {
    KtBusSetCallGate(nullptr);
    {
      const std::lock_guard lock(mutex_);
      stopping_ = true;
      changed_.notify_all();
    }
    thread_.join();
    open_.clear();
  }
  return {writer_.items(), writer_.bytes(), failure_};
}

void Recorder::Before(KtBusCall& call) {
  if (*call.provider == '\0') {
    return;
  }
  try {
    if (call.inward != 0) {
      Push(reader_.Begin(call));
      return;
    }
    auto item = std::make_unique<Item>(reader_.Begin(call));
    const std::lock_guard lock(mutex_);
    if (failure_.empty()) {
      call.memo = item.get();
      open_.emplace(item.get(), std::move(item));
    }
  } catch (const std::exception& error) {
    call.memo = nullptr;
    Fail(error.what());
  }
}

void Recorder::After(const KtBusCall& call) {
  if (*call.provider == '\0') {
    return;
  }
  try {
    if (call.inward != 0) {
      Push(reader_.Leave(call));
    } else if (call.memo != nullptr) {
      std::unique_ptr<Item> item;
      {
        const std::lock_guard lock(mutex_);
        const auto found = open_.find(call.memo);
        item = std::move(found->second);
        open_.erase(found);
      }
      reader_.End(call, *item);
      Push(std::move(*item));
    }
  } catch (const std::exception& error) {
    Fail(error.what());
  }
}

void Recorder::Push(Item item) {
  const auto passed = std::chrono::steady_clock::now() - begun_;
  item.microseconds = static_cast<std::uint64_t>(
      std::chrono::duration_cast<std::chrono::microseconds>(passed).count());
  const std::lock_guard lock(mutex_);
  if (!failure_.empty()) {
    return;
  }
  if (waiting_.size() >= kMostWaiting) {
    throw std::runtime_error("calls come faster than they can be written");
  }
  waiting_.push_back(std::move(item));
  changed_.notify_all();
}

void Recorder::Fail(const std::string& why) noexcept {
  try {
    {
      const std::lock_guard lock(mutex_);
      if (!failure_.empty()) {
        return;
      }
      failure_ = why;
    }
    if (onFailure_) {
      onFailure_(why);
    }
  } catch (...) {
    // There is no memory to say so; Stop() says it, as far as it was kept.
    return;
  }
}

void Recorder::Run() {
  try {
    for (;;) {
      std::vector<Item> items;
      bool end = false;
      {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return stopping_ || !waiting_.empty(); });
        items.swap(waiting_);
        end = items.empty();
        if (end && !failure_.empty()) {
          return;
        }
      }
      if (end) {
        writer_.End();
        return;
      }
      for (const Item& item : items) {
        writer_.Put(item);
      }
      writer_.Flush();
    }
  } catch (const std::exception& error) {
    Fail(error.what());
  }
  const std::lock_guard lock(mutex_);
  waiting_.clear();
}

}  // namespace ktreplay
