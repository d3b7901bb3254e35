// LoadedModule: the benchmarks' module on a bus of its own, as a service has it: loaded from its
// file, started, and reached through the table of its six functions.
//
// Each one is loaded from a copy of the file, so that several stand in one program, each with its
// own handlers and subscriptions.
//
// Failure: the constructor, MakeHandlers(), Subscribe() and Calls() throw std::runtime_error.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "ktbus3/ktbus3_host.h"

namespace kt::bench {

class LoadedModule {
 public:
  LoadedModule();
  ~LoadedModule();
  LoadedModule(const LoadedModule&) = delete;
  LoadedModule& operator=(const LoadedModule&) = delete;

  // The module makes what it is told to (module/words.h).
  void MakeHandlers(std::uint32_t handlers, std::uint32_t filters);
  void Subscribe(std::uint32_t subscriptions);

  // Calls of event call-backs so far.
  std::uint64_t Calls();

  // The objects that MakeHandlers() made, in the order of making.
  [[nodiscard]] std::vector<KtObjId> Objects() const;

  [[nodiscard]] const KtProviderTable& table() const noexcept { return table_; }
  [[nodiscard]] KtDatabase database() const noexcept { return database_; }

 private:
  void Ask(std::uint32_t code, KtPropset input, KtPropset output);

  std::filesystem::path file_;
  void* library_ = nullptr;
  int (*dll_init_)(void*, std::uint32_t, void*) = nullptr;
  KtDatabase database_ = nullptr;
  KtProvider provider_ = nullptr;
  KtProviderTable table_{};
};

}  // namespace kt::bench
