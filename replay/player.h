// Player: one replay, its threads and its gate. What it does is in replayer.h.
//
// Threads:   Run() on one thread; it makes the others. Everything else on those, and on the threads
//            of the module.
// Ownership: its threads keep it alive, for a module that gets stuck never lets go of them.
#pragma once

#include <condition_variable>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>

#include "host_system.h"
#include "provider_module.h"
#include "replay/call_compare.h"
#include "replay/call_reader.h"
#include "replay/function_call.h"
#include "replay/recorded_provider.h"
#include "replay/replay_order.h"
#include "replay/replayer.h"

namespace ktreplay {

// What a difference says in place of a call that is not there.
inline constexpr const char* kNothing = "(nothing: ";

// Where a thread stands.
struct ThreadPlace {
  Stream* stream = nullptr;  // the thread of the recording that it is
  bool in_module = false;    // a function of the module runs on it
};
ThreadPlace& Here() noexcept;

// A call of the module that has not returned.
struct Pending {
  Item came;
  const Item* recorded = nullptr;  // null: it is not compared
  const Item* passing = nullptr;   // the recorded call that it stands for, compared or not
  bool sleeps = false;
};

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
  std::uint64_t given_up_ = 0;
};

}  // namespace ktreplay
