#include "bench/support/allocations.h"

#include <cstddef>

// The C library's own functions under their second names; ours stand before them.
extern "C" {
void* __libc_malloc(std::size_t size);                     // NOLINT(bugprone-reserved-identifier)
void* __libc_calloc(std::size_t count, std::size_t size);  // NOLINT(bugprone-reserved-identifier)
void* __libc_realloc(void* block, std::size_t size);       // NOLINT(bugprone-reserved-identifier)
void* __libc_memalign(std::size_t to, std::size_t size);   // NOLINT(bugprone-reserved-identifier)
}

namespace {
// Trivial, so that the first allocation of a thread needs none.
thread_local std::uint64_t count = 0;
}  // namespace

std::uint64_t kt::bench::AllocationsOfThread() noexcept {
  return count;
}

#define KT_SEEN __attribute__((visibility("default")))
extern "C" {
KT_SEEN void* malloc(std::size_t size) {
  ++count;
  return __libc_malloc(size);
}
KT_SEEN void* calloc(std::size_t number, std::size_t size) {
  ++count;
  return __libc_calloc(number, size);
}
KT_SEEN void* realloc(void* block, std::size_t size) {
  ++count;
  return __libc_realloc(block, size);
}
KT_SEEN void* aligned_alloc(std::size_t to, std::size_t size) {
  ++count;
  return __libc_memalign(to, size);
}
KT_SEEN void* memalign(std::size_t to, std::size_t size) {
  ++count;
  return __libc_memalign(to, size);
}
KT_SEEN int posix_memalign(void** out, std::size_t to, std::size_t size) {
  ++count;
  *out = __libc_memalign(to, size);
  return *out == nullptr ? 12 : 0;
}
}
