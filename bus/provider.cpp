#include "bus/provider.h"

#include <array>
#include <bit>
#include <exception>

#include "bus/attribution.h"
#include "bus/database.h"
#include "bus/gate.h"
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

// An argument that a gate is told as what it is, where the function takes it as a number.
struct Provider::Told {
  std::size_t place = static_cast<std::size_t>(-1);
  KtBusWord word{};
};

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

// Answers what became of the call (KTBUS_CALL_...).
template <typename Function, typename... Arguments>
std::uint32_t Provider::Run(const char* what, KtStatus& answer, Function function,
                            Arguments... arguments) noexcept {
  answer = kNotImplemented;
  if (function == nullptr) return KTBUS_CALL_MADE;
  answer = KTBUS_PROVIDER_THREW;
  try {
    answer = function(arguments...);
    return KTBUS_CALL_MADE;
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
  return KTBUS_CALL_THREW;
}

template <typename Function, typename... Arguments>
KtStatus Provider::Guarded(const char* what, const Told& told, KtStatus& answer, Function function,
                           Arguments... arguments) {
  const Call call(*this);
  if (!call.allowed()) return KTBUS_PROVIDER_GONE;
  if (!GateWatches()) {
    Run(what, answer, function, arguments...);
    return kOk;
  }
  std::array words{Word(arguments)...};
  if (told.place < words.size()) words[told.place] = told.word;
  GatedCall gated(what, true, account_, words.data(), words.size(), KTBUS_WORD_STATUS);
  if (!gated.Answered()) {
    const std::uint32_t outcome = Run(what, answer, function, arguments...);
    gated.SetResult(answer, outcome);
  }
  gated.Leave();
  answer = static_cast<KtStatus>(gated.result());
  return kOk;
}

void Provider::Report(const char* what, const char* thrown) noexcept {
  exceptions_.fetch_add(1);
  account_.CountException();
  WriteTrace(kTraceError, "ktbus3: provider %s threw out of %s: %s", name_.c_str(), what, thrown);
}

KtStatus Provider::Control(const KtObjId& object, const KtGuid& interface_id,
                           std::uint32_t selector, std::uint32_t code, KtPropset input,
                           KtPropset output, KtStatus& answer) {
  controls_.fetch_add(1);
  std::uint64_t served_by = 0;
  const auto interface_word = std::bit_cast<std::uint64_t>(&interface_id);
  return Guarded("Control", {9, Word(&interface_id)}, answer, table_.Control, &object, selector,
                 code, input, output, 0U, 0U, std::uint64_t{0}, std::uint64_t{0}, interface_word,
                 std::uint64_t{0}, &served_by);
}

KtStatus Provider::Initialize(KtDatabase database) {
  KtStatus answer = kOk;
  const KtStatus asked = Guarded("Initialize", {}, answer, table_.Initialize, database, handle_);
  return asked == kOk ? answer : asked;
}

KtStatus Provider::Shutdown(std::uint64_t argument) {
  KtStatus answer = kOk;
  const KtStatus asked = Guarded("Shutdown", {}, answer, table_.Shutdown, argument);
  return asked == kOk ? answer : asked;
}

KtStatus Provider::GetAttr(std::uint64_t a, std::uint64_t b, std::uint64_t c, std::uint64_t d) {
  KtStatus answer = kOk;
  const KtStatus asked = Guarded("GetAttr", {}, answer, table_.GetAttr, a, b, c, d);
  return asked == kOk ? answer : asked;
}

KtStatus Provider::ChangeNotify(const KtEventRecord& record) {
  KtStatus answer = kOk;
  const auto record_word = std::bit_cast<std::uint64_t>(&record);
  const KtStatus asked = Guarded("ChangeNotify", {3, Word(&record)}, answer, table_.ChangeNotify,
                                 std::uint64_t{0}, std::uint64_t{0}, std::uint64_t{0}, record_word);
  return asked == kOk ? answer : asked;
}

KtStatus Provider::Version(KtWchar** out) {
  KtStatus answer = kOk;
  const KtStatus asked = Guarded("Version", {}, answer, table_.Version, out);
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
