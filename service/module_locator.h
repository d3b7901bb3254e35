// Where a provider's module file stands.
//
// Threads: functions without state.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace ktsvc {

// The folder for modules named without a path: "modules" beside the program's folder (a build
// tree), else "lib/ktsvc/modules" beside it (an installation). The first that exists, or the last
// of them when none does.
std::filesystem::path DefaultModuleFolder();

// True when the word is a path: it holds a separator or ends in .so or .dll.
bool IsModulePath(std::string_view word) noexcept;

// The absolute path of the module for a word of the command line, a name or a path. Throws
// ModuleError when there is no such file: it says what the module folder holds instead.
std::filesystem::path LocateModule(std::string_view word, const std::filesystem::path& folder);

// The names of the modules in the folder, sorted; none when it cannot be read.
std::vector<std::string> ModulesIn(const std::filesystem::path& folder);

}  // namespace ktsvc
