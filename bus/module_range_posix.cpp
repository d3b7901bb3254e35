#include <link.h>

#include <algorithm>
#include <bit>

#include "bus/attribution.h"

namespace kt::bus {
namespace {

struct Search {
  std::uintptr_t address;
  std::optional<ModuleRange> found;
};

int Look(dl_phdr_info* info, std::size_t, void* context) {
  Search& search = *static_cast<Search*>(context);
  ModuleRange range{UINTPTR_MAX, 0};
  bool inside = false;
  for (int i = 0; i < info->dlpi_phnum; ++i) {
    const auto& header = info->dlpi_phdr[i];
    if (header.p_type != PT_LOAD) continue;
    const std::uintptr_t begin = info->dlpi_addr + header.p_vaddr;
    const std::uintptr_t end = begin + header.p_memsz;
    range.begin = std::min(range.begin, begin);
    range.end = std::max(range.end, end);
    inside = inside || (begin <= search.address && search.address < end);
  }
  if (!inside) return 0;
  search.found = range;
  return 1;
}

}  // namespace

std::optional<ModuleRange> FindModuleRange(const void* address) {
  Search search{std::bit_cast<std::uintptr_t>(address), std::nullopt};
  dl_iterate_phdr(&Look, &search);
  return search.found;
}

}  // namespace kt::bus
