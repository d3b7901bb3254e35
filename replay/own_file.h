// A file that its owner alone can read, made anew.
#pragma once

#include <cstdio>
#include <filesystem>
#include <memory>

namespace ktreplay {

struct CloseFile {
  void operator()(std::FILE* file) const noexcept { static_cast<void>(std::fclose(file)); }
};
using OwnFile = std::unique_ptr<std::FILE, CloseFile>;

// Makes the file and opens it for writing. A file of that name is removed first, so that nobody who
// has it open sees what is written; a link, a folder or a device in its place is refused and left
// as it is. On POSIX the file is its owner's alone from the beginning; on Windows it has the rights
// that its folder gives. Throws std::runtime_error with the reason.
OwnFile MakeOwnFile(const std::filesystem::path& path);

}  // namespace ktreplay
