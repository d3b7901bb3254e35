#include <elf.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "ktcheck/module_exports.h"

namespace ktcheck {
namespace {

// The thing of that type at the place in the file.
template <typename T>
T At(const std::vector<char>& bytes, std::uint64_t place) {
  T thing;
  if (place > bytes.size() || bytes.size() - place < sizeof(T)) {
    throw std::runtime_error("the file is cut off");
  }
  std::memcpy(&thing, bytes.data() + place, sizeof(T));
  return thing;
}

std::string TextAt(const std::vector<char>& bytes, std::uint64_t place) {
  std::string text;
  while (place < bytes.size() && bytes[place] != '\0') text += bytes[place++];
  return text;
}

bool IsExported(const Elf64_Sym& symbol) {
  const unsigned binding = ELF64_ST_BIND(symbol.st_info);
  const unsigned visibility = ELF64_ST_VISIBILITY(symbol.st_other);
  return symbol.st_shndx != SHN_UNDEF && symbol.st_name != 0 && binding != STB_LOCAL &&
         (visibility == STV_DEFAULT || visibility == STV_PROTECTED);
}

}  // namespace

ModuleExports ExportsOf(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  const std::vector<char> bytes{std::istreambuf_iterator<char>(stream), {}};
  const auto header = At<Elf64_Ehdr>(bytes, 0);
  if (std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0) {
    throw std::runtime_error("the file is no shared library");
  }
  ModuleExports exports;
  const auto section = [&](std::uint64_t number) {
    return At<Elf64_Shdr>(bytes, header.e_shoff + number * header.e_shentsize);
  };
  for (unsigned i = 0; i < header.e_shnum; ++i) {
    const Elf64_Shdr symbols = section(i);
    if (symbols.sh_type != SHT_DYNSYM || symbols.sh_entsize == 0) continue;
    const Elf64_Shdr texts = section(symbols.sh_link);
    for (std::uint64_t at = 0; at < symbols.sh_size; at += symbols.sh_entsize) {
      const auto symbol = At<Elf64_Sym>(bytes, symbols.sh_offset + at);
      if (IsExported(symbol)) {
        exports.names.push_back(TextAt(bytes, texts.sh_offset + symbol.st_name));
      }
    }
  }
  return exports;
}

}  // namespace ktcheck
