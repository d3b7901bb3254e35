// The checks of the module's file, and of its entry point.

#include <algorithm>
#include <array>
#include <cctype>
#include <exception>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "bus_text.h"
#include "ktbus3/ktbus3_host.h"
#include "ktcheck/call_stack.h"
#include "ktcheck/checks.h"
#include "ktcheck/module_exports.h"
#include "module_error.h"
#include "module_file.h"
#include "module_library.h"
#include "status_text.h"

namespace ktcheck {
namespace {

constexpr std::size_t kMostExamples = 6;
constexpr KtStatus kWrongProvider = 0xC1000005;
constexpr std::array<const char*, 2> kExports{"DllInit", "ProviderEntry"};

using EntryFunction = KtStatus (*)(const KtWchar*, void*, KtProviderTable*);

// Names that are not the module's.
std::set<std::string> WrongNames(const std::string& name) {
  std::string upper = name;
  std::transform(upper.begin(), upper.end(), upper.begin(),
                 [](unsigned char letter) { return static_cast<char>(std::toupper(letter)); });
  std::set<std::string> names{
      "", name + "x", " " + name, "nobody", name.substr(0, name.size() - 1), upper};
  names.erase(name);
  return names;
}

class Entry {
 public:
  Entry(Bench& bench, void* function)
      : bench_(bench), function_(reinterpret_cast<EntryFunction>(function)) {}

  // What it answers to the name; nothing when it threw, which is told.
  std::optional<KtStatus> Ask(const std::string& name, KtProviderTable& table) {
    bench_.Trying("ProviderEntry with the name \"" + name + "\"");
    const auto wide = ktsvc::ToUtf16(name);
    if (!wide) return std::nullopt;
    const Timed timed(bench_.clock(), "ProviderEntry");
    try {
      return function_(wide->c_str(), nullptr, &table);
    } catch (...) {
      bench_.Found({"threw", "ProviderEntry let an exception out", {}, {}, 1});
      return std::nullopt;
    }
  }

 private:
  Bench& bench_;
  const EntryFunction function_;
};

void TellMissing(Bench& bench, const KtProviderTable& table) {
  const auto look = [&](bool is_there, const char* function) {
    if (is_there) return;
    bench.Found({"function-missing", std::string(function) + " is null", {}, {}, 1});
  };
  look(table.Control != nullptr, "Control");
  look(table.Initialize != nullptr, "Initialize");
  look(table.Shutdown != nullptr, "Shutdown");
  look(table.GetAttr != nullptr, "GetAttr");
  look(table.ChangeNotify != nullptr, "ChangeNotify");
  look(table.Version != nullptr, "Version");
}

// A host tells "this is not that provider" from every other failure by the status.
void LookAtRefusal(Bench& bench, const std::string& name, KtStatus status,
                   const KtProviderTable& table) {
  if (status != kWrongProvider) {
    bench.Found({"wrong-refusal",
                 "ProviderEntry answers " + ktsvc::StatusText(status) + " to the name \"" + name +
                     "\" that is not its own, and not " + ktsvc::StatusText(kWrongProvider),
                 {},
                 {},
                 1});
  }
  const bool untouched = table.Control == nullptr && table.Initialize == nullptr &&
                         table.Shutdown == nullptr && table.GetAttr == nullptr &&
                         table.ChangeNotify == nullptr && table.Version == nullptr;
  if (untouched) return;
  bench.Found(
      {"wrong-refusal",
       "ProviderEntry refuses the name \"" + name + "\", and fills in the table all the same",
       {},
       {},
       1});
}

void AskNames(Bench& bench, Entry& entry) {
  const std::string& name = bench.options().subject.name;
  for (const std::string& wrong : WrongNames(name)) {
    KtProviderTable table{};
    const auto status = entry.Ask(wrong, table);
    if (status && !ktsvc::StatusFails(*status)) {
      std::string what = "ProviderEntry takes the name \"";
      what.append(wrong).append("\", though the module is ").append(name);
      bench.Found({"wrong-name-taken", std::move(what), {}, {}, 1});
    } else if (status) {
      LookAtRefusal(bench, wrong, *status, table);
    }
  }
  KtProviderTable table{};
  const auto status = entry.Ask(name, table);
  if (status && ktsvc::StatusFails(*status)) {
    bench.Found({"not-loaded",
                 "ProviderEntry refuses the name of its file, \"" + name +
                     "\": " + ktsvc::StatusText(*status),
                 {},
                 {},
                 1});
  } else if (status) {
    TellMissing(bench, table);
  }
}

// All in one finding: a module without a version script exports dozens of things.
void TellExtras(Bench& bench, const std::vector<std::string>& names) {
  std::vector<std::string> extras;
  for (const std::string& name : names) {
    const bool ours = std::find(kExports.begin(), kExports.end(), name) != kExports.end();
    if (!ours) extras.push_back(ReadableName(name));
  }
  if (extras.empty()) return;
  std::sort(extras.begin(), extras.end());
  const std::string what = extras.size() == 1
                               ? "one more thing is exported"
                               : std::to_string(extras.size()) + " more things are exported";
  const bool all = extras.size() <= kMostExamples;
  if (!all) extras.resize(kMostExamples);
  bench.Found({"export-extra", what, {}, {{all ? "these" : "some of them", std::move(extras)}}, 1});
}

bool Attach(Bench& bench, ktsvc::ModuleLibrary& library) {
  const Timed timed(bench.clock(), "DllInit");
  try {
    if (library.Attach()) return true;
    bench.Found({"not-loaded", "DllInit refuses to be loaded", {}, {}, 1});
  } catch (...) {
    bench.Found({"threw", "DllInit let an exception out", {}, {}, 1});
  }
  return false;
}

}  // namespace

void CheckExports(Bench& bench) {
  ModuleExports exports;
  try {
    exports = ExportsOf(bench.options().subject.file);
  } catch (const std::exception& error) {
    bench.Found({"not-loaded", error.what(), {}, {}, 1});
    return;
  }
  for (const char* const name : kExports) {
    if (std::count(exports.names.begin(), exports.names.end(), name) == 0) {
      bench.Found({"export-missing", std::string(name) + " is not exported", {}, {}, 1});
    }
  }
  TellExtras(bench, exports.names);
  if (!exports.begins_at_init) {
    bench.Found({"entry-point", "the file does not start at DllInit", {}, {}, 1});
  }
  bench.Count(kExportsCounted, exports.names.size());
}

void CheckNames(Bench& bench) {
  try {
    const ktsvc::ModuleFile file(bench.options().subject.file);
    ktsvc::ModuleLibrary library(file);
    void* const entry = library.Find("ProviderEntry");
    if (entry == nullptr || library.Find("DllInit") == nullptr) {
      bench.Found({"export-missing", "DllInit or ProviderEntry is not found", {}, {}, 1});
      return;
    }
    KtBusNameModule(bench.options().subject.name.c_str(), entry);
    KeepInMind(reinterpret_cast<std::uintptr_t>(entry));
    if (!Attach(bench, library)) return;
    Entry asked(bench, entry);
    AskNames(bench, asked);
    bench.Count(kNamesAsked, WrongNames(bench.options().subject.name).size() + 1);
    bench.Trying("unloading the module");
    const Timed timed(bench.clock(), "DllInit");
    library.Detach();
  } catch (const ktsvc::ModuleError& error) {
    bench.Found({"not-loaded", error.what(), {}, {}, 1});
  }
}

}  // namespace ktcheck
