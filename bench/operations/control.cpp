// A control through the table's Control: two filters that let it pass, a handler that does nothing.
#include <benchmark/benchmark.h>

#include "bench/operations/control.h"

#include <atomic>
#include <cstdio>
#include <map>
#include <mutex>
#include <string>
#include <unordered_map>

#include "bench/operations/control_work.h"
#include "bench/support/operation.h"

namespace kt::bench {
namespace {

// Both lines about the control are formatted and reach a sink that counts them.
class TracedControl : public Control {
 public:
  using Control::Control;

  bool Works() {
    Begin();
    const std::uint64_t before = lines.load();
    const bool answers = Send(1) == AnswerOf(1);
    End();
    return answers && lines.load() == before + 2;
  }
  void Begin() {
    level_before_ = KtSetTraceLevel(6);
    KtBusTraceToCallback(&CountLine, nullptr);
  }
  void End() {
    KtBusTraceToCallback(nullptr, nullptr);
    KtSetTraceLevel(level_before_);
  }

 private:
  static void CountLine(std::uint32_t /*level*/, const char* /*text*/, void* /*context*/) {
    lines.fetch_add(1, std::memory_order_relaxed);
  }
  static std::atomic<std::uint64_t> lines;
  std::uint32_t level_before_ = 0;
};
std::atomic<std::uint64_t> TracedControl::lines{0};

// A hash of the forty bytes and a virtual call: what there is no way around.
class Floor {
 public:
  explicit Floor(std::size_t handlers) : objects_(PlainObjects(handlers)), order_(handlers) {
    for (std::size_t i = 0; i < handlers; ++i) {
      handlers_.emplace(KeyOf(objects_[i]), MakePlainHandler(static_cast<std::uint32_t>(i)));
    }
  }
  bool Works() { return Send(0) == AnswerOf(0) && Send(objects_.size() - 1) != 0; }
  void Run() { benchmark::DoNotOptimize(Send(order_.Next())); }

 private:
  KtStatus Send(std::size_t index) {
    PlainRequest request{&objects_[index], kSelector, kWork};
    const auto found = handlers_.find(KeyOf(objects_[index]));
    return found == handlers_.end() ? 0 : found->second->Handle(request);
  }

  std::vector<KtObjId> objects_;
  Order order_;
  std::unordered_map<ControlKey, std::unique_ptr<PlainHandler>, ControlKeyHash> handlers_;
};

// The path made with snprintf and looked up in an ordered map under a lock, filters in a list.
class SnprintfControl {
 public:
  explicit SnprintfControl(std::size_t handlers)
      : objects_(PlainObjects(handlers)), order_(handlers) {
    for (std::size_t i = 0; i < handlers; ++i) {
      handlers_.emplace(Path(objects_[i]), MakePlainHandler(static_cast<std::uint32_t>(i)));
    }
    filters_.push_back(MakePlainFilter());
    filters_.push_back(MakePlainFilter());
  }
  bool Works() { return Send(0) == AnswerOf(0) && Send(1) == AnswerOf(1); }
  void Run() { benchmark::DoNotOptimize(Send(order_.Next())); }

 private:
  static std::string GuidText(const KtGuid& guid) {
    std::array<char, 40> text{};
    static_cast<void>(std::snprintf(
        text.data(), text.size(), "{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}", guid.Data1,
        guid.Data2, guid.Data3, guid.Data4[0], guid.Data4[1], guid.Data4[2], guid.Data4[3],
        guid.Data4[4], guid.Data4[5], guid.Data4[6], guid.Data4[7]));
    return text.data();
  }
  static std::string Path(const KtObjId& object) {
    std::array<char, 256> text{};
    static_cast<void>(std::snprintf(text.data(), text.size(), "OBJ:%s,INTF:%s,MJ:%u,MN:%u",
                                    GuidText(object.guid).c_str(), GuidText(kWorkInterface).c_str(),
                                    kSelector, kWork));
    return text.data();
  }
  KtStatus Send(std::size_t index) {
    PlainRequest request{&objects_[index], kSelector, kWork};
    for (const auto& filter : filters_) {
      if (filter->Handle(request) != kPass) return 0;
    }
    std::shared_ptr<PlainHandler> handler;
    {
      const std::lock_guard guard(lock_);
      const auto found = handlers_.find(Path(objects_[index]));
      if (found != handlers_.end()) handler = found->second;
    }
    return handler == nullptr ? 0 : handler->Handle(request);
  }

  std::vector<KtObjId> objects_;
  Order order_;
  std::mutex lock_;
  std::map<std::string, std::shared_ptr<PlainHandler>> handlers_;
  std::vector<std::unique_ptr<PlainHandler>> filters_;
};

const bool entered = Add<Control>("control/10000/kt", kCounted, 10'000U) &&
                     Add<Floor>("control/10000/floor", {}, 10'000U) &&
                     Add<SnprintfControl>("control/10000/snprintf", {}, 10'000U) &&
                     Add<Control>("control/100/kt", kCounted, 100U) &&
                     Add<Floor>("control/100/floor", {}, 100U) &&
                     Add<Control>("control/100000/kt", kCounted, 100'000U) &&
                     Add<Floor>("control/100000/floor", {}, 100'000U) &&
                     Add<ControlOfAnyObject>("control/10000/any-object", kCounted, 10'000U) &&
                     Add<TracedControl>("control/10000/traced", kCounted, 10'000U);

}  // namespace
}  // namespace kt::bench
