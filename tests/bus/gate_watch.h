// A gate that remembers what passes it.
//
// Threads: made and destroyed by the test's own thread; calls pass it on any.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "bus/bus_test.h"

namespace bus_test {

struct SeenCall {
  std::string function;
  std::string provider;
  bool inward;
  std::uint64_t thread;
  std::vector<KtBusWord> words;
  std::uint32_t result_kind;
  std::uint32_t outcome;
  std::uint64_t result;
};

// A gate for the life of the object. It remembers the calls in the order of their ends.
class Watch {
 public:
  using Before = std::function<bool(KtBusCall&)>;
  using After = std::function<void(const KtBusCall&)>;

  explicit Watch(Before before = {}, After after = {})
      : before_(std::move(before)), after_(std::move(after)) {
    KtBusCallGate gate{};
    gate.size = sizeof(gate);
    gate.context = this;
    gate.before = [](KtBusCall* call, void* context) -> cuvo_bool {
      auto& self = *static_cast<Watch*>(context);
      ++self.begun_;
      return self.before_ && self.before_(*call) ? 1 : 0;
    };
    gate.after = [](const KtBusCall* call, void* context) {
      static_cast<Watch*>(context)->Remember(*call);
    };
    EXPECT_EQ(KtBusSetCallGate(&gate), kOk);
  }
  ~Watch() { EXPECT_EQ(KtBusSetCallGate(nullptr), kOk); }
  Watch(const Watch&) = delete;
  Watch& operator=(const Watch&) = delete;

  [[nodiscard]] std::vector<SeenCall> calls() const {
    const std::lock_guard guard(lock_);
    return calls_;
  }
  [[nodiscard]] std::vector<std::string> names() const {
    std::vector<std::string> names;
    for (const SeenCall& call : calls()) names.push_back(call.function);
    return names;
  }
  [[nodiscard]] std::size_t begun() const { return begun_.load(); }

 private:
  void Remember(const KtBusCall& call) {
    {
      const std::lock_guard guard(lock_);
      calls_.push_back({call.function,
                        call.provider,
                        call.inward != 0,
                        call.thread,
                        {call.arguments, call.arguments + call.argumentCount},
                        call.resultKind,
                        call.outcome,
                        call.result});
    }
    if (after_) after_(call);
  }

  Before before_;
  After after_;
  std::atomic<std::size_t> begun_{0};
  mutable std::mutex lock_;
  std::vector<SeenCall> calls_;
};

}  // namespace bus_test
