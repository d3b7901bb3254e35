#include <random>
#include <stdexcept>
#include <string>

#include "host_system.h"
#include "ktcheck/scratch_folder.h"

namespace ktcheck {

// Each person has a folder of temporary files of their own.
ScratchFolder::ScratchFolder() {
  std::random_device dice;
  const std::filesystem::path base = std::filesystem::temp_directory_path();
  // A folder that is there already may be somebody else's.
  for (int tries = 0; tries < 100; ++tries) {
    path_ = base / ("ktcheck-" + std::to_string(dice()));
    std::error_code error;
    if (std::filesystem::create_directory(path_, error)) return;
  }
  throw std::runtime_error("no folder can be made in " + ktsvc::PathText(base));
}

}  // namespace ktcheck
