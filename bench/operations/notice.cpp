// A notice to a provider with many subscriptions, half of them patterns, four of which match.
//
//   module   from the table's ChangeNotify to the four call-backs of the toolkit
//   raised   from the raising on the bus until a provider's ChangeNotify has returned
#include <benchmark/benchmark.h>

#include <atomic>
#include <map>
#include <stdexcept>
#include <string>
#include <unordered_map>

#include "bench/module/words.h"
#include "bench/operations/control.h"
#include "bench/operations/subscription_names.h"
#include "bench/support/heap.h"
#include "bench/support/loaded_module.h"
#include "bench/support/operation.h"
#include "ktbus3/ktbus3_host.h"

namespace kt::bench {
namespace {

// The same name each time, or one that nobody has seen before.
class Names {
 public:
  explicit Names(bool warm) : warm_(warm) {}
  const char* Next() {
    if (warm_) return kWarmName;
    name_ = "bench.disk.";
    name_ += std::to_string(++count_);
    name_ += ".changed";
    return name_.c_str();
  }

 private:
  bool warm_;
  std::uint64_t count_ = 0;
  std::string name_;
};

LoadedModule& ModuleWith(std::uint32_t subscriptions) {
  static std::map<std::uint32_t, LoadedModule> modules;
  const auto [place, fresh] = modules.try_emplace(subscriptions);
  if (fresh) place->second.Subscribe(subscriptions);
  return place->second;
}

class ModuleNotice {
 public:
  ModuleNotice(std::uint32_t subscriptions, bool warm)
      : module_(ModuleWith(subscriptions)), names_(warm) {}

  bool Works() {
    const std::uint64_t before = module_.Calls();
    Run();
    return module_.Calls() == before + kMatches;
  }
  void Begin() { level_ = KtSetTraceLevel(7); }
  void End() { KtSetTraceLevel(level_); }
  void Run() {
    const KtEventRecord event{KTBUS_NOTICE_EVENT, names_.Next(), nullptr, module_.database()};
    benchmark::DoNotOptimize(
        module_.table().ChangeNotify(0, 0, 0, reinterpret_cast<std::uintptr_t>(&event)));
  }

 private:
  LoadedModule& module_;
  Names names_;
  std::uint32_t level_ = 0;
};

// Notices that a BusListener got.
std::atomic<std::uint64_t> notices{0};

// A provider without the toolkit, so that what is measured is the bus: its matching, its queue and
// its thread.
class BusListener {
 public:
  explicit BusListener(std::uint32_t subscriptions) {
    KtProviderTable table{};
    table.ChangeNotify = &OnNotice;
    Require(KtBusOpenDatabase(&database_));
    Require(KtBusAttachProvider(database_, "listener", &table, nullptr, &provider_));
    for (const std::string& name : SubscriptionNames(subscriptions)) Subscribe(name);
  }
  ~BusListener() {
    for (const KtCookie cookie : cookies_) EvUnregisterEvent(database_, cookie);
    KtBusDetachProvider(provider_);
    KtBusCloseDatabase(database_);
  }
  BusListener(const BusListener&) = delete;
  BusListener& operator=(const BusListener&) = delete;

  void Raise(const char* name) { KtBusRaiseEvent(database_, name, nullptr); }
  // Until all that was raised is delivered.
  void Wait() { KtBusWaitForDelivery(database_, 60'000); }

 private:
  static KtStatus OnNotice(std::uint64_t /*a*/, std::uint64_t /*b*/, std::uint64_t /*c*/,
                           std::uint64_t /*d*/) {
    notices.fetch_add(1, std::memory_order_relaxed);
    return 0;
  }
  static void Require(KtStatus status) {
    if (status != 0) {
      throw std::runtime_error("the bus refuses: status " + std::to_string(status));
    }
  }
  void Subscribe(const std::string& name) {
    cookies_.emplace_back();
    Require(EvRegisterEvent(database_, provider_, name.c_str(), &cookies_.back()));
  }

  KtDatabase database_ = nullptr;
  KtProvider provider_ = nullptr;
  std::vector<KtCookie> cookies_;
};

// Notices raised in a row, as a burst of changes does.
class RaisedNotice {
 public:
  static constexpr std::size_t kBatch = 256;

  RaisedNotice(std::uint32_t subscriptions, bool warm) : listener_(subscriptions), names_(warm) {}

  bool Works() {
    const std::uint64_t before = notices.load();
    Run();
    return notices.load() == before + kBatch;
  }
  void Run() {
    for (std::size_t i = 0; i < kBatch; ++i) listener_.Raise(names_.Next());
    listener_.Wait();
  }

 private:
  BusListener listener_;
  Names names_;
};

// What never-seen names leave on the heap, with a listener that some of them match: names of 20 to
// 2,000 bytes, a burst at a time, each delivered before the next.
double MemoryLeftByNames() {
  constexpr std::size_t kNames = 300'000;
  constexpr std::size_t kBurst = 250;
  BusListener listener(1'000);
  listener.Raise(kWarmName);  // the thread, and what it needs of its own
  listener.Wait();
  const std::uint64_t before = notices.load();
  const double heap = HeapInUse();
  std::string name;
  for (std::size_t i = 0; i < kNames; ++i) {
    // One in four has a subscription.
    name = i % 4 == 0 ? "bench.disk." : "bench.unknown.";
    name += std::to_string(i);
    name.append(i * 37 % 20 == 0 ? i * 7'919 % 2'000 : i * 7'919 % 200, 'n');
    name += ".changed";
    listener.Raise(name.c_str());
    if ((i + 1) % kBurst == 0) listener.Wait();
  }
  if (notices.load() != before + kNames / 4) throw std::runtime_error("notices are missing");
  return (HeapInUse() - heap) / (1'024.0 * 1'024.0);
}

// Exact names in a hash, and four virtual calls. It cannot do patterns: the name is in it.
class Floor {
 public:
  explicit Floor(std::uint32_t subscriptions) {
    for (const std::string& name : ExactNames(subscriptions)) {
      subscribers_[name].push_back(MakePlainHandler(1));
    }
  }
  bool Works() { return Notify() == kMatches; }
  void Run() { benchmark::DoNotOptimize(Notify()); }

 private:
  std::size_t Notify() {
    const std::string name(kWarmName);
    const auto found = subscribers_.find(name);
    if (found == subscribers_.end()) return 0;
    for (const auto& subscriber : found->second) {
      PlainRequest request{nullptr, 0, 0};
      benchmark::DoNotOptimize(subscriber->Handle(request));
    }
    return found->second.size();
  }

  std::unordered_map<std::string, std::vector<std::unique_ptr<PlainHandler>>> subscribers_;
};

constexpr How kRaised{Clock::kProcess};
const bool entered = Add<ModuleNotice>("notice/1000/module-warm", kCounted, 1'000U, true) &&
                     Add<ModuleNotice>("notice/1000/module-unseen", kCounted, 1'000U, false) &&
                     Add<ModuleNotice>("notice/10000/module-warm", {}, 10'000U, true) &&
                     Add<ModuleNotice>("notice/10000/module-unseen", {}, 10'000U, false) &&
                     Add<RaisedNotice>("notice/1000/raised-warm", kRaised, 1'000U, true) &&
                     Add<RaisedNotice>("notice/1000/raised-unseen", kRaised, 1'000U, false) &&
                     Add<RaisedNotice>("notice/10000/raised-warm", kRaised, 10'000U, true) &&
                     Add<RaisedNotice>("notice/10000/raised-unseen", kRaised, 10'000U, false) &&
                     Add<Floor>("notice/1000/floor", {}, 1'000U) &&
                     AddFigure("notice/memory/kt", &MemoryLeftByNames);

}  // namespace
}  // namespace kt::bench
