#include "bus/gate.h"

#include <condition_variable>
#include <utility>

#include "bus/lock.h"
#include "bus/status.h"
#include "bus/thread_local.h"

namespace kt::bus {

// A gate that was put up, and how many calls are inside its call-backs just now.
class Gate {
 public:
  explicit Gate(const KtBusCallGate& gate) noexcept : gate_(gate) {}
  [[nodiscard]] const KtBusCallGate& get() const noexcept { return gate_; }
  std::size_t busy = 0;  // guarded by the one lock of GateSeat

 private:
  const KtBusCallGate gate_;
};

namespace {

// Where the gate stands.
class GateSeat {
 public:
  // Never destroyed: modules call until the process ends.
  static GateSeat& Get() {
    static GateSeat* const seat = new GateSeat;
    return *seat;
  }

  // Puts up the next gate; returns when no call is in a call-back of the former.
  void Change(std::shared_ptr<Gate> next) KT_EXCLUDES(lock_) {
    const MutexGuard guard(lock_);
    const std::shared_ptr<Gate> former = std::exchange(gate_, std::move(next));
    gate_is_up.store(gate_ != nullptr);
    while (former != nullptr && former->busy != 0) left_.wait(lock_);
  }

  // The gate that is up (null: none), entered.
  std::shared_ptr<Gate> Enter() noexcept KT_EXCLUDES(lock_) {
    const MutexGuard guard(lock_);
    if (gate_ != nullptr) ++gate_->busy;
    return gate_;
  }

  // Enters that gate again; false when it has been taken away meanwhile.
  bool EnterAgain(const std::shared_ptr<Gate>& gate) noexcept KT_EXCLUDES(lock_) {
    const MutexGuard guard(lock_);
    if (gate_ != gate) return false;
    ++gate_->busy;
    return true;
  }

  void Leave(Gate& gate) noexcept KT_EXCLUDES(lock_) {
    const MutexGuard guard(lock_);
    if (--gate.busy == 0) left_.notify_all();
  }

 private:
  Mutex lock_;
  std::condition_variable_any left_;
  std::shared_ptr<Gate> gate_ KT_GUARDED_BY(lock_);
};

std::uint64_t ThreadNumber() noexcept {
  static std::atomic<std::uint64_t> last{0};
  thread_local const std::uint64_t number = last.fetch_add(1) + 1;
  return number;
}

// The time that a thread spends in a call-back of the gate.
class InGate {
 public:
  InGate() noexcept : host_(Ledger::Get().host()) { passing.in_gate = true; }
  ~InGate() { passing.in_gate = false; }
  InGate(const InGate&) = delete;
  InGate& operator=(const InGate&) = delete;

 private:
  const RunningAs host_;
};

}  // namespace

constinit thread_local Passing passing KT_FOUND_BY_LOADS;

KtStatus SetGate(const KtBusCallGate* gate) {
  if (passing.in_gate || (gate != nullptr && gate->size != sizeof(KtBusCallGate)))
    return kInvalidArgument;
  GateSeat::Get().Change(gate == nullptr ? nullptr : std::make_shared<Gate>(*gate));
  return kOk;
}

Unseen::Unseen() noexcept : previous_(passing.unseen) {
  passing.unseen = true;
}

Unseen::~Unseen() {
  passing.unseen = previous_;
}

GatedCall::GatedCall(const char* function, bool inward, const Account& account,
                     const KtBusWord* arguments, std::size_t count,
                     std::uint32_t result_kind) noexcept {
  call_.size = sizeof(call_);
  call_.inward = inward ? 1 : 0;
  call_.function = function;
  call_.provider = account.name().c_str();
  call_.thread = ThreadNumber();
  call_.arguments = arguments;
  call_.argumentCount = count;
  call_.resultKind = result_kind;
}

bool GatedCall::Answered() noexcept {
  gate_ = GateSeat::Get().Enter();
  if (gate_ == nullptr) return false;
  bool answered = false;
  if (gate_->get().before != nullptr) {
    const InGate inside;
    answered = gate_->get().before(&call_, gate_->get().context) != 0;
  }
  GateSeat::Get().Leave(*gate_);
  if (answered) {
    call_.outcome = KTBUS_CALL_ANSWERED;
  } else {
    call_.result = 0;
  }
  return answered;
}

void GatedCall::SetResult(std::uint64_t result, std::uint32_t outcome) noexcept {
  call_.result = result;
  call_.outcome = outcome;
}

void GatedCall::Leave() noexcept {
  if (gate_ == nullptr || gate_->get().after == nullptr) return;
  if (!GateSeat::Get().EnterAgain(gate_)) return;
  {
    const InGate inside;
    gate_->get().after(&call_, gate_->get().context);
  }
  GateSeat::Get().Leave(*gate_);
}

}  // namespace kt::bus

KtStatus KtBusSetCallGate(const KtBusCallGate* gate) {
  return kt::bus::Answer([&] { return kt::bus::SetGate(gate); });
}
