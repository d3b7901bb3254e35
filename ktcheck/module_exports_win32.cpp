#include <windows.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "ktcheck/module_exports.h"

namespace ktcheck {
namespace {

// The file's bytes, read by the addresses that they have in memory.
class Image {
 public:
  explicit Image(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    bytes_.assign(std::istreambuf_iterator<char>(stream), {});
    const auto start = Read<IMAGE_DOS_HEADER>(0);
    if (start.e_magic != IMAGE_DOS_SIGNATURE) {
      throw std::runtime_error("the file is no DLL");
    }
    const auto place = static_cast<std::size_t>(start.e_lfanew);
    headers_ = Read<IMAGE_NT_HEADERS64>(place);
    const std::size_t sections = place + offsetof(IMAGE_NT_HEADERS64, OptionalHeader) +
                                 headers_.FileHeader.SizeOfOptionalHeader;
    for (std::size_t i = 0; i < headers_.FileHeader.NumberOfSections; ++i) {
      sections_.push_back(Read<IMAGE_SECTION_HEADER>(sections + i * sizeof(IMAGE_SECTION_HEADER)));
    }
  }

  [[nodiscard]] const IMAGE_OPTIONAL_HEADER64& header() const { return headers_.OptionalHeader; }

  template <typename T>
  [[nodiscard]] T At(DWORD address) const {
    return Read<T>(PlaceOf(address));
  }

  [[nodiscard]] std::string TextAt(DWORD address) const {
    std::string text;
    for (std::size_t at = PlaceOf(address); at < bytes_.size() && bytes_[at] != '\0'; ++at) {
      text += bytes_[at];
    }
    return text;
  }

 private:
  template <typename T>
  [[nodiscard]] T Read(std::size_t place) const {
    T thing;
    if (place > bytes_.size() || bytes_.size() - place < sizeof(T)) {
      throw std::runtime_error("the file is cut off");
    }
    std::memcpy(&thing, bytes_.data() + place, sizeof(T));
    return thing;
  }

  [[nodiscard]] std::size_t PlaceOf(DWORD address) const {
    for (const IMAGE_SECTION_HEADER& section : sections_) {
      if (address >= section.VirtualAddress &&
          address - section.VirtualAddress < section.SizeOfRawData) {
        return address - section.VirtualAddress + section.PointerToRawData;
      }
    }
    throw std::runtime_error("the file points outside itself");
  }

  std::vector<char> bytes_;
  IMAGE_NT_HEADERS64 headers_{};
  std::vector<IMAGE_SECTION_HEADER> sections_;
};

}  // namespace

ModuleExports ExportsOf(const std::filesystem::path& file) {
  const Image image(file);
  ModuleExports exports;
  exports.begins_at_init = false;
  const IMAGE_DATA_DIRECTORY& place = image.header().DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT];
  if (place.VirtualAddress == 0) return exports;
  const auto directory = image.At<IMAGE_EXPORT_DIRECTORY>(place.VirtualAddress);
  for (DWORD i = 0; i < directory.NumberOfNames; ++i) {
    const std::string name = image.TextAt(image.At<DWORD>(directory.AddressOfNames + i * 4));
    const auto ordinal = image.At<WORD>(directory.AddressOfNameOrdinals + i * 2);
    const auto address = image.At<DWORD>(directory.AddressOfFunctions + ordinal * 4U);
    if (name == "DllInit") {
      exports.begins_at_init = address == image.header().AddressOfEntryPoint;
    }
    exports.names.push_back(name);
  }
  return exports;
}

}  // namespace ktcheck
