#include "module_locator.h"

#include <algorithm>
#include <array>
#include <system_error>

#include "host_system.h"
#include "module_error.h"

namespace ktsvc {
namespace {

std::string Contents(const std::filesystem::path& folder) {
  std::error_code error;
  if (!std::filesystem::is_directory(folder, error)) {
    return "There is no folder " + PathText(folder) + "; name the right one with --module-folder.";
  }
  const std::vector<std::string> names = ModulesIn(folder);
  if (names.empty()) {
    return "There are no modules in " + PathText(folder) +
           "; name another folder with --module-folder, or the module by its path.";
  }
  std::string text = "Modules in " + PathText(folder) + ": ";
  for (const std::string& name : names) {
    text += (&name == &names.front() ? "" : ", ") + name;
  }
  return text + ".";
}

}  // namespace

std::filesystem::path DefaultModuleFolder() {
  const std::filesystem::path beside = ProgramFolder().parent_path();
  const std::array folders{beside / "modules", beside / "lib" / "ktsvc" / "modules"};
  const auto found = std::find_if(folders.begin(), folders.end(), [](const auto& folder) {
    std::error_code error;
    return std::filesystem::is_directory(folder, error);
  });
  return found == folders.end() ? folders.back() : *found;
}

bool IsModulePath(std::string_view word) noexcept {
  return word.find_first_of(PathSeparators()) != std::string_view::npos || word.ends_with(".so") ||
         word.ends_with(".dll");
}

std::filesystem::path LocateModule(std::string_view word, const std::filesystem::path& folder) {
  const bool isPath = IsModulePath(word);
  const std::filesystem::path named =
      isPath ? PathFromText(word) : folder / PathFromText(std::string(word).append(ModuleSuffix()));
  // As it was given: ".." behind a link does not lead back to where the link stands.
  std::filesystem::path file = std::filesystem::absolute(named);
  std::error_code error;
  const std::filesystem::file_status status = std::filesystem::status(file, error);
  if (std::filesystem::is_directory(status)) {
    throw ModuleError(PathText(file.lexically_normal()) + " is a folder",
                      Contents(file.lexically_normal()));
  }
  if (!std::filesystem::exists(status)) {
    throw ModuleError("there is no file " + PathText(file.lexically_normal()),
                      Contents(file.lexically_normal().parent_path()));
  }
  return file;
}

std::vector<std::string> ModulesIn(const std::filesystem::path& folder) {
  std::vector<std::string> names;
  std::error_code error;
  for (std::filesystem::directory_iterator at(folder, error), end; !error && at != end;
       at.increment(error)) {
    if (PathText(at->path().extension()) == ModuleSuffix()) {
      names.push_back(PathText(at->path().stem()));
    }
  }
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace ktsvc
