#include <filesystem>
#include <string>
#include <string_view>

#include "bus/trace_file.h"

namespace kt::bus {

std::FILE* OpenTraceFile(const char* path) {
  const std::string_view text(path);
  const std::filesystem::path name(std::u8string(text.begin(), text.end()));
  return _wfopen(name.c_str(), L"ab");
}

}  // namespace kt::bus
