#include "ktcheck/scratch_folder.h"

#include <random>
#include <stdexcept>
#include <string>

namespace ktcheck {

ScratchFolder::ScratchFolder() {
  std::random_device dice;
  const std::filesystem::path base = std::filesystem::temp_directory_path();
  // A folder that is there already may be somebody else's.
  for (int tries = 0; tries < 100; ++tries) {
    path_ = base / ("ktcheck-" + std::to_string(dice()));
    std::error_code error;
    if (std::filesystem::create_directory(path_, error)) {
      std::filesystem::permissions(path_, std::filesystem::perms::owner_all, error);
      return;
    }
  }
  throw std::runtime_error("no folder can be made in " + base.string());
}

ScratchFolder::~ScratchFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

}  // namespace ktcheck
