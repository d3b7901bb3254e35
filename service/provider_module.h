// ProviderModule: a loaded provider module and the table of functions that it filled in.
//
// Threads:   one thread at a time.
// Ownership: unloads the module when it goes, after telling it so; nothing of the module may run
//            then. Abandon() leaves it in memory for good, for a module that may still have
//            threads of its own.
#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "ktbus3/ktbus3.h"
#include "module_library.h"

namespace ktsvc {

class ProviderModule {
 public:
  // Loads the file and asks it for the provider of that name. Throws ModuleError, with the module
  // unloaded again: it cannot be loaded, misses an export, refuses the name, or throws.
  ProviderModule(const ModuleFile& file, const std::string& name);
  ~ProviderModule();
  ProviderModule(const ProviderModule&) = delete;
  ProviderModule& operator=(const ProviderModule&) = delete;

  [[nodiscard]] const KtProviderTable& table() const noexcept { return table_; }

  // An address inside the module.
  [[nodiscard]] const void* address() const noexcept { return entry_; }

  void Abandon() noexcept;

 private:
  bool StartsWell(const ModuleFile& file, const std::string& name);
  void CheckExports(const std::filesystem::path& file) const;
  void Start(const std::string& name);
  void Unload() noexcept;

  std::unique_ptr<ModuleLibrary> library_;
  void* entry_ = nullptr;
  bool attached_ = false;
  KtProviderTable table_{};
};

}  // namespace ktsvc
