// ModuleFile: the file of a module, opened, and found fit to have its code run.
//
// Fit means that nobody but root (Windows: the system and its administrators) and the service's own
// account decides what the file holds and what its name leads to, and that its header is that of a
// shared library for this program (module_image.h). The system's loader is asked only afterwards.
//
// POSIX: every name on the way, from the root folder on, is opened in the folder before it and
// judged by what was opened (path_guard.h); links are followed by hand and judged too. The loader
// is then given the canonical path, not the descriptor: under a name such as /proc/self/fd/5 it
// would look for what stands beside the module in a wrong place, and would take the next module
// with the same number for this one. Between the judgement and the loading only root and the
// service's user can change what the path means, since they alone can write in it. What stays open:
// someone who opened the file for writing while that was still allowed to him, and a file server
// that shows other rights than it grants.
//
// Windows: the file and the folder in which it stands are judged by owner and access list: SYSTEM,
// Administrators, TrustedInstaller and the service's own account may own and write them, nobody
// else may. The folders above are not judged: as long as this object lives, nobody can write,
// rename or remove the file, nor rename a folder above it.
//
// Threads:   one thread at a time.
// Ownership: closes the file when it goes; keep it until the module is loaded.
#pragma once

#include <filesystem>
#include <memory>

namespace ktsvc {

class ModuleFile {
 public:
  // `file` is absolute. Throws ModuleError with the reason and, where there is one, the command
  // that repairs it.
  explicit ModuleFile(const std::filesystem::path& file);
  ~ModuleFile();
  ModuleFile(const ModuleFile&) = delete;
  ModuleFile& operator=(const ModuleFile&) = delete;

  // The canonical path: absolute, without links.
  [[nodiscard]] const std::filesystem::path& path() const noexcept { return path_; }

 private:
  class Opened;  // the operating system's part

  std::filesystem::path path_;
  std::unique_ptr<Opened> opened_;
};

}  // namespace ktsvc
