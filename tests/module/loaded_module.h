// LoadedModule: the built module, loaded from its file as a service loads it, and its six
// functions.
//
// Ownership: loaded at construction, unloaded (process detach first) at the end.
// Threads:   construction and the end on one thread; the functions as the module allows.
#pragma once

#include <string>

#include "ktbus3/ktbus3.h"

class LoadedModule {
 public:
  LoadedModule();
  ~LoadedModule();
  LoadedModule(const LoadedModule&) = delete;
  LoadedModule& operator=(const LoadedModule&) = delete;

  // ProviderEntry under a name, for the table that is kept here.
  KtStatus Enter(const KtWchar* name) { return entry_(name, nullptr, &table_); }
  // The table; all null until Enter succeeded.
  [[nodiscard]] const KtProviderTable& table() const { return table_; }

  // A control on the object through the interface, with selector 0.
  KtStatus Control(const KtObjId& object, const KtGuid& interface_id, std::uint32_t code,
                   KtPropset input, KtPropset output);
  // A notice of that name from that database.
  KtStatus Notify(const char* name, KtDatabase database);

 private:
  void* library_;
  KtStatus (*entry_)(const KtWchar*, void*, KtProviderTable*);
  KtProviderTable table_{};
};
