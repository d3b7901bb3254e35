#include "replay/replayer.h"

#include <cstring>
#include <thread>
#include <utility>
#include <vector>

#include "module_file.h"
#include "replay/call_text.h"
#include "replay/player.h"
#include "replay/replay_rules.h"
#include "status_text.h"

namespace ktreplay {
namespace {

// So long nothing may move before a thread is not waited for any more.
constexpr std::chrono::milliseconds kOrderPatience{1000};

}  // namespace

// ---- The whole -------------------------------------------------------------------------------

ReplayResult Player::Run() {
  KtBusCallGate gate{};
  gate.size = sizeof(gate);
  gate.context = this;
  gate.before = [](KtBusCall* call, void* context) -> cuvo_bool {
    return static_cast<Player*>(context)->Before(*call) ? 1 : 0;
  };
  gate.after = [](const KtBusCall* call, void* context) {
    static_cast<Player*>(context)->After(*call);
  };
  ktsvc::RequireOk(KtBusSetCallGate(&gate), "KtBusSetCallGate");

  std::vector<std::thread> threads;
  {
    const std::lock_guard lock(mutex_);
    Stream* loader = nullptr;
    for (Stream& stream : recorded_.streams()) {
      if (stream.host) {
        // The thread that calls first is the one that loads: the host's main thread.
        loader = loader == nullptr ? &stream : loader;
        stream.taken = true;
        ++driving_;
        ++living_;
      }
    }
    if (loader == nullptr) {
      KtBusSetCallGate(nullptr);
      throw ReplayError("no function of " + name_ + " is called in it");
    }
    for (Stream& stream : recorded_.streams()) {
      if (stream.host) {
        threads.emplace_back([self = shared_from_this(), &stream, first = &stream == loader] {
          self->Live(stream, first);
        });
      }
    }
  }

  bool stuck = false;
  {
    std::unique_lock lock(mutex_);
    while (living_ != 0) {
      const std::uint64_t before = progress_;
      changed_.wait_for(lock, patience_, [&] { return living_ == 0 || progress_ != before; });
      if (living_ == 0 || progress_ != before) {
        continue;
      }
      if (difference_ && stuck) {
        break;
      }
      if (!difference_) {
        Stream* at = nullptr;
        for (Stream& stream : recorded_.streams()) {
          if (stream.inside != nullptr) {
            at = &stream;
          }
        }
        if (at != nullptr) {
          SkipLenient(*at);
        }
        Differ(at, at == nullptr ? nullptr : at->Peek(),
               at == nullptr || at->Peek() == nullptr ? "an end" : CallText(*at->Peek()),
               std::string(kNothing) + "the module does not come back)");
      }
      stuck = true;
    }
    stuck = living_ != 0;
  }
  KtBusSetCallGate(nullptr);
  for (std::thread& thread : threads) {
    stuck ? thread.detach() : thread.join();
  }

  const std::lock_guard lock(mutex_);
  if (load_failure_ != nullptr) {
    std::rethrow_exception(load_failure_);
  }
  ReplayResult result;
  result.provider = name_;
  result.items = recorded_.items();
  result.functions = functions_;
  result.calls = calls_;
  result.difference = difference_;
  result.given_up = given_up_;
  result.incomplete = recorded_.incomplete();
  result.stuck = stuck;
  return result;
}

// ---- Threads of the host ---------------------------------------------------------------------

void Player::Live(Stream& stream, bool loader) {
  Here().stream = &stream;
  if (loader) {
    Load();
  }
  Drive(stream, loader);
  if (loader) {
    {
      std::unique_lock lock(mutex_);
      --driving_;
      changed_.notify_all();
      changed_.wait(lock, [this] { return driving_ == 0; });
    }
    Unload();
    const std::lock_guard lock(mutex_);
    SkipLenient(stream);
    if (Watching() && recorded_.incomplete().empty()) {
      if (stream.Peek() != nullptr) {
        Differ(&stream, stream.Peek(), CallText(*stream.Peek()),
               std::string(kNothing) + "the module is unloaded)");
      }
      CheckThreadsThatNeverCame();
    }
  }
  Here().stream = nullptr;
  const std::lock_guard lock(mutex_);
  if (!loader) {
    --driving_;
  }
  --living_;
  changed_.notify_all();
}

void Player::Load() {
  try {
    ktsvc::RequireOk(KtBusOpenDatabase(&database_), "KtBusOpenDatabase");
    const ktsvc::ModuleFile file(std::filesystem::absolute(module_file_));
    module_ = std::make_unique<ktsvc::ProviderModule>(file, name_);
    ktsvc::RequireOk(KtBusAttachProvider(database_, name_.c_str(), &module_->table(),
                                         module_->address(), &provider_),
                     "KtBusAttachProvider");
  } catch (...) {
    load_failure_ = std::current_exception();
  }
  const std::lock_guard lock(mutex_);
  loaded_ = true;
  over_ = over_ || load_failure_ != nullptr;
  ++progress_;
  changed_.notify_all();
}

void Player::Drive(Stream& stream, bool loader) {
  {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return loaded_; });
  }
  for (;;) {
    const Item* enter = nullptr;
    {
      const std::lock_guard lock(mutex_);
      SkipLenient(stream);
      if (!Watching() || !stream.HasEnter()) {
        break;
      }
      enter = stream.Peek();
      if (enter->kind == ItemKind::kCall) {
        Differ(&stream, enter, CallText(*enter),
               std::string(kNothing) + "no function of the module runs)");
        break;
      }
    }
    if (!WaitTurn(*enter)) {
      break;
    }
    Call(stream, *enter);
  }
  if (loader) {
    ShutDownUnseen();
  }
}

bool Player::WaitTurn(const Item& enter) {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [&] { return !Watching() || order_.IsTurnOfEvent(enter); });
  KeepOrder(enter, lock);
  if (!Watching()) {
    return false;
  }
  Done(enter);
  return true;
}

// ---- Order -----------------------------------------------------------------------------------

void Player::Done(const Item& item) {
  order_.Done(item);
  ++progress_;
  changed_.notify_all();
}

void Player::SkipLenient(Stream& stream) {
  while (stream.Peek() != nullptr && stream.Peek()->kind == ItemKind::kCall &&
         IsLenient(stream.Peek()->function)) {
    Done(*stream.Peek());
    ++stream.next;
  }
}

// Waits until what stands before the item has come. A thread for which all others wait in vain,
// since it goes another way here, is not waited for any more.
void Player::KeepOrder(const Item& item, std::unique_lock<std::mutex>& lock) {
  while (Watching() && !order_.IsTurnOf(item)) {
    const std::size_t stands = order_.frontier();
    const bool moved = changed_.wait_for(
        lock, kOrderPatience, [&] { return order_.frontier() != stands || !Watching(); });
    if (!moved && sleeping_ == 0) {
      order_.GiveUpNext();
      ++given_up_;
      changed_.notify_all();
    }
  }
}

void Player::Call(Stream& stream, const Item& enter) {
  std::optional<FunctionCall> call;
  try {
    call.emplace(enter, database_, provider_);
  } catch (const std::exception& error) {
    const std::lock_guard lock(mutex_);
    Differ(&stream, &enter, CallText(enter), std::string("(no call: ") + error.what() + ")");
    return;
  }
  {
    const Item asked = reader_.Begin(call->call());
    const std::lock_guard lock(mutex_);
    ++stream.next;
    stream.inside = &enter;
    initialized_ = initialized_ || enter.function == "Initialize";
    shutting_down_ = shutting_down_ || enter.function == "Shutdown";
    changed_.notify_all();
    // This pairs the things that the function is given.
    if (!compare_.SameAsked(enter, asked)) {
      Differ(&stream, &enter, CallText(enter), CallText(asked) + " is all that can be made of it");
    }
  }
  Here().in_module = true;
  call->Make(module_->table());
  Here().in_module = false;
  Compare(stream, enter, *call);
}

void Player::Compare(Stream& stream, const Item& enter, const FunctionCall& call) {
  const Item came = reader_.Leave(call.call());
  const std::lock_guard lock(mutex_);
  if (enter.function == "Shutdown" &&
      (came.outcome == KTBUS_CALL_THREW ||
       ktsvc::StatusFails(static_cast<KtStatus>(call.call().result)))) {
    safe_to_unload_ = false;  // it may have threads yet
  }
  SkipLenient(stream);
  const Item* const recorded = stream.Peek();
  if (Watching() && recorded == nullptr) {
    // It did not come back then; whatever it does here is new.
    over_ = true;
  }
  if (Watching() && recorded->kind == ItemKind::kCall) {
    Differ(&stream, recorded, CallText(*recorded), CallText(came));
  } else if (Watching()) {
    if (!compare_.SameOutcome(*recorded, came)) {
      Differ(&stream, recorded, CallText(*recorded), CallText(came));
    }
    ++stream.next;
    ++functions_;
    Done(*recorded);
  }
  stream.inside = nullptr;
  ++progress_;
  changed_.notify_all();
}

// A module that was started is not unloaded without having been shut down.
void Player::ShutDownUnseen() {
  {
    const std::lock_guard lock(mutex_);
    if (!initialized_ || shutting_down_) {
      return;
    }
    shutting_down_ = true;
    over_ = true;
    changed_.notify_all();
  }
  Item enter;
  enter.function = "Shutdown";
  enter.provider = name_;
  enter.arguments.resize(1);
  enter.arguments[0].kind = KTBUS_WORD_UINT64;
  FunctionCall call(enter, database_, provider_);
  call.Make(module_->table());
  const std::lock_guard lock(mutex_);
  safe_to_unload_ = call.call().outcome == KTBUS_CALL_MADE &&
                    !ktsvc::StatusFails(static_cast<KtStatus>(call.call().result));
}

void Player::Unload() {
  if (provider_ != nullptr) {
    KtBusDetachProvider(provider_);
  }
  if (module_ != nullptr && !safe_to_unload_) {
    module_->Abandon();
  }
  module_.reset();
  if (database_ != nullptr) {
    KtBusCloseDatabase(database_);
  }
}

ReplayResult Replay(const std::filesystem::path& recording, const std::filesystem::path& module,
                    const ReplayOptions& options) {
  return std::make_shared<Player>(recording, module, options)->Run();
}

}  // namespace ktreplay
