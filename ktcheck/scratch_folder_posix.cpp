#include <cstdlib>
#include <stdexcept>
#include <string>

#include "ktcheck/scratch_folder.h"

namespace ktcheck {

// Nobody else may enter it from the moment on that it is there, whatever the umask says.
ScratchFolder::ScratchFolder() {
  const std::filesystem::path base = std::filesystem::temp_directory_path();
  std::string name = (base / "ktcheck-XXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) {
    throw std::runtime_error("no folder can be made in " + base.string());
  }
  path_ = name;
}

}  // namespace ktcheck
