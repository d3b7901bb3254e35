#include <windows.h>

#include <algorithm>
#include <vector>

#include "ktcheck/memory_level.h"

namespace ktcheck {
namespace {

// Nothing may allocate while the heap is locked.
std::uint64_t BusyIn(HANDLE heap) noexcept {
  std::uint64_t bytes = 0;
  if (HeapLock(heap) == FALSE) return 0;
  PROCESS_HEAP_ENTRY entry{};
  while (HeapWalk(heap, &entry) != FALSE) {
    if ((entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0) bytes += entry.cbData;
  }
  HeapUnlock(heap);
  return bytes;
}

}  // namespace

std::optional<std::uint64_t> MemoryInUse() {
  // Heaps may come meanwhile: a few more places than there are.
  std::vector<HANDLE> heaps(GetProcessHeaps(0, nullptr) + 16);
  const DWORD count = GetProcessHeaps(static_cast<DWORD>(heaps.size()), heaps.data());
  heaps.resize(std::min<std::size_t>(count, heaps.size()));
  std::uint64_t bytes = 0;
  for (HANDLE heap : heaps) bytes += BusyIn(heap);
  return bytes;
}

}  // namespace ktcheck
