#include "ktcheck/leak_watch.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "ledger.h"

namespace ktcheck {
namespace {

constexpr const char* kSets = "property sets";
constexpr const char* kRecords = "records";
constexpr const char* kTexts = "texts";
constexpr const char* kBlocks = "blocks";
constexpr const char* kIterators = "iterators";
constexpr const char* kLocks = "locks";
constexpr const char* kRegistrations = "registrations";

// What the framework wrote into a place for it: a handle or a pointer, all of one size.
std::uint64_t Pointed(const KtBusWord& word) noexcept {
  std::uint64_t written = 0;
  static_assert(sizeof(written) == sizeof(KtPropset) && sizeof(written) == sizeof(KtCookie) &&
                sizeof(written) == sizeof(void*));
  const void* const place = PointerIn<const void*>(word);
  if (place != nullptr) std::memcpy(&written, place, sizeof(written));
  return written;
}

// What lies in a place of that kind; null for places whose contents need not be given back.
const char* KindOfPlace(std::uint32_t word) noexcept {
  switch (word) {
    case KTBUS_WORD_OUT_PROPSET:
      return kSets;
    case KTBUS_WORD_OUT_ITERATOR:
      return kIterators;
    case KTBUS_WORD_OUT_RECORD:
      return kRecords;
    case KTBUS_WORD_OUT_OBJECTS:
      return kBlocks;
    case KTBUS_WORD_OUT_TEXT:
      return kTexts;
    default:
      return nullptr;
  }
}

// "a record" for the ledger's "records".
std::string OneOf(const std::string& kind) {
  if (kind == "database locks held") return "a hold on the database lock";
  const bool vowel = kind == kIterators;
  return (vowel ? "an " : "a ") + kind.substr(0, kind.size() - (kind.ends_with('s') ? 1 : 0));
}

KtBusLedgerTotal Sum(const std::string& module) noexcept {
  KtBusLedgerTotal total{};
  KtBusLedgerSum(module.c_str(), &total);
  return total;
}

}  // namespace

LeakWatch::LeakWatch(std::string module, FindingSink sink, Circumstances circumstances, bool stacks)
    : module_(std::move(module)),
      sink_(std::move(sink)),
      circumstances_(std::move(circumstances)),
      stacks_(stacks) {
  const KtBusLedgerTotal now = Sum(module_);
  wrong_frees_ = now.wrongFrees;
  overruns_ = now.overruns;
  for (const ktsvc::LedgerRow& row : ktsvc::ReadLedger()) {
    if (row.account == module_) before_[row.kind] = row.kept;
  }
}

bool LeakWatch::Before(KtBusCall& call) {
  // Before it is released: afterwards another thread may be given the same address.
  if (call.inward == 0) LookForGiven(call);
  return false;
}

void LeakWatch::After(const KtBusCall& call) {
  if (call.inward != 0) return;
  if (module_ == call.provider && Succeeded(call)) LookForMade(call);
  if (IsCallOf(call, "EvUnregisterEvent") || IsCallOf(call, "ObUnregisterAlert")) {
    // Never given out twice, so there is time to see whether it was taken back.
    const bool taken = Succeeded(call) || call.outcome == KTBUS_CALL_ANSWERED;
    if (taken) Given({kRegistrations}, call.arguments[1].value);
  }
  if (IsRelease(call) || IsCallOf(call, "KtDeleteCriticalSection")) LookForMistakes(call);
}

void LeakWatch::LookForMade(const KtBusCall& call) {
  if (call.resultKind == KTBUS_WORD_ADDRESS || call.resultKind == KTBUS_WORD_TEXT) {
    const bool text = call.resultKind == KTBUS_WORD_TEXT;
    if (call.result != 0) Made(text ? kTexts : kBlocks, call.result, call.function);
  }
  if (IsCallOf(call, "KtInitializeCriticalSection")) {
    Made(kLocks, call.arguments[0].value, call.function);
  }
  if (IsCallOf(call, "EvRegisterEvent") || IsCallOf(call, "ObRegisterAlert")) {
    Made(kRegistrations, Pointed(call.arguments[3]), call.function);
  }
  for (std::size_t i = 0; i < call.argumentCount; ++i) {
    const char* const kind = KindOfPlace(call.arguments[i].kind);
    if (kind == nullptr) continue;
    const std::uint64_t value = Pointed(call.arguments[i]);
    if (value != 0) Made(kind, value, call.function);
  }
}

void LeakWatch::LookForGiven(const KtBusCall& call) {
  const std::string_view function = call.function;
  if (function == "_KtFree") {
    Given({kBlocks, kTexts, kRecords}, call.arguments[0].value);
  } else if (function == "PsFreeProperty") {
    Given({kRecords}, call.arguments[0].value);
  } else if (function == "PsDestroyPropset") {
    Given({kSets}, call.arguments[0].value);
  } else if (function == "KtCloseHandle") {
    Given({kIterators}, call.arguments[0].value);
  } else if (function == "KtDeleteCriticalSection") {
    Given({kLocks}, call.arguments[0].value);
  }
}

void LeakWatch::LookForMistakes(const KtBusCall& call) {
  const KtBusLedgerTotal now = Sum(module_);
  bool wrong = false;
  bool overrun = false;
  {
    const std::lock_guard lock(mutex_);
    wrong = now.wrongFrees > wrong_frees_;
    overrun = now.overruns > overruns_;
    wrong_frees_ = now.wrongFrees;
    overruns_ = now.overruns;
  }
  if (!wrong && !overrun) return;
  const std::vector<std::string> frames = ModuleFrames(CaptureStack());
  if (wrong) {
    sink_({"wrong-free",
           std::string(call.function) + " was given something that it does not release",
           {},
           {{"the call", frames}},
           1});
  }
  if (overrun) {
    sink_({"overrun",
           std::string(call.function) +
               " released memory of the framework that had been written past its end",
           {},
           {{"released here; it was written before", frames}},
           1});
  }
}

void LeakWatch::Made(const char* kind, std::uint64_t value, const char* function) {
  const CallStack stack = stacks_ ? CaptureStack() : CallStack{};
  std::string when = stacks_ ? circumstances_() : std::string();
  const std::lock_guard lock(mutex_);
  things_[{kind, value}] = {kind, function, stack, std::move(when)};
}

void LeakWatch::Given(std::initializer_list<const char*> kinds, std::uint64_t value) {
  const std::lock_guard lock(mutex_);
  for (const char* const kind : kinds) things_.erase({kind, value});
}

Trail LeakWatch::TrailOf(const Thing& thing) const {
  return {"made by " + thing.function, ModuleFrames(thing.stack)};
}

void LeakWatch::TellKept() const {
  const std::lock_guard lock(mutex_);
  for (const ktsvc::LedgerRow& row : ktsvc::ReadLedger()) {
    if (row.account != module_) continue;
    const auto before = before_.find(row.kind);
    std::uint64_t left =
        row.kept - std::min(row.kept, before == before_.end() ? 0 : before->second);
    for (const auto& [key, thing] : things_) {
      if (left == 0) break;
      if (thing.kind != row.kind) continue;
      --left;
      sink_({"leak",
             OneOf(thing.kind) + " made by " + thing.function + " is never given back",
             thing.when,
             {TrailOf(thing)},
             1});
    }
    if (left != 0) {
      sink_({"leak", OneOf(row.kind) + " is never given back", {}, {}, left});
    }
  }
}

}  // namespace ktcheck
