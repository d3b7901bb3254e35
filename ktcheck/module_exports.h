// What a module's file exports, read from the file.
//
// Threads: a pure function.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace ktcheck {

struct ModuleExports {
  std::vector<std::string> names;
  // Whether loading it begins at DllInit; true where the format knows no such thing.
  bool begins_at_init = true;
};

// Throws std::runtime_error for a file that cannot be read, or that is none.
ModuleExports ExportsOf(const std::filesystem::path& file);

// The name as its author wrote it: "kt::Sum(int)" for "_ZN2kt3SumEi".
std::string ReadableName(const std::string& symbol);

}  // namespace ktcheck
