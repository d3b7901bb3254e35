#include "service/scratch_folder.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <random>
#include <stdexcept>

namespace ktsvc_test {

ScratchFolder::ScratchFolder() {
  std::random_device random;
  const std::filesystem::path parent = std::filesystem::temp_directory_path();
  do {
    path_ = parent / ("ktsvc-test-" + std::to_string(random()));
  } while (!std::filesystem::create_directory(path_));
}

ScratchFolder::~ScratchFolder() {
  std::error_code error;  // what cannot be removed is the system's to clear away
  std::filesystem::remove_all(path_, error);
}

std::filesystem::path ScratchFolder::Write(const std::string& name,
                                           const std::string& content) const {
  std::filesystem::path file = path_ / name;
  std::ofstream stream(file, std::ios::binary);
  stream << content;
  stream.close();
  if (!stream) {
    throw std::runtime_error("cannot write " + file.string());
  }
  return file;
}

std::string ReadFile(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  std::string content{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
  content.erase(std::remove(content.begin(), content.end(), '\r'), content.end());
  return content;
}

}  // namespace ktsvc_test
