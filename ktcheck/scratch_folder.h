// ScratchFolder: a new folder for the files of one run, which nobody else can enter.
//
// Ownership: removed with all that is in it at the end, as far as that can be done.
// Threads:   one thread.
#pragma once

#include <filesystem>

namespace ktcheck {

class ScratchFolder {
 public:
  // Throws std::runtime_error when there is no place for one.
  ScratchFolder();
  ~ScratchFolder();
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  [[nodiscard]] const std::filesystem::path& path() const noexcept { return path_; }

 private:
  std::filesystem::path path_;
};

}  // namespace ktcheck
