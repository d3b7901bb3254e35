// bench: the provider that the benchmarks load, made with the toolkit as any other one. What it
// holds is asked of it by its own controls (module/words.h).
#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "base/module.h"
#include "base/retired.h"
#include "base/status.h"
#include "bench/module/words.h"
#include "bench/operations/subscription_names.h"
#include "dispatch/control_filter.h"
#include "dispatch/control_manager.h"
#include "dispatch/control_map.h"
#include "dispatch/control_request.h"
#include "dispatch/event_listener.h"
#include "objmodel/object.h"
#include "provider/provider.h"

namespace {

using namespace kt::bench;

// The number is the context itself.
KtStatus Answer(void* context, CKtControlRequest& /*request*/) {
  return AnswerOf(static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(context)));
}

KtStatus AnswerForAny(void* /*context*/, CKtControlRequest& /*request*/) {
  return kAnyAnswer;
}

class CPassing : public CKtControlFilter {
 public:
  KtStatus filter(CKtControlRequest& request) override {
    return request.selector == ~0U ? E_INVALIDARG : KTSTATUS_CONTINUE;
  }
};

class CWorld : public CKtControlMap {
 public:
  CWorld() : events_(nullptr, nullptr) {}
  ~CWorld() override {
    for (const auto& filter : filters_) CKtControlManager::Instance().RemoveFilter(*filter);
  }

  void Start() {
    Register(kSetupInterface, kSelector, kMakeHandlers, &CWorld::OnMakeHandlers);
    Register(kSetupInterface, kSelector, kSubscribe, &CWorld::OnSubscribe);
    Register(kSetupInterface, kSelector, kCountCalls, &CWorld::OnCountCalls);
    Register(kWorkInterface, kSelector, kWork, &AnswerForAny);
  }

  void Stop() {
    events_.UnRegisterAll();
    UnRegisterAll();
  }

 private:
  static CWorld& Of(void* context) noexcept {
    return *static_cast<CWorld*>(static_cast<CKtControlMap*>(context));
  }

  static KtStatus OnMakeHandlers(void* context, CKtControlRequest& request) {
    std::uint32_t handlers = 0;
    std::uint32_t filters = 0;
    request.input.GetProp("handlers", handlers, false);
    request.input.GetProp("filters", filters, false);
    return Of(context).MakeHandlers(handlers, filters);
  }

  KtStatus MakeHandlers(std::uint32_t handlers, std::uint32_t filters) {
    for (std::uint32_t i = 0; i < handlers; ++i) {
      CKtObject object;
      object.Create(kObjectType, 0);
      // The context is a number and never followed.
      auto* const number = reinterpret_cast<void*>(  // NOLINT(performance-no-int-to-ptr)
          static_cast<std::uintptr_t>(i));
      const KtStatus status =
          Register(kWorkInterface, kSelector, kWork, &Answer, object.Id(), number);
      if (status != 0) return status;
    }
    for (std::uint32_t i = 0; i < filters; ++i) {
      filters_.push_back(std::make_unique<CPassing>());
      CKtControlManager::Instance().AddFilter(*filters_.back());
    }
    return 0;
  }

  static KtStatus OnSubscribe(void* context, CKtControlRequest& request) {
    std::uint32_t subscriptions = 0;
    request.input.GetProp("subscriptions", subscriptions, false);
    Of(context).Subscribe(subscriptions);
    return 0;
  }

  void Subscribe(std::uint32_t count) {
    for (const std::string& name : SubscriptionNames(count)) {
      events_.Register(name, &CWorld::OnEvent);
    }
  }

  static KtStatus OnEvent(void* /*owner*/, const CKtEventView* /*view*/, std::uint64_t /*first*/,
                          std::uint64_t /*third*/) {
    calls.fetch_add(1, std::memory_order_relaxed);
    return 0;
  }

  static KtStatus OnCountCalls(void* /*context*/, CKtControlRequest& request) {
    request.output.AddProp("calls", calls.load(), 0);
    return 0;
  }

  static std::atomic<std::uint64_t> calls;

  CKtEventListener events_;
  std::vector<std::unique_ptr<CPassing>> filters_;
};

std::atomic<std::uint64_t> CWorld::calls{0};

class CBench : public CKtProvider {
 public:
  KtStatus Initialize() override {
    world_ = std::make_unique<CWorld>();
    world_->Start();
    return 0;
  }

  KtStatus Shutdown(std::uint64_t) override {
    world_->Stop();
    kt::Retire(std::move(world_));
    return 0;
  }

 private:
  std::unique_ptr<CWorld> world_;
};

}  // namespace

const KtWchar* const kt::kModuleName = kt::bench::kModuleWideName;

CKtProvider* kt::MakeProvider() {
  return new CBench;
}
