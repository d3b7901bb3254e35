#include "ktcheck/life.h"

#include <algorithm>
#include <chrono>
#include <thread>
#include <utility>
#include <vector>

#include "ktcheck/call_stack.h"
#include "ktcheck/thread_stacks.h"
#include "module_error.h"
#include "module_file.h"
#include "property_value.h"
#include "status_text.h"

namespace ktcheck {
namespace {

// How long a thread may take between its last word to the module and its end, as a part of the
// patience with a call.
constexpr int kPartForThreads = 10;

// How long one may take to show whether it is the module's at all.
constexpr std::chrono::milliseconds kThreadShows{3000};

struct Subscriptions {
  std::string provider;
  std::vector<std::string> names;
};

cuvo_bool AddSubscription(const KtBusSubscriptionInfo* info, void* context) {
  auto& found = *static_cast<Subscriptions*>(context);
  if (found.provider == info->provider) found.names.emplace_back(info->name);
  return 1;
}

}  // namespace

Life::Life(Surroundings surroundings) : around_(std::move(surroundings)) {
  ktsvc::RequireOk(KtBusOpenDatabase(&database_), "KtBusOpenDatabase");
  for (const ThreadStack& thread : OtherThreads()) threads_before_.insert(thread.thread);
}

Life::~Life() {
  if (module_ != nullptr && !tainted_) End();
  // A module that stays may still use it.
  if (!tainted_) KtBusCloseDatabase(database_);
}

void Life::Tell(const char* kind, const std::string& what) {
  around_.sink({kind, what, {}, {}, 1});
}

bool Life::Load() {
  try {
    const Timed timed(around_.clock, "loading the module");
    const ktsvc::ModuleFile file(around_.subject.file);
    module_ = std::make_unique<ktsvc::ProviderModule>(file, name());
  } catch (const ktsvc::ModuleError& error) {
    if (!around_.may_fail) Tell("not-loaded", error.what());
    return false;
  }
  KeepInMind(reinterpret_cast<std::uintptr_t>(module_->address()));
  return true;
}

bool Life::Begin() {
  if (!Load()) return false;
  ktsvc::RequireOk(KtBusAttachProvider(database_, name().c_str(), &module_->table(),
                                       module_->address(), &provider_),
                   "KtBusAttachProvider");
  if (around_.loaded) around_.loaded();
  const Timed timed(around_.clock, "Initialize");
  const KtStatus status = KtBusInitializeProvider(provider_);
  if (!ktsvc::StatusFails(status)) {
    if (around_.initialized) around_.initialized();
    return true;
  }
  if (!around_.may_fail) Tell("initialize", "Initialize answers " + ktsvc::StatusText(status));
  return false;
}

void Life::WaitForDelivery() {
  // A notice that does not come back is the clock's to tell.
  while (KtBusWaitForDelivery(database_, 1000) == KTBUS_TIMEOUT) {
  }
}

void Life::End(const std::function<void()>& late) {
  if (module_ == nullptr) return;
  WaitForDelivery();
  {
    const Timed timed(around_.clock, "Shutdown");
    const KtStatus status = KtBusShutdownProvider(provider_, 0);
    if (ktsvc::StatusFails(status) && !around_.may_fail) {
      Tell("shutdown", "Shutdown answers " + ktsvc::StatusText(status));
    }
  }
  if (around_.watch != nullptr) around_.watch->ShutdownIsOver();
  TellSubscriptions();
  if (late) late();
  {
    const Timed timed(around_.clock, "letting go of the module");
    KtBusDetachProvider(provider_);
  }
  if (ThreadsAreGone()) {
    Unload();
  } else {
    tainted_ = true;
    module_->Abandon();
    module_.reset();
  }
}

void Life::TellSubscriptions() {
  if (around_.may_fail) return;  // taking it back may be what was made to fail
  Subscriptions found{name(), {}};
  KtBusVisitSubscriptions(database_, &AddSubscription, &found);
  for (const std::string& kept : found.names) {
    Tell("subscription-kept", "the subscription to \"" + kept + "\" is still there after Shutdown");
  }
}

bool Life::ThreadsAreGone() {
  const std::chrono::milliseconds time = around_.clock.patience() / kPartForThreads;
  const auto begin = std::chrono::steady_clock::now();
  for (;;) {
    std::vector<ThreadStack> left;
    bool unclear = false;
    for (const ThreadStack& thread : OtherThreads()) {
      const bool began_here = !threads_before_.contains(thread.thread);
      if (StandsInModule(thread.stack) || (began_here && thread.blocks_asking)) {
        left.push_back(thread);
      } else if (began_here && !StandsInFramework(thread.stack)) {
        unclear = true;  // it has hardly begun, or is about to end
      }
    }
    const auto passed = std::chrono::steady_clock::now() - begin;
    if (left.empty() && (!unclear || passed >= std::min(kThreadShows, time))) return true;
    if (!left.empty() && passed >= time) {
      TellThreads(left);
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
}

void Life::TellThreads(const std::vector<ThreadStack>& threads) {
  for (const ThreadStack& thread : threads) {
    if (thread.blocks_asking) {
      Tell("thread-left",
           "a thread that began in this life still runs after Shutdown; it blocks signals, and "
           "cannot be asked where it stands");
      continue;
    }
    around_.sink({"thread-left",
                  "a thread of the module still runs after Shutdown",
                  {},
                  {{"it stands here", AllFrames(thread.stack)}},
                  1});
  }
}

void Life::Unload() {
  const auto address = reinterpret_cast<std::uintptr_t>(module_->address());
  const auto place = PlaceOf(address);
  {
    const Timed timed(around_.clock, "unloading the module");
    module_.reset();
  }
  const auto after = PlaceOf(address);
  if (place && after && place->file == after->file && place->begin == after->begin) {
    Tell("stays-loaded", "the module is still in memory after it was unloaded");
  }
}

}  // namespace ktcheck
