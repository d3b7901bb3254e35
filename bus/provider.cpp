#include "bus/provider.h"

#include <array>
#include <exception>

#include "bus/attribution.h"
#include "bus/database.h"
#include "bus/property_set.h"
#include "bus/status.h"
#include "bus/trace.h"

namespace kt::bus {
namespace {

// The providers whose functions run on this thread, the innermost first.
struct Frame {
  const Provider* provider;
  const Frame* outer;
};
thread_local const Frame* innermost = nullptr;

}  // namespace

// One call into the provider, from before its function to after it.
class Provider::Call {
 public:
  explicit Call(Provider& provider)
      : provider_(provider), frame_{&provider, innermost}, running_(provider.account_) {
    provider_.in_flight_.fetch_add(1);
    innermost = &frame_;
  }

  ~Call() {
    innermost = frame_.outer;
    if (provider_.in_flight_.fetch_sub(1) == 1 && provider_.gone_.load()) {
      const MutexGuard guard(provider_.drained_lock_);
      provider_.drained_.notify_all();
    }
  }

  Call(const Call&) = delete;
  Call& operator=(const Call&) = delete;

  // Checked after the call is counted, so that a provider that goes either sees the call or is
  // seen by it.
  [[nodiscard]] bool allowed() const noexcept { return !provider_.gone_.load(); }

 private:
  Provider& provider_;
  const Frame frame_;
  const RunningAs running_;
};

Provider::Provider(std::weak_ptr<Database> database, std::string name, const KtProviderTable& table)
    : database_(std::move(database)),
      name_(std::move(name)),
      account_(Ledger::Get().Of(name_)),
      table_(table) {}

std::shared_ptr<Database> Provider::database() const {
  auto database = database_.lock();
  if (database == nullptr) throw StatusError(kNoObject);
  return database;
}

template <typename Function, typename... Arguments>
KtStatus Provider::Guarded(const char* what, KtStatus& answer, Function function,
                           Arguments... arguments) {
  const Call call(*this);
  if (!call.allowed()) return KTBUS_PROVIDER_GONE;
  answer = kNotImplemented;
  if (function == nullptr) return kOk;
  answer = KTBUS_PROVIDER_THREW;
  try {
    answer = function(arguments...);
  } catch (const std::uint32_t status) {
    static constexpr std::array kDigits{'0', '1', '2', '3', '4', '5', '6', '7',
                                        '8', '9', 'a', 'b', 'c', 'd', 'e', 'f'};
    std::array<char, 22> text{"the status 0x"};
    for (std::size_t i = 0; i < 8; ++i) text[13 + i] = kDigits[(status >> (28U - 4U * i)) & 0xFU];
    Report(what, text.data());
  } catch (const std::exception& error) {
    Report(what, error.what());
  } catch (...) {
    Report(what, "something that is neither a status nor an exception");
  }
  return kOk;
}

void Provider::Report(const char* what, const char* thrown) noexcept {
  exceptions_.fetch_add(1);
  account_.CountException();
  KtTrace(kTraceError, "ktbus3: provider %s threw out of %s: %s", name_.c_str(), what, thrown);
}

KtStatus Provider::Control(const KtObjId& object, const KtGuid& interface_id,
                           std::uint32_t selector, std::uint32_t code, KtPropset input,
                           KtPropset output, KtStatus& answer) {
  controls_.fetch_add(1);
  std::uint64_t served_by = 0;
  const auto interface_word = std::bit_cast<std::uint64_t>(&interface_id);
  return Guarded("Control", answer, table_.Control, &object, selector, code, input, output, 0U, 0U,
                 std::uint64_t{0}, std::uint64_t{0}, interface_word, std::uint64_t{0}, &served_by);
}

KtStatus Provider::Initialize(KtDatabase database) {
  KtStatus answer = kOk;
  const KtStatus asked = Guarded("Initialize", answer, table_.Initialize, database, handle_);
  return asked == kOk ? answer : asked;
}

KtStatus Provider::Shutdown(std::uint64_t argument) {
  KtStatus answer = kOk;
  const KtStatus asked = Guarded("Shutdown", answer, table_.Shutdown, argument);
  return asked == kOk ? answer : asked;
}

KtStatus Provider::GetAttr(std::uint64_t a, std::uint64_t b, std::uint64_t c, std::uint64_t d) {
  KtStatus answer = kOk;
  const KtStatus asked = Guarded("GetAttr", answer, table_.GetAttr, a, b, c, d);
  return asked == kOk ? answer : asked;
}

KtStatus Provider::ChangeNotify(const KtEventRecord& record) {
  KtStatus answer = kOk;
  const auto record_word = std::bit_cast<std::uint64_t>(&record);
  const KtStatus asked = Guarded("ChangeNotify", answer, table_.ChangeNotify, std::uint64_t{0},
                                 std::uint64_t{0}, std::uint64_t{0}, record_word);
  return asked == kOk ? answer : asked;
}

KtStatus Provider::Version(KtWchar** out) {
  KtStatus answer = kOk;
  const KtStatus asked = Guarded("Version", answer, table_.Version, out);
  return asked == kOk ? answer : asked;
}

bool Provider::RunsHere() const noexcept {
  for (const Frame* frame = innermost; frame != nullptr; frame = frame->outer) {
    if (frame->provider == this) return true;
  }
  return false;
}

void Provider::WaitForCalls() {
  const MutexGuard guard(drained_lock_);
  while (in_flight_.load() != 0) drained_.wait(drained_lock_);
}

}  // namespace kt::bus
