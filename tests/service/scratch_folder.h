// ScratchFolder: a folder of a test's own under the system's temporary one, removed at the end.
//
// Threads: one thread.
#pragma once

#include <filesystem>
#include <string>

namespace ktsvc_test {

class ScratchFolder {
 public:
  ScratchFolder();
  ~ScratchFolder();
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  [[nodiscard]] const std::filesystem::path& path() const noexcept { return path_; }

  // Writes a file in it and returns its path.
  std::filesystem::path Write(const std::string& name, const std::string& content) const;

 private:
  std::filesystem::path path_;
};

// The whole file; line ends are "\n" on every system. Empty when it cannot be read.
std::string ReadFile(const std::filesystem::path& file);

}  // namespace ktsvc_test
