#include "bus/huge_pages.h"

namespace kt::bus {

// Large pages take a right there that services do not have, and are never given back.
void WantHugePages(void* /*memory*/, std::size_t /*size*/) noexcept {}

}  // namespace kt::bus
