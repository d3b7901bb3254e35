#include "support/failing_new.h"

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>
#include <utility>

namespace {

thread_local int g_allowed = -1;  // negative: none fails
thread_local bool g_failed = false;
thread_local bool g_refuse_arrays = false;
thread_local bool g_refuse_unaligned = false;
std::atomic<int> g_aligned_refusals{0};

constexpr std::size_t kPage = 4096;

void* AllocateAligned(std::size_t size, std::size_t alignment) noexcept {
#if defined(_WIN32)
  return _aligned_malloc(size, alignment);
#else
  return std::aligned_alloc(alignment, (size + alignment - 1) / alignment * alignment);
#endif
}

void FreeAligned(void* block) noexcept {
#if defined(_WIN32)
  _aligned_free(block);
#else
  std::free(block);
#endif
}

// An alignment of 0: what any value needs.
void* Allocate(std::size_t size, std::size_t alignment = 0) {
  // What is refused anyhow is not what FailAllocation counts.
  if (alignment >= kPage ? g_aligned_refusals.load() != 0 : g_refuse_unaligned)
    throw std::bad_alloc();
  if (g_allowed >= 0 && g_allowed-- == 0) {
    g_failed = true;
    throw std::bad_alloc();
  }
  const std::size_t room = size == 0 ? 1 : size;
  void* const block = alignment == 0 ? std::malloc(room) : AllocateAligned(room, alignment);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

}  // namespace

namespace support {

FailAllocation::FailAllocation(int after) noexcept {
  g_allowed = after;
  g_failed = false;
}

bool FailAllocation::Happened() const noexcept {
  return g_failed;
}

FailAllocation::~FailAllocation() {
  g_allowed = -1;
}

int Suspend() noexcept {
  return std::exchange(g_allowed, -1);
}

void Resume(int allowed) noexcept {
  g_allowed = allowed;
}

RefuseArrays::RefuseArrays() noexcept {
  g_refuse_arrays = true;
}

RefuseArrays::~RefuseArrays() {
  g_refuse_arrays = false;
}

RefuseAligned::RefuseAligned() noexcept {
  ++g_aligned_refusals;
}

RefuseAligned::~RefuseAligned() {
  --g_aligned_refusals;
}

RefuseUnaligned::RefuseUnaligned() noexcept {
  g_refuse_unaligned = true;
}

RefuseUnaligned::~RefuseUnaligned() {
  g_refuse_unaligned = false;
}

}  // namespace support

void* operator new(std::size_t size) {
  return Allocate(size);
}
void* operator new[](std::size_t size) {
  return Allocate(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  try {
    return Allocate(size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}
void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept {
  return g_refuse_arrays ? nullptr : operator new(size, tag);
}
void* operator new(std::size_t size, std::align_val_t alignment) {
  return Allocate(size, static_cast<std::size_t>(alignment));
}
// The library's own would not come here in every build.
void* operator new(std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
  try {
    return operator new(size, alignment);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}
void operator delete(void* block, std::align_val_t) noexcept {
  FreeAligned(block);
}
void operator delete(void* block, std::size_t, std::align_val_t) noexcept {
  FreeAligned(block);
}
void operator delete(void* block, std::align_val_t, const std::nothrow_t&) noexcept {
  FreeAligned(block);
}
void operator delete(void* block) noexcept {
  std::free(block);
}
void operator delete[](void* block) noexcept {
  std::free(block);
}
void operator delete(void* block, std::size_t) noexcept {
  std::free(block);
}
void operator delete[](void* block, std::size_t) noexcept {
  std::free(block);
}
