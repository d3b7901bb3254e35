#include "host_system.h"

namespace ktsvc {

std::filesystem::path ProgramFolder() {
  return ProgramFile().parent_path();
}

std::string PathText(const std::filesystem::path& path) {
  const std::u8string text = path.u8string();
  return {text.begin(), text.end()};
}

std::filesystem::path PathFromText(std::string_view text) {
  return std::u8string(text.begin(), text.end());
}

}  // namespace ktsvc
