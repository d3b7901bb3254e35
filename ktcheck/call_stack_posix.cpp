#include <dlfcn.h>
#include <execinfo.h>
#include <link.h>

#include "ktcheck/call_stack.h"

namespace ktcheck {
namespace {

struct Search {
  std::uintptr_t address;
  CodePlace found;
};

// One loaded object: the range over its segments, when the address is in it.
int LookAt(dl_phdr_info* info, std::size_t /*size*/, void* context) {
  auto& search = *static_cast<Search*>(context);
  std::uintptr_t begin = UINTPTR_MAX;
  std::uintptr_t end = 0;
  for (int i = 0; i < info->dlpi_phnum; ++i) {
    const auto& segment = info->dlpi_phdr[i];
    if (segment.p_type != PT_LOAD) continue;
    begin = std::min<std::uintptr_t>(begin, info->dlpi_addr + segment.p_vaddr);
    end = std::max<std::uintptr_t>(end, info->dlpi_addr + segment.p_vaddr + segment.p_memsz);
  }
  if (search.address < begin || search.address >= end) return 0;
  search.found = {begin, end, info->dlpi_addr, info->dlpi_name};
  return 1;
}

}  // namespace

CallStack CaptureStack() noexcept {
  std::array<void*, std::tuple_size_v<decltype(CallStack::frames)>> addresses{};
  const int count = backtrace(addresses.data(), static_cast<int>(addresses.size()));
  CallStack stack;
  // A return address stands behind the call; the byte before it belongs to the call.
  for (int i = 1; i < count; ++i) {
    stack.frames[stack.size++] =
        reinterpret_cast<std::uintptr_t>(addresses[static_cast<std::size_t>(i)]) - 1;
  }
  return stack;
}

void PrepareStacks() {
  CaptureStack();  // loads the unwinder
}

std::optional<CodePlace> PlaceOf(std::uintptr_t address) {
  Search search{address, {}};
  if (dl_iterate_phdr(&LookAt, &search) == 0) return std::nullopt;
  if (search.found.file.empty()) {
    Dl_info info{};
    // NOLINTNEXTLINE(performance-no-int-to-ptr): an address of code, asked for and not followed
    if (dladdr(reinterpret_cast<void*>(address), &info) != 0 && info.dli_fname != nullptr) {
      search.found.file = info.dli_fname;
    }
  }
  return search.found;
}

}  // namespace ktcheck
