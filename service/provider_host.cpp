#include "provider_host.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "bus_text.h"
#include "host_system.h"
#include "ktbus3/ktbus3_host.h"
#include "ledger.h"
#include "module_error.h"
#include "module_locator.h"
#include "property_text.h"
#include "status_text.h"
#include "stop_watch.h"

namespace ktsvc {
namespace {

constexpr const char* kThrown =
    "No exception may leave a module; this is the module's own mistake. The trace names it.";

std::uint64_t ExceptionsOf(KtProvider provider) {
  std::uint64_t count = 0;
  KtBusProviderExceptions(provider, &count);
  return count;
}

// A call of a provider's function: its status, and whether an exception came out of it instead.
// Other functions of the provider may throw meanwhile on threads of the bus, so that a count that
// has grown says something about this one only together with the status that the bus gives then.
struct Answer {
  KtStatus status;
  bool threw;
};

template <typename Function>
Answer Ask(KtProvider provider, Function function) {
  const std::uint64_t before = ExceptionsOf(provider);
  const KtStatus status = function();
  return {status, status == KTBUS_PROVIDER_THREW && ExceptionsOf(provider) != before};
}

std::optional<std::string> VersionOf(KtProvider provider) {
  KtWchar* text = nullptr;
  const KtStatus status = KtBusProviderVersion(provider, &text);
  const std::unique_ptr<KtWchar, void (*)(void*)> owned(text, &_KtFree);
  if (StatusFails(status) || text == nullptr) {
    return std::nullopt;
  }
  return ToUtf8(text);
}

std::string Milliseconds(std::chrono::steady_clock::time_point since) {
  const auto passed = std::chrono::steady_clock::now() - since;
  return std::to_string(std::chrono::duration_cast<std::chrono::milliseconds>(passed).count()) +
         " ms";
}

// What the bus knows of a provider's work.
struct Work {
  std::uint64_t controls = 0;
  std::uint64_t notices = 0;
  std::uint64_t exceptions = 0;
  std::uint64_t callsInFlight = 0;
  std::uint64_t noticesWaiting = 0;
};

// Nothing when it is not attached.
std::optional<Work> WorkOf(KtDatabase database, KtProvider provider) {
  struct Search {
    KtProvider provider;
    std::optional<Work> work;
  } search{provider, std::nullopt};
  KtBusVisitProviders(
      database,
      [](const KtBusProviderInfo* info, void* context) -> cuvo_bool {
        auto& wanted = *static_cast<Search*>(context);
        if (info->provider != wanted.provider) {
          return 1;
        }
        wanted.work = Work{info->controls, info->noticesDelivered, info->exceptions,
                           info->callsInFlight, info->noticesWaiting};
        return 0;
      },
      &search);
  return search.work;
}

std::string Counted(std::uint64_t count, const std::string& what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

// "nothing kept", or what its account in the ledger still holds.
std::string KeptBy(const std::string& provider) {
  std::string text;
  for (const LedgerRow& row : ReadLedger()) {
    if (row.account != provider || IsClean(row)) {
      continue;
    }
    text += (text.empty() ? "but kept " : ", ") + std::to_string(row.kept) + " " + row.kind;
    if (row.wrongFrees != 0) {
      text += " (" + std::to_string(row.wrongFrees) + " wrongly freed)";
    }
  }
  return text.empty() ? "nothing kept" : text;
}

}  // namespace

std::string_view StateName(ProviderState state) noexcept {
  switch (state) {
    case ProviderState::kRunning:
      return "running";
    case ProviderState::kStopping:
      return "stopping";
    case ProviderState::kStopped:
      return "stopped";
    case ProviderState::kFailed:
      break;
  }
  return "failed";
}

ProviderHost::ProviderHost(KtDatabase database, Progress& progress, InFlight inFlight,
                           std::chrono::milliseconds sayEvery)
    : database_(database),
      progress_(progress),
      inFlight_(std::move(inFlight)),
      sayEvery_(sayEvery) {}

ProviderHost::~ProviderHost() {
  StopAll();
}

bool ProviderHost::Start(const std::string& word, const std::filesystem::path& moduleFolder) {
  auto made = std::make_unique<Entry>();
  Entry& entry = *made;
  {
    const std::lock_guard lock(mutex_);
    entries_.push_back(std::move(made));
  }
  return BringUp(entry, word, moduleFolder);
}

bool ProviderHost::BringUp(Entry& entry, const std::string& word,
                           const std::filesystem::path& moduleFolder) {
  {
    const std::lock_guard lock(mutex_);
    entry.report.name = IsModulePath(word) ? PathText(PathFromText(word).stem()) : word;
  }
  try {
    Load(entry, word, moduleFolder);
  } catch (const ModuleError& error) {
    entry.provider = nullptr;
    entry.module.reset();
    progress_.WaitsFor("");
    Fail(entry, error.what(), error.advice());
    return false;
  }
  if (!Initialize(entry)) {
    TakeDown(entry);
    return false;
  }
  return true;
}

void ProviderHost::Load(Entry& entry, const std::string& word,
                        const std::filesystem::path& moduleFolder) {
  const std::filesystem::path found = LocateModule(word, moduleFolder);
  SetFile(entry, found);
  const std::string& name = entry.report.name;
  progress_.WaitsFor(name + " to be loaded");
  const ModuleFile file(found);
  SetFile(entry, file.path());
  // Before anything is loaded: the system would hand out the same module a second time.
  for (const auto& other : entries_) {
    if (other.get() == &entry || other->module == nullptr) {
      continue;
    }
    const std::string from = PathText(other->report.file);
    if (other->report.name == name) {
      throw ModuleError("a provider of this name is running already, from " + from,
                        "Name each provider once.");
    }
    if (other->report.file == file.path()) {
      throw ModuleError("its file " + from + " is loaded already, as " + other->report.name,
                        "Name each provider once.");
    }
  }
  progress_.Say("loading " + name + " from " + PathText(file.path()));
  entry.module = std::make_unique<ProviderModule>(file, name);
  const KtStatus status = KtBusAttachProvider(database_, name.c_str(), &entry.module->table(),
                                              entry.module->address(), &entry.provider);
  if (StatusFails(status)) {
    throw ModuleError("the bus does not take it: " + StatusText(status), "");
  }
}

void ProviderHost::SetFile(Entry& entry, const std::filesystem::path& file) {
  const std::lock_guard lock(mutex_);
  entry.report.file = file;
}

bool ProviderHost::Initialize(Entry& entry) {
  const auto begin = std::chrono::steady_clock::now();
  progress_.WaitsFor(entry.report.name + " to initialize");
  const Answer answer =
      Ask(entry.provider, [&entry] { return KtBusInitializeProvider(entry.provider); });
  progress_.WaitsFor("");
  {
    const std::lock_guard lock(mutex_);
    entry.report.initialize = answer.status;
  }
  if (answer.threw) {
    Fail(entry, "its Initialize threw an exception", kThrown);
    return false;
  }
  if (StatusFails(answer.status)) {
    Fail(entry, "its Initialize fails: " + StatusText(answer.status),
         "The trace may say why; see it all with --trace-level 1.");
    return false;
  }
  std::optional<std::string> version = VersionOf(entry.provider);
  {
    const std::lock_guard lock(mutex_);
    entry.report.version = std::move(version);
    entry.report.state = ProviderState::kRunning;
  }
  progress_.Say(entry.report.name + " " + NameText(entry.report.version.value_or("(no version)")) +
                " is up after " + Milliseconds(begin));
  return true;
}

void ProviderHost::StopAll() {
  for (auto entry = entries_.rbegin(); entry != entries_.rend(); ++entry) {
    if ((*entry)->provider != nullptr) {
      TakeDown(**entry);
    }
  }
}

void ProviderHost::TakeDown(Entry& entry) {
  const std::string& name = entry.report.name;
  const auto begin = std::chrono::steady_clock::now();
  {
    const std::lock_guard lock(mutex_);
    entry.going = entry.provider;
    if (entry.report.state == ProviderState::kRunning) {
      entry.report.state = ProviderState::kStopping;
    }
  }
  progress_.Say("shutting down " + name);
  progress_.WaitsFor(name + " to shut down");
  const Answer answer = Ask(entry.provider, [this, &entry] {
    const StopWatch watch(sayEvery_, [this, &entry] { SayWhatIsLeft(entry); });
    entry.inShutdown = true;
    const KtStatus status = KtBusShutdownProvider(entry.provider, 0);
    entry.inShutdown = false;
    return status;
  });
  {
    const std::lock_guard lock(mutex_);
    entry.report.shutdown = answer.status;
  }
  const bool wentDown = !answer.threw && !StatusFails(answer.status);
  CountWork(entry);

  progress_.WaitsFor("calls into " + name + " to return");
  const KtProvider provider = std::exchange(entry.provider, nullptr);
  const KtStatus detached = [&] {
    const StopWatch watch(sayEvery_, [this, &entry] { SayWhatIsLeft(entry); });
    return KtBusDetachProvider(provider);
  }();
  {
    const std::lock_guard lock(mutex_);
    entry.going = nullptr;
  }
  if (!wentDown || StatusFails(detached)) {
    entry.module->Abandon();
  }
  entry.module.reset();
  progress_.WaitsFor("");

  if (answer.threw) {
    Fail(entry, "its Shutdown threw an exception", kThrown);
  } else if (!wentDown) {
    Fail(entry, "its Shutdown fails: " + StatusText(answer.status),
         "It stays in memory, for it may still have threads.");
  }
  if (StatusFails(detached)) {
    Fail(entry, "the bus does not let go of it: " + StatusText(detached),
         "It stays in memory, for calls into it may still run.");
  }
  if (entry.report.exceptions != 0 && entry.report.failures.empty()) {
    Fail(entry, "exceptions left its functions: " + std::to_string(entry.report.exceptions),
         kThrown);
  }
  if (entry.report.failures.empty()) {
    {
      const std::lock_guard lock(mutex_);
      entry.report.state = ProviderState::kStopped;
    }
    progress_.Say(name + " is down after " + Milliseconds(begin) + ", " + KeptBy(name));
  }
}

void ProviderHost::CountWork(Entry& entry) const {
  const std::optional<Work> work = WorkOf(database_, entry.provider);
  if (work) {
    const std::lock_guard lock(mutex_);
    entry.report.controls = work->controls;
    entry.report.notices = work->notices;
    entry.report.exceptions = work->exceptions;
  }
}

std::vector<std::string> ProviderHost::WhatIsLeft(const std::string& name, KtProvider provider,
                                                  bool inShutdown) const {
  const std::vector<std::string> controls =
      inFlight_ ? inFlight_(name) : std::vector<std::string>{};
  const Work work = WorkOf(database_, provider).value_or(Work{});
  // The call that shuts it down is no cause of the waiting.
  const std::uint64_t own = inShutdown ? 1 : 0;
  const std::uint64_t threads = work.callsInFlight - std::min(own, work.callsInFlight);
  std::vector<std::string> sentences;
  if (!controls.empty()) {
    std::string sentence = Counted(controls.size(), "control") + " in flight: ";
    for (const std::string& control : controls) {
      sentence += (&control == &controls.front() ? "" : "; ") + control;
    }
    sentences.push_back(std::move(sentence));
  }
  if (work.noticesWaiting != 0) {
    sentences.push_back(Counted(work.noticesWaiting, "notice") + " in delivery or waiting");
  }
  if (threads != 0) {
    sentences.push_back(Counted(threads, "thread") + " in its functions");
  }
  return sentences;
}

void ProviderHost::SayWhatIsLeft(const Entry& entry) const noexcept {
  try {
    std::string text;
    for (const std::string& sentence :
         WhatIsLeft(entry.report.name, entry.going, entry.inShutdown)) {
      text += (text.empty() ? "" : "; ") + NameText(sentence);
    }
    if (!text.empty()) {
      progress_.SayAwaited(entry.report.name + " is waited for: " + text);
    }
  } catch (const std::exception&) {
    return;  // there is no memory for words; the waiting goes on
  }
}

void ProviderHost::Fail(Entry& entry, const std::string& what, const std::string& advice) {
  {
    const std::lock_guard lock(mutex_);
    entry.report.state = ProviderState::kFailed;
    entry.report.failures.push_back({what, advice});
  }
  progress_.Fail(entry.report.name + ": " + what, advice);
}

std::vector<ProviderReport> ProviderHost::Reports() const {
  struct Going {
    std::size_t place;
    KtProvider provider;
    bool inShutdown;
  };
  std::vector<ProviderReport> reports;
  std::vector<Going> going;
  {
    const std::lock_guard lock(mutex_);
    for (const auto& entry : entries_) {
      if (entry->going != nullptr) {
        going.push_back({reports.size(), entry->going, entry->inShutdown});
      }
      reports.push_back(entry->report);
    }
  }
  // Others are asked outside the lock.
  for (const Going& one : going) {
    ProviderReport& report = reports[one.place];
    report.waitsFor = WhatIsLeft(report.name, one.provider, one.inShutdown);
  }
  return reports;
}

bool ProviderHost::AnyFailed() const noexcept {
  return std::any_of(entries_.begin(), entries_.end(),
                     [](const auto& entry) { return !entry->report.failures.empty(); });
}

}  // namespace ktsvc
