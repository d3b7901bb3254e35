#include "provider_host.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "bus_text.h"
#include "host_system.h"
#include "ktbus3/ktbus3_host.h"
#include "module_error.h"
#include "module_locator.h"
#include "property_text.h"
#include "status_text.h"

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

}  // namespace

std::string_view StateName(ProviderState state) noexcept {
  switch (state) {
    case ProviderState::kRunning:
      return "running";
    case ProviderState::kStopped:
      return "stopped";
    case ProviderState::kFailed:
      break;
  }
  return "failed";
}

ProviderHost::ProviderHost(KtDatabase database, Progress& progress)
    : database_(database), progress_(progress) {}

ProviderHost::~ProviderHost() {
  StopAll();
}

bool ProviderHost::Start(const std::string& word, const std::filesystem::path& moduleFolder) {
  entries_.push_back(std::make_unique<Entry>());
  return BringUp(*entries_.back(), word, moduleFolder);
}

bool ProviderHost::BringUp(Entry& entry, const std::string& word,
                           const std::filesystem::path& moduleFolder) {
  entry.report.name = IsModulePath(word) ? PathText(PathFromText(word).stem()) : word;
  try {
    Load(entry, word, moduleFolder);
  } catch (const ModuleError& error) {
    entry.provider = nullptr;
    entry.module.reset();
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
  entry.report.file = LocateModule(word, moduleFolder);
  const std::string& name = entry.report.name;
  // Before anything is loaded: the system would hand out the same module a second time.
  for (const auto& other : entries_) {
    if (other.get() != &entry && other->module != nullptr && other->report.name == name) {
      throw ModuleError(
          "a provider of this name is running already, from " + PathText(other->report.file),
          "Name each provider once.");
    }
  }
  progress_.Say("loading " + name + " from " + PathText(entry.report.file));
  progress_.WaitsFor(name + " to be loaded");
  entry.module = std::make_unique<ProviderModule>(entry.report.file, name);
  const KtStatus status = KtBusAttachProvider(database_, name.c_str(), &entry.module->table(),
                                              entry.module->address(), &entry.provider);
  if (StatusFails(status)) {
    throw ModuleError("the bus does not take it: " + StatusText(status), "");
  }
}

bool ProviderHost::Initialize(Entry& entry) {
  const auto begin = std::chrono::steady_clock::now();
  progress_.WaitsFor(entry.report.name + " to initialize");
  const Answer answer =
      Ask(entry.provider, [&entry] { return KtBusInitializeProvider(entry.provider); });
  progress_.WaitsFor("");
  entry.report.initialize = answer.status;
  if (answer.threw) {
    Fail(entry, "its Initialize threw an exception", kThrown);
    return false;
  }
  if (StatusFails(answer.status)) {
    Fail(entry, "its Initialize fails: " + StatusText(answer.status),
         "The trace may say why; see it all with --trace-level 1.");
    return false;
  }
  entry.report.version = VersionOf(entry.provider);
  entry.report.state = ProviderState::kRunning;
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
  progress_.Say("shutting down " + name);
  progress_.WaitsFor(name + " to shut down");
  const Answer answer =
      Ask(entry.provider, [&entry] { return KtBusShutdownProvider(entry.provider, 0); });
  entry.report.shutdown = answer.status;
  const bool wentDown = !answer.threw && !StatusFails(answer.status);
  CountWork(entry);

  progress_.WaitsFor("calls into " + name + " to return");
  const KtStatus detached = KtBusDetachProvider(std::exchange(entry.provider, nullptr));
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
    entry.report.state = ProviderState::kStopped;
    progress_.Say(name + " is down after " + Milliseconds(begin));
  }
}

void ProviderHost::CountWork(Entry& entry) const {
  struct Search {
    KtProvider provider;
    ProviderReport& report;
  } search{entry.provider, entry.report};
  KtBusVisitProviders(
      database_,
      [](const KtBusProviderInfo* info, void* context) -> cuvo_bool {
        auto& wanted = *static_cast<Search*>(context);
        if (info->provider != wanted.provider) {
          return 1;
        }
        wanted.report.controls = info->controls;
        wanted.report.notices = info->noticesDelivered;
        wanted.report.exceptions = info->exceptions;
        return 0;
      },
      &search);
}

void ProviderHost::Fail(Entry& entry, const std::string& what, const std::string& advice) {
  entry.report.state = ProviderState::kFailed;
  entry.report.failures.push_back({what, advice});
  progress_.Fail(entry.report.name + ": " + what, advice);
}

std::vector<ProviderReport> ProviderHost::Reports() const {
  std::vector<ProviderReport> reports;
  for (const auto& entry : entries_) {
    reports.push_back(entry->report);
  }
  return reports;
}

bool ProviderHost::AnyFailed() const noexcept {
  return std::any_of(entries_.begin(), entries_.end(),
                     [](const auto& entry) { return !entry->report.failures.empty(); });
}

}  // namespace ktsvc
