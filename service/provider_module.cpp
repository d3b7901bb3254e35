#include "provider_module.h"

#include <optional>

#include "bus_text.h"
#include "host_system.h"
#include "ktbus3/ktbus3_host.h"
#include "module_error.h"
#include "status_text.h"

namespace ktsvc {
namespace {

using ProviderEntryFunction = KtStatus (*)(const KtWchar* name, void* reserved,
                                           KtProviderTable* table);

constexpr const char* kDllInit = "DllInit";
constexpr const char* kProviderEntry = "ProviderEntry";

[[noreturn]] void ThrowRefusal(const std::string& name, KtStatus status) {
  if (status == KTERROR_WRONG_PROVIDER) {
    throw ModuleError("it refuses the name \"" + name + "\": " + StatusText(status),
                      "A module serves one provider, whose name must be the name of its file, "
                      "letter by letter; give the file the provider's name.");
  }
  throw ModuleError("its ProviderEntry fails: " + StatusText(status),
                    "The trace may say why; see it all with --trace-level 1.");
}

}  // namespace

ProviderModule::ProviderModule(const ModuleFile& file, const std::string& name)
    : library_(std::make_unique<ModuleLibrary>(file)) {
  if (!StartsWell(file, name)) {
    Unload();
    throw ModuleError("it threw an exception while it was being started",
                      "No exception may leave a module; this is the module's own mistake.");
  }
}

bool ProviderModule::StartsWell(const ModuleFile& file, const std::string& name) {
  try {
    CheckExports(file.path());
    Start(name);
    return true;
  } catch (const ModuleError&) {
    Unload();
    throw;
  } catch (...) {
    // What was thrown is destroyed by code of the module, so this ends before it is unloaded.
    return false;
  }
}

ProviderModule::~ProviderModule() {
  Unload();
}

void ProviderModule::Abandon() noexcept {
  library_->Abandon();
  library_.reset();
  attached_ = false;
  entry_ = nullptr;
}

void ProviderModule::CheckExports(const std::filesystem::path& file) const {
  std::string missing;
  for (const char* name : {kDllInit, kProviderEntry}) {
    if (library_->Find(name) == nullptr) {
      missing += (missing.empty() ? "" : " and ") + std::string(name);
    }
  }
  if (!missing.empty()) {
    throw ModuleError("it is no provider module: it does not export " + missing,
                      "A provider module exports DllInit and ProviderEntry as C functions; is " +
                          PathText(file.filename()) + " the right file?");
  }
}

void ProviderModule::Start(const std::string& name) {
  const std::optional<KtWString> wideName = ToUtf16(name);
  if (!wideName) {
    throw ModuleError("its file name is not well-formed UTF-8", "Rename the file.");
  }
  entry_ = library_->Find(kProviderEntry);
  const KtStatus named = KtBusNameModule(name.c_str(), entry_);
  if (StatusFails(named)) {
    throw ModuleError("the bus refuses its name: " + StatusText(named), "Rename the file.");
  }
  attached_ = library_->Attach();
  if (!attached_) {
    throw ModuleError("its DllInit refuses to be loaded", "The module's documents should say why.");
  }
  auto* const providerEntry = reinterpret_cast<ProviderEntryFunction>(entry_);
  const KtStatus status = providerEntry(wideName->c_str(), nullptr, &table_);
  if (StatusFails(status)) {
    ThrowRefusal(name, status);
  }
}

void ProviderModule::Unload() noexcept {
  if (library_ == nullptr) {
    return;
  }
  if (attached_) {
    try {
      library_->Detach();
    } catch (...) {
      // It goes all the same; there is nobody left to be told.
      attached_ = false;
    }
  }
  library_.reset();
  if (entry_ != nullptr) {
    KtBusForgetModule(entry_);
  }
}

}  // namespace ktsvc
