// ModuleLibrary: a shared library of the operating system, loaded for as long as the object lives.
//
// It is loaded by its canonical path, with all its symbols resolved at once and none of them
// offered to other libraries. What it depends on, and what this process has not loaded yet, is
// looked for where the system's loader looks; on Windows in the module's own folder and the
// system's, nowhere else.
//
// Threads: one thread at a time.
#pragma once

#include "module_file.h"

namespace ktsvc {

class ModuleLibrary {
 public:
  // Throws ModuleError with the loader's own words.
  explicit ModuleLibrary(const ModuleFile& file);
  ~ModuleLibrary();
  ModuleLibrary(const ModuleLibrary&) = delete;
  ModuleLibrary& operator=(const ModuleLibrary&) = delete;

  // The address of an export, or null.
  [[nodiscard]] void* Find(const char* name) const noexcept;

  // Tells the module that it was loaded, and that it goes, through its export DllInit. Where the
  // system's loader does so itself (Windows), these do nothing and say true. Attach() is false
  // when the module refuses. What DllInit throws passes.
  bool Attach();
  void Detach();

  // Leaves the library in memory for good.
  void Abandon() noexcept { handle_ = nullptr; }

 private:
  void* handle_ = nullptr;
};

}  // namespace ktsvc
