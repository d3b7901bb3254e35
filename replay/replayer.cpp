#include "replay/replayer.h"

#include <condition_variable>
#include <cstring>
#include <exception>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "host_system.h"
#include "module_file.h"
#include "provider_module.h"
#include "replay/answer.h"
#include "replay/call_compare.h"
#include "replay/call_reader.h"
#include "replay/call_text.h"
#include "replay/function_call.h"
#include "replay/recorded_provider.h"
#include "replay/replay_order.h"
#include "replay/replay_rules.h"
#include "status_text.h"

namespace ktreplay {
namespace {

// So long nothing may move before a thread is not waited for any more.
constexpr std::chrono::milliseconds kOrderPatience{1000};

constexpr const char* kNothing = "(nothing: ";

// Where a thread of the replay stands.
thread_local Stream* here = nullptr;
thread_local bool in_module = false;

// A call of the module that has not returned.
struct Pending {
  Item came;
  const Item* recorded = nullptr;  // null: it is not compared
  const Item* passing = nullptr;   // the recorded call that it stands for, compared or not
  bool sleeps = false;
};

// One replay. Its threads keep it alive, for a module that gets stuck never lets go of them.
class Player : public std::enable_shared_from_this<Player> {
 public:
  Player(const std::filesystem::path& recording, std::filesystem::path module,
         const ReplayOptions& options)
      : module_file_(std::move(module)),
        name_(options.provider.empty() ? ktsvc::PathText(module_file_.stem()) : options.provider),
        patience_(options.patience),
        recorded_(recording, name_),
        order_(recorded_) {}

  ReplayResult Run();

 private:
  // ---- Threads of the host ----
  void Live(Stream& stream, bool loader);
  void Load();
  void Drive(Stream& stream, bool loader);
  bool WaitTurn(const Item& enter);
  void Call(Stream& stream, const Item& enter);
  void Compare(Stream& stream, const Item& enter, const FunctionCall& call);
  void ShutDownUnseen();
  void Unload();

  // ---- The gate ----
  bool Before(KtBusCall& call);
  void After(const KtBusCall& call);
  bool Mine(const KtBusCall& call) const;
  Stream* Adopt(const Item& came);
  bool BeforeLenient(Stream& stream, KtBusCall& call, Pending& pending,
                     std::unique_lock<std::mutex>& lock);
  bool BeforeStrict(Stream& stream, KtBusCall& call, Pending& pending,
                    std::unique_lock<std::mutex>& lock);
  bool BeyondTheRecording(Stream& stream, const Item& came, std::unique_lock<std::mutex>& lock);

  void Differ(const Stream* stream, const Item* recorded, std::string expected, std::string came);
  void CheckThreadsThatNeverCame();
  void Done(const Item& item);
  void SkipLenient(Stream& stream);
  void KeepOrder(const Item& item, std::unique_lock<std::mutex>& lock);
  bool Watching() const { return !difference_ && !over_; }

  const std::filesystem::path module_file_;
  const std::string name_;
  const std::chrono::milliseconds patience_;
  RecordedProvider recorded_;
  CallReader reader_;

  // Touched by the thread that loads the module alone.
  KtDatabase database_ = nullptr;
  KtProvider provider_ = nullptr;

  std::unique_ptr<ktsvc::ProviderModule> module_;
  std::exception_ptr load_failure_;

  std::mutex mutex_;  // guards what follows, and the streams
  std::condition_variable changed_;
  CallCompare compare_;
  ReplayOrder order_;
  std::size_t sleeping_ = 0;
  std::unordered_map<const void*, std::unique_ptr<Pending>> pending_;
  std::optional<Difference> difference_;
  bool over_ = false;  // a recording without an end has been played as far as it goes
  bool loaded_ = false;
  bool initialized_ = false;
  bool shutting_down_ = false;
  bool safe_to_unload_ = true;
  std::size_t driving_ = 0;  // threads of the host that have not ended their functions
  std::size_t living_ = 0;   // threads of the host
  std::uint64_t progress_ = 0;
  std::uint64_t functions_ = 0;
  std::uint64_t calls_ = 0;
};

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
  result.incomplete = recorded_.incomplete();
  result.stuck = stuck;
  return result;
}

// ---- Threads of the host ---------------------------------------------------------------------

void Player::Live(Stream& stream, bool loader) {
  here = &stream;
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
  here = nullptr;
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
  in_module = true;
  call->Make(module_->table());
  in_module = false;
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

// ---- The gate --------------------------------------------------------------------------------

// On a thread of the host, what is called while a function of the module runs; elsewhere, and while
// it is loaded and unloaded, what its code calls.
bool Player::Mine(const KtBusCall& call) const {
  return call.inward == 0 && (in_module || name_ == call.provider);
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
      if (here == nullptr && !IsLenient(call.function)) {
        here = Adopt(pending->came);
      }
      if (here != nullptr && Watching()) {
        answered = IsLenient(call.function) ? BeforeLenient(*here, call, *pending, lock)
                                            : BeforeStrict(*here, call, *pending, lock);
      }
    }
    call.memo = pending.get();
    pending_.emplace(pending.get(), std::move(pending));
    return answered;
  } catch (const std::exception& error) {
    const std::lock_guard lock(mutex_);
    Differ(here, nullptr, call.function, std::string("(no answer: ") + error.what() + ")");
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
  reader_.End(call, pending->came);
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
  if (!compare_.SameOutcome(*pending->recorded, pending->came)) {
    Differ(here, pending->recorded, CallText(*pending->recorded), CallText(pending->came));
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

}  // namespace

ReplayResult Replay(const std::filesystem::path& recording, const std::filesystem::path& module,
                    const ReplayOptions& options) {
  return std::make_shared<Player>(recording, module, options)->Run();
}

}  // namespace ktreplay
