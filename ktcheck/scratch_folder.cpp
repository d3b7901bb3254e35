#include "ktcheck/scratch_folder.h"

#include <system_error>

namespace ktcheck {

ScratchFolder::~ScratchFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

}  // namespace ktcheck
